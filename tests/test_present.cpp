// Presentation into a KWRMemoryDC: the 1:1 copy with clipping and the
// conversion of every surface format to 0x00RRGGBB, which must match what
// GDI shows for the same frame (tests/windows/test_gdi_present.cpp checks
// the same expectations under Windows).
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

TEST(Present, ExtremePositionsAndTargetsWriteNothingOutside) {
    auto frame = makeFrame(32, 3, 2, patternCode);
    ASSERT_NE(frame, nullptr);
    const Placement far[] = {{INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, 0}, {0, INT_MAX},
                             {INT_MAX - 1, 0},   {0, INT_MIN + 1}};
    for (const Placement& p : far) {
        Target t(4, 4, 0);
        frame->kwrRender(&t.dc, p.x, p.y);
        for (std::uint32_t v : t.pixels) EXPECT_EQ(v, kUntouched) << p.x << "," << p.y;
    }
    // Degenerate targets: no target, no pixels, no area.
    frame->kwrRender(nullptr, 0, 0);
    KWRMemoryDC noPixels{4, 4, 16, nullptr};
    frame->kwrRender(&noPixels, 0, 0);
    std::uint32_t one = kUntouched;
    for (KWRMemoryDC dc : {KWRMemoryDC{0, 1, 4, &one}, KWRMemoryDC{1, 0, 4, &one},
                           KWRMemoryDC{-3, 1, 4, &one}, KWRMemoryDC{1, -3, 4, &one}}) {
        frame->kwrRender(&dc, 0, 0);
        EXPECT_EQ(one, kUntouched);
    }
}

TEST(Present, WithoutSurfaceNothingIsShown) {
    std::unique_ptr<KWRRender> r(new KWRRender());
    Target t(2, 2, 0);
    r->kwrRender(&t.dc, 0, 0);  // never initialised
    ASSERT_EQ(r->kwrInitBuffer(2, 2), 1);
    r->kwrDestroy();
    r->kwrRender(&t.dc, 0, 0);  // released
    EXPECT_EQ(r->kwrInitBuffer(0, 2), 0);
    r->kwrRender(&t.dc, 0, 0);  // failed initialisation
    for (std::uint32_t v : t.pixels) EXPECT_EQ(v, kUntouched);
}

}  // namespace

#endif
