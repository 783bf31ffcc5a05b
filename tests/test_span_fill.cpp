// Span fills driven directly from hand-made scan-line table rows: skipping,
// clipping from the unclipped ends, depth rules, sampling and every blend.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "raster/span_fill.h"
#include "surface_fixture.h"

using kwr::Access;
using kwr_test::Surface;

namespace {

// Row `row` spans L..R with the given ends.
struct Ends {
    float z = 0.5f;
    float c[4] = {0, 0, 0, 255};
    float u = 0, v = 0;
};

void setRow(Surface& s, int row, int L, int R, const Ends& l, const Ends& r) {
    kwr::ScanLineTable& t = s.s().scan;
    t.scanLeftX[row] = L;
    t.scanRightX[row] = R;
    t.scanLeftZ[row] = l.z;
    t.scanRightZ[row] = r.z;
    for (int k = 0; k < 4; ++k) {
        t.scanLeftColor[k][row] = l.c[k];
        t.scanRightColor[k][row] = r.c[k];
    }
    t.scanLeftU[row] = l.u;
    t.scanRightU[row] = r.u;
    t.scanLeftV[row] = l.v;
    t.scanRightV[row] = r.v;
}

Ends colour(float r, float g, float b, float a, float z = 0.5f) {
    Ends e;
    e.c[0] = r;
    e.c[1] = g;
    e.c[2] = b;
    e.c[3] = a;
    e.z = z;
    return e;
}

}  // namespace

TEST(SpanFill, SkipsEmptyAndOffSurfaceRows) {
    Surface s(24, 8, 4);
    s->kwrSetColor(0xFFFFFFFF);
    Ends e;
    setRow(s, 0, 32767, -32767, e, e);  // never reached
    setRow(s, 1, 5, 4, e, e);           // one-edge sliver
    setRow(s, 2, 8, 12, e, e);          // right of the surface
    setRow(s, 3, -5, -1, e, e);         // left of it
    Access::rasterTriangle3(*s.r, 0, 3);
    Access::rasterTrianglec(*s.r, 0, 3);
    Access::rasterTriangle3(*s.r, 3, 2);  // empty range
    EXPECT_TRUE(s.pixelsNot(0).empty());
    setRow(s, 1, 3, 3, e, e);  // one pixel, depth of the left end
    Access::rasterTriangle3(*s.r, 1, 1);
    EXPECT_EQ(s.pixelsNot(0), (kwr_test::Pixels{{3, 1}}));
    EXPECT_EQ(s.z(3, 1), 0.5f);
}

TEST(SpanFill, ClippingKeepsUnclippedInterpolation) {
    Surface s(24, 8, 1);
    // Span -10..17 over an 8-wide surface: depth at x = 0 continues the
    // unclipped line; the span parameter starts at (float)10 * s.
    setRow(s, 0, -10, 17, colour(0, 0, 0, 255, 0.0f), colour(280, 0, 0, 255, 0.28f));
    Access::rasterTriangle3c(*s.r, 0, 0);
    const float zL = 0.0f - ((0.28f - 0.0f) * -10.0f) / 27.0f;
    EXPECT_EQ(s.z(0, 0), zL);
    const float sp = 1.0f / 28.0f;
    const float p = 10.0f * sp;
    const unsigned red = static_cast<unsigned>(std::floor(static_cast<double>((1.0f - p) * 0.0f + p * 280.0f + 0.5f)));
    EXPECT_EQ(s.px(0, 0), red << 16);
    // Right clip: the depth step across the visible part is unchanged.
    EXPECT_NEAR(s.z(7, 0), 0.28f * 17.0f / 27.0f, 1e-6);
}

TEST(SpanFill, DepthComparisonsPerMember) {
    // Stored depth equal to z: strict members draw nothing, the blended
    // interpolated-colour members (>=) draw.
    struct Case {
        void (*fill)(KWRRender&, int, int);
        bool draws;
    };
    const Case cases[] = {
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3c(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3t(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3ct(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3a(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3at(r, a, b); }, false},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3ca(r, a, b); }, true},
        {[](KWRRender& r, int a, int b) { Access::rasterTriangle3cat(r, a, b); }, true},
    };
    for (const Case& c : cases) {
        Surface s(32, 4, 1, 0xFF000000, 0.5f);
        s->kwrSetColor(0xFFFFFFFF);
        setRow(s, 0, 0, 3, colour(255, 255, 255, 255), colour(255, 255, 255, 255));
        c.fill(*s.r, 0, 0);
        EXPECT_EQ(s.px(1, 0) != 0xFF000000u, c.draws);
    }
}

TEST(SpanFill, ZeroWeightWritesNeitherPixelNorDepth) {
    Surface s(32, 4, 1, 0xFF102030, 0.9f);
    setRow(s, 0, 0, 3, colour(255, 255, 255, 0, 0.1f), colour(255, 255, 255, 0, 0.1f));
    Access::rasterTriangle3ca(*s.r, 0, 0);
    EXPECT_EQ(s.px(0, 0), 0xFF102030u);
    EXPECT_EQ(s.z(0, 0), 0.9f);
}

TEST(SpanFill, ShadedPackingAndRounding) {
    Surface s16(16, 2, 1), s24(24, 2, 1), s32(32, 2, 1), s8(8, 2, 1);
    for (Surface* s : {&s16, &s24, &s32, &s8}) {
        setRow(*s, 0, 0, 0, colour(255, 255, 255, 255), colour(0, 0, 0, 255));
        Access::rasterTrianglec(*s->r, 0, 0);
        setRow(*s, 0, 1, 1, colour(7.4f, 7.5f, 128.49f, 0), colour(0, 0, 0, 0));
        Access::rasterTrianglec(*s->r, 0, 0);
    }
    EXPECT_EQ(s16.px(0, 0), 0x7FFFu);
    EXPECT_EQ(s16.px(1, 0), (0u << 10) | (1u << 5) | (128u >> 3));  // 7 keeps no top five bits
    EXPECT_EQ(s24.px(1, 0), (7u << 16) | (8u << 8) | 128u);
    EXPECT_EQ(s32.px(1, 0), 0xFF000000u | (7u << 16) | (8u << 8) | 128u);
    EXPECT_EQ(s8.px(0, 0), 0u);  // nothing drawn at 8 bpp
}

TEST(SpanFill, TextureWrapAndConstantColourProduct) {
    // A 2x1 texture across a 4-pixel span, u from 0 toward 1: columns
    // floor(u * 2 + 0.5) wrap at u >= 0.75.
    unsigned char tex[8] = {255, 255, 255, 255, 0, 0, 0, 255};
    Surface s(24, 4, 2);
    s->kwrSetTexture(tex, 2, 1, 8);
    s->kwrSetColor(0xFF808080);
    Ends l, r;
    r.u = 1.0f;
    setRow(s, 0, 0, 3, l, r);  // u = 0, .25, .5, .75
    Access::rasterTrianglet(*s.r, 0, 0);
    EXPECT_EQ(s.px(0, 0), 0x808080u);  // 255 * 128 / 255
    EXPECT_EQ(s.px(1, 0), 0x000000u);
    EXPECT_EQ(s.px(2, 0), 0x000000u);
    EXPECT_EQ(s.px(3, 0), 0x808080u);  // wrapped to column 0
    // Negative coordinates: -0.2 * 2 + 0.5 floors to 0; -0.6 * 2 + .5 to -1 -> 1.
    l.u = -0.6f;
    r.u = -0.6f;
    setRow(s, 1, 0, 0, l, r);
    Access::rasterTrianglet(*s.r, 1, 1);
    EXPECT_EQ(s.px(0, 1), 0x000000u);
    EXPECT_EQ(kwr::wrapCoord(-2, 2), 0);
    EXPECT_EQ(kwr::wrapCoord(-3, 2), 1);
    EXPECT_EQ(kwr::wrapCoord(std::numeric_limits<int>::min(), 3), 1);
    EXPECT_EQ(kwr::wrapCoord(5, 3), 2);

    Surface s16(16, 1, 1);
    s16->kwrSetTexture(tex, 2, 1, 8);
    s16->kwrSetColor(0xFF808080);
    setRow(s16, 0, 0, 0, Ends(), Ends());
    Access::rasterTrianglet(*s16.r, 0, 0);
    EXPECT_EQ(s16.px(0, 0), (15u << 10) | (15u << 5) | 15u);
}

TEST(SpanFill, TexturedShadedRoundsWhenTestedTruncatesWhenNot) {
    unsigned char tex[4] = {200, 100, 50, 255};
    Surface a(24, 1, 1), b(24, 1, 1);
    for (Surface* s : {&a, &b}) {
        (*s)->kwrSetTexture(tex, 1, 1, 4);
        setRow(*s, 0, 0, 0, colour(101.6f, 101.6f, 101.6f, 255, 0.2f), colour(0, 0, 0, 255));
    }
    Access::rasterTriangle3ct(*a.r, 0, 0);
    Access::rasterTrianglect(*b.r, 0, 0);
    // Tested: rounded(101.6 * t / 255); untested: (102 * t) / 255 truncated.
    EXPECT_EQ(a.px(0, 0), (20u << 16) | (40u << 8) | 80u);
    EXPECT_EQ(b.px(0, 0), (20u << 16) | (40u << 8) | 80u);
    tex[0] = 254;
    Access::rasterTriangle3ct(*a.r, 0, 0);  // depth 0.2 vs stored 0.2: strict, nothing
    Access::rasterTrianglect(*b.r, 0, 0);
    EXPECT_EQ(b.px(0, 0) & 0xFFu, (102u * 254u) / 255u);
}

TEST(SpanFill, FlatIntegerBlend) {
    Surface s24(24, 1, 1, 0xFF000000), s32(32, 1, 1, 0x00000000);
    for (Surface* s : {&s24, &s32}) {
        (*s)->kwrSetColor(0x7FFFFFFF);
        setRow(*s, 0, 0, 0, Ends(), Ends());
        Access::rasterTriangle3a(*s->r, 0, 0);
    }
    EXPECT_EQ(s24.px(0, 0), 0x7F7F7Fu);             // (0 * 128 + 255 * 128) >> 8
    EXPECT_EQ(s32.px(0, 0), 0x7F7F7F7Fu);           // alpha blended toward 255 too
    Surface s8(8, 1, 1);
    s8->kwrSetColor(0x10FFFFFF);
    setRow(s8, 0, 0, 0, Ends(), Ends());
    Access::rasterTriangle3a(*s8.r, 0, 0);
    EXPECT_EQ(s8.px(0, 0), 215u);
    EXPECT_EQ(s8.z(0, 0), 0.5f);
}

TEST(SpanFill, FloatBlendsAgainstHandComputedValues) {
    // Weight 0.5 over destination alpha 0 leaves alpha 128.
    Surface s32(32, 1, 1, 0x00000000);
    setRow(s32, 0, 0, 0, colour(255, 0, 0, 127.5f), colour(0, 0, 0, 0));
    Access::rasterTriangleca(*s32.r, 0, 0);
    EXPECT_EQ(s32.px(0, 0), 0x80800000u);
    // Weight 1 of red in 16 bpp gives pure red whatever was there.
    Surface s16(16, 1, 1, 0xFFFFFFFF);
    setRow(s16, 0, 0, 0, colour(255, 0, 0, 255), colour(0, 0, 0, 0));
    Access::rasterTriangleca(*s16.r, 0, 0);
    EXPECT_EQ(s16.px(0, 0), 0x7C00u);
}

TEST(SpanFill, AlphaSourceRules) {
    unsigned char tex[2 * 2 * 4];
    for (int i = 0; i < 4; ++i) {
        tex[4 * i + 0] = tex[4 * i + 1] = tex[4 * i + 2] = 255;
        tex[4 * i + 3] = 0;  // transparent texels
    }
    Surface s(24, 2, 1, 0xFF000000, 1.0f);
    s->kwrSetTexture(tex, 2, 2, 8);
    s->kwrSetColor(0xFFFFFFFF);
    setRow(s, 0, 0, 1, Ends(), Ends());
    Access::rasterTriangle3at(*s.r, 0, 0);
    EXPECT_EQ(s.px(0, 0), 0u);
    EXPECT_EQ(s.z(0, 0), 1.0f);  // zero weight: no depth either
    // An opaque alpha map of the texture's size replaces texel alpha.
    unsigned char opaque[4] = {255, 255, 255, 255};
    s->kwrSetAlphaMap(opaque, 2, 2, 2);
    Access::rasterTriangle3at(*s.r, 0, 0);
    EXPECT_EQ(s.px(0, 0), 0xFFFFFFu);
    EXPECT_EQ(s.z(0, 0), 0.5f);
    // A map of another size is sampled at its own resolution: 1x1 of 0.
    unsigned char clear[1] = {0};
    Surface t(24, 2, 1);
    t->kwrSetTexture(tex, 2, 2, 8);
    t->kwrSetAlphaMap(clear, 1, 1, 1);
    t->kwrSetColor(0xFFFFFFFF);
    setRow(t, 0, 0, 1, Ends(), Ends());
    Access::rasterTriangleat(*t.r, 0, 0);
    EXPECT_EQ(t.px(0, 0), 0u);
    // Depth-tested textured blend on 8 bpp: cube colour, depth untouched.
    Surface s8(8, 1, 1);
    s8->kwrSetColor(0xFFFFFFFF);
    setRow(s8, 0, 0, 0, Ends(), Ends());
    Access::rasterTriangle3at(*s8.r, 0, 0);
    EXPECT_EQ(s8.px(0, 0), 215u);
    EXPECT_EQ(s8.z(0, 0), 1.0f);
}

TEST(SpanFill, GarbageTableStaysInsideBuffers) {
    std::mt19937 rng(99);
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 3e9f, 0.5f, -0.0f};
    unsigned char tex[3 * 5 * 4 + 8] = {};
    unsigned char amap[4 * 3] = {};
    for (int bpp : {8, 16, 24, 32}) {
        Surface s(bpp, 7, 5);
        s->kwrSetTexture(tex, 3, 5, 12);
        s->kwrSetAlphaMap(amap, 4, 3, 4);
        s->kwrAlphaEnable(1);
        for (int round = 0; round < 300; ++round) {
            for (int row = 0; row < 5; ++row) {
                auto f = [&] { return specials[rng() % 8]; };
                Ends l, r;
                l.z = f(); r.z = f(); l.u = f(); r.u = f(); l.v = f(); r.v = f();
                for (int k = 0; k < 4; ++k) {
                    l.c[k] = f();
                    r.c[k] = f();
                }
                const int xs[] = {std::numeric_limits<int>::min(), -(1 << 30), -3, 0, 4, 6, 9, 1 << 30,
                                  std::numeric_limits<int>::max()};
                setRow(s, row, xs[rng() % 9], xs[rng() % 9], l, r);
            }
            Access::rasterTriangle3(*s.r, 0, 4);
            Access::rasterTriangle3c(*s.r, 0, 4);
            Access::rasterTriangle3t(*s.r, 0, 4);
            Access::rasterTriangle3ct(*s.r, 0, 4);
            Access::rasterTrianglec(*s.r, 0, 4);
            Access::rasterTrianglet(*s.r, 0, 4);
            Access::rasterTrianglect(*s.r, 0, 4);
            Access::rasterTriangle3ca(*s.r, 0, 4);
            Access::rasterTriangle3at(*s.r, 0, 4);
            Access::rasterTriangle3cat(*s.r, 0, 4);
            Access::rasterTriangleca(*s.r, 0, 4);
            Access::rasterTriangleat(*s.r, 0, 4);
            Access::rasterTrianglecat(*s.r, -100, 100);  // rows outside the surface are ignored
        }
    }
}
