// kwrClear per surface format, on a small frame that stays in cache
// (64 x 64) and a full-HD one (1920 x 1080), in pixels per second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "KWRRender.h"

namespace {

void BM_ClearFrame(benchmark::State& st) {
    const int bpp = static_cast<int>(st.range(0));
    const int w = static_cast<int>(st.range(1)), h = static_cast<int>(st.range(2));
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(bpp);
    r->kwrZBufferEnable(0);  // the pixels alone
    if (r->kwrInitBuffer(w, h) != 1) {
        st.SkipWithError("kwrInitBuffer failed");
        return;
    }
    r->kwrSetColor(0xFF336699u);
    for (auto _ : st) {
        r->kwrClear();
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(w) * h);
}
BENCHMARK(BM_ClearFrame)
    ->ArgNames({"bpp", "w", "h"})
    ->ArgsProduct({{8, 16, 24, 32}, {64}, {64}})
    ->ArgsProduct({{8, 16, 24, 32}, {1920}, {1080}});

}  // namespace
