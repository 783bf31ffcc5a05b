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

TEST(GoldenScene, SameBytesInEveryBuild) {
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

// The level in force is one of the five and no higher than KWRENDER_SIMD
// asks (CTest runs the golden scene under each cap).
TEST(SimdLevel, NamedAndCappedByTheEnvironment) {
    const char* const names[] = {"scalar", "sse2", "sse4.1", "avx2", "avx512", "neon"};
    const std::string active = KWRRender::kwrGetSimdLevel();
    const char* env = std::getenv("KWRENDER_SIMD");
    int activeIndex = -1, cap = 5;
    for (int i = 0; i < 6; ++i) {
        if (active == names[i]) activeIndex = i;
        if (env != nullptr && std::strcmp(env, names[i]) == 0) cap = i;
    }
    ASSERT_GE(activeIndex, 0) << active;
    EXPECT_LE(activeIndex, cap) << active << " under KWRENDER_SIMD=" << (env != nullptr ? env : "");
}
