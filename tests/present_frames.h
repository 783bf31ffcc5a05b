// Frames and expected results of the presentation tests on Linux (into a
// KWRMemoryDC) and on Windows (a GDI memory DC), which show the same pixels.
// Public interface only: the Windows program links the DLL alone.
#ifndef KWR_TESTS_PRESENT_FRAMES_H
#define KWR_TESTS_PRESENT_FRAMES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "KWRRender.h"
#include "surface_fixture.h"

namespace kwr_present {

// A frame of the given format whose pixel (x, y) holds code(bpp, x, y) (its
// low bpp bits, little-endian).
using Code = std::uint32_t (*)(int bpp, int x, int y);
inline std::unique_ptr<KWRRender> makeFrame(int bpp, int w, int h, Code code) {
    kwr_test::Surface s(bpp, w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) s.setPx(x, y, code(bpp, x, y));
    return std::move(s.r);
}

// What pixel code v of a frame of the given format shows, 0x00RRGGBB: at
// 16 bpp each 5-bit field shifted up with its top bits repeated below (bit
// 15 ignored), at 8 bpp the colour cube for indices 0..215 and grey above,
// at 24 and 32 bpp the low three bytes.
inline std::uint32_t shown(int bpp, std::uint32_t v) {
    auto field = [v](int shift) { return ((v >> shift & 0x1Fu) << 3) | (v >> shift & 0x1Fu) >> 2; };
    const std::uint32_t i = v & 0xFFu;
    switch (bpp) {
    case 8: return i >= 216 ? i * 0x010101u : ((i / 36) * 43u << 16) | ((i / 6 % 6) * 43u << 8) | (i % 6) * 43u;
    case 16: return (field(10) << 16) | (field(5) << 8) | field(0);
    default: return v & 0x00FFFFFFu;
    }
}

// A small frame with a different code in every pixel, so that a misplaced
// row or column shows.
inline std::uint32_t patternCode(int bpp, int x, int y) {
    const std::uint32_t n = static_cast<std::uint32_t>(y * 16 + x + 1);
    switch (bpp) {
    case 8: return n * 37u % 256u;
    case 16: return n * 0x0C63u & 0x7FFFu;
    default: return 0x80000000u | (n * 0x00251F3Du & 0x00FFFFFFu);
    }
}

// A frame 256 pixels wide holding every 16 bpp word and every 8 bpp index
// (24 and 32 bpp: codes spread over all bytes).
constexpr int kEveryCodeW = 256;
inline int everyCodeRows(int bpp) { return bpp == 16 ? 256 : bpp == 8 ? 1 : 64; }
inline std::uint32_t everyCode(int bpp, int x, int y) {
    const std::uint32_t n = static_cast<std::uint32_t>(y * 256 + x);
    return bpp <= 16 ? n : n * 0x01030507u;
}

// Placements of a 5 x 3 frame on an 8 x 6 target: inside, across every side
// and corner, and wholly outside.
struct Placement {
    int x, y;
};
constexpr int kTargetW = 8, kTargetH = 6, kFrameW = 5, kFrameH = 3;
constexpr Placement kPlacements[] = {
    {1, 1},  {0, 0},  {3, 3},   {-2, 1},  {5, 1},   {1, -2}, {1, 5},   {-3, -2},
    {6, 4},  {-4, 5}, {-5, 0},  {8, 0},   {0, -3},  {0, 6},  {-1, -1}, {4, -1},
};

// What a target starts with; pixels no frame covers keep it.
constexpr std::uint32_t kUntouched = 0x00ABCDEFu;

// Shows the frame of every code on a target of its size, and the small
// frame at every placement, on a Target (constructed with the target's
// size, with show(frame, x, y) and at(x, y) reading 0x00RRGGBB): pixels the
// frame covers show their codes, the others are untouched.  Reports the
// first few misses of each.
template <class Target>
void expectPresentations(int bpp) {
    struct Case {
        int fw, fh;
        Code code;
        Placement p;
        int w, h;  // target
    };
    std::vector<Case> cases{{kEveryCodeW, everyCodeRows(bpp), everyCode, {0, 0}, kEveryCodeW, everyCodeRows(bpp)}};
    for (const Placement& p : kPlacements) cases.push_back({kFrameW, kFrameH, patternCode, p, kTargetW, kTargetH});
    for (const Case& c : cases) {
        auto frame = makeFrame(bpp, c.fw, c.fh, c.code);
        Target t(c.w, c.h);
        t.show(*frame, c.p.x, c.p.y);
        if (::testing::Test::HasFatalFailure()) return;
        int wrong = 0;
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x) {
                const int fx = x - c.p.x, fy = y - c.p.y;
                const bool covered = fx >= 0 && fx < c.fw && fy >= 0 && fy < c.fh;
                const std::uint32_t want = covered ? shown(bpp, c.code(bpp, fx, fy)) : kUntouched;
                if (t.at(x, y) != want && ++wrong < 5)
                    ADD_FAILURE() << bpp << " bpp at (" << c.p.x << "," << c.p.y << "): pixel " << x << "," << y
                                  << " shows " << std::hex << t.at(x, y) << " for " << want;
            }
        EXPECT_EQ(wrong, 0) << bpp << " bpp at (" << c.p.x << "," << c.p.y << ")";
    }
}

}  // namespace kwr_present

#endif
