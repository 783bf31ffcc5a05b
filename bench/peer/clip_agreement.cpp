// How closely a perspective textured frame drawn through the clip-space call
// agrees with llvmpipe's (through OSMesa): a checkered floor running to the
// horizon, the same clip-space vertices handed to both, nearest and bilinear
// sampling, compared pixel by pixel.  Prints the share of covered pixels whose
// channels are within 4 (and 16) levels, inside the floor and along its edges,
// and in its near, magnified part.
//
//   kwrender_clip_agreement [--half-texel]
//
// --half-texel moves OpenGL's texture coordinates by half a texel, so that
// its bilinear samples (taken around texel centres) fall where this library's
// are (taken around texel corners) and the comparison shows what remains.
#define GL_GLEXT_PROTOTYPES 1
#include <GL/osmesa.h>
#include <GL/gl.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "KWRRender.h"

namespace {

constexpr int kW = 640, kH = 480, kTexels = 64, kQuads = 16;

struct Counts {
    long inside = 0, inside4 = 0, inside16 = 0, edge = 0, edge4 = 0, near = 0, near4 = 0;
};

bool covered(const std::uint8_t* img, int x, int y) {
    const std::uint8_t* p = img + (static_cast<std::ptrdiff_t>(y) * kW + x) * 4;
    return (p[0] | p[1] | p[2]) != 0;
}

bool within(const std::uint8_t* p, const std::uint8_t* q, int levels) {
    for (int k = 0; k < 3; ++k)
        if (std::abs(static_cast<int>(p[k]) - static_cast<int>(q[k])) > levels) return false;
    return true;
}

Counts compare(const std::uint8_t* a, const std::uint8_t* b) {
    Counts c;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            if (!covered(a, x, y) && !covered(b, x, y)) continue;
            bool interior = true;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int xx = x + dx, yy = y + dy;
                    if (xx < 0 || yy < 0 || xx >= kW || yy >= kH || !covered(a, xx, yy) || !covered(b, xx, yy))
                        interior = false;
                }
            const std::uint8_t* p = a + (static_cast<std::ptrdiff_t>(y) * kW + x) * 4;
            const std::uint8_t* q = b + (static_cast<std::ptrdiff_t>(y) * kW + x) * 4;
            if (interior) {
                ++c.inside;
                c.inside4 += within(p, q, 4);
                c.inside16 += within(p, q, 16);
                if (y >= kH * 3 / 4) {
                    ++c.near;
                    c.near4 += within(p, q, 4);
                }
            } else {
                ++c.edge;
                c.edge4 += within(p, q, 4);
            }
        }
    return c;
}

double share(long part, long whole) { return whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0; }

}  // namespace

int main(int argc, char** argv) {
    const bool halfTexel = argc > 1 && std::strcmp(argv[1], "--half-texel") == 0;
    // Checkers of 8 texels over two ramps, every texel different.
    std::vector<std::uint8_t> texture(kTexels * kTexels * 4);
    for (int y = 0; y < kTexels; ++y)
        for (int x = 0; x < kTexels; ++x) {
            std::uint8_t* p = &texture[static_cast<std::size_t>(y * kTexels + x) * 4];
            p[0] = (((x >> 3) ^ (y >> 3)) & 1) != 0 ? 230 : 30;
            p[1] = static_cast<std::uint8_t>(x * 4);
            p[2] = static_cast<std::uint8_t>(y * 4);
            p[3] = 255;
        }
    // The floor y = -1 from z = -1.5 to -40, 16 x 16 quads, under a camera
    // of 60 degrees, near 0.5, far 100: clip space with 0 <= z <= w.
    const double f = 1.0 / std::tan(30.0 * 3.14159265358979 / 180.0), aspect = double{kW} / kH;
    const double zn = 0.5, zf = 100.0;
    std::vector<float> xyzw, uv;
    std::vector<std::uint32_t> argb;
    for (int j = 0; j < kQuads; ++j)
        for (int i = 0; i < kQuads; ++i) {
            const double x0 = -8 + 16.0 * i / kQuads, x1 = -8 + 16.0 * (i + 1) / kQuads;
            const double z0 = -1.5 - 38.5 * j / kQuads, z1 = -1.5 - 38.5 * (j + 1) / kQuads;
            const double xs[4] = {x0, x1, x1, x0}, zs[4] = {z0, z0, z1, z1};
            for (int k : {0, 1, 2, 0, 2, 3}) {
                const float v[4] = {static_cast<float>(f / aspect * xs[k]), static_cast<float>(-f),
                                    static_cast<float>(zf / (zn - zf) * zs[k] + zn * zf / (zn - zf)),
                                    static_cast<float>(-zs[k])};
                xyzw.insert(xyzw.end(), v, v + 4);
                uv.push_back(static_cast<float>(xs[k] / 4));
                uv.push_back(static_cast<float>(-zs[k] / 4));
                argb.push_back(0xFFFFFFFFu);
            }
        }
    const int count = static_cast<int>(xyzw.size() / 12);

    for (int filter : {KWR_FILTER_NEAREST, KWR_FILTER_BILINEAR}) {
        KWRRender r;
        r.kwrSetRenderBpp(32);
        r.kwrZBufferEnable(0);
        if (r.kwrInitBuffer(kW, kH) == 0) return 1;
        r.kwrSetColor(0xFF000000);
        r.kwrClear();
        r.kwrSetTexture(texture.data(), kTexels, kTexels, kTexels * 4);
        r.kwrSetTextureFilter(filter);
        r.kwrTrianglesClip(count, xyzw.data(), argb.data(), uv.data());
        void* pixels = nullptr;
        r.kwrGetDib(nullptr, &pixels);

        std::vector<std::uint8_t> gl(static_cast<std::size_t>(kW) * kH * 4);
        OSMesaContext ctx = OSMesaCreateContextExt(OSMESA_BGRA, 0, 0, 0, nullptr);
        if (ctx == nullptr || !OSMesaMakeCurrent(ctx, gl.data(), GL_UNSIGNED_BYTE, kW, kH)) return 1;
        OSMesaPixelStore(OSMESA_Y_UP, 0);  // row 0 at the top
        glViewport(0, 0, kW, kH);
        glDisable(GL_DITHER);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        GLuint name = 0;
        glGenTextures(1, &name);
        glBindTexture(GL_TEXTURE_2D, name);
        const GLint mode = filter == KWR_FILTER_BILINEAR ? GL_LINEAR : GL_NEAREST;
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, mode);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, mode);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kTexels, kTexels, 0, GL_BGRA, GL_UNSIGNED_BYTE, texture.data());
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        glEnable(GL_TEXTURE_2D);
        glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
        const float shift = halfTexel && filter == KWR_FILTER_BILINEAR ? 0.5f / kTexels : 0.0f;
        glBegin(GL_TRIANGLES);
        for (int v = 0; v < count * 3; ++v) {
            const float* c = &xyzw[static_cast<std::size_t>(v) * 4];
            glColor4ub(255, 255, 255, 255);
            glTexCoord2f(uv[static_cast<std::size_t>(v) * 2] + shift, uv[static_cast<std::size_t>(v) * 2 + 1] + shift);
            glVertex4f(c[0], c[1], 2 * c[2] - c[3], c[3]);  // depth 0..w as OpenGL's -w..w
        }
        glEnd();
        glFinish();
        const Counts c = compare(static_cast<const std::uint8_t*>(pixels), gl.data());
        std::printf("%s: interior %ld px, %.1f%% within 4 levels, %.1f%% within 16; edges %ld px, %.1f%% within 4; "
                    "near quarter %ld px, %.1f%% within 4\n",
                    filter == KWR_FILTER_BILINEAR ? "perspective, bilinear / GL_LINEAR" : "perspective, nearest / GL_NEAREST",
                    c.inside, share(c.inside4, c.inside), share(c.inside16, c.inside), c.edge, share(c.edge4, c.edge),
                    c.near, share(c.near4, c.near));
        OSMesaDestroyContext(ctx);
    }
    return 0;
}
