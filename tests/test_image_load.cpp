// The loader against crafted files: every kind of file it reads, one file
// per class of hostile input (from memory and from a file), every truncation
// of the valid files, cancelled loads and a missing file.  Run under the
// sanitizers these also prove that nothing reads or writes outside a buffer.
#include <gtest/gtest.h>

#include "image/bmp_craft.h"

namespace {

using namespace bmpcraft;

// Whatever loads saves (40-byte header, the full colour table, rows
// bottom-up), and the saved file loads back with its depth and pixels.
void expectRoundTrip(const KWRImage& img) {
    KWRImage copy = img, back;
    const int bpp = img.kwrGetBpp();
    Bytes file(copy.kwrGetFileSize());
    const std::size_t rows = static_cast<std::size_t>(img.kwrGetPitch()) * img.kwrGetHeight();
    ASSERT_EQ(file.size(), 54 + (bpp <= 8 ? 4u << bpp : 0u) + rows);
    ASSERT_EQ(copy.kwrSaveMemory(file.data(), file.size()), 1);
    ASSERT_EQ(back.kwrLoadMemory(file.data(), file.size()), 1) << back.kwrGetErrorText();
    EXPECT_EQ(back.kwrGetBpp(), bpp);
    EXPECT_EQ(back.kwrIsTopDown(), 0);
    EXPECT_TRUE(samePixels(back, img));
}

TEST(ImageLoad, EveryKindOfFileLoadsWithItsHeaderAndPixelsAndEveryCutFails) {
    for (const Recipe& s : seedRecipes()) {
        SCOPED_TRACE(name(s));
        const Bytes f = build(s);
        KWRImage img;
        ASSERT_EQ(img.kwrLoadMemory(f.data(), f.size()), 1) << img.kwrGetErrorText();
        const KWRImageFileInfo& i = img.kwrGetFileInfo();
        EXPECT_EQ(std::vector<int>({i.width, i.height, i.bitCount, i.compression, i.headerSize, i.colorTableSize,
                                    i.topDown, img.kwrIsTopDown()}),
                  std::vector<int>({s.width, s.height, s.bpp, s.compression, s.headerSize, tableEntries(s),
                                    s.topDown, s.topDown}));
        // Alpha counts only where the file has an alpha mask.
        const std::uint32_t compared = s.masks[3] != 0 ? 0xFFFFFFFFu : 0xFFFFFFu;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                ASSERT_EQ(img.kwrGetPixel(x, y) & compared, craftColor(s, x, y) & compared) << x << "," << y;
        expectRoundTrip(img);
        // Cut anywhere before the pixels, or inside uncompressed pixels, the
        // file fails as unreadable; cut inside run-length data it loads.
        const std::size_t pixels = f[kPixelOffset] | f[kPixelOffset + 1] << 8;
        for (std::size_t n = 0; n < f.size(); ++n) {
            const int ok = img.kwrLoadMemory(f.data(), n);
            ASSERT_EQ(ok, (s.compression == 1 || s.compression == 2) && n >= pixels ? 1 : 0) << n;
            ASSERT_EQ(img.kwrGetError(), ok ? KWR_IMAGE_OK : KWR_IMAGE_READ_FILE) << n;
        }
    }
}

TEST(ImageLoad, EveryHostileFileFailsWithItsCodeOrLoadsDefinedPixels) {
    for (const Hostile& h : hostileFiles()) {
        SCOPED_TRACE(h.name);
        KWRImage img, fromFile;
        const int ok = img.kwrLoadMemory(h.file.data(), h.file.size(), &h.options);
        EXPECT_EQ(img.kwrGetError(), h.error) << img.kwrGetErrorText();
        // Read from a file (buffered) the same way.
        const std::string path = ::testing::TempDir() + "kwr_hostile_" + h.name + ".bmp";
        ASSERT_TRUE(writeFile(path, h.file));
        EXPECT_EQ(fromFile.kwrLoad(path.c_str(), &h.options), ok);
        EXPECT_EQ(fromFile.kwrGetError(), h.error);
        std::remove(path.c_str());
        if (h.error != 0) {
            EXPECT_EQ(ok, 0);
            EXPECT_EQ(img.kwrIsEmpty(), 1);
            EXPECT_EQ(img.kwrGetPixels(), nullptr);
            continue;
        }
        ASSERT_EQ(ok, 1);
        // Run-length data that stops before its end-of-bitmap escape says so.
        const std::string name = h.name;
        const bool cutShort = name == "rle8_ends_early" || name == "rle8_absolute_ends_early" ||
                              name == "rle4_absolute_past_row";
        EXPECT_EQ(img.kwrGetFileInfo().truncated, cutShort ? 1 : 0);
        EXPECT_TRUE(samePixels(img, fromFile));
        for (const Probe& p : h.probes) EXPECT_EQ(img.kwrGetPixel(p.x, p.y), p.argb) << p.x << "," << p.y;
        if (img.kwrGetWidth() * img.kwrGetHeight() <= 4096) expectRoundTrip(img);
    }
}

// The cancel callback reaches plain rows, bit-field rows and run-length
// data; a missing file fails to open; codes out of range have a text.
TEST(ImageLoad, CancelledAndMissingFilesFail) {
    for (const Recipe& s : {Recipe{24, 5, 40}, Recipe{16, 5, 40, 3, 40, false, {0xF800, 0x07E0, 0x001F}},
                            Recipe{8, 5, 40, 1}}) {
        int calls = 0;
        const KWRImageLoadOptions o{0, 0, 0, 0, [](void* user, int done, int total) {
                                        ++*static_cast<int*>(user);
                                        return done >= 1 && total == 40 ? 1 : 0;
                                    }, &calls};
        const Bytes f = build(s);
        KWRImage img;
        EXPECT_EQ(img.kwrLoadMemory(f.data(), f.size(), &o), 0);
        EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_LOAD_INTERRUPT);
        EXPECT_STREQ(img.kwrGetErrorText(), "load interrput");
        EXPECT_EQ(calls, 2) << s.bpp;
        EXPECT_EQ(img.kwrIsEmpty(), 1);
    }
    KWRImage missing;
    EXPECT_EQ(missing.kwrLoad("no such file.bmp"), 0);
    EXPECT_EQ(missing.kwrGetError(), KWR_IMAGE_OPEN_FILE);
    EXPECT_STREQ(missing.kwrGetErrorText(), "open file");
    for (int code : {15, -1}) EXPECT_STREQ(KWRImage::kwrErrorText(code), "(undefined)");
}

}  // namespace
