// The span fills' lane blocks for one instruction-set level.  This file is
// compiled with that level's instructions enabled; the processor check that
// selects it is in render/simd_level.cpp.
// GCC 12 reports its own AVX-512 headers' deliberately undefined vectors.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

#include "raster/span_lanes.h"
#include "raster/span_rules.h"

#if KWR_LANES_AVX512
const kwr::LaneBlocks* kwr::laneBlocksAvx512() { return laneBlocksOf<lanes_avx512::Lanes>(); }
#else
const kwr::LaneBlocks* kwr::laneBlocksAvx512() { return nullptr; }
#endif
