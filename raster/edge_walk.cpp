// Edge walkers: record one triangle edge per row in the scan-line table.
//
// One integer Bresenham walk serves all ten walkers; what an edge carries
// (depth, colour, texture coordinates) and its x-step divisor are
// compile-time parameters of the walk.
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "raster/edge_walk.h"

#include "KWRRender.h"
#include "render/numeric.h"

namespace kwr {
namespace {

// Far-out x values are held inside this range so that x - 1 and the span
// widths computed from the table cannot overflow; only edges reaching more
// than 2^30 pixels outside the surface are affected.
constexpr std::int64_t kXLimit = std::int64_t{1} << 30;
std::int64_t limitX(std::int64_t x) { return x < -kXLimit ? -kXLimit : (x > kXLimit ? kXLimit : x); }
// Whether a or b may need limiting: true for every value outside the range
// (and for kXLimit itself, which limiting leaves as it is), in one
// comparison.  Edge ends lie far inside the 64-bit range, so adding kXLimit
// cannot overflow.
bool mayNeedLimit(std::int64_t a, std::int64_t b) {
    const std::uint64_t ua = static_cast<std::uint64_t>(a + kXLimit), ub = static_cast<std::uint64_t>(b + kXLimit);
    return (ua | ub) >= static_cast<std::uint64_t>(2 * kXLimit);
}

// n / d for 0 <= n and 0 < d, in 32 bits where both fit (a much faster
// division on most processors).
std::int64_t quotient(std::int64_t n, std::int64_t d) {
    if (((n | d) >> 32) == 0) return static_cast<std::uint32_t>(n) / static_cast<std::uint32_t>(d);
    return n / d;
}

// Four attribute lanes as plain floats, which compilers keep in scalar
// registers.  A scalar operand stands for four copies of itself.
struct FourFloats {
    float l0, l1, l2, l3;
    float operator[](int k) const { return k == 0 ? l0 : k == 1 ? l1 : k == 2 ? l2 : l3; }
    float& operator[](int k) { return k == 0 ? l0 : k == 1 ? l1 : k == 2 ? l2 : l3; }
    FourFloats& operator+=(const FourFloats& o) {
        l0 += o.l0;
        l1 += o.l1;
        l2 += o.l2;
        l3 += o.l3;
        return *this;
    }
    friend FourFloats operator+(FourFloats a, const FourFloats& b) { return a += b; }
    friend FourFloats operator-(const FourFloats& a, const FourFloats& b) {
        return FourFloats{a.l0 - b.l0, a.l1 - b.l1, a.l2 - b.l2, a.l3 - b.l3};
    }
    friend FourFloats operator*(const FourFloats& a, float t) {
        return FourFloats{a.l0 * t, a.l1 * t, a.l2 * t, a.l3 * t};
    }
    friend FourFloats operator/(const FourFloats& a, float t) {
        return FourFloats{a.l0 / t, a.l1 / t, a.l2 / t, a.l3 / t};
    }
};

// The same in one vector register, where the compiler has vector types.
#if defined(__GNUC__)
typedef float FourVector __attribute__((vector_size(16)));
#else
using FourVector = FourFloats;
#endif

// The lanes a walk steps: from its first carried attribute through its
// last, in groups of four.  Lanes between carried attributes, and past the
// last, hold zeros.
template <unsigned Carried>
struct WalkLanes {
    static constexpr int first() {
        for (int k = 0; k < kEndAttributes; ++k)
            if (carriesEnd(Carried, k)) return k;
        return 0;
    }
    static constexpr int last() {
        for (int k = kEndAttributes - 1; k >= 0; --k)
            if (carriesEnd(Carried, k)) return k;
        return -1;
    }
    static constexpr int kFirst = first();
    static constexpr int kSpan = last() - first() + 1;
    static constexpr int kGroups = (kSpan + 3) / 4;
    static constexpr int kGroupsOrOne = kGroups > 0 ? kGroups : 1;
    // Whether the carried attributes lie side by side from kFirst, as a
    // small row keeps them.
    static constexpr bool sideBySide() {
        for (int k = kFirst; k <= last(); ++k)
            if (!carriesEnd(Carried, k)) return false;
        return true;
    }
};

// Calls f(g) for every lane group g of a walk, g a compile-time constant:
// the groups are then separate values from the start, not an array indexed
// in a loop, which g++ kept in memory for the scan-line table's walk (and
// took apart and put together again around every row's stores).
template <class F, int... G>
inline void eachGroupOf(F&& f, std::integer_sequence<int, G...>) {
    (f(std::integral_constant<int, G>{}), ...);
}
template <unsigned Carried, class F>
inline void eachGroup(F&& f) {
    eachGroupOf(f, std::make_integer_sequence<int, WalkLanes<Carried>::kGroups>{});
}

// Attribute k of an end in table order (kEndZ .. kEndQ): 0 where the walk
// does not carry it and past kEndQ.
template <class K>
inline float attributeOf(const EdgeEnd& e, int k) {
    if (k == kEndZ) return K::kDepth ? e.z : 0.0f;
    if (k >= kEndRed && k <= kEndAlpha) return K::kColour ? e.c[k - kEndRed] : 0.0f;
    if (k == kEndU) return K::kTexCoords ? e.u : 0.0f;
    if (k == kEndV) return K::kTexCoords ? e.v : 0.0f;
    if (k == kEndQ) return K::kPerspective ? e.q : 0.0f;
    return 0.0f;
}

// The lanes of an end, put together in registers from its fields (never
// through a copy written lane by lane and read back whole, which would
// wait for the narrow stores to drain).
template <unsigned Carried, class Four>
inline void endLanes(const EdgeEnd& e, Four* lanes) {
    using L = WalkLanes<Carried>;
    using K = Carries<Carried>;
    eachGroup<Carried>([&](auto g) {
        constexpr int k = L::kFirst + 4 * decltype(g)::value;
        lanes[g] = Four{attributeOf<K>(e, k), attributeOf<K>(e, k + 1), attributeOf<K>(e, k + 2),
                        attributeOf<K>(e, k + 3)};
    });
}

// a + (b - a) * t in every lane.
template <unsigned Carried, class Four>
inline void lerpLanes(Four* a, const Four* b, float t) {
    eachGroup<Carried>([&](auto g) { a[g] = a[g] + (b[g] - a[g]) * t; });
}

// Adds a carry's depth step to the first group, whose first lane is depth;
// the step is -0 in the other lanes, so plain floats add only that lane.
template <class Four>
inline void addCarryStep(Four& g, const Four& step) {
    if constexpr (std::is_same<Four, FourFloats>::value)
        g[0] += step[0];
    else
        g += step;
}

// Whether rows of `Rows` take a walk's lane groups whole: a small row
// that keeps the carried attributes side by side in padded groups.  Such a
// walk steps its lanes in vector registers; a walk that stores each
// attribute into an array of its own (the scan-line table) keeps them as
// plain floats, which it stores without taking vectors apart.
template <unsigned Carried, class Rows>
struct WholeGroups {
    static constexpr bool kValue = Rows::kEndsInGroups && WalkLanes<Carried>::sideBySide();
    using Lanes = std::conditional_t<kValue, FourVector, FourFloats>;
};

// Stores the carried attributes of one row end: whole groups where the
// row takes them, otherwise one by one.
using Every = std::make_integer_sequence<int, kEndAttributes>;
template <unsigned Carried, int Side, int A, class Rows, class Four>
inline void storeAttribute(const Rows& rows, int y, const Four* lanes) {
    constexpr int kLane = A - WalkLanes<Carried>::kFirst;
    if constexpr (carriesEnd(Carried, A)) rows.template end<Side, A>(y) = lanes[kLane / 4][kLane % 4];
}
template <unsigned Carried, int Side, class Rows, class Four, int... A>
inline void storeEnd(const Rows& rows, int y, const Four* lanes, std::integer_sequence<int, A...>) {
    if constexpr (WholeGroups<Carried, Rows>::kValue) {
        using L = WalkLanes<Carried>;
        float* to = &rows.template end<Side, L::kFirst>(y);
        eachGroup<Carried>([&](auto g) { std::memcpy(to + 4 * g, &lanes[g], sizeof(Four)); });
    } else {
        (storeAttribute<Carried, Side, A>(rows, y, lanes), ...);
    }
}

}  // namespace

template <unsigned Carried, class Rows>
void walkEdgeInto(const RenderState& s, const Rows& table, const EdgeEnd& p1, const EdgeEnd& p2, int storeFirst,
                  int storeLast) {
    using K = Carries<Carried>;
    // Horizontal edges write nothing; the upper end is the top.
    if (p1.y == p2.y) return;
    // The ends by a branch, the coordinates read from the ends themselves:
    // fewer instructions and registers with the compilers we use than
    // selects or reads through the chosen pointers.
    const EdgeEnd *upper = &p2, *lower = &p1;
    std::int64_t topX, topY, botX, botY;
    if (p1.y < p2.y) {
        upper = &p1;
        lower = &p2;
        topX = p1.x;
        topY = p1.y;
        botX = p2.x;
        botY = p2.y;
    } else {
        topX = p2.x;
        topY = p2.y;
        botX = p1.x;
        botY = p1.y;
    }
    // Wholly above or below the surface.
    if (botY < 0 || topY > s.clipBottom) return;
    using L = WalkLanes<Carried>;
    using Four = typename WholeGroups<Carried, Rows>::Lanes;
    Four lanes[L::kGroupsOrOne], bottom[L::kGroupsOrOne];
    endLanes<Carried>(*upper, lanes);
    endLanes<Carried>(*lower, bottom);
    // Clip at row 0.  The products are formed in 64 bits, so they cannot
    // overflow for any int coordinates.
    if (topY < 0) {
        topX = topX - ((botX - topX) * topY) / (botY - topY);
        const float t = static_cast<float>(-topY) / static_cast<float>(botY - topY);
        lerpLanes<Carried>(lanes, bottom, t);
        topY = 0;
    }
    // Clip at the surface height; the walk stops one row above it.
    if (botY > s.height) {
        botX = botX + ((s.height - botY) * (topX - botX)) / (topY - botY);
        const float k = static_cast<float>(s.height - botY) / static_cast<float>(topY - botY);
        lerpLanes<Carried>(bottom, lanes, k);
        botY = s.height;
    }
    // Ends that far out are rare: limited by a branch, not on every edge.
    if (mayNeedLimit(topX, botX)) {
        topX = limitX(topX);
        botX = limitX(botX);
    }

    // Bresenham set-up.
    const std::int64_t dy = botY - topY;
    if (dy <= 0) return;
    // The direction without a branch (it is random from edge to edge).
    const std::int64_t leftward = topX > botX;
    const std::int64_t sx = 1 - 2 * leftward;
    const std::int64_t adx = (botX - topX) * sx;
    const std::int64_t divisor = K::kDepth ? dy : dy + 1;
    const std::int64_t q = quotient(adx, divisor);
    const std::int64_t r = adx - q * divisor;
    std::int64_t err = dy / 2;

    // Per-row attribute steps, as lanes: every carried attribute moves by
    // its own step each row.  On an x-major depth edge depth follows the x
    // distance travelled instead: q steps every row, one more on a carry.
    const float fdy = static_cast<float>(dy);
    Four steps[L::kGroupsOrOne];
    eachGroup<Carried>([&](auto g) { steps[g] = (bottom[g] - lanes[g]) / fdy; });
    // Both depth forms are computed and one chosen, without a branch (x-major
    // and y-major edges come in random order).  A row without a carry adds
    // -0, which leaves every sum as it is, -0 and +0 included; so do the
    // other lanes of depth's group (the first) on every row.
    const bool xMajor = adx > dy;
    Four carrySteps[2] = {Four{-0.0f, -0.0f, -0.0f, -0.0f}, Four{-0.0f, -0.0f, -0.0f, -0.0f}};
    if constexpr (K::kDepth) {
        // (A y-major edge divides by a value it does not use, never by 0.)
        const float zx = (bottom[0][0] - lanes[0][0]) / static_cast<float>(adx + static_cast<std::int64_t>(!xMajor));
        const float xRow = static_cast<float>(q) * zx;
        // Picked by index: compilers branch on a choice between floats.
        const float rowSteps[2] = {steps[0][0], xRow}, carryAdds[2] = {-0.0f, zx};
        steps[0][0] = rowSteps[static_cast<int>(xMajor)];
        carrySteps[1][0] = carryAdds[static_cast<int>(xMajor)];
    }

    // Merge every row from the top down to the row above the bottom.  Only a
    // strictly better x replaces a row's end; the right end is stored one
    // pixel left of the crossing, with the crossing's attributes.  Rows
    // outside storeFirst..storeLast (drawn by other threads) are stepped
    // through the same way but not stored, and the walk ends after storeLast.
    // The current row's attributes live in lane groups, apart from the
    // table's arrays, so that the compiler keeps them in registers across
    // the stores.
    // The view in a local: stores into the rows cannot change it.
    const Rows rows = table;
    std::int64_t x = topX;
    const std::int64_t xStep = sx * q;
    const int lastRow = static_cast<int>(botY) - 1 < storeLast ? static_cast<int>(botY) - 1 : storeLast;
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
        eachGroup<Carried>([&](auto g) { lanes[g] += steps[g]; });
        // Depth is the first lane of the first group.
        if constexpr (K::kDepth) addCarryStep(lanes[0], carrySteps[static_cast<int>(carry)]);
    };
    int y = static_cast<int>(topY);
    for (; y <= lastRow && y < storeFirst; ++y) step();
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
            storeEnd<Carried, kLeftEnd>(rows, y, lanes, Every{});
        }
        if (rightX < xi - 1) {
            rightX = xi - 1;
            storeEnd<Carried, kRightEnd>(rows, y, lanes, Every{});
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
