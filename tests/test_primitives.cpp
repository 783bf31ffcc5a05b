// Points, boxes, bitmaps, image blits and lines: clipping, rounding, pixel
// sequences, depth rules and the per-format stores.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "surface_fixture.h"

using kwr_test::inked;
using kwr_test::Pixels;
using kwr_test::Surface;

TEST(PointsAndBoxes, BoundsCornersClipAndRounding) {
    auto s = inked(32, 4, 3, 0x12345678);  // points: clipped, stored per byte
    s->kwrPut(-1, 0);
    s->kwrPut(4, 0);
    s->kwrPut(0, 3);
    EXPECT_TRUE(s.pixelsNot(0xFF000000u).empty());
    s->kwrPut(3, 2);
    EXPECT_EQ(s.px(3, 2), 0x12345678u);  // bytes 78 56 34 12
    // Boxes: corners in any order, clipped per axis.
    auto a = inked(8, 10, 10), b = inked(8, 10, 10);
    a->kwrBox(5, 5, 2, 2);
    b->kwrBox(2, 2, 5, 5);
    EXPECT_EQ(a.bytes(), b.bytes());
    EXPECT_EQ(a.pixelsNot(0).size(), 16u);
    auto c = inked(24, 10, 10);
    c->kwrBox(-10, -10, -1, 5);  // both x left of the surface
    EXPECT_TRUE(c.pixelsNot(0).empty());
    c->kwrBox(-10, 3, 20, 3);
    EXPECT_EQ(c.pixelsNot(0).size(), 10u);
    c->kwrBox(INT_MIN, INT_MAX, INT_MAX, INT_MIN);  // clamped to the whole surface
    EXPECT_EQ(c.pixelsNot(0).size(), 100u);
    // Float corners round half up; the centred form counts from the middle.
    auto f = inked(16, 640, 480);
    f->kwrBoxf(0.49f, 0, 0.49f, 0);
    f->kwrBoxf(2.5f, 0, 2.5f, 0);
    f->kwrBoxfg(0, 0, 0, 0);
    EXPECT_EQ(f.pixelsNot(0), (Pixels{{0, 0}, {3, 0}, {320, 240}}));
}

TEST(Boxes, DepthBoxUsesRequestedTestAndGreaterOrEqual) {
    auto s = inked(24, 4, 4);
    s->kwrBox3(0, 0, 1, 1, 1.5f);
    EXPECT_TRUE(s.pixelsNot(0).empty());
    s->kwrBox3(0, 0, 1, 1, NAN);
    EXPECT_TRUE(s.pixelsNot(0).empty());
    s->kwrBox3(0, 0, 1, 1, 1.0f);  // equal passes
    EXPECT_EQ(s.pixelsNot(0).size(), 4u);
    s->kwrZTestEnable(0);
    s->kwrBox3(2, 2, 3, 3, 5.0f);  // drawn, depth untouched
    EXPECT_EQ(s.pixelsNot(0).size(), 8u);
    EXPECT_EQ(s.z(3, 3), 1.0f);
}

TEST(Bitmaps, LeastSignificantBitFirstAndClipped) {
    auto s = inked(8, 12, 3);
    unsigned char a[2] = {0x01, 0x01}, b[2] = {0x80, 0x00};
    s->kwrBitmap1(0, 0, 9, 1, a);
    s->kwrBitmap1(0, 1, 9, 1, b);
    EXPECT_EQ(s.pixelsNot(0), (Pixels{{0, 0}, {8, 0}, {7, 1}}));
    // Rows are (w + 7) / 8 bytes; clipped per pixel at every side.
    unsigned char c[4] = {0xFF, 0x01, 0xFF, 0x01};
    auto t = inked(8, 4, 4);
    t->kwrBitmap1(-6, 2, 9, 2, c);
    EXPECT_EQ(t.pixelsNot(0), (Pixels{{0, 2}, {1, 2}, {2, 2}, {0, 3}, {1, 3}, {2, 3}}));
    t->kwrBitmap1(INT_MAX, INT_MAX, 9, 2, c);
    t->kwrBitmap1(0, 0, 0, 2, c);
    t->kwrBitmap1(0, 0, 9, 0, c);
    EXPECT_EQ(t.pixelsNot(0).size(), 6u);
}

namespace {
// A 32-bit source whose pixel (x, y) has blue x, green y, red 7, alpha 9.
std::vector<unsigned char> source32(int w, int h) {
    std::vector<unsigned char> v;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            v.insert(v.end(), {static_cast<unsigned char>(x), static_cast<unsigned char>(y), 7, 9});
    return v;
}
}  // namespace

TEST(Blits, NearestNeighbourMappingClippedAndFar) {
    // A 3 x 2 source on 6 x 4 pixels: column floor(i * 3 / 6), row floor(j * 2 / 4).
    auto src = source32(3, 2);
    Surface s(32, 8, 8);
    s->kwrImage2D(0, 0, 6, 4, 3, 2, 32, src.data());
    const unsigned cols[6] = {0, 0, 1, 1, 2, 2};
    for (int x = 0; x < 6; ++x) EXPECT_EQ(s.px(x, 0), 0x09070000u | cols[x]) << x;
    EXPECT_EQ(s.px(5, 3), 0x09070102u);
    EXPECT_EQ(s.px(6, 0), 0xFF000000u);
    EXPECT_EQ(s.px(0, 4), 0xFF000000u);
    // Clipped at the left and top, the walk starts where the unclipped one
    // would be: columns 1, 2, 2 and rows 0, 1, 1.
    Surface t(32, 8, 8);
    t->kwrImage2D(-3, -1, 3, 3, 3, 2, 32, src.data());
    EXPECT_EQ(t.px(0, 0), 0x09070001u);
    EXPECT_EQ(t.px(1, 1), 0x09070102u);
    EXPECT_EQ(t.px(2, 2), 0x09070102u);
    EXPECT_EQ(t.px(3, 0), 0xFF000000u);
    // Far to the left the start is computed in single precision:
    // floor(100000 * 3 / 100004) = 2 at x = 0, the right end of the source.
    Surface u(32, 4, 1);
    u->kwrImage2D(-100000, 0, 4, 1, 3, 1, 32, src.data());
    EXPECT_EQ(u.px(0, 0) & 0xFFu, 2u);
    // The widest corners still map every pixel to a source pixel.
    u->kwrClear();
    u->kwrImage2D(INT_MIN, 0, INT_MAX, 1, 3, 1, 32, src.data());
    for (int x = 0; x < 4; ++x) EXPECT_LT(u.px(x, 0) ^ 0x09070000u, 3u) << x;
    u->kwrClear();
    u->kwrImage2D3(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 0.0f, 3, 1, 32, src.data());
    for (int x = 0; x < 4; ++x) EXPECT_LT(u.px(x, 0) ^ 0x09070000u, 3u) << x;
}

TEST(Blits, FourthByteAndFormats) {
    // 24-bit source, 3 pixels wide: rows of 12 bytes.
    unsigned char src24[24] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 10, 11, 12, 13, 14, 15, 16, 17, 18, 0, 0, 0};
    Surface a(32, 3, 2, 0x55000000), b(32, 3, 2, 0x55000000);
    a->kwrImage2D(0, 0, 3, 2, 3, 2, 24, src24);
    b->kwrImage2D3(0, 0, 3, 2, 0.5f, 3, 2, 24, src24);
    EXPECT_EQ(a.px(2, 1), 0x55121110u);  // fourth byte untouched
    EXPECT_EQ(b.px(2, 1), 0xFF121110u);  // fourth byte 255
    EXPECT_EQ(b.z(2, 1), 0.5f);
    Surface c(16, 1, 1);
    unsigned char one[4] = {0xFF, 0x08, 0xF8, 0x00};
    c->kwrImage2D(1, 1, 0, 0, 1, 1, 32, one);  // corners reversed
    EXPECT_EQ(c.px(0, 0), (0x1Fu << 10) | (1u << 5) | 0x1Fu);
    Surface d(8, 4, 4);
    d->kwrImage2D(0, 0, 4, 4, 1, 1, 32, one);
    d->kwrImage2D3(0, 0, 4, 4, 0.0f, 1, 1, 32, one);
    EXPECT_TRUE(d.pixelsNot(0).empty());
    EXPECT_EQ(d.z(0, 0), 1.0f);
    Surface e(24, 2, 2);
    e->kwrImage2D3(0, 0, 2, 2, 2.0f, 1, 1, 32, one);  // behind everything
    EXPECT_TRUE(e.pixelsNot(0).empty());
}

namespace {
Pixels linePixels(int x1, int y1, int x2, int y2, int w = 16, int h = 16) {
    auto s = inked(24, w, h);
    s->kwrLine(x1, y1, x2, y2);
    return s.pixelsNot(0);
}
}  // namespace

TEST(Lines, PixelSequencesReversalAndClipping) {
    EXPECT_EQ(linePixels(2, 3, 2, 3), (Pixels{{2, 3}}));
    const Pixels shallow{{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}};
    EXPECT_EQ(linePixels(0, 0, 4, 2), shallow);
    EXPECT_EQ(linePixels(4, 2, 0, 0), shallow);
    EXPECT_EQ(linePixels(0, 0, 3, 3), (Pixels{{0, 0}, {1, 1}, {2, 2}, {3, 3}}));
    EXPECT_EQ(linePixels(1, 0, 2, 4), (Pixels{{1, 0}, {1, 1}, {1, 2}, {2, 3}, {2, 4}}));
    EXPECT_TRUE(linePixels(-10, 5, -1, 12).empty());
    EXPECT_EQ(linePixels(-5, 0, 5, 0).size(), 6u);
    const Pixels diag = linePixels(-50, -50, 150, 150, 100, 100);
    ASSERT_EQ(diag.size(), 100u);
    EXPECT_EQ(diag.front(), (std::pair<int, int>{0, 0}));
    EXPECT_EQ(diag.back(), (std::pair<int, int>{99, 99}));
    auto f = inked(24, 8, 8), g = inked(24, 8, 8);
    f->kwrLinef(0.4f, 0.6f, 3.5f, 0.6f);
    g->kwrLine(0, 1, 4, 1);
    EXPECT_EQ(f.bytes(), g.bytes());
    auto c = inked(24, 640, 480);
    c->kwrLinefg(0, 0, 0, 0);
    EXPECT_EQ(c.pixelsNot(0), (Pixels{{320, 240}}));
    // Beside a corner: rejected by a later edge.
    EXPECT_TRUE(linePixels(-10, 2, 2, -10).empty());
}

TEST(DepthLines, ClipWalkAndDepthRules) {
    auto s = inked(32, 8, 8);
    s->kwrLine3(1, 1, 0.5f, 1, 1, 0.9f);  // one pixel at the first depth
    EXPECT_EQ(s.pixelsNot(0xFF000000u), (Pixels{{1, 1}}));
    EXPECT_EQ(s.z(1, 1), 0.5f);
    s->kwrLine3(0, 1, 0.5f, 2, 1, 0.5f);  // equal depth passes again
    EXPECT_EQ(s.pixelsNot(0xFF000000u).size(), 3u);
    s->kwrLine3(0, 2, NAN, 7, 2, NAN);
    EXPECT_EQ(s.pixelsNot(0xFF000000u).size(), 3u);
    // Upward y-major line: depth moves from the left end toward the right.
    s->kwrLine3(3, 7, 0.0f, 4, 3, 0.4f);
    EXPECT_EQ(s.z(3, 7), 0.0f);
    EXPECT_FLOAT_EQ(s.z(4, 3), 0.4f);
    // Depth test off: pixels drawn, depth ignored.
    s->kwrZTestEnable(0);
    s->kwrLine3(0, 5, 9.0f, 7, 5, 9.0f);
    EXPECT_EQ(s.z(0, 5), 1.0f);
    EXPECT_EQ(s.px(0, 5), 0xFFFFFFFFu);
}

TEST(DepthLines, ClippersMoveEndsOntoTheSurface) {
    auto s = inked(24, 10, 10);
    s->kwrLine3(-10, 2, 0.0f, 2, -10, 1.0f);  // beside a corner: rejected at the top rung
    EXPECT_TRUE(s.pixelsNot(0).empty());
    // (-10, 5, 0) to (10, 5, 1): the left end moves to x 0 with depth 0.5,
    // the right end to x 9.
    s->kwrLine3(-10, 5, 0.0f, 10, 5, 1.0f);
    EXPECT_EQ(s.pixelsNot(0).size(), 10u);
    EXPECT_FLOAT_EQ(s.z(0, 5), 0.5f);
    auto t = inked(24, 10, 10);
    // (-0.4, 2) moves along the line to (0, 3) before rounding; rounded
    // first it would start at (0, 2).
    t->kwrLine3f(-0.4f, 2.0f, 0.5f, 2.0f, 8.0f, 0.5f);
    EXPECT_EQ(t.px(0, 3), 0xFFFFFFu);
    EXPECT_EQ(t.px(0, 2), 0u);
    auto u = inked(24, 10, 10);
    u->kwrLine3f(7.0f, 9.0f, 0.5f, 9.6f, 9.0f, 0.5f);  // clipped to column 9, then rounded
    EXPECT_EQ(u.pixelsNot(0), (Pixels{{7, 9}, {8, 9}, {9, 9}}));
}
