// kwrimage: look at and convert bitmap files with the kwrender image library.
//
//   kwrimage info FILE
//   kwrimage convert IN OUT [--bpp 1|4|8|16|24|32] [--size WxH]
//
// Exits 0 on success (and for --help); on failure prints the error text on
// standard error and exits non-zero (1 for a failed load, conversion or
// save, 2 for a bad command line, whose message names what was wrong).
// The input may be a bitmap file or, where the library has libpng, a PNG
// file.  The output's format follows its name: .bmp at the image's own
// depth, .png (where the library has libpng) as 8-bit RGBA from 32 bits and
// RGB from other depths.  The output is written beside its name and moved
// over it when complete: a failed conversion leaves an existing file whole.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KWRImage.h"

namespace {

const char* const kUsage =
    "usage: kwrimage info FILE\n"
    "       kwrimage convert IN OUT.bmp|OUT.png [--bpp 1|4|8|16|24|32] [--size WxH]\n"
    "       kwrimage --help\n";

// A bad command line: what was wrong, then the usage.
int usage(const char* why, const char* what = "") {
    std::fprintf(stderr, "kwrimage: %s%s\n%s", why, what, kUsage);
    return 2;
}

// Whether `path` ends in `ext` (".bmp"), in any case.
bool hasExtension(const char* path, const char* ext) {
    const std::size_t n = std::strlen(path), k = std::strlen(ext);
    if (n < k) return false;
    for (std::size_t i = 0; i < k; ++i)
        if ((path[n - k + i] | 0x20) != ext[i]) return false;
    return true;
}

int fail(const char* what, const KWRImage& image) {
    std::fprintf(stderr, "kwrimage: %s: %s\n", what, image.kwrGetErrorText());
    return 1;
}

// A failed load; a PNG file where the library has no libpng says so.
int failLoad(const char* path, const KWRImage& image) {
    if (image.kwrGetError() == KWR_IMAGE_UNSUPPORT_TYPE && KWRImage::kwrPngSupported() == 0) {
        std::FILE* f = std::fopen(path, "rb");
        unsigned char sig[4] = {0, 0, 0, 0};
        const bool png = f != nullptr && std::fread(sig, 1, 4, f) == 4 && std::memcmp(sig, "\x89PNG", 4) == 0;
        if (f != nullptr) std::fclose(f);
        if (png) {
            std::fprintf(stderr, "kwrimage: %s: a PNG file; this build reads bitmap files only (no libpng)\n", path);
            return 1;
        }
    }
    return fail(path, image);
}

// A failed save: the library's text and the system's reason.
int failSave(const char* path, const KWRImage& image, int reason) {
    const int code = image.kwrGetError();
    if ((code == KWR_IMAGE_OPEN_FILE || code == KWR_IMAGE_WRITE_FILE) && reason != 0) {
        std::fprintf(stderr, "kwrimage: %s: %s: %s (the file there, if any, is unchanged)\n", path,
                     image.kwrGetErrorText(), std::strerror(reason));
        return 1;
    }
    return fail(path, image);
}

// A decimal number in 1..limit followed by `stop` (0: the end of the text).
bool parseNumber(const char* s, long limit, char stop, long& value) {
    char* end = nullptr;
    value = std::strtol(s, &end, 10);
    return end != s && value >= 1 && value <= limit && (*end == stop || (stop == 'x' && *end == 'X'));
}

const char* compressionName(int c) {
    switch (c) {
    case 0: return "none";
    case 1: return "run-length 8";
    case 2: return "run-length 4";
    case 3: return "bit fields";
    case 6: return "bit fields with alpha";
    default: return "unknown";
    }
}

int info(const char* path) {
    KWRImage image;
    if (!image.kwrLoad(path)) return failLoad(path, image);
    const KWRImageFileInfo& f = image.kwrGetFileInfo();
    std::printf("size: %d x %d\n", f.width, f.height);
    std::printf("bits per pixel: %d\n", f.bitCount);
    std::printf("compression: %d (%s)\n", f.compression, compressionName(f.compression));
    std::printf("header size: %d\n", f.headerSize);
    std::printf("colour table: %d entries\n", f.colorTableSize);
    std::printf("row order: %s\n", f.topDown != 0 ? "top-down" : "bottom-up");
    if (f.truncated != 0) std::printf("pixel data: ends early (missing pixels are colour 0)\n");
    if (f.bitCount == 16 || f.bitCount == 32)
        std::printf("masks: red %08X green %08X blue %08X alpha %08X\n", f.redMask, f.greenMask, f.blueMask,
                    f.alphaMask);
    return 0;
}

int convert(int argc, char** argv) {
    const char* in = argv[2];
    const char* out = argv[3];
    long bpp = 0, width = 0, height = 0;
    const bool png = hasExtension(out, ".png");
    if (png && KWRImage::kwrPngSupported() == 0)
        return usage("this build writes no PNG files (the library has no libpng): ", out);
    if (!png && !hasExtension(out, ".bmp")) return usage("the output name must end in .bmp or .png: ", out);
    for (int i = 4; i < argc; i += 2) {
        if (std::strcmp(argv[i], "--bpp") != 0 && std::strcmp(argv[i], "--size") != 0)
            return usage("unknown option ", argv[i]);
        if (i + 1 >= argc) return usage("a value is missing after ", argv[i]);
        if (std::strcmp(argv[i], "--bpp") == 0) {
            if (!parseNumber(argv[i + 1], 32, 0, bpp) ||
                (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32))
                return usage("--bpp takes 1, 4, 8, 16, 24 or 32, not ", argv[i + 1]);
        } else {
            const char* s = argv[i + 1];
            const char* x = std::strpbrk(s, "xX");
            if (x == nullptr || !parseNumber(s, KWR_IMAGE_MAX_WIDTH, 'x', width) ||
                !parseNumber(x + 1, KWR_IMAGE_MAX_HEIGHT, 0, height))
                return usage("--size takes WxH, each from 1 to 32768, not ", s);
        }
    }
    KWRImage image;
    if (!image.kwrLoad(in)) return failLoad(in, image);
    if (image.kwrGetFileInfo().truncated != 0)
        std::fprintf(stderr, "kwrimage: warning: %s: the pixel data ends early; the missing pixels are colour 0\n", in);
    if (bpp != 0 && bpp != image.kwrGetBpp() && !image.kwrConvert(static_cast<int>(bpp))) return fail("convert", image);
    if (width != 0 && !image.kwrResize(static_cast<int>(width), static_cast<int>(height))) return fail("resize", image);
    errno = 0;
    if ((png ? image.kwrSavePng(out) : image.kwrSave(out)) == 0) return failSave(out, image, errno);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage("no command given");
    const char* command = argv[1];
    if (std::strcmp(command, "--help") == 0 || std::strcmp(command, "-h") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (std::strcmp(command, "info") == 0) return argc == 3 ? info(argv[2]) : usage("info takes one file");
    if (std::strcmp(command, "convert") == 0)
        return argc >= 4 ? convert(argc, argv) : usage("convert takes an input and an output file");
    return usage("unknown command ", command);
}
