// Batched drawing through the C interface (kwr_triangles*) against one C++
// call per triangle, on the peer benchmark's triangle sets, at 32 bpp on one
// thread.  Flat modes draw every triangle in one colour on both sides (a
// batch has no per-triangle colour).  Clearing is not timed; the best of a
// few repetitions counts (the two sides take turns).  Prints one line per mode and set:
//
//     mode<TAB>set<TAB>triangles<TAB>C++ single ns<TAB>C batched ns
//
//   kwrender_batch_bench [--sizes 50] [--modes flat,gouraud] [--reps N] [--dump DIR]
//
// --dump DIR writes each mode's 50-pixel set as DIR/<mode index>.bin
// (per vertex x, y, z float, colour uint32, u, v float, native byte order)
// and DIR/texture.bin, for bench/python_batched.py.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "KWRRender.h"
#include "kwrender.h"
#include "workload.h"

using namespace peerbench;

namespace {

struct Arrays {
    std::vector<float> xy, xyz, uv;
    std::vector<std::uint32_t> colors;
};

Arrays pack(const TriangleSet& set) {
    Arrays a;
    for (const Vertex& v : set.vertices) {
        a.xy.insert(a.xy.end(), {v.x, v.y});
        a.xyz.insert(a.xyz.end(), {v.x, v.y, v.z});
        a.uv.insert(a.uv.end(), {v.u, v.v});
        a.colors.push_back(v.argb);
    }
    return a;
}

void singleCalls(KWRRender& r, Mode m, const TriangleSet& set) {
    const Vertex* v = set.vertices.data();
    for (std::size_t i = 0; i < set.triangles(); ++i, v += 3) {
        const Vertex &a = v[0], &b = v[1], &c = v[2];
        switch (m) {
        case Mode::Flat:
        case Mode::BlendedFlat: r.kwrTrianglef(a.x, a.y, b.x, b.y, c.x, c.y); break;
        case Mode::FlatDepth: r.kwrTriangle3f(a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z); break;
        case Mode::Gouraud:
        case Mode::BlendedGouraud: r.kwrTrianglecf(a.x, a.y, a.argb, b.x, b.y, b.argb, c.x, c.y, c.argb); break;
        case Mode::GouraudDepth:
            r.kwrTriangle3cf(a.x, a.y, a.z, a.argb, b.x, b.y, b.z, b.argb, c.x, c.y, c.z, c.argb);
            break;
        case Mode::Textured:
            r.kwrTrianglectf(a.x, a.y, a.argb, a.u, a.v, b.x, b.y, b.argb, b.u, b.v, c.x, c.y, c.argb, c.u, c.v);
            break;
        case Mode::TexturedDepth:
            r.kwrTriangle3ctf(a.x, a.y, a.z, a.argb, a.u, a.v, b.x, b.y, b.z, b.argb, b.u, b.v, c.x, c.y, c.z,
                              c.argb, c.u, c.v);
            break;
        }
    }
}

void batched(kwr_context* ctx, Mode m, const Arrays& a, std::size_t n) {
    switch (m) {
    case Mode::Flat:
    case Mode::BlendedFlat: kwr_trianglesf(ctx, n, a.xy.data()); break;
    case Mode::FlatDepth: kwr_triangles3f(ctx, n, a.xyz.data()); break;
    case Mode::Gouraud:
    case Mode::BlendedGouraud: kwr_trianglescf(ctx, n, a.xy.data(), a.colors.data()); break;
    case Mode::GouraudDepth: kwr_triangles3cf(ctx, n, a.xyz.data(), a.colors.data()); break;
    case Mode::Textured: kwr_trianglesctf(ctx, n, a.xy.data(), a.colors.data(), a.uv.data()); break;
    case Mode::TexturedDepth: kwr_triangles3ctf(ctx, n, a.xyz.data(), a.colors.data(), a.uv.data()); break;
    }
}

// Times one drawing of each side per repetition, the two sides taking turns
// so that both see the same load of a shared machine; the best of each counts.
template <class SetupA, class DrawA, class SetupB, class DrawB>
void bestNs(int reps, SetupA&& setupA, DrawA&& drawA, SetupB&& setupB, DrawB&& drawB, double& a, double& b) {
    a = b = 1e300;
    auto time = [](auto&& draw) {
        const auto t0 = std::chrono::steady_clock::now();
        draw();
        return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count();
    };
    for (int i = 0; i < reps; ++i) {
        setupA();
        a = std::min(a, time(drawA));
        setupB();
        b = std::min(b, time(drawB));
    }
}

bool listed(const std::string& list, const std::string& item) {
    return list.empty() || ("," + list + ",").find("," + item + ",") != std::string::npos;
}


}  // namespace

int main(int argc, char** argv) {
    std::string sizes = "8,50,500,20000,full", modes, dump;
    int reps = 5;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string opt = argv[i], val = argv[i + 1];
        if (opt == "--sizes") sizes = val;
        else if (opt == "--modes") modes = val;
        else if (opt == "--reps") reps = std::max(1, std::atoi(val.c_str()));
        else if (opt == "--dump") dump = val;
        else {
            std::fprintf(stderr, "unknown option %s\n", opt.c_str());
            return 2;
        }
    }
    std::vector<std::uint8_t> texture = makeTexture();
    if (!dump.empty()) {
        std::FILE* t = std::fopen((dump + "/texture.bin").c_str(), "wb");
        if (t == nullptr) return 1;
        std::fwrite(texture.data(), 1, texture.size(), t);
        std::fclose(t);
    }

    auto r = std::make_unique<KWRRender>();
    kwr_context* ctx = kwr_create();
    for (KWRRender* each : {r.get()}) {
        each->kwrSetRenderBpp(32);
        each->kwrInitBuffer(kWidth, kHeight);
        each->kwrSetTexture(texture.data(), kTextureSize, kTextureSize, kTextureSize * 4);
    }
    kwr_set_render_bpp(ctx, 32);
    kwr_init_buffer(ctx, kWidth, kHeight);
    kwr_set_texture(ctx, texture.data(), kTextureSize, kTextureSize, kTextureSize * 4);

    for (int mi = 0; mi < kModeCount; ++mi) {
        const Mode m = kModes[mi];
        if (!listed(modes, modeKey(m))) continue;
        const std::vector<TriangleSet> sets = makeSets(m, 2024, 1);
        const std::uint32_t flat = sets[0].vertices[0].argb;
        r->kwrAlphaEnable(modeIsBlended(m) ? 1 : 0);
        kwr_alpha_enable(ctx, modeIsBlended(m) ? 1 : 0);
        for (const TriangleSet& set : sets) {
            const std::string key = set.label == "full screen" ? "full" : set.label.substr(0, set.label.find(' '));
            if (!listed(sizes, key)) continue;
            if (!dump.empty() && key == "50") {
                std::FILE* f = std::fopen((dump + "/" + std::to_string(mi) + ".bin").c_str(), "wb");
                if (f == nullptr) return 1;
                std::fwrite(set.vertices.data(), sizeof(Vertex), set.vertices.size(), f);
                std::fclose(f);
            }
            const Arrays a = pack(set);
            double single = 0, batch = 0;
            bestNs(
                reps,
                [&] {
                    r->kwrSetColor(0xFF000000u);
                    r->kwrClear();
                    r->kwrSetColor(flat);
                },
                [&] { singleCalls(*r, m, set); },
                [&] {
                    kwr_set_color(ctx, 0xFF000000u);
                    kwr_clear(ctx);
                    kwr_set_color(ctx, flat);
                },
                [&] { batched(ctx, m, a, set.triangles()); }, single, batch);
            std::printf("%s\t%s\t%zu\t%.0f\t%.0f\n", modeKey(m), key.c_str(), set.triangles(), single, batch);
            std::fflush(stdout);
        }
    }
    kwr_destroy(ctx);
    return 0;
}
