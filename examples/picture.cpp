#include "picture.h"

#include <cstdio>
#include <cstring>
#include <memory>

#if defined(_WIN32)
#include "dib_section.h"
#endif

#if defined(KWR_DEMO_PNG)
#include <png.h>
#endif

#include "KWRImage.h"
#include "KWRRender.h"

namespace kwr_demo {

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

Picture capture(KWRRender& r, int width, int height) {
    Picture p;
    p.width = width;
    p.height = height;
    p.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
#if defined(_WIN32)
    DibSection section(width, height);
    if (section.pixels != nullptr) {
        r.kwrRender(section.dc, 0, 0);
        GdiFlush();
        for (std::size_t i = 0; i < p.pixels.size(); ++i) p.pixels[i] = section.pixels[i] & 0xFFFFFFu;
    }
#else
    KWRMemoryDC dc{width, height, width * 4, p.pixels.data()};
    r.kwrRender(&dc, 0, 0);
#endif
    return p;
}

#if defined(KWR_DEMO_PNG)
bool havePng() { return true; }

static std::string savePng(const Picture& p, const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return "cannot create " + path;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    std::vector<unsigned char> row(static_cast<std::size_t>(p.width) * 3);
    bool ok = info != nullptr;
    // libpng reports errors by longjmp; nothing with a destructor is created
    // between here and the end of the writing.
    if (ok && setjmp(png_jmpbuf(png)) == 0) {
        png_init_io(png, f);
        png_set_IHDR(png, info, static_cast<png_uint_32>(p.width), static_cast<png_uint_32>(p.height), 8,
                     PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        for (int y = 0; y < p.height; ++y) {
            const std::uint32_t* src = &p.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(p.width)];
            for (int x = 0; x < p.width; ++x) {
                row[static_cast<std::size_t>(3 * x)] = static_cast<unsigned char>(src[x] >> 16);
                row[static_cast<std::size_t>(3 * x + 1)] = static_cast<unsigned char>(src[x] >> 8);
                row[static_cast<std::size_t>(3 * x + 2)] = static_cast<unsigned char>(src[x]);
            }
            png_write_row(png, row.data());
        }
        png_write_end(png, nullptr);
    } else {
        ok = false;
    }
    png_destroy_write_struct(&png, &info);
    if (std::fclose(f) != 0) ok = false;
    return ok ? std::string() : "cannot write " + path;
}
#else
bool havePng() { return false; }
#endif

// A 24-bit bitmap file through the image library.
static std::string saveBmp(const Picture& p, const std::string& path) {
    KWRImage image;
    if (image.kwrCreate(p.width, p.height, 24) == 0) return std::string("cannot write ") + path + ": " + image.kwrGetErrorText();
    for (int y = 0; y < p.height; ++y) {
        unsigned char* row = image.kwrGetRow(y);
        const std::uint32_t* src = &p.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(p.width)];
        for (int x = 0; row != nullptr && x < p.width; ++x) {
            row[3 * x] = static_cast<unsigned char>(src[x]);
            row[3 * x + 1] = static_cast<unsigned char>(src[x] >> 8);
            row[3 * x + 2] = static_cast<unsigned char>(src[x] >> 16);
        }
    }
    if (image.kwrSave(path.c_str()) == 0) return std::string("cannot write ") + path + ": " + image.kwrGetErrorText();
    return std::string();
}

std::string saveFrame(KWRRender& r, const std::string& path) {
    if (endsWith(path, ".bmp")) {
        int error = 0;
        if (KWRImage::kwrSaveFrame(r, path.c_str(), &error) == 0) {
            return std::string("cannot write ") + path + ": " + KWRImage::kwrErrorText(error);
        }
        return std::string();
    }
    const FrameFormat f = frameFormat(r);
    return savePicture(capture(r, f.width, f.height), path);
}

std::string savePicture(const Picture& p, const std::string& path) {
    if (endsWith(path, ".bmp")) return saveBmp(p, path);
#if defined(KWR_DEMO_PNG)
    return savePng(p, path);
#else
    return "this build writes no PNG files (libpng was not found): use a .bmp name";
#endif
}

}  // namespace kwr_demo
