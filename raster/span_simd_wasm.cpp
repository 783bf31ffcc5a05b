// The span fills' lane blocks for WebAssembly's SIMD128, where the build
// enables it; the level is chosen in render/simd_level.cpp.
#include "raster/span_lanes.h"
#include "raster/span_rules.h"

#if KWR_LANES_SIMD128
const kwr::LaneBlocks* kwr::laneBlocksSimd128() { return laneBlocksOf<lanes_simd128::Lanes>(); }
#else
const kwr::LaneBlocks* kwr::laneBlocksSimd128() { return nullptr; }
#endif
