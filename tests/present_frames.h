// Frames and expected results shared by the presentation tests on Linux
// (KWRMemoryDC) and on Windows (a GDI memory DC): both must show the same
// pixels for the same frame.  Uses the public interface only, so the Windows
// program can link the DLL's import library alone.
#ifndef KWR_TESTS_PRESENT_FRAMES_H
#define KWR_TESTS_PRESENT_FRAMES_H

#include <cstdint>
#include <cstring>
#include <memory>

#include "KWRRender.h"

namespace kwr_present {

// A 5-bit field as a display shows it: shifted up, the top bits repeated
// in the low bits.
inline std::uint32_t expand5(std::uint32_t v) { return (v << 3) | (v >> 2); }

// What a 16 bpp pixel word shows, 0x00RRGGBB (bit 15 is ignored).
inline std::uint32_t shown16(std::uint32_t w) {
    return (expand5((w >> 10) & 0x1Fu) << 16) | (expand5((w >> 5) & 0x1Fu) << 8) | expand5(w & 0x1Fu);
}

// What an 8 bpp index shows: the colour cube for 0..215, grey above.
inline std::uint32_t shown8(std::uint32_t i) {
    if (i >= 216) return i * 0x010101u;
    return ((i / 36) * 43u << 16) | ((i / 6 % 6) * 43u << 8) | (i % 6) * 43u;
}

// A frame of the given format whose pixel (x, y) holds code(x, y) (its low
// bpp bits, little-endian); returns null if the surface cannot be made.
template <class Code>
std::unique_ptr<KWRRender> makeFrame(int bpp, int w, int h, Code code) {
    std::unique_ptr<KWRRender> r(new KWRRender());
    if (r->kwrSetRenderBpp(bpp) != 1 || r->kwrInitBuffer(w, h) != 1) return nullptr;
    r->kwrClear();
    void* header = nullptr;
    void* pixels = nullptr;
    if (r->kwrGetDib(&header, &pixels) != 1 || pixels == nullptr) return nullptr;
    const int bytes = bpp / 8;
    const std::ptrdiff_t pitch = ((bpp * w + 31) >> 3) & ~3;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::uint32_t v = code(x, y);
            std::memcpy(static_cast<unsigned char*>(pixels) + y * pitch + x * bytes, &v,
                        static_cast<std::size_t>(bytes));
        }
    return r;
}

// What pixel code v of a frame of the given format shows, 0x00RRGGBB.
inline std::uint32_t shown(int bpp, std::uint32_t v) {
    switch (bpp) {
    case 8: return shown8(v & 0xFFu);
    case 16: return shown16(v & 0xFFFFu);
    default: return v & 0x00FFFFFFu;  // 24 and 32: the fourth byte is not shown
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

}  // namespace kwr_present

#endif
