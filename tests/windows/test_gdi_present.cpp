// Presentation through GDI: kwrRender into a memory DC backed by a 32 bpp
// DIB section, read back for every surface format.  This program links only
// the import library of kwrender.dll.
#include <gtest/gtest.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <memory>

#include "KWRRender.h"

namespace {

struct MemoryDC {
    HDC dc = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    std::uint32_t* pixels = nullptr;
    int width = 0;
    int height = 0;

    MemoryDC(int w, int h) : width(w), height(h) {
        dc = CreateCompatibleDC(nullptr);
        BITMAPINFO bi = {};
        bi.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
        bi.bmiHeader.biWidth = w;
        bi.bmiHeader.biHeight = -h;
        bi.bmiHeader.biPlanes = 1;
        bi.bmiHeader.biBitCount = 32;
        bi.bmiHeader.biCompression = BI_RGB;
        void* bits = nullptr;
        bitmap = CreateDIBSection(dc, &bi, DIB_RGB_COLORS, &bits, nullptr, 0);
        pixels = static_cast<std::uint32_t*>(bits);
        old = SelectObject(dc, bitmap);
        for (int i = 0; i < w * h; ++i) pixels[i] = 0x00ABCDEFu;
    }
    ~MemoryDC() {
        SelectObject(dc, old);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }
    std::uint32_t at(int x, int y) const { return pixels[y * width + x] & 0x00FFFFFFu; }
};

struct Case {
    int bpp;
    unsigned long color;
    std::uint32_t shown;  // what the DC must show, 0x00RRGGBB
};

class GdiPresent : public ::testing::TestWithParam<Case> {};

TEST_P(GdiPresent, FrameAppearsAtItsPosition) {
    const Case c = GetParam();
    auto r = std::make_unique<KWRRender>();
    ASSERT_EQ(r->kwrSetRenderBpp(c.bpp), 1);
    ASSERT_EQ(r->kwrInitBuffer(5, 3), 1);
    r->kwrSetColor(c.color);
    r->kwrClear();

    MemoryDC target(16, 8);
    ASSERT_NE(target.pixels, nullptr);
    r->kwrRender(target.dc, 2, 4);
    GdiFlush();
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 16; ++x) {
            const bool inside = x >= 2 && x < 7 && y >= 4 && y < 7;
            EXPECT_EQ(target.at(x, y), inside ? c.shown : 0x00ABCDEFu) << "at " << x << "," << y;
        }
    }
}

// 8 bpp shows the colour-cube entry; 16 bpp the 5-bit fields widened to 8.
INSTANTIATE_TEST_SUITE_P(
    AllFormats, GdiPresent,
    ::testing::Values(Case{32, 0x80123456ul, 0x123456u}, Case{24, 0xFF123456ul, 0x123456u},
                      Case{16, 0xFFFF0000ul, 0xFF0000u}, Case{16, 0xFF0800F8ul, 0x0800FFu},
                      Case{8, 0xFFFFFFFFul, 0xD7D7D7u}, Case{8, 0xFF2B5600ul, 0x2B5600u}));

TEST(GdiPresent, RowZeroIsTheTopRow) {
    auto r = std::make_unique<KWRRender>();
    ASSERT_EQ(r->kwrSetRenderBpp(32), 1);
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    r->kwrSetColor(0xFF000000ul);
    r->kwrClear();
    void* header = nullptr;
    void* pixels = nullptr;
    ASSERT_EQ(r->kwrGetDib(&header, &pixels), 1);
    static_cast<std::uint32_t*>(pixels)[0] = 0x00FF0000u;  // pixel (0, 0)

    MemoryDC target(2, 2);
    r->kwrRender(target.dc, 0, 0);
    GdiFlush();
    EXPECT_EQ(target.at(0, 0), 0xFF0000u);
    EXPECT_EQ(target.at(0, 1), 0u);
}

}  // namespace
