#include "measure.h"

#include <sys/utsname.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <thread>

namespace peerbench {

namespace {

std::string cpuModel() {
    std::ifstream in("/proc/cpuinfo");
    std::string line, model = "unknown CPU", flags;
    while (std::getline(in, line)) {
        const auto colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::string key = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        if (key == "model name" && model == "unknown CPU") model = line.substr(colon + 2);
        if (key == "flags" && flags.empty()) flags = " " + line.substr(colon + 1) + " ";
    }
    std::string isa;
    for (const char* f : {"sse4_1", "avx2", "fma", "avx512f"})
        if (flags.find(std::string(" ") + f + " ") != std::string::npos) isa += std::string(isa.empty() ? "" : " ") + f;
    return model + " (" + (isa.empty() ? "SSE2" : isa) + ")";
}

}  // namespace

double now(bool processorTime) {
    timespec t{};
    clock_gettime(processorTime ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

std::string runLine() {
    utsname u{};
    uname(&u);
    char date[32];
    const std::time_t today = std::time(nullptr);
    std::strftime(date, sizeof date, "%Y-%m-%d", std::localtime(&today));
    return "Run on " + std::string(date) + ": " + cpuModel() + ", " +
           std::to_string(std::thread::hardware_concurrency()) + " logical cores, " + u.sysname + " " + u.release +
           "; built with " +
#if defined(__clang__)
           "clang "
#elif defined(__GNUC__)
           "g++ "
#endif
           + std::string(__VERSION__) + ". ";
}

Difference compare(const std::uint8_t* a, const std::uint8_t* b) {
    double sum = 0;
    std::size_t far = 0;
    for (std::size_t i = 0; i < kFrameBytes; i += 4) {
        int worst = 0;
        for (int c = 0; c < 3; ++c) {
            const int d = std::abs(int(a[i + c]) - int(b[i + c]));
            sum += d;
            worst = std::max(worst, d);
        }
        if (worst > 16) ++far;
    }
    const double pixels = kFrameBytes / 4;
    return {sum / (3 * pixels), far / pixels};
}

std::string fixed(double v, int decimals) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

std::string short3(double v) {
    if (v >= 100) return fixed(v, 0);
    if (v >= 10) return fixed(v, 1);
    if (v >= 1) return fixed(v, 2);
    return fixed(v, 3);
}

std::vector<std::string> splitList(const std::string& s) {
    std::vector<std::string> out;
    std::stringstream in(s);
    std::string item;
    while (std::getline(in, item, ','))
        if (!item.empty()) out.push_back(item);
    return out;
}

bool selected(const std::vector<std::string>& chosen, const char* key) {
    return chosen.empty() || std::find(chosen.begin(), chosen.end(), key) != chosen.end();
}

bool parseCommon(int argc, char** argv, int& i, CommonOptions& o) {
    const std::string a = argv[i];
    const bool hasValue = i + 1 < argc;
    if (a == "--quick") {
        o.quick = true;
    } else if (a == "--out" && hasValue) {
        o.out = argv[++i];
    } else if (a == "--label" && hasValue) {
        o.label = argv[++i];
    } else if (a == "--modes" && hasValue) {
        o.modes = splitList(argv[++i]);
    } else {
        return false;
    }
    return true;
}

}  // namespace peerbench
