// The render context: defaults, colours, frame-buffer creation, clearing,
// depth-buffer lifecycle, bindings, copying; and the DIB surface under it.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "render/dib_stream.h"
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

TEST(DibSurface, CreateRowSizeAndTables) {
    kwr::DibStream d;
    ASSERT_TRUE(d.Create(3, -2, 24));
    EXPECT_EQ(d.GetRowBytes(), 12);
    EXPECT_EQ(d.header->bmiHeader.biSizeImage, 24u);
    EXPECT_EQ(d.header->bmiHeader.biClrUsed, 0u);
    EXPECT_EQ(d.header->bmiHeader.biHeight, -2);
    EXPECT_EQ(d.headerAlloc, kwr::kAllocHeap);

    ASSERT_TRUE(d.Create(1, -1, 8));
    EXPECT_EQ(d.GetRowBytes(), 4);
    EXPECT_EQ(d.header->bmiHeader.biClrUsed, 256u);
    const unsigned char* t = reinterpret_cast<const unsigned char*>(d.header) + 40;
    EXPECT_EQ(t[4 * 200 + 1], 200);

    ASSERT_TRUE(d.Create(9, 1, 1));
    EXPECT_EQ(d.GetRowBytes(), 4);
    t = reinterpret_cast<const unsigned char*>(d.header) + 40;
    EXPECT_EQ(t[4], 255);
    EXPECT_EQ(t[0], 0);
}

TEST(DibSurface, FailuresLeaveObjectEmpty) {
    kwr::DibStream d;
    EXPECT_FALSE(d.Create(5, -5, 12));
    EXPECT_EQ(d.lastError, kwr::kDibAllocateMemory);
    EXPECT_EQ(d.header, nullptr);
    EXPECT_EQ(d.bits, nullptr);
    EXPECT_EQ(d.GetRowBytes(), 0);
    ASSERT_TRUE(d.Create(2, 2, 32));
    EXPECT_FALSE(d.Create(0, -10, 32));
    EXPECT_EQ(d.header, nullptr);
    EXPECT_EQ(d.bits, nullptr);
    d.Draw(nullptr, 0, 0);  // nothing to draw, nothing called
}

TEST(DibSurface, ReleaseKindsAndErrorTexts) {
    // Blocks of every kind are released by their own routine (the
    // sanitizers check the matching).
    auto* d = new kwr::DibStream();
    d->header = static_cast<kwr::BITMAPINFO*>(std::malloc(40));
    d->headerAlloc = kwr::kAllocMalloc;
    d->bits = static_cast<unsigned char*>(std::malloc(4));
    d->bitsAlloc = 3;  // unknown kinds are released with free
    EXPECT_EQ(d->AddRef(), 2);
    EXPECT_EQ(d->Release(), 1);
    EXPECT_EQ(d->Release(), 0);  // deleted here

    unsigned char notOwned[4];
    kwr::DibStream keep;
    keep.bits = notOwned;  // kind 0: never freed
    EXPECT_STREQ(kwr::dibErrorText(0), "");
    EXPECT_STREQ(kwr::dibErrorText(2), "allocate memory");
    EXPECT_STREQ(kwr::dibErrorText(7), "unsupport type");
    EXPECT_STREQ(kwr::dibErrorText(9), "load interrput");
    EXPECT_STREQ(kwr::dibErrorText(10), "(undefined)");
    EXPECT_STREQ(kwr::dibErrorText(-1), "(undefined)");
}

#if !defined(_WIN32)
TEST(Presentation, CopiesFrameIntoMemoryTargetWithClipping) {
    for (int bpp : {8, 16, 24, 32}) {
        Surface s(bpp, 3, 2, 0xFFFF0000ul);
        std::uint32_t pixels[4 * 4];
        for (auto& p : pixels) p = 0xDEADBEEF;
        KWRMemoryDC dc{4, 4, 16, pixels};
        s->kwrRender(&dc, 2, -1);  // clipped right and top
        const std::uint32_t red = bpp == 8 ? 0xD70000u : 0xFF0000u;  // 8 bpp: cube entry 5*43
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                EXPECT_EQ(pixels[y * 4 + x], (x >= 2 && y == 0) ? red : 0xDEADBEEFu) << bpp << " " << x << "," << y;
        s->kwrRender(nullptr, 0, 0);  // no target: nothing
    }
}
#endif
