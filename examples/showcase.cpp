#include "showcase.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "KWRRender.h"
#include "font.h"
#include "picture.h"

namespace kwr_demo {
namespace {

unsigned long rgb(int r, int g, int b) {
    return 0xFF000000ul | (static_cast<unsigned long>(r) << 16) | (static_cast<unsigned long>(g) << 8) |
           static_cast<unsigned long>(b);
}

unsigned long withAlpha(unsigned long c, int a) { return (c & 0xFFFFFFul) | (static_cast<unsigned long>(a) << 24); }

int channel(unsigned long c, int shift) { return static_cast<int>((c >> shift) & 0xFF); }

// Linear mix of two colours, t in 0..1 (alpha taken from a).
unsigned long mix(unsigned long a, unsigned long b, double t) {
    auto m = [&](int shift) {
        return static_cast<unsigned long>(channel(a, shift) + (channel(b, shift) - channel(a, shift)) * t + 0.5)
               << shift;
    };
    return (a & 0xFF000000ul) | m(16) | m(8) | m(0);
}

int clampByte(double v) { return v <= 0 ? 0 : (v >= 255 ? 255 : static_cast<int>(v + 0.5)); }

double smoothstep(double e0, double e1, double x) {
    const double t = std::min(1.0, std::max(0.0, (x - e0) / (e1 - e0)));
    return t * t * (3 - 2 * t);
}

void setTexel(Texels& t, int x, int y, int r, int g, int b, int a) {
    unsigned char* p = &t.bytes[static_cast<std::size_t>(y) * static_cast<std::size_t>(t.pitch) +
                                static_cast<std::size_t>(x) * 4];
    p[0] = static_cast<unsigned char>(b);
    p[1] = static_cast<unsigned char>(g);
    p[2] = static_cast<unsigned char>(r);
    p[3] = static_cast<unsigned char>(a);
}

Texels makeTexels(int size) {
    Texels t;
    t.width = t.height = size;
    t.pitch = size * 4;
    t.bytes.assign(static_cast<std::size_t>(t.pitch) * static_cast<std::size_t>(size), 0);
    return t;
}

// Rotation of a point about the vertical axis, then a tilt about x.
Vec3 turn(Vec3 p, double angle, double tilt) {
    const double ca = cosExact(angle), sa = sinExact(angle);
    const Vec3 q{p.x * ca + p.z * sa, p.y, -p.x * sa + p.z * ca};
    const double ct = cosExact(tilt), st = sinExact(tilt);
    return {q.x, q.y * ct - q.z * st, q.y * st + q.z * ct};
}

// Lighting baked into a vertex colour: a warm key light with a highlight, a
// cool fill light from the right and some ambient light.
unsigned long lightVertex(Vec3 n, Vec3 toEye) {
    const Vec3 key = normalize(Vec3{-0.55, 0.75, 0.65});
    const Vec3 fill = normalize(Vec3{0.9, -0.2, 0.35});
    const double dk = std::max(0.0, dot(n, key));
    const double df = std::max(0.0, dot(n, fill));
    double s = std::max(0.0, dot(n, normalize(key + toEye)));
    for (int i = 0; i < 5; ++i) s *= s;  // s^32
    const double r = 255 * (0.16 + 0.95 * dk + 0.25 * df) + 230 * s;
    const double g = 255 * (0.16 + 0.90 * dk + 0.40 * df) + 230 * s;
    const double b = 255 * (0.20 + 0.80 * dk + 0.65 * df) + 230 * s;
    return rgb(clampByte(r), clampByte(g), clampByte(b));
}

// The layout unit: 1 at 1024 x 768, smaller frames shrink the 2D parts.
struct Layout {
    int w, h, bpp;
    int ui;         // text scale of the body text
    bool trueColour;  // 16 bpp and up: colour-interpolating fills and blits draw
};

class Scene {
public:
    Scene(KWRRender& r, ShowcaseAssets& a, const ShowcaseFrame& f, Layout l)
        : r_(r), a_(a), f_(f), l_(l),
          cam_(Vec3{-0.4, 1.5, 9.0}, Vec3{0.2, -0.05, 0.0}, 38.0, l.w, l.h, 1.0, 24.0) {}

    // Draws the scene; returns the number of triangles drawn.
    int draw() {
        background();
        if (f_.perspectiveFloor) texturedFloor();
        floorGrid();
        knotShadow();
        knot();
        wireframe();
        shards();
        disc();
        chartPanel();
        legend();
        thumbnail();
        titles();
        return triangles_;
    }

private:
    KWRRender& r_;
    ShowcaseAssets& a_;
    const ShowcaseFrame& f_;
    Layout l_;
    Camera cam_;
    int triangles_ = 0;

    static constexpr double kTilt = 0.28;
    static constexpr double kFloorY = -2.75;

    void background() {
        r_.kwrAlphaEnable(0);
        r_.kwrSetColor(rgb(14, 18, 34));
        r_.kwrClear();
        if (l_.trueColour) {
            // A vertical Gouraud gradient from two triangles.
            const float w = static_cast<float>(l_.w), h = static_cast<float>(l_.h);
            const unsigned long top = rgb(8, 10, 24), bottom = rgb(44, 30, 66);
            r_.kwrTrianglecf(0, 0, top, w, 0, top, 0, h, bottom);
            r_.kwrTrianglecf(w, 0, top, w, h, bottom, 0, h, bottom);
            triangles_ += 2;
        }
        // Stars, one pixel each, above the horizon.
        std::uint32_t seed = 12345;
        for (int i = 0; i < l_.w * l_.h / 3000; ++i) {
            seed = seed * 1664525u + 1013904223u;
            const int x = static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(l_.w));
            seed = seed * 1664525u + 1013904223u;
            const int y = static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(l_.h / 2));
            const int v = 90 + static_cast<int>((seed >> 4) % 150u);
            r_.kwrSetColor(rgb(v, v, std::min(255, v + 30)));
            r_.kwrPut(x, y);
        }
    }

    // A floor of depth lines that fades into the distance.
    // The floor as tiles running to the horizon: clip-space vertices, cut
    // by the library where they reach behind the camera, textured in
    // perspective and bilinearly.
    void texturedFloor() {
        const double extent = 12.0;
        const Vec3 corners[4] = {{-extent, kFloorY, -extent}, {extent, kFloorY, -extent},
                                 {extent, kFloorY, extent}, {-extent, kFloorY, extent}};
        float xyzw[16], uv[8];
        for (int i = 0; i < 4; ++i) {
            cam_.clip(corners[i], xyzw + 4 * i);
            uv[2 * i] = static_cast<float>(corners[i].x / 3.0);
            uv[2 * i + 1] = static_cast<float>(corners[i].z / 3.0);
        }
        const std::uint32_t indices[] = {0, 1, 2, 0, 2, 3};
        r_.kwrSetTexture(a_.texture.data(), a_.texture.width, a_.texture.height, a_.texture.pitch);
        r_.kwrSetTextureFilter(KWR_FILTER_BILINEAR);
        r_.kwrSetColor(rgb(150, 160, 190));
        r_.kwrTrianglesClipIndexed(4, xyzw, nullptr, uv, 2, indices);
        r_.kwrSetTextureFilter(KWR_FILTER_NEAREST);
        r_.kwrSetTexture(nullptr, 0, 0, 0);
        triangles_ += 2;
    }

    void floorGrid() {
        const double extent = 9.0, step = 0.75;
        const int pieces = 12;
        auto segmentColour = [&](double z) {
            const double t = smoothstep(-9.0, 6.0, z);
            return mix(rgb(30, 34, 70), rgb(60, 150, 190), t);
        };
        auto line = [&](Vec3 a, Vec3 b) {
            for (int i = 0; i < pieces; ++i) {
                const Vec3 p = a + (b - a) * (static_cast<double>(i) / pieces);
                const Vec3 q = a + (b - a) * (static_cast<double>(i + 1) / pieces);
                const ScreenPoint s = cam_.project(p), e = cam_.project(q);
                if (!s.visible || !e.visible) continue;
                r_.kwrSetColor(segmentColour((p.z + q.z) / 2));
                r_.kwrLine3f(s.x, s.y, s.z, e.x, e.y, e.z);
            }
        };
        for (double x = -extent; x <= extent + 1e-9; x += step) line({x, kFloorY, -extent}, {x, kFloorY, 6.5});
        for (double z = -extent; z <= 6.5 + 1e-9; z += step) line({-extent, kFloorY, z}, {extent, kFloorY, z});
    }

    // A soft shadow: three blended ellipses of flat triangles on the floor.
    void knotShadow() {
        if (!l_.trueColour) return;  // flat blends write the plain cube colour at 8 bpp
        blend(true);
        r_.kwrSetColor(0x38000000);
        const int n = 40;
        for (double k : {1.0, 0.78, 0.55}) {
            const Vec3 c{0.0, kFloorY + 0.01, 0.0};
            for (int i = 0; i < n; ++i) {
                const double a0 = 2 * kPi * i / n, a1 = 2 * kPi * (i + 1) / n;
                const Vec3 p{3.4 * k * cosExact(a0), kFloorY + 0.01, 1.9 * k * sinExact(a0)};
                const Vec3 q{3.4 * k * cosExact(a1), kFloorY + 0.01, 1.9 * k * sinExact(a1)};
                const ScreenPoint sc = cam_.project(c), sp = cam_.project(p), sq = cam_.project(q);
                r_.kwrTriangle3f(sc.x, sc.y, sc.z, sp.x, sp.y, sp.z, sq.x, sq.y, sq.z);
                ++triangles_;
            }
        }
        blend(false);
    }

    // Blending on where the scene wants it and the page's switch allows it.
    void blend(bool on) { r_.kwrAlphaEnable(on && f_.blending ? 1 : 0); }

    struct Vertex {
        ScreenPoint s;
        unsigned long colour;
        Vec3 world, normal;
    };
    std::vector<Vertex> knotVertices_;  // the knot turned, lit and projected, for the wireframe too

    std::vector<Vertex> transformKnot() const {
        const Mesh& m = a_.knot;
        std::vector<Vertex> out(m.positions.size());
        for (std::size_t i = 0; i < out.size(); ++i) {
            const Vec3 p = turn(m.positions[i], f_.angle, kTilt);
            const Vec3 n = turn(m.normals[i], f_.angle, kTilt);
            out[i] = {cam_.project(p), lightVertex(n, normalize(cam_.eye() - p)), p, n};
        }
        return out;
    }

    void knot() {
        const Mesh& m = a_.knot;
        knotVertices_ = transformKnot();
        const std::vector<Vertex>& v = knotVertices_;
        const bool textured = f_.texturing;
        if (textured) r_.kwrSetTexture(a_.texture.data(), a_.texture.width, a_.texture.height, a_.texture.pitch);
        for (std::size_t t = 0; t + 2 < m.indices.size(); t += 3) {
            const int i0 = m.indices[t], i1 = m.indices[t + 1], i2 = m.indices[t + 2];
            const Vertex &a = v[static_cast<std::size_t>(i0)], &b = v[static_cast<std::size_t>(i1)],
                         &c = v[static_cast<std::size_t>(i2)];
            if (!a.s.visible || !b.s.visible || !c.s.visible) continue;
            // Back faces are hidden by the front ones anyway; skipping them
            // halves the work.
            const Vec3 n = a.normal + b.normal + c.normal;
            if (dot(n, cam_.eye() - a.world) < 0) continue;
            const std::size_t j0 = static_cast<std::size_t>(i0), j1 = static_cast<std::size_t>(i1),
                              j2 = static_cast<std::size_t>(i2);
            ++triangles_;
            if (l_.trueColour && textured) {
                r_.kwrTriangle3ctf(a.s.x, a.s.y, a.s.z, a.colour, m.u[j0], m.v[j0], b.s.x, b.s.y, b.s.z, b.colour,
                                   m.u[j1], m.v[j1], c.s.x, c.s.y, c.s.z, c.colour, m.u[j2], m.v[j2]);
            } else if (l_.trueColour) {
                r_.kwrTriangle3cf(a.s.x, a.s.y, a.s.z, a.colour, b.s.x, b.s.y, b.s.z, b.colour, c.s.x, c.s.y, c.s.z,
                                  c.colour);
            } else {
                // The colour-interpolating fills draw nothing at 8 bpp: one
                // colour-cube colour per triangle, untextured, instead.
                const unsigned long lit = mix(mix(a.colour, b.colour, 0.5), c.colour, 1.0 / 3);
                r_.kwrSetColor(rgb(channel(lit, 16) * 240 / 255, channel(lit, 8) * 180 / 255,
                                   channel(lit, 0) * 130 / 255));
                r_.kwrTriangle3f(a.s.x, a.s.y, a.s.z, b.s.x, b.s.y, b.s.z, c.s.x, c.s.y, c.s.z);
            }
        }
        r_.kwrSetTexture(nullptr, 0, 0, 0);
    }

    // Depth lines along a few rings and seams of the tube, pulled slightly
    // towards the eye so that they win against the surface they lie on.
    void wireframe() {
        const Mesh& m = a_.knot;
        const std::vector<Vertex>& v = knotVertices_;
        const int stride = m.sides + 1;
        const float bias = 0.0012f;
        r_.kwrSetColor(rgb(120, 235, 255));
        auto edge = [&](int i, int j) {
            const ScreenPoint a = v[static_cast<std::size_t>(i)].s, b = v[static_cast<std::size_t>(j)].s;
            if (a.visible && b.visible) r_.kwrLine3f(a.x, a.y, a.z - bias, b.x, b.y, b.z - bias);
        };
        for (int ring = 0; ring < m.rings; ring += m.rings / 16) {
            for (int s = 0; s < m.sides; ++s) edge(ring * stride + s, ring * stride + s + 1);
        }
        for (int s = 0; s < m.sides; s += m.sides / 4) {
            for (int ring = 0; ring < m.rings; ++ring) edge(ring * stride + s, (ring + 1) * stride + s);
        }
    }

    // Glass shards: blended triangles with vertex colours and alphas,
    // circling in front of the knot.
    void shards() {
        blend(true);
        const unsigned long hues[] = {rgb(255, 90, 120), rgb(255, 190, 60), rgb(90, 230, 140),
                                      rgb(70, 170, 255), rgb(190, 110, 255)};
        const int count = 9;
        for (int i = 0; i < count; ++i) {
            const double a = f_.angle * 0.7 + 2 * kPi * i / count;
            const Vec3 centre{0.2 + 2.7 * cosExact(a), -0.5 + 0.6 * sinExact(a * 2), 1.4 + 1.4 * sinExact(a)};
            ScreenPoint p[3];
            for (int k = 0; k < 3; ++k) {
                const double b = a * 1.3 + 2 * kPi * k / 3;
                p[k] = cam_.project(centre + Vec3{0.42 * cosExact(b), 0.42 * sinExact(b), 0.2 * sinExact(b + a)});
            }
            if (!p[0].visible || !p[1].visible || !p[2].visible) continue;
            const unsigned long c0 = hues[i % 5], c1 = hues[(i + 1) % 5], c2 = hues[(i + 3) % 5];
            ++triangles_;
            if (l_.trueColour) {
                r_.kwrTriangle3cf(p[0].x, p[0].y, p[0].z, withAlpha(c0, 200), p[1].x, p[1].y, p[1].z,
                                  withAlpha(c1, 110), p[2].x, p[2].y, p[2].z, withAlpha(c2, 40));
            } else {
                r_.kwrSetColor(withAlpha(c0, 128));
                r_.kwrTriangle3f(p[0].x, p[0].y, p[0].z, p[1].x, p[1].y, p[1].z, p[2].x, p[2].y, p[2].z);
            }
        }
        blend(false);
    }

    // A holographic disc: a textured quad whose coverage comes from the
    // alpha map of rings, turning with the knot.
    void disc() {
        if (!l_.trueColour) return;  // the alpha-mapped fill writes the plain cube colour at 8 bpp
        const Vec3 centre{2.55, 0.2, 1.6};
        const double size = 1.15, spin = -f_.angle * 1.5;
        ScreenPoint p[4];
        const float uv[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        for (int k = 0; k < 4; ++k) {
            const double a = spin + kPi / 4 + k * kPi / 2;
            p[k] = cam_.project(centre + Vec3{size * cosExact(a), size * sinExact(a) * 0.92, 0.35 * sinExact(a)});
            if (!p[k].visible) return;
        }
        triangles_ += 2;
        if (!f_.texturing) {
            // Without textures: a plain pane of glass.
            blend(true);
            r_.kwrSetColor(withAlpha(rgb(120, 220, 255), 90));
            for (int t = 0; t < 2; ++t) {
                r_.kwrTriangle3f(p[0].x, p[0].y, p[0].z, p[1 + t].x, p[1 + t].y, p[1 + t].z, p[2 + t].x, p[2 + t].y,
                                 p[2 + t].z);
            }
            blend(false);
            return;
        }
        r_.kwrSetTexture(a_.disc.data(), a_.disc.width, a_.disc.height, a_.disc.pitch);
        r_.kwrSetAlphaMap(a_.ringMask.data(), a_.ringMaskSize, a_.ringMaskSize, a_.ringMaskSize);
        blend(true);
        r_.kwrSetColor(0xFFFFFFFF);
        for (int t = 0; t < 2; ++t) {
            const int i0 = 0, i1 = 1 + t, i2 = 2 + t;
            r_.kwrTriangle3tf(p[i0].x, p[i0].y, p[i0].z, uv[i0][0], uv[i0][1], p[i1].x, p[i1].y, p[i1].z, uv[i1][0],
                              uv[i1][1], p[i2].x, p[i2].y, p[i2].z, uv[i2][0], uv[i2][1]);
        }
        blend(false);
        r_.kwrSetAlphaMap(nullptr, 0, 0, 0);
        r_.kwrSetTexture(nullptr, 0, 0, 0);
    }

    // The outline of the rectangle (x1, y1)-(x2, y2) in the current colour.
    void frame(int x1, int y1, int x2, int y2) {
        r_.kwrLine(x1, y1, x2, y1);
        r_.kwrLine(x2, y1, x2, y2);
        r_.kwrLine(x2, y2, x1, y2);
        r_.kwrLine(x1, y2, x1, y1);
    }

    // A dark panel with a lighter outline.
    void panel(int x1, int y1, int x2, int y2) {
        r_.kwrSetColor(rgb(12, 16, 30));
        r_.kwrBox(x1, y1, x2, y2);
        r_.kwrSetColor(rgb(60, 80, 120));
        frame(x1, y1, x2, y2);
    }

    // A chart panel of boxes and lines: how far the drawn pixels lie from
    // the eye, read back from the depth buffer.
    void chartPanel() {
        const int s = l_.ui;
        const int pw = std::min(150 * s, l_.w * 3 / 8), ph = pw * 92 / 150;
        const int x0 = 12 * s, y0 = l_.h - ph - 12 * s;
        const int bins = 30;
        int counts[bins] = {};
        const float* z = r_.kwrGetZBuffer();
        long total = 0;
        for (long i = 0; z != nullptr && i < static_cast<long>(l_.w) * l_.h; ++i) {
            if (z[i] < 1.0f && z[i] >= 0.0f) {
                ++counts[std::min(bins - 1, static_cast<int>(z[i] * 1.6f * bins))];
                ++total;
            }
        }
        const int peak = std::max(1, *std::max_element(counts, counts + bins));

        panel(x0, y0, x0 + pw, y0 + ph);
        drawText(r_, x0 + 6 * s, y0 + 5 * s, "depth histogram", s, rgb(200, 215, 240));

        const int cx = x0 + 8 * s, cy = y0 + ph - 14 * s, cw = pw - 16 * s, chh = ph - 34 * s;
        const int barW = cw / bins;
        long running = 0;
        int lastX = cx, lastY = cy;
        for (int i = 0; i < bins; ++i) {
            const int bh = counts[i] * chh / peak;
            const int bx = cx + i * barW;
            r_.kwrSetColor(mix(rgb(255, 170, 80), rgb(70, 140, 255), static_cast<double>(i) / (bins - 1)));
            if (bh > 0) r_.kwrBox(bx, cy - bh, bx + barW - 2, cy - 1);
            running += counts[i];
            const int lx = bx + barW - 1;
            const int ly = cy - static_cast<int>(total > 0 ? running * chh / total : 0);
            r_.kwrSetColor(rgb(240, 240, 255));
            r_.kwrLine(lastX, lastY, lx, ly);
            lastX = lx;
            lastY = ly;
        }
        r_.kwrSetColor(rgb(140, 150, 180));
        r_.kwrLine(cx, cy, cx + bins * barW, cy);
        for (int i = 0; i <= bins; i += 5) r_.kwrLine(cx + i * barW, cy, cx + i * barW, cy + 2 * s);
        drawText(r_, cx, cy + 4 * s, "near", 1, rgb(150, 160, 190));
        drawText(r_, cx + bins * barW - textWidth("far", 1), cy + 4 * s, "far", 1, rgb(150, 160, 190));
        // A flat triangle as the panel's corner mark.
        r_.kwrSetColor(rgb(255, 170, 80));
        r_.kwrTriangle(x0 + pw - 14 * s, y0 + 3 * s, x0 + pw - 3 * s, y0 + 3 * s, x0 + pw - 3 * s, y0 + 14 * s);
        ++triangles_;
    }

    // What is drawn with what: a panel of swatches and labels.
    void legend() {
        struct Item {
            unsigned long swatch;
            const char* text;
        };
        const Item items[] = {{rgb(235, 135, 70), "textured Gouraud knot"}, {rgb(120, 235, 255), "depth-line wireframe"},
                              {rgb(190, 110, 255), "blended glass shards"}, {rgb(230, 80, 220), "alpha-mapped disc"},
                              {rgb(255, 170, 80), "2D lines and boxes"},    {rgb(255, 255, 255), "one-bit bitmap text"},
                              {rgb(245, 236, 215), "scaled image blit"}};
        const int s = l_.ui, line = 10 * s, n = static_cast<int>(sizeof items / sizeof items[0]);
        const int pw = textWidth(items[0].text, s) + 26 * s, ph = n * line + 10 * s;
        const int x0 = l_.w - pw - 12 * s, y0 = l_.h - ph - 12 * s;
        if (x0 < l_.w / 2) return;  // no room beside the chart
        panel(x0, y0, x0 + pw, y0 + ph);
        for (int i = 0; i < n; ++i) {
            const int y = y0 + 6 * s + i * line;
            r_.kwrSetColor(items[i].swatch);
            r_.kwrBox(x0 + 6 * s, y, x0 + 13 * s, y + 6 * s);
            drawText(r_, x0 + 19 * s, y, items[i].text, s, rgb(200, 215, 240));
        }
    }

    // The texture the knot wears, loaded from its bitmap file, shrunk by a
    // blit into a framed thumbnail.
    void thumbnail() {
        const int s = l_.ui;
        const int size = std::min(72 * s, l_.w / 5);
        const int x1 = l_.w - size - 14 * s, y1 = 14 * s;
        r_.kwrImage2D(x1, y1, x1 + size, y1 + size, a_.texture.width, a_.texture.height, 32, a_.texture.data());
        r_.kwrSetColor(rgb(200, 215, 240));
        frame(x1 - 1, y1 - 1, x1 + size, y1 + size);
        char caption[96];
        if (l_.bpp == 8) {
            std::snprintf(caption, sizeof caption, "no blits at 8 bpp");
        } else {
            std::snprintf(caption, sizeof caption, "%s %dx%d", a_.textureName.c_str(), a_.texture.width,
                          a_.texture.height);
        }
        const std::string text = caption;
        drawText(r_, x1 + size - textWidth(text, 1), y1 + size + 5 * s, text, 1, rgb(150, 160, 190));
    }

    void titles() {
        const int s = l_.ui;
        const unsigned long shadow = 0xFF000000;
        drawText(r_, 14 * s, 12 * s, "kwrender", 2 * s, rgb(255, 255, 255), shadow);
        drawText(r_, 14 * s, 12 * s + 20 * s, "an exact CPU rasteriser", s, rgb(170, 190, 230), shadow);
        char info[128];
        std::snprintf(info, sizeof info, "%d x %d, %d bpp, %d triangles", l_.w, l_.h, l_.bpp, a_.knot.triangles());
        drawText(r_, 14 * s, 12 * s + 32 * s, info, s, rgb(255, 200, 120), shadow);
        if (!f_.status.empty()) drawText(r_, 14 * s, 12 * s + 44 * s, f_.status, s, rgb(140, 255, 170), shadow);
    }
};

}  // namespace

Texels makeTileTexture(int size) {
    Texels t = makeTexels(size);
    const int cells = 8, cell = size / cells;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const int cx = x / cell, cy = y / cell;
            const double fx = (x % cell + 0.5) / cell, fy = (y % cell + 0.5) / cell;
            const double edge = std::min(std::min(fx, 1 - fx), std::min(fy, 1 - fy));
            const bool copper = ((cx + cy) & 1) != 0;
            double r = copper ? 235 : 245, g = copper ? 135 : 236, b = copper ? 70 : 215;
            // A bevel: lit on the top-left rim, shaded on the bottom-right.
            const double bevel = smoothstep(0.0, 0.14, edge);
            const double side = (fx + fy < 1.0) ? 1.12 : 0.78;
            const double k = bevel + (1 - bevel) * side;
            r *= k;
            g *= k;
            b *= k;
            // Dark grout between the tiles.
            const double grout = smoothstep(0.015, 0.045, edge);
            r = r * grout + 30 * (1 - grout);
            g = g * grout + 36 * (1 - grout);
            b = b * grout + 52 * (1 - grout);
            setTexel(t, x, y, clampByte(r), clampByte(g), clampByte(b), 255);
        }
    }
    return t;
}

Texels makeDiscTexture(int size) {
    Texels t = makeTexels(size);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double dx = (x + 0.5) / size - 0.5, dy = (y + 0.5) / size - 0.5;
            const double d = std::sqrt(dx * dx + dy * dy) * 2;  // 0 at the centre, 1 at the rim
            const double t0 = std::min(1.0, d);
            setTexel(t, x, y, clampByte(90 + 160 * t0), clampByte(255 - 130 * t0), clampByte(255 - 20 * t0), 255);
        }
    }
    return t;
}

std::vector<unsigned char> makeRingAlphaMap(int size) {
    std::vector<unsigned char> m(static_cast<std::size_t>(size) * static_cast<std::size_t>(size));
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double dx = (x + 0.5) / size - 0.5, dy = (y + 0.5) / size - 0.5;
            const double d = std::sqrt(dx * dx + dy * dy) * 2;
            double a = 0;
            for (double ring : {0.3, 0.62, 0.93}) a = std::max(a, 1 - smoothstep(0.0, 0.045, std::abs(d - ring)));
            const double glow = 0.35 * (1 - smoothstep(0.0, 0.95, d));  // a faint fill
            const double cross = (std::abs(dx) < 0.006 || std::abs(dy) < 0.006) && d < 0.93 ? 0.7 : 0.0;
            a = std::max(std::max(a, glow), cross);
            m[static_cast<std::size_t>(y * size + x)] = static_cast<unsigned char>(clampByte(a * 235));
        }
    }
    return m;
}

Mesh makeTorusKnot(int rings, int sides) {
    Mesh m;
    m.rings = rings;
    m.sides = sides;
    const double scale = 0.64, tube = 0.38;
    auto curve = [&](double t) {
        const double rr = cosExact(3 * t) + 2;
        return Vec3{rr * cosExact(2 * t), rr * sinExact(2 * t), -sinExact(3 * t)} * scale;
    };
    const double e = 1e-3;
    for (int i = 0; i <= rings; ++i) {
        const double t = 2 * kPi * i / rings;
        const Vec3 p = curve(t), ahead = curve(t + e), behind = curve(t - e);
        const Vec3 tangent = normalize(ahead - behind);
        const Vec3 binormal = normalize(cross(tangent, ahead + behind - p * 2));
        const Vec3 normal = cross(binormal, tangent);
        for (int j = 0; j <= sides; ++j) {
            const double a = 2 * kPi * j / sides;
            const Vec3 n = normal * cosExact(a) + binormal * sinExact(a);
            m.positions.push_back(p + n * (tube * scale));
            m.normals.push_back(n);
            m.u.push_back(static_cast<float>(14.0 * i / rings));
            m.v.push_back(static_cast<float>(static_cast<double>(j) / sides));
        }
    }
    const int stride = sides + 1;
    for (int i = 0; i < rings; ++i) {
        for (int j = 0; j < sides; ++j) {
            const int a = i * stride + j, b = a + 1, c = a + stride, d = c + 1;
            m.indices.insert(m.indices.end(), {a, c, b, b, c, d});
        }
    }
    return m;
}

ShowcaseAssets::ShowcaseAssets()
    : texture(makeTileTexture(256)), textureName("tiles.bmp"), disc(makeDiscTexture(128)),
      ringMask(makeRingAlphaMap(128)), ringMaskSize(128), knot(makeTorusKnot(320, 20)) {}

double showcaseAngle(int frame) { return 0.6 + frame * (2 * kPi / 360); }

int drawShowcase(KWRRender& r, ShowcaseAssets& a, const ShowcaseFrame& f) {
    const FrameFormat ff = frameFormat(r);
    Layout l{ff.width, ff.height, ff.bpp, ff.width >= 800 && ff.height >= 600 ? 2 : 1, ff.bpp >= 16};
    r.kwrZTestEnable(f.depth ? 1 : 0);
    r.kwrSetZBackDepth(1.0f);
    return Scene(r, a, f, l).draw();
}

}  // namespace kwr_demo
