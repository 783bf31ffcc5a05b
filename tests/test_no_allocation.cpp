// Drawing calls allocate nothing: drawing a whole scene in every format adds
// to neither the count of operator new nor (where the linker wraps them) that
// of the library's malloc, calloc and realloc calls.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

#include "KWRRender.h"
#include "render/threads.h"
#include "scene.h"

namespace {
std::atomic<long> news{0};
std::atomic<long> cAllocations{0};
}  // namespace

void* operator new(std::size_t n) {
    news.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    news.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(n == 0 ? 1 : n);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

#if defined(KWR_TEST_WRAPPED_MALLOC)
// The linker sends every call of these from the program's own objects here.
extern "C" {
void* __real_malloc(std::size_t n);
void* __real_calloc(std::size_t n, std::size_t size);
void* __real_realloc(void* p, std::size_t n);
void* __wrap_malloc(std::size_t n) {
    cAllocations.fetch_add(1, std::memory_order_relaxed);
    return __real_malloc(n);
}
void* __wrap_calloc(std::size_t n, std::size_t size) {
    cAllocations.fetch_add(1, std::memory_order_relaxed);
    return __real_calloc(n, size);
}
void* __wrap_realloc(void* p, std::size_t n) {
    cAllocations.fetch_add(1, std::memory_order_relaxed);
    return __real_realloc(p, n);
}
}
#endif

TEST(NoAllocation, DrawingTheSceneAllocatesNothing) {
    const long start = news.load();
    kwr_demo::SceneAssets assets;
    ASSERT_GT(news.load(), start);  // the counter sees allocations
    for (int threads : {1, kwr::threadsForRequest(3)}) {
        for (int bpp : {8, 16, 24, 32}) {
            auto r = std::make_unique<KWRRender>();
            ASSERT_EQ(r->kwrSetRenderBpp(bpp), 1);
            const long cBefore = cAllocations.load();
            ASSERT_EQ(r->kwrInitBuffer(kwr_demo::kSceneWidth, kwr_demo::kSceneHeight), 1);
#if defined(KWR_TEST_WRAPPED_MALLOC)
            ASSERT_GT(cAllocations.load(), cBefore);  // the depth buffer is counted
#endif
            // The pool, its threads and its list are made here, not while drawing.
            ASSERT_EQ(r->kwrSetThreads(threads), threads);
            const long before = news.load(), cAfterInit = cAllocations.load();
            for (int frame = 0; frame < 3; ++frame) kwr_demo::drawScene(*r, assets, frame);
            // Clip-space triangles, one reaching behind the eye, filtered bilinearly.
            const float xyzw[] = {-1, -1, 0.5f, 1, 3, -3, 1.5f, 3, 1, 1.5f, -0.5f, 0};
            const std::uint32_t argb[] = {0xFFFF0000u, 0x8000FF00u, 0xFF0000FFu}, indices[] = {0, 1, 2, 2, 1, 0};
            const float uv[] = {0, 0, 1, 0, 0, 1};
            r->kwrSetTextureFilter(KWR_FILTER_BILINEAR);
            r->kwrSetCull(KWR_CULL_BACK);
            EXPECT_EQ(r->kwrTrianglesClip(1, xyzw, argb, uv), 1);
            EXPECT_EQ(r->kwrTrianglesClipIndexed(3, xyzw, nullptr, uv, 2, indices), 1);
            r->kwrFlush();
            EXPECT_EQ(news.load(), before) << bpp << " bpp, " << threads << " threads";
            EXPECT_EQ(cAllocations.load(), cAfterInit) << bpp << " bpp, " << threads << " threads";
        }
    }
}
