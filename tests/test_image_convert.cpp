// Saving, conversion, resampling and the helpers that feed the render
// context: hand-worked conversion results, a texture and an alpha map,
// frames saved and copied, wide paths, and the stretched draw.  (Round trips
// at every depth go with the loader's tests.)
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "image/bmp_craft.h"

namespace {

using bmpcraft::Bytes;

// An image of `bpp` bits whose rows (from the top) start with the given bytes.
KWRImage image(int width, int bpp, const std::vector<Bytes>& rows) {
    KWRImage img;
    EXPECT_EQ(img.kwrCreate(width, static_cast<int>(rows.size()), bpp), 1);
    for (std::size_t y = 0; y < rows.size(); ++y) std::copy(rows[y].begin(), rows[y].end(), img.kwrGetRow(int(y)));
    return img;
}

Bytes row(const KWRImage& img, int y, int bytes) { return Bytes(img.kwrGetRow(y), img.kwrGetRow(y) + bytes); }

// Wide and narrow paths; saving what cannot be saved fails.
TEST(ImageSave, PathsAndFailures) {
    KWRImage img = image(7, 8, {{1, 2, 3, 4, 5, 6, 7}, {8, 9}}), back;
    const wchar_t* wide = L"kwr image \u00e4\u6f22.bmp";
    ASSERT_EQ(img.kwrSave(wide), 1);
    ASSERT_EQ(back.kwrLoad(wide), 1);
    EXPECT_TRUE(bmpcraft::samePixels(back, img));
#if !defined(_WIN32)
    // The wide name is the UTF-8 narrow name on Linux.
    ASSERT_EQ(back.kwrLoad("kwr image \xc3\xa4\xe6\xbc\xa2.bmp"), 1);
    EXPECT_TRUE(bmpcraft::samePixels(back, img));
    const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(back.kwrLoad(surrogate), 0);
    EXPECT_EQ(back.kwrGetError(), KWR_IMAGE_OPEN_FILE);
#endif
    std::remove("kwr image \xc3\xa4\xe6\xbc\xa2.bmp");
    EXPECT_EQ(img.kwrSave("no such folder/x.bmp"), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_OPEN_FILE);
    Bytes small(img.kwrGetFileSize() - 1);
    EXPECT_EQ(img.kwrSaveMemory(small.data(), small.size()), 0);
    EXPECT_EQ(img.kwrGetError(), KWR_IMAGE_WRITE_FILE);
    KWRImage empty;
    EXPECT_EQ(empty.kwrGetFileSize(), 0u);
    EXPECT_EQ(empty.kwrSave("never written.bmp"), 0);
    EXPECT_EQ(empty.kwrGetError(), KWR_IMAGE_INVALID_IMAGE);
}

TEST(ImageConvert, HandWorkedResults) {
    // One row of 0xC86432, white, 0x646464.
    const KWRImage colours = image(3, 24, {{0x32, 0x64, 0xC8, 0xFF, 0xFF, 0xFF, 0x64, 0x64, 0x64}});
    KWRImage c16 = colours, c8 = colours, c4 = colours, c1 = colours;
    ASSERT_EQ(c16.kwrConvert(16) + c8.kwrConvert(8) + c4.kwrConvert(4) + c1.kwrConvert(1), 4);
    // Top five bits of 200, 100, 50: 25, 12, 6; widened back: 206, 99, 49.
    EXPECT_EQ(c16.kwrGetRow(0)[0] | (c16.kwrGetRow(0)[1] << 8), (25 << 10) | (12 << 5) | 6);
    EXPECT_EQ(c16.kwrGetPixel(0, 0), 0xFFCE6331u);
    // The colour cube: 200/43, 100/43, 50/43 is (4, 2, 1), colour 172, 86, 43.
    EXPECT_EQ(row(c8, 0, 2), (Bytes{(4 * 6 + 2) * 6 + 1, 215}));
    EXPECT_EQ(c8.kwrGetPixel(0, 0), 0xFFAC562Bu);
    int count = 0;
    EXPECT_EQ(c8.kwrGetPalette(&count)[4 * 216], 216);  // the grey ramp after the cube
    EXPECT_EQ(count, 256);
    // Nearest of the sixteen: 0x808000, white, grey 0x808080.
    EXPECT_EQ(row(c4, 0, 2), (Bytes{0x3F, 0x80}));
    EXPECT_EQ(c1.kwrGetRow(0)[0], 0x40);  // grey levels 124, 255, 100

    KWRImage c32 = c8;
    ASSERT_EQ(c32.kwrConvert(32), 1);
    EXPECT_EQ(c32.kwrGetPixel(0, 0), 0xFFAC562Bu);
    EXPECT_EQ(c8.kwrGetBpp(), 8);  // the copy kept its own bitmap
    c32.kwrGetRow(0)[3] = 0x40;
    ASSERT_EQ(c32.kwrConvert(24), 1);
    EXPECT_EQ(c32.kwrGetPixel(0, 0), 0xFFAC562Bu);
    KWRImage shared = c32;  // the same surface, its own error code
    EXPECT_EQ(c32.kwrConvert(12), 0);
    EXPECT_EQ(c32.kwrGetError(), KWR_IMAGE_SOME_ERROR);
    EXPECT_EQ(c32.kwrGetBpp(), 24);
    EXPECT_EQ(shared.kwrGetError(), KWR_IMAGE_OK);
    EXPECT_STREQ(shared.kwrGetErrorText(), "");
}

TEST(ImageConvert, NearestNeighbourResampling) {
    const KWRImage img = image(4, 8, {{10, 11, 12, 13}, {20, 21, 22, 23}});
    KWRImage half = img, grown = img;
    ASSERT_EQ(half.kwrResize(2, 1), 1);
    EXPECT_EQ(row(half, 0, 2), (Bytes{21, 23}));  // x 1, 3 of row 1
    ASSERT_EQ(grown.kwrResize(6, 3), 1);           // x: 0 1 1 2 3 3; y: 0 1 1
    EXPECT_EQ(row(grown, 0, 6), (Bytes{10, 11, 11, 12, 13, 13}));
    EXPECT_EQ(row(grown, 2, 6), (Bytes{20, 21, 21, 22, 23, 23}));

    KWRImage mono = image(8, 1, {{0xB2}});  // 1011 0010
    ASSERT_EQ(mono.kwrResize(4, 1), 1);
    EXPECT_EQ(mono.kwrGetRow(0)[0], 0x40);  // bits 1, 3, 5, 7: 0 1 0 0
    EXPECT_EQ(mono.kwrResize(0, 1), 0);
    EXPECT_EQ(mono.kwrGetError(), KWR_IMAGE_SOME_ERROR);
    EXPECT_EQ(mono.kwrResize(KWR_IMAGE_MAX_WIDTH + 1, 1), 0);
    EXPECT_EQ(mono.kwrGetError(), KWR_IMAGE_ALLOCATE_MEMORY);
    EXPECT_EQ(mono.kwrCreate(KWR_IMAGE_MAX_WIDTH, 2049, 32), 0);  // one row over 256 MiB
    EXPECT_EQ(mono.kwrGetError(), KWR_IMAGE_ALLOCATE_MEMORY);
    EXPECT_EQ(mono.kwrGetWidth(), 4);
}

TEST(ImageTexture, TexturedFrameSavedCopiedAndDrawn) {
    // A 2 x 2 texture file: top row red, green; bottom row blue, white.
    const Bytes file = bmpcraft::build({24, 2, 2}, {0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0});
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(16);
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrInitBuffer(16, 16), 1);
    r->kwrClear();
    r->kwrSetColor(0xFFFFFFFF);  // texels are multiplied by the current colour
    KWRImage tex, frame, copy;
    ASSERT_EQ(tex.kwrLoadMemory(file.data(), file.size()), 1);
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    r->kwrSetTexture(tex.kwrGetPixels(), tex.kwrGetWidth(), tex.kwrGetHeight(), tex.kwrGetPitch());
    r->kwrTrianglet(0, 0, 0, 0, 16, 0, 1, 0, 0, 16, 0, 1);
    r->kwrTrianglet(16, 0, 1, 0, 16, 16, 1, 1, 0, 16, 0, 1);
    // Saved through the render context, the frame loads as the copy made
    // of it; nearest texel of u: floor(u * 2 + 0.5).
    ASSERT_EQ(KWRImage::kwrSaveFrame(*r, "kwr-image-frame.bmp"), 1);
    ASSERT_EQ(frame.kwrLoad("kwr-image-frame.bmp"), 1);
    std::remove("kwr-image-frame.bmp");
    ASSERT_EQ(copy.kwrFromFrame(*r), 1);
    EXPECT_TRUE(bmpcraft::samePixels(frame, copy));
    EXPECT_EQ(frame.kwrGetPixel(2, 2), 0xFFFF0000u);
    EXPECT_EQ(frame.kwrGetPixel(9, 2), 0xFF00FF00u);
    EXPECT_EQ(frame.kwrGetPixel(2, 9), 0xFF0000FFu);
    EXPECT_EQ(frame.kwrGetPixel(9, 9), 0xFFFFFFFFu);
#if !defined(_WIN32)
    // At 1:1 the draw shows what the render context's presentation shows.
    std::vector<std::uint32_t> shown(256), drawn(256);
    KWRMemoryDC a{16, 16, 64, shown.data()}, b{16, 16, 64, drawn.data()};
    r->kwrRender(&a, 0, 0);
    ASSERT_EQ(frame.kwrDraw(&b, 0, 0, 16, 16), 1);
    EXPECT_EQ(shown, drawn);
#endif
    int error = -1;
    auto none = std::make_unique<KWRRender>();
    EXPECT_EQ(KWRImage::kwrSaveFrame(*none, "never.bmp", &error), 0);
    EXPECT_EQ(error, KWR_IMAGE_INVALID_IMAGE);
}

TEST(ImageTexture, AlphaMapsAndTextureAlpha) {
    KWRImage img = image(3, 32, {{10, 10, 10, 0, 0, 0, 255, 0, 255, 255, 255, 0}});
    KWRImage grey = img, tex = img;
    ASSERT_EQ(grey.kwrMakeAlphaMap(KWR_ALPHA_FROM_GREY), 1);
    EXPECT_EQ(grey.kwrGetBpp(), 8);
    EXPECT_EQ(row(grey, 0, 3), (Bytes{10, 77, 255}));  // (77 * 255 + 128) >> 8
    // Every fourth byte is 0: the texture is opaque.
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    EXPECT_EQ(tex.kwrGetPixel(0, 0), 0xFF0A0A0Au);
    img.kwrGetRow(0)[7] = 0x80;
    KWRImage alpha = img;
    tex = img;
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    EXPECT_EQ(tex.kwrGetPixel(1, 0) >> 24, 0x80u);
    EXPECT_EQ(tex.kwrGetPixel(0, 0) >> 24, 0u);
    ASSERT_EQ(alpha.kwrMakeAlphaMap(KWR_ALPHA_FROM_ALPHA), 1);
    EXPECT_EQ(row(alpha, 0, 3), (Bytes{0, 0x80, 0}));
    EXPECT_EQ(alpha.kwrMakeAlphaMap(7), 0);
    EXPECT_EQ(alpha.kwrGetError(), KWR_IMAGE_SOME_ERROR);
}

#if !defined(_WIN32)
TEST(ImageDraw, StretchedIntoAMemoryTarget) {
    const KWRImage img = image(2, 24, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}});
    std::vector<std::uint32_t> pixels(5 * 5, 0xDEADBEEFu);
    KWRMemoryDC dc{5, 5, 20, pixels.data()};
    // 2 x 2 stretched to 4 x 4 at (2, -1): clipped to columns 2..4, rows 0..2.
    ASSERT_EQ(img.kwrDraw(&dc, 2, -1, 4, 4), 1);
    EXPECT_EQ(std::vector<std::uint32_t>(pixels.begin() + 1, pixels.begin() + 5),
              (std::vector<std::uint32_t>{0xDEADBEEFu, 0x030201u, 0x030201u, 0x060504u}));
    EXPECT_EQ(pixels[1 * 5 + 3], 0x090807u);
    EXPECT_EQ(pixels[2 * 5 + 4], 0x0C0B0Au);
    EXPECT_EQ(pixels[3 * 5 + 2], 0xDEADBEEFu);
    EXPECT_EQ(img.kwrDraw(&dc, 0, 0, 0, 4), 0);
    EXPECT_EQ(img.kwrDraw(&dc, 5, 0, 4, 4), 0);

    // The window test's cases (an 8 bpp image 1:1 through its colour table,
    // a 24 bpp one stretched 2x and shrunk to half) against the resampling
    // rule kwrResize documents.
    KWRImage indexed, rgb;
    ASSERT_EQ(indexed.kwrCreate(48, 32, 8), 1);
    ASSERT_EQ(rgb.kwrCreate(40, 30, 24), 1);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x) indexed.kwrGetRow(y)[x] = static_cast<unsigned char>((x * 7 + y * 13) % 216);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 120; ++x) rgb.kwrGetRow(y)[x] = static_cast<unsigned char>(x * 3 + y * 11);
    const struct {
        const KWRImage* img;
        int w, h;
    } cases[] = {{&indexed, 48, 32}, {&rgb, 80, 60}, {&rgb, 20, 15}};
    for (const auto& c : cases) {
        KWRImage want = *c.img;
        ASSERT_EQ(want.kwrResize(c.w, c.h), 1);
        std::vector<std::uint32_t> target(static_cast<std::size_t>(c.w * c.h), 0xDEADBEEFu);
        KWRMemoryDC out{c.w, c.h, 4 * c.w, target.data()};
        ASSERT_EQ(c.img->kwrDraw(&out, 0, 0, c.w, c.h), 1);
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x)
                ASSERT_EQ(target[static_cast<std::size_t>(y * c.w + x)], want.kwrGetPixel(x, y) & 0xFFFFFFu)
                    << c.w << "x" << c.h << " at " << x << "," << y;
    }
}
#endif

}  // namespace
