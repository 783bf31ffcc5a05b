// The span fills' lane blocks for AArch64's Advanced SIMD, which every
// AArch64 processor has; the level is chosen in render/simd_level.cpp.
#include "raster/span_lanes.h"
#include "raster/span_rules.h"

#if KWR_LANES_NEON
const kwr::LaneBlocks* kwr::laneBlocksNeon() { return laneBlocksOf<lanes_neon::Lanes>(); }
#else
const kwr::LaneBlocks* kwr::laneBlocksNeon() { return nullptr; }
#endif
