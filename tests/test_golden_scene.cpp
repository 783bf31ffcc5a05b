// A fixed scene that uses every drawing entry point, hashed per format: the
// same hashes from every build (g++ and clang, optimised or not, sanitizers,
// the Windows DLL).  A changed hash means changed bytes somewhere.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "KWRRender.h"
#include "scene.h"

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#include <cpuid.h>
#define KWR_TEST_X86 1
#endif

namespace {

const char* const kLevelNames[] = {"scalar", "sse2", "sse4.1", "avx2", "avx512", "neon", "simd128"};
constexpr int kLevels = 7, kNeon = 5, kSimd128 = 6;

// The best level the processor offers, asked of the processor here rather
// than of the library: -1 where this test cannot ask.
int processorBestLevel() {
#if defined(KWR_TEST_X86)
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0) return 0;
    const bool sse2 = (d >> 26) & 1u, sse41 = (c >> 19) & 1u, osSaves = (c >> 27) & 1u;
    unsigned long long xcr0 = 0;
    if (osSaves) {
        unsigned lo = 0, hi = 0;
        __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
        xcr0 = (static_cast<unsigned long long>(hi) << 32) | lo;
    }
    bool avx2 = false, avx512 = false;
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) != 0) {
        avx2 = (xcr0 & 0x6) == 0x6 && ((b >> 5) & 1u);
        const unsigned need = (1u << 16) | (1u << 17) | (1u << 30) | (1u << 31);  // F, DQ, BW, VL
        avx512 = (xcr0 & 0xE6) == 0xE6 && (b & need) == need;
    }
    return avx512 ? 4 : avx2 ? 3 : sse41 ? 2 : sse2 ? 1 : 0;
#elif defined(__aarch64__) || defined(_M_ARM64)
    return kNeon;
#elif defined(__EMSCRIPTEN__) && defined(KWR_WASM_SIMD128)
    // The build, not the engine, decides: a module built with SIMD128 loads
    // only where the engine has it.
    return kSimd128;
#elif defined(__EMSCRIPTEN__)
    return 0;
#else
    return -1;
#endif
}

bool processorHas(int level) {
    const int best = processorBestLevel();
    if (level == 0) return true;
    if (best == kNeon || best == kSimd128) return level == best;
    return level != kNeon && level != kSimd128 && level <= best;
}

// The level KWRENDER_SIMD names, or -1 when it is unset or names none.
int cappedLevel() {
    const char* env = std::getenv("KWRENDER_SIMD");
    for (int i = 0; env != nullptr && i < kLevels; ++i)
        if (std::strcmp(env, kLevelNames[i]) == 0) return i;
    return -1;
}

}  // namespace

TEST(GoldenScene, SameBytesInEveryBuild) {
    const int cap = cappedLevel();
    if (cap >= 0 && !processorHas(cap))
        GTEST_SKIP() << "this processor has no " << kLevelNames[cap] << " level to draw with";
    const struct {
        int bpp;
        std::uint64_t hash;
    } goldens[] = {{8, 0xC070FF3447529D61ull}, {16, 0x812C2E96A5B53A91ull}, {24, 0xF78D2B7156215FD9ull},
                   {32, 0x5B54D0938BA60125ull}};
    kwr_demo::SceneAssets assets;
    for (const auto& g : goldens) {
        auto r = std::make_unique<KWRRender>();
        ASSERT_EQ(r->kwrSetRenderBpp(g.bpp), 1);
        ASSERT_EQ(r->kwrInitBuffer(kwr_demo::kSceneWidth, kwr_demo::kSceneHeight), 1);
        kwr_demo::drawScene(*r, assets, 0);
        const std::uint64_t h = kwr_demo::frameHash(*r);
        EXPECT_EQ(h, g.hash) << "frame hash at " << g.bpp << " bpp is 0x" << std::hex << std::uppercase << h;
    }
}

// Without a cap the level in force is the best the processor has; a cap
// the processor has gives exactly that level, any other cap no more than it
// names (CTest runs this under each cap).
TEST(SimdLevel, NamedAndCappedByTheEnvironment) {
    const std::string active = KWRRender::kwrGetSimdLevel();
    int activeIndex = -1;
    for (int i = 0; i < kLevels; ++i)
        if (active == kLevelNames[i]) activeIndex = i;
    ASSERT_GE(activeIndex, 0) << active;
    const int cap = cappedLevel(), best = processorBestLevel();
    if (cap < 0 && best >= 0) {
        EXPECT_EQ(active, kLevelNames[best]) << "the processor offers " << kLevelNames[best];
    } else if (cap < 0) {
        SUCCEED() << "this test cannot ask this processor for its level";
    } else if (processorHas(cap)) {
        EXPECT_EQ(active, kLevelNames[cap]) << "under KWRENDER_SIMD=" << kLevelNames[cap];
    } else {
        EXPECT_LE(activeIndex, cap) << active << " under KWRENDER_SIMD=" << kLevelNames[cap];
    }
}
