// The render context: defaults, colours, frame-buffer creation, clearing,
// depth-buffer lifecycle, bindings, copying, and the guards that make calls
// without a surface harmless.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "render/platform.h"
#include "surface_fixture.h"

using kwr_test::Surface;

TEST(RenderContext, DefaultsBindingsAndColourConversions) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    EXPECT_EQ(r->kwrGetColor(), 0xFF000000u);
    EXPECT_EQ(s.renderBpp, 24);
    EXPECT_EQ(r->kwrSetRenderBpp(12), 0);
    EXPECT_EQ(s.renderBpp, 24);
    EXPECT_EQ(r->kwrSetRenderBpp(32), 1);
    EXPECT_EQ(s.renderBpp, 32);
    // Binding nothing restores the built-in texel, whatever size and pitch
    // come with the null pointer: textured triangles then draw the colour
    // (a bound black texture would draw black, a bound alpha map would blend).
    {
        Surface t(32, 4, 4);
        unsigned char black[64 * 4] = {};
        t->kwrSetColor(0xFF5A6B7C);
        t->kwrAlphaEnable(1);
        t->kwrSetTexture(black, 8, 8, 32);
        t->kwrSetTexture(nullptr, 64, 64, 256);
        t->kwrSetAlphaMap(black, 3, 5, 7);
        t->kwrSetAlphaMap(nullptr, 3, 5, 7);
        t->kwrTrianglet(0, 0, 0, 0, 8, 0, 1, 0, 0, 8, 0, 1);
        EXPECT_EQ(t.px(1, 1), 0xFF5A6B7Cu);
    }
    // Colour conversions.
    Surface s16(16, 2, 2), s8(8, 2, 2), s32(32, 2, 2);
    s16->kwrSetColor(0x12F80408);  // top five bits of each channel
    EXPECT_EQ(s16.s().color16, (0x1F << 10) | (0x00 << 5) | 0x01);
    for (auto cube : {std::pair<unsigned long, int>{0x00FFFFFF, 215}, {0x002B2B2B, 43}, {0x002A2A2A, 0}}) {
        s8->kwrSetColor(cube.first);
        EXPECT_EQ(s8.s().color8, cube.second);
    }
    s32->kwrSetColorf(1, 0, 0);
    EXPECT_EQ(s32->kwrGetColor(), 0xFFFF0000u);
    s32->kwrSetColor4f(0.5f, 0.5f, 0.5f, 1);  // 127.5 + 0.5 floors to 128
    EXPECT_EQ(s32->kwrGetColor(), 0xFF808080u);
    // Out-of-range components are not masked: -1.0 gives -255, whose sign
    // bits cover every channel above it; 2.0 gives 510, whose ninth bit
    // lands in the next channel up.
    s32->kwrSetColor4f(0, 0, -1.0f, 1);
    EXPECT_EQ(s32->kwrGetColor(), 0xFFFFFF01u);
    s32->kwrSetColor4f(2.0f, 0, 0, 1);
    EXPECT_EQ(s32->kwrGetColor(), 0xFFFE0000u);
    s32->kwrSetColorf(0, 2.0f, 0);
    EXPECT_EQ(s32->kwrGetColor(), 0xFF01FE00u);
    // The derived colour of the format follows at initialisation; a colour
    // set later changes only the derived colour of the format in force.
    auto fresh = std::make_unique<KWRRender>();
    const kwr::RenderState& f = kwr::Access::state(*fresh);
    fresh->kwrSetColor(0x00FFFFFF);  // 24 bpp: neither derived colour changes
    EXPECT_EQ(f.color16, 0);
    ASSERT_EQ(fresh->kwrSetRenderBpp(16), 1);
    ASSERT_EQ(fresh->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(f.color16, 0x7FFF);
    ASSERT_EQ(fresh->kwrSetRenderBpp(8), 1);
    fresh->kwrSetColor(0x00FFFFFF);
    EXPECT_EQ(f.color8, 215);
    EXPECT_EQ(f.color16, 0x7FFF);
}

TEST(RenderContext, InitGeometryFailuresAndRelease) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    ASSERT_EQ(r->kwrSetRenderBpp(16), 1);
    ASSERT_EQ(r->kwrInitBuffer(7, 3), 1);
    EXPECT_EQ(s.clipRight, 6);
    EXPECT_EQ(s.clipBottomF, 2.0f);
    EXPECT_EQ(s.centerX, 3.5f);
    EXPECT_EQ(s.centerY, 1.5f);
    EXPECT_EQ(s.pitch, 16);
    void* header = nullptr;
    void* pixels = nullptr;
    ASSERT_EQ(r->kwrGetDib(&header, &pixels), 1);
    EXPECT_EQ(pixels, s.bits);
    EXPECT_EQ(static_cast<kwr::BITMAPINFO*>(header)->bmiHeader.biHeight, -3);  // top-down
    const struct {
        int w, h, error;
    } refused[] = {{0, 10, KWR_ERROR_BAD_SIZE},  {10, -5, KWR_ERROR_BAD_SIZE},     {1, 32769, KWR_ERROR_TOO_TALL},
                   {32769, 1, KWR_ERROR_TOO_WIDE}, {INT_MAX, 2, KWR_ERROR_TOO_WIDE}, {30000, 9000, KWR_ERROR_TOO_LARGE}};
    for (auto wh : refused) {
        ASSERT_EQ(r->kwrInitBuffer(8, 8), 1);
        EXPECT_EQ(r->kwrGetLastError(), 0);
        EXPECT_EQ(r->kwrInitBuffer(wh.w, wh.h), 0) << wh.w << "x" << wh.h;
        EXPECT_EQ(r->kwrGetLastError(), wh.error) << wh.w << "x" << wh.h;
        // No surface: the clip bounds reject every pixel, nothing is handed out.
        EXPECT_EQ(r->kwrGetDib(&header, &pixels), 0);
        EXPECT_EQ(pixels, nullptr);
        EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
        EXPECT_EQ(s.clipRight, -1);
        EXPECT_EQ(s.clipBottomF, -1.0f);
        r->kwrClear();
    }
    EXPECT_EQ(r->kwrInitBuffer(3, 32768), 1);  // as tall as a loaded bitmap may be
    EXPECT_EQ(r->kwrSetRenderBpp(7), 0);
    EXPECT_EQ(r->kwrGetLastError(), KWR_ERROR_BAD_DEPTH);
    EXPECT_EQ(r->kwrSetRenderBpp(16), 1);
    EXPECT_EQ(r->kwrGetLastError(), 0);
    const char* texts[] = {"", "allocate memory", "too wide", "too tall", "too many pixel bytes", "bad depth",
                           "width or height below 1", "vertex not finite", "(undefined)"};
    const int codes[] = {0, KWR_ERROR_ALLOCATE_MEMORY, KWR_ERROR_TOO_WIDE, KWR_ERROR_TOO_TALL, KWR_ERROR_TOO_LARGE,
                         KWR_ERROR_BAD_DEPTH, KWR_ERROR_BAD_SIZE, KWR_ERROR_NOT_FINITE, 19};
    for (int i = 0; i < 9; ++i) EXPECT_STREQ(KWRRender::kwrGetErrorText(codes[i]), texts[i]);
    r->kwrDestroy();
    EXPECT_EQ(s.bits, nullptr);
    EXPECT_EQ(s.clipBottom, -1);
}

// Clearing fills every pixel with the colour's bytes, the row padding too at
// 8, 16 and 32 bpp, and leaves the 24 bpp padding as it was.
TEST(RenderContext, ClearFillsPixelsAndPaddingPerFormat) {
    for (int bpp : {8, 16, 24, 32})
        for (unsigned long colour : {0x11223344ul, 0x80FFFFFFul})
            for (int w : {3, 1501}) {
                Surface s(bpp, w, 3);
                std::memset(s.bits, 0xAB, static_cast<std::size_t>(s.pitch) * 3);
                s->kwrSetColor(colour);
                s->kwrClear();
                // Worked by hand: colour-cube index (r / 43 * 6 + g / 43) * 6
                // + b / 43, X1R5G5B5, blue-green-red, the whole word.
                const bool first = colour == 0x11223344ul;
                const std::uint32_t want = bpp == 8    ? (first ? 7u : 215u)
                                           : bpp == 16 ? (first ? 0x10C8u : 0x7FFFu)
                                           : bpp == 24 ? (first ? 0x223344u : 0xFFFFFFu)
                                                       : (first ? 0x11223344u : 0x80FFFFFFu);
                EXPECT_TRUE(s.pixelsNot(want).empty()) << bpp << " bpp, width " << w;
                for (int y = 0; y < 3; ++y)
                    for (int i = w * bpp / 8; i < s.pitch; ++i)
                        ASSERT_EQ(s.bits[y * s.pitch + i], bpp == 24 ? 0xAB : (want >> (8 * (i % (bpp / 8)))) & 0xFF)
                            << bpp << " bpp, width " << w << ", byte " << i;
            }
}

TEST(RenderContext, DepthBufferLifecycle) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    r->kwrZBufferEnable(0);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
    EXPECT_EQ(s.zTestActive, 0);
    r->kwrZTestEnable(1);
    EXPECT_EQ(s.zTestActive, 0);  // no buffer: the test stays off

    // An external buffer replaces (and frees) the own one, survives
    // kwrDestroy and re-initialisation, and is cleared like the own one,
    // following the buffer switch alone.
    r->kwrZBufferEnable(1);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(s.zTestActive, 1);
    float external[4] = {7, 7, 7, 7};
    r->kwrSetExternalZBuffer(external);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_EQ(r->kwrGetZBuffer(), external);
    r->kwrSetZBackDepth(0.25f);
    r->kwrZTestEnable(0);
    EXPECT_EQ(s.zTestActive, 0);  // a buffer exists: follows at once
    r->kwrClear();
    r->kwrFlush();  // the host reads the buffer through its own pointer
    EXPECT_EQ(external[3], 0.25f);  // cleared although the test is off
    external[3] = 7;
    r->kwrZBufferEnable(0);
    r->kwrClear();
    EXPECT_EQ(external[3], 7.0f);
    r->kwrDestroy();
    EXPECT_EQ(r->kwrGetZBuffer(), external);
    r->kwrSetExternalZBuffer(nullptr);  // detached, not freed
    r->kwrZBufferEnable(1);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    EXPECT_TRUE(r->kwrGetZBuffer() != nullptr && r->kwrGetZBuffer() != external);  // an own buffer again
}

TEST(RenderContext, AssignmentCopiesEveryByte) {
    auto a = std::make_unique<KWRRender>();
    auto b = std::make_unique<KWRRender>();
    ASSERT_EQ(a->kwrInitBuffer(5, 5), 1);
    kwr::Access::state(*a).scan.scanRightV[4] = 0.125f;  // the table goes with the surface
    *b = *a;
    EXPECT_EQ(kwr::Access::state(*b).scan.scanRightV[4], 0.125f);
    void *ha, *pa, *hb, *pb;
    a->kwrGetDib(&ha, &pa);
    b->kwrGetDib(&hb, &pb);
    EXPECT_EQ(ha, hb);
    EXPECT_EQ(pa, pb);
    EXPECT_EQ(a->kwrGetZBuffer(), b->kwrGetZBuffer());
    // The copy refers to its own state, not to the original's.
    b->kwrSetColor(0xFF010203);
    EXPECT_EQ(a->kwrGetColor(), 0xFF000000u);
    // Only one of the two may release: detach the copy by hand.
    kwr::Access::state(*b).dib = nullptr;
    kwr::Access::state(*b).zBuffer = nullptr;
    kwr::Access::state(*b).scanBlock = nullptr;
}
