// Multi-core rendering draws the same bytes as one core: random scenes over
// every drawing entry point, in every format, replayed by several threads
// with bands of several heights; and the pool's life around hostile use.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KWRImage.h"
#include "KWRRender.h"
#include "kwrender.h"
#include "random_calls.h"
#include "raster/triangle_rows.h"
#include "render/access.h"
#include "render/c_context.h"
#include "render/threads.h"

namespace {

using kwr_test::Fuzzer;
using kwr_test::HostBuffers;

constexpr int kWidth = 61, kHeight = 47;

// Everything a host can see of a frame: every byte of the surface (the row
// padding included), the depth buffer and the bitmap file saved from it.
struct Frame {
    std::vector<unsigned char> surface;
    std::vector<float> depth;
    std::vector<unsigned char> file;
};

std::vector<unsigned char> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

Frame capture(KWRRender& r, const std::string& name) {
    Frame out;
    void* header = nullptr;
    void* pixels = nullptr;
    EXPECT_EQ(r.kwrGetDib(&header, &pixels), 1);  // flushes
    const auto& bih = *static_cast<const unsigned char*>(header);
    std::int32_t width = 0, height = 0;
    std::uint16_t bpp = 0;
    std::memcpy(&width, &bih + 4, 4);
    std::memcpy(&height, &bih + 8, 4);
    std::memcpy(&bpp, &bih + 14, 2);
    const std::size_t pitch = (static_cast<std::size_t>(width) * bpp + 31) / 32 * 4;
    const auto* bytes = static_cast<const unsigned char*>(pixels);
    out.surface.assign(bytes, bytes + pitch * static_cast<std::size_t>(-height));
    if (const float* z = r.kwrGetZBuffer()) out.depth.assign(z, z + static_cast<std::size_t>(width) * -height);
    const std::string path = ::testing::TempDir() + name + ".bmp";
    EXPECT_EQ(KWRImage::kwrSaveFrame(r, path.c_str()), 1);
    out.file = readFile(path);
    std::remove(path.c_str());
    return out;
}

// A seeded random scene: state changes, hostile arguments and plenty of
// well-formed triangles, with or without a depth buffer.
Frame drawScene(int bpp, bool depth, std::uint32_t seed, int threads, int bandRows, int callerBands) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetRenderBpp(bpp), 1);
    r->kwrZBufferEnable(depth ? 1 : 0);
    EXPECT_EQ(r->kwrInitBuffer(kWidth, kHeight), 1);
    EXPECT_EQ(r->kwrSetThreads(threads), threads);
    if (threads > 1) {
        kwr::Access::state(*r).pool->setBandHeight(bandRows);
        kwr::Access::state(*r).pool->setCallerBands(callerBands);
    }
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
    return capture(*r, "scene" + std::to_string(threads));
}

TEST(Threads, EveryThreadCountAndBandDrawsTheOneCoreBytes) {
    for (int bpp : {8, 16, 24, 32}) {
        for (bool depth : {true, false}) {
            const std::uint32_t seed = 0xC0FFEEu + static_cast<std::uint32_t>(bpp * 2 + (depth ? 1 : 0));
            const Frame one = drawScene(bpp, depth, seed, 1, 1, -1);
            ASSERT_FALSE(one.file.empty());
            for (int threads : {2, 3, 7}) {
                // The caller owning none of its share of bands, most of it,
                // or as many as it finds best as it goes.
                const std::pair<int, int> layouts[] = {{1, 0}, {2, 3}, {64, -1}};
                for (auto [band, callerBands] : layouts) {
                    const Frame many = drawScene(bpp, depth, seed, threads, band, callerBands);
                    const auto what = std::to_string(bpp) + " bpp, depth " + std::to_string(depth) + ", " +
                                      std::to_string(threads) + " threads, bands of " + std::to_string(band) +
                                      ", caller's bands " + std::to_string(callerBands);
                    EXPECT_TRUE(many.surface == one.surface) << what;
                    EXPECT_TRUE(many.depth == one.depth) << what;
                    EXPECT_TRUE(many.file == one.file) << what;
                }
            }
        }
    }
}

// Packed arrays of triangles for the C interface's batches: mostly small
// triangles anywhere on the surface (many across the edges of bands), some
// large, a few with hostile coordinates.
struct Batch {
    std::vector<float> xy, xyz, uv, xyzw;
    std::vector<std::uint32_t> colors, indices;
};

std::unique_ptr<Batch> randomBatch(Fuzzer& f, std::size_t triangles) {
    auto b = std::make_unique<Batch>();
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (std::size_t t = 0; t < triangles; ++t) {
        const float cx = unit(f.rng) * (kWidth + 10) - 5, cy = unit(f.rng) * (kHeight + 10) - 5;
        const float reach = f.chance(10) ? 60.0f : 1.0f + 8.0f * unit(f.rng);
        for (int k = 0; k < 3; ++k) {
            const float x = f.chance(2) ? f.anyFloat(kWidth) : cx + reach * (unit(f.rng) - 0.5f);
            const float y = f.chance(2) ? f.anyFloat(kHeight) : cy + reach * (unit(f.rng) - 0.5f);
            const float z = unit(f.rng);
            b->xy.insert(b->xy.end(), {x, y});
            b->xyz.insert(b->xyz.end(), {x, y, z});
            b->uv.insert(b->uv.end(), {2 * unit(f.rng) - 0.5f, 2 * unit(f.rng) - 0.5f});
            b->colors.push_back(static_cast<std::uint32_t>(f.anyColor()));
            // The same corner in clip space, at a random depth in front of
            // the eye, now and then behind it or hostile.
            const float w = f.chance(5) ? f.anyFloat(2.0f) : 0.25f + 3.0f * unit(f.rng);
            const float nx = (2 * x / kWidth - 1) * w, ny = (1 - 2 * y / kHeight) * w;
            b->xyzw.insert(b->xyzw.end(), {nx, ny, (1.4f * unit(f.rng) - 0.2f) * w, w});
            b->indices.push_back(static_cast<std::uint32_t>(f.pick(static_cast<int>(3 * triangles))));
        }
    }
    return b;
}

// Every batch call of the C interface and a colour per single triangle,
// with state changes between them.  A `scribbling` host overwrites its
// arrays and releases them as soon as each call returns.
Frame drawBatches(int bpp, std::uint32_t seed, int threads, int bandRows, bool scribbling) {
    kwr_context* ctx = kwr_create();
    EXPECT_EQ(kwr_set_render_bpp(ctx, bpp), KWR_OK);
    kwr_zbuffer_enable(ctx, 1);
    EXPECT_EQ(kwr_init_buffer(ctx, kWidth, kHeight), KWR_OK);
    EXPECT_EQ(kwr_set_threads(ctx, threads), threads);
    if (threads > 1) kwr::Access::state(ctx->r).pool->setBandHeight(bandRows);
    std::vector<std::uint8_t> texels(4 * 5 * 3);
    Fuzzer f{std::mt19937(seed)};
    for (auto& t : texels) t = static_cast<std::uint8_t>(f.rng());
    kwr_set_texture(ctx, texels.data(), 5, 3, 20);
    kwr_set_color(ctx, 0xFF102030u);
    kwr_clear(ctx);
    for (int round = 0; round < 33; ++round) {
        kwr_set_color(ctx, static_cast<std::uint32_t>(f.anyColor()));
        kwr_alpha_enable(ctx, f.pick(2));
        kwr_ztest_enable(ctx, f.pick(3) != 0);
        // Past one record's run of triangles now and then.
        std::unique_ptr<Batch> b = randomBatch(f, 1 + static_cast<std::size_t>(f.chance(30) ? f.pick(900) : f.pick(40)));
        const std::size_t n = b->colors.size() / 3;
        switch (round % 11) {
        case 0: EXPECT_EQ(kwr_trianglesf(ctx, n, b->xy.data()), KWR_OK); break;
        case 1: EXPECT_EQ(kwr_triangles3f(ctx, n, b->xyz.data()), KWR_OK); break;
        case 2: EXPECT_EQ(kwr_trianglescf(ctx, n, b->xy.data(), b->colors.data()), KWR_OK); break;
        case 3: EXPECT_EQ(kwr_triangles3cf(ctx, n, b->xyz.data(), b->colors.data()), KWR_OK); break;
        case 4: EXPECT_EQ(kwr_trianglestf(ctx, n, b->xy.data(), b->uv.data()), KWR_OK); break;
        case 5: EXPECT_EQ(kwr_triangles3tf(ctx, n, b->xyz.data(), b->uv.data()), KWR_OK); break;
        case 6: EXPECT_EQ(kwr_trianglesctf(ctx, n, b->xy.data(), b->colors.data(), b->uv.data()), KWR_OK); break;
        case 7: EXPECT_EQ(kwr_triangles3ctf(ctx, n, b->xyz.data(), b->colors.data(), b->uv.data()), KWR_OK); break;
        case 8:
        case 9: {
            // The status says whether every triangle's corners were finite,
            // at every thread count, when the call returns.
            const bool indexed = round % 11 == 9;
            bool finite = true;
            for (std::size_t i = 0; i < 3 * n; ++i) {
                const float* v = b->xyzw.data() + 4 * (indexed ? b->indices[i] : i);
                finite = finite && std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]) && std::isfinite(v[3]);
            }
            const std::uint32_t* colors = f.chance(50) ? b->colors.data() : nullptr;
            const float* uv = f.chance(50) ? b->uv.data() : nullptr;
            const int status =
                indexed ? kwr_triangles_clip_indexed(ctx, static_cast<int>(3 * n), b->xyzw.data(), colors, uv,
                                                     static_cast<int>(n), b->indices.data())
                        : kwr_triangles_clip(ctx, static_cast<int>(n), b->xyzw.data(), colors, uv);
            EXPECT_EQ(status == KWR_OK, finite);
            break;
        }
        default:
            // A colour before each triangle, and calls drawing in the
            // current colour between them: every thread follows the colour,
            // whichever threads draw the triangle.
            for (std::size_t t = 0; t < n; ++t) {
                kwr_set_color(ctx, b->colors[3 * t]);
                const float* p = b->xyz.data() + 9 * t;
                if (f.chance(50))
                    kwr_trianglef(ctx, p[0], p[1], p[3], p[4], p[6], p[7]);
                else
                    kwr_triangle3f(ctx, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
                if (f.chance(20)) kwr_put(ctx, f.pick(kWidth), f.pick(kHeight));
                if (f.chance(5)) kwr_box(ctx, f.pick(kWidth), f.pick(kHeight), f.pick(kWidth), f.pick(kHeight));
            }
            break;
        }
        if (scribbling) {
            std::fill(b->xy.begin(), b->xy.end(), 20.0f);
            std::fill(b->xyz.begin(), b->xyz.end(), 20.0f);
            std::fill(b->uv.begin(), b->uv.end(), 0.0f);
            std::fill(b->xyzw.begin(), b->xyzw.end(), 0.5f);
            std::fill(b->indices.begin(), b->indices.end(), 0u);
            std::fill(b->colors.begin(), b->colors.end(), 0xFFFFFFFFu);
            b.reset();
        }
    }
    Frame out = capture(ctx->r, "batch" + std::to_string(threads));
    kwr_destroy(ctx);
    return out;
}

TEST(Threads, BatchesRecordedWholeDrawTheOneCoreBytesWhateverTheHostDoesAfter) {
    for (int bpp : {8, 16, 24, 32}) {
        const std::uint32_t seed = 0xBA7Cu + static_cast<std::uint32_t>(bpp);
        const Frame one = drawBatches(bpp, seed, 1, 64, false);
        for (int threads : {2, 3, 7}) {
            for (int band : {1, 2, 64}) {
                for (bool scribbling : {false, true}) {
                    const Frame many = drawBatches(bpp, seed, threads, band, scribbling);
                    const auto what = std::to_string(bpp) + " bpp, " + std::to_string(threads) + " threads, bands of " +
                                      std::to_string(band) + (scribbling ? ", host scribbling" : "");
                    EXPECT_TRUE(many.surface == one.surface) << what;
                    EXPECT_TRUE(many.depth == one.depth) << what;
                }
            }
        }
    }
}

// A host that follows the rule for bound memory: it switches textures, alpha
// maps and external depth buffers and releases the old ones after a flush
// (or after kwrSetExternalZBuffer, which flushes), changes the surface's size
// and depth between frames, and releases bitmap and blit sources as soon as
// their calls return.  Under the sanitizers nothing released is read, and
// every thread count leaves the bytes of one thread.
Frame drawReleasingHost(std::uint32_t seed, int threads) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetThreads(threads), threads);
    Fuzzer f{std::mt19937(seed)};
    HostBuffers h;
    std::unique_ptr<std::vector<float>> depth;
    int w = 1, ht = 1;
    for (int step = 0; step < 40; ++step) {
        switch (f.pick(5)) {
        case 0: {
            const int bpps[] = {8, 16, 24, 32};
            r->kwrSetRenderBpp(bpps[f.pick(4)]);
            w = 1 + f.pick(70);
            ht = 1 + f.pick(50);
            r->kwrZBufferEnable(f.pick(3) != 0);
            if (depth) {
                // A bound buffer of the new size; the old one goes once
                // kwrSetExternalZBuffer (which flushes) has returned.
                auto next = std::make_unique<std::vector<float>>(static_cast<std::size_t>(w) * ht, 0.75f);
                r->kwrSetExternalZBuffer(next->data());
                depth = std::move(next);
            }
            EXPECT_EQ(r->kwrInitBuffer(w, ht), 1);
            r->kwrSetColor(f.anyColor());
            r->kwrClear();
            break;
        }
        case 1: {
            // A new external depth buffer, or back to an own one; the old
            // one is released at once.
            auto next = f.chance(70) ? std::make_unique<std::vector<float>>(static_cast<std::size_t>(w) * ht, 0.5f)
                                     : nullptr;
            r->kwrSetExternalZBuffer(next ? next->data() : nullptr);
            depth = std::move(next);
            break;
        }
        case 2: kwr_test::bindRandomMaps(*r, f, h); break;
        default:
            for (int i = 0; i < 60; ++i) kwr_test::randomCall(*r, f, h, w, ht);
            break;
        }
    }
    EXPECT_TRUE(h.intact());
    Frame out = capture(*r, "host" + std::to_string(threads));
    r.reset();
    return out;
}

TEST(Threads, HostsReleasingMemoryAsTheRuleAllowsGetTheOneCoreBytes) {
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
        const Frame one = drawReleasingHost(seed, 1);
        for (int threads : {2, 3, 7}) {
            const Frame many = drawReleasingHost(seed, threads);
            EXPECT_TRUE(many.surface == one.surface) << "seed " << seed << ", " << threads << " threads";
            EXPECT_TRUE(many.depth == one.depth) << "seed " << seed << ", " << threads << " threads";
            EXPECT_TRUE(many.file == one.file) << "seed " << seed << ", " << threads << " threads";
        }
    }
}

// Bytes no call writes (the padding of 24 bpp rows, pixels and depths never
// drawn or cleared) are the same whatever the heap held before, so that they
// cannot differ with the allocation history of a thread count.
void* volatile gEscaped = nullptr;

TEST(Threads, NewSurfacesAndDepthBuffersStartZeroedWhateverTheHeapHeld) {
    for (int bpp : {8, 16, 24, 32}) {
        const std::size_t pitch = (static_cast<std::size_t>(kWidth) * bpp + 31) / 32 * 4, bytes = pitch * kHeight;
        for (std::size_t size : {bytes, std::size_t{kWidth} * kHeight * sizeof(float)}) {
            // Released just before the surface is made; the pointer escapes,
            // so the compiler keeps the block and its contents.
            std::vector<unsigned char> used(size, 0xAB);
            gEscaped = used.data();
        }
        KWRRender r;
        ASSERT_EQ(r.kwrSetRenderBpp(bpp), 1);
        ASSERT_EQ(r.kwrInitBuffer(kWidth, kHeight), 1);
        void* pixels = nullptr;
        ASSERT_EQ(r.kwrGetDib(nullptr, &pixels), 1);
        const auto* p = static_cast<const unsigned char*>(pixels);
        EXPECT_EQ(std::count(p, p + bytes, 0), static_cast<std::ptrdiff_t>(bytes)) << bpp << " bpp";
        const float* z = r.kwrGetZBuffer();
        ASSERT_NE(z, nullptr);
        EXPECT_EQ(std::count(z, z + kWidth * kHeight, 0.0f), kWidth * kHeight) << bpp << " bpp";
    }
}

TEST(Threads, BandsDealRowsByTheirOwnerAndRunsJoinNeighbours) {
    // Bands of four rows dealt in a cycle of five: thread 1 owns bands 1, 2,
    // 4, 6 and 7.
    const std::uint64_t owner[] = {1, 2, 2, 4, 2, 1, 2, 2, 4};
    kwr::RenderState s{};
    s.bandShift = 2;
    s.bandCount = 3;
    s.bandIndex = 1;
    s.bandThreads = owner;
    std::vector<std::pair<int, int>> runs;
    kwr::forOwnedRows(s, 2, 31, [&](int a, int b) { runs.emplace_back(a, b); });
    EXPECT_EQ(runs, (std::vector<std::pair<int, int>>{{4, 11}, {16, 19}, {24, 31}}));
    for (int index = 0; index < 3; ++index) {
        s.bandIndex = index;
        for (int first = 0; first < 36; ++first) {
            for (int last = first - 1; last < 36; ++last) {
                // Every run, and the range from the first to the last, as
                // the rows owned one by one give them.
                std::vector<std::pair<int, int>> want, got;
                int lo = last + 1, hi = last;
                for (int y = first; y <= last; ++y) {
                    if (!kwr::ownsRow(s, y)) continue;
                    if (!want.empty() && want.back().second == y - 1) want.back().second = y;
                    else want.emplace_back(y, y);
                    lo = lo > last ? y : lo;
                    hi = y;
                }
                kwr::forOwnedRows(s, first, last, [&](int a, int b) { got.emplace_back(a, b); });
                EXPECT_EQ(got, want) << index << ": " << first << ".." << last;
                const kwr::RowRange owned = kwr::ownedRows(s, kwr::RowRange{first, last});
                EXPECT_TRUE(owned.first == lo && owned.last == hi) << index << ": " << first << ".." << last;
            }
        }
    }
}

// A recorded triangle goes to the threads of every row it may touch (from
// a row above its top to a row below its bottom, on the surface), for any
// corners, whatever the bands; a NaN corner sends it to all of them.
TEST(Threads, TrianglesGoToEveryThreadOwningTheirRows) {
    for (int rows : {1, 47, 300}) {
        KWRRender r;
        ASSERT_EQ(r.kwrInitBuffer(9, rows), 1);
        ASSERT_EQ(r.kwrSetThreads(3), 3);
        kwr::ThreadPool* const pool = kwr::Access::state(r).pool;
        Fuzzer f{std::mt19937(static_cast<std::uint32_t>(rows))};
        std::uniform_real_distribution<double> near(-8.0, rows + 8.0), reach(0.0, 40.0);
        for (int band : {1, 2, 16}) {
            for (int callerBands : {0, 2}) {
                pool->setBandHeight(band);
                pool->setCallerBands(callerBands);
                for (int i = 0; i < 3000; ++i) {
                    double y[3];
                    y[0] = near(f.rng);
                    for (int k = 1; k < 3; ++k) y[k] = y[0] + (reach(f.rng) - 20.0) * (f.chance(10) ? 30.0 : 0.2);
                    // Now and then a hostile corner.
                    if (f.chance(8)) y[f.pick(3)] = f.anyFloat(static_cast<float>(rows));
                    const std::uint64_t mask = pool->threadsForTriangle(y[0], y[1], y[2], rows);
                    if (std::isnan(y[0]) || std::isnan(y[1]) || std::isnan(y[2])) {
                        EXPECT_EQ(mask, kwr::kAllThreads);
                        continue;
                    }
                    const double top = std::min({y[0], y[1], y[2]}), bottom = std::max({y[0], y[1], y[2]});
                    const double first = std::max(0.0, std::floor(top) - 1);
                    const double last = std::min(rows - 1.0, std::ceil(bottom) + 1);
                    for (double row = first; row <= last; ++row) {
                        const std::uint64_t owner = pool->rowThreads(static_cast<int>(row));
                        ASSERT_EQ(mask & owner, owner) << y[0] << ", " << y[1] << ", " << y[2] << ": row " << row
                                                       << ", bands of " << band;
                    }
                }
            }
        }
    }
}

TEST(Threads, CountsAreClampedAndRepeatedChangesAreClean) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrGetThreads(), 1);
    ASSERT_EQ(r->kwrInitBuffer(16, 16), 1);
    // 0 asks for one thread per core, at most 64.
    const unsigned hw = std::thread::hardware_concurrency();
    const int cores = hw == 0 ? 1 : (hw > 64 ? 64 : static_cast<int>(hw));
    const int requests[] = {3, 0, -5, 1, 1000000, 2, 2, -2147483647 - 1, 7};
    const int expected[] = {3, cores, 1, 1, 64, 2, 2, 1, 7};
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

// A list many times the ring's size, recorded while the threads replay it:
// state, textures and depth buffers change all through it, and copied blit
// sources of many sizes close chunks at every kind of place.  The frame is
// the one thread's whichever rows the caller keeps; a context destroyed with
// records left draws them or drops them cleanly.
struct LongList {
    std::vector<std::vector<unsigned char>> textures;
    std::unique_ptr<std::vector<float>> depth;
};

void drawLongList(KWRRender& r, LongList& l, int size, bool replaceBuffers) {
    std::mt19937 rng(7);
    for (int t = 0; t < 5; ++t) {
        std::vector<unsigned char> texels(4 * (t + 2) * (t + 3));
        for (auto& v : texels) v = static_cast<unsigned char>(rng());
        l.textures.push_back(std::move(texels));
    }
    const float edge = static_cast<float>(size - 1);
    for (int i = 0; i < 30000; ++i) {
        if (i % 97 == 0) {
            const int t = i / 97 % 5;
            r.kwrSetTexture(l.textures[static_cast<std::size_t>(t)].data(), t + 3, t + 2, 4 * (t + 3));
            r.kwrSetTextureFilter(i / 97 % 2);
        }
        if (i % 131 == 0) r.kwrZTestEnable(i / 131 % 3 != 0);
        if (i % 211 == 0) r.kwrAlphaEnable(i / 211 % 2);
        if (replaceBuffers && i % 7001 == 0) {
            auto next = std::make_unique<std::vector<float>>(static_cast<std::size_t>(size) * size, 0.6f);
            r.kwrSetExternalZBuffer(next->data());
            l.depth = std::move(next);
        }
        if (i % 613 == 0) {
            // A source of up to 64 KB, gone as soon as the call returns.
            const int w = 1 + static_cast<int>(rng() % 128), h = 1 + static_cast<int>(rng() % 128);
            std::vector<unsigned char> src(static_cast<std::size_t>(w) * h * 4);
            for (auto& v : src) v = static_cast<unsigned char>(rng());
            r.kwrImage2D(i % size, i / 3 % size, i % size + 9, i / 3 % size + 5, w, h, 32, src.data());
            std::fill(src.begin(), src.end(), 0xEE);
        }
        r.kwrSetColor(0xFF000000u | static_cast<unsigned>(i * 2654435761u >> 8));
        const float y = static_cast<float>(i % size), x = static_cast<float>(i * 7 % size);
        if (i % 2 == 0)
            r.kwrTriangle3cf(0, 0, 0.5f, 0xFFFF0000, edge, y, 0.25f * (i % 4), 0xFF00FF00, x, edge, 0.5f, 0x80FF00FF);
        else
            r.kwrTriangle3ctf(x, y, 0.3f, 0xFFFFFFFF, 0.1f, 0.2f, x + 6, y + 1, 0.4f, 0xFF8080FF, 2.5f, 0.1f, x + 2,
                              y + 7, 0.2f, 0xC0FFFFFF, 1.0f, 3.5f);
        if (i % 7 == 0) r.kwrBox3(i % 60, i % 50, i % 60 + 4, i % 50 + 9, 0.3f);
    }
}

TEST(Threads, ListsLongerThanTheRingDrawTheOneCoreBytesAndDestroyCleanly) {
    constexpr int kSize = 64;
    // The caller owning some rows, none, or as many as it finds best (one
    // thread: the frame to match).
    const std::pair<int, int> runs[] = {{1, -1}, {2, 1}, {3, 0}, {7, -1}};
    for (bool replaceBuffers : {false, true}) {
        Frame one;
        for (auto [threads, callerBands] : runs) {
            LongList l;  // outlives the context
            auto r = std::make_unique<KWRRender>();
            ASSERT_EQ(r->kwrSetRenderBpp(32), 1);
            ASSERT_EQ(r->kwrInitBuffer(kSize, kSize), 1);
            ASSERT_EQ(r->kwrSetThreads(threads), threads);
            kwr::ThreadPool* const pool = kwr::Access::state(*r).pool;
            if (pool != nullptr) {
                pool->setBandHeight(threads == 2 ? 2 : 8);
                pool->setCallerBands(callerBands);
            }
            drawLongList(*r, l, kSize, replaceBuffers);
            // Without replaced buffers (which flush) the whole list is in
            // one go: the ring went round more than once.
            if (pool != nullptr && !replaceBuffers) {
                EXPECT_GT(pool->recordedBytes(), 2 * kwr::kRingBytes);
            }
            const Frame f = capture(*r, "long" + std::to_string(threads));
            if (threads == 1) {
                one = f;
                continue;
            }
            const auto what = std::to_string(threads) + " threads, caller's bands " + std::to_string(callerBands) +
                              (replaceBuffers ? ", buffers replaced" : "");
            EXPECT_TRUE(f.surface == one.surface) << what;
            EXPECT_TRUE(f.depth == one.depth) << what;
        }
    }
    for (bool destroyFirst : {true, false}) {
        LongList l;
        auto r = std::make_unique<KWRRender>();
        ASSERT_EQ(r->kwrInitBuffer(64, 64), 1);
        ASSERT_EQ(r->kwrSetThreads(3), 3);
        drawLongList(*r, l, 64, false);
        if (destroyFirst) r->kwrDestroy();  // else the destructor draws the rest
    }
}

// KWRENDER_THREADS gives a new context its count: a number, 0 for one per
// core, clamped to 1..64; anything unreadable means one thread.
void setThreadsVariable(const char* value) {
#if defined(_WIN32)
    _putenv_s("KWRENDER_THREADS", value);
#else
    setenv("KWRENDER_THREADS", value, 1);
#endif
}

TEST(Threads, EnvironmentSetsTheStartingCount) {
    const char* before = std::getenv("KWRENDER_THREADS");
    const std::string saved = before != nullptr ? before : "";
    const struct {
        const char* value;
        int threads;
    } cases[] = {{"3", 3}, {"1", 1}, {"1000", 64}, {"abc", 1}, {"2x", 1}, {"-4", 1}, {"", 1}};
    for (const auto& c : cases) {
        setThreadsVariable(c.value);
        KWRRender r;
        EXPECT_EQ(r.kwrGetThreads(), c.threads) << '"' << c.value << '"';
        ASSERT_EQ(r.kwrInitBuffer(8, 8), 1);  // the threads start here
        EXPECT_EQ(r.kwrGetThreads(), c.threads) << '"' << c.value << '"';
    }
    setThreadsVariable(saved.c_str());
}


// A drawing call or state setter that forgot to record itself would draw on
// the caller's thread ahead of what is recorded: every one of the table of
// calls whose arguments are random by name adds to the list.  (The calls left
// to hand-written helpers run in the scenes above.)
TEST(Threads, EveryRecordedCallOfTheTableRecordsItself) {
    KWRRender r;
    ASSERT_EQ(r.kwrInitBuffer(32, 32), 1);
    ASSERT_EQ(r.kwrSetThreads(2), 2);
    const kwr::ThreadPool* pool = kwr::Access::state(r).pool;
    ASSERT_NE(pool, nullptr);
    // Corners spread over the surface, so that no triangle is degenerate.
    const int spots[] = {3, 27, 8, 14, 29, 5, 20, 11, 24};
    int next = 0;
    auto I = [&] { return spots[next++ % 9]; };
    auto J = I;
    auto X = [&] { return static_cast<float>(I()) + 0.25f; };
    auto Y = X;
    auto Z = [] { return 0.5f; };
    auto C = [] { return 0xFF336699ul; };
    auto U = [] { return 0.5f; };
    auto E = [] { return 1; };
    auto M = [] { return 0; };
    int checked = 0;
#define KWR_AUTO(index, member, ...)                                 \
    {                                                                \
        r.kwrFlush();                                                \
        const std::size_t before = pool->recordedBytes();            \
        r.member(__VA_ARGS__);                                       \
        EXPECT_GT(pool->recordedBytes(), before) << #member;         \
        ++checked;                                                   \
    }
#define KWR_HELPER(index, member, helper)
    KWR_TABLE_FUZZED(KWR_AUTO, KWR_HELPER)
#undef KWR_AUTO
#undef KWR_HELPER
    EXPECT_GT(checked, 40);
}

}  // namespace
