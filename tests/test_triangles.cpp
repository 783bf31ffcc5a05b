// Triangle entry points: flat fills and their blending, sorting, rejection,
// row ownership, fallbacks and the choice of span fill.
#include <gtest/gtest.h>

#include "surface_fixture.h"

using kwr_test::Pixels;
using kwr_test::Surface;

TEST(FlatTriangle, OwnsTopRowNotBottomRow) {
    Surface s(32, 16, 16);
    s->kwrSetColor(0xFF112233);
    s->kwrTriangle(0, 0, 10, 0, 0, 10);
    // Rows 0..9 are filled, row 10 stays empty; each row ends one pixel
    // left of the hypotenuse's crossing.
    EXPECT_EQ(s.px(0, 0), 0xFF112233u);
    EXPECT_EQ(s.px(9, 0), 0xFF112233u);
    EXPECT_EQ(s.px(10, 0), 0xFF000000u);
    EXPECT_EQ(s.px(0, 9), 0xFF112233u);
    EXPECT_EQ(s.px(0, 10), 0xFF000000u);
}

TEST(FlatTriangle, ClippedToSurfaceOnAllSides) {
    Surface s(16, 6, 5);
    s->kwrSetColor(0xFFFFFFFF);
    s->kwrTriangle(-20, -20, 40, -20, 10, 60);
    for (int x = 0; x < 6; ++x) EXPECT_EQ(s.px(x, 0), 0x7FFFu);
    EXPECT_EQ(s.px(5, 4), 0x7FFFu);
}

TEST(FlatTriangle, BlendArithmeticPerFormat) {
    // Destination white, colour (R 0x80, G 0x40, B 0x20) at alpha 0x00:
    // a = 1, each byte becomes (c * 255 + colour) >> 8.
    const std::uint32_t color = 0x00804020;
    Surface s24(24, 4, 4, 0xFFFFFFFF), s32(32, 4, 4, 0x77FFFFFF), s16(16, 4, 4, 0xFFFFFFFF), s8(8, 4, 4);
    for (Surface* s : {&s24, &s32, &s16, &s8}) {
        (*s)->kwrAlphaEnable(1);
        (*s)->kwrSetColor(color);
        (*s)->kwrTriangle(0, 0, 4, 0, 0, 4);
    }
    const std::uint32_t b = (255 * 255 + 0x20) >> 8, g = (255 * 255 + 0x40) >> 8, r = (255 * 255 + 0x80) >> 8;
    EXPECT_EQ(s24.px(0, 0), (r << 16) | (g << 8) | b);
    EXPECT_EQ(s32.px(0, 0), 0x77000000u | (r << 16) | (g << 8) | b);  // alpha kept
    const std::uint32_t w = 0x7FFF, k = 255;
    const std::uint32_t r16 = (((w & 0x7C00) * k + ((0x80u * 1) << 7)) >> 8) & 0x7C00;
    const std::uint32_t g16 = (((w & 0x3E0) * k + 0x40u * 4) >> 8) & 0x3E0;
    const std::uint32_t b16 = (((w & 0x1F) * k + (0x20u >> 3)) >> 8) & 0x1F;
    EXPECT_EQ(s16.px(0, 0), r16 | g16 | b16);
    EXPECT_EQ(s8.px(0, 0), 0x20u);  // 8 bpp: the blue byte, unblended
    // Opaque colour with blending on: plain fill, alpha stored in 32 bpp.
    s32->kwrSetColor(0xFF010203);
    s32->kwrTriangle(0, 0, 4, 0, 0, 4);
    EXPECT_EQ(s32.px(0, 0), 0xFF010203u);
}

TEST(FlatTriangle, FloatAndCentredForms) {
    Surface s(24, 20, 20);
    s->kwrSetColor(0xFFFFFFFF);
    s->kwrTrianglefg(0, 0, 5, 0, 0, -5);  // (10,10) (15,10) (10,15)
    Surface t(24, 20, 20);
    t->kwrSetColor(0xFFFFFFFF);
    t->kwrTriangle(10, 10, 15, 10, 10, 15);
    EXPECT_EQ(s.bytes(), t.bytes());
    EXPECT_EQ(s.px(10, 10), 0xFFFFFFu);
}

TEST(DepthTriangle, FallsBackWithoutDepthTestOrTexture) {
    auto draw3c = [](Surface& s) {
        s->kwrTriangle3c(1, 1, 0.5f, 0xFFFF0000, 14, 3, 0.5f, 0xFF00FF00, 4, 13, 0.5f, 0xFF0000FF);
    };
    Surface a(32, 16, 16), b(32, 16, 16);
    a->kwrZTestEnable(0);
    draw3c(a);
    b->kwrTrianglec(1, 1, 0xFFFF0000, 14, 3, 0xFF00FF00, 4, 13, 0xFF0000FF);
    EXPECT_EQ(a.bytes(), b.bytes());
    EXPECT_EQ(a.z(5, 5), 1.0f);  // no depth written

    // Nothing bound: textured members draw untextured.
    Surface c(32, 16, 16), d(32, 16, 16);
    c->kwrSetColor(0xFF336699);
    d->kwrSetColor(0xFF336699);
    c->kwrTrianglet(1, 1, 0, 0, 14, 3, 1, 0, 4, 13, 0, 1);
    d->kwrTriangle(1, 1, 14, 3, 4, 13);
    EXPECT_EQ(c.bytes(), d.bytes());
    Surface e(32, 16, 16), f(32, 16, 16);
    e->kwrTriangle3ct(1, 1, 0.5f, 0xFFFF0000, 0, 0, 14, 3, 0.5f, 0xFF00FF00, 1, 0, 4, 13, 0.5f, 0xFF0000FF, 0, 1);
    draw3c(f);
    EXPECT_EQ(e.bytes(), f.bytes());
}

TEST(DepthTriangle, ColourOnlyMembersBlendOnlyWithTranslucentVertex) {
    Surface a(24, 8, 8, 0xFFFFFFFF), b(24, 8, 8, 0xFFFFFFFF);
    a->kwrAlphaEnable(1);
    b->kwrAlphaEnable(1);
    a->kwrTrianglec(0, 0, 0xFF000000, 8, 0, 0xFF000000, 0, 8, 0xFF000000);
    EXPECT_EQ(a.px(1, 1), 0x000000u);  // opaque fill
    b->kwrTrianglec(0, 0, 0x80000000, 8, 0, 0x80000000, 0, 8, 0x80000000);
    EXPECT_NE(b.px(1, 1), 0x000000u);  // blended: about half of the white stays
    EXPECT_NE(b.px(1, 1), 0xFFFFFFu);
}

TEST(DepthTriangle, FlatDepthFillBlendsTranslucentColour) {
    Surface s(24, 8, 8, 0xFFFFFFFF);
    s->kwrAlphaEnable(1);
    s->kwrSetColor(0x00000000);  // alpha 0 still takes 1/256 of the colour
    s->kwrTriangle3(0, 0, 0.5f, 8, 0, 0.5f, 0, 8, 0.5f);
    EXPECT_EQ(s.px(1, 1), 0xFEFEFEu);
    EXPECT_EQ(s.z(1, 1), 0.5f);
    s->kwrSetColor(0xFF000000);
    s->kwrTriangle3(0, 0, 0.25f, 8, 0, 0.25f, 0, 8, 0.25f);
    EXPECT_EQ(s.px(1, 1), 0x000000u);
}

TEST(DepthTriangle, FloatRejectionUsesUnroundedBottom) {
    Surface s(24, 8, 8);
    s->kwrSetColor(0xFFFFFFFF);
    s->kwrTriangle3f(0, -5.0f, 0.5f, 8, -3.0f, 0.5f, 2, -0.2f, 0.5f);
    s->kwrTriangle3cf(0, -5.0f, 0.5f, ~0ul, 8, -3.0f, 0.5f, ~0ul, 2, -0.2f, 0.5f, ~0ul);
    EXPECT_TRUE(s.pixelsNot(0).empty());
}

TEST(DepthTriangle, DepthTestIsStrict) {
    Surface s(32, 8, 8, 0xFF000000, 0.5f);
    s->kwrTriangle3c(0, 0, 0.5f, 0xFFFFFFFF, 8, 0, 0.5f, 0xFFFFFFFF, 0, 8, 0.5f, 0xFFFFFFFF);
    EXPECT_EQ(s.px(1, 1), 0xFF000000u);
    s->kwrTriangle3c(0, 0, 0.4f, 0xFFFFFFFF, 8, 0, 0.4f, 0xFFFFFFFF, 0, 8, 0.4f, 0xFFFFFFFF);
    EXPECT_EQ(s.px(1, 1), 0xFFFFFFFFu);
    EXPECT_EQ(s.z(1, 1), 0.4f);
}

TEST(DepthTriangle, CentredFormsMatchPixelForms) {
    Surface a(24, 20, 16), b(24, 20, 16);
    unsigned char tex[2 * 2 * 4] = {10, 20, 30, 255, 40, 50, 60, 255, 70, 80, 90, 255, 100, 110, 120, 255};
    a->kwrSetTexture(tex, 2, 2, 8);
    b->kwrSetTexture(tex, 2, 2, 8);
    a->kwrTriangle3ctfg(-8, 6, 0.2f, 0xFFFF8040, 0, 0, 9, 5, 0.7f, 0xFF40FF80, 1.5f, 0, -2, -7, 0.4f, 0xFF8040FF, 0, 2);
    b->kwrTriangle3ctf(2, 2, 0.2f, 0xFFFF8040, 0, 0, 19, 3, 0.7f, 0xFF40FF80, 1.5f, 0, 8, 15, 0.4f, 0xFF8040FF, 0, 2);
    EXPECT_EQ(a.bytes(), b.bytes());
    EXPECT_NE(a.pixelsNot(0).size(), 0u);
}
