// Lines in the current colour: two-dimensional and depth-tested, each with
// an integer and a float clip, drawn by one Bresenham walk.
#include <cstdint>

#include "KWRRender.h"
#include "render/access.h"
#include "render/numeric.h"
#include "render/pixel_format.h"

namespace kwr {

struct LineEnd {
    int x, y;
    float z;
};

namespace {

bool onSurface(const RenderState& s, const LineEnd& p) {
    return p.x >= 0 && p.x <= s.clipRight && p.y >= 0 && p.y <= s.clipBottom;
}

// The walk from the left end to the right end, both plotted.  x-major when
// dx >= dy.  With Depth, a pixel is drawn where the stored depth is greater
// than or equal to the accumulated z, which then takes its place.
template <class Fmt, bool Depth>
void walkLine(const RenderState& s, LineEnd a, LineEnd b) {
    const LineEnd L = a.x > b.x ? b : a;
    const LineEnd R = a.x > b.x ? a : b;
    const int dx = R.x - L.x;
    const int dy = L.y > R.y ? L.y - R.y : R.y - L.y;
    const bool up = L.y > R.y;
    const std::ptrdiff_t rowStep = up ? -static_cast<std::ptrdiff_t>(s.pitch) : s.pitch;
    const std::ptrdiff_t zRowStep = up ? -static_cast<std::ptrdiff_t>(s.width) : s.width;
    const SolidColor c = solidColor(s);
    unsigned char* px = s.bits + pixelOffset(L.x, L.y, s.pitch, Fmt::kBytes);
    float* zp = Depth ? s.zBuffer + static_cast<std::ptrdiff_t>(L.y) * s.width + L.x : nullptr;
    float z = L.z;
    const bool xMajor = dx >= dy;
    float dz = 0;
    if constexpr (Depth) {
        if (xMajor) dz = dx == 0 ? 0.0f : (R.z - L.z) / static_cast<float>(dx);
        else dz = (R.z - L.z) / static_cast<float>(R.y - L.y);
    }
    auto plot = [&]() {
        if constexpr (Depth) {
            if (*zp >= z) {
                *zp = z;
                Fmt::storeSolid(px, c);
            }
        } else {
            Fmt::storeSolid(px, c);
        }
    };
    if (xMajor) {
        int e = dx / 2;
        for (int i = 0; i <= dx; ++i) {
            plot();
            e -= dy;
            if (e < 0) {
                e += dx;
                px += rowStep;
                if constexpr (Depth) zp += zRowStep;
            }
            px += Fmt::kBytes;
            if constexpr (Depth) {
                ++zp;
                z += dz;
            }
        }
    } else {
        int e = dy / 2;
        for (int i = 0; i <= dy; ++i) {
            plot();
            e -= dx;
            if (e < 0) {
                e += dy;
                px += Fmt::kBytes;
                if constexpr (Depth) ++zp;
            }
            px += rowStep;
            if constexpr (Depth) {
                zp += zRowStep;
                // dz was divided by the signed row difference.
                if (up) z -= dz;
                else z += dz;
            }
        }
    }
}

// Draws a clipped segment; ends off the surface (possible only when the
// 32-bit clip products wrapped) draw nothing.
template <bool Depth>
void drawSegment(const RenderState& s, const LineEnd& a, const LineEnd& b) {
    if (!onSurface(s, a) || !onSurface(s, b)) return;
    if (Depth && s.zBuffer == nullptr) return;
    withFormat(s.renderBpp, [&](auto format) { walkLine<decltype(format), Depth>(s, a, b); });
}

// Moves P onto the vertical line x = X toward Q, in 32-bit wrapping
// arithmetic, carrying depth.  Swapping the roles of x and y gives the
// horizontal case.
void moveToX(int& px, int& py, float& pz, int qx, int qy, float qz, int X) {
    const std::int32_t span = wrapSub(qx, px);
    py = wrapAdd(py, wrapDiv(wrapMul(wrapSub(qy, py), wrapSub(X, px)), span));
    pz = pz + static_cast<float>(wrapSub(X, px)) * (qz - pz) / static_cast<float>(span);
    px = X;
}

// Float form: the product first, then the quotient, then the sum.
void moveToXf(float& px, float& py, float& pz, float qx, float qy, float qz, float X) {
    py = (qy - py) * (X - px) / (qx - px) + py;
    pz = (qz - pz) * (X - px) / (qx - px) + pz;
    px = X;
}

}  // namespace

// Integer clip of a depth line against the surface: left, right, top,
// bottom, each looking at end 1 first.  False when nothing is visible.
bool ClippingLine3i(const RenderState& s, int& x1, int& y1, float& z1, int& x2, int& y2, float& z2) {
    const int R = s.clipRight, B = s.clipBottom;
    if (x1 < 0 && x2 < 0) return false;
    if (x1 < 0) moveToX(x1, y1, z1, x2, y2, z2, 0);
    else if (x2 < 0) moveToX(x2, y2, z2, x1, y1, z1, 0);
    if (x1 > R && x2 > R) return false;
    if (x1 > R) moveToX(x1, y1, z1, x2, y2, z2, R);
    else if (x2 > R) moveToX(x2, y2, z2, x1, y1, z1, R);
    if (y1 < 0 && y2 < 0) return false;
    if (y1 < 0) moveToX(y1, x1, z1, y2, x2, z2, 0);
    else if (y2 < 0) moveToX(y2, x2, z2, y1, x1, z1, 0);
    if (y1 > B && y2 > B) return false;
    if (y1 > B) moveToX(y1, x1, z1, y2, x2, z2, B);
    else if (y2 > B) moveToX(y2, x2, z2, y1, x1, z1, B);
    return true;
}

}  // namespace kwr

using kwr::LineEnd;

void KWRRender::kwrLine(int x1, int y1, int x2, int y2) {
    // The same clip as the depth lines' without depth: only the integer
    // coordinates matter, and they move identically.
    float z1 = 0, z2 = 0;
    if (!kwr::ClippingLine3i(s, x1, y1, z1, x2, y2, z2)) return;
    kwr::drawSegment<false>(s, LineEnd{x1, y1, 0}, LineEnd{x2, y2, 0});
}

void KWRRender::kwrLinef(float x1, float y1, float x2, float y2) {
    float z1 = 0, z2 = 0;
    if (!ClippingLine3(x1, y1, z1, x2, y2, z2)) return;
    kwrLine(kwr::roundHalfUp(x1), kwr::roundHalfUp(y1), kwr::roundHalfUp(x2), kwr::roundHalfUp(y2));
}

void KWRRender::kwrLinefg(float x1, float y1, float x2, float y2) {
    kwrLinef(s.centerX + x1, s.centerY - y1, s.centerX + x2, s.centerY - y2);
}

bool KWRRender::ClippingLine3(float& x1, float& y1, float& z1, float& x2, float& y2, float& z2) {
    const float R = static_cast<float>(s.clipRight), B = static_cast<float>(s.clipBottom);
    if (0 > x1 && 0 > x2) return false;
    if (0 > x1) kwr::moveToXf(x1, y1, z1, x2, y2, z2, 0);
    else if (0 > x2) kwr::moveToXf(x2, y2, z2, x1, y1, z1, 0);
    if (x1 > R && x2 > R) return false;
    if (x1 > R) kwr::moveToXf(x1, y1, z1, x2, y2, z2, R);
    else if (x2 > R) kwr::moveToXf(x2, y2, z2, x1, y1, z1, R);
    if (0 > y1 && 0 > y2) return false;
    if (0 > y1) kwr::moveToXf(y1, x1, z1, y2, x2, z2, 0);
    else if (0 > y2) kwr::moveToXf(y2, x2, z2, y1, x1, z1, 0);
    if (y1 > B && y2 > B) return false;
    if (y1 > B) kwr::moveToXf(y1, x1, z1, y2, x2, z2, B);
    else if (y2 > B) kwr::moveToXf(y2, x2, z2, y1, x1, z1, B);
    return true;
}

void KWRRender::DrawLine2(int x1, int y1, int x2, int y2) {
    kwr::drawSegment<false>(s, LineEnd{x1, y1, 0}, LineEnd{x2, y2, 0});
}

void KWRRender::DrawLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    kwr::drawSegment<true>(s, LineEnd{x1, y1, z1}, LineEnd{x2, y2, z2});
}

void KWRRender::kwrLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    if (!kwr::ClippingLine3i(s, x1, y1, z1, x2, y2, z2)) return;
    if (s.zTestActive == 0 || s.zBuffer == nullptr) DrawLine2(x1, y1, x2, y2);
    else DrawLine3(x1, y1, z1, x2, y2, z2);
}

void KWRRender::kwrLine3f(float x1, float y1, float z1, float x2, float y2, float z2) {
    if (!ClippingLine3(x1, y1, z1, x2, y2, z2)) return;
    const int ix1 = kwr::roundHalfUp(x1), iy1 = kwr::roundHalfUp(y1);
    const int ix2 = kwr::roundHalfUp(x2), iy2 = kwr::roundHalfUp(y2);
    if (s.zTestActive == 0 || s.zBuffer == nullptr) DrawLine2(ix1, iy1, ix2, iy2);
    else DrawLine3(ix1, iy1, z1, ix2, iy2, z2);
}

void KWRRender::kwrLine3fg(float x1, float y1, float z1, float x2, float y2, float z2) {
    kwrLine3f(s.centerX + x1, s.centerY - y1, z1, s.centerX + x2, s.centerY - y2, z2);
}
