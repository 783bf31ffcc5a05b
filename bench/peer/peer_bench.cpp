// Sets kwrender against general CPU rasterisers on the same seeded triangle
// sets, in one run: Mpix/s and Mtri/s per peer, mode and triangle size, each
// also as a ratio to the best single-thread peer and to memset of the frame.
//
// Every peer runs each mode in a child process of its own, so that llvmpipe
// reads its thread count from a fresh environment and a peer that fails
// cannot take the others down; the peers take turns cell by cell, in rounds.
// Clearing is not timed; the timed part of a frame ends when the peer's
// pixels are all in memory.  The best frame of an adaptive number of
// repetitions counts, less the peer's fixed cost of a frame (measured with
// one small triangle).
//
//   kwrender_peer_bench [--quick] [--out FILE] [--readme FILE] [--peers k1,k2] [--modes m1,m2]
//                       [--sizes 8,50,500,20000,full]
//
// --readme replaces what lies between the lines <!-- peer-bench:begin -->
// and <!-- peer-bench:end --> of FILE with a summary of the run.
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "measure.h"
#include "peer.h"

namespace peerbench {

namespace {

constexpr int kSetCount = 5;   // 8, 50, 500, 20,000 px and full screen
constexpr int kCheckSet = 2;   // the set whose pictures are compared

enum class Kind { Kwrender, Llvmpipe, Sdl };

struct PeerConfig {
    const char* key;    // for --peers
    std::string title;  // column heading
    Kind kind;
    int bpp;                // kwrender's format
    const char* lpThreads;  // llvmpipe: LP_NUM_THREADS, or null for its default
    int threads;            // kwrender: kwrSetThreads (0: one per core)
    bool singleThread;
    bool available;
};

// What a child hands back, in memory it shares with the parent.
struct Report {
    enum State { Failed, Measured, Unsupported } state;
    char text[512];  // why unsupported, or what failed
    char describe[256];
    char how[512];
    double seconds[kSetCount];  // best frame time, less the fixed cost
    double fixedCost;
    int hasFrame;
    std::uint8_t frame[kFrameBytes];
};

struct Result {
    Report::State state = Report::Failed;
    std::string text, how;
    double seconds[kSetCount] = {};
    double fixedCost = 0;
};

struct Options : CommonOptions {
    std::string readme;                     // a file whose marked section takes the summary
    std::vector<std::string> peers, sizes;  // empty: all
    int threads = 0;                        // kwr-mt's thread count (0: one per core)
};

void copyText(char* to, std::size_t size, const std::string& from) {
    std::snprintf(to, size, "%s", from.c_str());
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

std::unique_ptr<Peer> makePeer(const PeerConfig& config, const Texture& texture) {
    switch (config.kind) {
    case Kind::Kwrender: return makeKwrenderPeer(config.bpp, texture, config.threads);
#ifdef KWR_PEER_OSMESA
    case Kind::Llvmpipe:
        // llvmpipe reads its thread count when the first context is made.
        if (config.lpThreads)
            setenv("LP_NUM_THREADS", config.lpThreads, 1);
        else
            unsetenv("LP_NUM_THREADS");
        return makeOsmesaPeer(texture);
#endif
#ifdef KWR_PEER_SDL
    case Kind::Sdl: return makeSdlPeer(texture);
#endif
    default: throw std::runtime_error("peer not built");
    }
}

// A peer living in a child process for one mode.  The parent hands it one
// command at a time through a pipe and waits for the answer byte; results
// land in the Report it shares with the parent.  The peers of a mode take
// turns cell by cell, in several rounds, so that a passing load on the
// machine falls on all of them alike.
class ChildPeer {
public:
    enum Op : char { Start, Measure, Quit };
    struct Command {
        Op op;
        int set;
        double budget;
    };

    ChildPeer(const PeerConfig& config, Mode m, const std::vector<TriangleSet>& sets, const Texture& texture,
              Report& report)
        : report_(report) {
        std::memset(static_cast<void*>(&report_), 0, offsetof(Report, frame));
        int toChild[2], toParent[2];
        if (pipe(toChild) != 0 || pipe(toParent) != 0) throw std::runtime_error("no pipe for a child process");
        std::fflush(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            close(toChild[1]);
            close(toParent[0]);
            serve(config, m, sets, texture, report_, toChild[0], toParent[1]);
            std::fflush(nullptr);
            _exit(0);
        }
        close(toChild[0]);
        close(toParent[1]);
        commands_ = toChild[1];
        answers_ = toParent[0];
        if (pid_ < 0) fail("could not start a process for the peer");
    }

    ~ChildPeer() {
        if (pid_ > 0) {
            send({Quit, 0, 0});
            int status = 0;
            waitpid(pid_, &status, 0);
        }
        close(commands_);
        close(answers_);
    }

    // Runs a command; false when the peer has failed (now or before).
    bool send(Command c) {
        if (alive_) {
            char answer = 0;
            alive_ = write(commands_, &c, sizeof c) == ssize_t(sizeof c) && read(answers_, &answer, 1) == 1;
            if (!alive_ && c.op != Quit) fail("the peer's process ended abnormally");
        }
        return alive_ && report_.state == Report::Measured;
    }

private:
    void fail(const char* why) {
        alive_ = false;
        report_.state = Report::Failed;
        copyText(report_.text, sizeof report_.text, why);
    }

    // The child's side: the shared Report lies at the same address here.
    static void serve(const PeerConfig& config, Mode m, const std::vector<TriangleSet>& sets, const Texture& texture,
                      Report& out, int commands, int answers) {
        std::unique_ptr<Peer> peer;
        int prepared = -1;
        Command c{};
        while (read(commands, &c, sizeof c) == ssize_t(sizeof c) && c.op != Quit) {
            try {
                if (c.op == Start) {
                    peer = makePeer(config, texture);
                    start(*peer, config.singleThread, m, sets, c.budget, out);
                } else if (out.state == Report::Measured) {
                    const std::size_t n = sets[c.set].triangles();
                    const auto clear = [&] { peer->clear(); };
                    if (prepared != c.set) {
                        prepared = c.set;
                        peer->prepare(m, sets[c.set]);
                        peer->clear();
                        peer->draw(n);  // warms caches and compiles what the peer compiles
                        if (c.set == kCheckSet) out.hasFrame = peer->readFrame(out.frame) ? 1 : 0;
                    }
                    const double t = std::max(1e-9, bestFrame(config.singleThread, c.budget, clear, [&] { peer->draw(n); }) - out.fixedCost);
                    double& best = out.seconds[c.set];
                    best = best > 0 ? std::min(best, t) : t;
                }
            } catch (const std::exception& e) {
                copyText(out.text, sizeof out.text, e.what());
                out.state = Report::Failed;
            }
            const char done = 1;
            if (write(answers, &done, 1) != 1) break;
        }
    }

    // Describes the peer and measures its fixed cost of a frame: one small
    // triangle, cleared and drawn.
    static void start(Peer& peer, bool processorTime, Mode m, const std::vector<TriangleSet>& sets, double budget,
                      Report& out) {
        copyText(out.describe, sizeof out.describe, peer.describe());
        copyText(out.how, sizeof out.how, peer.howDrawn(m));
        const std::string why = peer.unsupported(m);
        if (!why.empty()) {
            copyText(out.text, sizeof out.text, why);
            out.state = Report::Unsupported;
            return;
        }
        peer.prepare(m, sets[0]);
        peer.clear();
        peer.draw(1);
        out.fixedCost = bestFrame(processorTime, budget, [&] { peer.clear(); }, [&] { peer.draw(1); });
        out.state = Report::Measured;
    }

    Report& report_;
    pid_t pid_ = -1;
    int commands_ = -1, answers_ = -1;
    bool alive_ = true;
};

double memsetSeconds(double budget) {
    std::vector<std::uint8_t> frame(kFrameBytes);
    // Called through a volatile pointer so that the stores cannot be dropped.
    void* (*volatile fill)(void*, int, std::size_t) = std::memset;
    int value = 0;
    return bestFrame(true, budget, [] {}, [&] { fill(frame.data(), ++value & 0xFF, frame.size()); });
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (parseCommon(argc, argv, i, o)) {
            continue;
        } else if (a == "--readme" && hasValue) {
            o.readme = argv[++i];
        } else if (a == "--peers" && hasValue) {
            o.peers = splitList(argv[++i]);
        } else if (a == "--threads" && hasValue) {
            o.threads = std::atoi(argv[++i]);
        } else if (a == "--sizes" && hasValue) {
            o.sizes = splitList(argv[++i]);
        } else {
            std::fprintf(stderr,
                         "usage: %s [--quick] [--out FILE.md] [--readme README.md] [--label TEXT] [--peers kwr32,kwr-mt,kwr24,kwr16,kwr8,llvmpipe1,llvmpipe,sdl]\n"
                         "          [--modes flat,flat-depth,gouraud,gouraud-depth,textured,textured-depth,"
                         "blended-flat,blended-gouraud] [--sizes 8,50,500,20000,full] [--threads N]\n",
                         argv[0]);
            std::exit(2);
        }
    }
    return o;
}

// Replaces the lines between the two markers in `path` with `text`.
bool replaceSection(const std::string& path, const std::string& text) {
    std::ifstream in(path);
    std::stringstream all;
    all << in.rdbuf();
    std::string doc = all.str();
    const std::string begin = "<!-- peer-bench:begin -->\n", end = "<!-- peer-bench:end -->";
    const auto b = doc.find(begin), e = doc.find(end);
    if (!in || b == std::string::npos || e == std::string::npos || e < b) return false;
    doc.replace(b + begin.size(), e - b - begin.size(), "\n" + text + "\n");
    std::ofstream out(path);
    out << doc;
    return bool(out);
}

class Benchmark {
public:
    explicit Benchmark(const Options& o) : opt_(o) {
#ifdef KWR_PEER_OSMESA
        const bool osmesa = true;
#else
        const bool osmesa = false;
#endif
#ifdef KWR_PEER_SDL
        const bool sdl = true;
#else
        const bool sdl = false;
#endif
        const std::string cores = std::to_string(std::max(1u, std::thread::hardware_concurrency()));
        const std::string mt = o.threads > 0 ? std::to_string(o.threads) : cores;
        configs_ = {
            {"kwr32", "kwrender 32 bpp", Kind::Kwrender, 32, nullptr, 1, true, true},
            {"llvmpipe1", "llvmpipe 1 thread", Kind::Llvmpipe, 0, "0", 1, true, osmesa},
            {"llvmpipe", "llvmpipe " + cores + " threads (default)", Kind::Llvmpipe, 0, nullptr, 1, false, osmesa},
            {"sdl", "SDL2 software", Kind::Sdl, 0, nullptr, 1, true, sdl},
            {"kwr-mt", "kwrender 32 bpp, " + mt + " threads", Kind::Kwrender, 32, nullptr, o.threads, false, true},
            {"kwr24", "kwrender 24 bpp", Kind::Kwrender, 24, nullptr, 1, true, true},
            {"kwr16", "kwrender 16 bpp", Kind::Kwrender, 16, nullptr, 1, true, true},
            {"kwr8", "kwrender 8 bpp", Kind::Kwrender, 8, nullptr, 1, true, true},
        };
        for (auto& s : configs_)
            if (!selected(opt_.peers, s.key)) s.available = false;
        for (Mode m : kModes)
            if (selected(opt_.modes, modeKey(m))) modes_.push_back(m);
        const char* sizeKeys[kSetCount] = {"8", "50", "500", "20000", "full"};
        for (const char* k : sizeKeys) chosenSets_.push_back(selected(opt_.sizes, k));
        results_.assign(configs_.size(), std::vector<Result>(kModeCount));
        describe_.assign(configs_.size(), std::string());
        difference_.assign(configs_.size(), std::vector<Difference>(kModeCount));
    }

    void run() {
        // Seconds of timed frames per peer and cell, spread over the rounds.
        const double cellBudget = opt_.quick ? 0.06 : 0.3;
        const int rounds = opt_.quick ? 2 : 3;
        const double framesPerSet = opt_.quick ? 1 : 2;
        const auto start = Clock::now();
        memset_ = memsetSeconds(cellBudget);
        std::fprintf(stderr, "memset of the frame: %.0f Mpix/s\n", memsetMpix());
        const Texture texture = makeTexture();
        const std::size_t peers = configs_.size();
        void* mapping =
            mmap(nullptr, peers * sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED) throw std::runtime_error("no shared memory for the child processes");
        Report* shared = static_cast<Report*>(mapping);

        for (Mode m : modes_) {
            sets_ = makeSets(m, 2024, framesPerSet);
            noteSets();
            {
                std::vector<std::unique_ptr<ChildPeer>> children(peers);
                for (std::size_t p = 0; p < peers; ++p)
                    if (configs_[p].available)
                        children[p] = std::make_unique<ChildPeer>(configs_[p], m, sets_, texture, shared[p]);
                for (auto& c : children)
                    if (c) c->send({ChildPeer::Start, 0, cellBudget / 4});
                for (int i = 0; i < kSetCount; ++i) {
                    if (!chosenSets_[i]) continue;
                    for (int r = 0; r < rounds; ++r)
                        for (auto& c : children)
                            if (c) c->send({ChildPeer::Measure, i, cellBudget / rounds});
                }
            }  // the children quit here
            for (std::size_t p = 0; p < peers; ++p)
                if (configs_[p].available) collect(p, m, shared[p], shared[0]);
        }
        munmap(mapping, peers * sizeof(Report));
        memset_ = std::min(memset_, memsetSeconds(cellBudget));
        elapsed_ = secondsSince(start);
    }

    std::string markdown() const {
        std::string md;
        md += "# Peer benchmark\n\n";
        md += machine();
        md += legend();
        for (Mode m : modes_) md += modeTable(m);
        md += ratioTable("kwrender 32 bpp ÷ llvmpipe 1 thread (Mpix/s ratio; above 1 is faster)", 0, 1);
        md += ratioTable("kwrender multi-core ÷ llvmpipe with its default threads (Mpix/s ratio)", kMt, kLlvmpipeMt);
        md += ratioTable("kwrender multi-core ÷ kwrender one thread (the scaling)", kMt, 0);
        md += memsetTable();
        md += formatTable();
        md += pictureTable();
        md += notes();
        return md;
    }

    // The machine and, per mode and size, kwrender 32 bpp against llvmpipe
    // with one thread.
    std::string summary() const {
        std::string s = machineLine();
        if (!config(1).available) return s + "\nllvmpipe was not built: no comparison.\n";
        s += "\n\nMpix/s of kwrender 32 bpp / llvmpipe 1 thread (ratio), same triangles, same run; memset of the "
             "frame: " + fixed(memsetMpix(), 0) + " Mpix/s.\n\n";
        return s + modeBySizeTable("", [&](Mode m, int i) -> std::string {
                   if (!measured(0, m, i) || !measured(1, m, i)) return "—";
                   return short3(mpix(0, m, i)) + " / " + short3(mpix(1, m, i)) + " (" +
                          short3(mpix(0, m, i) / mpix(1, m, i)) + "×)";
               });
    }

private:
    const PeerConfig& config(std::size_t p) const { return configs_[p]; }

    double mpix(std::size_t p, Mode m, int set) const {
        return setPixels_[set] / results_[p][int(m)].seconds[set] / 1e6;
    }

    bool measured(std::size_t p, Mode m) const {
        return config(p).available && results_[p][int(m)].state == Report::Measured;
    }
    bool measured(std::size_t p, Mode m, int set) const {
        return measured(p, m) && results_[p][int(m)].seconds[set] > 0;
    }

    // The fastest single-thread peer of the cell (kwrender excluded).
    double bestPeer(Mode m, int set) const {
        double best = 0;
        for (std::size_t p = 0; p < configs_.size(); ++p)
            if (config(p).kind != Kind::Kwrender && config(p).singleThread && measured(p, m, set))
                best = std::max(best, mpix(p, m, set));
        return best;
    }

    double memsetMpix() const { return kWidth * double(kHeight) / memset_ / 1e6; }

    void noteSets() {
        if (!setPixels_.empty()) return;  // every mode draws the same geometry
        for (const auto& set : sets_) {
            setPixels_.push_back(set.coveredPixels);
            setTriangles_.push_back(double(set.triangles()));
            setLabels_.push_back(set.label);
        }
    }

    void collect(std::size_t p, Mode m, const Report& report, const Report& reference) {
        Result& r = results_[p][int(m)];
        r.state = report.state;
        r.text = report.text;
        r.how = report.how;
        r.fixedCost = report.fixedCost;
        std::copy(report.seconds, report.seconds + kSetCount, r.seconds);
        if (report.describe[0]) describe_[p] = report.describe;
        if (p != 0 && r.state == Report::Measured && report.hasFrame && measured(0, m) && reference.hasFrame)
            difference_[p][int(m)] = compare(reference.frame, report.frame);
        progress(p, m);
    }

    void progress(std::size_t p, Mode m) const {
        const Result& r = results_[p][int(m)];
        std::fprintf(stderr, "%-16s %-26s", modeName(m), config(p).title.c_str());
        if (r.state != Report::Measured) {
            std::fprintf(stderr, " %s\n", r.text.c_str());
            return;
        }
        for (int i = 0; i < kSetCount; ++i)
            measured(p, m, i) ? std::fprintf(stderr, " %8.1f", mpix(p, m, i)) : std::fprintf(stderr, " %8s", "-");
        std::fprintf(stderr, "  Mpix/s\n");
    }

    std::string machineLine() const {
        std::string s = runLine();
        if (!opt_.label.empty()) s += "kwrender " + opt_.label + ". ";
        return s;
    }

    std::string machine() const {
        std::string s = machineLine();
        s += "Frame " + std::to_string(kWidth) + "×" + std::to_string(kHeight) + ", 32 bpp for every peer. ";
        s += opt_.quick ? "Quick run (`--quick`: one frame of triangle area per set, short repetition). "
                        : "Each set holds about two frames of triangle area. ";
        s += "Whole run: " + fixed(elapsed_, 0) + " s.\n\n";
        s += "Peers:\n";
        for (std::size_t p = 0; p < configs_.size(); ++p) {
            if (!selected(opt_.peers, config(p).key)) continue;
            s += "- " + config(p).title + ": ";
            if (!config(p).available) {
                s += "not built (its development files were not found), left out.\n";
                continue;
            }
            s += describe_[p].empty() ? std::string("did not start") : describe_[p];
            double fixedCost = 0;
            for (Mode m : modes_)
                if (measured(p, m)) fixedCost = std::max(fixedCost, results_[p][int(m)].fixedCost);
            s += "; fixed cost of a frame (subtracted): up to " + fixed(fixedCost * 1e3, 3) + " ms.\n";
        }
        s += "- memset of the 32 bpp frame: " + fixed(memsetMpix(), 0) + " Mpix/s (" +
             fixed(memsetMpix() * 4 / 1000, 2) + " GB/s), the ceiling.\n\n";
        return s;
    }

    std::string legend() const {
        std::string s = "Sets (the same triangles for every peer and mode): ";
        for (int i = 0; i < kSetCount && i < int(setLabels_.size()); ++i)
            s += std::string(i ? ", " : "") + setLabels_[i] + " × " + fixed(setTriangles_[i], 0);
        s += " triangles. Cells: **Mpix/s** · Mtri/s · ratio to the best single-thread peer of the cell "
             "(llvmpipe 1 thread or SDL2) · share of memset. Mpix/s counts the triangles' area; clearing is not "
             "timed; the best frame of the repetitions counts, the peers taking turns in rounds. Single-thread peers "
             "and memset are timed in processor time of their own process, so that other work on a shared machine "
             "does not count against them; llvmpipe with its default threads on the wall clock.\n\n";
        return s;
    }

    std::string cell(std::size_t p, Mode m, int set) const {
        const Result& r = results_[p][int(m)];
        if (r.state == Report::Unsupported) return "—";
        if (r.state != Report::Measured) return "failed";
        if (!measured(p, m, set)) return "—";
        const double v = mpix(p, m, set), best = bestPeer(m, set);
        std::string s = "**" + short3(v) + "** · " + short3(setTriangles_[set] / r.seconds[set] / 1e6);
        s += " · " + (best > 0 ? short3(v / best) + "×" : std::string("–"));
        s += " · " + fixed(100 * v / memsetMpix(), v / memsetMpix() < 0.1 ? 1 : 0) + "%";
        return s;
    }

    // Columns of the per-mode tables: kwrender 32 bpp and the peers.
    std::vector<std::size_t> peerColumns() const {
        std::vector<std::size_t> cols;
        for (std::size_t p = 0; p < configs_.size(); ++p)
            if (config(p).available && (config(p).kind != Kind::Kwrender || config(p).bpp == 32)) cols.push_back(p);
        return cols;
    }

    std::string modeTable(Mode m) const {
        const auto cols = peerColumns();
        std::string s = "## " + std::string(modeName(m)) + "\n\n";
        std::string head = "| triangle size |", rule = "|---|";
        for (std::size_t p : cols) {
            head += " " + config(p).title + " |";
            rule += "---|";
        }
        s += head + "\n" + rule + "\n";
        for (int i = 0; i < kSetCount; ++i) {
            s += "| " + setLabels_[i] + " |";
            for (std::size_t p : cols) s += " " + cell(p, m, i) + " |";
            s += "\n";
        }
        s += "\n";
        for (std::size_t p : cols) {
            const Result& r = results_[p][int(m)];
            s += "- " + config(p).title + ": " + (r.state == Report::Measured ? r.how : r.text) + "\n";
        }
        return s + "\n";
    }

    template <class F>
    std::string modeBySizeTable(const std::string& title, F value) const {
        std::string s = (title.empty() ? "" : "## " + title + "\n\n") + "| triangle size |";
        std::string rule = "|---|";
        for (Mode m : modes_) {
            s += " " + std::string(modeName(m)) + " |";
            rule += "---|";
        }
        s += "\n" + rule + "\n";
        for (int i = 0; i < kSetCount; ++i) {
            s += "| " + setLabels_[i] + " |";
            for (Mode m : modes_) s += " " + value(m, i) + " |";
            s += "\n";
        }
        return s + "\n";
    }

    // Columns of configs_ named in the ratio tables.
    static constexpr std::size_t kLlvmpipeMt = 2, kMt = 4;

    std::string ratioTable(const std::string& title, std::size_t of, std::size_t against) const {
        if (!config(of).available || !config(against).available)
            return "## " + title + "\n\nNot measured in this run: no ratios.\n\n";
        return modeBySizeTable(title, [&](Mode m, int i) -> std::string {
            if (!measured(of, m, i) || !measured(against, m, i)) return "—";
            return short3(mpix(of, m, i) / mpix(against, m, i));
        });
    }

    std::string memsetTable() const {
        return modeBySizeTable("kwrender 32 bpp ÷ memset (share of the ceiling)", [&](Mode m, int i) -> std::string {
            if (!measured(0, m, i)) return "—";
            return fixed(100 * mpix(0, m, i) / memsetMpix(), 1) + "%";
        });
    }

    std::string formatTable() const {
        std::string s = modeBySizeTable(
            "kwrender at 24, 16 and 8 bpp: frame time ÷ the 32 bpp frame time (target: 24 and 16 at most 1.5)",
            [&](Mode m, int i) -> std::string {
                std::string c;
                for (std::size_t p = 1; p < configs_.size(); ++p) {
                    if (config(p).kind != Kind::Kwrender || !config(p).singleThread || !measured(p, m, i) ||
                        !measured(0, m, i))
                        continue;
                    c += std::string(c.empty() ? "" : " · ") + std::to_string(config(p).bpp) + ": " +
                         short3(results_[p][int(m)].seconds[i] / results_[0][int(m)].seconds[i]);
                    if (config(p).bpp == 8 && !modeIsFlat(m)) c += "\\*";
                }
                return c.empty() ? "—" : c;
            });
        return s + "\\* In 8 bpp the interpolating fills draw nothing (the library's defined behaviour); their time "
                   "is the per-triangle work alone.\n\n";
    }

    std::string pictureTable() const {
        std::string s = "## How close the pictures are\n\nThe " + setLabels_[kCheckSet] +
                        " frame of each peer against kwrender 32 bpp's: mean difference of the blue, green and red "
                        "bytes in levels · share of pixels off by more than 16 levels. Edge rules, pixel centres and "
                        "each renderer's interpolation and rounding differ; a large share would mean that a peer "
                        "draws something else.\n\n| mode |";
        std::string rule = "|---|";
        std::vector<std::size_t> cols;
        for (std::size_t p : peerColumns())
            if (p != 0) cols.push_back(p);
        for (std::size_t p : cols) {
            s += " " + config(p).title + " |";
            rule += "---|";
        }
        s += "\n" + rule + "\n";
        for (Mode m : modes_) {
            s += "| " + std::string(modeName(m)) + " |";
            for (std::size_t p : cols)
            {
                const Difference& d = difference_[p][int(m)];
                s += " " + (d.meanLevels < 0 ? std::string("—")
                                             : fixed(d.meanLevels, 2) + " · " + fixed(100 * d.farShare, 1) + "%") +
                     " |";
            }
            s += "\n";
        }
        return s + "\n";
    }

    std::string notes() const {
        return "Notes on fairness: every peer draws the same triangles with the same vertex colours, depths and "
               "texture coordinates into a 1024×768 frame of blue, green, red, alpha bytes. llvmpipe samples the "
               "texture as kwrender does (nearest, repeat, texel × vertex colour) and tests a 24-bit depth buffer "
               "where kwrender keeps float depth. SDL2 has no depth buffer (depth cells empty) and refuses texture "
               "coordinates outside 0..1: its textured triangles are moved into 0..1 and squeezed where a triangle "
               "spans more than the texture (20,000 px and full screen), so it samples those minified. The peers' "
               "pixel centres, fill rules and blending arithmetic are their own; the table above shows how far "
               "their pictures are from kwrender's.\n";
    }

    Options opt_;
    std::vector<PeerConfig> configs_;
    std::vector<Mode> modes_;
    std::vector<std::vector<Result>> results_;
    std::vector<std::string> describe_;
    std::vector<std::vector<Difference>> difference_;
    std::vector<TriangleSet> sets_;
    std::vector<double> setPixels_, setTriangles_;
    std::vector<std::string> setLabels_;
    std::vector<bool> chosenSets_;
    double memset_ = 1;
    double elapsed_ = 0;
};

}  // namespace

}  // namespace peerbench

int main(int argc, char** argv) {
    using namespace peerbench;
    const Options opt = parse(argc, argv);
    Benchmark bench(opt);
    try {
        bench.run();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "peer benchmark: %s\n", e.what());
        return 1;
    }
    const std::string md = bench.markdown();
    std::fputs(md.c_str(), stdout);
    if (!opt.out.empty()) {
        std::ofstream out(opt.out);
        out << md;
        if (!out) {
            std::fprintf(stderr, "peer benchmark: cannot write %s\n", opt.out.c_str());
            return 1;
        }
        std::fprintf(stderr, "wrote %s\n", opt.out.c_str());
    }
    if (!opt.readme.empty() && !replaceSection(opt.readme, bench.summary())) {
        std::fprintf(stderr, "peer benchmark: %s has no peer-bench section\n", opt.readme.c_str());
        return 1;
    }
    return 0;
}
