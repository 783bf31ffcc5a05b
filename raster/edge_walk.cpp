// Edge walkers: record one triangle edge per row in the scan-line table.
//
// One integer Bresenham walk serves all ten walkers; what an edge carries
// (depth, colour, texture coordinates) and its x-step divisor are
// compile-time parameters of the walk.
#include <cstdint>

#include "KWRRender.h"
#include "render/access.h"
#include "render/numeric.h"

namespace kwr {
namespace {

// What an edge carries.  Depth walkers divide the x step by dy, the others
// deliberately by dy + 1.
template <bool Z, bool C, bool T>
struct EdgeKind {
    static constexpr bool kDepth = Z;
    static constexpr bool kColor = C;
    static constexpr bool kUV = T;
};

struct EdgeEnd {
    std::int64_t x;
    std::int64_t y;
    float z;
    float c[4];  // red, green, blue, alpha on 0..255
    float u, v;
};

EdgeEnd makeEnd(std::int64_t x, std::int64_t y, float z, KWColor color, float u, float v) {
    EdgeEnd e;
    e.x = x;
    e.y = y;
    e.z = z;
    e.c[0] = static_cast<float>((color.argb >> 16) & 0xFFu);
    e.c[1] = static_cast<float>((color.argb >> 8) & 0xFFu);
    e.c[2] = static_cast<float>(color.argb & 0xFFu);
    e.c[3] = static_cast<float>((color.argb >> 24) & 0xFFu);
    e.u = u;
    e.v = v;
    return e;
}

// a + (b - a) * t for every carried attribute.
template <class K>
void lerpAttributes(EdgeEnd& a, const EdgeEnd& b, float t) {
    if constexpr (K::kDepth) a.z = a.z + (b.z - a.z) * t;
    if constexpr (K::kColor)
        for (int k = 0; k < 4; ++k) a.c[k] = a.c[k] + (b.c[k] - a.c[k]) * t;
    if constexpr (K::kUV) {
        a.u = a.u + (b.u - a.u) * t;
        a.v = a.v + (b.v - a.v) * t;
    }
}

// Far-out x values are held inside this range so that x - 1 and the span
// widths computed from the table cannot overflow; only edges reaching more
// than 2^30 pixels outside the surface are affected.
constexpr std::int64_t kXLimit = std::int64_t{1} << 30;
std::int64_t limitX(std::int64_t x) { return x < -kXLimit ? -kXLimit : (x > kXLimit ? kXLimit : x); }

// Stores the carried attributes of `a` as one end of row y.
template <class K>
void storeAttributes(int y, const EdgeEnd& a, float* z, float (*color)[kScanLineRows], float* u, float* v) {
    if constexpr (K::kDepth) z[y] = a.z;
    if constexpr (K::kColor)
        for (int k = 0; k < 4; ++k) color[k][y] = a.c[k];
    if constexpr (K::kUV) {
        u[y] = a.u;
        v[y] = a.v;
    }
}

template <class K>
void walkEdge(RenderState& s, const EdgeEnd& p1, const EdgeEnd& p2) {
    // Horizontal edges write nothing; the upper end is the top.
    if (p1.y == p2.y) return;
    EdgeEnd top = p1.y < p2.y ? p1 : p2;
    EdgeEnd bot = p1.y < p2.y ? p2 : p1;
    // Wholly above or below the surface.
    if (bot.y < 0 || top.y > s.clipBottom) return;
    // Clip at row 0.  The products are formed in 64 bits, so they cannot
    // overflow for any int coordinates.
    if (top.y < 0) {
        top.x = top.x - ((bot.x - top.x) * top.y) / (bot.y - top.y);
        const float t = static_cast<float>(-top.y) / static_cast<float>(bot.y - top.y);
        lerpAttributes<K>(top, bot, t);
        top.y = 0;
    }
    // Clip at the surface height; the walk stops one row above it.
    if (bot.y > s.height) {
        bot.x = bot.x + ((s.height - bot.y) * (top.x - bot.x)) / (top.y - bot.y);
        const float k = static_cast<float>(s.height - bot.y) / static_cast<float>(top.y - bot.y);
        lerpAttributes<K>(bot, top, k);
        bot.y = s.height;
    }
    top.x = limitX(top.x);
    bot.x = limitX(bot.x);

    // Bresenham set-up.
    const std::int64_t dy = bot.y - top.y;
    if (dy <= 0) return;
    const std::int64_t adx = top.x > bot.x ? top.x - bot.x : bot.x - top.x;
    const std::int64_t divisor = K::kDepth ? dy : dy + 1;
    const std::int64_t q = adx / divisor;
    const std::int64_t r = adx - q * divisor;
    std::int64_t err = dy / 2;
    const std::int64_t sx = top.x > bot.x ? -1 : 1;

    // Per-row attribute steps.  On an x-major depth edge depth follows the
    // x distance travelled: q steps every row, one more on a carry.
    const float fdy = static_cast<float>(dy);
    float dc[4] = {0, 0, 0, 0};
    float du = 0, dv = 0;
    if constexpr (K::kColor)
        for (int k = 0; k < 4; ++k) dc[k] = (bot.c[k] - top.c[k]) / fdy;
    if constexpr (K::kUV) {
        du = (bot.u - top.u) / fdy;
        dv = (bot.v - top.v) / fdy;
    }
    const bool xMajor = adx > dy;
    float zRow = 0, zCarry = 0;
    if constexpr (K::kDepth) {
        if (xMajor) {
            const float zx = (bot.z - top.z) / static_cast<float>(adx);
            zRow = static_cast<float>(q) * zx;
            zCarry = zx;
        } else {
            zRow = (bot.z - top.z) / fdy;
        }
    }

    // Merge every row from the top down to the row above the bottom.  Only a
    // strictly better x replaces a row's end; the right end is stored one
    // pixel left of the crossing, with the crossing's attributes.
    ScanLineTable& t = s.scan;
    std::int64_t x = top.x;
    EdgeEnd a = top;
    const int lastRow = static_cast<int>(bot.y) - 1;
    for (int y = static_cast<int>(top.y); y <= lastRow; ++y) {
        const std::int32_t xi = static_cast<std::int32_t>(x);
        if (t.scanLeftX[y] > xi) {
            t.scanLeftX[y] = xi;
            storeAttributes<K>(y, a, t.scanLeftZ, t.scanLeftColor, t.scanLeftU, t.scanLeftV);
        }
        if (t.scanRightX[y] < xi - 1) {
            t.scanRightX[y] = xi - 1;
            storeAttributes<K>(y, a, t.scanRightZ, t.scanRightColor, t.scanRightU, t.scanRightV);
        }
        x += sx * q;
        err -= r;
        bool carry = false;
        if (err < 0) {
            err += dy;
            x += sx;
            carry = true;
        }
        if constexpr (K::kColor)
            for (int k = 0; k < 4; ++k) a.c[k] += dc[k];
        if constexpr (K::kUV) {
            a.u += du;
            a.v += dv;
        }
        if constexpr (K::kDepth) {
            a.z += zRow;
            if (xMajor && carry) a.z += zCarry;
        }
    }
}

constexpr KWColor kNoColor = {0};

using Edge = EdgeKind<false, false, false>;
using Edgec = EdgeKind<false, true, false>;
using Edgect = EdgeKind<false, true, true>;
using Edget = EdgeKind<false, false, true>;
using Edge3 = EdgeKind<true, false, false>;
using Edge3c = EdgeKind<true, true, false>;
using Edge3ct = EdgeKind<true, true, true>;
using Edge3t = EdgeKind<true, false, true>;

}  // namespace
}  // namespace kwr

using kwr::kNoColor;
using kwr::makeEnd;
using kwr::walkEdge;

void KWRRender::UpdateScanLine(int x1, int y1, int x2, int y2) {
    walkEdge<kwr::Edge>(s, makeEnd(x1, y1, 0, kNoColor, 0, 0), makeEnd(x2, y2, 0, kNoColor, 0, 0));
}

void KWRRender::UpdateScanLinef(float x1, float y1, float x2, float y2) {
    float xT = x1, yT = y1, xB = x2, yB = y2;
    if (y1 > y2) {
        xT = x2;
        yT = y2;
        xB = x1;
        yB = y1;
    }
    if (yT < 0) {
        xT += (xT - xB) * yT / (yB - yT);
        yT = 0;
    }
    if (yB > s.heightF) {
        xB += (s.heightF - yB) * (xT - xB) / (yT - yB);
        yB = s.heightF;
    }
    UpdateScanLine(kwr::roundHalfUp(xT), kwr::roundHalfUp(yT), kwr::roundHalfUp(xB), kwr::roundHalfUp(yB));
}

void KWRRender::UpdateScanLinec(int x1, int y1, KWColor c1, int x2, int y2, KWColor c2) {
    walkEdge<kwr::Edgec>(s, makeEnd(x1, y1, 0, c1, 0, 0), makeEnd(x2, y2, 0, c2, 0, 0));
}

void KWRRender::UpdateScanLinect(int x1, int y1, KWColor c1, float u1, float v1, int x2, int y2,
                                 KWColor c2, float u2, float v2) {
    walkEdge<kwr::Edgect>(s, makeEnd(x1, y1, 0, c1, u1, v1), makeEnd(x2, y2, 0, c2, u2, v2));
}

void KWRRender::UpdateScanLinet(int x1, int y1, float u1, float v1, int x2, int y2, float u2, float v2) {
    walkEdge<kwr::Edget>(s, makeEnd(x1, y1, 0, kNoColor, u1, v1), makeEnd(x2, y2, 0, kNoColor, u2, v2));
}

void KWRRender::UpdateScanLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    walkEdge<kwr::Edge3>(s, makeEnd(x1, y1, z1, kNoColor, 0, 0), makeEnd(x2, y2, z2, kNoColor, 0, 0));
}

void KWRRender::UpdateScanLine3f(float x1, float y1, float z1, float x2, float y2, float z2) {
    float xT = x1, yT = y1, zT = z1, xB = x2, yB = y2, zB = z2;
    if (y1 > y2) {
        xT = x2;
        yT = y2;
        zT = z2;
        xB = x1;
        yB = y1;
        zB = z1;
    }
    if (yB < 0 || yT > s.clipBottomF) return;
    if (yT < 0) {
        const float t = yT / (yB - yT);
        xT += (xT - xB) * t;
        zT += (zT - zB) * t;
        yT = 0;
    }
    if (yB > s.heightF) {
        const float k = (s.heightF - yB) / (yT - yB);
        xB += (xT - xB) * k;
        zB += (zT - zB) * k;
        yB = s.heightF;
    }
    // The rounded ends already lie in rows 0..height, so the integer walk's
    // own reject and clip steps change nothing; they only keep NaN input
    // inside the table.
    walkEdge<kwr::Edge3>(s, makeEnd(kwr::roundHalfUp(xT), kwr::roundHalfUp(yT), zT, kNoColor, 0, 0),
                         makeEnd(kwr::roundHalfUp(xB), kwr::roundHalfUp(yB), zB, kNoColor, 0, 0));
}

void KWRRender::UpdateScanLine3c(int x1, int y1, float z1, KWColor c1, int x2, int y2, float z2, KWColor c2) {
    walkEdge<kwr::Edge3c>(s, makeEnd(x1, y1, z1, c1, 0, 0), makeEnd(x2, y2, z2, c2, 0, 0));
}

void KWRRender::UpdateScanLine3ct(int x1, int y1, float z1, KWColor c1, float u1, float v1, int x2, int y2,
                                  float z2, KWColor c2, float u2, float v2) {
    walkEdge<kwr::Edge3ct>(s, makeEnd(x1, y1, z1, c1, u1, v1), makeEnd(x2, y2, z2, c2, u2, v2));
}

void KWRRender::UpdateScanLine3t(int x1, int y1, float z1, float u1, float v1, int x2, int y2, float z2,
                                 float u2, float v2) {
    walkEdge<kwr::Edge3t>(s, makeEnd(x1, y1, z1, kNoColor, u1, v1), makeEnd(x2, y2, z2, kNoColor, u2, v2));
}
