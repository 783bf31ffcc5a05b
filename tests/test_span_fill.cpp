// The span fills driven directly from scan-line table rows: hand-worked
// pixels and depths per member and format, and every instruction-set level
// against the plain path on random rows (clipped, extreme and garbage ones
// included), which the sanitizers also watch for stray writes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "raster/span_fill.h"
#include "raster/span_lanes.h"
#include "raster/span_rules.h"
#include "raster/span_vector.h"
#include "render/simd_level.h"
#include "surface_fixture.h"

using kwr::Access;
using kwr::SimdLevel;
using kwr_test::inked;
using kwr_test::Surface;

namespace {

using Fill = void (*)(KWRRender&, int, int);
#define KWR_FILL(name) [](KWRRender& r, int a, int b) { Access::name(r, a, b); }
const Fill k3 = KWR_FILL(rasterTriangle3), k3c = KWR_FILL(rasterTriangle3c), k3t = KWR_FILL(rasterTriangle3t),
           k3ct = KWR_FILL(rasterTriangle3ct), kc = KWR_FILL(rasterTrianglec), kt = KWR_FILL(rasterTrianglet),
           kct = KWR_FILL(rasterTrianglect), k3a = KWR_FILL(rasterTriangle3a), k3ca = KWR_FILL(rasterTriangle3ca),
           k3at = KWR_FILL(rasterTriangle3at), k3cat = KWR_FILL(rasterTriangle3cat),
           kca = KWR_FILL(rasterTriangleca), kat = KWR_FILL(rasterTriangleat), kcat = KWR_FILL(rasterTrianglecat);
#undef KWR_FILL
const Fill kFills[] = {k3, k3c, k3t, k3ct, kc, kt, kct, k3a, k3ca, k3at, k3cat, kca, kat, kcat};

// One end of a row: depth, colour (red, green, blue, alpha in 0..255) and
// texture coordinates.
struct Ends {
    float z = 0.5f;
    float c[4] = {0, 0, 0, 255};
    float u = 0, v = 0;
};
struct Row {
    int L, R;
    Ends l, r;
};

void setRow(kwr::RenderState& s, int y, const Row& row) {
    kwr::ScanLineTable& t = s.scan;
    t.scanLeftX[y] = row.L;
    t.scanRightX[y] = row.R;
    t.scanLeftZ[y] = row.l.z;
    t.scanRightZ[y] = row.r.z;
    for (int k = 0; k < 4; ++k) {
        t.scanLeftColor[k][y] = row.l.c[k];
        t.scanRightColor[k][y] = row.r.c[k];
    }
    t.scanLeftU[y] = row.l.u;
    t.scanRightU[y] = row.r.u;
    t.scanLeftV[y] = row.l.v;
    t.scanRightV[y] = row.r.v;
}

struct Image {
    const unsigned char* p = nullptr;  // texels of 4 bytes (b, g, r, a) or alpha bytes
    int w = 0, h = 0;
};

const Ends kWhite{0.5f, {255, 255, 255, 255}}, kBlack{0.5f, {0, 0, 0, 255}};
const unsigned char kWhiteBlack[8] = {255, 255, 255, 255, 0, 0, 0, 255};  // 2 x 1
const unsigned char kClearWhite[16] = {255, 255, 255, 0, 255, 255, 255, 0, 255, 255, 255, 0, 255, 255, 255, 0};
const unsigned char kOpaque[4] = {255, 255, 255, 255}, kZero[1] = {0};
const unsigned char kTexel[4] = {254, 200, 100, 255};

// One row drawn by one member on a fresh surface, and the pixel and depth
// expected at x of that row.
struct HandCase {
    Fill fill;
    int bpp;
    std::uint32_t clear;
    float clearZ;
    unsigned long colour;
    Image tex, map;
    Row row;
    int x;
    std::uint32_t px;
    float z;
};

const HandCase kHandCases[] = {
    // Clipped at x 0 and 7 of 8: depth and the span parameter continue the
    // unclipped line, depth stepping by (zR - zL) / (R - L), colour by 1 / (R - L + 1).
    {k3c, 24, 0, 1, 0, {}, {}, {-10, 17, {0.0f}, {0.28f, {280, 0, 0, 255}}}, 0, 0x640000, 0.28f * 10 / 27},
    {k3c, 24, 0, 1, 0, {}, {}, {-10, 17, {0.0f}, {0.28f, {280, 0, 0, 255}}}, 7, 0xAA0000, 0.28f * 17 / 27},
    // Stored depth equal to z: strict members draw nothing, the blended
    // interpolated-colour members (>=) draw.
    {k3, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3c, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3t, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3ct, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3a, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3at, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFF000000, 0.5f},
    {k3ca, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFFFFFFFF, 0.5f},
    {k3cat, 32, 0xFF000000, 0.5f, ~0ul, {}, {}, {0, 3, kWhite, kWhite}, 1, 0xFFFFFFFF, 0.5f},
    // Weight zero writes neither pixel nor depth.
    {k3ca, 32, 0xFF102030, 0.9f, 0, {}, {}, {0, 3, {0.1f, {255, 255, 255, 0}}, {0.1f}}, 0, 0xFF102030, 0.9f},
    // Shaded: rounded half up, packed per format; nothing at 8 bpp.
    {kc, 16, 0, 1, 0, {}, {}, {0, 0, kWhite, kBlack}, 0, 0x7FFF, 1},
    {kc, 16, 0, 1, 0, {}, {}, {1, 1, {0, {7.4f, 7.5f, 128.49f, 0}}, {}}, 1, 0x0030, 1},
    {kc, 24, 0, 1, 0, {}, {}, {1, 1, {0, {7.4f, 7.5f, 128.49f, 0}}, {}}, 1, 0x070880, 1},
    {kc, 32, 0, 1, 0, {}, {}, {1, 1, {0, {7.4f, 7.5f, 128.49f, 0}}, {}}, 1, 0xFF070880, 1},
    {kc, 8, 0, 1, 0, {}, {}, {0, 0, kWhite, kWhite}, 0, 0, 1},
    // Texels at round(u * 2) repeated, times the colour: 255 * 128 / 255.
    {kt, 24, 0, 1, 0xFF808080, {kWhiteBlack, 2, 1}, {}, {0, 3, {}, {0.5f, {}, 1.0f}}, 0, 0x808080, 1},
    {kt, 24, 0, 1, 0xFF808080, {kWhiteBlack, 2, 1}, {}, {0, 3, {}, {0.5f, {}, 1.0f}}, 1, 0, 1},
    {kt, 24, 0, 1, 0xFF808080, {kWhiteBlack, 2, 1}, {}, {0, 3, {}, {0.5f, {}, 1.0f}}, 3, 0x808080, 1},
    {kt, 24, 0, 1, 0xFF808080, {kWhiteBlack, 2, 1}, {}, {0, 0, {0.5f, {}, -0.6f}, {}}, 0, 0, 1},
    {kt, 16, 0, 1, 0xFF808080, {kWhiteBlack, 2, 1}, {}, {0, 0, {}, {}}, 0, 0x3DEF, 1},
    // Colour 103 on texels 254, 200, 100: the depth-tested member rounds the
    // float product, the untested ones truncate an integer product of the
    // colour rounded first (101.6 -> 102).
    {k3ct, 24, 0, 1, 0, {kTexel, 1, 1}, {}, {0, 0, {0.2f, {103, 103, 103, 255}}, {}}, 0, 0x285167, 0.2f},
    {kct, 24, 0, 1, 0, {kTexel, 1, 1}, {}, {0, 0, {0.2f, {103, 103, 103, 255}}, {}}, 0, 0x285066, 1},
    {kct, 24, 0, 1, 0, {kTexel, 1, 1}, {}, {0, 0, {0, {101.6f, 101.6f, 101.6f, 255}}, {}}, 0, 0x285065, 1},
    // Flat integer blend: (0 * 128 + 255 * 128) >> 8, alpha blended too;
    // at 8 bpp the cube colour with depth.
    {k3a, 24, 0xFF000000, 1, 0x7FFFFFFF, {}, {}, {0, 0, {}, {}}, 0, 0x7F7F7F, 0.5f},
    {k3a, 32, 0, 1, 0x7FFFFFFF, {}, {}, {0, 0, {}, {}}, 0, 0x7F7F7F7F, 0.5f},
    {k3a, 8, 0, 1, 0x10FFFFFF, {}, {}, {0, 0, {}, {}}, 0, 215, 0.5f},
    // Float blends: weight 0.5 over alpha 0 leaves alpha 128; weight 1 replaces.
    {kca, 32, 0, 1, 0, {}, {}, {0, 0, {0.5f, {255, 0, 0, 127.5f}}, {}}, 0, 0x80800000, 1},
    {kca, 16, ~0u, 1, 0, {}, {}, {0, 0, {0.5f, {255, 0, 0, 255}}, {}}, 0, 0x7C00, 1},
    // Alpha from the texel, or from an alpha map at its own resolution.
    {k3at, 24, 0, 1, ~0ul, {kClearWhite, 2, 2}, {}, {0, 1, {}, {}}, 0, 0, 1},
    {k3at, 24, 0, 1, ~0ul, {kClearWhite, 2, 2}, {kOpaque, 2, 2}, {0, 1, {}, {}}, 0, 0xFFFFFF, 0.5f},
    {kat, 24, 0, 1, ~0ul, {kClearWhite, 2, 2}, {kZero, 1, 1}, {0, 1, {}, {}}, 0, 0, 1},
    {k3at, 8, 0, 1, ~0ul, {}, {}, {0, 0, {}, {}}, 0, 215, 1},  // cube colour, depth untouched
};

}  // namespace

TEST(SpanFill, HandWorkedPixelsDepthsAndSkippedRows) {
    for (const HandCase& c : kHandCases) {
        const auto what = "case " + std::to_string(&c - kHandCases);
        Surface s(c.bpp, 8, 1, c.clear, c.clearZ);
        s->kwrSetColor(c.colour);
        if (c.tex.p != nullptr) s->kwrSetTexture(const_cast<unsigned char*>(c.tex.p), c.tex.w, c.tex.h, 4 * c.tex.w);
        if (c.map.p != nullptr) s->kwrSetAlphaMap(const_cast<unsigned char*>(c.map.p), c.map.w, c.map.h, c.map.w);
        setRow(s.s(), 0, c.row);
        c.fill(*s.r, 0, 0);
        EXPECT_EQ(s.px(c.x, 0), c.px) << what;
        EXPECT_NEAR(s.z(c.x, 0), c.z, 1e-6f) << what;
    }
    // Empty and off-surface rows are skipped by every member.
    auto s = inked(24, 8, 4);
    const Row rows[] = {{32767, -32767, {}, {}}, {5, 4, {}, {}}, {8, 12, {}, {}}, {-5, -1, {}, {}}};
    for (int y = 0; y < 4; ++y) setRow(s.s(), y, rows[y]);  // never reached, one-edge sliver, right, left
    for (Fill f : kFills) f(*s.r, 0, 3);
    Access::rasterTriangle3(*s.r, 3, 2);  // empty range
    EXPECT_TRUE(s.pixelsNot(0).empty());
    setRow(s.s(), 1, {3, 3, {}, {}});  // one pixel, depth of the left end
    Access::rasterTriangle3(*s.r, 1, 1);
    EXPECT_EQ(s.pixelsNot(0), (kwr_test::Pixels{{3, 1}}));
    EXPECT_EQ(s.z(3, 1), 0.5f);
}

namespace {

// The repeat rule as stated: i >= size wraps to i mod size; i < 0 to size -
// (-i mod size), and to 0 where that is size.
int repeatRule(int i, int size) {
    if (i >= size) return i % size;
    if (i < 0) {
        const int w = size - static_cast<int>((-static_cast<std::int64_t>(i)) % size);
        return w == size ? 0 : w;
    }
    return i;
}

constexpr int kW = 70, kH = 6;

// Draws a random scene, the same for the same seed, with one fill at one
// level over a row range reaching past the surface on both sides; returns
// pixels then depths.  The scene: spans clipped on either side, of odd
// lengths, some at the ends of the int range; attributes mostly in range
// with some NaN and huge values; a texture and an alpha map of varying sizes,
// sampled by either filter.
std::vector<unsigned char> draw(std::uint32_t seed, int bpp, Fill fill, SimdLevel level) {
    std::mt19937 rng(seed);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const float specials[] = {NAN, INFINITY, -INFINITY, 3e9f, -3e9f, 1e30f, 255.5f, -0.5f};
    auto attr = [&](float lo, float hi) {
        if (pick(40) == 0) return specials[pick(8)];
        return lo + (hi - lo) * static_cast<float>(rng() % 10000) / 10000.0f;
    };
    auto fillBytes = [&](std::vector<unsigned char>& v, int n) {
        v.resize(static_cast<std::size_t>(n));
        for (auto& b : v) b = static_cast<unsigned char>(pick(4) == 0 ? 255 * pick(2) : pick(256));
    };
    const int sizes[] = {1, 2, 3, 5, 8, 16, 17, 64};
    const int farX[] = {std::numeric_limits<int>::min(), -(1 << 30), 1 << 30, std::numeric_limits<int>::max()};
    const int texW = sizes[pick(8)], texH = sizes[pick(8)];
    const bool sameSize = pick(2) == 0;
    const int mapW = pick(3) == 0 ? 0 : (sameSize ? texW : sizes[pick(8)]), mapH = sameSize ? texH : sizes[pick(8)];
    std::vector<unsigned char> tex, map;
    fillBytes(tex, texW * texH * 4);
    fillBytes(map, mapW * mapH);

    Surface s(bpp, kW, kH);
    kwr::RenderState& st = s.s();
    for (int y = 0; y < kH; ++y)
        for (int i = 0; i < kW * bpp / 8; ++i) s.at(0, y)[i] = static_cast<unsigned char>(rng());
    for (int i = 0; i < kW * kH; ++i) st.zBuffer[i] = attr(0.0f, 1.0f);
    s->kwrSetColor(rng() | (pick(3) == 0 ? 0xFF000000ul : 0));
    s->kwrAlphaEnable(1);
    s->kwrSetTexture(tex.data(), texW, texH, texW * 4);
    s->kwrSetTextureFilter(pick(2) == 0 ? KWR_FILTER_BILINEAR : KWR_FILTER_NEAREST);
    if (mapW > 0) s->kwrSetAlphaMap(map.data(), mapW, mapH, mapW);
    for (int y = 0; y < kH; ++y) {
        Row r{};
        const bool farLeft = pick(16) == 0;
        r.L = farLeft ? farX[pick(4)] : pick(kW + 40) - 20;
        r.R = pick(16) == 0 ? farX[pick(4)] : (farLeft ? 0 : r.L) + pick(kW + 20) - 2;
        if (!farLeft && pick(4) == 0) r.R = r.L + pick(3);  // spans of one to three pixels
        for (Ends* e : {&r.l, &r.r}) {
            e->z = attr(0.0f, 1.0f);
            if (e == &r.r && pick(3) == 0) {  // a level row, with some stored depths equal to it
                r.r.z = r.l.z;
                for (int x = 0; x < kW; ++x)
                    if (pick(2) == 0) st.zBuffer[y * kW + x] = r.l.z;
            }
            for (float& c : e->c) c = pick(6) == 0 ? 255.0f * static_cast<float>(pick(2)) : attr(0, 255);
            e->u = attr(-3.0f, 3.0f);
            e->v = attr(-3.0f, 3.0f);
        }
        setRow(st, y, r);
    }
    const SimdLevel previous = kwr::forceSimdLevel(level);
    fill(*s.r, -100, kH + 100);
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
            const std::uint32_t seed = rng();
            for (int f = 0; f < 14; ++f) {
                const std::vector<unsigned char> plain = draw(seed, bpp, kFills[f], SimdLevel::kScalar);
                for (int l = 1; l <= static_cast<int>(best); ++l) {
                    const SimdLevel level = static_cast<SimdLevel>(l);
                    const std::vector<unsigned char> fast = draw(seed, bpp, kFills[f], level);
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

// The blocks compiled for fixed sampling modes (power-of-two textures, each
// filter, no perspective) draw what the general block draws, at every level.
TEST(SpanLevels, FixedModeBlocksDrawTheGeneralBytes) {
    std::mt19937 rng(654);
    for (int round = 0; round < 40; ++round) {
        for (int bpp : {16, 24, 32}) {
            const std::uint32_t seed = rng();
            for (Fill f : {k3c, k3t, k3ct, kc, kt, kct, k3ca, k3at, k3cat, kca, kat, kcat}) {
                for (int l = 0; l <= static_cast<int>(kwr::supportedSimdLevel()); ++l) {
                    const SimdLevel level = static_cast<SimdLevel>(l);
                    const bool previous = kwr::forceGeneralBlocks(true);
                    const std::vector<unsigned char> general = draw(seed, bpp, f, level);
                    kwr::forceGeneralBlocks(previous);
                    ASSERT_TRUE(draw(seed, bpp, f, level) == general)
                        << bpp << " bpp, level " << kwr::simdLevelName(level) << ", round " << round;
                }
            }
        }
    }
}

// The integer blend of one pixel as the format defines it, channel by
// channel: (old * keep + term) >> 8, each 16 bpp field at its place.
template <class Fmt>
void plainBlend(unsigned char* p, const kwr::IntBlend& w) {
    if constexpr (Fmt::kBytes == 2) {
        const std::uint32_t v = p[0] | p[1] << 8;
        const std::uint32_t out = (((v & 0x7C00u) * w.keep + (w.r << 7)) >> 8 & 0x7C00u) |
                                  (((v & 0x03E0u) * w.keep + (w.g << 2)) >> 8 & 0x03E0u) |
                                  (((v & 0x001Fu) * w.keep + (w.b >> 3)) >> 8 & 0x001Fu);
        p[0] = static_cast<unsigned char>(out);
        p[1] = static_cast<unsigned char>(out >> 8);
    } else {
        const std::uint32_t terms[4] = {w.b, w.g, w.r, w.alpha};
        for (int i = 0; i < Fmt::kBytes; ++i)
            if (i < 3 || w.keptBits == 0) p[i] = static_cast<unsigned char>((p[i] * w.keep + terms[i]) >> 8);
    }
}

// The integer blend of a run, several pixels a word, and of single pixels
// against the plain blend, for every weight, every 16 bpp word, and sampled
// 24 and 32 bpp pixels with the alpha byte blended and kept.
template <class Fmt>
void checkBlendRun(std::mt19937& rng, const kwr::IntBlend& w, const char* what) {
    constexpr int kPixels = 19;  // whole words and a tail
    unsigned char run[kPixels * Fmt::kBytes], one[kPixels * Fmt::kBytes];
    for (auto& b : run) b = static_cast<unsigned char>(rng() % 4 == 0 ? 255 * (rng() % 2) : rng());
    if (Fmt::kBytes == 2)
        for (int i = 1; i < kPixels * 2; i += 2) run[i] &= 0x7F;
    std::memcpy(one, run, sizeof run);
    kwr::blendIntRun<Fmt>(run, kPixels, w);
    for (int i = 0; i < kPixels; ++i) plainBlend<Fmt>(one + Fmt::kBytes * i, w);
    ASSERT_EQ(std::memcmp(run, one, sizeof run), 0) << what;
}
TEST(SpanLevels, BlendRunEqualsPixelBlend) {
    std::mt19937 rng(5);
    for (std::uint32_t a1 = 1; a1 <= 256; ++a1) {
        for (bool keepAlpha : {false, true}) {
            const std::uint32_t c = (rng() & 0xFFFFFFu) | ((a1 - 1) << 24);
            const kwr::IntBlend w = kwr::intBlendOf(c, keepAlpha);
            const std::string what = "weight " + std::to_string(a1) + " keep alpha " + std::to_string(keepAlpha);
            checkBlendRun<kwr::Format32>(rng, w, what.c_str());
            checkBlendRun<kwr::Format24>(rng, w, what.c_str());
            // Every 16 bpp word, four at a time.
            for (std::uint32_t p = 0; p < 0x8000u; p += 4) {
                unsigned char run[8], one[8];
                for (int i = 0; i < 4; ++i) {
                    run[2 * i] = static_cast<unsigned char>(p + i);
                    run[2 * i + 1] = static_cast<unsigned char>((p + i) >> 8);
                }
                unsigned char single[8];
                std::memcpy(one, run, 8);
                std::memcpy(single, run, 8);
                kwr::blendIntRun<kwr::Format16>(run, 4, w);
                for (int i = 0; i < 4; ++i) kwr::Format16::blendInt(single + 2 * i, w);
                for (int i = 0; i < 4; ++i) plainBlend<kwr::Format16>(one + 2 * i, w);
                ASSERT_EQ(std::memcmp(run, one, 8), 0) << what << " word " << p;
                ASSERT_EQ(std::memcmp(single, one, 8), 0) << what << " word " << p;
            }
        }
    }
}

// Runs of the solid colour against pixel-by-pixel stores: runs of every
// length from none to several patterns long, at odd offsets, one after the
// other through the same runner (which makes its pattern at the first long
// one), some of them off the pixels' alignment, touching nothing outside
// them.
template <class Fmt>
void checkSolidRuns(const kwr::SolidColor& c) {
    constexpr int kMost = 1100;
    std::vector<unsigned char> runs((kMost + 8) * Fmt::kBytes, 0xA5), plain(runs);
    kwr::SolidRuns<Fmt> run(c);
    for (int n = 0; n <= kMost; n += n < 80 ? 1 : 37) {
        const int at = n % 5 * Fmt::kBytes + (n % 3 == 0 ? 1 : 0);
        run(runs.data() + at, n);
        for (int i = 0; i < n; ++i) Fmt::storeSolid(plain.data() + at + i * Fmt::kBytes, c);
        ASSERT_EQ(runs, plain) << Fmt::kBytes << "-byte pixels, run of " << n << " at " << at;
    }
}
TEST(SpanLevels, SolidRunsEqualPixelStores) {
    kwr::SolidColor c;
    c.c8 = 0x9C;
    c.c16 = 0x5A3C;
    c.c32 = 0x80C0FFEE;
    checkSolidRuns<kwr::Format8>(c);
    checkSolidRuns<kwr::Format16>(c);
    checkSolidRuns<kwr::Format24>(c);
    checkSolidRuns<kwr::Format32>(c);
}

// The lane forms that replace a division or a wider product, over their
// whole domain, for a lane set of four lanes or of one.
template <class V>
void checkLaneForms() {
    auto lanes = [](std::int32_t v) {
        std::int32_t in[V::kLanes];
        for (int i = 0; i < V::kLanes; ++i) in[i] = v;
        return V::loadI(in);
    };
    auto first = [](typename V::I v) {
        std::int32_t out[V::kLanes];
        V::storeI(out, v);
        return out[0];
    };
    for (std::int32_t v = 0; v <= 65025; ++v) {
        ASSERT_EQ(first(kwr::div255Lanes<V>(lanes(v))), v / 255) << v;
        ASSERT_EQ(first(kwr::fifths65025Lanes<V>(lanes(v))), v * 31 / 65025) << v;
    }
    // The integer blend of a flat colour per lane against the per-pixel
    // blend, for every weight and every 16 bpp word; 32 bpp on sampled words.
    for (std::uint32_t a1 = 1; a1 <= 256; ++a1) {
        const kwr::IntBlend w = kwr::intBlendOf(0x00C08040u | ((a1 - 1) << 24) | (a1 * 0x010101u & 0xFFu), false);
        for (std::uint32_t p = 0; p < 0x8000u; ++p) {
            unsigned char px[2] = {static_cast<unsigned char>(p), static_cast<unsigned char>(p >> 8)};
            plainBlend<kwr::Format16>(px, w);
            ASSERT_EQ(static_cast<std::uint32_t>(first(kwr::Format16::blendInt<V>(lanes(static_cast<std::int32_t>(p)), w))),
                      static_cast<std::uint32_t>(px[0] | px[1] << 8))
                << "word " << p << " weight " << a1;
        }
        for (std::uint32_t p = 0; p < 0x1000000u; p += 0x10101u) {
            const std::uint32_t word = p | (p << 8 & 0xFF000000u);
            unsigned char px[4] = {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8),
                                   static_cast<unsigned char>(word >> 16), static_cast<unsigned char>(word >> 24)};
            plainBlend<kwr::Format32>(px, w);
            ASSERT_EQ(static_cast<std::uint32_t>(first(kwr::Format32::blendInt<V>(lanes(static_cast<std::int32_t>(word)), w))),
                      static_cast<std::uint32_t>(px[0] | px[1] << 8 | px[2] << 16) | static_cast<std::uint32_t>(px[3]) << 24)
                << "word " << word << " weight " << a1;
        }
    }
    // The lane wrap against the repeat rule at the ends of the int range and
    // around multiples of the size.
    constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
    const int sizes[] = {1, 2, 3, 7, 64, 100, 1000003, kMax};
    const int ints[] = {kMin, kMin + 1, -300, -7, -3, -2, -1, 0, 1, 5, 6, 7, 299, 1000002, 1000003, kMax - 1, kMax};
    for (int w : sizes)
        for (int i : ints) ASSERT_EQ(first(kwr::wrapLanes<V>(lanes(i), w, 1.0 / w)), repeatRule(i, w)) << i << " mod " << w;
}

TEST(SpanLevels, LaneFormsEqualDivisionsBlendsAndRepeatRule) {
    checkLaneForms<kwr::ScalarLanes<void>>();
#if KWR_X86_64
    checkLaneForms<kwr::lanes_sse2::Lanes>();
#endif
}
