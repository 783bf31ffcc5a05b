// Random calls over the whole public drawing interface with arbitrary
// arguments and state.  Nothing outside the surface's pixels may be written
// (canaries in the row padding, guard cells around a host depth buffer and
// host memory; the sanitizers watch the surface), and host inputs stay as given.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "KWRRender.h"
#include "random_calls.h"

namespace {

using namespace kwr_test;

constexpr float kGuard = 12345.0f;
constexpr int kGuardCells = 64;

struct FuzzCase {
    int bpp, width, height;
    bool externalDepth;
};

class ApiFuzz : public ::testing::TestWithParam<FuzzCase> {};

TEST_P(ApiFuzz, RandomCallsStayInsideAllBuffers) {
    const FuzzCase fc = GetParam();
    Fuzzer f{std::mt19937(0x9E3779B9u ^ static_cast<std::uint32_t>(fc.bpp * 7919 + fc.width * 31 + fc.height))};
    auto r = std::make_unique<KWRRender>();
    ASSERT_EQ(r->kwrSetRenderBpp(fc.bpp), 1);

    const std::size_t cells = static_cast<std::size_t>(fc.width) * static_cast<std::size_t>(fc.height);
    std::vector<float> depth(cells + 2 * kGuardCells, kGuard);
    if (fc.externalDepth) r->kwrSetExternalZBuffer(depth.data() + kGuardCells);
    ASSERT_EQ(r->kwrInitBuffer(fc.width, fc.height), 1);
    r->kwrClear();

    // The bytes of every row between its last pixel and the next row: no
    // drawing call may write them (clearing fills them at 8, 16 and 32 bpp).
    void* pixels = nullptr;
    ASSERT_EQ(r->kwrGetDib(nullptr, &pixels), 1);
    unsigned char* const bits = static_cast<unsigned char*>(pixels);
    const int used = fc.width * fc.bpp / 8, pitch = (used + 3) / 4 * 4;
    auto paintPadding = [&] {
        for (int y = 0; y < fc.height; ++y)
            std::memset(bits + y * pitch + used, kCanary, static_cast<std::size_t>(pitch - used));
    };
    auto paddingIntact = [&] {
        for (int i = 0; i < pitch * fc.height; ++i)
            if (i % pitch >= used && bits[i] != kCanary) return false;
        return true;
    };
    paintPadding();
    HostBuffers h;
    for (int round = 0; round < 4; ++round) {
        bindRandomMaps(*r, f, h);
        r->kwrAlphaEnable(f.pick(2));
        r->kwrZTestEnable(f.pick(4) != 0);
        for (int i = 0; i < 600; ++i) {
            const bool cleared = randomCall(*r, f, h, fc.width, fc.height);
            r->kwrFlush();  // with several threads (KWRENDER_THREADS), draw before looking
            if (cleared) paintPadding();
            ASSERT_TRUE(paddingIntact()) << "row padding written, call " << i << " of round " << round;
            ASSERT_TRUE(h.intact()) << "host memory or its canaries written, call " << i << " of round " << round;
        }
        for (std::size_t i = 0; fc.externalDepth && i < kGuardCells; ++i)
            ASSERT_TRUE(depth[i] == kGuard && depth[kGuardCells + cells + i] == kGuard) << "depth guard " << i;
    }
    r->kwrDestroy();
}

INSTANTIATE_TEST_SUITE_P(
    AllFormats, ApiFuzz,
    ::testing::Values(FuzzCase{8, 13, 9, true}, FuzzCase{16, 13, 9, true}, FuzzCase{24, 13, 9, true},
                      FuzzCase{32, 13, 9, true}, FuzzCase{8, 1, 1, false}, FuzzCase{24, 1, 11, false},
                      FuzzCase{16, 37, 23, false}),
    [](const ::testing::TestParamInfo<FuzzCase>& i) {
        return "bpp" + std::to_string(i.param.bpp) + "_" + std::to_string(i.param.width) + "x" +
               std::to_string(i.param.height) + (i.param.externalDepth ? "_ext" : "_own");
    });

// Drawing on an object without a surface (never initialised, released, or
// after a failed initialisation) does nothing and touches no memory.
TEST(ApiFuzz, DrawingWithoutSurfaceIsHarmless) {
    for (int state = 0; state < 3; ++state) {
        auto r = std::make_unique<KWRRender>();
        if (state > 0) {
            ASSERT_EQ(r->kwrInitBuffer(state == 1 ? 8 : 0, 8), state == 1 ? 1 : 0);
        }
        if (state == 1) r->kwrDestroy();
        r->kwrZBufferEnable(0);
        Fuzzer f{std::mt19937(77u + static_cast<std::uint32_t>(state))};
        HostBuffers h;
        for (int i = 0; i < 800; ++i) randomCall(*r, f, h, 8, 8);
        EXPECT_TRUE(h.intact());
    }
}

}  // namespace
