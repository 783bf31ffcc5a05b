// The pool of a multi-core context: its threads, their copies of the
// context, and the command list they replay.
#include "render/threads.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace kwr {

int threadsFromEnvironment() {
    const char* v = std::getenv("KWRENDER_THREADS");
    if (v == nullptr || *v == '\0') return 1;
    char* end = nullptr;
    const long n = std::strtol(v, &end, 10);
    if (*end != '\0' || n < 0) {
        // Said once a process (a static's initialisation runs once, thread-safely).
        static const bool said =
            std::fprintf(stderr, "kwrender: KWRENDER_THREADS=%s is not a thread count; drawing on one thread\n", v) >= 0;
        (void)said;
        return 1;
    }
    return threadsForRequest(n > kMaxThreads ? kMaxThreads : static_cast<int>(n));
}

int threadsForRequest(int n) {
    if (n == 0) {
        const unsigned cores = std::thread::hardware_concurrency();
        n = cores == 0 ? 1 : static_cast<int>(cores < unsigned{kMaxThreads} ? cores : unsigned{kMaxThreads});
    }
    if (n < 1) return 1;
    return n > kMaxThreads ? kMaxThreads : n;
}

ThreadPool* ThreadPool::create(int threads, int rows) noexcept {
    std::unique_ptr<ThreadPool> p;
    try {
        p.reset(new ThreadPool());
        p->count_ = threads;
        p->list_.reset(new unsigned char[kCommandListBytes]);
        p->scanBlocks_.assign(static_cast<std::size_t>(threads), nullptr);
        for (int i = 0; i < threads; ++i) {
            p->shadows_.emplace_back(new KWRRender(KWRRender::ShadowTag{}));
            RenderState& st = p->shadows_.back()->s;
            st.bandCount = threads;
            st.bandIndex = i;
            st.bandHeight = kDefaultBandHeight;
        }
        if (!p->resize(rows)) return nullptr;
        if (threads > 1) {
            // Every thread reports in and parks before the pool is handed
            // out. Both condition variables see a real wait here (the
            // creator's wait is never skipped by an already true condition),
            // so thread libraries that set one up on its first wait do it
            // now, not while drawing.
            std::unique_lock<std::mutex> l(p->mutex_);
            p->pending_ = threads - 1;
            for (int i = 1; i < threads; ++i) p->workers_.emplace_back(&ThreadPool::workerLoop, p.get(), i);
            do p->done_.wait(l);
            while (p->pending_ != 0);
        }
    } catch (const std::exception&) {
        // Threads that did start are joined by the destructor.
        return nullptr;
    }
    return p.release();
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard<std::mutex> l(mutex_);
        quit_ = true;
    }
    wake_.notify_all();
    for (auto& w : workers_) w.join();
    for (auto& sh : shadows_) {
        // The copies refer to the caller's surface and depth buffer, which
        // are not theirs to release.
        RenderState& st = sh->s;
        st.dib = nullptr;
        st.zBuffer = nullptr;
        st.scanBlock = nullptr;
    }
    for (void* b : scanBlocks_) std::free(b);
}

bool ThreadPool::resize(int rows) noexcept {
    for (std::size_t i = 1; i < scanBlocks_.size(); ++i) {
        std::free(scanBlocks_[i]);
        scanBlocks_[i] = std::malloc(scanTableBytes(rows));
        if (scanBlocks_[i] == nullptr) return false;
    }
    return true;
}

void ThreadPool::setBandHeight(int rows) {
    bandShift_ = 0;
    while (bandShift_ < 16 && (2 << bandShift_) <= rows) ++bandShift_;
    for (auto& sh : shadows_) sh->s.bandHeight = 1 << bandShift_;
}

std::uint64_t ThreadPool::threadsForRows(double top, double bottom, int rows) const {
    if (!(top <= bottom)) return kAllThreads;  // NaN
    if (bottom < -1.0 || top >= rows + 1.0) return 0;
    // Truncation is floor for the positive values it meets here; below 1
    // (and above rows - 2) the range simply reaches the surface's edge.
    const int first = top <= 1.0 ? 0 : static_cast<int>(top) - 1;
    const int last = bottom >= rows - 2.0 ? rows - 1 : static_cast<int>(bottom) + 2;
    const int a = first >> bandShift_, b = last >> bandShift_;
    if (b - a + 1 >= count_) return kAllThreads;
    std::uint64_t mask = 0;
    for (int band = a; band <= b; ++band) mask |= std::uint64_t{1} << (band % count_);
    return mask;
}

namespace {
// A record: its header, then its arguments, each starting on a boundary
// any argument type may need.
constexpr std::size_t kAlign = alignof(std::max_align_t);
constexpr std::size_t roundUp(std::size_t n) { return (n + kAlign - 1) / kAlign * kAlign; }
constexpr std::size_t kArgsAt = roundUp(sizeof(CommandHeader));
}  // namespace

unsigned char* ThreadPool::reserve(const RenderState& s, std::size_t argBytes, CommandHeader& header) {
    header.bytes = kArgsAt + roundUp(argBytes);
    if (used_ + header.bytes > kCommandListBytes) flush();
    if (used_ == 0) base_ = s;
    unsigned char* at = list_.get() + used_;
    std::memcpy(at, &header, sizeof header);
    used_ += header.bytes;
    return at + kArgsAt;
}

void ThreadPool::replay(int index) {
    KWRRender& self = *shadows_[static_cast<std::size_t>(index)];
    RenderState& st = self.s;
    // Start from the caller's state as it was when the list was started,
    // keeping this copy's own table, band and (no) pool.
    const int bandHeight = st.bandHeight;
    st = base_;
    st.pool = nullptr;
    st.bandCount = count_;
    st.bandIndex = index;
    st.bandHeight = bandHeight;
    if (index > 0) {
        st.scanBlock = scanBlocks_[static_cast<std::size_t>(index)];
        layOutScanTable(st.scan, st.scanBlock, st.height);
    }
    for (std::size_t at = 0; at < used_;) {
        CommandHeader h;
        std::memcpy(&h, list_.get() + at, sizeof h);
        if ((h.threads >> index) & 1u) h.replay(self, st, list_.get() + at + kArgsAt);
        at += h.bytes;
    }
    st.scanBlock = nullptr;
}

void ThreadPool::workerLoop(int index) {
    std::uint64_t seen = 0;
    std::unique_lock<std::mutex> l(mutex_);
    // Reporting in counts like finishing a round: the creator waits for it.
    for (;;) {
        if (--pending_ == 0) done_.notify_one();
        wake_.wait(l, [&] { return quit_ || generation_ != seen; });
        if (quit_) return;
        seen = generation_;
        l.unlock();
        replay(index);
        l.lock();
    }
}

void ThreadPool::flush() {
    if (used_ == 0) return;
    replayAll();
    used_ = 0;
}

void ThreadPool::replayAll() {
    {
        std::lock_guard<std::mutex> l(mutex_);
        ++generation_;
        pending_ = count_ - 1;
    }
    wake_.notify_all();
    replay(0);
    {
        std::unique_lock<std::mutex> l(mutex_);
        done_.wait(l, [&] { return pending_ == 0; });
    }
}

}  // namespace kwr
