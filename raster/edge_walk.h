// Edge walkers: record one triangle edge per row in the scan-line table.
#ifndef KWR_RASTER_EDGE_WALK_H
#define KWR_RASTER_EDGE_WALK_H

#include <climits>
#include <cstdint>

#include "render/state.h"

namespace kwr {

// What a vertex carries besides x and y.  A set of these names an edge
// walker and a triangle kind: kCarryDepth | kCarryColour | kCarryTexCoords
// is the "3ct" of UpdateScanLine3ct and kwrTriangle3ct.
enum Carry : unsigned {
    kCarryNothing = 0,
    kCarryDepth = 1,
    kCarryColour = 2,
    kCarryTexCoords = 4,
    // Colour and texture coordinates come divided by w, with 1 / w beside
    // them (clip-space triangles interpolated in perspective).
    kCarryPerspective = 8,
};

// The members of a set, for `if constexpr`.
template <unsigned Carried>
struct Carries {
    static constexpr bool kDepth = (Carried & kCarryDepth) != 0;
    static constexpr bool kColour = (Carried & kCarryColour) != 0;
    static constexpr bool kTexCoords = (Carried & kCarryTexCoords) != 0;
    static constexpr bool kPerspective = (Carried & kCarryPerspective) != 0;
};

// One end of an edge.  x and y are 64-bit so that the clipping products
// cannot overflow for any int coordinates.
struct EdgeEnd {
    std::int64_t x;
    std::int64_t y;
    float z;
    float c[4];  // red, green, blue, alpha on 0..255
    float u, v;
    float q;  // 1 / w (perspective edges)
};

// An edge end from the values a caller passes; the colour word 0xAARRGGBB
// becomes its four channels without scaling.
inline EdgeEnd edgeEnd(std::int64_t x, std::int64_t y, float z = 0, std::uint32_t argb = 0, float u = 0,
                       float v = 0) {
    EdgeEnd e;
    e.x = x;
    e.y = y;
    e.z = z;
    e.c[0] = static_cast<float>((argb >> 16) & 0xFFu);
    e.c[1] = static_cast<float>((argb >> 8) & 0xFFu);
    e.c[2] = static_cast<float>(argb & 0xFFu);
    e.c[3] = static_cast<float>((argb >> 24) & 0xFFu);
    e.u = u;
    e.v = v;
    e.q = 1.0f;
    return e;
}

// The integer walk of one edge, carrying the attributes in `Carried`, storing
// rows storeFirst..storeLast of the table (a thread's share of a triangle;
// every row by default).  Instantiated for every set of attributes.
template <unsigned Carried>
void walkEdge(RenderState& s, const EdgeEnd& p1, const EdgeEnd& p2, int storeFirst = 0, int storeLast = INT_MAX);

// Float endpoints: clipped in float at row 0 and at the surface height,
// rounded, then walked as integers.  Instantiated for kCarryNothing and
// kCarryDepth (z is ignored without depth).
template <unsigned Carried>
void walkFloatEdge(RenderState& s, float x1, float y1, float z1, float x2, float y2, float z2, int storeFirst = 0,
                   int storeLast = INT_MAX);

}  // namespace kwr

#endif
