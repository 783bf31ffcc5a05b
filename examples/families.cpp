#include "families.h"

#include <cstdint>

#include "KWRRender.h"
#include "camera.h"
#include "font.h"
#include "showcase.h"

namespace kwr_demo {
namespace {

constexpr float kW = static_cast<float>(kFamilyWidth);
constexpr float kH = static_cast<float>(kFamilyHeight);

unsigned long hue(double t, int alpha = 255) {
    // A rainbow from the three phase-shifted cosines.
    auto c = [&](double phase) {
        const double v = 0.5 + 0.5 * cosExact(2 * kPi * (t - phase));
        return static_cast<unsigned long>(40 + 215 * v);
    };
    return (static_cast<unsigned long>(alpha) << 24) | (c(0.0) << 16) | (c(1.0 / 3) << 8) | c(2.0 / 3);
}

void clear(KWRRender& r, unsigned long colour = 0xFF1B2030) {
    r.kwrAlphaEnable(0);
    r.kwrSetColor(colour);
    r.kwrClear();
}

// Flat triangles in the three coordinate forms: a twelve-pointed star.
void flat(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    const int n = 12;
    for (int i = 0; i < n; ++i) {
        const double a0 = 2 * kPi * i / n, a1 = 2 * kPi * (i + 0.5) / n;
        r.kwrSetColor(hue(static_cast<double>(i) / n));
        // Centred coordinates: (0, 0) is the middle of the frame, y up.
        r.kwrTrianglefg(0, 0, static_cast<float>(72 * cosExact(a0)), static_cast<float>(72 * sinExact(a0)),
                        static_cast<float>(30 * cosExact(a1)), static_cast<float>(30 * sinExact(a1)));
    }
    r.kwrSetColor(0xFFF0F0F0);
    r.kwrTriangle(8, 8, 40, 8, 8, 40);
    r.kwrTrianglef(kW - 8.5f, kH - 8.5f, kW - 40.5f, kH - 8.5f, kW - 8.5f, kH - 40.5f);
}

// Depth-tested flat triangles that cut through each other, and a depth box.
void depth(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    r.kwrSetColor(0xFFE8604C);
    r.kwrTriangle3f(20, 20, 0.1f, 230, 60, 0.9f, 40, 150, 0.5f);
    r.kwrSetColor(0xFF4CB0E8);
    r.kwrTriangle3f(236, 24, 0.1f, 30, 80, 0.8f, 210, 150, 0.3f);
    r.kwrSetColor(0xFFF2C94C);
    r.kwrTriangle3f(128, 6, 0.95f, 250, 140, 0.05f, 6, 140, 0.5f);
    r.kwrSetColor(0xFF7CD67C);
    r.kwrBox3(96, 60, 160, 100, 0.45f);
}

// Gouraud shading: a hexagon with coloured rim and white centre.
void gouraud(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    const int n = 6;
    for (int i = 0; i < n; ++i) {
        const double a0 = 2 * kPi * i / n, a1 = 2 * kPi * (i + 1) / n;
        r.kwrTrianglecfg(0, 0, 0xFFFFFFFF, static_cast<float>(110 * cosExact(a0)),
                         static_cast<float>(74 * sinExact(a0)), hue(static_cast<double>(i) / n),
                         static_cast<float>(110 * cosExact(a1)), static_cast<float>(74 * sinExact(a1)),
                         hue(static_cast<double>(i + 1) / n));
    }
}

// Textured triangles: a floor of tiles with depth, and a quad tinted by
// vertex colours.
void textured(KWRRender& r, ShowcaseAssets& a) {
    clear(r);
    r.kwrSetTexture(a.texture.data(), a.texture.width, a.texture.height, a.texture.pitch);
    r.kwrSetColor(0xFFFFFFFF);
    r.kwrTriangle3tf(60, 20, 0.9f, 0, 0, 196, 20, 0.9f, 1.5f, 0, 250, 154, 0.1f, 1.5f, 1.5f);
    r.kwrTriangle3tf(60, 20, 0.9f, 0, 0, 250, 154, 0.1f, 1.5f, 1.5f, 6, 154, 0.1f, 0, 1.5f);
    r.kwrTrianglectf(12, 12, 0xFFFF8080, 0, 0, 72, 12, 0xFF80FF80, 1, 0, 12, 72, 0xFF8080FF, 0, 1);
    r.kwrTrianglectf(72, 12, 0xFF80FF80, 1, 0, 72, 72, 0xFFFFFFFF, 1, 1, 12, 72, 0xFF8080FF, 0, 1);
    r.kwrSetTexture(nullptr, 0, 0, 0);
}

// Blending: three translucent discs over a checkerboard, and a triangle
// whose vertex alphas fade it out.
void blended(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    for (int y = 0; y < kFamilyHeight; y += 16) {
        for (int x = (y / 16 % 2) * 16; x < kFamilyWidth; x += 32) {
            r.kwrSetColor(0xFF3A4258);
            r.kwrBox(x, y, x + 15, y + 15);
        }
    }
    r.kwrAlphaEnable(1);
    const unsigned long colours[3] = {0x90FF4040, 0x9040FF40, 0x904060FF};
    const int n = 32;
    for (int d = 0; d < 3; ++d) {
        const double cx = 105 + 36 * cosExact(2 * kPi * d / 3 + kPi / 2);
        const double cy = 80 - 30 * sinExact(2 * kPi * d / 3 + kPi / 2);
        r.kwrSetColor(colours[d]);
        for (int i = 0; i < n; ++i) {
            const double a0 = 2 * kPi * i / n, a1 = 2 * kPi * (i + 1) / n;
            r.kwrTrianglef(static_cast<float>(cx), static_cast<float>(cy), static_cast<float>(cx + 46 * cosExact(a0)),
                           static_cast<float>(cy + 46 * sinExact(a0)), static_cast<float>(cx + 46 * cosExact(a1)),
                           static_cast<float>(cy + 46 * sinExact(a1)));
        }
    }
    r.kwrTrianglec(170, 20, 0xF0FFD040, 250, 20, 0x10FFD040, 250, 150, 0x80FF60C0);
    r.kwrAlphaEnable(0);
}

// A textured floor running to the horizon, seen by a camera 1 above it:
// on the left drawn from its projected corners (interpolated linearly on
// the screen, nearest texel), on the right from clip space (perspective-
// correct, bilinear).  Each half is a view of its own, 128 x 160.
void perspective(KWRRender& r, ShowcaseAssets& a) {
    clear(r, 0xFF6A8CB0);
    r.kwrSetTexture(a.texture.data(), a.texture.width, a.texture.height, a.texture.pitch);
    r.kwrSetColor(0xFFFFFFFF);
    // A projection of 60 degrees vertically, near 0.5, far 50, aspect 0.8.
    const float f = 1.7320508f, aspect = 0.8f, nearZ = 0.5f, farZ = 50.0f;
    const float corners[4][2] = {{-40, -0.6f}, {40, -0.6f}, {40, -40}, {-40, -40}};
    const int tris[2][3] = {{0, 1, 2}, {0, 2, 3}};
    for (int half = 0; half < 2; ++half) {
        float xyzw[4][4], uv[4][2];
        for (int i = 0; i < 4; ++i) {
            const float x = corners[i][0], z = corners[i][1], w = -z;
            // x shifted and halved in clip space: the left or right half of the frame.
            xyzw[i][0] = 0.5f * (f / aspect * x) + (half == 0 ? -0.5f : 0.5f) * w;
            xyzw[i][1] = -f;
            xyzw[i][2] = farZ / (nearZ - farZ) * z + nearZ * farZ / (nearZ - farZ);
            xyzw[i][3] = w;
            uv[i][0] = x * 0.125f;
            uv[i][1] = -z * 0.125f;
        }
        if (half == 0) {
            r.kwrSetTextureFilter(KWR_FILTER_NEAREST);
            float p[4][3];
            for (int i = 0; i < 4; ++i) {
                p[i][0] = (xyzw[i][0] / xyzw[i][3] + 1) * 0.5f * kW;
                p[i][1] = (1 - xyzw[i][1] / xyzw[i][3]) * 0.5f * kH;
                p[i][2] = xyzw[i][2] / xyzw[i][3];
            }
            for (const auto& t : tris)
                r.kwrTriangle3tf(p[t[0]][0], p[t[0]][1], p[t[0]][2], uv[t[0]][0], uv[t[0]][1], p[t[1]][0], p[t[1]][1],
                                 p[t[1]][2], uv[t[1]][0], uv[t[1]][1], p[t[2]][0], p[t[2]][1], p[t[2]][2],
                                 uv[t[2]][0], uv[t[2]][1]);
        } else {
            r.kwrSetTextureFilter(KWR_FILTER_BILINEAR);
            const std::uint32_t indices[] = {0, 1, 2, 0, 2, 3};
            r.kwrTrianglesClipIndexed(4, &xyzw[0][0], nullptr, &uv[0][0], 2, indices);
        }
    }
    r.kwrSetTextureFilter(KWR_FILTER_NEAREST);
    r.kwrSetTexture(nullptr, 0, 0, 0);
}

// An alpha map: the showcase's ring disc over a field of tiles.
void alphaMapped(KWRRender& r, ShowcaseAssets& a) {
    clear(r);
    r.kwrSetTexture(a.texture.data(), a.texture.width, a.texture.height, a.texture.pitch);
    r.kwrSetColor(0xFF8C8C8C);  // the tiles dimmed: texel x colour
    r.kwrTrianglet(0, 0, 0, 0, 256, 0, 2, 0, 256, 160, 2, 1.25f);
    r.kwrTrianglet(0, 0, 0, 0, 256, 160, 2, 1.25f, 0, 160, 0, 1.25f);
    r.kwrSetTexture(a.disc.data(), a.disc.width, a.disc.height, a.disc.pitch);
    r.kwrSetAlphaMap(a.ringMask.data(), a.ringMaskSize, a.ringMaskSize, a.ringMaskSize);
    r.kwrAlphaEnable(1);
    r.kwrSetColor(0xFFFFFFFF);
    r.kwrTriangletf(53, 5, 0, 0, 203, 5, 1, 0, 203, 155, 1, 1);
    r.kwrTriangletf(53, 5, 0, 0, 203, 155, 1, 1, 53, 155, 0, 1);
    r.kwrAlphaEnable(0);
    r.kwrSetAlphaMap(nullptr, 0, 0, 0);
    r.kwrSetTexture(nullptr, 0, 0, 0);
}

// Lines: a fan of 2D lines, and depth lines woven through a depth triangle.
void lines(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    const int n = 48;
    for (int i = 0; i < n; ++i) {
        const double a = 2 * kPi * i / n;
        r.kwrSetColor(hue(static_cast<double>(i) / n));
        r.kwrLinef(64, 80, static_cast<float>(64 + 60 * cosExact(a)), static_cast<float>(80 + 60 * sinExact(a)));
    }
    r.kwrSetColor(0xFF404A66);
    r.kwrTriangle3(140, 20, 0.5f, 250, 40, 0.5f, 190, 150, 0.5f);
    for (int i = 0; i < 12; ++i) {
        r.kwrSetColor(hue(i / 12.0));
        const float y = 18.0f + 11 * i;
        r.kwrLine3f(132, y, 0.2f, 252, y + 8, 0.8f);
    }
}

// One-bit bitmaps (the built-in font), points and boxes.
void bitmaps(KWRRender& r, ShowcaseAssets&) {
    clear(r);
    drawText(r, 10, 10, "kwrender", 4, 0xFFFFFFFF, 0xFF000000);
    drawText(r, 10, 48, "one-bit bitmaps,", 2, 0xFFFFC878, 0xFF000000);
    drawText(r, 10, 68, "points and boxes", 2, 0xFF8CF0FF, 0xFF000000);
    drawText(r, 10, 90, "0123456789 !\"#$%&'()*+,-./:;<=>?", 1, 0xFFC8D2F0);
    drawText(r, 10, 99, "@[\\]^_`{|}~ ABCDEFGHIJKLMNOPQRSTUVWXYZ", 1, 0xFFC8D2F0);
    for (int i = 0; i < 24; ++i) {
        r.kwrSetColor(hue(i / 24.0));
        r.kwrBox(10 + i * 10, 112, 17 + i * 10, 117 + (i % 4) * 6);
    }
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 118; ++x) {
            if ((x * x + y * 7) % 11 == 0) {
                r.kwrSetColor(hue(x / 118.0));
                r.kwrPut(10 + x * 2, 142 + y);
            }
        }
    }
}

// Image blits: the texture enlarged (nearest neighbour), shrunk, and a
// depth-tested blit behind a depth triangle.
void blits(KWRRender& r, ShowcaseAssets& a) {
    clear(r);
    const Texels& t = a.texture;
    unsigned char* texels = a.texture.data();
    r.kwrImage2D(8, 8, 8 + 120, 8 + 120, t.width, t.height, 32, texels);
    r.kwrImage2D(136, 8, 136 + 32, 8 + 32, t.width, t.height, 32, texels);
    // A 12 x 12 piece of the texture around a corner of four tiles, blown
    // up: each texel becomes a 6 x 6 block.
    const int n = 12, from = 26;
    std::vector<unsigned char> piece(static_cast<std::size_t>(n * n * 4));
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n * 4; ++x) {
            piece[static_cast<std::size_t>(y * n * 4 + x)] =
                t.bytes[static_cast<std::size_t>((from + y) * t.pitch + from * 4 + x)];
        }
    }
    r.kwrImage2D(176, 8, 176 + 6 * n, 8 + 6 * n, n, n, 32, piece.data());
    r.kwrSetColor(0xFF4CB0E8);
    r.kwrTriangle3(140, 150, 0.3f, 250, 150, 0.3f, 195, 90, 0.7f);
    r.kwrImage2D3(150, 88, 240, 152, 0.5f, t.width, t.height, 32, texels);
    // `piece` goes when this function returns: a context drawing on several
    // threads must have read it by then.
    r.kwrFlush();
}

}  // namespace

const std::vector<Family>& families() {
    static const std::vector<Family> list = {
        {"flat", "flat triangles", flat},
        {"depth", "depth-tested triangles and a depth box", depth},
        {"gouraud", "Gouraud-shaded triangles", gouraud},
        {"textured", "textured triangles, with depth and with vertex colours", textured},
        {"blended", "blended triangles: flat alpha and vertex alpha", blended},
        {"alpha_mapped", "a textured quad through an alpha map", alphaMapped},
        {"perspective", "a floor to the horizon: affine and nearest, perspective-correct and bilinear", perspective},
        {"lines", "lines and depth-tested lines", lines},
        {"bitmaps", "one-bit bitmaps, points and boxes", bitmaps},
        {"blits", "scaled image blits, with and without depth", blits},
    };
    return list;
}

}  // namespace kwr_demo
