// Flat triangles in the current colour: edges into the scan-line table, then
// their own span loop with one opaque and one blending writer per format.
#include <cstring>
#include <type_traits>

#include "KWRRender.h"
#include "raster/triangle_rows.h"
#include "render/access.h"
#include "render/numeric.h"
#include "render/pixel_format.h"

namespace kwr {
namespace {

// The colour prepared once per call for the blending writer: weight
// a = alpha + 1, the destination keeps 256 - a.
struct FlatBlend {
    std::uint32_t keep;
    std::uint32_t bm, gm, rm;  // channel times a
};

template <class Fmt, bool Blend>
void writeFlatSpan(unsigned char* p, int count, const SolidColor& c, const FlatBlend& b) {
    if constexpr (!Blend) {
        if constexpr (Fmt::kBpp == 8) {
            std::memset(p, c.c8, static_cast<std::size_t>(count));
        } else {
            for (int i = 0; i < count; ++i, p += Fmt::kBytes) Fmt::storeSolid(p, c);
        }
    } else if constexpr (Fmt::kBpp == 8) {
        // No blending at 8 bpp: the span takes the colour's low (blue) byte.
        std::memset(p, static_cast<int>(c.c32 & 0xFFu), static_cast<std::size_t>(count));
    } else if constexpr (Fmt::kBpp == 16) {
        for (int i = 0; i < count; ++i, p += 2) {
            const std::uint32_t w = load16(p);
            const std::uint32_t r = (((w & 0x7C00u) * b.keep + (b.rm << 7)) >> 8) & 0x7C00u;
            const std::uint32_t g = (((w & 0x03E0u) * b.keep + b.gm * 4u) >> 8) & 0x03E0u;
            const std::uint32_t bl = (((w & 0x001Fu) * b.keep + (b.bm >> 3)) >> 8) & 0x001Fu;
            store16(p, static_cast<std::uint16_t>(r | g | bl));
        }
    } else {
        for (int i = 0; i < count; ++i, p += Fmt::kBytes) {
            p[0] = static_cast<unsigned char>((p[0] * b.keep + b.bm) >> 8);
            p[1] = static_cast<unsigned char>((p[1] * b.keep + b.gm) >> 8);
            p[2] = static_cast<unsigned char>((p[2] * b.keep + b.rm) >> 8);
        }
    }
}

template <class Fmt, bool Blend>
void fillFlatRows(const RenderState& s, int yStart, int yEnd, const FlatBlend& b) {
    const SolidColor c = solidColor(s);
    for (int y = yStart; y <= yEnd; ++y) {
        const int xl = s.scan.scanLeftX[y] > 0 ? s.scan.scanLeftX[y] : 0;
        const int xr = s.scan.scanRightX[y] < s.clipRight ? s.scan.scanRightX[y] : s.clipRight;
        if (xl <= xr) writeFlatSpan<Fmt, Blend>(s.bits + pixelOffset(xl, y, s.pitch, Fmt::kBytes), xr - xl + 1, c, b);
    }
}

void fillFlat(const RenderState& s, RowRange rows) {
    if (rows.first > rows.last) return;
    const std::uint32_t alpha = s.color >> 24;
    const bool blend = s.alphaEnable != 0 && alpha != 0xFFu;
    FlatBlend b{};
    if (blend) {
        const std::uint32_t a = alpha + 1u;
        b.keep = 256u - a;
        b.bm = (s.color & 0xFFu) * a;
        b.gm = ((s.color >> 8) & 0xFFu) * a;
        b.rm = ((s.color >> 16) & 0xFFu) * a;
    }
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if (blend) fillFlatRows<Fmt, true>(s, rows.first, rows.last, b);
        else fillFlatRows<Fmt, false>(s, rows.first, rows.last, b);
    });
}

// The flat triangles' own sort: the upper of vertices 1 and 2 against the
// lower of them and vertex 3.
template <class V>
void sortFlat(const V& v1, const V& v2, const V& v3, V& top, V& middle, V& bottom) {
    const V& upper = v1.y > v2.y ? v2 : v1;
    const V& lower = v1.y > v2.y ? v1 : v2;
    const V& candidate = lower.y > v3.y ? v3 : lower;
    bottom = lower.y > v3.y ? lower : v3;
    if (upper.y > candidate.y) {
        top = candidate;
        middle = upper;
    } else {
        top = upper;
        middle = candidate;
    }
}

struct IntPoint {
    int x, y;
};
struct FloatPoint {
    float x, y;
};

void walkFlatEdge(KWRRender& r, const IntPoint& a, const IntPoint& b) { Access::UpdateScanLine(r, a.x, a.y, b.x, b.y); }
void walkFlatEdge(KWRRender& r, const FloatPoint& a, const FloatPoint& b) {
    Access::UpdateScanLinef(r, a.x, a.y, b.x, b.y);
}

// One flat triangle: sort, reject, reset the covered rows, walk the three
// edges, fill.  Float vertices are compared unrounded and handed to the
// float edge walker as they are.
template <class P>
void flatTriangle(KWRRender& r, const P& v1, const P& v2, const P& v3) {
    RenderState& s = Access::state(r);
    constexpr bool kFloat = std::is_same<P, FloatPoint>::value;
    P t, m, b;
    sortFlat(v1, v2, v3, t, m, b);
    RowRange rows;
    if constexpr (kFloat) {
        if (0 > b.y || t.y >= s.heightF) return;
        rows = floatRows(s, t.y, b.y);
    } else {
        if (b.y < 0 || t.y >= s.height) return;
        rows = intRows(s, t.y, b.y);
    }
    resetRows(s, rows);
    if (m.y >= 0) walkFlatEdge(r, t, m);
    if (kFloat ? m.y <= s.clipBottomF : m.y <= s.clipBottom) walkFlatEdge(r, m, b);
    walkFlatEdge(r, t, b);
    fillFlat(s, rows);
}

}  // namespace
}  // namespace kwr

void KWRRender::kwrTriangle(int x1, int y1, int x2, int y2, int x3, int y3) {
    kwr::flatTriangle(*this, kwr::IntPoint{x1, y1}, kwr::IntPoint{x2, y2}, kwr::IntPoint{x3, y3});
}

void KWRRender::kwrTrianglef(float x1, float y1, float x2, float y2, float x3, float y3) {
    kwr::flatTriangle(*this, kwr::FloatPoint{x1, y1}, kwr::FloatPoint{x2, y2}, kwr::FloatPoint{x3, y3});
}

void KWRRender::kwrTrianglefg(float x1, float y1, float x2, float y2, float x3, float y3) {
    kwrTrianglef(s.centerX + x1, s.centerY - y1, s.centerX + x2, s.centerY - y2, s.centerX + x3,
                 s.centerY - y3);
}
