// The peer benchmark's workload: seeded triangle sets of a few sizes, the
// drawing modes, and the texture every textured mode samples.  Every peer
// draws exactly these triangles, built once per run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace peerbench {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;
constexpr int kTextureSize = 256;

enum class Mode {
    Flat,
    FlatDepth,
    Gouraud,
    GouraudDepth,
    Textured,
    TexturedDepth,
    BlendedFlat,
    BlendedGouraud,
};
constexpr Mode kModes[] = {Mode::Flat,     Mode::FlatDepth,     Mode::Gouraud,     Mode::GouraudDepth,
                           Mode::Textured, Mode::TexturedDepth, Mode::BlendedFlat, Mode::BlendedGouraud};
constexpr int kModeCount = sizeof(kModes) / sizeof(kModes[0]);

const char* modeName(Mode m);
const char* modeKey(Mode m);  // the name on command lines: "flat-depth", ...
bool modeHasDepth(Mode m);
bool modeIsTextured(Mode m);
bool modeIsBlended(Mode m);
bool modeIsFlat(Mode m);  // one colour per triangle (no interpolation)

struct Vertex {
    float x, y, z;
    std::uint32_t argb;  // 0xAARRGGBB; flat modes give the three vertices one colour
    float u, v;          // 1 texel per pixel, repeating across the frame
};

struct TriangleSet {
    std::string label;  // "8 px", ..., "full screen"
    double nominalPixels = 0;  // pixels per triangle, for the row label
    std::vector<Vertex> vertices;  // three per triangle
    double coveredPixels = 0;      // sum of the triangles' areas
    std::size_t triangles() const { return vertices.size() / 3; }
};

// The sets for one mode family.  Alpha bytes are 0xFF unless the mode blends,
// where they are spread over 0x40..0xC0; depth values lie in 0.05..0.95 and
// the full-screen layers come nearer one after the other (each passes).
// `framesPerSet` is the total triangle area of each set, in whole frames.
std::vector<TriangleSet> makeSets(Mode m, std::uint32_t seed, double framesPerSet);

// `count` triangles of about `area` pixels each, coloured for the mode, as
// the sets above are made.
TriangleSet makeSet(Mode m, std::uint32_t seed, double area, std::size_t count);

// A 256x256 texture of blue, green, red, alpha bytes (alpha 0xFF): smooth
// ramps, so that a peer that samples one texel off still draws a picture
// close to ours and the comparison of pictures stays meaningful.
std::vector<std::uint8_t> makeTexture();

}  // namespace peerbench
