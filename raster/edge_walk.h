// Edge walkers: record one triangle edge per row in the scan-line table.
#ifndef KWR_RASTER_EDGE_WALK_H
#define KWR_RASTER_EDGE_WALK_H

#include <climits>
#include <cstdint>

#include "raster/row_table.h"
#include "render/state.h"

namespace kwr {

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
// rows storeFirst..storeLast of `rows` (a thread's share of a triangle;
// every row by default).  Instantiated for every set of attributes on the
// scan-line table, and for the triangles' sets on small tables.
template <unsigned Carried, class Rows>
void walkEdgeInto(const RenderState& s, const Rows& rows, const EdgeEnd& p1, const EdgeEnd& p2, int storeFirst,
                  int storeLast);

// Float endpoints: clipped in float at row 0 and at the surface height,
// rounded, then walked as integers.  Instantiated for kCarryNothing and
// kCarryDepth (z is ignored without depth).
template <unsigned Carried, class Rows>
void walkFloatEdgeInto(const RenderState& s, const Rows& rows, float x1, float y1, float z1, float x2, float y2,
                       float z2, int storeFirst, int storeLast);

// The same into the surface's scan-line table.
template <unsigned Carried>
void walkEdge(RenderState& s, const EdgeEnd& p1, const EdgeEnd& p2, int storeFirst = 0, int storeLast = INT_MAX) {
    walkEdgeInto<Carried>(s, ScanTableRows{&s.scan}, p1, p2, storeFirst, storeLast);
}
template <unsigned Carried>
void walkFloatEdge(RenderState& s, float x1, float y1, float z1, float x2, float y2, float z2, int storeFirst = 0,
                   int storeLast = INT_MAX) {
    walkFloatEdgeInto<Carried>(s, ScanTableRows{&s.scan}, x1, y1, z1, x2, y2, z2, storeFirst, storeLast);
}

}  // namespace kwr

#endif
