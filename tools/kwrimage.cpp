// kwrimage: look at and convert bitmap files with the kwrender image library.
//
//   kwrimage info FILE
//   kwrimage convert IN OUT [--bpp 1|4|8|16|24|32] [--size WxH]
//
// Exits 0 on success; on failure prints the error text on standard error
// and exits non-zero (1 for a failed load, conversion or save, 2 for a bad
// command line).
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KWRImage.h"

namespace {

int usage() {
    std::fputs("usage: kwrimage info FILE\n"
               "       kwrimage convert IN OUT [--bpp 1|4|8|16|24|32] [--size WxH]\n",
               stderr);
    return 2;
}

int fail(const char* what, const KWRImage& image) {
    std::fprintf(stderr, "kwrimage: %s: %s\n", what, image.kwrGetErrorText());
    return 1;
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
    if (!image.kwrLoad(path)) return fail(path, image);
    const KWRImageFileInfo& f = image.kwrGetFileInfo();
    std::printf("size: %d x %d\n", f.width, f.height);
    std::printf("bits per pixel: %d\n", f.bitCount);
    std::printf("compression: %d (%s)\n", f.compression, compressionName(f.compression));
    std::printf("header size: %d\n", f.headerSize);
    std::printf("colour table: %d entries\n", f.colorTableSize);
    std::printf("row order: %s\n", f.topDown != 0 ? "top-down" : "bottom-up");
    if (f.bitCount == 16 || f.bitCount == 32)
        std::printf("masks: red %08X green %08X blue %08X alpha %08X\n", f.redMask, f.greenMask, f.blueMask,
                    f.alphaMask);
    return 0;
}

int convert(int argc, char** argv) {
    const char* in = argv[2];
    const char* out = argv[3];
    long bpp = 0, width = 0, height = 0;
    for (int i = 4; i < argc; i += 2) {
        if (i + 1 >= argc) return usage();
        if (std::strcmp(argv[i], "--bpp") == 0) {
            if (!parseNumber(argv[i + 1], 32, 0, bpp)) return usage();
            if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) return usage();
        } else if (std::strcmp(argv[i], "--size") == 0) {
            const char* s = argv[i + 1];
            const char* x = std::strpbrk(s, "xX");
            if (x == nullptr || !parseNumber(s, KWR_IMAGE_MAX_WIDTH, 'x', width) ||
                !parseNumber(x + 1, KWR_IMAGE_MAX_HEIGHT, 0, height))
                return usage();
        } else {
            return usage();
        }
    }
    KWRImage image;
    if (!image.kwrLoad(in)) return fail(in, image);
    if (bpp != 0 && bpp != image.kwrGetBpp() && !image.kwrConvert(static_cast<int>(bpp))) return fail("convert", image);
    if (width != 0 && !image.kwrResize(static_cast<int>(width), static_cast<int>(height))) return fail("resize", image);
    if (!image.kwrSave(out)) return fail(out, image);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "info") == 0) return info(argv[2]);
    if (argc >= 4 && std::strcmp(argv[1], "convert") == 0) return convert(argc, argv);
    return usage();
}
