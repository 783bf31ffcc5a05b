// PNG through libpng.  libpng reports errors by longjmp back into the
// function that called setjmp: those functions (readRows, writeRows) hold
// no object with a destructor, and everything they allocate is owned by the
// caller.
#include "image/png_codec.h"

#include <cstring>
#include <vector>

#if defined(KWR_HAVE_PNG)
#include <png.h>
#endif

#include "image/load_limits.h"

namespace kwr {

namespace {
const unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
}  // namespace

bool isPng(Input& in) { return in.startsWith(kSignature, sizeof kSignature); }

#if defined(KWR_HAVE_PNG)

namespace {

// The stream behind libpng's read and write calls, and what went wrong.
struct Stream {
    Input* in;
    Output* out;
    bool ioFailed;
};

void readData(png_structp png, png_bytep data, png_size_t n) {
    Stream* s = static_cast<Stream*>(png_get_io_ptr(png));
    if (!s->in->read(data, n)) {
        s->ioFailed = true;
        png_error(png, "read");
    }
}

void writeData(png_structp png, png_bytep data, png_size_t n) {
    Stream* s = static_cast<Stream*>(png_get_io_ptr(png));
    if (!s->out->write(data, n)) {
        s->ioFailed = true;
        png_error(png, "write");
    }
}

void flushData(png_structp) {}

void quiet(png_structp, png_const_charp) {}

void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }

// Everything a read needs, made before the jump point.
struct ReadJob {
    Stream stream;
    Limits limits;
    const KWRImageLoadOptions* options;
    DibStream* out;
    KWRImageFileInfo* info;
    int error;
};

// Header, transformations to 8-bit blue, green, red (and alpha), surface,
// rows.  Returns 0 after a libpng error (job.error says which).
int readRows(png_structp png, png_infop info, ReadJob& job) {
    if (setjmp(png_jmpbuf(png)) != 0) return 0;
    png_set_read_fn(png, &job.stream, readData);
    png_set_user_limits(png, static_cast<png_uint_32>(job.limits.maxWidth),
                        static_cast<png_uint_32>(job.limits.maxHeight));
    png_read_info(png, info);
    const png_uint_32 w = png_get_image_width(png, info), h = png_get_image_height(png, info);
    const int type = png_get_color_type(png, info);
    const bool alpha = (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    png_set_expand(png);  // palette to RGB, grey below 8 bits to 8, tRNS to alpha
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_bgr(png);
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const int bpp = alpha ? 32 : 24;
    if ((depthBit(bpp) & job.limits.depthMask) == 0) {
        job.error = kDibNotMatchType;
        return 0;
    }
    const std::uint64_t pitch = (static_cast<std::uint64_t>(w) * (bpp / 8) + 3) & ~std::uint64_t{3};
    if (pitch * h > job.limits.maxPixelBytes || png_get_rowbytes(png, info) > pitch) {
        job.error = kDibAllocateMemory;
        return 0;
    }
    job.error = createSurface(*job.out, static_cast<int>(w), static_cast<int>(h), bpp);
    if (job.error != kDibOk) return 0;
    SurfaceView view;
    if (!viewOf(*job.out, view)) {
        job.error = kDibInvalidImage;
        return 0;
    }
    const Progress progress(job.options, view.height);
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < view.height; ++y) {
            if (pass == passes - 1 && progress.cancelled(y)) {
                job.error = kDibLoadInterrupt;
                return 0;
            }
            png_read_row(png, view.row(y), nullptr);
        }
    }
    png_read_end(png, nullptr);
    job.info->width = view.width;
    job.info->height = view.height;
    job.info->bitCount = bpp;
    job.info->topDown = 1;
    return 1;
}

// Everything a write needs, made before the jump point.
struct WriteJob {
    Stream stream;
    const SurfaceView* view;
    unsigned char* rgb;  // a row of RGB bytes for depths other than 32
    std::uint32_t* argb; // the same row as 0xAARRGGBB
};

int writeRows(png_structp png, png_infop info, WriteJob& job) {
    if (setjmp(png_jmpbuf(png)) != 0) return 0;
    const SurfaceView& v = *job.view;
    png_set_write_fn(png, &job.stream, writeData, flushData);
    const bool rgba = v.bpp == 32;
    png_set_IHDR(png, info, static_cast<png_uint_32>(v.width), static_cast<png_uint_32>(v.height), 8,
                 rgba ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (rgba) png_set_bgr(png);
    for (int y = 0; y < v.height; ++y) {
        if (rgba) {
            png_write_row(png, v.row(y));
            continue;
        }
        rowToArgb(v, v.row(y), job.argb);
        for (int x = 0; x < v.width; ++x) {
            job.rgb[3 * x] = static_cast<unsigned char>(job.argb[x] >> 16);
            job.rgb[3 * x + 1] = static_cast<unsigned char>(job.argb[x] >> 8);
            job.rgb[3 * x + 2] = static_cast<unsigned char>(job.argb[x]);
        }
        png_write_row(png, job.rgb);
    }
    png_write_end(png, nullptr);
    return 1;
}

}  // namespace

bool pngSupported() { return true; }

int readPng(Input& in, const KWRImageLoadOptions* options, DibStream& out, KWRImageFileInfo& info) {
    ReadJob job{{&in, nullptr, false}, limitsOf(options), options, &out, &info, kDibOk};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, quiet);
    png_infop pi = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (pi == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return kDibAllocateMemory;
    }
    const int ok = readRows(png, pi, job);
    png_destroy_read_struct(&png, &pi, nullptr);
    if (ok) return kDibOk;
    if (job.error != kDibOk) return job.error;
    return job.stream.ioFailed ? kDibReadFile : kDibInvalidImage;
}

int writePng(const SurfaceView& view, Output& out) {
    std::vector<unsigned char> rgb;
    std::vector<std::uint32_t> argb;
    if (view.bpp != 32) {
        rgb.resize(static_cast<std::size_t>(view.width) * 3);
        argb.resize(static_cast<std::size_t>(view.width));
    }
    WriteJob job{{nullptr, &out, false}, &view, rgb.data(), argb.data()};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, quiet);
    png_infop pi = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (pi == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return kDibAllocateMemory;
    }
    const int ok = writeRows(png, pi, job);
    png_destroy_write_struct(&png, &pi);
    return ok ? kDibOk : job.stream.ioFailed ? kDibWriteFile : kDibInvalidImage;
}

#else

bool pngSupported() { return false; }

int readPng(Input&, const KWRImageLoadOptions*, DibStream&, KWRImageFileInfo&) { return kDibUnsupportType; }

int writePng(const SurfaceView&, Output&) { return kDibUnsupportType; }

#endif

}  // namespace kwr
