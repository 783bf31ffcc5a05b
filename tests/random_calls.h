// Random calls over the whole public drawing interface with arbitrary
// arguments and state, and the host memory they read: every recorded call
// of the table of calls (calls_table.inc) is among them.
#ifndef KWR_TESTS_RANDOM_CALLS_H
#define KWR_TESTS_RANDOM_CALLS_H

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "KWRRender.h"
#include "calls_table.inc"

namespace kwr_test {

struct Fuzzer {
    std::mt19937 rng;

    int pick(int n) { return static_cast<int>(rng() % static_cast<std::uint32_t>(n)); }
    bool chance(int percent) { return pick(100) < percent; }

    // Half of the values are special: NaN, infinities, huge, rounding ties.
    float anyFloat(float span) {
        const float inf = std::numeric_limits<float>::infinity();
        const float special[] = {std::nanf(""), inf, -inf, 1e30f, -1e30f, 3e9f, -3e9f, 40000.5f, -40000.5f, -0.0f,
                                 -1.5f, 0.5f, 2.5f};
        if (chance(40)) return special[pick(13)];
        return std::uniform_real_distribution<float>(-span, 2.0f * span)(rng);
    }
    int anyInt(int span) {
        const int special[] = {INT_MIN, INT_MAX, 46341, -46341, 1 << 30, -(1 << 30), 32767, -32768};
        if (chance(35)) return special[pick(8)];
        return pick(3 * span + 1) - span;
    }
    unsigned long anyColor() {
        const std::uint32_t alphas[] = {0x00u, 0x01u, 0x7Fu, 0x80u, 0xFEu, 0xFFu};
        const std::uint32_t rgb = rng() & 0xFFFFFFu;
        return (static_cast<unsigned long>(alphas[pick(6)]) << 24) | rgb;
    }
};

constexpr std::size_t kCanaryBytes = 32;
constexpr unsigned char kCanary = 0xC5;

// Host memory with canary bytes on both sides; its contents are random and
// remembered, so that any write into it or next to it shows.
struct HostBlock {
    std::vector<unsigned char> bytes;
    std::vector<unsigned char> copy;
    // New memory every time: the old block is released, not reused.
    void assign(std::size_t n, std::mt19937& rng) {
        std::vector<unsigned char>(n + 2 * kCanaryBytes, kCanary).swap(bytes);
        for (std::size_t i = 0; i < n; ++i) bytes[kCanaryBytes + i] = static_cast<unsigned char>(rng());
        copy = bytes;
    }
    unsigned char* data() { return bytes.data() + kCanaryBytes; }
    bool intact() const { return bytes == copy; }
};

struct HostBuffers {
    HostBlock texture, alphaMap;
    bool sourcesIntact = true;  // every bitmap and blit source, checked when its call returned
    bool intact() const { return texture.intact() && alphaMap.intact() && sourcesIntact; }
};

// Binds a texture and an alpha map of random, truthfully stated sizes, or
// nothing.
inline void bindRandomMaps(KWRRender& r, Fuzzer& f, HostBuffers& h) {
    r.kwrFlush();  // recorded calls may still read the maps released below
    const int tw = 1 + f.pick(9), th = 1 + f.pick(7), tPitch = 4 * tw + 4 * f.pick(3);
    const int aw = 1 + f.pick(9), ah = 1 + f.pick(7), aPitch = aw + f.pick(5);
    h.texture.assign(static_cast<std::size_t>(tPitch) * th, f.rng);
    h.alphaMap.assign(static_cast<std::size_t>(aPitch) * ah, f.rng);
    r.kwrSetTexture(f.chance(25) ? nullptr : h.texture.data(), tw, th, tPitch);
    r.kwrSetAlphaMap(f.chance(40) ? nullptr : h.alphaMap.data(), aw, ah, aPitch);
}

// A clip-space mesh of a few triangles, colours and texture coordinates
// each there or not, indexed or not: well-formed perspective views with w
// varying across each triangle, some reaching behind the eye, or with
// `hostile` components (NaN, infinities, w = 0, negative w, huge values)
// and indices.  The arrays are gone when the call returns.
inline void randomClipMeshOf(KWRRender& r, Fuzzer& f, bool hostile, bool indexed) {
    const int n = 1 + f.pick(6);
    std::vector<float> xyzw(12 * n + 4), uv(6 * n + 2);
    std::vector<std::uint32_t> argb(3 * n + 1), indices(3 * n);
    std::uniform_real_distribution<float> unit(-1.3f, 1.3f), depth(-0.3f, 4.0f), tex(-1.5f, 2.5f);
    for (int i = 0; i < 3 * n; ++i) {
        // A point in front of (or behind) a camera: w is its distance.
        const float w = depth(f.rng);
        xyzw[4 * i] = unit(f.rng) * w;
        xyzw[4 * i + 1] = unit(f.rng) * w;
        xyzw[4 * i + 2] = (w - 0.1f) * 1.02f;
        xyzw[4 * i + 3] = w;
        if (hostile && f.chance(30)) xyzw[4 * i + f.pick(4)] = f.anyFloat(3.0f);
        argb[i] = static_cast<std::uint32_t>(f.anyColor());
        uv[2 * i] = tex(f.rng);
        uv[2 * i + 1] = hostile && f.chance(10) ? f.anyFloat(1.0f) : tex(f.rng);
        indices[i] = static_cast<std::uint32_t>(f.pick(3 * n));
    }
    if (hostile && f.chance(30)) indices[f.pick(3 * n)] = static_cast<std::uint32_t>(3 * n + f.pick(3));
    const std::uint32_t* colours = f.chance(60) ? argb.data() : nullptr;
    const float* coords = f.chance(60) ? uv.data() : nullptr;
    const int count = hostile && f.chance(10) ? -n : n;
    if (!indexed)
        r.kwrTrianglesClip(count, hostile && f.chance(5) ? nullptr : xyzw.data(), colours, coords);
    else
        r.kwrTrianglesClipIndexed(3 * n, xyzw.data(), colours, coords, count,
                                  hostile && f.chance(5) ? nullptr : indices.data());
    // Every byte scribbled over: a recorded call must not read them later.
    std::fill(xyzw.begin(), xyzw.end(), std::nanf(""));
    std::fill(uv.begin(), uv.end(), 1e30f);
    std::fill(argb.begin(), argb.end(), 0x12345678u);
    std::fill(indices.begin(), indices.end(), 0xFFFFFFFFu);
}

// The calls the table of calls leaves to a hand-written helper: arguments
// that must agree with each other, and host memory.  Each returns true for
// a clear, which fills the row padding at 8, 16 and 32 bpp.
inline bool randomClear(KWRRender& r, Fuzzer&, HostBuffers&, int, int) {
    r.kwrClear();
    return true;
}
inline bool randomMaps(KWRRender& r, Fuzzer& f, HostBuffers& h, int, int) {
    bindRandomMaps(r, f, h);
    return false;
}
// Sources a call only reads are released as soon as it returns (no flush):
// the sanitizers catch any later read, at any thread count.
inline bool randomBitmap(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht) {
    const int bw = f.pick(40) - 4, bh = f.pick(20) - 4;
    const int rowBytes = bw > 0 ? (bw + 7) >> 3 : 0;
    HostBlock bitmap;
    bitmap.assign(static_cast<std::size_t>(rowBytes) * (bh > 0 ? bh : 0) + 1, f.rng);
    r.kwrBitmap1(f.anyInt(w), f.anyInt(ht), bw, bh, bitmap.data());
    h.sourcesIntact = h.sourcesIntact && bitmap.intact();
    return false;
}
inline bool randomImage(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht, bool depthTested) {
    const int srcW = f.pick(12) - 1, srcH = f.pick(9) - 1;
    const int srcBpp = f.chance(45) ? 24 : (f.chance(90) ? 32 : 16);
    const std::size_t w0 = static_cast<std::size_t>(srcW > 0 ? srcW : 0);
    const std::size_t pitch = srcBpp == 24 ? ((w0 + 1) * 3) & ~std::size_t{3} : w0 * 4;
    HostBlock image;
    image.assign(pitch * static_cast<std::size_t>(srcH > 0 ? srcH : 0) + 1, f.rng);
    const int x1 = f.anyInt(w), y1 = f.anyInt(ht), x2 = f.anyInt(w), y2 = f.anyInt(ht);
    if (depthTested)
        r.kwrImage2D3(x1, y1, x2, y2, f.anyFloat(2.0f), srcW, srcH, srcBpp, image.data());
    else
        r.kwrImage2D(x1, y1, x2, y2, srcW, srcH, srcBpp, image.data());
    h.sourcesIntact = h.sourcesIntact && image.intact();
    return false;
}
inline bool randomImage2D(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht) {
    return randomImage(r, f, h, w, ht, false);
}
inline bool randomImage2D3(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht) {
    return randomImage(r, f, h, w, ht, true);
}
inline bool randomClipMesh(KWRRender& r, Fuzzer& f, HostBuffers&, int, int) {
    randomClipMeshOf(r, f, f.chance(50), false);
    return false;
}
inline bool randomClipMeshIndexed(KWRRender& r, Fuzzer& f, HostBuffers&, int, int) {
    randomClipMeshOf(r, f, f.chance(50), true);
    return false;
}

// One random call: a state change or a drawing operation of the table of
// calls, or a pair of small, well-formed triangles.  Returns true for a clear.
inline bool randomCall(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht) {
    const float sx = static_cast<float>(w), sy = static_cast<float>(ht);
    // Random arguments by their names (see the table of calls).
    auto X = [&] { return f.anyFloat(sx); };
    auto Y = [&] { return f.anyFloat(sy); };
    auto Z = [&] { return f.anyFloat(2.0f); };
    auto I = [&] { return f.anyInt(w); };
    auto J = [&] { return f.anyInt(ht); };
    auto C = [&] { return f.anyColor(); };
    auto U = [&] { return f.anyFloat(1.0f); };
    auto E = [&] { return f.pick(2); };
    auto M = [&] { return f.pick(4) - 1 + (f.chance(5) ? 1000 : 0); };

    constexpr int kWellFormed = 8;  // the share of well-formed triangle pairs
    const int pick = f.pick(KWR_TABLE_FUZZED_COUNT + kWellFormed);
    switch (pick) {
#define KWR_AUTO(index, member, ...) \
    case index: r.member(__VA_ARGS__); return false;
#define KWR_HELPER(index, member, helper) \
    case index: return helper(r, f, h, w, ht);
        KWR_TABLE_FUZZED(KWR_AUTO, KWR_HELPER)
#undef KWR_AUTO
#undef KWR_HELPER
    default: break;
    }
    // Small, well-formed triangles so that plenty of real spans are drawn.
    std::uniform_real_distribution<float> dx(-4.0f, sx + 4.0f), dy(-4.0f, sy + 4.0f), du(-1.5f, 2.5f), dz(0.0f, 1.0f);
    auto& g = f.rng;
    r.kwrTriangle3ctf(dx(g), dy(g), dz(g), C(), du(g), du(g), dx(g), dy(g), dz(g), C(), du(g), du(g), dx(g), dy(g),
                      dz(g), C(), du(g), du(g));
    r.kwrTrianglect(static_cast<int>(dx(g)), static_cast<int>(dy(g)), C(), du(g), du(g), static_cast<int>(dx(g)),
                    static_cast<int>(dy(g)), C(), du(g), du(g), static_cast<int>(dx(g)), static_cast<int>(dy(g)), C(),
                    du(g), du(g));
    return false;
}

}  // namespace kwr_test

#endif
