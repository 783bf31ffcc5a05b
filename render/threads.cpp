// The pool of a multi-core context: its threads, their copies of the
// context, and the command list they replay.
#include "render/threads.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#if defined(__i386__) || defined(__x86_64__) || defined(_M_IX86) || defined(_M_X64)
#include <immintrin.h>
#endif

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

namespace {

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A short pause in a busy wait.
inline void pause() {
#if defined(__i386__) || defined(__x86_64__) || defined(_M_IX86) || defined(_M_X64)
    _mm_pause();
#elif defined(__aarch64__) && !defined(_MSC_VER)
    __asm__ __volatile__("yield");
#endif
}

// How long a waiting thread looks busily before it sleeps, in seconds.  (On
// a loaded machine a thread giving up its core may not get it back for a
// scheduler tick: a sleeper is woken sooner.)
constexpr double kBusyWait = 5e-6;
// The shortest list whose replay moves bands to or from the caller.
constexpr std::size_t kAdaptingBytes = 64 << 10;
// Recorded bytes between two wake-ups of sleeping workers.
constexpr std::size_t kWakeBytes = 16 << 10;

}  // namespace

ThreadPool* ThreadPool::create(int threads, int rows) noexcept {
    std::unique_ptr<ThreadPool> p;
    try {
        p.reset(new ThreadPool());
        p->count_ = threads;
        p->ring_.reset(new unsigned char[kRingBytes]);
        p->passed_.reset(new Passed[static_cast<std::size_t>(threads)]);
        p->scanBlocks_.assign(static_cast<std::size_t>(threads), nullptr);
        for (int i = 0; i < threads; ++i) {
            p->shadows_.emplace_back(new KWRRender(KWRRender::ShadowTag{}));
            RenderState& st = p->shadows_.back()->s;
            st.bandCount = threads;
            st.bandIndex = i;
            st.bandShift = kDefaultBandShift;
            st.bandThreads = nullptr;
        }
        if (!p->resize(rows)) return nullptr;
        p->finishedAt_.assign(static_cast<std::size_t>(threads), 0.0);
        // Every worker reports in and parks before the pool is handed out.
        // The condition variable sees real waits here, the creator's and
        // the workers' (neither is skipped by a condition already true), so
        // thread libraries that set one up on its first wait do it now, not
        // while drawing.
        std::unique_lock<std::mutex> l(p->mutex_);
        p->pending_.store(threads - 1);
        for (int i = 1; i < threads; ++i) p->workers_.emplace_back(&ThreadPool::workerLoop, p.get(), i);
        p->sleepers_.fetch_add(1);
        do p->wake_.wait(l);
        while (p->pending_.load() != 0);
        p->sleepers_.fetch_sub(1);
    } catch (const std::exception&) {
        // Threads that did start are joined by the destructor.
        return nullptr;
    }
    return p.release();
}

ThreadPool::~ThreadPool() {
    // Workers replaying a list wait for its end: give them one.
    if (used_ != 0) finish(false);
    quit_.store(true);
    {
        std::lock_guard<std::mutex> l(mutex_);
        wake_.notify_all();
    }
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
    // The workers' tables are in use while a list is replayed.
    flush();
    for (std::size_t i = 1; i < scanBlocks_.size(); ++i) {
        std::free(scanBlocks_[i]);
        scanBlocks_[i] = std::malloc(scanTableBytes(rows));
        if (scanBlocks_[i] == nullptr) return false;
    }
    rows_ = rows;
    if (!bandHeightChosen_) setBandShift(bandShiftFor(rows, count_));
    try {
        layOutBands();
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

// Rows per band for a surface: about six bands per thread.  Taller bands
// walk fewer triangles twice (those across a band's edge), shorter ones
// share large triangles and uneven frames better; at 1024 x 768 on two
// threads 64 rows did best over the sizes of triangles measured (128:
// 2-3% fewer instructions on the busier thread for 8 to 500 pixels, 6% more
// for 20,000; 32: 3-5% more for the small ones).
int ThreadPool::bandShiftFor(int rows, int threads) {
    const int perBand = rows / (6 * threads);
    int shift = 4;
    while (shift < 8 && (2 << shift) <= perBand) ++shift;
    return shift;
}

void ThreadPool::setBandShift(int shift) {
    bandShift_ = shift;
    for (auto& sh : shadows_) sh->s.bandShift = bandShift_;
}

void ThreadPool::setBandHeight(int rows) {
    flush();
    bandHeightChosen_ = true;
    int shift = 0;
    while (shift < 16 && (2 << shift) <= rows) ++shift;
    setBandShift(shift);
    layOutBands();
}

void ThreadPool::setCallerBands(int bands) {
    flush();
    callerBandsChosen_ = bands >= 0;
    callerBands_ = bands < 0 ? kBandsPerThread : (bands > kBandsPerThread ? kBandsPerThread : bands);
    layOutBands();
}

// A cycle of kBandsPerThread bands a thread, repeated over the surface: the
// caller's bands spread evenly over the cycle, the others dealt to the
// workers in turn.
void ThreadPool::layOutBands() {
    const int cycle = count_ * kBandsPerThread;
    bandThreads_.resize(static_cast<std::size_t>(rows_ >> bandShift_) + 1);
    int next = 0;
    for (std::size_t b = 0; b < bandThreads_.size(); ++b) {
        const int i = static_cast<int>(b % static_cast<std::size_t>(cycle));
        if (i == 0) next = 0;
        const bool caller = (i + 1) * callerBands_ / cycle != i * callerBands_ / cycle;
        bandThreads_[b] = std::uint64_t{1} << (caller ? 0 : 1 + next++ % (count_ - 1));
    }
    for (auto& sh : shadows_) {
        sh->s.bandThreads = bandThreads_.data();
    }
}

// One band of the caller's more when it waited for the workers, one fewer
// when they waited for it; small differences are left alone.
void ThreadPool::adaptCallerBands(double callerWaited, double workersWaited, double round) {
    if (callerBandsChosen_ || round < 200e-6) return;
    const int before = callerBands_;
    if (callerWaited > 0.05 * round && callerBands_ < kBandsPerThread) ++callerBands_;
    if (workersWaited > 0.05 * round && callerBands_ > 0) --callerBands_;
    if (callerBands_ != before) layOutBands();
}

std::uint64_t ThreadPool::threadsForBands(std::size_t first, std::size_t last) const {
    // A whole cycle reaches every thread.
    if (last - first >= static_cast<std::size_t>(count_ * kBandsPerThread) || last >= bandThreads_.size())
        return kAllThreads;
    std::uint64_t mask = 0;
    for (std::size_t band = first; band <= last; ++band) mask |= bandThreads_[band];
    return mask;
}

void ThreadPool::reserveSlowly(const RenderState& s, std::size_t bytes) {
    if (used_ == 0) {
        // A new list, which the workers replay from this state.  Workers
        // still looking for work start on it at once; sleeping ones are
        // woken when there is something to replay (a short list, such as
        // a few large fills, is drawn after one wake-up, at the flush).
        base_ = s;
        limit_ = kChunkBytes - kArgsAt;
        published_ = 0;
        wokenAt_ = 0;
        callerAt_ = 0;
        callerWaited_ = 0;
        for (int i = 1; i < count_; ++i) passed_[i].at.store(0, std::memory_order_relaxed);
        roundStart_ = seconds();
        pending_.store(count_ - 1);
        started_.fetch_add(1);
    } else {
        if (bytes > limit_ - used_) nextChunk();
        if (used_ != published_) publish(false);
    }
    stop_ = std::min(limit_, published_ + kPublishBytes);
}

// Closes the chunk being recorded with a record no thread replays, reaching
// to its end, and moves to the next chunk of the ring.  Before the chunk is
// written again, the caller replays its own rows of it and waits for every
// worker to have passed it.
void ThreadPool::nextChunk() {
    const std::uint64_t end = limit_ + kArgsAt;
    const CommandHeader close{nullptr, 0, static_cast<std::uint32_t>(end - used_), 0};
    std::memcpy(ring_.get() + (used_ & (kRingBytes - 1)), &close, sizeof close);
    used_ = end;
    limit_ = end + kChunkBytes - kArgsAt;
    if (end < kRingBytes) return;
    // The records the next chunk held last end here.
    const std::uint64_t reused = end - kRingBytes + kChunkBytes;
    publish(true);
    if (callerAt_ < reused) replayCaller(reused);
    const auto passed = [&] {
        for (int i = 1; i < count_; ++i)
            if (passed_[i].at.load() < reused) return false;
        return true;
    };
    if (passed()) return;
    const double start = seconds();
    callerNeeds_.store(reused);
    waitUntil(passed);
    callerNeeds_.store(0);
    callerWaited_ += seconds() - start;
}

// The caller replays its own rows of the list up to `upTo`, from the
// caller's state at the list's start; a caller owning no rows skips them.
void ThreadPool::replayCaller(std::uint64_t upTo) {
    if (callerBands_ != 0) {
        if (callerAt_ == 0) startReplay(0);
        replayRecords(0, callerAt_, upTo);
    }
    callerAt_ = upTo;
}

// Hands every complete record to the workers.  A worker asleep is woken at
// the list's first records and then only for a good amount of work at a
// time: waking it is a system call on the caller's time, and a worker that
// ran out of work replays faster than the caller records.
// (`wakeAll`: whatever was woken last, as when the caller is about to wait
// for the workers.)
void ThreadPool::publish(bool wakeAll) {
    published_ = used_;
    ready_.store(used_);
    if (wakeAll || wokenAt_ == 0 || used_ - wokenAt_ >= kWakeBytes) {
        wokenAt_ = used_;
        wakeSleepers();
    }
}

void ThreadPool::wakeSleepers() {
    // Sequentially consistent with the sleeper's count and its own look at
    // what it waits for (under the lock): either it sees the change, or
    // this sees it and waits for it to sleep before waking it.
    if (sleepers_.load() != 0) {
        std::lock_guard<std::mutex> l(mutex_);
        wake_.notify_all();
    }
}

template <class Done>
void ThreadPool::waitUntil(Done done) {
    // A short wait is common (the caller records the next few calls, a
    // worker finishes its last rows): looked for busily, then asleep.
    const double start = seconds();
    for (int i = 1;; ++i) {
        if (done()) return;
        if (i % 64 != 0) {
            pause();
            continue;
        }
        if (seconds() - start > kBusyWait) break;
    }
    std::unique_lock<std::mutex> l(mutex_);
    sleepers_.fetch_add(1);
    wake_.wait(l, done);
    sleepers_.fetch_sub(1);
}

// Starts thread `index` on a list: its copy of the context takes the
// caller's state as it was when the list was started.
void ThreadPool::startReplay(int index) {
    RenderState& st = shadows_[static_cast<std::size_t>(index)]->s;
    // Start from the caller's state as it was when the list was started,
    // keeping this copy's own table, bands and (no) pool.
    const int bandShift = st.bandShift;
    const std::uint64_t* const bandThreads = st.bandThreads;
    st = base_;
    st.pool = nullptr;
    st.bandCount = count_;
    st.bandIndex = index;
    st.bandShift = bandShift;
    st.bandThreads = bandThreads;
    if (index > 0) {
        st.scanBlock = scanBlocks_[static_cast<std::size_t>(index)];
        layOutScanTable(st.scan, st.scanBlock, st.height);
    }
}

// Thread `index` replays the records from `at` to `end`, its own
// triangles of them; gives where it stopped (`end`).  A change of colour
// riding on a record not its own is taken only before a call it replays.
std::uint64_t ThreadPool::replayRecords(int index, std::uint64_t at, std::uint64_t end) {
    KWRRender& self = *shadows_[static_cast<std::size_t>(index)];
    RenderState& st = self.s;
    const unsigned char* const ring = ring_.get();
    bool colourPending = false;
    std::uint32_t colour = 0;
    while (at < end) {
        const unsigned char* const record = ring + (at & (kRingBytes - 1));
        CommandHeader h;
        std::memcpy(&h, record, sizeof h);
        if ((h.bytes & kCarriesColour) != 0) {
            colourPending = true;
            colour = h.colour;
        }
        if ((h.threads >> index) & 1u) {
            if (colourPending) {
                colourPending = false;
                setCurrentColour(st, colour);
            }
            h.replay(self, st, record + kArgsAt);
        }
        at += h.bytes & ~kCarriesColour;
    }
    if (colourPending) setCurrentColour(st, colour);
    return at;
}

void ThreadPool::workerLoop(int index) {
    std::uint64_t seen = 0;
    const auto news = [&] { return quit_.load() || started_.load() != seen; };
    {
        std::unique_lock<std::mutex> l(mutex_);
        if (pending_.fetch_sub(1) == 1) wake_.notify_all();
        sleepers_.fetch_add(1);
        wake_.wait(l, news);
        sleepers_.fetch_sub(1);
    }
    for (;;) {
        if (quit_.load()) return;
        seen = started_.load();
        startReplay(index);
        std::atomic<std::uint64_t>& passed = passed_[index].at;
        for (std::uint64_t at = 0;;) {
            at = replayRecords(index, at, ready_.load(std::memory_order_acquire));
            // Sequentially consistent with the caller's look at `passed`
            // and its need: one of the two sees the other's.
            passed.store(at);
            const std::uint64_t need = callerNeeds_.load();
            if (need != 0 && at >= need) wakeSleepers();
            // Everything is ready once the list is closed.
            if (closed_.load() && ready_.load() == at) break;
            waitUntil([&] { return ready_.load() != at || closed_.load(); });
        }
        shadows_[static_cast<std::size_t>(index)]->s.scanBlock = nullptr;
        finishedAt_[static_cast<std::size_t>(index)] = seconds();
        if (pending_.fetch_sub(1) == 1) wakeSleepers();
        waitUntil(news);
    }
}

void ThreadPool::finish(bool adapt) {
    // The next list starts from the caller's state, colour included.
    colourHeld_ = false;
    if (used_ == 0) return;
    // Not publish(): the whole list is ready before it is closed (a worker
    // that saw it closed with records still unready would stop early), and
    // every sleeper is woken, whatever was woken last.
    published_ = used_;
    ready_.store(used_);
    closed_.store(true);
    wakeSleepers();
    replayCaller(used_);
    shadows_[0]->s.scanBlock = nullptr;
    const double replayed = seconds();
    const bool waited = pending_.load() != 0;
    waitUntil([&] { return pending_.load() == 0; });
    const double end = waited ? seconds() : replayed;
    // Short lists (a clear, a few large fills) say little about the cost
    // of recording: they leave the bands as they are.
    adapt = adapt && used_ >= kAdaptingBytes;
    double workersDone = 0;
    for (std::size_t i = 1; i < finishedAt_.size(); ++i) workersDone = std::max(workersDone, finishedAt_[i]);
    used_ = 0;
    stop_ = 0;
    published_ = 0;
    ready_.store(0);
    closed_.store(false);
    if (adapt)
        adaptCallerBands(callerWaited_ + (waited ? end - replayed : 0.0), waited ? 0.0 : replayed - workersDone,
                         end - roundStart_);
}

}  // namespace kwr
