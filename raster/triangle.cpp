// Depth, colour and texture triangle entry points.
//
// All 21 share one front-end body: sort, reject, row range, reset, three
// edge walks, one span fill.  What a vertex carries is the compile-time
// Kind; the named members only handle their fallbacks and coordinate forms.
#include <cstdint>
#include <type_traits>

#include "KWRRender.h"
#include "raster/triangle_rows.h"
#include "render/access.h"
#include "render/numeric.h"

namespace kwr {
namespace {

template <class Coord>
struct Vertex {
    Coord x, y;
    float z;
    std::uint32_t c;
    float u, v;
};

KWColor asColor(std::uint32_t c) {
    KWColor k;
    k.argb = c;
    return k;
}

// The colour-only fills blend only when some vertex alpha is below 0xFF.
bool anyTranslucent(std::uint32_t c1, std::uint32_t c2, std::uint32_t c3) {
    return (c1 & c2 & c3 & 0xFF000000u) != 0xFF000000u;
}

// When a kind's blended fill runs instead of its opaque one.
enum class BlendRule {
    kFillDecides,          // the flat depth fill looks at the colour itself
    kWhenEnabled,          // textured kinds: whenever blending is on
    kWhenVertexTranslucent // colour-only kinds: blending on and a vertex alpha below 0xFF
};

// Each kind names its edge walker, its opaque and blended span fills and
// the rule that chooses between them.
struct Kind3 {
    static constexpr BlendRule kBlend = BlendRule::kFillDecides;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLine3(r, a.x, a.y, a.z, b.x, b.y, b.z);
    }
    static void walk(KWRRender& r, const Vertex<float>& a, const Vertex<float>& b) {
        Access::UpdateScanLine3f(r, a.x, a.y, a.z, b.x, b.y, b.z);
    }
    // One fill for both: it hands translucent colours to the blended fill.
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTriangle3(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { opaque(r, w); }
};

struct Kind3c {
    static constexpr BlendRule kBlend = BlendRule::kWhenVertexTranslucent;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLine3c(r, a.x, a.y, a.z, asColor(a.c), b.x, b.y, b.z, asColor(b.c));
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTriangle3c(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTriangle3ca(r, w.first, w.last); }
};

struct Kind3ct {
    static constexpr BlendRule kBlend = BlendRule::kWhenEnabled;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLine3ct(r, a.x, a.y, a.z, asColor(a.c), a.u, a.v, b.x, b.y, b.z, asColor(b.c), b.u, b.v);
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTriangle3ct(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTriangle3cat(r, w.first, w.last); }
};

struct Kind3t {
    static constexpr BlendRule kBlend = BlendRule::kWhenEnabled;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLine3t(r, a.x, a.y, a.z, a.u, a.v, b.x, b.y, b.z, b.u, b.v);
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTriangle3t(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTriangle3at(r, w.first, w.last); }
};

struct Kindc {
    static constexpr BlendRule kBlend = BlendRule::kWhenVertexTranslucent;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLinec(r, a.x, a.y, asColor(a.c), b.x, b.y, asColor(b.c));
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTrianglec(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTriangleca(r, w.first, w.last); }
};

struct Kindct {
    static constexpr BlendRule kBlend = BlendRule::kWhenEnabled;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLinect(r, a.x, a.y, asColor(a.c), a.u, a.v, b.x, b.y, asColor(b.c), b.u, b.v);
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTrianglect(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTrianglecat(r, w.first, w.last); }
};

struct Kindt {
    static constexpr BlendRule kBlend = BlendRule::kWhenEnabled;
    static void walk(KWRRender& r, const Vertex<int>& a, const Vertex<int>& b) {
        Access::UpdateScanLinet(r, a.x, a.y, a.u, a.v, b.x, b.y, b.u, b.v);
    }
    static void opaque(KWRRender& r, RowRange w) { Access::rasterTrianglet(r, w.first, w.last); }
    static void blended(KWRRender& r, RowRange w) { Access::rasterTriangleat(r, w.first, w.last); }
};

// Walks the three edges (top to middle and middle to bottom only where
// they can reach the surface) and runs the kind's fill.
template <class K, class V>
void walkAndFill(KWRRender& r, RowRange rows, const V* v, bool topEdge, bool bottomEdge) {
    if (topEdge) K::walk(r, v[0], v[1]);
    if (bottomEdge) K::walk(r, v[1], v[2]);
    K::walk(r, v[0], v[2]);
    bool blend = false;
    if constexpr (K::kBlend == BlendRule::kWhenEnabled) blend = Access::state(r).alphaEnable != 0;
    if constexpr (K::kBlend == BlendRule::kWhenVertexTranslucent)
        blend = Access::state(r).alphaEnable != 0 && anyTranslucent(v[0].c, v[1].c, v[2].c);
    if (blend) K::blended(r, rows);
    else K::opaque(r, rows);
}

template <class Coord>
void sortByY(Vertex<Coord>* v) {
    // Three compare-and-swaps, each swapping only on a strictly greater y,
    // so equal rows keep the argument order.
    auto order = [](Vertex<Coord>& a, Vertex<Coord>& b) {
        if (a.y > b.y) {
            const Vertex<Coord> t = a;
            a = b;
            b = t;
        }
    };
    order(v[0], v[1]);
    order(v[1], v[2]);
    order(v[0], v[1]);
}

// Integer vertices.
template <class K>
void drawTriangle(KWRRender& r, Vertex<int> v1, Vertex<int> v2, Vertex<int> v3) {
    RenderState& s = Access::state(r);
    Vertex<int> v[3] = {v1, v2, v3};
    sortByY(v);
    if (v[2].y < 0 || v[0].y >= s.height) return;
    const RowRange rows = intRows(s, v[0].y, v[2].y);
    resetRows(s, rows);
    walkAndFill<K>(r, rows, v, v[1].y >= 0, v[1].y <= s.clipBottom);
}

// Float vertices: rejection, row range and edge conditions use the
// unrounded values; the edges get rounded ones, except the flat depth
// walker, which clips and rounds by itself.
template <class K>
void drawTriangle(KWRRender& r, Vertex<float> v1, Vertex<float> v2, Vertex<float> v3) {
    RenderState& s = Access::state(r);
    Vertex<float> v[3] = {v1, v2, v3};
    sortByY(v);
    if (v[2].y < 0 || v[0].y >= s.heightF) return;
    const RowRange rows = floatRows(s, v[0].y, v[2].y);
    if (rows.first <= rows.last) resetRows(s, rows);
    const bool topEdge = v[1].y >= 0;
    const bool bottomEdge = s.clipBottomF >= v[1].y;
    if constexpr (std::is_same<K, Kind3>::value) {
        walkAndFill<K>(r, rows, v, topEdge, bottomEdge);
    } else {
        Vertex<int> w[3];
        for (int i = 0; i < 3; ++i)
            w[i] = Vertex<int>{roundHalfUp(v[i].x), roundHalfUp(v[i].y), v[i].z, v[i].c, v[i].u, v[i].v};
        walkAndFill<K>(r, rows, w, topEdge, bottomEdge);
    }
}

// Depth testing needs the test switched on and a buffer to test against.
bool depthActive(const RenderState& s) { return s.zTestActive != 0 && s.zBuffer != nullptr; }

// A map counts as bound when it is not the built-in texel and has a size;
// one stated with a width or height of zero or less cannot be sampled.
bool textureBound(const RenderState& s) {
    const bool texture = s.texture != kBuiltinTexel && s.textureWidth > 0 && s.textureHeight > 0;
    const bool alphaMap = s.alphaMap != kBuiltinTexel && s.alphaMapWidth > 0 && s.alphaMapHeight > 0;
    return texture || alphaMap;
}

template <class C>
Vertex<C> vtx(C x, C y, float z = 0, unsigned long c = 0, float u = 0, float v = 0) {
    return Vertex<C>{x, y, z, static_cast<std::uint32_t>(c), u, v};
}

}  // namespace
}  // namespace kwr

using kwr::drawTriangle;
using kwr::vtx;

// ----------------------------------------------------------------- depth --

void KWRRender::kwrTriangle3(int x1, int y1, float z1, int x2, int y2, float z2, int x3, int y3, float z3) {
    if (!kwr::depthActive(s)) return kwrTriangle(x1, y1, x2, y2, x3, y3);
    drawTriangle<kwr::Kind3>(*this, vtx(x1, y1, z1), vtx(x2, y2, z2), vtx(x3, y3, z3));
}

void KWRRender::kwrTriangle3f(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3,
                              float z3) {
    if (!kwr::depthActive(s)) return kwrTrianglef(x1, y1, x2, y2, x3, y3);
    drawTriangle<kwr::Kind3>(*this, vtx(x1, y1, z1), vtx(x2, y2, z2), vtx(x3, y3, z3));
}

void KWRRender::kwrTriangle3fg(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3,
                               float z3) {
    kwrTriangle3f(s.centerX + x1, s.centerY - y1, z1, s.centerX + x2, s.centerY - y2, z2, s.centerX + x3,
                  s.centerY - y3, z3);
}

void KWRRender::kwrTriangle3c(int x1, int y1, float z1, unsigned long c1, int x2, int y2, float z2,
                              unsigned long c2, int x3, int y3, float z3, unsigned long c3) {
    if (!kwr::depthActive(s)) return kwrTrianglec(x1, y1, c1, x2, y2, c2, x3, y3, c3);
    drawTriangle<kwr::Kind3c>(*this, vtx(x1, y1, z1, c1), vtx(x2, y2, z2, c2), vtx(x3, y3, z3, c3));
}

void KWRRender::kwrTriangle3cf(float x1, float y1, float z1, unsigned long c1, float x2, float y2, float z2,
                               unsigned long c2, float x3, float y3, float z3, unsigned long c3) {
    if (!kwr::depthActive(s)) return kwrTrianglecf(x1, y1, c1, x2, y2, c2, x3, y3, c3);
    drawTriangle<kwr::Kind3c>(*this, vtx(x1, y1, z1, c1), vtx(x2, y2, z2, c2), vtx(x3, y3, z3, c3));
}

void KWRRender::kwrTriangle3cfg(float x1, float y1, float z1, unsigned long c1, float x2, float y2, float z2,
                                unsigned long c2, float x3, float y3, float z3, unsigned long c3) {
    kwrTriangle3cf(s.centerX + x1, s.centerY - y1, z1, c1, s.centerX + x2, s.centerY - y2, z2, c2,
                   s.centerX + x3, s.centerY - y3, z3, c3);
}

void KWRRender::kwrTriangle3ct(int x1, int y1, float z1, unsigned long c1, float u1, float v1, int x2, int y2,
                               float z2, unsigned long c2, float u2, float v2, int x3, int y3, float z3,
                               unsigned long c3, float u3, float v3) {
    if (!kwr::depthActive(s)) return kwrTrianglect(x1, y1, c1, u1, v1, x2, y2, c2, u2, v2, x3, y3, c3, u3, v3);
    if (!kwr::textureBound(s)) return kwrTriangle3c(x1, y1, z1, c1, x2, y2, z2, c2, x3, y3, z3, c3);
    drawTriangle<kwr::Kind3ct>(*this, vtx(x1, y1, z1, c1, u1, v1), vtx(x2, y2, z2, c2, u2, v2),
                               vtx(x3, y3, z3, c3, u3, v3));
}

void KWRRender::kwrTriangle3ctf(float x1, float y1, float z1, unsigned long c1, float u1, float v1, float x2,
                                float y2, float z2, unsigned long c2, float u2, float v2, float x3, float y3,
                                float z3, unsigned long c3, float u3, float v3) {
    if (!kwr::depthActive(s)) return kwrTrianglectf(x1, y1, c1, u1, v1, x2, y2, c2, u2, v2, x3, y3, c3, u3, v3);
    if (!kwr::textureBound(s)) return kwrTriangle3cf(x1, y1, z1, c1, x2, y2, z2, c2, x3, y3, z3, c3);
    drawTriangle<kwr::Kind3ct>(*this, vtx(x1, y1, z1, c1, u1, v1), vtx(x2, y2, z2, c2, u2, v2),
                               vtx(x3, y3, z3, c3, u3, v3));
}

void KWRRender::kwrTriangle3ctfg(float x1, float y1, float z1, unsigned long c1, float u1, float v1, float x2,
                                 float y2, float z2, unsigned long c2, float u2, float v2, float x3, float y3,
                                 float z3, unsigned long c3, float u3, float v3) {
    kwrTriangle3ctf(s.centerX + x1, s.centerY - y1, z1, c1, u1, v1, s.centerX + x2, s.centerY - y2, z2, c2, u2,
                    v2, s.centerX + x3, s.centerY - y3, z3, c3, u3, v3);
}

void KWRRender::kwrTriangle3t(int x1, int y1, float z1, float u1, float v1, int x2, int y2, float z2, float u2,
                              float v2, int x3, int y3, float z3, float u3, float v3) {
    if (!kwr::depthActive(s)) return kwrTrianglet(x1, y1, u1, v1, x2, y2, u2, v2, x3, y3, u3, v3);
    if (!kwr::textureBound(s)) return kwrTriangle3(x1, y1, z1, x2, y2, z2, x3, y3, z3);
    drawTriangle<kwr::Kind3t>(*this, vtx(x1, y1, z1, 0, u1, v1), vtx(x2, y2, z2, 0, u2, v2),
                              vtx(x3, y3, z3, 0, u3, v3));
}

void KWRRender::kwrTriangle3tf(float x1, float y1, float z1, float u1, float v1, float x2, float y2, float z2,
                               float u2, float v2, float x3, float y3, float z3, float u3, float v3) {
    if (!kwr::depthActive(s)) return kwrTriangletf(x1, y1, u1, v1, x2, y2, u2, v2, x3, y3, u3, v3);
    if (!kwr::textureBound(s)) return kwrTriangle3f(x1, y1, z1, x2, y2, z2, x3, y3, z3);
    drawTriangle<kwr::Kind3t>(*this, vtx(x1, y1, z1, 0, u1, v1), vtx(x2, y2, z2, 0, u2, v2),
                              vtx(x3, y3, z3, 0, u3, v3));
}

void KWRRender::kwrTriangle3tfg(float x1, float y1, float z1, float u1, float v1, float x2, float y2, float z2,
                                float u2, float v2, float x3, float y3, float z3, float u3, float v3) {
    kwrTriangle3tf(s.centerX + x1, s.centerY - y1, z1, u1, v1, s.centerX + x2, s.centerY - y2, z2, u2, v2,
                   s.centerX + x3, s.centerY - y3, z3, u3, v3);
}

// -------------------------------------------------------------- no depth --

void KWRRender::kwrTrianglec(int x1, int y1, unsigned long c1, int x2, int y2, unsigned long c2, int x3, int y3,
                             unsigned long c3) {
    drawTriangle<kwr::Kindc>(*this, vtx(x1, y1, 0.0f, c1), vtx(x2, y2, 0.0f, c2), vtx(x3, y3, 0.0f, c3));
}

void KWRRender::kwrTrianglecf(float x1, float y1, unsigned long c1, float x2, float y2, unsigned long c2,
                              float x3, float y3, unsigned long c3) {
    drawTriangle<kwr::Kindc>(*this, vtx(x1, y1, 0.0f, c1), vtx(x2, y2, 0.0f, c2), vtx(x3, y3, 0.0f, c3));
}

void KWRRender::kwrTrianglecfg(float x1, float y1, unsigned long c1, float x2, float y2, unsigned long c2,
                               float x3, float y3, unsigned long c3) {
    kwrTrianglecf(s.centerX + x1, s.centerY - y1, c1, s.centerX + x2, s.centerY - y2, c2, s.centerX + x3,
                  s.centerY - y3, c3);
}

void KWRRender::kwrTrianglect(int x1, int y1, unsigned long c1, float u1, float v1, int x2, int y2,
                              unsigned long c2, float u2, float v2, int x3, int y3, unsigned long c3, float u3,
                              float v3) {
    if (!kwr::textureBound(s)) return kwrTrianglec(x1, y1, c1, x2, y2, c2, x3, y3, c3);
    drawTriangle<kwr::Kindct>(*this, vtx(x1, y1, 0.0f, c1, u1, v1), vtx(x2, y2, 0.0f, c2, u2, v2),
                              vtx(x3, y3, 0.0f, c3, u3, v3));
}

void KWRRender::kwrTrianglectf(float x1, float y1, unsigned long c1, float u1, float v1, float x2, float y2,
                               unsigned long c2, float u2, float v2, float x3, float y3, unsigned long c3,
                               float u3, float v3) {
    if (!kwr::textureBound(s)) return kwrTrianglecf(x1, y1, c1, x2, y2, c2, x3, y3, c3);
    drawTriangle<kwr::Kindct>(*this, vtx(x1, y1, 0.0f, c1, u1, v1), vtx(x2, y2, 0.0f, c2, u2, v2),
                              vtx(x3, y3, 0.0f, c3, u3, v3));
}

void KWRRender::kwrTrianglectfg(float x1, float y1, unsigned long c1, float u1, float v1, float x2, float y2,
                                unsigned long c2, float u2, float v2, float x3, float y3, unsigned long c3,
                                float u3, float v3) {
    kwrTrianglectf(s.centerX + x1, s.centerY - y1, c1, u1, v1, s.centerX + x2, s.centerY - y2, c2, u2, v2,
                   s.centerX + x3, s.centerY - y3, c3, u3, v3);
}

void KWRRender::kwrTrianglet(int x1, int y1, float u1, float v1, int x2, int y2, float u2, float v2, int x3,
                             int y3, float u3, float v3) {
    if (!kwr::textureBound(s)) return kwrTriangle(x1, y1, x2, y2, x3, y3);
    drawTriangle<kwr::Kindt>(*this, vtx(x1, y1, 0.0f, 0, u1, v1), vtx(x2, y2, 0.0f, 0, u2, v2),
                             vtx(x3, y3, 0.0f, 0, u3, v3));
}

void KWRRender::kwrTriangletf(float x1, float y1, float u1, float v1, float x2, float y2, float u2, float v2,
                              float x3, float y3, float u3, float v3) {
    if (!kwr::textureBound(s)) return kwrTrianglef(x1, y1, x2, y2, x3, y3);
    drawTriangle<kwr::Kindt>(*this, vtx(x1, y1, 0.0f, 0, u1, v1), vtx(x2, y2, 0.0f, 0, u2, v2),
                             vtx(x3, y3, 0.0f, 0, u3, v3));
}

void KWRRender::kwrTriangletfg(float x1, float y1, float u1, float v1, float x2, float y2, float u2, float v2,
                               float x3, float y3, float u3, float v3) {
    kwrTriangletf(s.centerX + x1, s.centerY - y1, u1, v1, s.centerX + x2, s.centerY - y2, u2, v2,
                  s.centerX + x3, s.centerY - y3, u3, v3);
}
