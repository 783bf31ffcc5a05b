// Triangles of a few rows keep their rows in a small table on the stack,
// the others in the surface's scan-line table.  Random triangles of every
// kind, near and across the surface's edges, in random state, must give the
// same pixels and depths either way, at every level and in every format.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "raster/row_table.h"
#include "render/simd_level.h"
#include "surface_fixture.h"

using kwr::SimdLevel;

namespace {

constexpr int kWidth = 53, kHeight = 45;
unsigned char gTexels[5 * 3 * 4];
unsigned char gAlphas[3 * 2];

struct Draw {
    std::mt19937 rng;

    float uniform(float a, float b) { return std::uniform_real_distribution<float>(a, b)(rng); }
    int pick(int n) { return static_cast<int>(rng() % static_cast<std::uint32_t>(n)); }

    // A vertex near (cx, cy), and now and then a value far off or not a number.
    float coordinate(float centre, float reach) {
        if (pick(40) == 0) {
            const float odd[] = {std::nanf(""), 1e9f, -1e9f, 40000.5f, -3.5f};
            return odd[pick(5)];
        }
        return centre + uniform(-reach, reach);
    }
    unsigned long colour() {
        const unsigned long alphas[] = {0x00, 0x80, 0xFE, 0xFF, 0xFF, 0xFF};
        return (alphas[pick(6)] << 24) | (rng() & 0xFFFFFFul);
    }

    void state(KWRRender& r) {
        r.kwrZTestEnable(pick(5) != 0);
        r.kwrAlphaEnable(pick(3) == 0);
        r.kwrSetColor(colour());
        r.kwrSetTexture(pick(3) != 0 ? gTexels : nullptr, 5, 3, 20);
        r.kwrSetAlphaMap(pick(4) == 0 ? gAlphas : nullptr, 3, 2, 3);
        r.kwrSetTextureFilter(pick(2) == 0 ? KWR_FILTER_BILINEAR : KWR_FILTER_NEAREST);
    }

    // One triangle of a random kind and form; its rows reach past the
    // small table's limit now and then.
    void triangle(KWRRender& r) {
        const float cx = uniform(-8, kWidth + 8), cy = uniform(-8, kHeight + 8);
        const float reach = pick(4) == 0 ? uniform(1, 24) : uniform(0.5f, 8);
        float x[3], y[3], z[3], u[3], v[3];
        unsigned long c[3];
        int ix[3], iy[3];
        for (int i = 0; i < 3; ++i) {
            x[i] = coordinate(cx, reach);
            y[i] = coordinate(cy, reach);
            z[i] = uniform(0, 1);
            u[i] = uniform(-1, 2);
            v[i] = uniform(-1, 2);
            c[i] = colour();
            ix[i] = std::isfinite(x[i]) ? static_cast<int>(std::lround(x[i])) : 1 << 30;
            iy[i] = std::isfinite(y[i]) ? static_cast<int>(std::lround(y[i])) : -(1 << 30);
        }
        // The centred forms: the same places, y up from the middle.
        float gx[3], gy[3];
        for (int i = 0; i < 3; ++i) {
            gx[i] = x[i] - kWidth / 2.0f;
            gy[i] = kHeight / 2.0f - y[i];
        }
        const int form = pick(3);
        const int* X = ix;
        const int* Y = iy;
        const float* F = form == 1 ? x : gx;
        const float* G = form == 1 ? y : gy;
        switch (pick(8) * 3 + form) {
        // clang-format off
        case 0: r.kwrTriangle(X[0], Y[0], X[1], Y[1], X[2], Y[2]); break;
        case 1: r.kwrTrianglef(F[0], G[0], F[1], G[1], F[2], G[2]); break;
        case 2: r.kwrTrianglefg(F[0], G[0], F[1], G[1], F[2], G[2]); break;
        case 3: r.kwrTriangle3(X[0], Y[0], z[0], X[1], Y[1], z[1], X[2], Y[2], z[2]); break;
        case 4: r.kwrTriangle3f(F[0], G[0], z[0], F[1], G[1], z[1], F[2], G[2], z[2]); break;
        case 5: r.kwrTriangle3fg(F[0], G[0], z[0], F[1], G[1], z[1], F[2], G[2], z[2]); break;
        case 6: r.kwrTriangle3c(X[0], Y[0], z[0], c[0], X[1], Y[1], z[1], c[1], X[2], Y[2], z[2], c[2]); break;
        case 7: r.kwrTriangle3cf(F[0], G[0], z[0], c[0], F[1], G[1], z[1], c[1], F[2], G[2], z[2], c[2]); break;
        case 8: r.kwrTriangle3cfg(F[0], G[0], z[0], c[0], F[1], G[1], z[1], c[1], F[2], G[2], z[2], c[2]); break;
        case 9: r.kwrTriangle3ct(X[0], Y[0], z[0], c[0], u[0], v[0], X[1], Y[1], z[1], c[1], u[1], v[1],
                                 X[2], Y[2], z[2], c[2], u[2], v[2]); break;
        case 10: r.kwrTriangle3ctf(F[0], G[0], z[0], c[0], u[0], v[0], F[1], G[1], z[1], c[1], u[1], v[1],
                                   F[2], G[2], z[2], c[2], u[2], v[2]); break;
        case 11: r.kwrTriangle3ctfg(F[0], G[0], z[0], c[0], u[0], v[0], F[1], G[1], z[1], c[1], u[1], v[1],
                                    F[2], G[2], z[2], c[2], u[2], v[2]); break;
        case 12: r.kwrTriangle3t(X[0], Y[0], z[0], u[0], v[0], X[1], Y[1], z[1], u[1], v[1], X[2], Y[2], z[2],
                                 u[2], v[2]); break;
        case 13: r.kwrTriangle3tf(F[0], G[0], z[0], u[0], v[0], F[1], G[1], z[1], u[1], v[1], F[2], G[2], z[2],
                                  u[2], v[2]); break;
        case 14: r.kwrTriangle3tfg(F[0], G[0], z[0], u[0], v[0], F[1], G[1], z[1], u[1], v[1], F[2], G[2], z[2],
                                   u[2], v[2]); break;
        case 15: r.kwrTrianglec(X[0], Y[0], c[0], X[1], Y[1], c[1], X[2], Y[2], c[2]); break;
        case 16: r.kwrTrianglecf(F[0], G[0], c[0], F[1], G[1], c[1], F[2], G[2], c[2]); break;
        case 17: r.kwrTrianglecfg(F[0], G[0], c[0], F[1], G[1], c[1], F[2], G[2], c[2]); break;
        case 18: r.kwrTrianglect(X[0], Y[0], c[0], u[0], v[0], X[1], Y[1], c[1], u[1], v[1], X[2], Y[2], c[2],
                                 u[2], v[2]); break;
        case 19: r.kwrTrianglectf(F[0], G[0], c[0], u[0], v[0], F[1], G[1], c[1], u[1], v[1], F[2], G[2], c[2],
                                  u[2], v[2]); break;
        case 20: r.kwrTrianglectfg(F[0], G[0], c[0], u[0], v[0], F[1], G[1], c[1], u[1], v[1], F[2], G[2], c[2],
                                   u[2], v[2]); break;
        case 21: r.kwrTrianglet(X[0], Y[0], u[0], v[0], X[1], Y[1], u[1], v[1], X[2], Y[2], u[2], v[2]); break;
        case 22: r.kwrTriangletf(F[0], G[0], u[0], v[0], F[1], G[1], u[1], v[1], F[2], G[2], u[2], v[2]); break;
        default: r.kwrTriangletfg(F[0], G[0], u[0], v[0], F[1], G[1], u[1], v[1], F[2], G[2], u[2], v[2]); break;
        // clang-format on
        }
    }
};

// The pixels, then the depths, of a random scene drawn with triangles of
// at most `smallRows` rows in small tables.
std::vector<unsigned char> scene(std::uint32_t seed, int bpp, int smallRows) {
    const int previous = kwr::forceSmallTriangleRows(smallRows);
    kwr_test::Surface s(bpp, kWidth, kHeight, 0xFF204060ul, 0.75f);
    Draw d{std::mt19937(seed)};
    for (int i = 0; i < 400; ++i) {
        if (i % 8 == 0) d.state(*s.r);
        d.triangle(*s.r);
    }
    std::vector<unsigned char> out = s.bytes();
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            unsigned char b[sizeof(float)];
            const float z = s.z(x, y);
            std::memcpy(b, &z, sizeof z);
            out.insert(out.end(), b, b + sizeof b);
        }
    kwr::forceSmallTriangleRows(previous);
    return out;
}

TEST(SmallTriangles, SmallTablesDrawWhatTheScanLineTableDraws) {
    for (unsigned i = 0; i < sizeof gTexels; ++i) gTexels[i] = static_cast<unsigned char>(i * 77 + 13);
    for (unsigned i = 0; i < sizeof gAlphas; ++i) gAlphas[i] = static_cast<unsigned char>(i * 51 + 20);
    const SimdLevel best = kwr::supportedSimdLevel();
    for (int l = 0; l <= static_cast<int>(best); ++l) {
        const SimdLevel level = static_cast<SimdLevel>(l);
        const SimdLevel previous = kwr::forceSimdLevel(level);
        for (int bpp : {8, 16, 24, 32}) {
            for (std::uint32_t seed = 1; seed <= 3; ++seed) {
                const std::vector<unsigned char> general = scene(seed, bpp, 0);
                const std::vector<unsigned char> small = scene(seed, bpp, kwr::kSmallTriangleRows);
                ASSERT_EQ(general.size(), small.size());
                std::size_t at = 0;
                while (at < general.size() && general[at] == small[at]) ++at;
                EXPECT_EQ(at, general.size()) << "byte " << at << " differs at " << bpp << " bpp, level "
                                              << kwr::simdLevelName(level) << ", seed " << seed;
            }
        }
        kwr::forceSimdLevel(previous);
    }
}

}  // namespace
