// Clip-space triangles: the same bytes as the screen-space calls where w is
// 1, perspective-correct texture coordinates, clipping at the near plane,
// bilinear texels, culling, hostile arguments, and the same bytes at every
// instruction-set level.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "KWRRender.h"
#include "render/simd_level.h"

namespace {

struct Frame {
    std::vector<unsigned char> pixels;
    std::vector<float> depth;
    bool operator==(const Frame& o) const { return pixels == o.pixels && depth == o.depth; }
};

std::unique_ptr<KWRRender> context(int bpp, int w, int h, bool depth = true) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetRenderBpp(bpp), 1);
    r->kwrZBufferEnable(depth ? 1 : 0);
    EXPECT_EQ(r->kwrInitBuffer(w, h), 1);
    r->kwrSetColor(0xFF101820);
    r->kwrClear();
    return r;
}

Frame frameOf(KWRRender& r, int bpp, int w, int h) {
    Frame f;
    void* pixels = nullptr;
    EXPECT_EQ(r.kwrGetDib(nullptr, &pixels), 1);
    const int used = w * bpp / 8, pitch = (used + 3) / 4 * 4;
    for (int y = 0; y < h; ++y) {
        const auto* row = static_cast<const unsigned char*>(pixels) + y * pitch;
        f.pixels.insert(f.pixels.end(), row, row + used);
    }
    if (const float* z = r.kwrGetZBuffer()) f.depth.assign(z, z + w * h);
    return f;
}

// The blue byte of pixel (x, y) of a 24 bpp frame, or -1 for the clear colour.
int blueAt(KWRRender& r, int w, int x, int y) {
    void* pixels = nullptr;
    r.kwrGetDib(nullptr, &pixels);
    const int pitch = (w * 3 + 3) / 4 * 4;
    const unsigned char* p = static_cast<const unsigned char*>(pixels) + y * pitch + x * 3;
    return p[0] == 0x20 && p[1] == 0x18 && p[2] == 0x10 ? -1 : p[0];
}

// With every w equal (1, or 2: a power of two keeps x / w exact) a
// clip-space triangle draws the bytes of the float screen-space call of its
// projected vertices, in every format, with and without depth, blending and
// a texture, and with colours and texture coordinates given or not.
TEST(ClipSpace, EqualWDrawsTheScreenSpaceBytes) {
    constexpr int W = 61, H = 47;
    std::mt19937 rng(2611);
    std::uniform_real_distribution<float> xy(-1.3f, 1.3f), z(0.0f, 1.0f), tex(-1.5f, 2.5f);
    std::vector<unsigned char> texels(5 * 3 * 4);
    for (auto& b : texels) b = static_cast<unsigned char>(rng());
    for (int bpp : {8, 16, 24, 32}) {
        for (int variant = 0; variant < 16; ++variant) {
            const bool depth = (variant & 1) != 0, blend = (variant & 2) != 0, textured = (variant & 4) != 0;
            const bool bilinear = (variant & 8) != 0;
            auto a = context(bpp, W, H, depth), b = context(bpp, W, H, depth);
            for (KWRRender* r : {a.get(), b.get()}) {
                r->kwrAlphaEnable(blend);
                r->kwrSetTextureFilter(bilinear ? KWR_FILTER_BILINEAR : KWR_FILTER_NEAREST);
                if (textured) r->kwrSetTexture(texels.data(), 5, 3, 20);
            }
            for (int i = 0; i < 120; ++i) {
                const float w = i % 3 == 0 ? 2.0f : 1.0f;
                float xyzw[12], uv[6];
                std::uint32_t argb[3];
                float px[3], py[3], pz[3];
                for (int k = 0; k < 3; ++k) {
                    xyzw[4 * k] = xy(rng) * w;
                    xyzw[4 * k + 1] = xy(rng) * w;
                    xyzw[4 * k + 2] = z(rng) * w;
                    xyzw[4 * k + 3] = w;
                    argb[k] = rng() | (rng() % 2 ? 0xFF000000u : 0u);
                    uv[2 * k] = tex(rng);
                    uv[2 * k + 1] = tex(rng);
                    // The projection as documented, in double precision.
                    const double dw = w;
                    px[k] = static_cast<float>((xyzw[4 * k] / dw + 1.0) * (0.5 * W));
                    py[k] = static_cast<float>((1.0 - xyzw[4 * k + 1] / dw) * (0.5 * H));
                    pz[k] = static_cast<float>(xyzw[4 * k + 2] / dw);
                }
                const bool colours = rng() % 2 == 0, coords = rng() % 2 == 0;
                EXPECT_EQ(a->kwrTrianglesClip(1, xyzw, colours ? argb : nullptr, coords ? uv : nullptr), 1);
                if (colours && coords)
                    b->kwrTriangle3ctf(px[0], py[0], pz[0], argb[0], uv[0], uv[1], px[1], py[1], pz[1], argb[1], uv[2],
                                       uv[3], px[2], py[2], pz[2], argb[2], uv[4], uv[5]);
                else if (colours)
                    b->kwrTriangle3cf(px[0], py[0], pz[0], argb[0], px[1], py[1], pz[1], argb[1], px[2], py[2], pz[2],
                                      argb[2]);
                else if (coords)
                    b->kwrTriangle3tf(px[0], py[0], pz[0], uv[0], uv[1], px[1], py[1], pz[1], uv[2], uv[3], px[2],
                                      py[2], pz[2], uv[4], uv[5]);
                else
                    b->kwrTriangle3f(px[0], py[0], pz[0], px[1], py[1], pz[1], px[2], py[2], pz[2]);
            }
            EXPECT_TRUE(frameOf(*a, bpp, W, H) == frameOf(*b, bpp, W, H)) << bpp << " bpp, variant " << variant;
        }
    }
}

// A wall from w = 1 at the left edge to w = 3 at the right edge with u from
// 0 to 1: at the screen fraction t across it u = t / (3 - 2t), not t.  A
// texture of 16 texels whose blue byte is the texel's number shows which
// texel each pixel took: t = 1/4, 1/2, 3/4 give u = 0.1, 0.25, 0.5, texels
// 2, 4 and 8 (an affine fill would take 4, 8 and 12).
TEST(ClipSpace, TextureCoordinatesFollowThePerspective) {
    constexpr int W = 64, H = 8;
    auto r = context(24, W, H);
    unsigned char texels[16 * 4];
    for (int i = 0; i < 16; ++i) {
        texels[4 * i] = static_cast<unsigned char>(i);
        texels[4 * i + 1] = texels[4 * i + 2] = texels[4 * i + 3] = 255;
    }
    r->kwrSetTexture(texels, 16, 1, 64);
    r->kwrSetColor(0xFFFFFFFF);
    const float xyzw[] = {-1, -1, 0.5f, 1, 3, -3, 1.5f, 3, 3, 3, 1.5f, 3,
                          -1, -1, 0.5f, 1, 3, 3, 1.5f, 3, -1, 1, 0.5f, 1};
    const float uv[] = {0, 0.5f, 1, 0.5f, 1, 0.5f, 0, 0.5f, 1, 0.5f, 0, 0.5f};
    ASSERT_EQ(r->kwrTrianglesClip(2, xyzw, nullptr, uv), 1);
    for (int y = 0; y < H; ++y) {
        EXPECT_EQ(blueAt(*r, W, 16, y), 2) << y;
        EXPECT_EQ(blueAt(*r, W, 32, y), 4) << y;
        EXPECT_EQ(blueAt(*r, W, 48, y), 8) << y;
    }
    // Depth z / w is 0.5 all over.
    EXPECT_EQ(r->kwrGetZBuffer()[3 * W + 40], 0.5f);
}

// Bilinear: u = 0.125 and v = 0.375 on a 2 x 2 texture sit a quarter of
// the way from texel column 0 to 1 (fu = 64) and three quarters from row 0
// to 1 (fv = 192).  Blue bytes 10, 210 / 50, 250 mix to
// ((10 * 192 + 210 * 64) * 64 + (50 * 192 + 250 * 64) * 192 + 32768) >> 16 = 90;
// the nearest texel is row 1, column 0: 50.  The alpha map mixes alike.
TEST(ClipSpace, BilinearMixesFourTexelsInIntegers) {
    constexpr int W = 8, H = 8;
    auto r = context(24, W, H, false);
    unsigned char texels[] = {10, 0, 0, 255, 210, 0, 0, 255, 50, 0, 0, 255, 250, 0, 0, 255};
    r->kwrSetTexture(texels, 2, 2, 8);
    r->kwrSetColor(0xFFFFFFFF);
    auto draw = [&] { r->kwrTriangletf(0, 0, 0.125f, 0.375f, 8, 0, 0.125f, 0.375f, 0, 8, 0.125f, 0.375f); };
    draw();
    EXPECT_EQ(blueAt(*r, W, 1, 1), 50);
    r->kwrSetTextureFilter(KWR_FILTER_BILINEAR);
    r->kwrSetTextureFilter(7);  // ignored
    draw();
    EXPECT_EQ(blueAt(*r, W, 1, 1), 90);
    EXPECT_EQ(blueAt(*r, W, 4, 2), 90);
    // Blended through an alpha map of the same size, weights 0 / 255 / 255 / 255
    // mix to ((0 * 192 + 255 * 64) * 64 + 255 * 256 * 192 + 32768) >> 16 = 207;
    // 90 * 207 / 255 over a black pixel: rounded(90 * 255 * (207/255) / 255) = 73.
    unsigned char alpha[] = {0, 255, 255, 255};
    r->kwrSetAlphaMap(alpha, 2, 2, 2);
    r->kwrAlphaEnable(1);
    r->kwrSetColor(0xFF000000);
    r->kwrClear();
    r->kwrSetColor(0xFFFFFFFF);
    draw();
    void* pixels = nullptr;
    r->kwrGetDib(nullptr, &pixels);
    EXPECT_EQ(static_cast<unsigned char*>(pixels)[(W * 3 + 3) / 4 * 4 + 3], 73);
}

// A triangle reaching behind the eye is clipped at z = 0 before the divide.
// One vertex behind: A (-1, -1) and B (1, -1) in front at w = 1, C at
// z = -0.5, w = 0; the edges cross z = 0 half way, at (0, 0.5) and (2, 0.5)
// in x / w, y / w: a quad over rows 8..31 of a 32 x 32 frame whose left
// edge runs from column 0 at the bottom to column 16 at row 8.
TEST(ClipSpace, NearPlaneClipsOneOrTwoVerticesBehindTheEye) {
    constexpr int W = 32, H = 32;
    auto r = context(24, W, H);
    r->kwrSetColor(0xFFFFFFFF);
    const float one[] = {-1, -1, 0.5f, 1, 1, -1, 0.5f, 1, 1, 1.5f, -0.5f, 0};
    ASSERT_EQ(r->kwrTrianglesClip(1, one, nullptr, nullptr), 1);
    EXPECT_EQ(blueAt(*r, W, 20, 9), 255);
    EXPECT_EQ(blueAt(*r, W, 31, 30), 255);
    EXPECT_EQ(blueAt(*r, W, 1, 30), 255);
    EXPECT_EQ(blueAt(*r, W, 10, 9), -1);
    EXPECT_EQ(blueAt(*r, W, 20, 6), -1);
    EXPECT_EQ(blueAt(*r, W, 5, 2), -1);
    // Two vertices behind: the centre in front, B and C at w = 0 behind;
    // what remains is the triangle (0, 0), (1, -1), (-1, -1): the lower half.
    r->kwrSetColor(0xFF101820);
    r->kwrClear();
    r->kwrSetColor(0xFFFFFFFF);
    const float two[] = {0, 0, 0.5f, 1, 1, -1, -0.5f, 0, -1, -1, -0.5f, 0};
    ASSERT_EQ(r->kwrTrianglesClip(1, two, nullptr, nullptr), 1);
    EXPECT_EQ(blueAt(*r, W, 16, 20), 255);
    EXPECT_EQ(blueAt(*r, W, 16, 30), 255);
    EXPECT_EQ(blueAt(*r, W, 2, 20), -1);
    EXPECT_EQ(blueAt(*r, W, 16, 10), -1);
    // Wholly behind, or beyond the far plane: nothing.
    r->kwrSetColor(0xFF101820);
    r->kwrClear();
    const float behind[] = {-1, -1, -0.5f, 1, 1, -1, -0.5f, 1, 0, 1, -0.5f, 1,
                            -1, -1, 2, 1, 1, -1, 2, 1, 0, 1, 2, 1};
    ASSERT_EQ(r->kwrTrianglesClip(2, behind, nullptr, nullptr), 1);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) ASSERT_EQ(blueAt(*r, W, x, y), -1) << x << ", " << y;
}

// A clipped polygon is one fill: blended at half weight over a uniform
// frame, every pixel it covers comes out the same (none blended twice).
TEST(ClipSpace, AClippedPolygonBlendsEachPixelOnce) {
    constexpr int W = 32, H = 32;
    auto r = context(32, W, H);
    r->kwrAlphaEnable(1);
    const float one[] = {-1, -1, 0.5f, 1, 1, -1, 0.5f, 1, 1, 1.5f, -0.5f, 0};
    const std::uint32_t argb[] = {0x80FFFFFF, 0x80FFFFFF, 0x80FFFFFF};
    ASSERT_EQ(r->kwrTrianglesClip(1, one, argb, nullptr), 1);
    const Frame f = frameOf(*r, 32, W, H);
    int covered = 0;
    for (std::size_t i = 0; i < f.pixels.size(); i += 4) {
        if (f.pixels[i] == 0x20) continue;
        ++covered;
        EXPECT_EQ(f.pixels[i], f.pixels[0 + 4 * (W * 31 + 16)]) << i / 4;
    }
    EXPECT_GT(covered, 300);
}

// Counter-clockwise with y up is front: culling back faces keeps it,
// culling front faces drops it; the reverse for the clockwise one.
TEST(ClipSpace, CullingFollowsTheWinding) {
    constexpr int W = 16, H = 16;
    const float ccw[] = {-1, -1, 0.5f, 1, 1, -1, 0.5f, 1, 0, 1, 0.5f, 1};
    const float cw[] = {-1, -1, 0.5f, 1, 0, 1, 0.5f, 1, 1, -1, 0.5f, 1};
    for (int mode : {KWR_CULL_NONE, KWR_CULL_BACK, KWR_CULL_FRONT}) {
        for (const float* tri : {ccw, cw}) {
            auto r = context(24, W, H);
            r->kwrSetColor(0xFFFFFFFF);
            r->kwrSetCull(mode);
            r->kwrSetCull(3);  // ignored
            ASSERT_EQ(r->kwrTrianglesClip(1, tri, nullptr, nullptr), 1);
            const bool drawn = blueAt(*r, W, 8, 10) == 255;
            const bool front = tri == ccw;
            EXPECT_EQ(drawn, mode == KWR_CULL_NONE || (mode == KWR_CULL_BACK) == front) << mode << front;
        }
    }
}

// Bad arguments return 0 with a reason; non-finite, degenerate and far-off
// vertices never draw outside the frame or crash.
TEST(ClipSpace, HostileArgumentsAreRefused) {
    constexpr int W = 16, H = 16;
    auto r = context(32, W, H);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    const float good[] = {-1, -1, 0.5f, 1, 1, -1, 0.5f, 1, 0, 1, 0.5f, 1};
    const std::uint32_t idx[] = {0, 1, 2};
    const std::uint32_t bad[] = {0, 1, 3};
    EXPECT_EQ(r->kwrTrianglesClip(-1, good, nullptr, nullptr), 0);
    EXPECT_EQ(r->kwrGetLastError(), KWR_ERROR_BAD_ARGUMENT);
    EXPECT_STREQ(KWRRender::kwrGetErrorText(KWR_ERROR_BAD_ARGUMENT), "bad argument");
    EXPECT_EQ(r->kwrTrianglesClip(1, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(r->kwrTrianglesClip(0, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(r->kwrGetLastError(), 0);
    EXPECT_EQ(r->kwrTrianglesClipIndexed(3, good, nullptr, nullptr, 1, nullptr), 0);
    EXPECT_EQ(r->kwrTrianglesClipIndexed(-3, good, nullptr, nullptr, 1, idx), 0);
    EXPECT_EQ(r->kwrTrianglesClipIndexed(3, good, nullptr, nullptr, 1, bad), 0);
    EXPECT_EQ(r->kwrGetLastError(), KWR_ERROR_BAD_INDEX);
    const Frame before = frameOf(*r, 32, W, H);
    EXPECT_TRUE(frameOf(*r, 32, W, H) == before);
    const float hostile[][12] = {
        {nan, -1, 0.5f, 1, 1, -1, 0.5f, 1, 0, 1, 0.5f, 1},
        {-1, -1, 0.5f, inf, 1, -1, 0.5f, 1, 0, 1, 0.5f, 1},
        {-1, -1, 0, 0, 1, -1, 0, 0, 0, 1, 0, 0},
        {-1, -1, 0.5f, -1, 1, -1, 0.5f, -1, 0, 1, 0.5f, -1},
        {-3e38f, -1, 0.5f, 1e-38f, 3e38f, 3e38f, 1e-30f, 1e-30f, 0, 1, 1e-45f, 1e-45f},
        {-3e38f, -3e38f, 0, 3e38f, 3e38f, -3e38f, 3e38f, 3e38f, 0, 3e38f, 1e38f, 3e38f},
    };
    const std::uint32_t argb[] = {0xFF00FF00, 0x80FF0000, 0xFF0000FF};
    const float uv[] = {0, 0, 1e30f, -1e30f, 1, 1};
    for (const auto& h : hostile) {
        const bool finite = std::isfinite(h[0]) && std::isfinite(h[3]);
        EXPECT_EQ(r->kwrTrianglesClip(1, h, argb, uv), finite ? 1 : 0);
        if (!finite) {
            EXPECT_EQ(r->kwrGetLastError(), KWR_ERROR_NOT_FINITE);
        }
    }
    // A non-finite triangle is skipped, the others drawn.
    float mixed[24];
    for (int i = 0; i < 12; ++i) mixed[i] = hostile[0][i], mixed[12 + i] = good[i];
    EXPECT_EQ(r->kwrTrianglesClip(2, mixed, nullptr, nullptr), 0);
    KWRRender none;
    EXPECT_EQ(none.kwrTrianglesClip(1, good, nullptr, nullptr), 0);
    EXPECT_EQ(none.kwrGetLastError(), KWR_ERROR_NO_FRAME);
}

// Random perspective meshes (w varying, some vertices behind the eye,
// colours, a texture of an odd size and an alpha map, blending, both
// filters) draw the same bytes at every instruction-set level.
TEST(ClipSpace, EveryLevelDrawsThePlainBytes) {
    const kwr::SimdLevel best = kwr::supportedSimdLevel();
    if (best == kwr::SimdLevel::kScalar) GTEST_SKIP() << "no vector level on this processor";
    constexpr int W = 67, H = 45;
    std::mt19937 seeds(77);
    for (int round = 0; round < 8; ++round) {
        const std::uint32_t seed = seeds();
        for (int bpp : {16, 24, 32}) {
            auto draw = [&](kwr::SimdLevel level) {
                const kwr::SimdLevel previous = kwr::forceSimdLevel(level);
                std::mt19937 rng(seed);
                std::uniform_real_distribution<float> unit(-1.4f, 1.4f), dist(-0.5f, 6.0f), tex(-2.0f, 3.0f);
                std::vector<unsigned char> texels(7 * 5 * 4), alpha(7 * 5);
                for (auto& b : texels) b = static_cast<unsigned char>(rng());
                for (auto& b : alpha) b = static_cast<unsigned char>(rng());
                auto r = context(bpp, W, H);
                r->kwrSetTexture(texels.data(), 7, 5, 28);
                if (round % 2) r->kwrSetAlphaMap(alpha.data(), 7, 5, 7);
                r->kwrAlphaEnable(round % 4 >= 2);
                r->kwrSetTextureFilter(static_cast<int>(rng() % 2));
                for (int i = 0; i < 40; ++i) {
                    float xyzw[12], uv[6];
                    std::uint32_t argb[3];
                    for (int k = 0; k < 3; ++k) {
                        const float w = dist(rng);
                        xyzw[4 * k] = unit(rng) * w;
                        xyzw[4 * k + 1] = unit(rng) * w;
                        xyzw[4 * k + 2] = (w - 0.2f) * 1.05f;
                        xyzw[4 * k + 3] = w;
                        argb[k] = rng();
                        uv[2 * k] = tex(rng);
                        uv[2 * k + 1] = tex(rng);
                    }
                    r->kwrTrianglesClip(1, xyzw, rng() % 2 ? argb : nullptr, rng() % 4 ? uv : nullptr);
                }
                Frame f = frameOf(*r, bpp, W, H);
                kwr::forceSimdLevel(previous);
                return f;
            };
            const Frame plain = draw(kwr::SimdLevel::kScalar);
            for (int l = 1; l <= static_cast<int>(best); ++l)
                EXPECT_TRUE(draw(static_cast<kwr::SimdLevel>(l)) == plain) << "level " << l << ", " << bpp << " bpp";
        }
    }
}

}  // namespace
