// Every instruction-set level the processor has draws the same bytes and
// depths as the plain path, for every span fill on every format.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "raster/span_lanes.h"
#include "raster/span_vector.h"
#include "render/simd_level.h"
#include "surface_fixture.h"

using kwr::Access;
using kwr::SimdLevel;
using kwr_test::Surface;

namespace {

using Fill = void (*)(KWRRender&, int, int);
#define KWR_FILL(name) [](KWRRender& r, int a, int b) { Access::name(r, a, b); }
const Fill kFills[] = {KWR_FILL(rasterTriangle3),   KWR_FILL(rasterTriangle3c),   KWR_FILL(rasterTriangle3t),
                       KWR_FILL(rasterTriangle3ct), KWR_FILL(rasterTrianglec),    KWR_FILL(rasterTrianglet),
                       KWR_FILL(rasterTrianglect),  KWR_FILL(rasterTriangle3a),   KWR_FILL(rasterTriangle3ca),
                       KWR_FILL(rasterTriangle3at), KWR_FILL(rasterTriangle3cat), KWR_FILL(rasterTriangleca),
                       KWR_FILL(rasterTriangleat),  KWR_FILL(rasterTrianglecat)};
#undef KWR_FILL

// A random scene for the fills: spans with clipping on either side, odd
// lengths, attributes mostly in range with some NaN and huge values, a
// texture and an alpha map of varying sizes.
struct Scene {
    int bpp;
    unsigned long color;
    int texW, texH, mapW, mapH;  // mapW 0: no alpha map
    std::vector<unsigned char> tex, map, pixels;
    std::vector<float> depth;
    struct Row {
        int L, R;
        float z[2], c[2][4], u[2], v[2];
    };
    std::vector<Row> rows;
};

constexpr int kW = 70, kH = 6;

Scene randomScene(std::mt19937& rng, int bpp) {
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const float specials[] = {NAN, INFINITY, -INFINITY, 3e9f, -3e9f, 1e30f, 255.5f, -0.5f};
    auto attr = [&](float lo, float hi) {
        if (pick(40) == 0) return specials[pick(8)];
        return lo + (hi - lo) * static_cast<float>(rng() % 10000) / 10000.0f;
    };
    const int sizes[] = {1, 2, 3, 5, 8, 16, 17, 64};
    Scene s;
    s.bpp = bpp;
    s.color = rng();
    if (pick(3) == 0) s.color |= 0xFF000000ul;
    s.texW = sizes[pick(8)];
    s.texH = sizes[pick(8)];
    const bool sameSize = pick(2) == 0;
    s.mapW = pick(3) == 0 ? 0 : (sameSize ? s.texW : sizes[pick(8)]);
    s.mapH = sameSize ? s.texH : sizes[pick(8)];
    s.tex.resize(static_cast<std::size_t>(s.texW * s.texH * 4));
    for (auto& b : s.tex) b = static_cast<unsigned char>(pick(4) == 0 ? 255 * pick(2) : pick(256));
    s.map.resize(static_cast<std::size_t>(s.mapW * s.mapH));
    for (auto& b : s.map) b = static_cast<unsigned char>(pick(4) == 0 ? 255 * pick(2) : pick(256));
    s.pixels.resize(static_cast<std::size_t>(kW * kH * 4));
    for (auto& b : s.pixels) b = static_cast<unsigned char>(rng());
    for (int i = 0; i < kW * kH; ++i) s.depth.push_back(attr(0.0f, 1.0f));
    for (int y = 0; y < kH; ++y) {
        Scene::Row r{};
        r.L = pick(kW + 40) - 20;
        r.R = r.L + pick(kW + 20) - 2;
        for (int e = 0; e < 2; ++e) {
            r.z[e] = attr(0.0f, 1.0f);
            if (e == 1 && pick(3) == 0) {  // a level row, with some stored depths equal to it
                r.z[1] = r.z[0];
                for (int x = 0; x < kW; ++x)
                    if (pick(2) == 0) s.depth[static_cast<std::size_t>(y * kW + x)] = r.z[0];
            }
            for (int c = 0; c < 4; ++c) r.c[e][c] = pick(6) == 0 ? 255.0f * static_cast<float>(pick(2)) : attr(0, 255);
            r.u[e] = attr(-3.0f, 3.0f);
            r.v[e] = attr(-3.0f, 3.0f);
        }
        s.rows.push_back(r);
    }
    return s;
}

// Draws the scene with one fill at one level; returns pixels then depths.
std::vector<unsigned char> draw(Scene& sc, Fill fill, SimdLevel level) {
    Surface s(sc.bpp, kW, kH);
    kwr::RenderState& st = s.s();
    for (int y = 0; y < kH; ++y)
        std::memcpy(s.at(0, y), &sc.pixels[static_cast<std::size_t>(y * kW * 4)], kW * sc.bpp / 8);
    std::memcpy(st.zBuffer, sc.depth.data(), sc.depth.size() * sizeof(float));
    s->kwrSetColor(sc.color);
    s->kwrAlphaEnable(1);
    s->kwrSetTexture(sc.tex.data(), sc.texW, sc.texH, sc.texW * 4);
    if (sc.mapW > 0) s->kwrSetAlphaMap(sc.map.data(), sc.mapW, sc.mapH, sc.mapW);
    for (int y = 0; y < kH; ++y) {
        const Scene::Row& r = sc.rows[static_cast<std::size_t>(y)];
        st.scan.scanLeftX[y] = r.L;
        st.scan.scanRightX[y] = r.R;
        st.scan.scanLeftZ[y] = r.z[0];
        st.scan.scanRightZ[y] = r.z[1];
        for (int c = 0; c < 4; ++c) {
            st.scan.scanLeftColor[c][y] = r.c[0][c];
            st.scan.scanRightColor[c][y] = r.c[1][c];
        }
        st.scan.scanLeftU[y] = r.u[0];
        st.scan.scanRightU[y] = r.u[1];
        st.scan.scanLeftV[y] = r.v[0];
        st.scan.scanRightV[y] = r.v[1];
    }
    const SimdLevel previous = kwr::forceSimdLevel(level);
    fill(*s.r, 0, kH - 1);
    kwr::forceSimdLevel(previous);
    std::vector<unsigned char> out = s.bytes();
    const unsigned char* z = reinterpret_cast<const unsigned char*>(st.zBuffer);
    out.insert(out.end(), z, z + kW * kH * sizeof(float));
    return out;
}

}  // namespace

TEST(SpanLevels, EveryLevelDrawsThePlainBytes) {
    const SimdLevel best = kwr::supportedSimdLevel();
    if (best == SimdLevel::kScalar) GTEST_SKIP() << "no vector level on this processor";
    std::mt19937 rng(321);
    for (int round = 0; round < 60; ++round) {
        for (int bpp : {8, 16, 24, 32}) {
            Scene sc = randomScene(rng, bpp);
            for (int f = 0; f < 14; ++f) {
                const std::vector<unsigned char> plain = draw(sc, kFills[f], SimdLevel::kScalar);
                for (int l = 1; l <= static_cast<int>(best); ++l) {
                    const SimdLevel level = static_cast<SimdLevel>(l);
                    const std::vector<unsigned char> fast = draw(sc, kFills[f], level);
                    std::size_t at = 0;
                    while (at < plain.size() && fast[at] == plain[at]) ++at;
                    ASSERT_EQ(at, plain.size())
                        << "byte " << at << " of " << plain.size() << ": fill " << f << " at " << bpp << " bpp, level "
                        << kwr::simdLevelName(level) << ", round " << round;
                }
            }
        }
    }
}

// The two-pixel integer blend of a run against the per-pixel blend, for
// every weight, with the alpha byte blended and kept.
TEST(SpanLevels, BlendRunEqualsPixelBlend) {
    std::mt19937 rng(5);
    unsigned char run[7 * 4], one[7 * 4];
    for (std::uint32_t a1 = 1; a1 <= 256; ++a1) {
        for (bool keepAlpha : {false, true}) {
            const std::uint32_t c = rng();
            const kwr::IntBlend w{256 - a1,
                                  (c & 0xFF) * a1,
                                  ((c >> 8) & 0xFF) * a1,
                                  ((c >> 16) & 0xFF) * a1,
                                  keepAlpha ? 256 : 256 - a1,
                                  keepAlpha ? 0 : 255 * a1};
            for (auto& b : run) b = static_cast<unsigned char>(rng() % 4 == 0 ? 255 * (rng() % 2) : rng());
            std::memcpy(one, run, sizeof run);
            kwr::blendIntRun<kwr::Format32>(run, 7, w);
            for (int i = 0; i < 7; ++i) kwr::Format32::blendInt(one + 4 * i, w);
            ASSERT_EQ(std::memcmp(run, one, sizeof run), 0) << "weight " << a1 << " keep alpha " << keepAlpha;
        }
    }
}

#if KWR_X86_64
// The division-free forms of the lane blocks over their whole domain.
TEST(SpanLevels, DivisionFreeFormsEqualDivisions) {
    using V = kwr::lanes_sse2::Lanes;
    for (std::int32_t v = 0; v <= 65025; v += 4) {
        std::int32_t in[4] = {v, v + 1, v + 2, v + 3}, q255[4], q31[4];
        V::storeI(q255, kwr::div255Lanes<V>(V::loadI(in)));
        V::storeI(q31, kwr::fifths65025Lanes<V>(V::loadI(in)));
        for (int i = 0; i < 4 && in[i] <= 65025; ++i) {
            ASSERT_EQ(q255[i], in[i] / 255) << in[i];
            ASSERT_EQ(q31[i], in[i] * 31 / 65025) << in[i];
        }
    }
}

// The lane wrap against the repeat rule at the ends of the int range and
// around multiples of the size.
TEST(SpanLevels, LaneWrapEqualsRepeatRule) {
    using V = kwr::lanes_sse2::Lanes;
    const int sizes[] = {1, 3, 7, 64, 100, 1000003, std::numeric_limits<int>::max()};
    const int ints[] = {std::numeric_limits<int>::min(),
                        std::numeric_limits<int>::min() + 1,
                        -300,
                        -7,
                        -1,
                        0,
                        1,
                        6,
                        7,
                        299,
                        1000002,
                        1000003,
                        std::numeric_limits<int>::max() - 1,
                        std::numeric_limits<int>::max()};
    for (int w : sizes) {
        for (int i : ints) {
            std::int32_t in[4] = {i, i, i, i}, out[4];
            V::storeI(out, kwr::wrapLanes<V>(V::loadI(in), w, 1.0 / w));
            ASSERT_EQ(out[0], kwr::wrapCoord(i, w)) << i << " mod " << w;
        }
    }
}
#endif
