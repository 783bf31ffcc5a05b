// Interoperability with an independent reader and writer of bitmaps
// (ImageMagick's convert, found at configure time): its files of every depth
// load with the pixels it reports, and every file we save reads back in it
// with our pixels.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "KWRImage.h"

namespace {

#if defined(KWR_IMAGEMAGICK)

// Named after the running test as well: ctest runs the cases in parallel.
std::string tempPath(const std::string& name) {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    return ::testing::TempDir() + "kwr_interop_" + (test != nullptr ? test->name() : "") + "_" + name;
}

bool run(const std::string& args) {
    const std::string cmd = std::string("\"") + KWR_IMAGEMAGICK + "\" " + args + " 2>&1";
    return std::system(cmd.c_str()) == 0;
}

// The pixels convert reads from a file, as 0xAARRGGBB, rows from the top.
std::vector<std::uint32_t> magickPixels(const std::string& file, std::size_t count) {
    const std::string raw = tempPath("pixels.rgba");
    std::vector<std::uint32_t> px;
    if (!run("\"" + file + "\" -depth 8 \"rgba:" + raw + "\"")) return px;
    std::FILE* f = std::fopen(raw.c_str(), "rb");
    if (f == nullptr) return px;
    unsigned char c[4];
    while (px.size() < count && std::fread(c, 1, 4, f) == 4)
        px.push_back(std::uint32_t{c[3]} << 24 | std::uint32_t{c[0]} << 16 | std::uint32_t{c[1]} << 8 | c[2]);
    std::fclose(f);
    return px;
}

void expectSamePixels(const KWRImage& img, const std::string& file, std::uint32_t compared) {
    const int w = img.kwrGetWidth(), h = img.kwrGetHeight();
    const std::vector<std::uint32_t> ref = magickPixels(file, static_cast<std::size_t>(w) * h);
    ASSERT_EQ(ref.size(), static_cast<std::size_t>(w) * h) << "convert could not read " << file;
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if ((img.kwrGetPixel(x, y) & compared) != (ref[y * w + x] & compared) && ++wrong <= 3)
                ADD_FAILURE() << file << " pixel " << x << "," << y << ": ours " << std::hex
                              << img.kwrGetPixel(x, y) << ", convert's " << ref[y * w + x];
    EXPECT_EQ(wrong, 0);
}

TEST(ImageInterop, FilesWrittenByImageMagickLoadWithItsPixels) {
    const std::uint32_t rgb = 0xFFFFFF, argb = 0xFFFFFFFF;
    // {file, convert's options and output format, bits per pixel, channels compared}
    const struct {
        const char* name;
        const char* args;
        int bpp;
        std::uint32_t compared;
    } cases[] = {
        {"1.bmp", "-type Bilevel BMP3:", 1, rgb},
        {"4.bmp", "-colors 16 -type Palette -compress None BMP3:", 4, rgb},
        {"8.bmp", "-colors 200 -type Palette -compress None BMP3:", 8, rgb},
        {"8rle.bmp", "-colors 200 -type Palette -compress RLE BMP3:", 8, rgb},
        {"8rle_v5.bmp", "-colors 16 -type Palette -compress RLE BMP:", 8, rgb},
        {"16_555_v5.bmp", "-define bmp:subtype=RGB555 BMP:", 16, rgb},
        {"16_565_v5.bmp", "-define bmp:subtype=RGB565 BMP:", 16, rgb},
        {"24.bmp", "BMP3:", 24, rgb},
        {"24_core.bmp", "BMP2:", 24, rgb},
        {"24_v5.bmp", "-type TrueColor BMP:", 24, rgb},
        {"32_alpha_v5.bmp", "-alpha set -channel A -fx \"(i+j)/(w+h)\" +channel BMP:", 32, argb},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string file = tempPath(c.name);
        ASSERT_TRUE(run(std::string("rose: ") + c.args + "\"" + file + "\""));
        KWRImage img;
        ASSERT_EQ(img.kwrLoad(file.c_str()), 1) << img.kwrGetErrorText();
        EXPECT_EQ(img.kwrGetFileInfo().bitCount, c.bpp);
        expectSamePixels(img, file, c.compared);
        std::remove(file.c_str());
    }
}

TEST(ImageInterop, FilesWeSaveAtEveryDepthReadBackInImageMagick) {
    const std::string source = tempPath("source.bmp");
    ASSERT_TRUE(run("rose: BMP3:\"" + source + "\""));
    for (int bpp : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bpp);
        KWRImage img;
        ASSERT_EQ(img.kwrLoad(source.c_str()), 1) << img.kwrGetErrorText();
        ASSERT_EQ(img.kwrConvert(bpp), 1);
        const std::string file = tempPath("saved" + std::to_string(bpp) + ".bmp");
        ASSERT_EQ(img.kwrSave(file.c_str()), 1) << img.kwrGetErrorText();
        expectSamePixels(img, file, 0xFFFFFF);
        std::remove(file.c_str());
    }
    std::remove(source.c_str());
}

#else

TEST(ImageInterop, NeedsImageMagick) {
    GTEST_SKIP() << "ImageMagick's convert was not found at configure time (Debian package imagemagick); "
                    "the interoperability tests did not run";
}

#endif

}  // namespace
