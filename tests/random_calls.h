// Random calls over the whole public drawing interface with arbitrary
// arguments and state, and the host memory they read.
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
inline void randomClipMesh(KWRRender& r, Fuzzer& f, bool hostile) {
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
    if (f.chance(50))
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

// One random call: a state change or a drawing operation.  Returns true
// for a clear, which fills the row padding at 8, 16 and 32 bpp.
inline bool randomCall(KWRRender& r, Fuzzer& f, HostBuffers& h, int w, int ht) {
    const float sx = static_cast<float>(w), sy = static_cast<float>(ht);
    auto X = [&] { return f.anyFloat(sx); };
    auto Y = [&] { return f.anyFloat(sy); };
    auto Z = [&] { return f.anyFloat(2.0f); };
    auto I = [&] { return f.anyInt(w); };
    auto J = [&] { return f.anyInt(ht); };
    auto C = [&] { return f.anyColor(); };
    auto U = [&] { return f.anyFloat(1.0f); };

    // The float form of a member or its centred form: the same arguments.
#define KWR_F_OR_FG(name) (f.chance(50) ? &KWRRender::name##f : &KWRRender::name##fg)
    switch (f.pick(44)) {
    case 0: r.kwrSetColor(C()); break;
    case 1: r.kwrAlphaEnable(f.pick(2)); break;
    case 2: r.kwrZTestEnable(f.pick(2)); break;
    case 3: bindRandomMaps(r, f, h); break;
    case 4: r.kwrPut(I(), J()); break;
    case 5: r.kwrBox(I(), J(), I(), J()); break;
    case 6: (r.*KWR_F_OR_FG(kwrBox))(X(), Y(), X(), Y()); break;
    case 7: r.kwrBox3(I(), J(), I(), J(), Z()); break;
    case 8: (r.*KWR_F_OR_FG(kwrBox3))(X(), Y(), X(), Y(), Z()); break;
    case 9: {
        // Sources a call only reads are released as soon as it returns (no
        // flush): the sanitizers catch any later read, at any thread count.
        const int bw = f.pick(40) - 4, bh = f.pick(20) - 4;
        const int rowBytes = bw > 0 ? (bw + 7) >> 3 : 0;
        HostBlock bitmap;
        bitmap.assign(static_cast<std::size_t>(rowBytes) * (bh > 0 ? bh : 0) + 1, f.rng);
        r.kwrBitmap1(I(), J(), bw, bh, bitmap.data());
        h.sourcesIntact = h.sourcesIntact && bitmap.intact();
        break;
    }
    case 10:
    case 11: {
        const int srcW = f.pick(12) - 1, srcH = f.pick(9) - 1;
        const int srcBpp = f.chance(45) ? 24 : (f.chance(90) ? 32 : 16);
        const std::size_t w0 = static_cast<std::size_t>(srcW > 0 ? srcW : 0);
        const std::size_t pitch = srcBpp == 24 ? ((w0 + 1) * 3) & ~std::size_t{3} : w0 * 4;
        HostBlock image;
        image.assign(pitch * static_cast<std::size_t>(srcH > 0 ? srcH : 0) + 1, f.rng);
        if (f.chance(50))
            r.kwrImage2D(I(), J(), I(), J(), srcW, srcH, srcBpp, image.data());
        else
            r.kwrImage2D3(I(), J(), I(), J(), Z(), srcW, srcH, srcBpp, image.data());
        h.sourcesIntact = h.sourcesIntact && image.intact();
        break;
    }
    case 12: r.kwrLine(I(), J(), I(), J()); break;
    case 13: (r.*KWR_F_OR_FG(kwrLine))(X(), Y(), X(), Y()); break;
    case 14: r.kwrLine3(I(), J(), Z(), I(), J(), Z()); break;
    case 15: (r.*KWR_F_OR_FG(kwrLine3))(X(), Y(), Z(), X(), Y(), Z()); break;
    case 16: r.kwrTriangle(I(), J(), I(), J(), I(), J()); break;
    case 17: (r.*KWR_F_OR_FG(kwrTriangle))(X(), Y(), X(), Y(), X(), Y()); break;
    case 18: r.kwrTriangle3(I(), J(), Z(), I(), J(), Z(), I(), J(), Z()); break;
    case 19: (r.*KWR_F_OR_FG(kwrTriangle3))(X(), Y(), Z(), X(), Y(), Z(), X(), Y(), Z()); break;
    case 20: r.kwrTriangle3c(I(), J(), Z(), C(), I(), J(), Z(), C(), I(), J(), Z(), C()); break;
    case 21: (r.*KWR_F_OR_FG(kwrTriangle3c))(X(), Y(), Z(), C(), X(), Y(), Z(), C(), X(), Y(), Z(), C()); break;
    case 22:
        r.kwrTriangle3ct(I(), J(), Z(), C(), U(), U(), I(), J(), Z(), C(), U(), U(), I(), J(), Z(), C(), U(), U());
        break;
    case 23:
        (r.*KWR_F_OR_FG(kwrTriangle3ct))(X(), Y(), Z(), C(), U(), U(), X(), Y(), Z(), C(), U(), U(), X(), Y(), Z(),
                                         C(), U(), U());
        break;
    case 24: r.kwrTriangle3t(I(), J(), Z(), U(), U(), I(), J(), Z(), U(), U(), I(), J(), Z(), U(), U()); break;
    case 25:
        (r.*KWR_F_OR_FG(kwrTriangle3t))(X(), Y(), Z(), U(), U(), X(), Y(), Z(), U(), U(), X(), Y(), Z(), U(), U());
        break;
    case 26: r.kwrTrianglec(I(), J(), C(), I(), J(), C(), I(), J(), C()); break;
    case 27: (r.*KWR_F_OR_FG(kwrTrianglec))(X(), Y(), C(), X(), Y(), C(), X(), Y(), C()); break;
    case 28: r.kwrTrianglect(I(), J(), C(), U(), U(), I(), J(), C(), U(), U(), I(), J(), C(), U(), U()); break;
    case 29:
        (r.*KWR_F_OR_FG(kwrTrianglect))(X(), Y(), C(), U(), U(), X(), Y(), C(), U(), U(), X(), Y(), C(), U(), U());
        break;
    case 30: r.kwrTrianglet(I(), J(), U(), U(), I(), J(), U(), U(), I(), J(), U(), U()); break;
    case 31: (r.*KWR_F_OR_FG(kwrTrianglet))(X(), Y(), U(), U(), X(), Y(), U(), U(), X(), Y(), U(), U()); break;
    case 32: r.kwrSetColorf(U(), U(), U()); break;
    case 33: r.kwrSetColor4f(U(), U(), U(), U()); break;
    case 34: r.kwrClear(); return true;
    case 40: r.kwrSetCull(f.pick(4) - 1 + (f.chance(5) ? 1000 : 0)); break;
    case 41: r.kwrSetTextureFilter(f.pick(3) - (f.chance(5) ? 7 : 0)); break;
    case 42:
    case 43: randomClipMesh(r, f, f.pick(44) == 42); break;
    default: {
        // Small, well-formed triangles so that plenty of real spans are drawn.
        std::uniform_real_distribution<float> dx(-4.0f, sx + 4.0f), dy(-4.0f, sy + 4.0f), du(-1.5f, 2.5f),
            dz(0.0f, 1.0f);
        auto& g = f.rng;
        r.kwrTriangle3ctf(dx(g), dy(g), dz(g), C(), du(g), du(g), dx(g), dy(g), dz(g), C(), du(g), du(g),
                          dx(g), dy(g), dz(g), C(), du(g), du(g));
        r.kwrTrianglect(static_cast<int>(dx(g)), static_cast<int>(dy(g)), C(), du(g), du(g),
                        static_cast<int>(dx(g)), static_cast<int>(dy(g)), C(), du(g), du(g),
                        static_cast<int>(dx(g)), static_cast<int>(dy(g)), C(), du(g), du(g));
        break;
    }
    }
#undef KWR_F_OR_FG
    return false;
}

}  // namespace kwr_test

#endif
