// Processor detection and the KWRENDER_SIMD cap.
#include "render/simd_level.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KWRRender.h"

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <immintrin.h>
#include <intrin.h>
#define KWR_X86_MSVC 1
#elif (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#define KWR_X86_GNU 1
#endif

namespace kwr {
namespace {

const char* const kNames[kSimdLevelCount] = {"scalar", "sse2", "sse4.1", "avx2", "avx512", "neon", "simd128"};

SimdLevel detect() {
#if defined(KWR_X86_GNU)
    __builtin_cpu_init();
    // The AVX-512 path uses the foundation plus the byte/word, doubleword/
    // quadword and vector-length extensions.
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return SimdLevel::kAvx512;
    if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
    if (__builtin_cpu_supports("sse4.1")) return SimdLevel::kSse41;
    if (__builtin_cpu_supports("sse2")) return SimdLevel::kSse2;
    return SimdLevel::kScalar;
#elif defined(KWR_X86_MSVC)
    int r[4];
    __cpuid(r, 0);
    const int maxLeaf = r[0];
    __cpuid(r, 1);
    const bool sse2 = (r[3] & (1 << 26)) != 0, sse41 = (r[2] & (1 << 19)) != 0;
    const bool osxsave = (r[2] & (1 << 27)) != 0;
    const unsigned long long xcr0 = osxsave ? _xgetbv(0) : 0;
    const bool ymm = (xcr0 & 0x6) == 0x6, zmm = (xcr0 & 0xE6) == 0xE6;
    bool avx2 = false, avx512 = false;
    if (maxLeaf >= 7) {
        __cpuidex(r, 7, 0);
        avx2 = ymm && (r[1] & (1 << 5)) != 0;
        const int need = (1 << 16) | (1 << 17) | (1 << 30) | (1 << 31);  // F, DQ, BW, VL
        avx512 = zmm && (r[1] & need) == need;
    }
    if (avx512) return SimdLevel::kAvx512;
    if (avx2) return SimdLevel::kAvx2;
    if (sse41) return SimdLevel::kSse41;
    return sse2 ? SimdLevel::kSse2 : SimdLevel::kScalar;
#elif defined(__aarch64__) || defined(_M_ARM64)
    return SimdLevel::kNeon;
#elif defined(KWR_WASM_SIMD128)
    return SimdLevel::kSimd128;
#else
    return SimdLevel::kScalar;
#endif
}

// Whether this build has the level at all: the x86 levels on x86, NEON on
// AArch64, SIMD128 in WebAssembly, scalar everywhere.
bool builtLevel(SimdLevel level) {
#if defined(__aarch64__) || defined(_M_ARM64)
    return level == SimdLevel::kScalar || level == SimdLevel::kNeon;
#elif defined(__wasm__)
    return level == SimdLevel::kScalar || level == SimdLevel::kSimd128;
#else
    return level <= SimdLevel::kAvx512;
#endif
}

SimdLevel fromEnvironment(SimdLevel best) {
    const char* cap = std::getenv("KWRENDER_SIMD");
    if (cap == nullptr || *cap == '\0') return best;
    for (int i = 0; i < kSimdLevelCount; ++i) {
        if (std::strcmp(cap, kNames[i]) != 0) continue;
        // The highest level this build has at or below both the cap and the
        // processor's best (x86 names cap AArch64 to scalar).
        int level = i < static_cast<int>(best) ? i : static_cast<int>(best);
        while (level > 0 && !builtLevel(static_cast<SimdLevel>(level))) --level;
        return static_cast<SimdLevel>(level);
    }
    // An unknown name caps nothing; said once a process.
    static const bool said = std::fprintf(stderr, "kwrender: KWRENDER_SIMD=%s is not a level name; using %s\n", cap,
                                          kNames[static_cast<int>(best)]) >= 0;
    (void)said;
    return best;
}

std::atomic<int> g_forced{-1};

}  // namespace

const char* simdLevelName(SimdLevel level) { return kNames[static_cast<int>(level)]; }

SimdLevel supportedSimdLevel() {
    static const SimdLevel best = detect();
    return best;
}

SimdLevel activeSimdLevel() {
    static const SimdLevel chosen = fromEnvironment(supportedSimdLevel());
    const int forced = g_forced.load();
    return forced >= 0 ? static_cast<SimdLevel>(forced) : chosen;
}

SimdLevel forceSimdLevel(SimdLevel level) {
    const SimdLevel previous = activeSimdLevel();
    const SimdLevel best = supportedSimdLevel();
    g_forced.store(static_cast<int>(level < best ? level : best));
    forgetActiveLaneBlocks();
    return previous;
}

}  // namespace kwr

const char* KWRRender::kwrGetSimdLevel() { return kwr::simdLevelName(kwr::activeSimdLevel()); }
