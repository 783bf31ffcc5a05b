// Saving, conversion, resampling and the helpers that feed the render
// context: round trips at every depth, hand-worked conversion results, a
// texture and an alpha map made from files and drawn with, frames saved and
// copied, wide paths, and the stretched draw.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "KWRImage.h"
#include "bmp_builder.h"

namespace {

using bmptest::Bytes;

// A top-down image of the given depth whose every row byte (padding
// included) holds a pattern.
KWRImage patterned(int width, int height, int bpp) {
    KWRImage image;
    EXPECT_EQ(image.kwrCreate(width, height, bpp), 1);
    for (int y = 0; y < height; ++y) {
        unsigned char* row = image.kwrGetRow(y);
        for (int i = 0; i < image.kwrGetPitch(); ++i) row[i] = static_cast<unsigned char>(i * 37 + y * 11 + 5);
    }
    return image;
}

Bytes saved(KWRImage& image) {
    Bytes file(image.kwrGetFileSize());
    EXPECT_EQ(image.kwrSaveMemory(file.data(), file.size()), 1);
    return file;
}

void expectSameImage(const KWRImage& a, const KWRImage& b) {
    ASSERT_EQ(a.kwrGetWidth(), b.kwrGetWidth());
    ASSERT_EQ(a.kwrGetHeight(), b.kwrGetHeight());
    ASSERT_EQ(a.kwrGetBpp(), b.kwrGetBpp());
    for (int y = 0; y < a.kwrGetHeight(); ++y)
        EXPECT_EQ(Bytes(a.kwrGetRow(y), a.kwrGetRow(y) + a.kwrGetPitch()),
                  Bytes(b.kwrGetRow(y), b.kwrGetRow(y) + b.kwrGetPitch()))
            << "row " << y;
    int na = 0, nb = 0;
    const unsigned char* ta = a.kwrGetPalette(&na);
    const unsigned char* tb = b.kwrGetPalette(&nb);
    ASSERT_EQ(na, nb);
    if (na > 0) {
        EXPECT_EQ(Bytes(ta, ta + 4 * na), Bytes(tb, tb + 4 * nb));
    }
}

TEST(ImageSave, RoundTripAtEveryDepth) {
    for (int bpp : {1, 4, 8, 16, 24, 32}) {
        KWRImage image = patterned(5, 3, bpp);
        const Bytes file = saved(image);
        // 40-byte header, the full table, rows bottom-up.
        const std::size_t table = bpp <= 8 ? 4u << bpp : 0u;
        ASSERT_EQ(file.size(), 54 + table + 3u * static_cast<std::size_t>(image.kwrGetPitch()));
        EXPECT_EQ(file[14], 40);
        EXPECT_EQ(file[22], 3);  // positive height: bottom-up
        EXPECT_EQ(Bytes(file.end() - image.kwrGetPitch(), file.end()),
                  Bytes(image.kwrGetRow(0), image.kwrGetRow(0) + image.kwrGetPitch()));
        KWRImage back;
        ASSERT_EQ(back.kwrLoadMemory(file.data(), file.size()), 1) << bpp;
        EXPECT_EQ(back.kwrIsTopDown(), 0);
        expectSameImage(image, back);
    }
    KWRImage image = patterned(2, 2, 24);
    Bytes small(image.kwrGetFileSize() - 1);
    EXPECT_EQ(image.kwrSaveMemory(small.data(), small.size()), 0);
    EXPECT_EQ(image.kwrGetError(), KWR_IMAGE_WRITE_FILE);
    KWRImage empty;
    EXPECT_EQ(empty.kwrGetFileSize(), 0u);
    EXPECT_EQ(empty.kwrSave("never written.bmp"), 0);
    EXPECT_EQ(empty.kwrGetError(), KWR_IMAGE_INVALID_IMAGE);
}

TEST(ImageSave, NarrowAndWidePaths) {
    KWRImage image = patterned(7, 2, 8);
    const wchar_t* wide = L"kwr image \u00e4\u6f22.bmp";
    ASSERT_EQ(image.kwrSave(wide), 1);
    KWRImage back;
    ASSERT_EQ(back.kwrLoad(wide), 1);
    expectSameImage(image, back);
#if !defined(_WIN32)
    // The wide name is the UTF-8 narrow name on Linux.
    KWRImage narrow;
    ASSERT_EQ(narrow.kwrLoad("kwr image \xc3\xa4\xe6\xbc\xa2.bmp"), 1);
    expectSameImage(image, narrow);
    const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(back.kwrLoad(surrogate), 0);
    EXPECT_EQ(back.kwrGetError(), KWR_IMAGE_OPEN_FILE);
#endif
    std::remove("kwr image \xc3\xa4\xe6\xbc\xa2.bmp");
    EXPECT_EQ(image.kwrSave("kwr-image-narrow.bmp"), 1);
    ASSERT_EQ(back.kwrLoad("kwr-image-narrow.bmp"), 1);
    expectSameImage(image, back);
    std::remove("kwr-image-narrow.bmp");
    EXPECT_EQ(image.kwrSave("no such folder/x.bmp"), 0);
    EXPECT_EQ(image.kwrGetError(), KWR_IMAGE_OPEN_FILE);
}

// One row of three pixels 0xC86432, white, 0x646464 in 24 bits.
KWRImage threeColours() {
    KWRImage image;
    EXPECT_EQ(image.kwrCreate(3, 1, 24), 1);
    const unsigned char row[9] = {0x32, 0x64, 0xC8, 0xFF, 0xFF, 0xFF, 0x64, 0x64, 0x64};
    std::copy(row, row + 9, image.kwrGetRow(0));
    return image;
}

TEST(ImageConvert, HandWorkedResults) {
    KWRImage c16 = threeColours();
    ASSERT_EQ(c16.kwrConvert(16), 1);
    // Top five bits of 200, 100, 50: 25, 12, 6.
    EXPECT_EQ(c16.kwrGetRow(0)[0] | (c16.kwrGetRow(0)[1] << 8), (25 << 10) | (12 << 5) | 6);
    EXPECT_EQ(c16.kwrGetPixel(0, 0), 0xFFCE6331u);  // widened back: 25 -> 206, 12 -> 99, 6 -> 49

    KWRImage c8 = threeColours();
    ASSERT_EQ(c8.kwrConvert(8), 1);
    EXPECT_EQ(c8.kwrGetRow(0)[0], (4 * 6 + 2) * 6 + 1);  // 200/43, 100/43, 50/43
    EXPECT_EQ(c8.kwrGetRow(0)[1], 215);
    EXPECT_EQ(c8.kwrGetPixel(0, 0), 0xFFAC562Bu);  // the cube colour 172, 86, 43
    int count = 0;
    const unsigned char* table = c8.kwrGetPalette(&count);
    ASSERT_EQ(count, 256);
    EXPECT_EQ(table[4 * 216], 216);  // the grey ramp after the cube

    KWRImage c4 = threeColours();
    ASSERT_EQ(c4.kwrConvert(4), 1);
    EXPECT_EQ(c4.kwrGetRow(0)[0] >> 4, 3);      // 0xC86432 nearest 0x808000
    EXPECT_EQ(c4.kwrGetRow(0)[0] & 0x0F, 15);   // white
    EXPECT_EQ(c4.kwrGetRow(0)[1] >> 4, 8);      // 0x646464 nearest grey 0x808080
    KWRImage c1 = threeColours();
    ASSERT_EQ(c1.kwrConvert(1), 1);
    EXPECT_EQ(c1.kwrGetRow(0)[0], 0x40);        // grey levels 124, 255, 100

    KWRImage c32 = c8;
    ASSERT_EQ(c32.kwrConvert(32), 1);
    EXPECT_EQ(c32.kwrGetPixel(0, 0), 0xFFAC562Bu);
    EXPECT_EQ(c8.kwrGetBpp(), 8);               // the copy kept its own bitmap
    c32.kwrGetRow(0)[3] = 0x40;
    ASSERT_EQ(c32.kwrConvert(24), 1);
    EXPECT_EQ(c32.kwrGetPixel(0, 0), 0xFFAC562Bu);

    EXPECT_EQ(c32.kwrConvert(12), 0);
    EXPECT_EQ(c32.kwrGetError(), KWR_IMAGE_SOME_ERROR);
    EXPECT_EQ(c32.kwrGetBpp(), 24);
}

TEST(ImageConvert, NearestNeighbourResampling) {
    KWRImage image;
    ASSERT_EQ(image.kwrCreate(4, 2, 8), 1);
    const unsigned char rows[2][4] = {{10, 11, 12, 13}, {20, 21, 22, 23}};
    for (int y = 0; y < 2; ++y) std::copy(rows[y], rows[y] + 4, image.kwrGetRow(y));
    KWRImage half = image;
    ASSERT_EQ(half.kwrResize(2, 1), 1);  // samples x 1, 3 of row 1
    EXPECT_EQ(Bytes(half.kwrGetRow(0), half.kwrGetRow(0) + 2), (Bytes{21, 23}));
    KWRImage grown = image;
    ASSERT_EQ(grown.kwrResize(6, 3), 1);  // x: 0 1 1 2 3 3; y: 0 1 1
    EXPECT_EQ(Bytes(grown.kwrGetRow(0), grown.kwrGetRow(0) + 6), (Bytes{10, 11, 11, 12, 13, 13}));
    EXPECT_EQ(Bytes(grown.kwrGetRow(1), grown.kwrGetRow(1) + 6), (Bytes{20, 21, 21, 22, 23, 23}));
    EXPECT_EQ(Bytes(grown.kwrGetRow(2), grown.kwrGetRow(2) + 6), (Bytes{20, 21, 21, 22, 23, 23}));

    KWRImage mono;
    ASSERT_EQ(mono.kwrCreate(8, 1, 1), 1);
    mono.kwrGetRow(0)[0] = 0xB2;  // 1011 0010
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

TEST(ImageTexture, TexturedTriangleFromAFile) {
    // A 2 x 2 texture file: top row red, green; bottom row blue, white.
    bmptest::BmpLayout s;
    s.width = 2;
    s.height = 2;
    s.pixels = {0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0};
    const Bytes file = bmptest::buildBmp(s);

    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(32);
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrInitBuffer(16, 16), 1);
    r->kwrClear();
    r->kwrSetColor(0xFFFFFFFF);  // texels are multiplied by the current colour
    KWRImage tex;
    ASSERT_EQ(tex.kwrLoadMemory(file.data(), file.size()), 1);
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    r->kwrSetTexture(tex.kwrGetPixels(), tex.kwrGetWidth(), tex.kwrGetHeight(), tex.kwrGetPitch());
    r->kwrTrianglet(0, 0, 0, 0, 16, 0, 1, 0, 0, 16, 0, 1);
    r->kwrTrianglet(16, 0, 1, 0, 16, 16, 1, 1, 0, 16, 0, 1);
    void* header = nullptr;
    void* pixels = nullptr;
    r->kwrGetDib(&header, &pixels);
    auto at = [&](int x, int y) {
        const unsigned char* p = static_cast<unsigned char*>(pixels) + y * 64 + x * 4;
        return static_cast<std::uint32_t>(p[0] | (p[1] << 8) | (p[2] << 16) | (p[3] << 24));
    };
    // Nearest texel of u, v: floor(u * 2 + 0.5), so texel 1 covers u 0.25..0.75.
    EXPECT_EQ(at(2, 2), 0xFFFF0000u);
    EXPECT_EQ(at(9, 2), 0xFF00FF00u);
    EXPECT_EQ(at(2, 9), 0xFF0000FFu);
    EXPECT_EQ(at(9, 9), 0xFFFFFFFFu);

    // The frame saved through the render context loads with its pixels.
    ASSERT_EQ(KWRImage::kwrSaveFrame(*r, "kwr-image-frame.bmp"), 1);
    KWRImage frame, copy;
    ASSERT_EQ(frame.kwrLoad("kwr-image-frame.bmp"), 1);
    ASSERT_EQ(copy.kwrFromFrame(*r), 1);
    expectSameImage(frame, copy);
    EXPECT_EQ(frame.kwrGetPixel(9, 9), 0xFFFFFFFFu);
    std::remove("kwr-image-frame.bmp");
    int error = -1;
    auto none = std::make_unique<KWRRender>();
    EXPECT_EQ(KWRImage::kwrSaveFrame(*none, "never.bmp", &error), 0);
    EXPECT_EQ(error, KWR_IMAGE_INVALID_IMAGE);
}

TEST(ImageTexture, AlphaMapsAndTextureAlpha) {
    KWRImage image;
    ASSERT_EQ(image.kwrCreate(3, 1, 32), 1);
    const unsigned char row[12] = {10, 10, 10, 0, 0, 0, 255, 0, 255, 255, 255, 0};
    std::copy(row, row + 12, image.kwrGetRow(0));
    KWRImage grey = image;
    ASSERT_EQ(grey.kwrMakeAlphaMap(KWR_ALPHA_FROM_GREY), 1);
    EXPECT_EQ(grey.kwrGetBpp(), 8);
    EXPECT_EQ(Bytes(grey.kwrGetRow(0), grey.kwrGetRow(0) + 3), (Bytes{10, 77, 255}));  // (77*255+128)>>8
    // Every fourth byte is 0: the texture is opaque.
    KWRImage tex = image;
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    EXPECT_EQ(tex.kwrGetPixel(0, 0), 0xFF0A0A0Au);
    image.kwrGetRow(0)[7] = 0x80;
    tex = image;
    ASSERT_EQ(tex.kwrMakeTexture(), 1);
    EXPECT_EQ(tex.kwrGetPixel(1, 0) >> 24, 0x80u);
    EXPECT_EQ(tex.kwrGetPixel(0, 0) >> 24, 0u);
    KWRImage alpha = image;
    ASSERT_EQ(alpha.kwrMakeAlphaMap(KWR_ALPHA_FROM_ALPHA), 1);
    EXPECT_EQ(Bytes(alpha.kwrGetRow(0), alpha.kwrGetRow(0) + 3), (Bytes{0, 0x80, 0}));
    EXPECT_EQ(alpha.kwrMakeAlphaMap(7), 0);
    EXPECT_EQ(alpha.kwrGetError(), KWR_IMAGE_SOME_ERROR);
}

#if !defined(_WIN32)
TEST(ImageDraw, StretchedIntoAMemoryTarget) {
    KWRImage image;
    ASSERT_EQ(image.kwrCreate(2, 2, 24), 1);
    const unsigned char rows[2][6] = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    for (int y = 0; y < 2; ++y) std::copy(rows[y], rows[y] + 6, image.kwrGetRow(y));
    std::vector<std::uint32_t> pixels(5 * 5, 0xDEADBEEFu);
    KWRMemoryDC dc{5, 5, 20, pixels.data()};
    // 2 x 2 stretched to 4 x 4 at (2, -1): clipped to columns 2..4, rows 0..2.
    ASSERT_EQ(image.kwrDraw(&dc, 2, -1, 4, 4), 1);
    EXPECT_EQ(pixels[0 * 5 + 1], 0xDEADBEEFu);
    EXPECT_EQ(pixels[0 * 5 + 2], 0x030201u);
    EXPECT_EQ(pixels[0 * 5 + 4], 0x060504u);
    EXPECT_EQ(pixels[1 * 5 + 3], 0x090807u);
    EXPECT_EQ(pixels[2 * 5 + 4], 0x0C0B0Au);
    EXPECT_EQ(pixels[3 * 5 + 2], 0xDEADBEEFu);
    EXPECT_EQ(image.kwrDraw(&dc, 0, 0, 0, 4), 0);
    EXPECT_EQ(image.kwrDraw(&dc, 5, 0, 4, 4), 0);

    // At 1:1 the draw shows what the render context's presentation shows.
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(16);
    ASSERT_EQ(r->kwrInitBuffer(3, 3), 1);
    r->kwrSetColor(0xFF3080F0);
    r->kwrClear();
    r->kwrSetColor(0xFFF00810);
    r->kwrBox(1, 1, 2, 2);
    KWRImage frame;
    ASSERT_EQ(frame.kwrFromFrame(*r), 1);
    std::vector<std::uint32_t> shown(9), drawn(9);
    KWRMemoryDC a{3, 3, 12, shown.data()}, b{3, 3, 12, drawn.data()};
    r->kwrRender(&a, 0, 0);
    ASSERT_EQ(frame.kwrDraw(&b, 0, 0, 3, 3), 1);
    EXPECT_EQ(shown, drawn);
}
#endif

}  // namespace
