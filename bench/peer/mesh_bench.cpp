// kwrender against Mesa's llvmpipe, on one thread or several, on real models: the
// screen-space triangles of a mesh read at run time (mesh.h), drawn by both
// in every mode of the peer benchmark, 1024x768, 32 bpp.  Triangles per
// second per peer and mode, the ratio, and how close the pictures are.
//
//   kwrender_mesh_bench [--quick] [--out FILE.md] [--label TEXT] [--modes m1,m2] [--threads N]
//                       [MODEL.obj|MODEL.3ds ...]
//
// Without models it draws the bunny and the horse of Debian's glmark2-data
// (/usr/share/glmark2/models); a model that cannot be read is skipped with a
// note, and the program still succeeds.  Both peers live in this process and
// take turns in rounds; each is timed in processor time (llvmpipe with
// LP_NUM_THREADS=0 rasterises on the calling thread), the clear is not timed,
// the best frame counts, less the peer's fixed cost of a frame (one triangle).
// With --threads N (0: one per core) both draw with N threads and are timed
// on the wall clock.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "measure.h"
#include "mesh.h"
#include "peer.h"

namespace peerbench {
namespace {

const char* const kDefaultModels[] = {"/usr/share/glmark2/models/bunny.obj", "/usr/share/glmark2/models/horse.3ds"};

struct Options : CommonOptions {
    std::vector<std::string> models;
    int threads = 1;  // both peers' thread count; 0: one per core
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (parseCommon(argc, argv, i, o)) {
            continue;
        } else if (a == "--threads" && i + 1 < argc) {
            o.threads = std::atoi(argv[++i]);
            if (o.threads < 0) o.threads = 0;
        } else if (!a.empty() && a[0] != '-') {
            o.models.push_back(a);
        } else {
            std::fprintf(stderr,
                         "usage: %s [--quick] [--out FILE.md] [--label TEXT] [--modes flat,flat-depth,gouraud,"
                         "gouraud-depth,textured,textured-depth,blended-flat,blended-gouraud] [--threads N] "
                         "[MODEL ...]\n",
                         argv[0]);
            std::exit(2);
        }
    }
    if (o.models.empty()) o.models.assign(std::begin(kDefaultModels), std::end(kDefaultModels));
    return o;
}

struct Column {
    std::string title;
    std::unique_ptr<Peer> peer;
};

struct Cell {
    double seconds[2] = {0, 0};  // best frame of kwrender and of llvmpipe, less the fixed cost
    Difference difference;
};

class MeshBenchmark {
public:
    explicit MeshBenchmark(const Options& o) : opt_(o), texture_(makeTexture()) {
        const std::string kwrTitle = "kwrender 32 bpp" + (o.threads == 1 ? std::string() : "," + threadsNote());
        columns_.push_back({kwrTitle, makeKwrenderPeer(32, texture_, o.threads)});
#ifdef KWR_PEER_OSMESA
        // llvmpipe reads its thread count when the first context is made;
        // 0 rasterises on the calling thread, unset one thread per core.
        if (o.threads == 1)
            setenv("LP_NUM_THREADS", "0", 1);
        else if (o.threads > 1)
            setenv("LP_NUM_THREADS", std::to_string(o.threads).c_str(), 1);
        else
            unsetenv("LP_NUM_THREADS");
        columns_.push_back({"llvmpipe" + threadsNote(), makeOsmesaPeer(texture_)});
#endif
        for (Mode m : kModes)
            if (selected(opt_.modes, modeKey(m))) modes_.push_back(m);
    }

    std::string run() {
        std::string md = "# Real models: kwrender against llvmpipe " +
                         (opt_.threads == 1 ? std::string("on one thread") : "with" + threadsNote()) + "\n\n" + runLine();
        if (!opt_.label.empty()) md += "kwrender " + opt_.label + ". ";
        md += "Frame " + std::to_string(kWidth) + "×" + std::to_string(kHeight) + ", 32 bpp. " +
              (opt_.quick ? "Quick run (`--quick`). " : "") + "\n\nPeers:\n";
        for (const Column& c : columns_) md += "- " + c.title + ": " + c.peer->describe() + "\n";
        if (columns_.size() < 2) md += "- llvmpipe: not built (OSMesa's development files were not found), left out.\n";
        md += "\nEach model is seen from the front by a fixed perspective camera and fits in 75% of the frame's width "
              "and height; every face is drawn, in file order, facing either way. Colours are a diffuse light on the vertex normals "
              "(alpha 0x40..0xC0 when blended), texture coordinates one texel per pixel, depth the distance from the "
              "camera in 0.05..0.95. Cells: **Mtri/s** · ns per triangle. The best frame counts, less the peer's "
              "fixed cost of a frame; both peers are timed in " + std::string(wallClock() ? "wall-clock" : "processor") +
              " time, taking turns in rounds; the clear is not timed. Picture difference: llvmpipe's frame against kwrender's, mean difference of the blue, "
              "green and red bytes in levels · share of pixels off by more than 16 levels.\n\n";
        std::string summary;
        for (const std::string& path : opt_.models) {
            Mesh mesh;
            std::string error;
            if (!loadMesh(path, mesh, error)) {
                std::fprintf(stderr, "skipped: %s\n", error.c_str());
                md += "Skipped " + path + ": " + error + " (Debian's glmark2-data provides the default models).\n\n";
                continue;
            }
            md += meshTable(mesh, summary);
        }
        if (!summary.empty() && columns_.size() > 1) {
            md += "## Summary: kwrender 32 bpp ÷ llvmpipe" + threadsNote() + " (triangles per second)\n\n| model |";
            std::string rule = "|---|";
            for (Mode m : modes_) md += std::string(" ") + modeName(m) + " |", rule += "---|";
            md += "\n" + rule + "\n" + summary + "\n";
        }
        return md;
    }

private:
    // Several threads are timed on the wall clock, one in processor time.
    bool wallClock() const { return opt_.threads != 1; }
    std::string threadsNote() const {
        if (opt_.threads == 1) return " 1 thread";
        return opt_.threads == 0 ? " one thread per core" : " " + std::to_string(opt_.threads) + " threads";
    }

    std::string meshTable(const Mesh& mesh, std::string& summary) {
        const double budget = opt_.quick ? 0.15 : 0.9;  // seconds of timed frames per peer and cell
        const int rounds = opt_.quick ? 2 : 3;
        std::string rows, ratios;
        TriangleSet set;
        for (Mode m : modes_) {
            set = projectMesh(mesh, m);
            const std::size_t n = set.triangles();
            Cell cell;
            std::vector<std::vector<std::uint8_t>> frames(columns_.size(), std::vector<std::uint8_t>(kFrameBytes));
            std::vector<double> fixedCost(columns_.size(), 0);
            for (std::size_t p = 0; p < columns_.size(); ++p) {
                Peer& peer = *columns_[p].peer;
                peer.prepare(m, set);
                peer.clear();
                peer.draw(n);  // warms caches and compiles what the peer compiles
                peer.readFrame(frames[p].data());
                fixedCost[p] = bestFrame(!wallClock(), budget / 8, [&] { peer.clear(); }, [&] { peer.draw(1); });
            }
            for (int r = 0; r < rounds; ++r)
                for (std::size_t p = 0; p < columns_.size(); ++p) {
                    Peer& peer = *columns_[p].peer;
                    const double t = std::max(1e-9, bestFrame(!wallClock(), budget / rounds, [&] { peer.clear(); },
                                                              [&] { peer.draw(n); }) - fixedCost[p]);
                    cell.seconds[p] = cell.seconds[p] > 0 ? std::min(cell.seconds[p], t) : t;
                }
            const auto rate = [&](std::size_t p) { return double(n) / cell.seconds[p] / 1e6; };
            const auto entry = [&](std::size_t p) {
                return "**" + short3(rate(p)) + "** · " + short3(cell.seconds[p] / double(n) * 1e9);
            };
            rows += std::string("| ") + modeName(m) + " | " + entry(0) + " |";
            std::fprintf(stderr, "%-8s %-16s kwrender %7.2f Mtri/s", mesh.name.c_str(), modeName(m), rate(0));
            if (columns_.size() > 1) {
                cell.difference = compare(frames[0].data(), frames[1].data());
                const double ratio = rate(0) / rate(1);
                rows += " " + entry(1) + " | " + short3(ratio) + "× | " + fixed(cell.difference.meanLevels, 2) +
                        " · " + fixed(100 * cell.difference.farShare, 1) + "% |";
                ratios += " " + short3(ratio) + "× |";
                std::fprintf(stderr, "  llvmpipe %7.2f Mtri/s  %.2fx", rate(1), ratio);
            }
            rows += "\n";
            std::fprintf(stderr, "\n");
        }
        summary += "| " + mesh.name + " (" + short3(set.nominalPixels) + " px) |" + ratios + "\n";
        std::string s = "## " + mesh.name + "\n\n" + fixed(double(set.triangles()), 0) +
                        " triangles; area per triangle in pixels: average " + short3(set.nominalPixels) +
                        ", median " + short3(medianArea(set)) + "; all triangles together cover " +
                        short3(set.coveredPixels / (double(kWidth) * kHeight)) + " frames.\n\n";
        if (columns_.size() > 1) {
            s += "| mode | " + columns_[0].title + " | " + columns_[1].title +
                 " | kwrender ÷ llvmpipe | picture difference |\n"
                 "|---|---|---|---|---|\n";
        } else {
            s += "| mode | " + columns_[0].title + " |\n|---|---|\n";
        }
        return s + rows + "\n";
    }

    Options opt_;
    Texture texture_;
    std::vector<Column> columns_;
    std::vector<Mode> modes_;
};

}  // namespace
}  // namespace peerbench

int main(int argc, char** argv) {
    using namespace peerbench;
    const Options opt = parse(argc, argv);
    std::string md;
    try {
        MeshBenchmark bench(opt);
        md = bench.run();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "mesh benchmark: %s\n", e.what());
        return 1;
    }
    std::fputs(md.c_str(), stdout);
    if (!opt.out.empty()) {
        std::ofstream out(opt.out);
        out << md;
        if (!out) {
            std::fprintf(stderr, "mesh benchmark: cannot write %s\n", opt.out.c_str());
            return 1;
        }
        std::fprintf(stderr, "wrote %s\n", opt.out.c_str());
    }
    return 0;
}
