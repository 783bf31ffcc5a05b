// The fourteen span fills: each member runs its rule over the given rows.
#include <atomic>

#include "raster/span_rules.h"

namespace {
std::atomic<bool> g_generalBlocks{false};
}

bool kwr::forceGeneralBlocks(bool general) { return g_generalBlocks.exchange(general, std::memory_order_relaxed); }
bool kwr::generalBlocksForced() { return g_generalBlocks.load(std::memory_order_relaxed); }

// The scalar level's lane blocks, built with the library's own flags.
const kwr::LaneBlocks* kwr::laneBlocksScalar() { return laneBlocksOf<ScalarLanes<void>>(); }

using kwr::fillTriangleRows;

void KWRRender::rasterTriangle3(int firstRow, int lastRow) {
    // A translucent colour with blending on goes to the blended fill.
    if (kwr::currentColourBlends(s)) {
        rasterTriangle3a(firstRow, lastRow);
        return;
    }
    fillTriangleRows<kwr::Rule3>(s, firstRow, lastRow);
}
// The other thirteen members: each is its rule over the rows.
#define KWR_FILL_MEMBER(suffix)                                           \
    void KWRRender::rasterTriangle##suffix(int firstRow, int lastRow) { \
        fillTriangleRows<kwr::Rule##suffix>(s, firstRow, lastRow);      \
    }
// Opaque, then blended.
KWR_FILL_MEMBER(3c) KWR_FILL_MEMBER(c) KWR_FILL_MEMBER(3t) KWR_FILL_MEMBER(t) KWR_FILL_MEMBER(3ct) KWR_FILL_MEMBER(ct)
KWR_FILL_MEMBER(3a) KWR_FILL_MEMBER(3ca) KWR_FILL_MEMBER(ca) KWR_FILL_MEMBER(3at) KWR_FILL_MEMBER(at)
KWR_FILL_MEMBER(3cat) KWR_FILL_MEMBER(cat)
#undef KWR_FILL_MEMBER
