// Lines in the current colour: two-dimensional and depth-tested, each with
// an integer and a float clip, drawn by one Bresenham walk.
#include <cstdint>

#include <type_traits>

#include "KWRRender.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {
namespace {

struct LineEnd {
    int x, y;
    float z;
};

// Whether a line walk tests and writes depth.
enum class LineDepth { kNone, kTested };

bool onSurface(const RenderState& s, const LineEnd& p) {
    return p.x >= 0 && p.x <= s.clipRight && p.y >= 0 && p.y <= s.clipBottom;
}

// The walk from the left end to the right end, both plotted.  x-major when
// dx >= dy.  With a depth test, a pixel is drawn where the stored depth is greater
// than or equal to the accumulated z, which then takes its place.  A banded
// walk (a state drawing some rows only) steps through every pixel the same
// way and plots those on its own rows.
template <class Fmt, LineDepth D, bool Banded>
void walkLine(const RenderState& s, LineEnd a, LineEnd b) {
    constexpr bool kTested = D == LineDepth::kTested;
    const LineEnd L = a.x > b.x ? b : a;
    const LineEnd R = a.x > b.x ? a : b;
    const int dx = R.x - L.x;
    const int dy = L.y > R.y ? L.y - R.y : R.y - L.y;
    const bool up = L.y > R.y;
    const std::ptrdiff_t rowStep = up ? -static_cast<std::ptrdiff_t>(s.pitch) : s.pitch;
    const std::ptrdiff_t zRowStep = up ? -static_cast<std::ptrdiff_t>(s.width) : s.width;
    const SolidColor c = solidColor(s);
    unsigned char* px = s.bits + pixelOffset(L.x, L.y, s.pitch, Fmt::kBytes);
    float* zp = kTested ? depthView(s).at(L.x, L.y) : nullptr;
    float z = L.z;
    const bool xMajor = dx >= dy;
    float dz = 0;
    if constexpr (kTested) {
        if (xMajor) dz = dx == 0 ? 0.0f : (R.z - L.z) / static_cast<float>(dx);
        else dz = (R.z - L.z) / static_cast<float>(R.y - L.y);
    }
    int y = L.y;
    const int yAlong = xMajor ? 0 : (up ? -1 : 1), yAcross = xMajor ? (up ? -1 : 1) : 0;
    BandCursor band(s);
    auto plot = [&]() {
        if constexpr (Banded) {
            if (!band.owns(y)) return;
        }
        if constexpr (kTested) {
            if (DepthView::passNearerOrLevel(zp, z)) Fmt::storeSolid(px, c);
        } else {
            Fmt::storeSolid(px, c);
        }
    };
    // One Bresenham loop for both cases: it steps along the major axis every
    // pixel and across it when the error term runs out.  Upward y-major
    // lines step z down: dz was divided by the signed row difference.
    const int along = xMajor ? dx : dy, across = xMajor ? dy : dx;
    const std::ptrdiff_t pxAlong = xMajor ? Fmt::kBytes : rowStep, pxAcross = xMajor ? rowStep : Fmt::kBytes;
    const std::ptrdiff_t zAlong = xMajor ? 1 : zRowStep, zAcross = xMajor ? zRowStep : 1;
    const float zStep = !xMajor && up ? -dz : dz;
    int e = along / 2;
    for (int i = 0; i <= along; ++i) {
        plot();
        e -= across;
        if (e < 0) {
            e += along;
            px += pxAcross;
            if constexpr (kTested) zp += zAcross;
            if constexpr (Banded) y += yAcross;
        }
        px += pxAlong;
        if constexpr (Banded) y += yAlong;
        if constexpr (kTested) {
            zp += zAlong;
            z += zStep;
        }
    }
}

// Draws a clipped segment; ends off the surface (possible only when the
// 32-bit clip products wrapped) draw nothing.
template <LineDepth D>
void drawSegment(const RenderState& s, const LineEnd& a, const LineEnd& b) {
    if (!onSurface(s, a) || !onSurface(s, b)) return;
    if (D == LineDepth::kTested && s.zBuffer == nullptr) return;
    withFormat(s.renderBpp, [&](auto format) {
        if (s.bandCount == 1) walkLine<decltype(format), D, false>(s, a, b);
        else walkLine<decltype(format), D, true>(s, a, b);
    });
}

// No depth: the two-dimensional lines clip only x and y.
struct NoDepth {};

// The clip arithmetic of the integer lines: 32-bit products that wrap,
// quotients truncated toward zero.  Moves P onto the line a = X toward Q;
// `a` is the clipped axis, `b` the other one.
struct WrappingIntClip {
    using Coord = int;
    template <class Z>
    static void moveOnto(int& pa, int& pb, Z& pz, int qa, int qb, Z qz, int X) {
        const std::int32_t span = wrapSub(qa, pa);
        pb = wrapAdd(pb, wrapDiv(wrapMul(wrapSub(qb, pb), wrapSub(X, pa)), span));
        if constexpr (std::is_same<Z, float>::value)
            pz = pz + static_cast<float>(wrapSub(X, pa)) * (qz - pz) / static_cast<float>(span);
        pa = X;
    }
};

// The float lines' arithmetic: the product first, then the quotient, then
// the sum, in single precision.
struct FloatClip {
    using Coord = float;
    template <class Z>
    static void moveOnto(float& pa, float& pb, Z& pz, float qa, float qb, Z qz, float X) {
        pb = (qb - pb) * (X - pa) / (qa - pa) + pb;
        if constexpr (std::is_same<Z, float>::value) pz = (qz - pz) * (X - pa) / (qa - pa) + pz;
        pa = X;
    }
};

// One rung: both ends beyond the bound rejects the segment; otherwise the
// end beyond it, end 1 looked at first, moves onto it.  `Beyond` says which
// side of the bound is outside; the comparisons are strict, so NaN is never
// outside.
template <class Clip, class Z, class C, class Beyond>
bool clipRung(C& a1, C& b1, Z& z1, C& a2, C& b2, Z& z2, C bound, Beyond beyond) {
    if (beyond(a1, bound) && beyond(a2, bound)) return false;
    if (beyond(a1, bound)) Clip::moveOnto(a1, b1, z1, a2, b2, z2, bound);
    else if (beyond(a2, bound)) Clip::moveOnto(a2, b2, z2, a1, b1, z1, bound);
    return true;
}

// The clip of every line against the surface: left, right, top, bottom, in
// that order, each rung working on what the earlier ones left.  False when
// nothing is visible.
template <class Clip, class Z, class C = typename Clip::Coord>
bool clipLine(C right, C bottom, C& x1, C& y1, Z& z1, C& x2, C& y2, Z& z2) {
    const auto below = [](C v, C bound) { return bound > v; };
    const auto above = [](C v, C bound) { return v > bound; };
    return clipRung<Clip>(x1, y1, z1, x2, y2, z2, C{0}, below) &&
           clipRung<Clip>(x1, y1, z1, x2, y2, z2, right, above) &&
           clipRung<Clip>(y1, x1, z1, y2, x2, z2, C{0}, below) &&
           clipRung<Clip>(y1, x1, z1, y2, x2, z2, bottom, above);
}

// The integer clip of the depth lines.
bool ClippingLine3i(const RenderState& s, int& x1, int& y1, float& z1, int& x2, int& y2, float& z2) {
    return clipLine<WrappingIntClip>(s.clipRight, s.clipBottom, x1, y1, z1, x2, y2, z2);
}

// The float clip uses the integer bounds converted to float.
template <class Z>
bool clipLineF(const RenderState& s, float& x1, float& y1, Z& z1, float& x2, float& y2, Z& z2) {
    return clipLine<FloatClip>(static_cast<float>(s.clipRight), static_cast<float>(s.clipBottom), x1, y1, z1, x2,
                               y2, z2);
}

}  // namespace
}  // namespace kwr

using kwr::LineEnd;

void KWRRender::kwrLine(int x1, int y1, int x2, int y2) {
    KWR_RECORD(kwrLine, x1, y1, x2, y2);
    kwr::NoDepth z1, z2;
    if (!kwr::clipLine<kwr::WrappingIntClip>(s.clipRight, s.clipBottom, x1, y1, z1, x2, y2, z2)) return;
    kwr::drawSegment<kwr::LineDepth::kNone>(s, LineEnd{x1, y1, 0}, LineEnd{x2, y2, 0});
}

void KWRRender::kwrLinef(float x1, float y1, float x2, float y2) {
    KWR_RECORD(kwrLinef, x1, y1, x2, y2);  // recorded as called, like kwrLine3f
    kwr::NoDepth z1, z2;
    if (!kwr::clipLineF(s, x1, y1, z1, x2, y2, z2)) return;
    kwrLine(kwr::roundHalfUp(x1), kwr::roundHalfUp(y1), kwr::roundHalfUp(x2), kwr::roundHalfUp(y2));
}

void KWRRender::kwrLinefg(float x1, float y1, float x2, float y2) {
    kwrLinef(kwr::centredX(s, x1), kwr::centredY(s, y1), kwr::centredX(s, x2), kwr::centredY(s, y2));
}

bool KWRRender::ClippingLine3(float& x1, float& y1, float& z1, float& x2, float& y2, float& z2) {
    return kwr::clipLineF(s, x1, y1, z1, x2, y2, z2);
}

void KWRRender::DrawLine2(int x1, int y1, int x2, int y2) {
    kwr::drawSegment<kwr::LineDepth::kNone>(s, LineEnd{x1, y1, 0}, LineEnd{x2, y2, 0});
}

void KWRRender::DrawLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    kwr::drawSegment<kwr::LineDepth::kTested>(s, LineEnd{x1, y1, z1}, LineEnd{x2, y2, z2});
}

void KWRRender::kwrLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    KWR_RECORD(kwrLine3, x1, y1, z1, x2, y2, z2);
    if (!kwr::ClippingLine3i(s, x1, y1, z1, x2, y2, z2)) return;
    if (!kwr::depthTestActive(s)) DrawLine2(x1, y1, x2, y2);
    else DrawLine3(x1, y1, z1, x2, y2, z2);
}

void KWRRender::kwrLine3f(float x1, float y1, float z1, float x2, float y2, float z2) {
    KWR_RECORD(kwrLine3f, x1, y1, z1, x2, y2, z2);
    if (!ClippingLine3(x1, y1, z1, x2, y2, z2)) return;
    const int ix1 = kwr::roundHalfUp(x1), iy1 = kwr::roundHalfUp(y1);
    const int ix2 = kwr::roundHalfUp(x2), iy2 = kwr::roundHalfUp(y2);
    if (!kwr::depthTestActive(s)) DrawLine2(ix1, iy1, ix2, iy2);
    else DrawLine3(ix1, iy1, z1, ix2, iy2, z2);
}

void KWRRender::kwrLine3fg(float x1, float y1, float z1, float x2, float y2, float z2) {
    kwrLine3f(kwr::centredX(s, x1), kwr::centredY(s, y1), z1, kwr::centredX(s, x2), kwr::centredY(s, y2), z2);
}
