// What the benchmarks against peers share: their clocks, the best-frame
// timing loop, the comparison of pictures, the machine's description and the
// number formats of the tables.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "workload.h"

namespace peerbench {

constexpr std::size_t kFrameBytes = std::size_t(kWidth) * kHeight * 4;

// Seconds on the wall clock, or of processor time used by this process (all
// its threads).  Single-thread peers are timed in processor time, so that
// other work on a shared machine does not count against them.
double now(bool processorTime);

// Best time of one timed frame, repeated until `budget` seconds of timed
// frames have passed (at least two frames).
template <class Clear, class Draw>
double bestFrame(bool processorTime, double budget, Clear clear, Draw draw) {
    double best = 1e30, total = 0;
    for (int frames = 0; frames < 2 || (total < budget && frames < 1000); ++frames) {
        clear();
        const double t0 = now(processorTime);
        draw();
        const double s = now(processorTime) - t0;
        best = std::min(best, s);
        total += s;
    }
    return best;
}

// How far a peer's picture is from kwrender's: the mean difference of the
// blue, green and red bytes, and the share of pixels off by more than 16
// levels in any of them.
struct Difference {
    double meanLevels = -1;  // negative: not compared
    double farShare = 0;
};
Difference compare(const std::uint8_t* a, const std::uint8_t* b);

// "Run on <date>: <processor>, <n> logical cores, <system>; built with <compiler>. "
std::string runLine();

std::string fixed(double v, int decimals);
// Three significant figures, at most one decimal above 10.
std::string short3(double v);

std::vector<std::string> splitList(const std::string& s);
// Whether `key` is in `chosen`, or `chosen` is empty (all).
bool selected(const std::vector<std::string>& chosen, const char* key);

// The options every benchmark program takes.
struct CommonOptions {
    bool quick = false;
    std::string out;
    std::string label;               // names the library's version in the output
    std::vector<std::string> modes;  // empty: all
};
// Takes argv[i] (and its value, moving i on) when it is a common option.
bool parseCommon(int argc, char** argv, int& i, CommonOptions& o);

}  // namespace peerbench
