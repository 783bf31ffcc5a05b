// Throughput of clears, span fills and primitives per surface format, in
// pixels per second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "KWRRender.h"
#include "peer/peer.h"

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
// A textured, depth-tested clip-space triangle over the same pixels as
// the others (32 bpp), by range(0): 0 = every w 1 (drawn affine, as
// kwrTriangle3tf), 1 = w 1, 2 and 1.5 (perspective-correct); range(1): the
// texture filter (0 nearest, 1 bilinear); range(2): the leg n.
void BM_ClipTexturedTriangle(benchmark::State& st) {
    const bool perspective = st.range(0) != 0;
    const int n = static_cast<int>(st.range(2));
    auto r = makeFrame(32, 512, 512);
    std::vector<unsigned char> tex(64 * 64 * 4);
    for (std::size_t i = 0; i < tex.size(); ++i) tex[i] = static_cast<unsigned char>(i * 7);
    r->kwrSetTexture(tex.data(), 64, 64, 256);
    r->kwrSetTextureFilter(static_cast<int>(st.range(1)));
    const float px[] = {0, static_cast<float>(n), 0}, py[] = {0, 0, static_cast<float>(n)};
    const float w[] = {1.0f, perspective ? 2.0f : 1.0f, perspective ? 1.5f : 1.0f};
    const float uv[] = {0, 0, 2, 0, 0, 2};
    float xyzw[12];
    float z = 0.9f;
    for (auto _ : st) {
        for (int k = 0; k < 3; ++k) {
            xyzw[4 * k] = (px[k] / 256.0f - 1.0f) * w[k];
            xyzw[4 * k + 1] = (1.0f - py[k] / 256.0f) * w[k];
            xyzw[4 * k + 2] = z * w[k];
            xyzw[4 * k + 3] = w[k];
        }
        r->kwrTrianglesClip(1, xyzw, nullptr, uv);
        z = z > 0.1f ? z - 1e-4f : 0.9f;
    }
    st.SetItemsProcessed(st.iterations() * n * n / 2);
}
BENCHMARK(BM_ClipTexturedTriangle)->ArgsProduct({{0, 1}, {0, 1}, {32, 256}});

#define TRIANGLE_ARGS ArgsProduct({{16, 32}, {16, 256}})
BENCHMARK(BM_FlatTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_DepthTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_GouraudTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_TexturedGouraudDepthTriangle)->TRIANGLE_ARGS;
BENCHMARK(BM_BlendedTexturedTriangle)->TRIANGLE_ARGS;

// The modes of the peer comparison per format: a 1024 x 768 frame covered
// once, either by two triangles or by triangles of 50 pixels (legs of 10).
enum Mode { kFlat, kFlatDepth, kGouraud, kGouraudDepth, kTextured, kTexturedDepth, kBlendedFlat, kBlendedGouraud };
const char* const kModeNames[] = {"flat",     "flat+depth",     "Gouraud",      "Gouraud+depth",
                                  "textured", "textured+depth", "blended flat", "blended Gouraud"};

void drawMode(KWRRender& r, int mode, float x0, float y0, float x1, float y1, float x2, float y2, float z) {
    const unsigned long a = 0xFFFF2040, b = 0xFF20FF40, c = 0xFF4020FF, t = 0x80FFFFFF;
    const float u0 = x0 / 256, v0 = y0 / 256, u1 = x1 / 256, v1 = y1 / 256, u2 = x2 / 256, v2 = y2 / 256;
    switch (mode) {
    case kFlat: r.kwrTrianglef(x0, y0, x1, y1, x2, y2); break;
    case kFlatDepth: r.kwrTriangle3f(x0, y0, z, x1, y1, z, x2, y2, z); break;
    case kGouraud: r.kwrTrianglecf(x0, y0, a, x1, y1, b, x2, y2, c); break;
    case kGouraudDepth: r.kwrTriangle3cf(x0, y0, z, a, x1, y1, z, b, x2, y2, z, c); break;
    case kTextured: r.kwrTrianglectf(x0, y0, a, u0, v0, x1, y1, b, u1, v1, x2, y2, c, u2, v2); break;
    case kTexturedDepth: r.kwrTriangle3ctf(x0, y0, z, a, u0, v0, x1, y1, z, b, u1, v1, x2, y2, z, c, u2, v2); break;
    case kBlendedFlat: r.kwrTrianglef(x0, y0, x1, y1, x2, y2); break;
    default: r.kwrTrianglecf(x0, y0, t, x1, y1, t & 0x80FF00FF, x2, y2, t & 0x8000FFFF); break;
    }
}

void BM_Mode(benchmark::State& st) {
    const int mode = static_cast<int>(st.range(0)), bpp = static_cast<int>(st.range(1));
    const bool small = st.range(2) != 0;
    constexpr int kW = 1024, kH = 768;
    auto r = makeFrame(bpp, kW, kH);
    std::vector<unsigned char> tex(256 * 256 * 4);
    for (std::size_t i = 0; i < tex.size(); ++i) tex[i] = static_cast<unsigned char>((i * 2654435761u) >> 24);
    r->kwrSetTexture(tex.data(), 256, 256, 1024);
    r->kwrZBufferEnable(1);
    r->kwrAlphaEnable(mode == kBlendedFlat || mode == kBlendedGouraud ? 1 : 0);
    r->kwrSetColor(mode == kBlendedFlat ? 0x80FF8040 : 0xFFFF8040);
    float z = 0.9f;
    for (auto _ : st) {
        if (small) {
            for (int y = 0; y + 10 <= kH; y += 10)
                for (int x = 0; x + 10 <= kW; x += 10) {
                    const float fx = static_cast<float>(x), fy = static_cast<float>(y);
                    drawMode(*r, mode, fx, fy, fx + 10, fy, fx, fy + 10, z);
                    drawMode(*r, mode, fx + 10, fy, fx + 10, fy + 10, fx, fy + 10, z);
                }
        } else {
            drawMode(*r, mode, 0, 0, kW, 0, 0, kH, z);
            drawMode(*r, mode, kW, 0, kW, kH, 0, kH, z);
        }
        z = z > 0.1f ? z - 1e-4f : 0.9f;
    }
    st.SetLabel(std::string(kModeNames[mode]) + (small ? ", 50 px" : ", full frame"));
    st.SetItemsProcessed(st.iterations() * (small ? (kW / 10) * (kH / 10) * 100 : kW * kH));
}
BENCHMARK(BM_Mode)->ArgsProduct({{kFlat, kFlatDepth, kGouraud, kGouraudDepth, kTextured, kTexturedDepth, kBlendedFlat,
                                  kBlendedGouraud},
                                 {16, 24, 32},
                                 {0, 1}});

// The cost of one small triangle: the peer benchmark's kwrender 32 bpp peer
// (public interface, one thread) draws one frame's area of seeded triangles of
// about 8, 22 or 50 pixels, spread over the 1024 x 768 frame, in one mode.
// The frame and depth buffer are cleared between iterations, untimed.
// ns_per_triangle is the time of a draw over the triangles drawn (in
// seconds, printed with its SI prefix).
void BM_TriangleCost(benchmark::State& st) {
    namespace pb = peerbench;
    const pb::Mode mode = pb::kModes[st.range(0)];
    const double area = static_cast<double>(st.range(1));
    const auto count = static_cast<std::size_t>(double(pb::kWidth) * pb::kHeight / area);
    static const pb::Texture texture = pb::makeTexture();
    const pb::TriangleSet set = pb::makeSet(mode, 2024, area, count);
    auto peer = pb::makeKwrenderPeer(32, texture, 1);
    peer->prepare(mode, set);
    for (auto _ : st) {
        st.PauseTiming();
        peer->clear();
        st.ResumeTiming();
        peer->draw(count);
    }
    st.SetLabel(std::string(pb::modeName(mode)) + ", " + set.label);
    st.SetItemsProcessed(static_cast<std::int64_t>(st.iterations() * count));
    st.counters["ns_per_triangle"] =
        benchmark::Counter(double(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
// On a shared machine run it with --benchmark_repetitions=N: the "min"
// aggregate is the quietest repetition.
BENCHMARK(BM_TriangleCost)
    ->ArgNames({"mode", "px"})
    ->ArgsProduct({benchmark::CreateDenseRange(0, peerbench::kModeCount - 1, 1), {8, 22, 50}})
    ->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); })
    ->Unit(benchmark::kMillisecond);

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
