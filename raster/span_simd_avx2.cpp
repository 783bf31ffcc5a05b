// The span fills' lane blocks for one instruction-set level.  This file is
// compiled with that level's instructions enabled; the processor check that
// selects it is in render/simd_level.cpp.
#include "raster/span_lanes.h"
#include "raster/span_rules.h"

#if KWR_LANES_AVX2
const kwr::LaneBlocks* kwr::laneBlocksAvx2() { return laneBlocksOf<lanes_avx2::Lanes>(); }
#else
const kwr::LaneBlocks* kwr::laneBlocksAvx2() { return nullptr; }
#endif
