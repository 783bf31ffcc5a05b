// PNG files through the image library, and saves that fail half-way.
// The PNG files are made here with libpng itself, one per colour type and
// bit depth, from sample values whose expected colours the test computes.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#if defined(KWR_HAVE_PNG)
#include <png.h>
#endif
#if !defined(_WIN32) && !defined(__EMSCRIPTEN__)
#include <signal.h>
#include <sys/resource.h>
#endif

#include "KWRImage.h"

namespace {

std::string tempPath(const std::string& name) {
    return ::testing::TempDir() + "kwr_png_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" +
           name;
}

// A test image with pixels of every kind: a ramp, a second ramp across, and
// alpha that varies, at 8, 16, 24 or 32 bits.
KWRImage sampleImage(int bpp, int w = 13, int h = 7) {
    KWRImage img;
    EXPECT_EQ(img.kwrCreate(w, h, 32), 1);
    for (int y = 0; y < h; ++y) {
        unsigned char* row = img.kwrGetRow(y);
        for (int x = 0; x < w; ++x) {
            row[4 * x] = static_cast<unsigned char>(x * 19);
            row[4 * x + 1] = static_cast<unsigned char>(y * 37);
            row[4 * x + 2] = static_cast<unsigned char>(255 - x * y);
            row[4 * x + 3] = static_cast<unsigned char>(40 + x * 15);
        }
    }
    if (bpp != 32) {
        EXPECT_EQ(img.kwrConvert(bpp), 1);
    }
    return img;
}

#if defined(KWR_HAVE_PNG)

// A PNG file in memory: w x h samples per channel, `bits` a sample.
struct PngKind {
    int colorType;
    int bits;
    bool interlaced = false;
    bool transparent = false;  // a tRNS chunk: palette alphas, or colour 1 transparent
};

int channels(int colorType) {
    switch (colorType) {
    case PNG_COLOR_TYPE_GRAY: return 1;
    case PNG_COLOR_TYPE_GRAY_ALPHA: return 2;
    case PNG_COLOR_TYPE_RGB: return 3;
    case PNG_COLOR_TYPE_RGB_ALPHA: return 4;
    default: return 1;  // palette indices
    }
}

// Sample c of pixel (x, y), within the bit depth.
unsigned sample(const PngKind& s, int x, int y, int c) {
    const unsigned max = (1u << s.bits) - 1;
    if (s.colorType == PNG_COLOR_TYPE_PALETTE) return static_cast<unsigned>(x + 3 * y) % (max + 1 < 5 ? max + 1 : 5);
    return static_cast<unsigned>(x * 7919 + y * 104729 + c * 31337) % (max + 1);
}

// An 8-bit level of a sample as libpng gives it: low depths scaled up
// exactly, 16 bits rounded.
unsigned level(unsigned v, int bits) {
    if (bits == 16) return (v * 255 + 32895) >> 16;
    return v * 255 / ((1u << bits) - 1);
}

const png_color kPalette[5] = {{10, 20, 30}, {200, 0, 100}, {0, 255, 0}, {77, 88, 99}, {255, 255, 255}};
const png_byte kPaletteAlpha[5] = {0, 128, 255, 7, 255};

void appendData(png_structp png, png_bytep data, png_size_t n) {
    auto* out = static_cast<std::vector<unsigned char>*>(png_get_io_ptr(png));
    out->insert(out->end(), data, data + n);
}

void noFlush(png_structp) {}

std::vector<unsigned char> makePng(const PngKind& s, int w, int h) {
    std::vector<unsigned char> file;
    const int ch = channels(s.colorType);
    std::vector<std::vector<unsigned char>> rows(static_cast<std::size_t>(h));
    for (int y = 0; y < h; ++y) {
        std::vector<unsigned char>& r = rows[static_cast<std::size_t>(y)];
        r.assign((static_cast<std::size_t>(w) * ch * s.bits + 7) / 8 + 1, 0);
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < ch; ++c) {
                const unsigned v = sample(s, x, y, c);
                const std::size_t bit = (static_cast<std::size_t>(x) * ch + c) * s.bits;
                if (s.bits == 16) {
                    r[bit / 8] = static_cast<unsigned char>(v >> 8);
                    r[bit / 8 + 1] = static_cast<unsigned char>(v);
                } else {
                    r[bit / 8] = static_cast<unsigned char>(r[bit / 8] | (v << (8 - s.bits - bit % 8)));
                }
            }
        }
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        ADD_FAILURE() << "libpng could not write the test file";
        return {};
    }
    png_set_write_fn(png, &file, appendData, noFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(w), static_cast<png_uint_32>(h), s.bits, s.colorType,
                 s.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    const int entries = s.bits == 1 ? 2 : s.bits == 2 ? 4 : 5;
    if (s.colorType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, kPalette, entries);
    png_color_16 key{};
    key.gray = key.red = key.green = key.blue = 1;
    if (s.transparent) png_set_tRNS(png, info, kPaletteAlpha, s.colorType == PNG_COLOR_TYPE_PALETTE ? entries : 0, &key);
    png_write_info(png, info);
    std::vector<png_bytep> pointers;
    for (auto& r : rows) pointers.push_back(r.data());
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

// The colour 0xAARRGGBB the file means at (x, y).
std::uint32_t expected(const PngKind& s, int x, int y) {
    unsigned r, g, b, a = 255;
    if (s.colorType == PNG_COLOR_TYPE_PALETTE) {
        const unsigned i = sample(s, x, y, 0);
        r = kPalette[i].red, g = kPalette[i].green, b = kPalette[i].blue;
        if (s.transparent) a = kPaletteAlpha[i];
    } else {
        const bool grey = s.colorType == PNG_COLOR_TYPE_GRAY || s.colorType == PNG_COLOR_TYPE_GRAY_ALPHA;
        const int ch = channels(s.colorType);
        r = sample(s, x, y, 0);
        g = grey ? r : sample(s, x, y, 1);
        b = grey ? r : sample(s, x, y, 2);
        if (ch == 2 || ch == 4) a = level(sample(s, x, y, ch - 1), s.bits);
        if (s.transparent && r == 1 && g == 1 && b == 1) a = 0;
        r = level(r, s.bits), g = level(g, s.bits), b = level(b, s.bits);
    }
    return (a << 24) | (r << 16) | (g << 8) | b;
}

TEST(Png, EveryColourTypeAndDepthLoads) {
    std::vector<PngKind> kinds;
    for (int bits : {1, 2, 4, 8, 16}) kinds.push_back({PNG_COLOR_TYPE_GRAY, bits});
    for (int bits : {1, 2, 4, 8}) kinds.push_back({PNG_COLOR_TYPE_PALETTE, bits});
    for (int bits : {8, 16}) {
        kinds.push_back({PNG_COLOR_TYPE_GRAY_ALPHA, bits});
        kinds.push_back({PNG_COLOR_TYPE_RGB, bits});
        kinds.push_back({PNG_COLOR_TYPE_RGB_ALPHA, bits});
    }
    kinds.push_back({PNG_COLOR_TYPE_PALETTE, 4, false, true});
    kinds.push_back({PNG_COLOR_TYPE_PALETTE, 8, true, true});
    kinds.push_back({PNG_COLOR_TYPE_GRAY, 2, false, true});
    kinds.push_back({PNG_COLOR_TYPE_RGB, 16, true, true});
    kinds.push_back({PNG_COLOR_TYPE_RGB_ALPHA, 8, true});
    const int w = 11, h = 6;  // odd sizes: partial bytes at low depths, every Adam7 pass
    for (const PngKind& s : kinds) {
        SCOPED_TRACE("colour type " + std::to_string(s.colorType) + ", " + std::to_string(s.bits) + " bits" +
                     (s.interlaced ? ", interlaced" : "") + (s.transparent ? ", tRNS" : ""));
        const std::vector<unsigned char> file = makePng(s, w, h);
        KWRImage img;
        ASSERT_EQ(img.kwrLoadMemory(file.data(), file.size()), 1) << img.kwrGetErrorText();
        const bool alpha = (s.colorType & PNG_COLOR_MASK_ALPHA) != 0 || s.transparent;
        EXPECT_EQ(img.kwrGetBpp(), alpha ? 32 : 24);
        EXPECT_EQ(img.kwrGetFileInfo().width, w);
        int wrong = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if (img.kwrGetPixel(x, y) != expected(s, x, y) && ++wrong < 4)
                    ADD_FAILURE() << "(" << x << ", " << y << "): " << std::hex << img.kwrGetPixel(x, y) << " not "
                                  << expected(s, x, y);
    }
}

TEST(Png, CapsAndDepthsOfTheLoadOptionsApply) {
    const std::vector<unsigned char> file = makePng({PNG_COLOR_TYPE_RGB, 8}, 40, 30);
    KWRImage img;
    KWRImageLoadOptions narrow{};
    narrow.maxWidth = 39;
    EXPECT_EQ(img.kwrLoadMemory(file.data(), file.size(), &narrow), 0);
    KWRImageLoadOptions small{};
    small.maxPixelBytes = 120 * 30 - 1;
    EXPECT_EQ(img.kwrLoadMemory(file.data(), file.size(), &small), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_ALLOCATE_MEMORY);
    KWRImageLoadOptions only32{};
    only32.depthMask = KWR_DEPTH_32;
    EXPECT_EQ(img.kwrLoadMemory(file.data(), file.size(), &only32), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_NOT_MATCH_TYPE);
}

// Cut short anywhere or with bytes flipped, a file loads or fails with a
// code; nothing is read outside a buffer (the sanitizer builds check).
TEST(Png, DamagedFilesFailCleanly) {
    const std::vector<unsigned char> file = makePng({PNG_COLOR_TYPE_RGB_ALPHA, 8, true}, 9, 9);
    KWRImage img;
    for (std::size_t n = 0; n < file.size(); n += 3) {
        EXPECT_EQ(img.kwrLoadMemory(file.data(), n), 0) << n;
        EXPECT_NE(img.kwrGetError(), 0);
    }
    std::mt19937 rng(28);
    for (int i = 0; i < 300; ++i) {
        std::vector<unsigned char> bad = file;
        for (int k = 0; k < 3; ++k) bad[8 + rng() % (bad.size() - 8)] ^= static_cast<unsigned char>(1u << (rng() % 8));
        if (img.kwrLoadMemory(bad.data(), bad.size()) == 0) {
            EXPECT_NE(img.kwrGetError(), 0);
        }
    }
}

TEST(Png, SavedImagesOfEveryDepthReadBackWithTheirColours) {
    for (int bpp : {8, 16, 24, 32}) {
        const KWRImage src = sampleImage(bpp);
        KWRImage copy = src;
        const std::string path = tempPath(std::to_string(bpp) + ".png");
        ASSERT_EQ(copy.kwrSavePng(path.c_str()), 1) << copy.kwrGetErrorText();
        KWRImage back;
        ASSERT_EQ(back.kwrLoad(path.c_str()), 1) << back.kwrGetErrorText();
        EXPECT_EQ(back.kwrGetBpp(), bpp == 32 ? 32 : 24);
        for (int y = 0; y < src.kwrGetHeight(); ++y)
            for (int x = 0; x < src.kwrGetWidth(); ++x)
                ASSERT_EQ(back.kwrGetPixel(x, y), src.kwrGetPixel(x, y)) << bpp << " bpp at " << x << ", " << y;
        std::remove(path.c_str());
    }
}

#else

TEST(Png, WithoutLibpngPngFilesAreRefused) {
    EXPECT_EQ(KWRImage::kwrPngSupported(), 0);
    KWRImage img = sampleImage(24);
    EXPECT_EQ(img.kwrSavePng(tempPath("x.png").c_str()), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_UNSUPPORT_TYPE);
    const unsigned char signature[16] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    EXPECT_EQ(img.kwrLoadMemory(signature, sizeof signature), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_UNSUPPORT_TYPE);
}

#endif

#if !defined(_WIN32) && !defined(__EMSCRIPTEN__)

std::vector<unsigned char> readFile(const std::string& path) {
    std::vector<unsigned char> bytes;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        int c;
        while ((c = std::fgetc(f)) != EOF) bytes.push_back(static_cast<unsigned char>(c));
        std::fclose(f);
    }
    return bytes;
}

// A save that cannot be finished (here: the process's file size limit,
// as a full disk would) fails with "write file", leaves the file that was
// there as it was, and leaves no temporary file behind.
TEST(AtomicSave, AFailedSaveLeavesTheOldFileWhole) {
    const std::string path = tempPath("keep.bmp");
    KWRImage small = sampleImage(24, 4, 4);
    ASSERT_EQ(small.kwrSave(path.c_str()), 1);
    const std::vector<unsigned char> before = readFile(path);
    KWRImage large = sampleImage(32, 600, 400);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    void (*oldHandler)(int) = signal(SIGXFSZ, SIG_IGN);
    rlimit limited = old;
    limited.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    const int savedBmp = large.kwrSave(path.c_str());
    const int bmpError = large.kwrGetError();
    const int savedPng = KWRImage::kwrPngSupported() != 0 ? large.kwrSavePng(path.c_str()) : 0;
    const int pngError = large.kwrGetError();
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(savedBmp, 0);
    EXPECT_EQ(bmpError, KWR_IMAGE_WRITE_FILE);
    EXPECT_EQ(savedPng, 0);
    if (KWRImage::kwrPngSupported() != 0) {
        EXPECT_EQ(pngError, KWR_IMAGE_WRITE_FILE);
    }
    EXPECT_EQ(readFile(path), before);
    // The temporary files are named after the destination; none is left.
    const std::string dir = ::testing::TempDir();
    const std::string probe = "ls '" + dir + "' | grep -c 'kwr_png_AFailedSave.*tmp' > '" + tempPath("count") + "'";
    ASSERT_EQ(std::system(probe.c_str()) >= 0, true);
    const std::vector<unsigned char> count = readFile(tempPath("count"));
    EXPECT_EQ(std::string(count.begin(), count.end()), "0\n");
    // The same save with room succeeds and replaces the file.
    ASSERT_EQ(large.kwrSave(path.c_str()), 1);
    EXPECT_EQ(readFile(path).size(), large.kwrGetFileSize());
    std::remove(path.c_str());
    std::remove(tempPath("count").c_str());
}

#endif

}  // namespace
