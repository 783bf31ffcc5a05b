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

constexpr std::uint32_t kUntouched = 0xDEADBEEFu;

struct Target {
    int width, height, pitchWords;
    std::vector<std::uint32_t> pixels;
    KWRMemoryDC dc;
    Target(int w, int h, int padWords = 0)
        : width(w), height(h), pitchWords(w + padWords),
          pixels(static_cast<std::size_t>((w + padWords) * h), kUntouched),
          dc{w, h, (w + padWords) * 4, pixels.data()} {}
    std::uint32_t at(int x, int y) const { return pixels[static_cast<std::size_t>(y * pitchWords + x)]; }
};

class PresentFormat : public ::testing::TestWithParam<int> {};

// Every 16 bpp word and every 8 bpp index, widened exactly as GDI does.
TEST_P(PresentFormat, EveryPixelCodeShowsItsColour) {
    const int bpp = GetParam();
    const int w = 256, h = bpp == 16 ? 256 : bpp == 8 ? 1 : 64;
    auto code = [bpp](int x, int y) {
        const std::uint32_t n = static_cast<std::uint32_t>(y * 256 + x);
        return bpp <= 16 ? n : n * 0x01030507u;  // 24/32: spread over all bytes
    };
    auto frame = makeFrame(bpp, w, h, code);
    ASSERT_NE(frame, nullptr);
    Target t(w, h);
    frame->kwrRender(&t.dc, 0, 0);
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (t.at(x, y) != shown(bpp, code(x, y)) && ++wrong < 5)
                ADD_FAILURE() << bpp << " bpp code " << std::hex << code(x, y) << " shows " << t.at(x, y);
    EXPECT_EQ(wrong, 0);
}

TEST_P(PresentFormat, PlacementIsClippedOnEverySide) {
    const int bpp = GetParam();
    auto frame = makeFrame(bpp, kFrameW, kFrameH, [bpp](int x, int y) { return patternCode(bpp, x, y); });
    ASSERT_NE(frame, nullptr);
    for (const Placement& p : kPlacements) {
        Target t(kTargetW, kTargetH, 2);  // two padding words per row stay untouched
        frame->kwrRender(&t.dc, p.x, p.y);
        for (int y = 0; y < kTargetH; ++y)
            for (int x = 0; x < t.pitchWords; ++x) {
                const int fx = x - p.x, fy = y - p.y;
                const bool covered = x < kTargetW && fx >= 0 && fx < kFrameW && fy >= 0 && fy < kFrameH;
                const std::uint32_t want = covered ? shown(bpp, patternCode(bpp, fx, fy)) : kUntouched;
                EXPECT_EQ(t.at(x, y), want) << bpp << " bpp at (" << p.x << "," << p.y << "), pixel " << x << "," << y;
            }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, PresentFormat, ::testing::Values(8, 16, 24, 32),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "bpp"; });

TEST(Present, ExtremePositionsAndTargetsWriteNothingOutside) {
    auto frame = makeFrame(32, 3, 2, [](int x, int y) { return patternCode(32, x, y); });
    ASSERT_NE(frame, nullptr);
    const Placement far[] = {{INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, 0}, {0, INT_MAX},
                             {INT_MAX - 1, 0},   {0, INT_MIN + 1}};
    for (const Placement& p : far) {
        Target t(4, 4);
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
    Target t(2, 2);
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
