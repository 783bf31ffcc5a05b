// Drawing calls allocate nothing: every operator new of the test program is
// counted, and drawing a whole scene in every format must not add to it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "KWRRender.h"
#include "scene.h"

namespace {
std::atomic<long> allocations{0};
}

void* operator new(std::size_t n) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

TEST(NoAllocation, DrawingTheSceneAllocatesNothing) {
    const long start = allocations.load();
    kwr_demo::SceneAssets assets;
    ASSERT_GT(allocations.load(), start);  // the counter sees allocations
    for (int bpp : {8, 16, 24, 32}) {
        auto r = std::make_unique<KWRRender>();
        ASSERT_EQ(r->kwrSetRenderBpp(bpp), 1);
        ASSERT_EQ(r->kwrInitBuffer(kwr_demo::kSceneWidth, kwr_demo::kSceneHeight), 1);
        const long before = allocations.load();
        for (int frame = 0; frame < 3; ++frame) kwr_demo::drawScene(*r, assets, frame);
        EXPECT_EQ(allocations.load(), before) << bpp << " bpp";
    }
}
