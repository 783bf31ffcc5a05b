// The instruction-set level of the span fills, chosen once per process.
//
// The level is the best one the processor offers, capped by the environment
// variable KWRENDER_SIMD (scalar, sse2, sse4.1, avx2 or avx512 on x86-64;
// scalar or neon on AArch64; scalar or simd128 in WebAssembly).  A cap above what the processor has falls back
// to the best level it has, and x86 names cap AArch64 to scalar.  Every level
// draws the same bytes; only the speed differs.
#ifndef KWR_RENDER_SIMD_LEVEL_H
#define KWR_RENDER_SIMD_LEVEL_H

namespace kwr {

enum class SimdLevel { kScalar = 0, kSse2, kSse41, kAvx2, kAvx512, kNeon, kSimd128 };
constexpr int kSimdLevelCount = 7;

// The name used by KWRENDER_SIMD and by KWRRender::kwrGetSimdLevel.
const char* simdLevelName(SimdLevel level);

// The best level this processor and build support.
SimdLevel supportedSimdLevel();

// The level in force for drawing: decided on first use.
SimdLevel activeSimdLevel();

// Replaces the level in force (limited to the supported one) and returns
// the previous level.  For tests that compare the levels with each other.
SimdLevel forceSimdLevel(SimdLevel level);
// Drops the fills' lookup of the blocks of the level in force (they look
// it up again at the next fill); forceSimdLevel calls it.
void forgetActiveLaneBlocks();

}  // namespace kwr

#endif
