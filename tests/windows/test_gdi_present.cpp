// Presentation through GDI: kwrRender into a memory DC backed by a 32 bpp
// DIB section, read back for every surface format.  The expectations are the
// ones the Linux presentation meets (tests/present_frames.h), so both systems
// show the same pixels for the same frame.  This program links only the
// import library of kwrender.dll and uses the public interface alone.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "KWRRender.h"
#include "../present_frames.h"

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
    void fill(std::uint32_t v) {
        for (int i = 0; i < width * height; ++i) pixels[i] = v;
    }
};

using namespace kwr_present;

class GdiFormat : public ::testing::TestWithParam<int> {};

// Every 16 bpp word and every 8 bpp index as GDI shows it.
TEST_P(GdiFormat, EveryPixelCodeShowsItsColour) {
    const int bpp = GetParam();
    const int w = 256, h = bpp == 16 ? 256 : bpp == 8 ? 1 : 64;
    auto code = [bpp](int x, int y) {
        const std::uint32_t n = static_cast<std::uint32_t>(y * 256 + x);
        return bpp <= 16 ? n : n * 0x01030507u;
    };
    auto frame = makeFrame(bpp, w, h, code);
    ASSERT_NE(frame, nullptr);
    MemoryDC target(w, h);
    ASSERT_NE(target.pixels, nullptr);
    frame->kwrRender(target.dc, 0, 0);
    GdiFlush();
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (target.at(x, y) != shown(bpp, code(x, y)) && ++wrong < 5)
                ADD_FAILURE() << bpp << " bpp code " << std::hex << code(x, y) << " shows " << target.at(x, y);
    EXPECT_EQ(wrong, 0);
}

TEST_P(GdiFormat, PlacementIsClippedOnEverySide) {
    const int bpp = GetParam();
    auto frame = makeFrame(bpp, kFrameW, kFrameH, [bpp](int x, int y) { return patternCode(bpp, x, y); });
    ASSERT_NE(frame, nullptr);
    MemoryDC target(kTargetW, kTargetH);
    ASSERT_NE(target.pixels, nullptr);
    for (const Placement& p : kPlacements) {
        target.fill(0x00ABCDEFu);
        frame->kwrRender(target.dc, p.x, p.y);
        GdiFlush();
        for (int y = 0; y < kTargetH; ++y)
            for (int x = 0; x < kTargetW; ++x) {
                const int fx = x - p.x, fy = y - p.y;
                const bool covered = fx >= 0 && fx < kFrameW && fy >= 0 && fy < kFrameH;
                EXPECT_EQ(target.at(x, y), covered ? shown(bpp, patternCode(bpp, fx, fy)) : 0x00ABCDEFu)
                    << bpp << " bpp at (" << p.x << "," << p.y << "), pixel " << x << "," << y;
            }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, GdiFormat, ::testing::Values(8, 16, 24, 32),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "bpp"; });

}  // namespace
