// Multi-core rendering draws the same bytes as one core: random scenes over
// every drawing entry point, in every format, replayed by several threads
// with bands of several heights; and the pool's life around hostile use.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "KWRRender.h"
#include "random_calls.h"
#include "raster/triangle_rows.h"
#include "render/access.h"
#include "render/threads.h"

namespace {

using kwr_test::Fuzzer;
using kwr_test::HostBuffers;

constexpr int kWidth = 61, kHeight = 47;

struct Frame {
    std::vector<unsigned char> pixels;
    std::vector<float> depth;
};

// A seeded random scene: state changes, hostile arguments and plenty of
// well-formed triangles, with or without a depth buffer.
Frame drawScene(int bpp, bool depth, std::uint32_t seed, int threads, int bandRows) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetRenderBpp(bpp), 1);
    r->kwrZBufferEnable(depth ? 1 : 0);
    EXPECT_EQ(r->kwrInitBuffer(kWidth, kHeight), 1);
    EXPECT_EQ(r->kwrSetThreads(threads), threads);
    if (threads > 1) kwr::Access::state(*r).pool->setBandHeight(bandRows);
    r->kwrSetColor(0xFF203040);
    r->kwrClear();
    Fuzzer f{std::mt19937(seed)};
    HostBuffers h;
    kwr_test::bindRandomMaps(*r, f, h);
    for (int i = 0; i < 1500; ++i) {
        if (i % 300 == 0) {
            r->kwrAlphaEnable(f.pick(2));
            r->kwrZTestEnable(f.pick(4) != 0);
        }
        kwr_test::randomCall(*r, f, h, kWidth, kHeight);
    }
    Frame out;
    void* pixels = nullptr;
    EXPECT_EQ(r->kwrGetDib(nullptr, &pixels), 1);  // flushes
    // The visible bytes of every row (24 bpp row padding is never written).
    const int used = kWidth * bpp / 8, pitch = (used + 3) / 4 * 4;
    for (int y = 0; y < kHeight; ++y) {
        const auto* row = static_cast<const unsigned char*>(pixels) + y * pitch;
        out.pixels.insert(out.pixels.end(), row, row + used);
    }
    if (const float* z = r->kwrGetZBuffer()) out.depth.assign(z, z + kWidth * kHeight);
    return out;
}

TEST(Threads, EveryThreadCountAndBandDrawsTheOneCoreBytes) {
    for (int bpp : {8, 16, 24, 32}) {
        for (bool depth : {true, false}) {
            const std::uint32_t seed = 0xC0FFEEu + static_cast<std::uint32_t>(bpp * 2 + (depth ? 1 : 0));
            const Frame one = drawScene(bpp, depth, seed, 1, 1);
            for (int threads : {2, 3, 7}) {
                for (int band : {1, 2, 64}) {
                    const Frame many = drawScene(bpp, depth, seed, threads, band);
                    const auto what = std::to_string(bpp) + " bpp, depth " + std::to_string(depth) + ", " +
                                      std::to_string(threads) + " threads, bands of " + std::to_string(band);
                    EXPECT_TRUE(many.pixels == one.pixels) << what;
                    EXPECT_TRUE(many.depth == one.depth) << what;
                }
            }
        }
    }
}

TEST(Threads, BandsDealRowsRoundRobin) {
    kwr::RenderState s{};
    s.bandHeight = 3;
    s.bandCount = 2;
    s.bandIndex = 1;
    std::vector<std::pair<int, int>> runs;
    kwr::forOwnedRows(s, 2, 16, [&](int a, int b) { runs.emplace_back(a, b); });
    EXPECT_EQ(runs, (std::vector<std::pair<int, int>>{{3, 5}, {9, 11}, {15, 16}}));
    for (int first = 0; first < 14; ++first) {
        for (int last = first - 1; last < 14; ++last) {
            int lo = last + 1, hi = last;
            for (int y = last; y >= first; --y)
                if (kwr::ownsRow(s, y)) lo = y;
            for (int y = first; y <= last; ++y)
                if (kwr::ownsRow(s, y)) hi = y;
            const kwr::RowRange owned = kwr::ownedRows(s, kwr::RowRange{first, last});
            EXPECT_TRUE(owned.first == lo && owned.last == hi) << first << ".." << last;
        }
    }
}

TEST(Threads, CountsAreClampedAndRepeatedChangesAreClean) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrGetThreads(), 1);
    ASSERT_EQ(r->kwrInitBuffer(16, 16), 1);
    const int cores = kwr::threadsForRequest(0);
    EXPECT_GE(cores, 1);
    const int requests[] = {3, 0, -5, 1, 1000000, 2, 2, -2147483647 - 1, 7};
    const int expected[] = {3, cores, 1, 1, kwr::kMaxThreads, 2, 2, 1, 7};
    for (int i = 0; i < 9; ++i) {
        r->kwrTriangle(0, 0, 15, 3, 4, 15);  // recorded between the changes
        EXPECT_EQ(r->kwrSetThreads(requests[i]), expected[i]) << requests[i];
        EXPECT_EQ(r->kwrGetThreads(), expected[i]);
    }
    // A copy draws on one thread and shares no pool.
    auto copy = std::make_unique<KWRRender>();
    *copy = *r;
    EXPECT_EQ(copy->kwrGetThreads(), 1);
    EXPECT_EQ(kwr::Access::state(*copy).pool, nullptr);
    kwr::Access::state(*copy).dib = nullptr;  // only one of the two may release
    kwr::Access::state(*copy).zBuffer = nullptr;
    kwr::Access::state(*copy).scanBlock = nullptr;
}

TEST(Threads, LongListsFlushWhenFullAndDestroyCleanly) {
    for (int round = 0; round < 2; ++round) {
        auto r = std::make_unique<KWRRender>();
        ASSERT_EQ(r->kwrSetRenderBpp(32), 1);
        ASSERT_EQ(r->kwrInitBuffer(64, 64), 1);
        ASSERT_EQ(r->kwrSetThreads(3), 3);
        // More records than the list holds: it is drawn when full.
        for (int i = 0; i < 100000; ++i) {
            r->kwrSetColor(0xFF000000u | static_cast<unsigned>(i));
            r->kwrTriangle3cf(0, 0, 0.5f, 0xFFFF0000, 63, static_cast<float>(i % 64), 0.5f, 0xFF00FF00, 10, 63, 0.5f,
                              0xFF0000FF);
        }
        if (round == 1) r->kwrDestroy();  // else the destructor draws the rest
    }
}

TEST(Threads, EnvironmentSetsTheStartingCount) {
    EXPECT_EQ(kwr::threadsForRequest(5), 5);
    // The count a new context starts with follows KWRENDER_THREADS, when a
    // test run sets it; without it a context starts on one thread.
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrGetThreads(), kwr::threadsFromEnvironment());
}

}  // namespace
