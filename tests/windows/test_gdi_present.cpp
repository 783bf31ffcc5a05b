// Presentation through GDI: kwrRender into a memory DC backed by a 32 bpp
// DIB section, read back for every surface format, with the expectations the
// Linux presentation meets (tests/present_frames.h).  This program links
// only the import library of kwrender.dll and uses the public interface.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
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

    MemoryDC(int w, int h) : width(w) {
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
        for (int i = 0; i < w * h; ++i) pixels[i] = kwr_present::kUntouched;
    }
    ~MemoryDC() {
        SelectObject(dc, old);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }
    std::uint32_t at(int x, int y) const { return pixels[y * width + x] & 0x00FFFFFFu; }
    void show(KWRRender& frame, int x, int y) {
        ASSERT_NE(pixels, nullptr);
        frame.kwrRender(dc, x, y);
        GdiFlush();
    }
};

using namespace kwr_present;

class GdiFormat : public ::testing::TestWithParam<int> {};

// Every 16 bpp word and every 8 bpp index as GDI shows it, and the placement
// clipped on every side.
TEST_P(GdiFormat, FramesShowTheirCodesClipped) { expectPresentations<MemoryDC>(GetParam()); }

INSTANTIATE_TEST_SUITE_P(AllFormats, GdiFormat, ::testing::Values(8, 16, 24, 32),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "bpp"; });

}  // namespace
