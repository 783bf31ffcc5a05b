#include "workload.h"

#include <algorithm>
#include <cmath>

namespace peerbench {

namespace {

// A small generator of our own, so that every compiler and library gives the
// same triangles for the same seed.
class Rng {
public:
    explicit Rng(std::uint32_t seed) : s_(seed * 0x9E3779B97F4A7C15ull + 1) {}
    std::uint32_t next() {
        s_ ^= s_ << 13;
        s_ ^= s_ >> 7;
        s_ ^= s_ << 17;
        return static_cast<std::uint32_t>(s_ >> 16);
    }
    double uniform(double lo, double hi) { return lo + (hi - lo) * (next() / 4294967296.0); }
    std::uint8_t byte(int lo, int hi) { return static_cast<std::uint8_t>(lo + next() % (hi - lo + 1)); }

private:
    std::uint64_t s_;
};

constexpr double kPi = 3.14159265358979323846;

std::uint32_t colour(Rng& rng, bool blended) {
    const std::uint32_t a = blended ? rng.byte(0x40, 0xC0) : 0xFF;
    return a << 24 | std::uint32_t(rng.byte(0, 255)) << 16 | std::uint32_t(rng.byte(0, 255)) << 8 | rng.byte(0, 255);
}

void textureCoordinates(Vertex& v, double ou, double ov) {
    v.u = static_cast<float>(v.x / kTextureSize + ou);
    v.v = static_cast<float>(v.y / kTextureSize + ov);
}

// Triangles of about `area` pixels: a randomly turned, somewhat irregular
// triangle around a random centre, scaled to the exact area and kept wholly
// inside the frame.
void randomTriangles(TriangleSet& set, Rng& rng, double area, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        double px[3], py[3];
        const double turn = rng.uniform(0, 2 * kPi);
        for (int k = 0; k < 3; ++k) {
            const double angle = turn + k * 2 * kPi / 3 + rng.uniform(-0.5, 0.5);
            const double radius = rng.uniform(0.7, 1.3);
            px[k] = radius * std::cos(angle);
            py[k] = radius * std::sin(angle);
        }
        const double unit = std::fabs((px[1] - px[0]) * (py[2] - py[0]) - (px[2] - px[0]) * (py[1] - py[0])) / 2;
        const double scale = std::sqrt(area / unit);
        double reach = 0;
        for (int k = 0; k < 3; ++k) reach = std::max({reach, std::fabs(px[k]), std::fabs(py[k])});
        reach *= scale;
        const double cx = rng.uniform(reach, kWidth - reach), cy = rng.uniform(reach, kHeight - reach);
        const double ou = rng.uniform(0, 1), ov = rng.uniform(0, 1);
        for (int k = 0; k < 3; ++k) {
            Vertex v;
            v.x = static_cast<float>(cx + px[k] * scale);
            v.y = static_cast<float>(cy + py[k] * scale);
            v.z = static_cast<float>(rng.uniform(0.05, 0.95));
            v.argb = 0;
            textureCoordinates(v, ou, ov);
            set.vertices.push_back(v);
        }
        set.coveredPixels += area;
    }
}

// Vertex colours for the mode, three per triangle.
void paint(TriangleSet& set, Mode m, Rng& colours) {
    for (std::size_t i = 0; i < set.vertices.size(); i += 3) {
        const std::uint32_t first = colour(colours, modeIsBlended(m));
        set.vertices[i].argb = first;
        for (std::size_t k = 1; k < 3; ++k) {
            // A flat triangle has one colour; a blended Gouraud one keeps
            // per-vertex alpha below 0xFF.
            set.vertices[i + k].argb = modeIsFlat(m) ? first : colour(colours, modeIsBlended(m));
        }
    }
}

// Layers of two triangles covering the frame, each layer nearer than the one
// before, so that every pixel of every layer passes the depth test.
void fullScreenLayers(TriangleSet& set, int layers) {
    const float w = kWidth, h = kHeight;
    const float corners[6][2] = {{0, 0}, {w, 0}, {0, h}, {w, 0}, {w, h}, {0, h}};
    for (int l = 0; l < layers; ++l) {
        const float z = 0.9f - 0.1f * static_cast<float>(l);
        for (const auto& c : corners) {
            Vertex v{c[0], c[1], z, 0, 0, 0};
            textureCoordinates(v, 0, 0);
            set.vertices.push_back(v);
        }
        set.coveredPixels += w * h;
    }
}

}  // namespace

const char* modeName(Mode m) {
    switch (m) {
    case Mode::Flat: return "flat";
    case Mode::FlatDepth: return "flat + depth";
    case Mode::Gouraud: return "Gouraud";
    case Mode::GouraudDepth: return "Gouraud + depth";
    case Mode::Textured: return "textured";
    case Mode::TexturedDepth: return "textured + depth";
    case Mode::BlendedFlat: return "blended flat";
    case Mode::BlendedGouraud: return "blended Gouraud";
    }
    return "?";
}

const char* modeKey(Mode m) {
    switch (m) {
    case Mode::Flat: return "flat";
    case Mode::FlatDepth: return "flat-depth";
    case Mode::Gouraud: return "gouraud";
    case Mode::GouraudDepth: return "gouraud-depth";
    case Mode::Textured: return "textured";
    case Mode::TexturedDepth: return "textured-depth";
    case Mode::BlendedFlat: return "blended-flat";
    case Mode::BlendedGouraud: return "blended-gouraud";
    }
    return "?";
}

bool modeHasDepth(Mode m) { return m == Mode::FlatDepth || m == Mode::GouraudDepth || m == Mode::TexturedDepth; }
bool modeIsTextured(Mode m) { return m == Mode::Textured || m == Mode::TexturedDepth; }
bool modeIsBlended(Mode m) { return m == Mode::BlendedFlat || m == Mode::BlendedGouraud; }
bool modeIsFlat(Mode m) { return m == Mode::Flat || m == Mode::FlatDepth || m == Mode::BlendedFlat; }

std::vector<TriangleSet> makeSets(Mode m, std::uint32_t seed, double framesPerSet) {
    const double frame = double(kWidth) * kHeight;
    const double sizes[] = {8, 50, 500, 20000};
    std::vector<TriangleSet> sets;
    // The geometry depends on the seed only, so every mode draws the same
    // triangles; the colours follow the mode.
    Rng shapes(seed);
    for (double area : sizes) {
        TriangleSet set;
        set.label = std::to_string(static_cast<int>(area)) + " px";
        set.nominalPixels = area;
        randomTriangles(set, shapes, area, static_cast<std::size_t>(framesPerSet * frame / area));
        sets.push_back(std::move(set));
    }
    TriangleSet layers;
    layers.label = "full screen";
    layers.nominalPixels = frame;
    fullScreenLayers(layers, std::max(1, static_cast<int>(std::lround(framesPerSet))));
    sets.push_back(std::move(layers));

    Rng colours(seed ^ 0xC0104u);
    for (auto& set : sets) paint(set, m, colours);
    return sets;
}

TriangleSet makeSet(Mode m, std::uint32_t seed, double area, std::size_t count) {
    TriangleSet set;
    set.label = std::to_string(static_cast<int>(area)) + " px";
    set.nominalPixels = area;
    Rng shapes(seed);
    randomTriangles(set, shapes, area, count);
    Rng colours(seed ^ 0xC0104u);
    paint(set, m, colours);
    return set;
}

std::vector<std::uint8_t> makeTexture() {
    std::vector<std::uint8_t> texels;
    texels.reserve(std::size_t(kTextureSize) * kTextureSize * 4);
    for (int y = 0; y < kTextureSize; ++y) {
        for (int x = 0; x < kTextureSize; ++x) {
            texels.push_back(static_cast<std::uint8_t>(x));
            texels.push_back(static_cast<std::uint8_t>(y));
            texels.push_back(static_cast<std::uint8_t>((x + y) / 2));
            texels.push_back(0xFF);
        }
    }
    return texels;
}

}  // namespace peerbench
