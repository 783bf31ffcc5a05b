// The render context: defaults, colours, frame-buffer creation, clearing,
// depth-buffer lifecycle, bindings, copying, and the guards that make calls
// without a surface harmless.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "render/platform.h"
#include "surface_fixture.h"

using kwr_test::Surface;

TEST(RenderContext, FreshObjectDefaults) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    EXPECT_EQ(r->kwrGetColor(), 0xFF000000u);
    EXPECT_EQ(s.renderBpp, 24);
    EXPECT_EQ(s.zTestActive, 1);
    EXPECT_EQ(s.alphaEnable, 0);
    EXPECT_EQ(s.zBackDepth, 1.0f);
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
    EXPECT_EQ(s.texture, kwr::kBuiltinTexel);
    EXPECT_EQ(s.alphaMap, kwr::kBuiltinTexel);
    EXPECT_EQ(s.textureBpp, 4);
    EXPECT_EQ(s.alphaMapBpp, 1);
    const unsigned char white[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(std::memcmp(kwr::kBuiltinTexel, white, 4), 0);
}

TEST(RenderContext, RenderBppAcceptsOnlySurfaceFormats) {
    KWRRender* r = new KWRRender();
    EXPECT_EQ(r->kwrSetRenderBpp(12), 0);
    EXPECT_EQ(kwr::Access::state(*r).renderBpp, 24);
    for (int bpp : {8, 16, 24, 32}) EXPECT_EQ(r->kwrSetRenderBpp(bpp), 1);
    EXPECT_EQ(r->kwrSetRenderBpp(0), 0);
    EXPECT_EQ(kwr::Access::state(*r).renderBpp, 32);
    delete r;
}

TEST(RenderContext, ColourConversions) {
    Surface s16(16, 2, 2), s8(8, 2, 2), s32(32, 2, 2);
    s16->kwrSetColor(0x00FFFFFF);
    EXPECT_EQ(s16.s().color16, 0x7FFF);
    s16->kwrSetColor(0x12F80408);  // top five bits of each channel
    EXPECT_EQ(s16.s().color16, (0x1F << 10) | (0x00 << 5) | 0x01);
    s8->kwrSetColor(0x00FFFFFF);
    EXPECT_EQ(s8.s().color8, 215);
    s8->kwrSetColor(0x002B2B2B);
    EXPECT_EQ(s8.s().color8, 43);
    s8->kwrSetColor(0x002A2A2A);
    EXPECT_EQ(s8.s().color8, 0);

    s32->kwrSetColorf(1, 0, 0);
    EXPECT_EQ(s32->kwrGetColor(), 0xFFFF0000u);
    s32->kwrSetColor4f(0, 0, 0, 0);
    EXPECT_EQ(s32->kwrGetColor(), 0x00000000u);
    s32->kwrSetColor4f(0.5f, 0.5f, 0.5f, 1);
    EXPECT_EQ(s32->kwrGetColor(), 0xFF808080u);
    // Out-of-range components are not masked: 2.0 gives 510 = 0x1FE, whose
    // ninth bit spills into the next channel up.
    s32->kwrSetColor4f(0, 0, 2.0f, 1);
    EXPECT_EQ(s32->kwrGetColor(), 0xFF0001FEu);
}

TEST(RenderContext, InitFailuresLeaveNoSurface) {
    auto r = std::make_unique<KWRRender>();
    for (auto wh : {std::pair<int, int>{0, 10}, {10, 0}, {-5, 10}, {10, -5}, {10, 4097}, {INT_MAX, 2},
                    {0x7FFFFFF0, 1}, {200000, 4000}}) {
        ASSERT_EQ(r->kwrInitBuffer(8, 8), 1);
        EXPECT_EQ(r->kwrInitBuffer(wh.first, wh.second), 0) << wh.first << "x" << wh.second;
        void* h = nullptr;
        void* p = nullptr;
        EXPECT_EQ(r->kwrGetDib(&h, &p), 0);
        EXPECT_EQ(h, nullptr);
        EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
        r->kwrClear();  // no surface: does nothing
    }
    EXPECT_EQ(r->kwrInitBuffer(3, 4096), 1);
}

TEST(RenderContext, PaletteIsColourCubeThenGreyRamp) {
    Surface s(8, 4, 2);
    void* header = nullptr;
    void* pixels = nullptr;
    ASSERT_EQ(s->kwrGetDib(&header, &pixels), 1);
    const unsigned char* table = static_cast<const unsigned char*>(header) + 40;
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b) {
                const unsigned char* e = table + 4 * ((r * 6 + g) * 6 + b);
                EXPECT_EQ(e[0], b * 43);
                EXPECT_EQ(e[1], g * 43);
                EXPECT_EQ(e[2], r * 43);
                EXPECT_EQ(e[3], 0);
            }
    for (int i = 216; i < 256; ++i) EXPECT_EQ(table[4 * i], i);
}

TEST(RenderContext, ClearPaddingRulesPerFormat) {
    for (int bpp : {8, 16, 24, 32}) {
        Surface s(bpp, 3, 2);
        const int pitch = s.s().pitch;
        std::memset(s.s().bits, 0xAB, static_cast<std::size_t>(pitch) * 2);
        s->kwrSetColor(0x11223344);
        s->kwrClear();
        const unsigned char* row1 = s.s().bits + pitch;
        switch (bpp) {
        case 8:
            EXPECT_EQ(pitch, 4);
            EXPECT_EQ(row1[3], s.s().color8);  // padding filled too
            break;
        case 16:
            EXPECT_EQ(pitch, 8);
            EXPECT_EQ(kwr::load16(row1 + 6), s.s().color16);
            break;
        case 24:
            EXPECT_EQ(pitch, 12);
            EXPECT_EQ(s.px(2, 1), 0x223344u);
            EXPECT_EQ(row1[9], 0xAB);  // padding untouched
            EXPECT_EQ(row1[11], 0xAB);
            break;
        case 32: EXPECT_EQ(s.px(2, 1), 0x11223344u); break;
        }
    }
}

TEST(RenderContext, DepthBufferLifecycle) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrInitBuffer(4, 4), 1);
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
    EXPECT_EQ(s.zTestActive, 0);
    r->kwrZTestEnable(1);
    EXPECT_EQ(s.zTestActive, 0);  // no buffer: the test stays off

    r->kwrZBufferEnable(1);
    ASSERT_EQ(r->kwrInitBuffer(4, 4), 1);
    ASSERT_NE(r->kwrGetZBuffer(), nullptr);
    EXPECT_EQ(s.zTestActive, 1);
    r->kwrSetZBackDepth(0.25f);
    r->kwrClear();
    EXPECT_EQ(r->kwrGetZBuffer()[15], 0.25f);

    // An external buffer replaces (and frees) the own one, survives
    // kwrDestroy and re-initialisation, and is cleared like the own one.
    float* external = static_cast<float*>(std::malloc(16 * sizeof(float)));
    r->kwrSetExternalZBuffer(external);
    EXPECT_EQ(r->kwrGetZBuffer(), external);
    ASSERT_EQ(r->kwrInitBuffer(4, 4), 1);
    EXPECT_EQ(r->kwrGetZBuffer(), external);
    r->kwrClear();
    EXPECT_EQ(external[15], 0.25f);
    r->kwrDestroy();
    EXPECT_EQ(r->kwrGetZBuffer(), external);
    r->kwrSetExternalZBuffer(nullptr);
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
    std::free(external);
    ASSERT_EQ(r->kwrInitBuffer(4, 4), 1);
    EXPECT_NE(r->kwrGetZBuffer(), nullptr);
}

TEST(RenderContext, BindingsAndTheirReset) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    unsigned char texels[64 * 4] = {};
    r->kwrSetTexture(texels, 8, 8, 32);
    EXPECT_EQ(s.texture, texels);
    EXPECT_EQ(s.textureBpp, 32);
    r->kwrSetTexture(nullptr, 64, 64, 256);
    EXPECT_EQ(s.texture, kwr::kBuiltinTexel);
    EXPECT_EQ(s.textureWidth, 1);
    EXPECT_EQ(s.textureHeight, 1);
    EXPECT_EQ(s.textureBpp, 4);
    r->kwrSetAlphaMap(texels, 3, 5, 7);
    EXPECT_EQ(s.alphaMapHeight, 5);
    r->kwrSetAlphaMap(nullptr, 3, 5, 7);
    EXPECT_EQ(s.alphaMap, kwr::kBuiltinTexel);
    EXPECT_EQ(s.alphaMapBpp, 1);
}

TEST(RenderContext, AssignmentIsShallowCopy) {
    auto a = std::make_unique<KWRRender>();
    auto b = std::make_unique<KWRRender>();
    ASSERT_EQ(a->kwrInitBuffer(5, 5), 1);
    *b = *a;
    void *ha, *pa, *hb, *pb;
    a->kwrGetDib(&ha, &pa);
    b->kwrGetDib(&hb, &pb);
    EXPECT_EQ(ha, hb);
    EXPECT_EQ(pa, pb);
    EXPECT_EQ(a->kwrGetZBuffer(), b->kwrGetZBuffer());
    // Only one of the two may release: detach the copy by hand.
    kwr::Access::state(*b).dib = nullptr;
    kwr::Access::state(*b).zBuffer = nullptr;
}

TEST(RenderContext, OutOfRangeComponentsSpillUnmasked) {
    Surface s(32, 1, 1);
    struct Case {
        float r, g, b, a;
        std::uint32_t word;
    };
    // -1.0 gives -255, whose sign bits cover every channel above it; 2.0
    // gives 510, whose ninth bit lands in the next channel; bits above 31
    // are lost.  NaN gives a defined word instead of undefined behaviour.
    const Case cases[] = {
        {0, 0, -1.0f, 1, 0xFFFFFF01u}, {0, -1.0f, 0, 0, 0xFFFF0100u}, {2.0f, 0, 0, 1, 0xFFFE0000u},
        {0, 0, 0, 2.0f, 0xFE000000u},  {0, 0, 0, 1.0f / 255, 0x01000000u},
    };
    for (const Case& c : cases) {
        s->kwrSetColor4f(c.r, c.g, c.b, c.a);
        EXPECT_EQ(s->kwrGetColor(), c.word) << c.r << " " << c.g << " " << c.b << " " << c.a;
    }
    s->kwrSetColorf(0, 0, -1.0f);
    EXPECT_EQ(s->kwrGetColor(), 0xFFFFFF01u);
    s->kwrSetColorf(0, 2.0f, 0);
    EXPECT_EQ(s->kwrGetColor(), 0xFF01FE00u);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    s->kwrSetColor4f(nan, nan, nan, nan);
    s->kwrSetColorf(nan, 1e30f, -1e30f);
}

TEST(RenderContext, DerivedColourFollowsFormatAtInit) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    r->kwrSetColor(0x00FFFFFF);  // 24 bpp: neither derived colour changes
    EXPECT_EQ(s.color16, 0);
    EXPECT_EQ(s.color8, 0);
    ASSERT_EQ(r->kwrSetRenderBpp(16), 1);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(s.color16, 0x7FFF);
    ASSERT_EQ(r->kwrSetRenderBpp(8), 1);
    r->kwrSetColor(0x00000000);  // now the 8 bpp colour; the 16 bpp one stays
    EXPECT_EQ(s.color8, 0);
    EXPECT_EQ(s.color16, 0x7FFF);
    r->kwrSetColor(0x00FFFFFF);
    EXPECT_EQ(s.color8, 215);
}

TEST(RenderContext, GeometryAfterInitAndAfterRelease) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    // Before any surface and after one is released, the clip bounds reject
    // every pixel and there is no pixel pointer.
    auto expectNoGeometry = [&s](const char* when) {
        EXPECT_EQ(s.width, 0) << when;
        EXPECT_EQ(s.height, 0) << when;
        EXPECT_EQ(s.clipRight, -1) << when;
        EXPECT_EQ(s.clipBottom, -1) << when;
        EXPECT_EQ(s.clipRightF, -1.0f) << when;
        EXPECT_EQ(s.clipBottomF, -1.0f) << when;
        EXPECT_EQ(s.bits, nullptr) << when;
    };
    expectNoGeometry("fresh");
    ASSERT_EQ(r->kwrSetRenderBpp(16), 1);
    ASSERT_EQ(r->kwrInitBuffer(7, 3), 1);
    EXPECT_EQ(s.width, 7);
    EXPECT_EQ(s.height, 3);
    EXPECT_EQ(s.clipRight, 6);
    EXPECT_EQ(s.clipBottom, 2);
    EXPECT_EQ(s.clipRightF, 6.0f);
    EXPECT_EQ(s.clipBottomF, 2.0f);
    EXPECT_EQ(s.widthF, 7.0f);
    EXPECT_EQ(s.centerX, 3.5f);
    EXPECT_EQ(s.centerY, 1.5f);
    EXPECT_EQ(s.pitch, 16);
    void* header = nullptr;
    void* pixels = nullptr;
    ASSERT_EQ(r->kwrGetDib(&header, &pixels), 1);
    EXPECT_EQ(pixels, s.bits);
    EXPECT_EQ(static_cast<kwr::BITMAPINFO*>(header)->bmiHeader.biHeight, -3);  // top-down
    r->kwrDestroy();
    expectNoGeometry("destroyed");
    EXPECT_EQ(r->kwrGetDib(&header, &pixels), 0);
    EXPECT_EQ(pixels, nullptr);
    r->kwrClear();  // no surface: nothing to fill
    ASSERT_EQ(r->kwrInitBuffer(4096, 1), 1);
    EXPECT_EQ(r->kwrInitBuffer(1, 4097), 0);
    expectNoGeometry("failed init");
}

TEST(RenderContext, DepthClearFollowsBufferEnableOnly) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    float external[4] = {7, 7, 7, 7};
    r->kwrSetExternalZBuffer(external);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(s.zTestActive, 1);
    r->kwrZTestEnable(0);
    EXPECT_EQ(s.zTestActive, 0);  // a buffer exists: follows at once
    r->kwrClear();
    EXPECT_EQ(external[3], 1.0f);  // cleared although the test is off
    external[3] = 7;
    r->kwrZBufferEnable(0);  // takes effect at init for allocation...
    EXPECT_EQ(s.zTestActive, 0);
    r->kwrClear();  // ...but clearing reads it at once
    EXPECT_EQ(external[3], 7.0f);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(r->kwrGetZBuffer(), external);  // a host buffer stays bound
    EXPECT_EQ(s.zTestActive, 0);
    r->kwrZBufferEnable(1);
    r->kwrZTestEnable(1);
    EXPECT_EQ(s.zTestActive, 1);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(s.zTestActive, 1);
    r->kwrSetExternalZBuffer(nullptr);  // detach; not freed
    r->kwrClear();  // depth wanted but no buffer: the pixels alone are cleared
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
}

// Clearing large frames fills every pixel with the colour's bytes, whether
// the colour's bytes are all equal or not, and keeps the 24 bpp padding.
TEST(RenderContext, ClearFillsLargeFramesExactly) {
    for (int bpp : {16, 24, 32})
        for (unsigned long colour : {0xFF336699ul, 0xFFFFFFFFul, 0x00000000ul, 0x80FF00FFul})
            for (int w : {1, 5, 17, 1023, 1501}) {
                Surface s(bpp, w, 3);
                const std::size_t area = static_cast<std::size_t>(s.s().pitch) * 3;
                std::memset(s.s().bits, 0xAB, area);
                s->kwrSetColor(colour);
                s->kwrClear();
                const std::uint32_t want = bpp == 16   ? s.s().color16
                                           : bpp == 24 ? static_cast<std::uint32_t>(colour & 0xFFFFFF)
                                                       : static_cast<std::uint32_t>(colour);
                EXPECT_TRUE(s.pixelsNot(want).empty()) << bpp << " bpp, width " << w;
                const int bytes = bpp / 8;
                for (int y = 0; y < 3; ++y)
                    for (int i = w * bytes; i < s.s().pitch; ++i) {
                        const unsigned char pad = s.s().bits[y * s.s().pitch + i];
                        const unsigned char expect =
                            bpp == 24 ? 0xAB : static_cast<unsigned char>(s.s().color16 >> (8 * (i % 2)));
                        ASSERT_EQ(pad, expect) << bpp << " bpp, width " << w << ", padding byte " << i;
                    }
            }
}
