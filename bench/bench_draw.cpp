// Throughput of clears, span fills and primitives per surface format, in
// pixels per second.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "KWRRender.h"

namespace {

std::unique_ptr<KWRRender> makeFrame(int bpp, int w, int h) {
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(bpp);
    r->kwrInitBuffer(w, h);
    r->kwrClear();
    return r;
}

void BM_Clear(benchmark::State& st) {
    auto r = makeFrame(static_cast<int>(st.range(0)), 640, 480);
    for (auto _ : st) r->kwrClear();
    st.SetItemsProcessed(st.iterations() * 640 * 480);
}
BENCHMARK(BM_Clear)->Arg(8)->Arg(16)->Arg(24)->Arg(32);

// A right triangle of side n covers about n * n / 2 pixels.
template <class Draw>
void triangleBench(benchmark::State& st, Draw draw) {
    const int bpp = static_cast<int>(st.range(0)), n = static_cast<int>(st.range(1));
    auto r = makeFrame(bpp, 512, 512);
    std::vector<unsigned char> tex(64 * 64 * 4);
    for (std::size_t i = 0; i < tex.size(); ++i) tex[i] = static_cast<unsigned char>(i * 7);
    r->kwrSetTexture(tex.data(), 64, 64, 256);
    float z = 0.9f;
    for (auto _ : st) {
        draw(*r, n, z);
        z = z > 0.1f ? z - 1e-4f : 0.9f;
    }
    st.SetItemsProcessed(st.iterations() * n * n / 2);
}

void BM_FlatTriangle(benchmark::State& st) {
    triangleBench(st, [](KWRRender& r, int n, float) { r.kwrTriangle(0, 0, n, 0, 0, n); });
}
void BM_DepthTriangle(benchmark::State& st) {
    triangleBench(st, [](KWRRender& r, int n, float z) { r.kwrTriangle3(0, 0, z, n, 0, z, 0, n, z); });
}
void BM_GouraudTriangle(benchmark::State& st) {
    triangleBench(st, [](KWRRender& r, int n, float) {
        r.kwrTrianglec(0, 0, 0xFFFF0000, n, 0, 0xFF00FF00, 0, n, 0xFF0000FF);
    });
}
void BM_TexturedGouraudDepthTriangle(benchmark::State& st) {
    triangleBench(st, [](KWRRender& r, int n, float z) {
        r.kwrTriangle3ct(0, 0, z, 0xFFFFFFFF, 0, 0, n, 0, z, 0xFF80FF80, 2, 0, 0, n, z, 0xFFFF8080, 0, 2);
    });
}
void BM_BlendedTexturedTriangle(benchmark::State& st) {
    triangleBench(st, [](KWRRender& r, int n, float) {
        r.kwrAlphaEnable(1);
        r.kwrTrianglect(0, 0, 0x80FFFFFF, 0, 0, n, 0, 0x80FFFFFF, 2, 0, 0, n, 0x80FFFFFF, 0, 2);
    });
}
#define TRIANGLE_ARGS ArgsProduct({{16, 32}, {16, 256}})
BENCHMARK(BM_FlatTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_DepthTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_GouraudTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_TexturedGouraudDepthTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_BlendedTexturedTriangle)->TRIANGLE_ARGS;

void BM_Lines(benchmark::State& st) {
    auto r = makeFrame(static_cast<int>(st.range(0)), 512, 512);
    for (auto _ : st)
        for (int i = 0; i < 16; ++i) r->kwrLine3(0, i * 30, 0.5f, 511, 511 - i * 30, 0.5f);
    st.SetItemsProcessed(st.iterations() * 16 * 512);
}
BENCHMARK(BM_Lines)->Arg(16)->Arg(32);

void BM_ImageBlit(benchmark::State& st) {
    auto r = makeFrame(static_cast<int>(st.range(0)), 512, 512);
    std::vector<unsigned char> img(100 * 100 * 4, 0x5A);
    for (auto _ : st) r->kwrImage2D(0, 0, 512, 512, 100, 100, 32, img.data());
    st.SetItemsProcessed(st.iterations() * 512 * 512);
}
BENCHMARK(BM_ImageBlit)->Arg(16)->Arg(24)->Arg(32);

}  // namespace
