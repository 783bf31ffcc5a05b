// Convex polygons in pixel coordinates: what a clip-space triangle becomes
// after clipping and projection, handed to the triangle rasteriser.
#ifndef KWR_RASTER_SCREEN_POLYGON_H
#define KWR_RASTER_SCREEN_POLYGON_H

#include <cstdint>

#include "render/state.h"

namespace kwr {

// A vertex in pixel coordinates.  In perspective c, u and v are divided by
// the vertex's w and q is 1 / w; otherwise they are as given and q is 1.
struct ScreenVertex {
    float x, y, z;
    float c[4];  // red, green, blue, alpha on 0..255
    float u, v;
    float q;
};

// Clipping a triangle against six planes leaves at most nine vertices.
constexpr int kMaxPolygonVertices = 9;

// A polygon of up to N vertices in order around it, with what its triangle
// carries (Carry bits: depth always, colour when the call gave colours,
// texture coordinates when it gave them).  A polygon not in perspective is
// a whole triangle whose three w were equal, drawn exactly as the float
// screen-space triangle of its vertices; its vertex colours are `colours`.
template <int N>
struct ScreenPolygon {
    unsigned carried;
    bool perspective;
    int count;
    std::uint32_t colours[3];  // the triangle's colour words (the blending rule)
    ScreenVertex v[N];
};

// Draws it with the state's fallbacks and fills (recorded calls draw their
// polygons through these too).
void drawScreenPolygon(RenderState& s, const ScreenPolygon<3>& p);
void drawScreenPolygon(RenderState& s, const ScreenPolygon<kMaxPolygonVertices>& p);

}  // namespace kwr

#endif
