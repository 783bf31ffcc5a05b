// Test access to a KWRRender's state and private operations.
//
// The library's own code works on the state (render/state.h) and calls its
// internal functions directly; the forwarders below exist so that tests can
// reach the private members.  This header is not installed.
#ifndef KWR_RENDER_ACCESS_H
#define KWR_RENDER_ACCESS_H

#include <utility>

#include "KWRRender.h"
#include "render/state.h"

namespace kwr {

struct Access {
    static RenderState& state(KWRRender& r) { return r.s; }
    static const RenderState& state(const KWRRender& r) { return r.s; }

#define KWR_FORWARD(name) \
    template <class... A> \
    static decltype(auto) name(KWRRender& r, A&&... a) { return r.name(std::forward<A>(a)...); }
    KWR_FORWARD(UpdateScanLine)
    KWR_FORWARD(UpdateScanLinef)
    KWR_FORWARD(UpdateScanLinec)
    KWR_FORWARD(UpdateScanLinect)
    KWR_FORWARD(UpdateScanLinet)
    KWR_FORWARD(UpdateScanLine3)
    KWR_FORWARD(UpdateScanLine3f)
    KWR_FORWARD(UpdateScanLine3c)
    KWR_FORWARD(UpdateScanLine3ct)
    KWR_FORWARD(UpdateScanLine3t)
    KWR_FORWARD(rasterTriangle3)
    KWR_FORWARD(rasterTriangle3c)
    KWR_FORWARD(rasterTriangle3t)
    KWR_FORWARD(rasterTriangle3ct)
    KWR_FORWARD(rasterTrianglec)
    KWR_FORWARD(rasterTrianglet)
    KWR_FORWARD(rasterTrianglect)
    KWR_FORWARD(rasterTriangle3a)
    KWR_FORWARD(rasterTriangle3ca)
    KWR_FORWARD(rasterTriangle3at)
    KWR_FORWARD(rasterTriangle3cat)
    KWR_FORWARD(rasterTriangleca)
    KWR_FORWARD(rasterTriangleat)
    KWR_FORWARD(rasterTrianglecat)
    KWR_FORWARD(ClippingLine3)
    KWR_FORWARD(DrawLine2)
    KWR_FORWARD(DrawLine3)
#undef KWR_FORWARD
};

}  // namespace kwr

#endif
