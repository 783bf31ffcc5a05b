// Points, filled boxes (with and without depth) and one-bit bitmaps, all in
// the current colour.
#include <cstdint>

#include "KWRRender.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {
namespace {

// Clips one axis of a box to 0..limit.  A box is dropped only when both
// values lie beyond the same edge; otherwise both are clamped inside.
bool clipBoxAxis(int& a, int& b, int limit) {
    if (a < 0) {
        if (b < 0) return false;
        a = 0;
    } else if (b < 0) {
        b = 0;
    }
    if (a > limit) {
        if (b > limit) return false;
        a = limit;
    } else if (b > limit) {
        b = limit;
    }
    return true;
}

struct Box {
    int xa, ya, xb, yb;
};

// Clips and orders the corners; false when nothing is visible.
bool clipBox(const RenderState& s, int x1, int y1, int x2, int y2, Box& box) {
    if (!clipBoxAxis(x1, x2, s.clipRight) || !clipBoxAxis(y1, y2, s.clipBottom)) return false;
    box = Box{x1 < x2 ? x1 : x2, y1 < y2 ? y1 : y2, x1 < x2 ? x2 : x1, y1 < y2 ? y2 : y1};
    return true;
}

// Fills the box row by row; with a depth pointer, each pixel is drawn only
// where the stored depth is greater than or equal to z, and takes z.
template <class Fmt>
void fillBox(const RenderState& s, const Box& b, int firstRow, int lastRow, const float* z) {
    const SolidColor c = solidColor(s);
    SolidRuns<Fmt> runs(c);
    const int n = b.xb - b.xa + 1;
    for (int y = firstRow; y <= lastRow; ++y) {
        unsigned char* p = s.bits + pixelOffset(b.xa, y, s.pitch, Fmt::kBytes);
        if (z == nullptr) {
            runs(p, n);
        } else {
            float* d = depthView(s).at(b.xa, y);
            for (int i = 0; i < n; ++i, p += Fmt::kBytes, ++d)
                if (DepthView::passNearerOrLevel(d, *z)) Fmt::storeSolid(p, c);
        }
    }
}

void drawBox(const RenderState& s, int x1, int y1, int x2, int y2, const float* z) {
    Box b;
    if (!clipBox(s, x1, y1, x2, y2, b)) return;
    withFormat(s.renderBpp, [&](auto format) {
        forOwnedRows(s, b.ya, b.yb, [&](int first, int last) { fillBox<decltype(format)>(s, b, first, last, z); });
    });
}

// Stores the current colour at (x, y), which must lie on the surface, when
// this state draws row y.
void putPixel(const RenderState& s, int x, int y) {
    if (!ownsRow(s, y)) return;
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        Fmt::storeSolid(s.bits + pixelOffset(x, y, s.pitch, Fmt::kBytes), solidColor(s));
    });
}

}  // namespace
}  // namespace kwr

void KWRRender::kwrPut(int x, int y) {
    KWR_RECORD(kwrPut, x, y);
    if (x >= 0 && x < s.width && y >= 0 && y < s.height) kwr::putPixel(s, x, y);
}

void KWRRender::kwrBox(int x1, int y1, int x2, int y2) {
    KWR_RECORD(kwrBox, x1, y1, x2, y2);
    kwr::drawBox(s, x1, y1, x2, y2, nullptr);
}

void KWRRender::kwrBoxf(float x1, float y1, float x2, float y2) {
    kwrBox(kwr::roundHalfUp(x1), kwr::roundHalfUp(y1), kwr::roundHalfUp(x2), kwr::roundHalfUp(y2));
}

void KWRRender::kwrBoxfg(float x1, float y1, float x2, float y2) {
    kwrBoxf(kwr::centredX(s, x1), kwr::centredY(s, y1), kwr::centredX(s, x2), kwr::centredY(s, y2));
}

void KWRRender::kwrBox3(int x1, int y1, int x2, int y2, float z) {
    KWR_RECORD(kwrBox3, x1, y1, x2, y2, z);
    // This box looks at the depth-test request itself, not at the test in force.
    if (s.zTestEnable == 0 || s.zBuffer == nullptr) return kwrBox(x1, y1, x2, y2);
    kwr::drawBox(s, x1, y1, x2, y2, &z);
}

void KWRRender::kwrBox3f(float x1, float y1, float x2, float y2, float z) {
    kwrBox3(kwr::roundHalfUp(x1), kwr::roundHalfUp(y1), kwr::roundHalfUp(x2), kwr::roundHalfUp(y2), z);
}

void KWRRender::kwrBox3fg(float x1, float y1, float x2, float y2, float z) {
    kwrBox3f(kwr::centredX(s, x1), kwr::centredY(s, y1), kwr::centredX(s, x2), kwr::centredY(s, y2), z);
}

void KWRRender::kwrBitmap1(int x, int y, int w, int h, unsigned char* bitmap) {
    if (h < 1 || w < 1 || bitmap == nullptr) return;
    // Only rows and columns that land on the surface are visited, computed
    // in 64 bits so that x + c and y + r cannot overflow.
    const std::int64_t rowBytes = (static_cast<std::int64_t>(w) + 7) >> 3;
    const std::int64_t r0 = y < 0 ? -static_cast<std::int64_t>(y) : 0;
    const std::int64_t r1 = std::int64_t{s.height} - y < h ? std::int64_t{s.height} - y : h;
    if (r0 >= r1) return;
    // Recorded: the rows that land on the surface, copied, drawn from row
    // y + r0 (which fits an int: it is 0 or y).
    const std::uint64_t copied = static_cast<std::uint64_t>(r1 - r0) * static_cast<std::uint64_t>(rowBytes);
    KWR_RECORD_COPYING(kwrBitmap1, bitmap + r0 * rowBytes, copied, x,
                       static_cast<int>(y + r0), w, static_cast<int>(r1 - r0));
    const std::int64_t c0 = x < 0 ? -static_cast<std::int64_t>(x) : 0;
    const std::int64_t c1 = std::int64_t{s.width} - x < w ? std::int64_t{s.width} - x : w;
    for (std::int64_t r = r0; r < r1; ++r) {
        const unsigned char* bits = bitmap + r * rowBytes;
        for (std::int64_t c = c0; c < c1; ++c) {
            // Least significant bit first: bit 0 is the leftmost pixel.
            if ((bits[c >> 3] >> (c & 7)) & 1u) kwr::putPixel(s, static_cast<int>(x + c), static_cast<int>(y + r));
        }
    }
}
