// Presentation into a KWRMemoryDC: the 1:1 copy with clipping and every
// format's conversion to 0x00RRGGBB, the same as GDI shows for the same frame
// (tests/windows/test_gdi_present.cpp checks the same cases under Windows).
#if !defined(_WIN32)

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

#include "present_frames.h"

namespace {

using namespace kwr_present;

// A target with two padding words per row, which presentation leaves alone.
struct Target {
    int width, pitchWords;
    std::vector<std::uint32_t> pixels;
    KWRMemoryDC dc;
    Target(int w, int h, int padWords = 2)
        : width(w), pitchWords(w + padWords), pixels(static_cast<std::size_t>((w + padWords) * h), kUntouched),
          dc{w, h, (w + padWords) * 4, pixels.data()} {}
    std::uint32_t at(int x, int y) const { return pixels[static_cast<std::size_t>(y * pitchWords + x)]; }
    void show(KWRRender& frame, int x, int y) {
        frame.kwrRender(&dc, x, y);
        for (int row = 0; row < dc.height; ++row)
            for (int i = width; i < pitchWords; ++i) EXPECT_EQ(at(i, row), kUntouched) << "padding of row " << row;
    }
};

class PresentFormat : public ::testing::TestWithParam<int> {};

// Every 16 bpp word and every 8 bpp index widened exactly as GDI does, and
// the placement clipped on every side.
TEST_P(PresentFormat, FramesShowTheirCodesClipped) { expectPresentations<Target>(GetParam()); }

INSTANTIATE_TEST_SUITE_P(AllFormats, PresentFormat, ::testing::Values(8, 16, 24, 32),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "bpp"; });

// Far placements, degenerate targets and a frame without a surface (a
// failed initialisation, then released) write nothing.
TEST(Present, ExtremePositionsAndTargetsWriteNothingOutside) {
    auto frame = makeFrame(32, 3, 2, patternCode);
    const Placement far[] = {{INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, 0}, {0, INT_MAX},
                             {INT_MAX - 1, 0},   {0, INT_MIN + 1}};
    Target t(4, 4, 0);
    for (const Placement& p : far) frame->kwrRender(&t.dc, p.x, p.y);
    frame->kwrRender(nullptr, 0, 0);
    KWRMemoryDC noPixels{4, 4, 16, nullptr};
    frame->kwrRender(&noPixels, 0, 0);
    for (KWRMemoryDC dc : {KWRMemoryDC{0, 1, 4, t.pixels.data()}, KWRMemoryDC{1, 0, 4, t.pixels.data()},
                           KWRMemoryDC{-3, 1, 4, t.pixels.data()}, KWRMemoryDC{1, -3, 4, t.pixels.data()}})
        frame->kwrRender(&dc, 0, 0);
    EXPECT_EQ(frame->kwrInitBuffer(0, 2), 0);
    frame->kwrRender(&t.dc, 0, 0);
    frame->kwrDestroy();
    frame->kwrRender(&t.dc, 0, 0);
    for (std::uint32_t v : t.pixels) EXPECT_EQ(v, kUntouched);
}

}  // namespace

#endif
