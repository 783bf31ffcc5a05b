// Triangle entry points: one front end for all twenty-four.
//
// Every triangle takes the same path: the fallbacks, then sort, reject, row
// range, reset, three edge walks and one fill.  What a vertex carries (a set
// of Carry bits, raster/edge_walk.h) and the coordinate form are
// compile-time parameters; the public members are one-line calls.
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "KWRRender.h"
#include "raster/edge_walk.h"
#include "raster/screen_polygon.h"
#include "raster/span_rules.h"
#include "raster/triangle_rows.h"
#include "render/numeric.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {
namespace {

// Coordinate forms: integer pixels, float pixels, and float coordinates
// centred on the surface with y up, which become float pixels first.
struct IntCoords {
    using Value = int;
    static constexpr bool kCentred = false;
};
struct FloatCoords {
    using Value = float;
    static constexpr bool kCentred = false;
};
struct CentredCoords {
    using Value = float;
    static constexpr bool kCentred = true;
};

template <class T>
struct Vertex {
    T x, y;
    float z;
    std::uint32_t c;  // 0xAARRGGBB
    float u, v;
};

template <class T>
Vertex<T> vtx(T x, T y, float z = 0.0f, unsigned long c = 0, float u = 0.0f, float v = 0.0f) {
    return Vertex<T>{x, y, z, static_cast<std::uint32_t>(c), u, v};
}

// The opaque and the blended span fill of every kind.
template <class OpaqueRule, class BlendedRule>
struct FillPair {
    using Opaque = OpaqueRule;
    using Blended = BlendedRule;
};
template <unsigned Carried>
struct SpanFills;
// clang-format off
template <> struct SpanFills<kCarryNothing> : FillPair<RuleFlatOpaque, RuleFlatBlend> {};
template <> struct SpanFills<kCarryDepth> : FillPair<Rule3, Rule3a> {};
template <> struct SpanFills<kCarryDepth | kCarryColour> : FillPair<Rule3c, Rule3ca> {};
template <> struct SpanFills<kCarryDepth | kCarryTexCoords> : FillPair<Rule3t, Rule3at> {};
template <> struct SpanFills<kCarryDepth | kCarryColour | kCarryTexCoords> : FillPair<Rule3ct, Rule3cat> {};
template <> struct SpanFills<kCarryColour> : FillPair<Rulec, Ruleca> {};
template <> struct SpanFills<kCarryTexCoords> : FillPair<Rulet, Ruleat> {};
template <> struct SpanFills<kCarryColour | kCarryTexCoords> : FillPair<Rulect, Rulecat> {};
// clang-format on

// When the blended fill runs: textured kinds whenever blending is on;
// colour-only kinds when, besides, some vertex alpha is below 0xFF; kinds
// in the current colour when its alpha is below 0xFF.
template <unsigned Carried, class T>
bool blends(const RenderState& s, const Vertex<T>* v) {
    if constexpr (Carries<Carried>::kTexCoords) {
        return s.alphaEnable != 0;
    } else if constexpr (Carries<Carried>::kColour) {
        return s.alphaEnable != 0 && (v[0].c & v[1].c & v[2].c & 0xFF000000u) != 0xFF000000u;
    } else {
        return currentColourBlends(s);
    }
}

template <unsigned Carried, class Rows>
void fill(const RenderState& s, const Rows& table, RowRange rows, bool blend, bool perspective = false) {
    if (blend) {
        fillTriangleRows<typename SpanFills<Carried>::Blended>(s, table, rows.first, rows.last, perspective);
    } else {
        fillTriangleRows<typename SpanFills<Carried>::Opaque>(s, table, rows.first, rows.last, perspective);
    }
}

// The fill over the rows of the range this state draws.
template <unsigned Carried, class Rows>
void fillOwned(const RenderState& s, const Rows& table, RowRange rows, bool blend, bool perspective = false) {
    for (RowRange run = firstOwnedRun(s, rows); run.first <= run.last; run = nextOwnedRun(s, run, rows))
        fill<Carried>(s, table, run, blend, perspective);
}

// The flat and the depth-only kinds hand float vertices to the float edge
// walkers unrounded; the others round x and y and walk in integers.
template <unsigned Carried>
constexpr bool kWalksFloat = (Carried & ~static_cast<unsigned>(kCarryDepth)) == 0;

// The float vertices of the flat and depth-only kinds, unrounded.
template <unsigned Carried, class Rows>
void walk(const RenderState& s, const Rows& table, const Vertex<float>& a, const Vertex<float>& b, RowRange store) {
    walkFloatEdgeInto<Carried>(s, table, a.x, a.y, a.z, b.x, b.y, b.z, store.first, store.last);
}
// Integer edge ends, made once per vertex.
template <unsigned Carried, class Rows>
void walk(const RenderState& s, const Rows& table, const EdgeEnd& a, const EdgeEnd& b, RowRange store) {
    walkEdgeInto<Carried>(s, table, a, b, store.first, store.last);
}

// The vertices from top to bottom.
template <class T>
struct Sorted {
    const Vertex<T>* v[3];
};

// Three compare-and-swaps, each swapping only on a strictly greater y, so
// equal rows keep the argument order.  The vertices stay where they are;
// their indices are swapped by arithmetic, not by branches, as the order is
// random.
template <class T>
Sorted<T> sortByY(const Vertex<T>* v) {
    int i[3] = {0, 1, 2};
    auto order = [&](int a, int b) {
        const int d = (i[b] - i[a]) * static_cast<int>(v[i[a]].y > v[i[b]].y);
        i[a] += d;
        i[b] -= d;
    };
    order(0, 1);
    order(1, 2);
    order(0, 1);
    return Sorted<T>{{&v[i[0]], &v[i[1]], &v[i[2]]}};
}

// Top to middle and middle to bottom only where they can reach the surface,
// then top to bottom; the table takes rows store.first..store.last.
template <unsigned Carried, class Rows, class End>
void walkEdges(const RenderState& s, const Rows& table, const End& top, const End& mid, const End& bot, bool topEdge,
               bool bottomEdge, RowRange store) {
    if (topEdge) walk<Carried>(s, table, top, mid, store);
    if (bottomEdge) walk<Carried>(s, table, mid, bot, store);
    walk<Carried>(s, table, top, bot, store);
}

// A vertex as an integer edge end, x and y rounded when they are floats.
// Only what the walk carries is converted; the rest is zero.
inline std::int64_t endCoord(int v) { return v; }
inline std::int64_t endCoord(float v) { return roundHalfUp(v); }
// (Inlined: as a call it builds the end on the stack and copies it.)
template <unsigned Carried, class T>
KWR_ALWAYS_INLINE EdgeEnd endOf(const Vertex<T>& p) {
    using K = Carries<Carried>;
    if constexpr (K::kColour)
        return edgeEnd(endCoord(p.x), endCoord(p.y), K::kDepth ? p.z : 0.0f, p.c, p.u, p.v);
    EdgeEnd e{};
    e.x = endCoord(p.x);
    e.y = endCoord(p.y);
    if constexpr (K::kDepth) e.z = p.z;
    if constexpr (K::kTexCoords) {
        e.u = p.u;
        e.v = p.v;
    }
    return e;
}

// Resets the rows of `table`, walks the three edges into it (storing rows
// store.first..store.last) and fills the rows.
template <unsigned Carried, bool Banded, class T, class Rows>
void walkAndFill(const RenderState& s, const Rows& table, RowRange rows, RowRange store, const Sorted<T>& o,
                 const Vertex<T>* v) {
    constexpr bool kInt = std::is_same<T, int>::value;
    const Vertex<T>& top = *o.v[0];
    const Vertex<T>& mid = *o.v[1];
    const Vertex<T>& bot = *o.v[2];
    resetRows(table, rows);
    const bool topEdge = mid.y >= 0;
    const bool bottomEdge = kInt ? mid.y <= s.clipBottom : s.clipBottomF >= mid.y;
    if constexpr (!kInt && kWalksFloat<Carried>) {
        // With every vertex between row 0 and the last row, the float walks
        // clip nothing and only round their ends: rounding each vertex once
        // and walking in integers gives the same rows.
        if (top.y >= 0.0f && bot.y <= s.clipBottomF) {
            const EdgeEnd t = endOf<Carried>(top), m = endOf<Carried>(mid), b = endOf<Carried>(bot);
            walkEdges<Carried>(s, table, t, m, b, topEdge, bottomEdge, store);
        } else {
            walkEdges<Carried>(s, table, top, mid, bot, topEdge, bottomEdge, store);
        }
    } else {
        const EdgeEnd t = endOf<Carried>(top), m = endOf<Carried>(mid), b = endOf<Carried>(bot);
        walkEdges<Carried>(s, table, t, m, b, topEdge, bottomEdge, store);
    }
    const bool blend = blends<Carried>(s, v);
    if constexpr (Banded) fillOwned<Carried>(s, table, rows, blend);
    else fill<Carried>(s, table, rows, blend);
}

std::atomic<int> g_smallRows{kSmallTriangleRows};

// The body every triangle runs.  Float vertices are rejected, ranged and
// tested for their edges unrounded.  A banded state (one of several threads)
// draws only the rows it owns.  A triangle of a few rows keeps them in a
// small table on the stack, each row's ends side by side, and walks and
// fills them there; the others use the surface's scan-line table.
template <unsigned Carried, bool Banded, class T>
void rasterise(RenderState& s, const Vertex<T>* v) {
    constexpr bool kInt = std::is_same<T, int>::value;
    const Sorted<T> o = sortByY(v);
    const Vertex<T>& top = *o.v[0];
    const Vertex<T>& bot = *o.v[2];
    RowRange rows;
    bool bottomOnSurface;
    if constexpr (kInt) {
        if (bot.y < 0 || top.y >= s.height) return;
        rows = intRows(s, top.y, bot.y);
        bottomOnSurface = bot.y <= s.clipBottom;
    } else {
        if (bot.y < 0 || top.y >= s.heightF) return;
        rows = floatRows(s, top.y, bot.y);
        bottomOnSurface = bot.y <= s.clipBottomF;
    }
    // No edge writes its lower end's row: with the bottom vertex on the
    // surface the last row stays empty, so it is neither reset nor filled.
    if (bottomOnSurface) --rows.last;
    // A thread skips a triangle without rows of its own, and otherwise
    // resets, walks into and fills only the rows from its first to its last.
    if constexpr (Banded) rows = ownedRows(s, rows);
    if (rows.first > rows.last) return;
    if (rows.last - rows.first < g_smallRows.load(std::memory_order_relaxed)) {
        // The edges store only the triangle's rows, the ones the table has.
        SmallRow<Carried> local[kSmallTriangleRows];
        walkAndFill<Carried, Banded>(s, SmallRows<Carried>{local, rows.first}, rows, rows, o, v);
    } else {
        walkAndFill<Carried, Banded>(s, ScanTableRows{&s.scan}, rows, Banded ? rows : RowRange{0, INT_MAX}, o, v);
    }
}

// The fallbacks: without a depth test in force a triangle drops its depths,
// and then, with neither a texture nor an alpha map bound, its texture
// coordinates; it is drawn as the kind that remains.
template <unsigned Carried, class T>
void drawWithFallbacks(RenderState& s, const Vertex<T>* v) {
    if constexpr (Carries<Carried>::kDepth) {
        if (!depthTestActive(s)) return drawWithFallbacks<Carried & ~static_cast<unsigned>(kCarryDepth)>(s, v);
    }
    if constexpr (Carries<Carried>::kTexCoords) {
        if (!anyMapBound(s)) return drawWithFallbacks<Carried & ~static_cast<unsigned>(kCarryTexCoords)>(s, v);
    }
    if (s.bandCount == 1) rasterise<Carried, false>(s, v);
    else rasterise<Carried, true>(s, v);
}

// ------------------------------------------------------------ polygons --

// A polygon vertex as an integer edge end in perspective: x and y rounded.
inline EdgeEnd perspectiveEnd(const ScreenVertex& p) {
    EdgeEnd e;
    e.x = roundHalfUp(p.x);
    e.y = roundHalfUp(p.y);
    e.z = p.z;
    for (int k = 0; k < 4; ++k) e.c[k] = p.c[k];
    e.u = p.u;
    e.v = p.v;
    e.q = p.q;
    return e;
}

// A convex polygon as the triangles are drawn: its rows from the top
// vertex's down to the row above the bottom vertex's, every edge walked
// once in order around it, one fill.  Kinds with colour or texture walk
// attributes divided by w with 1 / w beside them and divide per pixel; the
// flat and depth-only kinds walk float edges like kwrTriangle3f.
template <unsigned Carried, bool Banded, int N>
void rasterisePolygon(RenderState& s, const ScreenPolygon<N>& p, bool blend) {
    constexpr bool kPerspective = (Carried & (kCarryColour | kCarryTexCoords)) != 0;
    float top = p.v[0].y, bottom = p.v[0].y;
    for (int i = 1; i < p.count; ++i) {
        top = p.v[i].y < top ? p.v[i].y : top;
        bottom = p.v[i].y > bottom ? p.v[i].y : bottom;
    }
    if (bottom < 0 || top >= s.heightF) return;
    RowRange rows = floatRows(s, top, bottom);
    if (bottom <= s.clipBottomF) --rows.last;
    if constexpr (Banded) rows = ownedRows(s, rows);
    if (rows.first > rows.last) return;
    const ScanTableRows table{&s.scan};
    resetRows(table, rows);
    const RowRange store = Banded ? rows : RowRange{0, INT_MAX};
    for (int i = 0; i < p.count; ++i) {
        const ScreenVertex& a = p.v[i];
        const ScreenVertex& b = p.v[i + 1 < p.count ? i + 1 : 0];
        if (a.y == b.y) continue;  // a level edge writes nothing
        if constexpr (kPerspective)
            walkEdge<Carried | kCarryPerspective>(s, perspectiveEnd(a), perspectiveEnd(b), store.first, store.last);
        else
            walkFloatEdge<Carried>(s, a.x, a.y, a.z, b.x, b.y, b.z, store.first, store.last);
    }
    if constexpr (Banded) fillOwned<Carried>(s, table, rows, blend, kPerspective);
    else fill<Carried>(s, table, rows, blend, kPerspective);
}

template <unsigned Carried, int N>
void drawPolygonAs(RenderState& s, const ScreenPolygon<N>& p) {
    Vertex<float> t[3];
    for (int i = 0; i < 3; ++i) {
        const ScreenVertex& q = p.v[i < p.count ? i : 0];
        t[i] = Vertex<float>{q.x, q.y, q.z, p.colours[i], q.u, q.v};
    }
    if (!p.perspective) {
        // A whole triangle of equal w: exactly its screen-space call.
        if (s.bandCount == 1) rasterise<Carried, false>(s, t);
        else rasterise<Carried, true>(s, t);
        return;
    }
    const bool blend = blends<Carried>(s, t);
    if (s.bandCount == 1) rasterisePolygon<Carried, false>(s, p, blend);
    else rasterisePolygon<Carried, true>(s, p, blend);
}

// The fallbacks of the screen-space calls, then the kind that remains.
template <int N>
void drawPolygon(RenderState& s, const ScreenPolygon<N>& p) {
    unsigned carried = p.carried;
    if (!depthTestActive(s)) carried &= ~static_cast<unsigned>(kCarryDepth);
    if ((carried & kCarryTexCoords) != 0 && !anyMapBound(s)) carried &= ~static_cast<unsigned>(kCarryTexCoords);
    switch (carried) {
    case kCarryNothing: return drawPolygonAs<kCarryNothing>(s, p);
    case kCarryDepth: return drawPolygonAs<kCarryDepth>(s, p);
    case kCarryColour: return drawPolygonAs<kCarryColour>(s, p);
    case kCarryTexCoords: return drawPolygonAs<kCarryTexCoords>(s, p);
    case kCarryColour | kCarryTexCoords: return drawPolygonAs<kCarryColour | kCarryTexCoords>(s, p);
    case kCarryDepth | kCarryColour: return drawPolygonAs<kCarryDepth | kCarryColour>(s, p);
    case kCarryDepth | kCarryTexCoords: return drawPolygonAs<kCarryDepth | kCarryTexCoords>(s, p);
    default: return drawPolygonAs<kCarryDepth | kCarryColour | kCarryTexCoords>(s, p);
    }
}

// A triangle as recorded: each corner's x and y and only the values its
// kind carries, four bytes each (what it does not carry is rebuilt as the
// calls pass it).  Small records are fewer bytes for the workers to fetch.
template <unsigned Carried, class Form>
struct Recorded {
    using T = typename Form::Value;
    static_assert(sizeof(T) == 4 && sizeof(float) == 4, "four-byte values");
    static constexpr bool kDepth = Carries<Carried>::kDepth, kColour = Carries<Carried>::kColour,
                          kTex = Carries<Carried>::kTexCoords;
    static constexpr int kPerCorner = 2 + (kDepth ? 1 : 0) + (kColour ? 1 : 0) + (kTex ? 2 : 0);
    std::uint32_t words[3 * kPerCorner];

    static Recorded pack(const Vertex<T>* v) {
        Recorded r;
        std::uint32_t* w = r.words;
        for (int i = 0; i < 3; ++i) {
            const Vertex<T>& p = v[i];
            std::memcpy(w++, &p.x, 4);
            std::memcpy(w++, &p.y, 4);
            if constexpr (kDepth) std::memcpy(w++, &p.z, 4);
            if constexpr (kColour) *w++ = p.c;
            if constexpr (kTex) {
                std::memcpy(w++, &p.u, 4);
                std::memcpy(w++, &p.v, 4);
            }
        }
        return r;
    }
    void unpack(Vertex<T>* v) const {
        const std::uint32_t* w = words;
        for (int i = 0; i < 3; ++i) {
            Vertex<T>& p = v[i];
            p = vtx(T{}, T{});
            std::memcpy(&p.x, w++, 4);
            std::memcpy(&p.y, w++, 4);
            if constexpr (kDepth) std::memcpy(&p.z, w++, 4);
            if constexpr (kColour) p.c = *w++;
            if constexpr (kTex) {
                std::memcpy(&p.u, w++, 4);
                std::memcpy(&p.v, w++, 4);
            }
        }
    }
};

template <unsigned Carried, class Form>
void drawRecorded(RenderState& s, const Recorded<Carried, Form>& r);

// Records a triangle for the threads whose rows it may reach.
template <unsigned Carried, class Form>
KWR_NOINLINE void recordTriangle(RenderState& s, const Vertex<typename Form::Value>* v) {
    double y[3];
    for (int i = 0; i < 3; ++i) {
        y[i] = static_cast<double>(v[i].y);
        if constexpr (Form::kCentred) y[i] = static_cast<double>(centredY(s, v[i].y));
    }
    const Recorded<Carried, Form> r = Recorded<Carried, Form>::pack(v);
    const std::uint64_t threads = s.pool->threadsForTriangle(y[0], y[1], y[2], s.height);
    recordInternal<Recorded<Carried, Form>, &drawRecorded<Carried, Form>>(s, r, threads);
}

// The three vertices as the caller passed them, worked on in place: the
// members build them where this takes them, and copying them whole after
// building them field by field would load them in wider pieces than they
// were stored in, which stalls the processor.
template <class T>
struct Triangle {
    Vertex<T> v[3];
};

// Draws the vertices (centred ones made pixel coordinates first).
template <unsigned Carried, class Form>
KWR_ALWAYS_INLINE void drawVertices(RenderState& s, Vertex<typename Form::Value>* v) {
    if constexpr (Form::kCentred) {
        for (int i = 0; i < 3; ++i) {
            v[i].x = centredX(s, v[i].x);
            v[i].y = centredY(s, v[i].y);
        }
    }
    drawWithFallbacks<Carried>(s, v);
}

template <unsigned Carried, class Form>
void drawTriangle(RenderState& s, Triangle<typename Form::Value> t) {
    if (recording(s)) return recordTriangle<Carried, Form>(s, t.v);
    drawVertices<Carried, Form>(s, t.v);
}

// A recorded triangle, drawn from the vertices as unpacked (handing them on
// by value would copy them in wider pieces than they were just written in).
template <unsigned Carried, class Form>
void drawRecorded(RenderState& s, const Recorded<Carried, Form>& r) {
    Triangle<typename Form::Value> t;
    r.unpack(t.v);
    drawVertices<Carried, Form>(s, t.v);
}

constexpr unsigned kFlat = kCarryNothing, k3 = kCarryDepth, kC = kCarryColour, kT = kCarryTexCoords;

}  // namespace

int forceSmallTriangleRows(int rows) {
    const int limit = rows < 0 ? 0 : (rows > kSmallTriangleRows ? kSmallTriangleRows : rows);
    return g_smallRows.exchange(limit, std::memory_order_relaxed);
}

void drawScreenPolygon(RenderState& s, const ScreenPolygon<3>& p) { drawPolygon(s, p); }
void drawScreenPolygon(RenderState& s, const ScreenPolygon<kMaxPolygonVertices>& p) { drawPolygon(s, p); }

}  // namespace kwr

using kwr::CentredCoords;
using kwr::drawTriangle;
using kwr::FloatCoords;
using kwr::IntCoords;
using kwr::k3;
using kwr::kC;
using kwr::kFlat;
using kwr::kT;
using kwr::vtx;

// ------------------------------------------------------------------ flat --

void KWRRender::kwrTriangle(int x1, int y1, int x2, int y2, int x3, int y3) {
    drawTriangle<kFlat, IntCoords>(s, {{vtx(x1, y1), vtx(x2, y2), vtx(x3, y3)}});
}
void KWRRender::kwrTrianglef(float x1, float y1, float x2, float y2, float x3, float y3) {
    drawTriangle<kFlat, FloatCoords>(s, {{vtx(x1, y1), vtx(x2, y2), vtx(x3, y3)}});
}
void KWRRender::kwrTrianglefg(float x1, float y1, float x2, float y2, float x3, float y3) {
    drawTriangle<kFlat, CentredCoords>(s, {{vtx(x1, y1), vtx(x2, y2), vtx(x3, y3)}});
}

// ----------------------------------------------------------------- depth --

void KWRRender::kwrTriangle3(int x1, int y1, float z1, int x2, int y2, float z2, int x3, int y3, float z3) {
    drawTriangle<k3, IntCoords>(s, {{vtx(x1, y1, z1), vtx(x2, y2, z2), vtx(x3, y3, z3)}});
}
void KWRRender::kwrTriangle3f(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3,
                              float z3) {
    drawTriangle<k3, FloatCoords>(s, {{vtx(x1, y1, z1), vtx(x2, y2, z2), vtx(x3, y3, z3)}});
}
void KWRRender::kwrTriangle3fg(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3,
                               float z3) {
    drawTriangle<k3, CentredCoords>(s, {{vtx(x1, y1, z1), vtx(x2, y2, z2), vtx(x3, y3, z3)}});
}

void KWRRender::kwrTriangle3c(int x1, int y1, float z1, unsigned long c1, int x2, int y2, float z2,
                              unsigned long c2, int x3, int y3, float z3, unsigned long c3) {
    drawTriangle<k3 | kC, IntCoords>(s, {{vtx(x1, y1, z1, c1), vtx(x2, y2, z2, c2), vtx(x3, y3, z3, c3)}});
}
void KWRRender::kwrTriangle3cf(float x1, float y1, float z1, unsigned long c1, float x2, float y2, float z2,
                               unsigned long c2, float x3, float y3, float z3, unsigned long c3) {
    drawTriangle<k3 | kC, FloatCoords>(s, {{vtx(x1, y1, z1, c1), vtx(x2, y2, z2, c2), vtx(x3, y3, z3, c3)}});
}
void KWRRender::kwrTriangle3cfg(float x1, float y1, float z1, unsigned long c1, float x2, float y2, float z2,
                                unsigned long c2, float x3, float y3, float z3, unsigned long c3) {
    drawTriangle<k3 | kC, CentredCoords>(s, {{vtx(x1, y1, z1, c1), vtx(x2, y2, z2, c2), vtx(x3, y3, z3, c3)}});
}

void KWRRender::kwrTriangle3ct(int x1, int y1, float z1, unsigned long c1, float u1, float v1, int x2, int y2,
                               float z2, unsigned long c2, float u2, float v2, int x3, int y3, float z3,
                               unsigned long c3, float u3, float v3) {
    drawTriangle<k3 | kC | kT, IntCoords>(s, {{vtx(x1, y1, z1, c1, u1, v1), vtx(x2, y2, z2, c2, u2, v2),
                                          vtx(x3, y3, z3, c3, u3, v3)}});
}
void KWRRender::kwrTriangle3ctf(float x1, float y1, float z1, unsigned long c1, float u1, float v1, float x2,
                                float y2, float z2, unsigned long c2, float u2, float v2, float x3, float y3,
                                float z3, unsigned long c3, float u3, float v3) {
    drawTriangle<k3 | kC | kT, FloatCoords>(s, {{vtx(x1, y1, z1, c1, u1, v1), vtx(x2, y2, z2, c2, u2, v2),
                                            vtx(x3, y3, z3, c3, u3, v3)}});
}
void KWRRender::kwrTriangle3ctfg(float x1, float y1, float z1, unsigned long c1, float u1, float v1, float x2,
                                 float y2, float z2, unsigned long c2, float u2, float v2, float x3, float y3,
                                 float z3, unsigned long c3, float u3, float v3) {
    drawTriangle<k3 | kC | kT, CentredCoords>(s, {{vtx(x1, y1, z1, c1, u1, v1), vtx(x2, y2, z2, c2, u2, v2),
                                              vtx(x3, y3, z3, c3, u3, v3)}});
}

void KWRRender::kwrTriangle3t(int x1, int y1, float z1, float u1, float v1, int x2, int y2, float z2, float u2,
                              float v2, int x3, int y3, float z3, float u3, float v3) {
    drawTriangle<k3 | kT, IntCoords>(s, {{vtx(x1, y1, z1, 0, u1, v1), vtx(x2, y2, z2, 0, u2, v2),
                                     vtx(x3, y3, z3, 0, u3, v3)}});
}
void KWRRender::kwrTriangle3tf(float x1, float y1, float z1, float u1, float v1, float x2, float y2, float z2,
                               float u2, float v2, float x3, float y3, float z3, float u3, float v3) {
    drawTriangle<k3 | kT, FloatCoords>(s, {{vtx(x1, y1, z1, 0, u1, v1), vtx(x2, y2, z2, 0, u2, v2),
                                       vtx(x3, y3, z3, 0, u3, v3)}});
}
void KWRRender::kwrTriangle3tfg(float x1, float y1, float z1, float u1, float v1, float x2, float y2, float z2,
                                float u2, float v2, float x3, float y3, float z3, float u3, float v3) {
    drawTriangle<k3 | kT, CentredCoords>(s, {{vtx(x1, y1, z1, 0, u1, v1), vtx(x2, y2, z2, 0, u2, v2),
                                         vtx(x3, y3, z3, 0, u3, v3)}});
}

// -------------------------------------------------------------- no depth --

void KWRRender::kwrTrianglec(int x1, int y1, unsigned long c1, int x2, int y2, unsigned long c2, int x3, int y3,
                             unsigned long c3) {
    drawTriangle<kC, IntCoords>(s, {{vtx(x1, y1, 0, c1), vtx(x2, y2, 0, c2), vtx(x3, y3, 0, c3)}});
}
void KWRRender::kwrTrianglecf(float x1, float y1, unsigned long c1, float x2, float y2, unsigned long c2,
                              float x3, float y3, unsigned long c3) {
    drawTriangle<kC, FloatCoords>(s, {{vtx(x1, y1, 0, c1), vtx(x2, y2, 0, c2), vtx(x3, y3, 0, c3)}});
}
void KWRRender::kwrTrianglecfg(float x1, float y1, unsigned long c1, float x2, float y2, unsigned long c2,
                               float x3, float y3, unsigned long c3) {
    drawTriangle<kC, CentredCoords>(s, {{vtx(x1, y1, 0, c1), vtx(x2, y2, 0, c2), vtx(x3, y3, 0, c3)}});
}

void KWRRender::kwrTrianglect(int x1, int y1, unsigned long c1, float u1, float v1, int x2, int y2,
                              unsigned long c2, float u2, float v2, int x3, int y3, unsigned long c3, float u3,
                              float v3) {
    drawTriangle<kC | kT, IntCoords>(s, {{vtx(x1, y1, 0, c1, u1, v1), vtx(x2, y2, 0, c2, u2, v2),
                                     vtx(x3, y3, 0, c3, u3, v3)}});
}
void KWRRender::kwrTrianglectf(float x1, float y1, unsigned long c1, float u1, float v1, float x2, float y2,
                               unsigned long c2, float u2, float v2, float x3, float y3, unsigned long c3,
                               float u3, float v3) {
    drawTriangle<kC | kT, FloatCoords>(s, {{vtx(x1, y1, 0, c1, u1, v1), vtx(x2, y2, 0, c2, u2, v2),
                                       vtx(x3, y3, 0, c3, u3, v3)}});
}
void KWRRender::kwrTrianglectfg(float x1, float y1, unsigned long c1, float u1, float v1, float x2, float y2,
                                unsigned long c2, float u2, float v2, float x3, float y3, unsigned long c3,
                                float u3, float v3) {
    drawTriangle<kC | kT, CentredCoords>(s, {{vtx(x1, y1, 0, c1, u1, v1), vtx(x2, y2, 0, c2, u2, v2),
                                         vtx(x3, y3, 0, c3, u3, v3)}});
}

void KWRRender::kwrTrianglet(int x1, int y1, float u1, float v1, int x2, int y2, float u2, float v2, int x3,
                             int y3, float u3, float v3) {
    drawTriangle<kT, IntCoords>(s, {{vtx(x1, y1, 0, 0, u1, v1), vtx(x2, y2, 0, 0, u2, v2), vtx(x3, y3, 0, 0, u3, v3)}});
}
void KWRRender::kwrTriangletf(float x1, float y1, float u1, float v1, float x2, float y2, float u2, float v2,
                              float x3, float y3, float u3, float v3) {
    drawTriangle<kT, FloatCoords>(s, {{vtx(x1, y1, 0, 0, u1, v1), vtx(x2, y2, 0, 0, u2, v2),
                                  vtx(x3, y3, 0, 0, u3, v3)}});
}
void KWRRender::kwrTriangletfg(float x1, float y1, float u1, float v1, float x2, float y2, float u2, float v2,
                               float x3, float y3, float u3, float v3) {
    drawTriangle<kT, CentredCoords>(s, {{vtx(x1, y1, 0, 0, u1, v1), vtx(x2, y2, 0, 0, u2, v2),
                                    vtx(x3, y3, 0, 0, u3, v3)}});
}
