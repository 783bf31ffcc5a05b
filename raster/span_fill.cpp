// The fourteen span fills: each member runs its rule over the given rows.
#include <atomic>

#include "raster/span_rules.h"

std::atomic<bool> kwr::g_generalBlocks{false};
std::atomic<const kwr::LaneBlocks*> kwr::g_activeLaneBlocks{nullptr};

bool kwr::forceGeneralBlocks(bool general) { return g_generalBlocks.exchange(general, std::memory_order_relaxed); }

namespace {
// The lane blocks in force at each level: the highest built level's not
// above it, the scalar level's at the bottom.
const kwr::LaneBlocks* laneBlocksAt(kwr::SimdLevel level) {
    using namespace kwr;
    const LaneBlocks* (*const built[])() = {laneBlocksScalar, laneBlocksSse2, laneBlocksSse41, laneBlocksAvx2,
                                            laneBlocksAvx512, laneBlocksNeon, laneBlocksSimd128};
    static_assert(static_cast<int>(sizeof built / sizeof built[0]) == kSimdLevelCount, "one lookup per level");
    for (int i = static_cast<int>(level); i > 0; --i)
        if (const LaneBlocks* t = built[i]()) return t;
    return laneBlocksScalar();
}
}  // namespace

// The level is read again after the store: a level forced meanwhile (its
// store made before it drops the lookup) is looked up instead of the one
// this started from.
const kwr::LaneBlocks* kwr::lookUpActiveLaneBlocks() {
    for (;;) {
        const SimdLevel level = activeSimdLevel();
        const LaneBlocks* const t = laneBlocksAt(level);
        g_activeLaneBlocks.store(t);
        if (activeSimdLevel() == level) return t;
    }
}

void kwr::forgetActiveLaneBlocks() { g_activeLaneBlocks.store(nullptr); }

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
