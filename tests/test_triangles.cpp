// Triangle entry points through the public interface: row ownership,
// clipping, flat blending, coordinate forms, fallbacks, the choice of span
// fill and the member-specific arithmetic.
#include <gtest/gtest.h>

#include <functional>

#include "surface_fixture.h"

using kwr_test::inked;
using kwr_test::Surface;

namespace {
// One textured scene drawn by a member: vertices (1,1) (14,3) (4,13) with
// depth 0.5, red, green and blue vertex colours and texture coordinates
// (0,0) (1,0) (0,1).
using Draw = std::function<void(KWRRender&)>;

unsigned char gTexture[2 * 2 * 4] = {10, 20, 30, 255, 40, 50, 60, 255, 70, 80, 90, 255, 100, 110, 120, 255};

// Draws `a` and `b` on two surfaces prepared alike and compares pixels and
// depths.  At 16 bpp a white texel does not give back the untextured colour,
// so a missing texture fallback shows.
void expectSameDrawing(const Draw& prepare, const Draw& a, const Draw& b, const char* what) {
    auto sa = inked(16, 16, 16, 0xFF336699), sb = inked(16, 16, 16, 0xFF336699);
    prepare(*sa.r);
    prepare(*sb.r);
    a(*sa.r);
    b(*sb.r);
    EXPECT_EQ(sa.bytes(), sb.bytes()) << what;
    EXPECT_FALSE(sa.pixelsNot(0).empty()) << what;  // something was drawn
    for (int i = 0; i < 16; ++i) EXPECT_EQ(sa.z(i, i), sb.z(i, i)) << what << ", depth at " << i;
}

constexpr unsigned long kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF;
const Draw k3ct = [](KWRRender& r) {
    r.kwrTriangle3ct(1, 1, 0.5f, kRed, 0, 0, 14, 3, 0.5f, kGreen, 1, 0, 4, 13, 0.5f, kBlue, 0, 1);
};
const Draw k3c = [](KWRRender& r) { r.kwrTriangle3c(1, 1, 0.5f, kRed, 14, 3, 0.5f, kGreen, 4, 13, 0.5f, kBlue); };
const Draw kct = [](KWRRender& r) { r.kwrTrianglect(1, 1, kRed, 0, 0, 14, 3, kGreen, 1, 0, 4, 13, kBlue, 0, 1); };
const Draw kc = [](KWRRender& r) { r.kwrTrianglec(1, 1, kRed, 14, 3, kGreen, 4, 13, kBlue); };
const Draw k3t = [](KWRRender& r) { r.kwrTriangle3t(1, 1, 0.5f, 0, 0, 14, 3, 0.5f, 1, 0, 4, 13, 0.5f, 0, 1); };
const Draw k3tf = [](KWRRender& r) { r.kwrTriangle3tf(1.2f, 1, 0.5f, 0, 0, 14, 3.4f, 0.5f, 1, 0, 4, 13, 0.5f, 0, 1); };
const Draw kt = [](KWRRender& r) { r.kwrTrianglet(1, 1, 0, 0, 14, 3, 1, 0, 4, 13, 0, 1); };
const Draw ktf = [](KWRRender& r) { r.kwrTriangletf(1.2f, 1, 0, 0, 14, 3.4f, 1, 0, 4, 13, 0, 1); };
const Draw k3 = [](KWRRender& r) { r.kwrTriangle3(1, 1, 0.5f, 14, 3, 0.5f, 4, 13, 0.5f); };
const Draw kFlat = [](KWRRender& r) { r.kwrTriangle(1, 1, 14, 3, 4, 13); };

const Draw bound = [](KWRRender& r) { r.kwrSetTexture(gTexture, 2, 2, 8); };
const Draw nothingBound = [](KWRRender&) {};
const Draw boundNoDepth = [](KWRRender& r) {
    r.kwrSetTexture(gTexture, 2, 2, 8);
    r.kwrZTestEnable(0);
};
const Draw noDepth = [](KWRRender& r) { r.kwrZTestEnable(0); };

// A member over the corner triangle (0,0) (8,0) (0,8): every vertex colour c,
// depth z and texture coordinates 0.
enum Member { kC, kCT, kT, k3C, k3CT, k3T };
void drawCorner(KWRRender& r, Member m, unsigned long c, float z = 0.5f) {
    switch (m) {
    case kC: r.kwrTrianglec(0, 0, c, 8, 0, c, 0, 8, c); break;
    case kCT: r.kwrTrianglect(0, 0, c, 0, 0, 8, 0, c, 0, 0, 0, 8, c, 0, 0); break;
    case kT: r.kwrTrianglet(0, 0, 0, 0, 8, 0, 0, 0, 0, 8, 0, 0); break;
    case k3C: r.kwrTriangle3c(0, 0, z, c, 8, 0, z, c, 0, 8, z, c); break;
    case k3CT: r.kwrTriangle3ct(0, 0, z, c, 0, 0, 8, 0, z, c, 0, 0, 0, 8, z, c, 0, 0); break;
    case k3T: r.kwrTriangle3t(0, 0, z, 0, 0, 8, 0, z, 0, 0, 0, 8, z, 0, 0); break;
    }
}
}  // namespace

TEST(Triangle, OwnsTopRowNotBottomRowAndIsClipped) {
    auto s = inked(32, 16, 16, 0xFF112233);
    s->kwrTriangle(0, 0, 10, 0, 0, 10);
    // Rows 0..9 are filled, row 10 stays empty; each row ends one pixel
    // left of the hypotenuse's crossing.
    EXPECT_EQ(s.px(9, 0), 0xFF112233u);
    EXPECT_EQ(s.px(10, 0), 0xFF000000u);
    EXPECT_EQ(s.px(0, 9), 0xFF112233u);
    EXPECT_EQ(s.px(0, 10), 0xFF000000u);
    auto c = inked(16, 6, 5);
    c->kwrTriangle(-20, -20, 40, -20, 10, 60);
    EXPECT_TRUE(c.pixelsNot(0x7FFF).empty());
    // A float triangle whose bottom lies at -0.2 draws nothing, although
    // its rounded bottom row would be row 0.
    auto f = inked(24, 8, 8);
    f->kwrTriangle3f(0, -5.0f, 0.5f, 8, -3.0f, 0.5f, 2, -0.2f, 0.5f);
    f->kwrTrianglecf(0, -5.0f, ~0ul, 8, -3.0f, ~0ul, 2, -0.2f, ~0ul);
    EXPECT_TRUE(f.pixelsNot(0).empty());
}

TEST(Triangle, FlatBlendPerFormat) {
    // White under 0x7F804020: weight a = 128, each byte (c * 128 + C * 128) >> 8.
    Surface s24(24, 4, 4, 0xFFFFFFFF), s32(32, 4, 4, 0x77FFFFFF), s16(16, 4, 4, 0xFFFFFFFF), s8(8, 4, 4);
    for (Surface* s : {&s24, &s32, &s16, &s8}) {
        (*s)->kwrAlphaEnable(1);
        (*s)->kwrSetColor(0x7F804020);
        (*s)->kwrTriangle(0, 0, 4, 0, 0, 4);
    }
    EXPECT_EQ(s24.px(0, 0), 0xBF9F8Fu);
    EXPECT_EQ(s32.px(0, 0), 0x77BF9F8Fu);  // the fourth byte is kept
    EXPECT_EQ(s16.px(0, 0), 0x5E71u);      // fields 23, 19, 17
    EXPECT_EQ(s8.px(0, 0), 0x20u);         // 8 bpp: the blue byte, unblended
    // An opaque colour with blending on fills plainly, alpha stored.
    s32->kwrSetColor(0xFF010203);
    s32->kwrTriangle(0, 0, 4, 0, 0, 4);
    EXPECT_EQ(s32.px(0, 0), 0xFF010203u);
    // The depth form hands a translucent colour to the blended fill: alpha 0
    // still takes 1/256 of the colour.
    Surface d(24, 8, 8, 0xFFFFFFFF);
    d->kwrAlphaEnable(1);
    d->kwrSetColor(0x00000000);
    d->kwrTriangle3(0, 0, 0.5f, 8, 0, 0.5f, 0, 8, 0.5f);
    EXPECT_EQ(d.px(1, 1), 0xFEFEFEu);
    EXPECT_EQ(d.z(1, 1), 0.5f);
}

TEST(Triangle, CentredFormsMatchPixelForms) {
    expectSameDrawing(
        bound, [](KWRRender& r) { r.kwrTrianglefg(-4, 6, 5, 5, -2, -7); },
        [](KWRRender& r) { r.kwrTrianglef(4, 2, 13, 3, 6, 15); }, "flat");
    expectSameDrawing(
        bound,
        [](KWRRender& r) {
            r.kwrTriangle3ctfg(-8, 6, 0.2f, 0xFFFF8040, 0, 0, 7, 5, 0.7f, 0xFF40FF80, 1.5f, 0, -2, -7, 0.4f,
                               0xFF8040FF, 0, 2);
        },
        [](KWRRender& r) {
            r.kwrTriangle3ctf(0, 2, 0.2f, 0xFFFF8040, 0, 0, 15, 3, 0.7f, 0xFF40FF80, 1.5f, 0, 6, 15, 0.4f,
                              0xFF8040FF, 0, 2);
        },
        "3ct");
}

// Without a depth test a member drops its depths; with nothing bound its
// texture coordinates; the depth check comes first.
TEST(Triangle, Fallbacks) {
    expectSameDrawing(noDepth, k3c, kc, "3c without depth test");
    expectSameDrawing(boundNoDepth, k3ct, kct, "3ct without depth test");
    expectSameDrawing(nothingBound, k3ct, k3c, "3ct with nothing bound");
    expectSameDrawing(noDepth, k3ct, kc, "3ct with neither");
    expectSameDrawing(boundNoDepth, k3t, kt, "3t without depth test");
    expectSameDrawing(boundNoDepth, k3tf, ktf, "3tf without depth test");
    expectSameDrawing(nothingBound, k3t, k3, "3t with nothing bound");
    expectSameDrawing(noDepth, k3t, kFlat, "3t with neither");
    expectSameDrawing(nothingBound, kct, kc, "ct with nothing bound");
    expectSameDrawing(nothingBound, kt, kFlat, "t with nothing bound");
    // An alpha map alone counts as bound: blended through a zero alpha map
    // the textured member leaves no trace.
    unsigned char alpha[1] = {0};
    Surface a(32, 16, 16);
    a->kwrSetAlphaMap(alpha, 1, 1, 1);
    a->kwrAlphaEnable(1);
    k3ct(*a.r);
    EXPECT_TRUE(a.pixelsNot(0xFF000000u).empty());
    // A host depth buffer bound after a frame without one leaves the depth
    // test off: the depth members draw as their forms without depth.
    auto r = std::make_unique<KWRRender>();
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrInitBuffer(4, 4), 1);
    float depth[16];
    for (float& d : depth) d = 1.0f;
    r->kwrSetExternalZBuffer(depth);
    r->kwrTriangle3(0, 0, 0.5f, 4, 0, 0.5f, 0, 4, 0.5f);
    r->kwrLine3(0, 3, 0.5f, 3, 3, 0.5f);
    for (float d : depth) EXPECT_EQ(d, 1.0f);
}

// Black over white: blended as soon as one vertex is translucent.
TEST(Triangle, ColourOnlyMembersBlendOnlyWithTranslucentVertex) {
    const std::pair<unsigned long, std::uint32_t> cases[] = {
        {0xFF000000, 0}, {0xFE000000, 0x010101}, {0x80000000, 0x7F7F7F}};  // 255 * (1 - 128 / 255), rounded
    for (const auto& c : cases) {
        Surface s(24, 8, 8, 0xFFFFFFFF);
        s->kwrAlphaEnable(1);
        s->kwrTrianglec(0, 0, c.first, 8, 0, 0xFF000000, 0, 8, 0xFF000000);
        EXPECT_EQ(s.px(0, 0), c.second) << std::hex << c.first;
    }
}

// With blending on, the textured members take the blended fill even when
// every vertex, the colour and the texel are opaque: an alpha map of 0
// then hides them, while the opaque fill ignores the alpha map.
TEST(Triangle, TexturedMembersBlendWheneverBlendingIsOn) {
    unsigned char texel[4] = {200, 200, 200, 255};
    unsigned char alpha[1] = {0};
    for (const Draw& draw : {k3ct, kct, k3t, kt}) {
        auto s = inked(24, 16, 16);
        s->kwrSetTexture(texel, 1, 1, 4);
        s->kwrSetAlphaMap(alpha, 1, 1, 1);
        s->kwrAlphaEnable(1);
        draw(*s.r);
        EXPECT_TRUE(s.pixelsNot(0).empty());
        s->kwrAlphaEnable(0);
        draw(*s.r);
        EXPECT_FALSE(s.pixelsNot(0).empty());
    }
}

// Colour 103 on texel 200 is 80.78: the depth-tested colour-textured member
// rounds in float, the others truncate an integer product.  Blended, the
// colour-textured members multiply in different orders, (c * t) * a with the
// depth test, (c * a) * t without: colour and alpha 142 on texel 208 over
// black land on either side of a rounding boundary.
TEST(Triangle, TextureProductsPerMember) {
    struct Case {
        Member m;
        unsigned char texel;
        unsigned long colour;
        int blend;
        std::uint32_t want;
    };
    const Case cases[] = {{k3CT, 200, 0xFF676767, 0, 0x515151}, {kCT, 200, 0xFF676767, 0, 0x505050},
                          {k3T, 200, 0xFF676767, 0, 0x505050},  {k3CT, 208, 0x8E8E8E8E, 1, 0x404040},
                          {kCT, 208, 0x8E8E8E8E, 1, 0x414141}};
    for (const Case& c : cases) {
        unsigned char texel[4] = {c.texel, c.texel, c.texel, 255};
        auto s = inked(24, 8, 8, c.colour);
        s->kwrSetTexture(texel, 1, 1, 4);
        s->kwrAlphaEnable(c.blend);
        drawCorner(*s.r, c.m, c.colour);
        EXPECT_EQ(s.px(0, 0), c.want) << "member " << c.m << " on texel " << int{c.texel};
    }
}

// At 16 bpp the blends without a depth test write even at weight zero: the
// old fields come back, bit 15 cleared.  The depth-tested ones skip the pixel.
TEST(Triangle, BlendsWithoutDepthTestWriteAtWeightZeroIn16Bpp) {
    unsigned char texel[4] = {200, 200, 200, 0};
    Surface s(16, 8, 8);
    s->kwrSetTexture(texel, 1, 1, 4);
    s->kwrAlphaEnable(1);
    for (Member m : {kC, kCT, kT, k3C, k3CT, k3T}) {
        s.setPx(1, 1, 0xD5AB);
        drawCorner(*s.r, m, 0x00FFFFFF);
        EXPECT_EQ(s.px(1, 1), m < k3C ? 0x55ABu : 0xD5ABu) << "member " << m;
        EXPECT_EQ(s.z(1, 1), 1.0f) << "member " << m;
    }
}

// At 8 bpp the depth-textured member draws the cube colour: opaque with
// its depth, blended without writing depth.
TEST(Triangle, DepthTexturedMemberAt8Bpp) {
    unsigned char texel[4] = {10, 20, 30, 255};
    auto s = inked(8, 8, 8);
    s->kwrSetTexture(texel, 1, 1, 4);
    drawCorner(*s.r, k3T, 0);
    EXPECT_EQ(s.px(1, 1), 215u);
    EXPECT_EQ(s.z(1, 1), 0.5f);
    s->kwrSetColor(0xFF2B2B2B);
    s->kwrAlphaEnable(1);
    drawCorner(*s.r, k3T, 0, 0.25f);
    EXPECT_EQ(s.px(1, 1), 43u);
    EXPECT_EQ(s.z(1, 1), 0.5f);
}
