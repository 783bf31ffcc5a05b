// A scene that exercises every kind of drawing call: flat, blended, shaded,
// depth-tested and textured triangles, boxes, a one-bit glyph, an image
// blit and lines.  The determinism test hashes it in every build.
#ifndef KWR_EXAMPLES_SCENE_H
#define KWR_EXAMPLES_SCENE_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "KWRRender.h"
#include "picture.h"

namespace kwr_demo {

constexpr int kSceneWidth = 160;
constexpr int kSceneHeight = 120;

// Host-owned inputs of the scene; they must outlive the drawing calls.
struct SceneAssets {
    std::vector<unsigned char> texture;   // 16 x 16 texels, blue, green, red, alpha
    std::vector<unsigned char> alphaMap;  // 8 x 8 values
    std::vector<unsigned char> image;     // 5 x 4 pixels, 24 bits, rows padded to 4 bytes
    std::vector<unsigned char> glyph;     // 8 x 8 one-bit bitmap

    SceneAssets() : texture(16 * 16 * 4), alphaMap(8 * 8), image(16 * 4), glyph(8) {
        for (int v = 0; v < 16; ++v) {
            for (int u = 0; u < 16; ++u) {
                unsigned char* t = &texture[static_cast<std::size_t>((v * 16 + u) * 4)];
                const bool dark = ((u >> 2) ^ (v >> 2)) & 1;
                t[0] = static_cast<unsigned char>(dark ? 40 : 230);
                t[1] = static_cast<unsigned char>(u * 16);
                t[2] = static_cast<unsigned char>(v * 16);
                t[3] = static_cast<unsigned char>(dark ? 96 : 255);
            }
        }
        for (int i = 0; i < 64; ++i) alphaMap[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i * 4);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 5; ++x) {
                unsigned char* p = &image[static_cast<std::size_t>(y * 16 + x * 3)];
                p[0] = static_cast<unsigned char>(50 * x);
                p[1] = static_cast<unsigned char>(60 * y);
                p[2] = static_cast<unsigned char>(255 - 40 * (x + y));
            }
        }
        const unsigned char k[8] = {0x18, 0x24, 0x42, 0x81, 0xFF, 0x81, 0x81, 0x81};
        std::memcpy(glyph.data(), k, sizeof k);
    }
};

// Draws frame number `frame` of the scene (frame 0 is the reference frame).
inline void drawScene(KWRRender& r, SceneAssets& a, int frame) {
    const float t = static_cast<float>(frame) * 0.05f;
    const float c = std::cos(t), s = std::sin(t);
    auto rx = [&](float x, float y) { return 80.0f + (x - 80.0f) * c - (y - 60.0f) * s; };
    auto ry = [&](float x, float y) { return 60.0f + (x - 80.0f) * s + (y - 60.0f) * c; };

    r.kwrAlphaEnable(0);
    r.kwrZTestEnable(1);
    r.kwrSetZBackDepth(1.0f);
    r.kwrSetColor(0xFF203040);
    r.kwrClear();

    // Background: a box, a depth box and a flat triangle.
    r.kwrSetColor(0xFF304860);
    r.kwrBox(0, 90, 159, 119);
    r.kwrSetColor(0xFF506070);
    r.kwrBox3(100, 5, 150, 40, 0.9f);
    r.kwrSetColor(0xFF8090A0);
    r.kwrTriangle(5, 5, 60, 12, 20, 50);

    // Shaded, depth-tested triangles crossing each other.
    r.kwrTriangle3cf(rx(20, 30), ry(20, 30), 0.2f, 0xFFFF0000, rx(140, 40), ry(140, 40), 0.8f, 0xFF00FF00,
                     rx(70, 110), ry(70, 110), 0.5f, 0xFF0000FF);
    r.kwrTriangle3c(30, 100, 0.6f, 0xFFFFFF00, 150, 70, 0.1f, 0xFF00FFFF, 90, 10, 0.9f, 0xFFFF00FF);

    // Textured triangles: depth-tested, then without a depth test, with vertex colours.
    r.kwrSetTexture(a.texture.data(), 16, 16, 64);
    r.kwrSetColor(0xFFFFFFFF);
    r.kwrTriangle3tf(rx(10, 60), ry(10, 60), 0.3f, 0.0f, 0.0f, rx(60, 60), ry(60, 60), 0.3f, 2.0f, 0.0f,
                     rx(10, 110), ry(10, 110), 0.3f, 0.0f, 2.0f);
    r.kwrTrianglect(110, 60, 0xFFFFFFFF, -0.5f, 0.0f, 155, 70, 0xFF8080FF, 1.5f, 0.2f, 120, 115, 0xFFFF8080,
                    0.3f, 1.7f);

    // Blending: flat, per-vertex alpha, texture alpha and an alpha map.
    r.kwrAlphaEnable(1);
    r.kwrSetColor(0x80FFFFFF);
    r.kwrTrianglef(rx(40, 20), ry(40, 20), rx(120, 20), ry(120, 20), rx(80, 80), ry(80, 80));
    r.kwrTriangle3(50, 70, 0.05f, 120, 75, 0.05f, 85, 115, 0.05f);
    r.kwrTrianglec(0, 0, 0x00FF0000, 159, 0, 0xFF00FF00, 80, 60, 0x80000000);
    r.kwrTriangle3ctf(90, 15, 0.15f, 0xC0FFFFFF, 1.0f, 1.0f, 150, 25, 0.15f, 0x40FFFFFF, 3.0f, 1.0f, 100, 85,
                      0.15f, 0xFFFFFFFF, 1.0f, 3.0f);
    r.kwrSetAlphaMap(a.alphaMap.data(), 8, 8, 8);
    r.kwrSetColor(0xE0FFC080);
    r.kwrTriangletfg(-75.0f, -10.0f, 0.0f, 0.0f, -20.0f, -10.0f, 1.0f, 0.0f, -75.0f, -55.0f, 0.0f, 1.0f);
    r.kwrSetAlphaMap(nullptr, 0, 0, 0);
    r.kwrAlphaEnable(0);
    r.kwrSetTexture(nullptr, 0, 0, 0);

    // Image blits, a glyph, lines and depth lines.
    r.kwrImage2D(4, 60, 29, 80, 5, 4, 24, a.image.data());
    r.kwrImage2D3(130, 85, 155, 100, 0.0f, 5, 4, 24, a.image.data());
    r.kwrSetColor(0xFFFFFF00);
    r.kwrBitmap1(70 + frame % 16, 92, 8, 8, a.glyph.data());
    r.kwrSetColor(0xFFFFFFFF);
    r.kwrLine(0, 119, 159, 0);
    r.kwrLinef(rx(10, 10), ry(10, 10), rx(150, 110), ry(150, 110));
    r.kwrLinefg(-80.0f, 0.0f, 79.0f, 0.0f);
    r.kwrSetColor(0xFF00FF80);
    r.kwrLine3(0, 30, 0.0f, 159, 90, 1.0f);
    r.kwrLine3f(rx(80, 0), ry(80, 0), 0.4f, rx(80, 119), ry(80, 119), 0.4f);
    r.kwrSetColor(0xFFFF8000);
    r.kwrPut(1, 1);
    r.kwrBoxfg(-2.0f, 2.0f, 2.0f, -2.0f);
}

// FNV-1a over the visible pixel bytes of every row (row padding excluded)
// and over the depth buffer's bit patterns.
inline std::uint64_t frameHash(KWRRender& r) {
    const FrameFormat f = frameFormat(r);
    if (f.pixels == nullptr) return 0;
    const std::size_t visible = static_cast<std::size_t>(f.width) * static_cast<std::size_t>(f.bpp) / 8;

    std::uint64_t h = 0xCBF29CE484222325ull;
    auto mix = [&h](const unsigned char* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            h ^= p[i];
            h *= 0x100000001B3ull;
        }
    };
    for (int y = 0; y < f.height; ++y) mix(f.pixels + static_cast<std::size_t>(y) * f.rowBytes, visible);
    if (const float* z = r.kwrGetZBuffer()) {
        mix(reinterpret_cast<const unsigned char*>(z),
            static_cast<std::size_t>(f.width) * static_cast<std::size_t>(f.height) * sizeof(float));
    }
    return h;
}

}  // namespace kwr_demo

#endif
