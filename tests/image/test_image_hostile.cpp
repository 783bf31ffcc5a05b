// The loader against crafted files: every kind of file it reads, one file
// per class of hostile input, every truncation of the valid files, and a
// cancelled load.  Run under the sanitizers these also prove that nothing
// reads or writes outside a buffer.
#include <gtest/gtest.h>

#include <cstdio>

#include "bmp_craft.h"

namespace {

using namespace bmpcraft;

int load(KWRImage& img, const Bytes& f, const KWRImageLoadOptions* o = nullptr) {
    return img.kwrLoadMemory(f.data(), f.size(), o);
}

// Whatever loads saves, and the saved file loads back with the same pixels.
void expectRoundTrip(const KWRImage& img) {
    KWRImage copy = img, back;
    std::vector<unsigned char> file(copy.kwrGetFileSize());
    ASSERT_EQ(copy.kwrSaveMemory(file.data(), file.size()), 1);
    ASSERT_EQ(back.kwrLoadMemory(file.data(), file.size()), 1) << back.kwrGetErrorText();
    ASSERT_EQ(back.kwrGetWidth(), img.kwrGetWidth());
    ASSERT_EQ(back.kwrGetHeight(), img.kwrGetHeight());
    for (int y = 0; y < img.kwrGetHeight(); ++y)
        for (int x = 0; x < img.kwrGetWidth(); ++x)
            ASSERT_EQ(back.kwrGetPixel(x, y), img.kwrGetPixel(x, y)) << x << "," << y;
}

TEST(ImageCraft, EveryKindOfFileLoadsWithItsHeaderAndPixels) {
    for (const Recipe& s : seedRecipes()) {
        SCOPED_TRACE(name(s));
        KWRImage img;
        ASSERT_EQ(load(img, build(s)), 1) << img.kwrGetErrorText();
        const KWRImageFileInfo& info = img.kwrGetFileInfo();
        EXPECT_EQ(info.width, s.width);
        EXPECT_EQ(info.height, s.height);
        EXPECT_EQ(info.bitCount, s.bpp);
        EXPECT_EQ(info.compression, s.compression);
        EXPECT_EQ(info.headerSize, s.headerSize);
        EXPECT_EQ(info.topDown, s.topDown ? 1 : 0);
        const std::uint32_t alpha = s.masks[3] != 0 ? 0x80000000u : 0;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                ASSERT_EQ(coarse(img.kwrGetPixel(x, y)) & (0x808080u | alpha),
                          coarse(craftColor(s, x, y)) & (0x808080u | alpha))
                    << x << "," << y;
        expectRoundTrip(img);
    }
}

TEST(ImageHostile, EveryClassFailsWithItsCodeOrLoadsDefinedPixels) {
    for (const Hostile& h : hostileFiles()) {
        SCOPED_TRACE(h.name);
        KWRImage img, fromFile;
        const int ok = load(img, h.file, &h.options);
        EXPECT_EQ(img.kwrGetError(), h.error) << img.kwrGetErrorText();
        // Read from a file (buffered, positioned by seeking) the same way.
        const std::string path = ::testing::TempDir() + "kwr_hostile_" + h.name + ".bmp";
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(std::fwrite(h.file.data(), 1, h.file.size(), f), h.file.size());
        std::fclose(f);
        EXPECT_EQ(fromFile.kwrLoad(path.c_str(), &h.options), ok);
        EXPECT_EQ(fromFile.kwrGetError(), h.error);
        std::remove(path.c_str());
        if (h.error != 0) {
            EXPECT_EQ(ok, 0);
            EXPECT_EQ(img.kwrIsEmpty(), 1);
            continue;
        }
        ASSERT_EQ(ok, 1);
        for (const Probe& p : h.probes) EXPECT_EQ(img.kwrGetPixel(p.x, p.y), p.argb) << p.x << "," << p.y;
        if (img.kwrGetWidth() * img.kwrGetHeight() <= 4096) expectRoundTrip(img);
    }
}

// Cut anywhere before the pixels, a file fails as unreadable; cut inside
// uncompressed pixels too; cut inside run-length data it loads.
TEST(ImageHostile, EveryTruncationFailsOrLoadsCleanly) {
    for (const Recipe& s : seedRecipes()) {
        SCOPED_TRACE(name(s));
        const Bytes f = build(s);
        const std::size_t pixels = f[kPixelOffset] | f[kPixelOffset + 1] << 8;
        const bool rle = s.compression == 1 || s.compression == 2;
        for (std::size_t n = 0; n < f.size(); ++n) {
            KWRImage img;
            const int ok = img.kwrLoadMemory(f.data(), n);
            ASSERT_EQ(ok, rle && n >= pixels ? 1 : 0) << n;
            if (!ok) {
                ASSERT_EQ(img.kwrGetError(), KWR_IMAGE_READ_FILE) << n;
            }
        }
    }
}

// The cancel callback also reaches run-length decoding.
TEST(ImageHostile, CancelledRunLengthLoadFailsWithCodeNine) {
    Recipe s;
    s.bpp = 8, s.compression = 1, s.height = 40;
    int calls = 0;
    KWRImageLoadOptions o{};
    o.user = &calls;
    o.cancel = [](void* user, int done, int total) {
        ++*static_cast<int*>(user);
        return done >= 1 && total == 40 ? 1 : 0;
    };
    KWRImage img;
    EXPECT_EQ(load(img, build(s), &o), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_LOAD_INTERRUPT);
    EXPECT_STREQ(img.kwrGetErrorText(), "load interrput");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(img.kwrIsEmpty(), 1);
}

}  // namespace
