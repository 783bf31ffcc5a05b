// Clip-space triangles: validation, clipping in homogeneous coordinates,
// culling and projection to pixel coordinates, then the triangle
// rasteriser (raster/triangle.cpp) draws the convex polygon that remains.
//
// When the context records for several threads, the caller checks the
// arrays and records runs of triangles, each a copy of its vertices with
// the threads whose rows it may reach; every thread clips and draws its own
// triangles of a run, and a recorded call never reads the host's arrays
// after it returned.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "KWRRender.h"
#include "raster/edge_walk.h"
#include "raster/screen_polygon.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {
namespace {

// A vertex in clip space with its attributes, in double precision.
struct ClipVertex {
    double x, y, z, w;
    double c[4];  // red, green, blue, alpha on 0..255
    double u, v;
};

// The guard band: x and y are clipped to -kGuard * w .. kGuard * w only
// where a vertex lies beyond, so pixel coordinates stay within about 32
// frames of the frame, where floats still hold them to a small fraction of
// a pixel.
constexpr double kGuard = 64.0;

// The planes, each as the signed distance d(v), inside where d >= 0.
enum Plane { kNear, kFar, kRight, kLeft, kTop, kBottom, kPlaneCount };
double distance(const ClipVertex& p, int plane) {
    switch (plane) {
    case kNear: return p.z;
    case kFar: return p.w - p.z;
    case kRight: return kGuard * p.w - p.x;
    case kLeft: return kGuard * p.w + p.x;
    case kTop: return kGuard * p.w - p.y;
    default: return kGuard * p.w + p.y;
    }
}

// The crossing of the edge from the inside vertex a to the outside vertex
// b: t = da / (da - db) and every component a + (b - a) * t.  Always taken
// from the inside end, so that two triangles sharing an edge cut it at the
// same point.
ClipVertex crossing(const ClipVertex& a, const ClipVertex& b, double da, double db) {
    const double t = da / (da - db);
    auto lerp = [t](double p, double q) { return p + (q - p) * t; };
    ClipVertex o;
    o.x = lerp(a.x, b.x);
    o.y = lerp(a.y, b.y);
    o.z = lerp(a.z, b.z);
    o.w = lerp(a.w, b.w);
    for (int k = 0; k < 4; ++k) o.c[k] = lerp(a.c[k], b.c[k]);
    o.u = lerp(a.u, b.u);
    o.v = lerp(a.v, b.v);
    return o;
}

// Sutherland-Hodgman: the part of polygon `in` (n vertices) inside `plane`
// into `out`; returns its vertex count (each plane adds at most one).
int clipAgainst(const ClipVertex* in, int n, int plane, ClipVertex* out) {
    int m = 0;
    for (int i = 0; i < n; ++i) {
        const ClipVertex& a = in[i];
        const ClipVertex& b = in[i + 1 < n ? i + 1 : 0];
        const double da = distance(a, plane), db = distance(b, plane);
        if (da >= 0) out[m++] = a;
        if ((da >= 0) != (db >= 0)) out[m++] = da >= 0 ? crossing(a, b, da, db) : crossing(b, a, db, da);
    }
    return m;
}

// Which planes a vertex is outside of, a bit each, and which of the
// frame's own sides (x > w, x < -w, y > w, y < -w), used only to reject.
constexpr unsigned kOutsideRightSide = 1u << kPlaneCount, kOutsideLeftSide = kOutsideRightSide << 1,
                   kOutsideTopSide = kOutsideRightSide << 2, kOutsideBottomSide = kOutsideRightSide << 3;
unsigned outcode(const ClipVertex& p) {
    unsigned code = 0;
    for (int plane = 0; plane < kPlaneCount; ++plane)
        if (!(distance(p, plane) >= 0)) code |= 1u << plane;
    if (p.x > p.w) code |= kOutsideRightSide;
    if (p.x < -p.w) code |= kOutsideLeftSide;
    if (p.y > p.w) code |= kOutsideTopSide;
    if (p.y < -p.w) code |= kOutsideBottomSide;
    return code;
}

// What the call gives per vertex.
struct Arrays {
    const float* xyzw;
    const std::uint32_t* argb;
    const float* uv;
};

bool finite(float v) { return std::isfinite(v); }

// Vertex i of the arrays; false when a component is NaN or infinite.
bool loadVertex(const RenderState& s, const Arrays& a, std::int64_t i, ClipVertex& p, std::uint32_t& colour) {
    const float* c = a.xyzw + 4 * i;
    if (!(finite(c[0]) && finite(c[1]) && finite(c[2]) && finite(c[3]))) return false;
    p.x = c[0];
    p.y = c[1];
    p.z = c[2];
    p.w = c[3];
    colour = a.argb != nullptr ? a.argb[i] : s.color;
    p.c[0] = static_cast<double>((colour >> 16) & 0xFFu);
    p.c[1] = static_cast<double>((colour >> 8) & 0xFFu);
    p.c[2] = static_cast<double>(colour & 0xFFu);
    p.c[3] = static_cast<double>(colour >> 24);
    p.u = p.v = 0.0;
    if (a.uv != nullptr) {
        if (!(finite(a.uv[2 * i]) && finite(a.uv[2 * i + 1]))) return false;
        p.u = a.uv[2 * i];
        p.v = a.uv[2 * i + 1];
    }
    return true;
}

// The polygon's winding on the frame in normalised coordinates (x / w,
// y / w, y up): positive for counter-clockwise (front) faces.
double windingArea(const ClipVertex* p, int n) {
    double area = 0;
    for (int i = 0; i < n; ++i) {
        const ClipVertex& a = p[i];
        const ClipVertex& b = p[i + 1 < n ? i + 1 : 0];
        area += (a.x / a.w) * (b.y / b.w) - (b.x / b.w) * (a.y / a.w);
    }
    return area;
}

// Projects the polygon to pixels and draws it.
template <int N>
void emitPolygon(RenderState& s, const ClipVertex* in, int n, unsigned carried, bool perspective,
                 const std::uint32_t* colours) {
    ScreenPolygon<N> p;
    p.carried = carried;
    p.perspective = perspective;
    p.count = n;
    for (int i = 0; i < 3; ++i) p.colours[i] = colours[i];
    const double halfWidth = 0.5 * static_cast<double>(s.width), halfHeight = 0.5 * static_cast<double>(s.height);
    for (int i = 0; i < n; ++i) {
        const ClipVertex& c = in[i];
        ScreenVertex& o = p.v[i];
        o.x = static_cast<float>((c.x / c.w + 1.0) * halfWidth);
        o.y = static_cast<float>((1.0 - c.y / c.w) * halfHeight);
        o.z = static_cast<float>(c.z / c.w);
        if (perspective) {
            const double q = 1.0 / c.w;
            for (int k = 0; k < 4; ++k) o.c[k] = static_cast<float>(c.c[k] * q);
            o.u = static_cast<float>(c.u * q);
            o.v = static_cast<float>(c.v * q);
            o.q = static_cast<float>(q);
        } else {
            for (int k = 0; k < 4; ++k) o.c[k] = static_cast<float>(c.c[k]);
            o.u = static_cast<float>(c.u);
            o.v = static_cast<float>(c.v);
            o.q = 1.0f;
        }
    }
    drawScreenPolygon(s, p);
}

// One triangle: reject, clip, cull, project, draw.
void drawClipTriangle(RenderState& s, const ClipVertex* v, const std::uint32_t* colours, unsigned carried) {
    const unsigned o0 = outcode(v[0]), o1 = outcode(v[1]), o2 = outcode(v[2]);
    if ((o0 & o1 & o2) != 0) return;  // wholly outside one plane or one side of the frame
    constexpr unsigned kPlanes = (1u << kPlaneCount) - 1;
    ClipVertex a[kMaxPolygonVertices], b[kMaxPolygonVertices];
    const bool whole = ((o0 | o1 | o2) & kPlanes) == 0;
    int n = 3;
    const ClipVertex* poly = v;
    if (!whole) {
        for (int i = 0; i < 3; ++i) a[i] = v[i];
        ClipVertex* from = a;
        ClipVertex* to = b;
        const unsigned planes = (o0 | o1 | o2) & kPlanes;
        for (int plane = 0; plane < kPlaneCount && n >= 3; ++plane) {
            if ((planes & (1u << plane)) == 0) continue;
            n = clipAgainst(from, n, plane, to);
            ClipVertex* t = from;
            from = to;
            to = t;
        }
        if (n < 3) return;
        poly = from;
    }
    // Only points at w > 0 project; the planes leave w >= 0.
    for (int i = 0; i < n; ++i)
        if (!(poly[i].w > 0)) return;
    if (s.cullMode != KWR_CULL_NONE) {
        const double area = windingArea(poly, n);
        if (s.cullMode == KWR_CULL_BACK ? area < 0 : area > 0) return;
    }
    // Kinds without colour or texture have nothing to divide by w; a whole
    // triangle of equal w is affine on the frame.
    const bool affine = whole && ((carried & (kCarryColour | kCarryTexCoords)) == 0 ||
                                  (v[0].w == v[1].w && v[1].w == v[2].w));
    if (n == 3)
        emitPolygon<3>(s, poly, n, carried, !affine, colours);
    else
        emitPolygon<kMaxPolygonVertices>(s, poly, n, carried, true, colours);
}

// A run of triangles recorded for the threads: the run, then each
// triangle's threads, then its three vertices' xyzw, colours and, where the
// call has them, uv.
struct ClipRun {
    std::uint32_t count;
    unsigned carried;
    bool uv;
};
constexpr std::size_t kClipRun = 256;
constexpr std::size_t kClipMasksAt = recordRoundUp(sizeof(ClipRun));
constexpr std::size_t kClipXyzwBytes = 12 * sizeof(float), kClipArgbBytes = 3 * sizeof(std::uint32_t),
                      kClipUvBytes = 6 * sizeof(float);

std::size_t clipTriangleBytes(bool uv) {
    return sizeof(std::uint64_t) + kClipXyzwBytes + kClipArgbBytes + (uv ? kClipUvBytes : 0);
}

void replayClipRun(KWRRender&, RenderState& s, const unsigned char* args) {
    ClipRun run;
    std::memcpy(&run, args, sizeof run);
    const unsigned char* at = args + kClipMasksAt;
    const unsigned char* vertices = at + run.count * sizeof(std::uint64_t);
    const std::size_t stride = clipTriangleBytes(run.uv) - sizeof(std::uint64_t);
    float xyzw[12], uv[6];
    std::uint32_t argb[3];
    const Arrays a{xyzw, argb, run.uv ? uv : nullptr};
    for (std::uint32_t t = 0; t < run.count; ++t, vertices += stride) {
        std::uint64_t threads;
        std::memcpy(&threads, at + t * sizeof threads, sizeof threads);
        if (((threads >> s.bandIndex) & 1u) == 0) continue;
        std::memcpy(xyzw, vertices, kClipXyzwBytes);
        std::memcpy(argb, vertices + kClipXyzwBytes, kClipArgbBytes);
        if (run.uv) std::memcpy(uv, vertices + kClipXyzwBytes + kClipArgbBytes, kClipUvBytes);
        ClipVertex v[3];
        for (int k = 0; k < 3; ++k) loadVertex(s, a, k, v[k], argb[k]);
        drawClipTriangle(s, v, argb, run.carried);
    }
}

// The threads a triangle may reach: with every w above 0 its clipped
// polygon projects inside its projected corners (the rows of the threads
// have a row of margin for rounding); otherwise all of them.
std::uint64_t clipTriangleThreads(const RenderState& s, const float* xyzw) {
    const double halfHeight = 0.5 * static_cast<double>(s.height);
    double y[3];
    for (int k = 0; k < 3; ++k) {
        const double w = xyzw[4 * k + 3];
        if (!(w > 0)) return kAllThreads;
        y[k] = static_cast<double>(static_cast<float>((1.0 - xyzw[4 * k + 1] / w) * halfHeight));
    }
    return s.pool->threadsForTriangle(y[0], y[1], y[2], s.height);
}

// Records the triangles whose components are all finite, in runs; false
// when a triangle was left out for a NaN or infinite component.
bool recordClipMesh(RenderState& s, const Arrays& a, std::int64_t count, const std::uint32_t* indices,
                    unsigned carried) {
    bool allFinite = true;
    const bool hasUv = a.uv != nullptr;
    const std::size_t bytes = clipTriangleBytes(hasUv);
    for (std::int64_t first = 0; first < count;) {
        CommandHeader h{&replayClipRun, 0, 0, 0};
        const std::size_t most = static_cast<std::size_t>(count - first < std::int64_t{kClipRun} ? count - first
                                                                                                 : std::int64_t{kClipRun});
        unsigned char* const at = s.pool->reserve(s, kClipMasksAt + most * bytes, h);
        unsigned char* masks = at + kClipMasksAt;
        // Triangles are written as if the run were full, then moved up
        // behind the masks of those kept.
        unsigned char* vertices = masks + most * sizeof(std::uint64_t);
        std::uint32_t kept = 0;
        std::uint64_t any = 0;
        for (std::size_t i = 0; i < most; ++i, ++first) {
            float xyzw[12], uv[6];
            std::uint32_t argb[3];
            bool ok = true;
            for (int k = 0; k < 3 && ok; ++k) {
                const std::int64_t v = indices != nullptr ? indices[3 * first + k] : 3 * first + k;
                std::memcpy(xyzw + 4 * k, a.xyzw + 4 * v, 4 * sizeof(float));
                argb[k] = a.argb != nullptr ? a.argb[v] : s.color;
                if (hasUv) std::memcpy(uv + 2 * k, a.uv + 2 * v, 2 * sizeof(float));
                for (int c = 0; c < 4; ++c) ok = ok && finite(xyzw[4 * k + c]);
                if (hasUv) ok = ok && finite(uv[2 * k]) && finite(uv[2 * k + 1]);
            }
            if (!ok) {
                allFinite = false;
                continue;
            }
            const std::uint64_t threads = clipTriangleThreads(s, xyzw);
            any |= threads;
            std::memcpy(masks + kept * sizeof threads, &threads, sizeof threads);
            unsigned char* to = vertices + kept * (bytes - sizeof threads);
            std::memcpy(to, xyzw, kClipXyzwBytes);
            std::memcpy(to + kClipXyzwBytes, argb, kClipArgbBytes);
            if (hasUv) std::memcpy(to + kClipXyzwBytes + kClipArgbBytes, uv, kClipUvBytes);
            ++kept;
        }
        if (kept < most)
            std::memmove(masks + kept * sizeof(std::uint64_t), vertices, kept * (bytes - sizeof(std::uint64_t)));
        const ClipRun run{kept, carried, hasUv};
        std::memcpy(at, &run, sizeof run);
        ThreadPool::setThreads(at, any);
    }
    return allFinite;
}

// The calls' common body: indices null for consecutive triples.
int drawClipMesh(RenderState& s, int vertexCount, const Arrays& a, int count, const std::uint32_t* indices) {
    auto fail = [&](int code) {
        s.lastError = code;
        return 0;
    };
    if (count < 0 || vertexCount < 0) return fail(KWR_ERROR_BAD_ARGUMENT);
    if (count == 0) {
        s.lastError = 0;
        return 1;
    }
    if (a.xyzw == nullptr || (indices == nullptr && vertexCount / 3 < count)) return fail(KWR_ERROR_BAD_ARGUMENT);
    if (indices != nullptr) {
        for (std::int64_t i = 0; i < 3 * static_cast<std::int64_t>(count); ++i)
            if (indices[i] >= static_cast<std::uint32_t>(vertexCount)) return fail(KWR_ERROR_BAD_INDEX);
    }
    if (s.dib == nullptr) return fail(KWR_ERROR_NO_FRAME);
    const unsigned carried = kCarryDepth | (a.argb != nullptr ? kCarryColour : 0u) |
                             (a.uv != nullptr ? kCarryTexCoords : 0u);
    if (recording(s)) {
        if (!recordClipMesh(s, a, count, indices, carried)) return fail(KWR_ERROR_NOT_FINITE);
        s.lastError = 0;
        return 1;
    }
    bool allFinite = true;
    for (std::int64_t t = 0; t < count; ++t) {
        ClipVertex v[3];
        std::uint32_t colours[3];
        bool ok = true;
        for (int k = 0; k < 3 && ok; ++k) {
            const std::int64_t i = indices != nullptr ? indices[3 * t + k] : 3 * t + k;
            ok = loadVertex(s, a, i, v[k], colours[k]);
        }
        if (!ok) {
            allFinite = false;
            continue;
        }
        drawClipTriangle(s, v, colours, carried);
    }
    if (!allFinite) return fail(KWR_ERROR_NOT_FINITE);
    s.lastError = 0;
    return 1;
}

}  // namespace
}  // namespace kwr

int KWRRender::kwrTrianglesClip(int count, const float* xyzw, const std::uint32_t* argb, const float* uv) {
    const int vertices = count >= 0 && count <= INT32_MAX / 3 ? 3 * count : (count < 0 ? 0 : INT32_MAX);
    return kwr::drawClipMesh(s, vertices, kwr::Arrays{xyzw, argb, uv}, count, nullptr);
}

int KWRRender::kwrTrianglesClipIndexed(int vertexCount, const float* xyzw, const std::uint32_t* argb, const float* uv,
                                       int count, const std::uint32_t* indices) {
    if (indices == nullptr && count > 0) {
        s.lastError = KWR_ERROR_BAD_ARGUMENT;
        return 0;
    }
    return kwr::drawClipMesh(s, vertexCount, kwr::Arrays{xyzw, argb, uv}, count, indices);
}

void KWRRender::kwrSetCull(int mode) {
    if (mode < KWR_CULL_NONE || mode > KWR_CULL_FRONT) return;
    KWR_RECORD_STATE(kwrSetCull, mode);
    s.cullMode = mode;
}

void KWRRender::kwrSetTextureFilter(int filter) {
    if (filter != KWR_FILTER_NEAREST && filter != KWR_FILTER_BILINEAR) return;
    KWR_RECORD_STATE(kwrSetTextureFilter, filter);
    s.textureFilter = filter;
}
