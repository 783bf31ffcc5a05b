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
    return ::testing::TempDir() + "kwr_interop_" + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
           "_" + name;
}

bool run(const std::string& args) { return std::system(("\"" KWR_IMAGEMAGICK "\" " + args + " 2>&1").c_str()) == 0; }

// The image has the pixels convert reads from the file, in the channels compared.
void expectSamePixels(const KWRImage& img, const std::string& file, std::uint32_t compared) {
    const std::string raw = tempPath("pixels.rgba");
    const int w = img.kwrGetWidth(), count = w * img.kwrGetHeight();
    std::vector<unsigned char> rgba(4 * static_cast<std::size_t>(count) + 1);
    std::FILE* f = run("\"" + file + "\" -depth 8 \"rgba:" + raw + "\"") ? std::fopen(raw.c_str(), "rb") : nullptr;
    ASSERT_NE(f, nullptr) << "convert could not read " << file;
    const std::size_t got = std::fread(rgba.data(), 1, rgba.size(), f);
    std::fclose(f);
    std::remove(raw.c_str());
    ASSERT_EQ(got, 4u * count) << file;
    int wrong = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned char* c = &rgba[4 * static_cast<std::size_t>(i)];
        const std::uint32_t ours = img.kwrGetPixel(i % w, i / w);
        const std::uint32_t theirs = std::uint32_t{c[3]} << 24 | c[0] << 16 | c[1] << 8 | c[2];
        if (((ours ^ theirs) & compared) != 0 && ++wrong <= 3)
            ADD_FAILURE() << file << " pixel " << i % w << "," << i / w << ": ours " << std::hex << ours
                          << ", convert's " << theirs;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(ImageInterop, FilesWrittenByImageMagickLoadWithItsPixels) {
    const std::uint32_t rgb = 0xFFFFFF, argb = 0xFFFFFFFF;
    // {file, convert's options and output format, bits per pixel, channels compared}
    const struct { const char* name; const char* args; int bpp; std::uint32_t compared; } cases[] = {
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
