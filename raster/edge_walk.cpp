// Edge walkers: record one triangle edge per row in the scan-line table.
//
// One integer Bresenham walk serves all ten walkers; what an edge carries
// (depth, colour, texture coordinates) and its x-step divisor are
// compile-time parameters of the walk.
#include <cstdint>
#include <type_traits>

#include "raster/edge_walk.h"

#include "KWRRender.h"
#include "render/numeric.h"

namespace kwr {
namespace {

// a + (b - a) * t for every carried attribute.
template <class K>
void lerpAttributes(EdgeEnd& a, const EdgeEnd& b, float t) {
    if constexpr (K::kDepth) a.z = a.z + (b.z - a.z) * t;
    if constexpr (K::kColour)
        for (int k = 0; k < 4; ++k) a.c[k] = a.c[k] + (b.c[k] - a.c[k]) * t;
    if constexpr (K::kTexCoords) {
        a.u = a.u + (b.u - a.u) * t;
        a.v = a.v + (b.v - a.v) * t;
    }
    if constexpr (K::kPerspective) a.q = a.q + (b.q - a.q) * t;
}

// Far-out x values are held inside this range so that x - 1 and the span
// widths computed from the table cannot overflow; only edges reaching more
// than 2^30 pixels outside the surface are affected.
constexpr std::int64_t kXLimit = std::int64_t{1} << 30;
std::int64_t limitX(std::int64_t x) { return x < -kXLimit ? -kXLimit : (x > kXLimit ? kXLimit : x); }

// n / d for 0 <= n and 0 < d, in 32 bits where both fit (a much faster
// division on most processors).
std::int64_t quotient(std::int64_t n, std::int64_t d) {
    if (((n | d) >> 32) == 0) return static_cast<std::uint32_t>(n) / static_cast<std::uint32_t>(d);
    return n / d;
}

// The fields of an end one by one: the caller has just stored them one by
// one, and a copy of the whole record would load them in wider pieces than
// they were stored in, which stalls the processor.
template <class K>
void copyEnd(EdgeEnd& to, const EdgeEnd& from) {
    to.x = from.x;
    to.y = from.y;
    to.z = K::kDepth ? from.z : 0.0f;
    for (int k = 0; k < 4; ++k) to.c[k] = K::kColour ? from.c[k] : 0.0f;
    to.u = K::kTexCoords ? from.u : 0.0f;
    to.v = K::kTexCoords ? from.v : 0.0f;
    to.q = K::kPerspective ? from.q : 0.0f;
}

}  // namespace

template <unsigned Carried, class Rows>
void walkEdgeInto(const RenderState& s, const Rows& table, const EdgeEnd& p1, const EdgeEnd& p2, int storeFirst,
                  int storeLast) {
    using K = Carries<Carried>;
    // Horizontal edges write nothing; the upper end is the top.
    if (p1.y == p2.y) return;
    EdgeEnd top, bot;
    copyEnd<K>(top, p1.y < p2.y ? p1 : p2);
    copyEnd<K>(bot, p1.y < p2.y ? p2 : p1);
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
    // The direction without a branch (it is random from edge to edge).
    const std::int64_t leftward = top.x > bot.x;
    const std::int64_t sx = 1 - 2 * leftward;
    const std::int64_t adx = (bot.x - top.x) * sx;
    const std::int64_t divisor = K::kDepth ? dy : dy + 1;
    const std::int64_t q = quotient(adx, divisor);
    const std::int64_t r = adx - q * divisor;
    std::int64_t err = dy / 2;

    // Per-row attribute steps.  On an x-major depth edge depth follows the
    // x distance travelled: q steps every row, one more on a carry.
    const float fdy = static_cast<float>(dy);
    float dc[4] = {0, 0, 0, 0};
    float du = 0, dv = 0, dq = 0;
    if constexpr (K::kPerspective) dq = (bot.q - top.q) / fdy;
    if constexpr (K::kColour)
        for (int k = 0; k < 4; ++k) dc[k] = (bot.c[k] - top.c[k]) / fdy;
    if constexpr (K::kTexCoords) {
        du = (bot.u - top.u) / fdy;
        dv = (bot.v - top.v) / fdy;
    }
    // Both forms are computed and one chosen, without a branch (x-major and
    // y-major edges come in random order).  A row without a carry adds -0,
    // which leaves every sum as it is, -0 and +0 included.
    const bool xMajor = adx > dy;
    float zRow = 0, zCarryAdd[2] = {-0.0f, -0.0f};
    if constexpr (K::kDepth) {
        // (A y-major edge divides by a value it does not use, never by 0.)
        const float zx = (bot.z - top.z) / static_cast<float>(adx + static_cast<std::int64_t>(!xMajor));
        const float zy = (bot.z - top.z) / fdy;
        const float xRow = static_cast<float>(q) * zx;
        // Picked by index: compilers branch on a choice between floats.
        const float rowSteps[2] = {zy, xRow}, carrySteps[2] = {-0.0f, zx};
        zRow = rowSteps[static_cast<int>(xMajor)];
        zCarryAdd[1] = carrySteps[static_cast<int>(xMajor)];
    }

    // Merge every row from the top down to the row above the bottom.  Only a
    // strictly better x replaces a row's end; the right end is stored one
    // pixel left of the crossing, with the crossing's attributes.  Rows
    // outside storeFirst..storeLast (drawn by other threads) are stepped
    // through the same way but not stored, and the walk ends after storeLast.
    // The current row's attributes live in locals, apart from the table's
    // arrays, so that the compiler keeps them in registers across the stores.
    // The view in a local: stores into the rows cannot change it.
    const Rows rows = table;
    std::int64_t x = top.x;
    const std::int64_t xStep = sx * q;
    float z = top.z, c0 = top.c[0], c1 = top.c[1], c2 = top.c[2], c3 = top.c[3], u = top.u, v = top.v, rw = top.q;
    auto store = [&](int y, auto side) {
        constexpr int kSide = decltype(side)::value;
        if constexpr (K::kDepth) rows.template end<kSide, kEndZ>(y) = z;
        if constexpr (K::kColour) {
            rows.template end<kSide, kEndRed>(y) = c0;
            rows.template end<kSide, kEndGreen>(y) = c1;
            rows.template end<kSide, kEndBlue>(y) = c2;
            rows.template end<kSide, kEndAlpha>(y) = c3;
        }
        if constexpr (K::kTexCoords) {
            rows.template end<kSide, kEndU>(y) = u;
            rows.template end<kSide, kEndV>(y) = v;
        }
        if constexpr (K::kPerspective) rows.template end<kSide, kEndQ>(y) = rw;
    };
    const int lastRow = static_cast<int>(bot.y) - 1 < storeLast ? static_cast<int>(bot.y) - 1 : storeLast;
    // The carry is taken without a branch: whether it comes is as good as
    // random from row to row, and a mispredicted branch costs more than the
    // masked additions.
    auto step = [&]() {
        x += xStep;
        err -= r;
        const bool carry = err < 0;
        const std::int64_t mask = -static_cast<std::int64_t>(carry);
        err += dy & mask;
        x += sx & mask;
        if constexpr (K::kColour) {
            c0 += dc[0];
            c1 += dc[1];
            c2 += dc[2];
            c3 += dc[3];
        }
        if constexpr (K::kTexCoords) {
            u += du;
            v += dv;
        }
        if constexpr (K::kPerspective) rw += dq;
        if constexpr (K::kDepth) {
            z += zRow;
            z += zCarryAdd[static_cast<int>(carry)];
        }
    };
    int y = static_cast<int>(top.y);
    for (; y < storeFirst && y <= lastRow; ++y) step();
    for (; y <= lastRow; ++y) {
        const std::int32_t xi = static_cast<std::int32_t>(x);
        std::int32_t& leftX = rows.leftX(y);
        std::int32_t& rightX = rows.rightX(y);
        if constexpr (Carried == kCarryNothing) {
            // Only the ends: the nearer of the two, without a branch.
            leftX = leftX > xi ? xi : leftX;
            rightX = rightX < xi - 1 ? xi - 1 : rightX;
            step();
            continue;
        }
        if (leftX > xi) {
            leftX = xi;
            store(y, std::integral_constant<int, kLeftEnd>());
        }
        if (rightX < xi - 1) {
            rightX = xi - 1;
            store(y, std::integral_constant<int, kRightEnd>());
        }
        step();
    }
}

// The float prelude shared by both float walkers.  The top end is the one
// with the smaller y (the ends swap only when y1 > y2).  The depth walker
// rejects edges wholly outside the rows first and forms its clip fractions
// before multiplying; the flat one multiplies first.  Both operation orders
// are kept as they are, since they differ in the last bit.
template <unsigned Carried, class Rows>
void walkFloatEdgeInto(const RenderState& s, const Rows& rows, float x1, float y1, float z1, float x2, float y2,
                       float z2, int storeFirst, int storeLast) {
    constexpr bool kDepth = Carries<Carried>::kDepth;
    float xT = x1, yT = y1, zT = z1, xB = x2, yB = y2, zB = z2;
    if (y1 > y2) {
        xT = x2;
        yT = y2;
        zT = z2;
        xB = x1;
        yB = y1;
        zB = z1;
    }
    if (kDepth && (yB < 0 || yT > s.clipBottomF)) return;
    if (yT < 0) {
        if constexpr (kDepth) {
            const float t = yT / (yB - yT);
            xT += (xT - xB) * t;
            zT += (zT - zB) * t;
        } else {
            xT += (xT - xB) * yT / (yB - yT);
        }
        yT = 0;
    }
    if (yB > s.heightF) {
        if constexpr (kDepth) {
            const float k = (s.heightF - yB) / (yT - yB);
            xB += (xT - xB) * k;
            zB += (zT - zB) * k;
        } else {
            xB += (s.heightF - yB) * (xT - xB) / (yT - yB);
        }
        yB = s.heightF;
    }
    // The rounded ends lie in rows 0..height, so the integer walk's own
    // reject and clip steps change nothing for finite input; they keep NaN
    // input inside the table.
    walkEdgeInto<Carried>(s, rows, edgeEnd(roundHalfUp(xT), roundHalfUp(yT), zT),
                          edgeEnd(roundHalfUp(xB), roundHalfUp(yB), zB), storeFirst, storeLast);
}

// Every walker the library uses: each set on the scan-line table, and the
// triangles' sets on small tables.
#define KWR_WALKER(C, Rows)                                                                                      \
    template void walkEdgeInto<C, Rows>(const RenderState&, const Rows&, const EdgeEnd&, const EdgeEnd&, int, int);
#define KWR_WALKERS(C) KWR_WALKER(C, ScanTableRows) KWR_WALKER(C, SmallRows<C>)
KWR_WALKERS(kCarryNothing)
KWR_WALKERS(kCarryColour)
KWR_WALKERS(kCarryColour | kCarryTexCoords)
KWR_WALKERS(kCarryTexCoords)
KWR_WALKERS(kCarryDepth)
KWR_WALKERS(kCarryDepth | kCarryColour)
KWR_WALKERS(kCarryDepth | kCarryColour | kCarryTexCoords)
KWR_WALKERS(kCarryDepth | kCarryTexCoords)
// Clip-space triangles in perspective.
constexpr unsigned kP = kCarryPerspective;
KWR_WALKER(kCarryColour | kP, ScanTableRows)
KWR_WALKER(kCarryColour | kCarryTexCoords | kP, ScanTableRows)
KWR_WALKER(kCarryTexCoords | kP, ScanTableRows)
KWR_WALKER(kCarryDepth | kCarryColour | kP, ScanTableRows)
KWR_WALKER(kCarryDepth | kCarryColour | kCarryTexCoords | kP, ScanTableRows)
KWR_WALKER(kCarryDepth | kCarryTexCoords | kP, ScanTableRows)
#undef KWR_WALKERS
#undef KWR_WALKER
#define KWR_FLOAT_WALKER(C, Rows)                                                                              \
    template void walkFloatEdgeInto<C, Rows>(const RenderState&, const Rows&, float, float, float, float, float, \
                                             float, int, int);
KWR_FLOAT_WALKER(kCarryNothing, ScanTableRows)
KWR_FLOAT_WALKER(kCarryDepth, ScanTableRows)
KWR_FLOAT_WALKER(kCarryNothing, SmallRows<kCarryNothing>)
KWR_FLOAT_WALKER(kCarryDepth, SmallRows<kCarryDepth>)
#undef KWR_FLOAT_WALKER

}  // namespace kwr

using kwr::edgeEnd;
using kwr::walkEdge;
constexpr unsigned kD = kwr::kCarryDepth, kC = kwr::kCarryColour, kT = kwr::kCarryTexCoords;

void KWRRender::UpdateScanLine(int x1, int y1, int x2, int y2) {
    walkEdge<kwr::kCarryNothing>(s, edgeEnd(x1, y1), edgeEnd(x2, y2));
}

void KWRRender::UpdateScanLinef(float x1, float y1, float x2, float y2) {
    kwr::walkFloatEdge<kwr::kCarryNothing>(s, x1, y1, 0, x2, y2, 0);
}

void KWRRender::UpdateScanLinec(int x1, int y1, KWColor c1, int x2, int y2, KWColor c2) {
    walkEdge<kC>(s, edgeEnd(x1, y1, 0, c1.argb), edgeEnd(x2, y2, 0, c2.argb));
}

void KWRRender::UpdateScanLinect(int x1, int y1, KWColor c1, float u1, float v1, int x2, int y2,
                                 KWColor c2, float u2, float v2) {
    walkEdge<kC | kT>(s, edgeEnd(x1, y1, 0, c1.argb, u1, v1), edgeEnd(x2, y2, 0, c2.argb, u2, v2));
}

void KWRRender::UpdateScanLinet(int x1, int y1, float u1, float v1, int x2, int y2, float u2, float v2) {
    walkEdge<kT>(s, edgeEnd(x1, y1, 0, 0, u1, v1), edgeEnd(x2, y2, 0, 0, u2, v2));
}

void KWRRender::UpdateScanLine3(int x1, int y1, float z1, int x2, int y2, float z2) {
    walkEdge<kD>(s, edgeEnd(x1, y1, z1), edgeEnd(x2, y2, z2));
}

void KWRRender::UpdateScanLine3f(float x1, float y1, float z1, float x2, float y2, float z2) {
    kwr::walkFloatEdge<kD>(s, x1, y1, z1, x2, y2, z2);
}

void KWRRender::UpdateScanLine3c(int x1, int y1, float z1, KWColor c1, int x2, int y2, float z2, KWColor c2) {
    walkEdge<kD | kC>(s, edgeEnd(x1, y1, z1, c1.argb), edgeEnd(x2, y2, z2, c2.argb));
}

void KWRRender::UpdateScanLine3ct(int x1, int y1, float z1, KWColor c1, float u1, float v1, int x2, int y2,
                                  float z2, KWColor c2, float u2, float v2) {
    walkEdge<kD | kC | kT>(s, edgeEnd(x1, y1, z1, c1.argb, u1, v1), edgeEnd(x2, y2, z2, c2.argb, u2, v2));
}

void KWRRender::UpdateScanLine3t(int x1, int y1, float z1, float u1, float v1, int x2, int y2, float z2,
                                 float u2, float v2) {
    walkEdge<kD | kT>(s, edgeEnd(x1, y1, z1, 0, u1, v1), edgeEnd(x2, y2, z2, 0, u2, v2));
}
