// Real models for the benchmarks: a triangle mesh read from a file at run
// time (3D Studio .3ds or Wavefront .obj), and its screen-space triangles
// under a fixed camera, as a triangle set of the peer benchmark.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "workload.h"

namespace peerbench {

struct Mesh {
    std::string name;  // the file name without its directory and extension
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<std::uint32_t, 3>> faces;  // indices into positions
};

// Reads `path`; on failure returns false and says why in `error`.
bool loadMesh(const std::string& path, Mesh& mesh, std::string& error);

// The mesh seen from the front (looking down -z, y up) by a perspective
// camera three bounding radii away, scaled and centred so that it fits in 75%
// of the 1024x768 frame's width and height.  Every face becomes one
// triangle, in file order, facing either way.  Depth is the distance from
// the camera mapped to 0.05..0.95; colours are a diffuse light on the vertex
// normals (one colour per triangle in the flat modes, alpha 0x40..0xC0 in the
// blended ones); texture coordinates are one texel per pixel, as the
// generated sets have them.
TriangleSet projectMesh(const Mesh& mesh, Mode m);

// The median area of the set's triangles, in pixels.
double medianArea(const TriangleSet& set);

}  // namespace peerbench
