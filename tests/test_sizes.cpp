// Large surfaces: every primitive family drawn near the far corner of an 8K
// surface and at the bottom of a 32768-row one gives the same pixels and
// depths as the same scene on a small surface, and the size caps hold to
// the pixel.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <cstring>
#include <memory>
#include <vector>

#include "KWRImage.h"
#include "KWRRender.h"

namespace {

constexpr int kTile = 48;

// A scene in integer coordinates (so that moving it by whole pixels moves
// every result with it) over every primitive family, offset by (dx, dy).
// It starts inside the tile and runs over its right and bottom edges, where
// the surface clips it alike at every size.
void drawScene(KWRRender& r, int dx, int dy) {
    static unsigned char image[5 * 4 * 4];
    static unsigned char texels[4 * 4 * 4];
    static unsigned char bitmap[2 * 9];
    for (int i = 0; i < 64; ++i) {
        image[i % 80] = static_cast<unsigned char>(i * 37);
        texels[i] = static_cast<unsigned char>(255 - i * 11);
    }
    for (int i = 0; i < 18; ++i) bitmap[i] = static_cast<unsigned char>(0x5A ^ (i * 29));
    r.kwrSetColor(0xFF102030);
    r.kwrClear();
    r.kwrSetTexture(texels, 4, 4, 16);
    r.kwrTriangle3c(dx + 2, dy + 1, 0.5f, 0xFFFF0000, dx + 45, dy + 9, 0.25f, 0xFF00FF00, dx + 12, dy + 46, 0.75f,
                    0xFF0000FF);
    r.kwrTrianglect(dx, dy + 30, 0xFFFFFFFF, 0.0f, 0.0f, dx + 40, dy + 20, 0xFF808080, 1.5f, 0.25f, dx + 30,
                    dy + 60, 0xFFFFFF00, 0.5f, 2.0f);
    r.kwrAlphaEnable(1);
    r.kwrTriangle3t(dx + 10, dy, 0.1f, 0.0f, 0.0f, dx + 47, dy + 40, 0.9f, 1.0f, 0.0f, dx + 5, dy + 47, 0.4f,
                    0.0f, 1.0f);
    r.kwrAlphaEnable(0);
    r.kwrSetColor(0xFFE0C040);
    r.kwrLine3(dx, dy + 47, 0.0f, dx + 47, dy, 1.0f);
    r.kwrLine(dx + 3, dy + 3, dx + 60, dy + 20);
    r.kwrBox3(dx + 30, dy + 30, dx + 40, dy + 52, 0.3f);
    r.kwrBox(dx, dy + 44, dx + 6, dy + 50);
    r.kwrImage2D3(dx + 20, dy + 2, dx + 33, dy + 15, 0.2f, 5, 4, 32, image);
    r.kwrImage2D(dx + 36, dy + 36, dx + 49, dy + 49, 5, 4, 24, image);
    r.kwrBitmap1(dx + 8, dy + 20, 12, 9, bitmap);
    r.kwrPut(dx + 47, dy + 47);
    r.kwrSetTexture(nullptr, 0, 0, 0);
}

struct Tile {
    std::vector<unsigned char> pixels;
    std::vector<float> depth;
};

// The kTile x kTile pixels and depths at (x0, y0).
Tile readTile(KWRRender& r, int width, int x0, int y0) {
    void* pixels = nullptr;
    EXPECT_EQ(r.kwrGetDib(nullptr, &pixels), 1);
    const float* z = r.kwrGetZBuffer();
    const std::ptrdiff_t pitch = static_cast<std::ptrdiff_t>(width) * 4;
    Tile t;
    for (int y = y0; y < y0 + kTile; ++y) {
        const auto* row = static_cast<const unsigned char*>(pixels) + y * pitch + x0 * 4;
        t.pixels.insert(t.pixels.end(), row, row + kTile * 4);
        const float* zr = z + static_cast<std::ptrdiff_t>(y) * width + x0;
        t.depth.insert(t.depth.end(), zr, zr + kTile);
    }
    return t;
}

Tile drawnTile(int width, int height) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetRenderBpp(32), 1);
    EXPECT_EQ(r->kwrInitBuffer(width, height), 1) << width << "x" << height;
    const int x0 = width - kTile, y0 = height - kTile;
    drawScene(*r, x0, y0);
    return readTile(*r, width, x0, y0);
}

TEST(Sizes, FarCornersOfLargeSurfacesDrawAsSmallOnes) {
    const Tile small = drawnTile(kTile, kTile);
    for (auto wh : {std::pair<int, int>{7680, 4320}, {64, 32768}}) {
        const Tile large = drawnTile(wh.first, wh.second);
        EXPECT_TRUE(large.pixels == small.pixels) << wh.first << "x" << wh.second;
        EXPECT_TRUE(large.depth == small.depth) << wh.first << "x" << wh.second;
    }
}

TEST(Sizes, CapsHoldToThePixel) {
    auto r = std::make_unique<KWRRender>();
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrSetRenderBpp(32), 1);
    EXPECT_EQ(r->kwrInitBuffer(KWR_MAX_SURFACE_WIDTH, 1), 1);
    EXPECT_EQ(r->kwrInitBuffer(KWR_MAX_SURFACE_WIDTH + 1, 1), 0);
    EXPECT_EQ(r->kwrInitBuffer(1, KWR_MAX_SURFACE_HEIGHT), 1);
    EXPECT_EQ(r->kwrInitBuffer(1, KWR_MAX_SURFACE_HEIGHT + 1), 0);
    // 8192 x 8192 at 4 bytes is exactly the cap on pixel bytes.
    EXPECT_EQ(r->kwrInitBuffer(8192, 8192), 1);
    r->kwrSetColor(0);
    r->kwrClear();
    r->kwrSetColor(0xFFFFFFFF);
    r->kwrTriangle(8191, 8191, 8180, 8191, 8191, 8100);
    void* pixels = nullptr;
    ASSERT_EQ(r->kwrGetDib(nullptr, &pixels), 1);
    std::uint32_t corner = 0;
    std::memcpy(&corner, static_cast<unsigned char*>(pixels) + (std::ptrdiff_t{8190} * 8192 + 8190) * 4, 4);
    EXPECT_EQ(corner, 0xFFFFFFFFu);
    // Saved at the largest size, the frame loads again with its pixels.
    const std::string path = ::testing::TempDir() + "kwr_largest_frame.bmp";
    ASSERT_EQ(KWRImage::kwrSaveFrame(*r, path.c_str()), 1);
    {
        KWRImage back;
        ASSERT_EQ(back.kwrLoad(path.c_str()), 1) << back.kwrGetErrorText();
        EXPECT_EQ(back.kwrGetPixel(8190, 8190), 0xFFFFFFFFu);
        EXPECT_EQ(back.kwrGetPixel(0, 0), 0u);
    }
    std::remove(path.c_str());
    EXPECT_EQ(r->kwrInitBuffer(8192, 8193), 0);
    ASSERT_EQ(r->kwrSetRenderBpp(8), 1);
    EXPECT_EQ(r->kwrInitBuffer(16384, 16384), 1);
    EXPECT_EQ(r->kwrInitBuffer(16384, 16385), 0);
}

}  // namespace
