// Multi-core rendering: a context's pool of threads and its command list.
//
// With more than one thread a drawing call records itself and returns.  The
// workers replay the list while it is being recorded, each on a copy of the
// context of its own (its own state and scan-line table), drawing only the
// rows it owns; the caller replays its own rows when it needs room in the
// ring that holds the list, and at the flush.  Rows are dealt
// in bands, and the caller, which also records, owns fewer of them when
// recording keeps it busy.  Each pixel sees the same operations in the same
// order as on one core, and the frame is the same bytes.
#ifndef KWR_RENDER_THREADS_H
#define KWR_RENDER_THREADS_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

#include "KWRRender.h"
#include "render/state.h"

// Recording stays out of line, so that the drawing path of a context on one
// thread keeps its shape.
#if defined(_MSC_VER)
#define KWR_NOINLINE __declspec(noinline)
#else
#define KWR_NOINLINE __attribute__((noinline))
#endif

namespace kwr {

// The most threads a context runs; larger requests are held to it.  A
// WebAssembly build without threads cannot start workers: one.
#if defined(__EMSCRIPTEN__) && !defined(__EMSCRIPTEN_PTHREADS__)
constexpr int kMaxThreads = 1;
#else
constexpr int kMaxThreads = 64;
#endif
// log2 of the rows in one band, until a surface chooses its own.
constexpr int kDefaultBandShift = 6;
// The command list lies in a ring of chunks of fixed size, made with the
// pool: the caller records into one chunk while the threads replay earlier
// ones, and a chunk is written again only once every thread has passed it.
// A list of any length never stops the workers, and never allocates.
constexpr std::size_t kChunkBytes = std::size_t{256} << 10;
constexpr std::size_t kChunks = 4;
constexpr std::size_t kRingBytes = kChunkBytes * kChunks;

// The thread count asked for by KWRENDER_THREADS (1 when unset or unreadable).
int threadsFromEnvironment();
// What a request for n threads gives: 0 = one per core, at least 1, at most kMaxThreads.
int threadsForRequest(int n);

// One recorded call: a function that replays it on a thread's copy of the
// context, followed by its arguments.
struct CommandHeader {
    void (*replay)(KWRRender& self, RenderState& s, const unsigned char* args);
    std::uint64_t threads;  // bit t set: thread t replays it
    // The whole record, header included (to the chunk's end when closing
    // one), a multiple of kRecordAlign; the low bit (kCarriesColour) set
    // when the current colour changed to `colour` just before the call.
    std::uint32_t bytes;
    std::uint32_t colour;  // 0xAARRGGBB
};
constexpr std::uint32_t kCarriesColour = 1;

// Every thread replays the call.
constexpr std::uint64_t kAllThreads = ~std::uint64_t{0};

// A record: its header, then its arguments, each starting on an eight-byte
// boundary (recorded arguments need no more; records stay small).
constexpr std::size_t kRecordAlign = 8;
constexpr std::size_t recordRoundUp(std::size_t n) { return (n + kRecordAlign - 1) / kRecordAlign * kRecordAlign; }
constexpr std::size_t kArgsAt = recordRoundUp(sizeof(CommandHeader));
// Recorded bytes handed to the workers at a time.
constexpr std::size_t kPublishBytes = 1024;
// Bands in the cycle of bands dealt to the threads, per thread.
constexpr int kBandsPerThread = 4;

class ThreadPool {
public:
    // A pool of `threads` (> 1) for a surface of `rows` rows; null when the
    // threads or their memory cannot be had.
    static ThreadPool* create(int threads, int rows) noexcept;
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    int threads() const { return count_; }
    // Gives every thread a scan-line table for `rows` rows; false when the
    // memory cannot be had (the pool is then unusable and must go).
    bool resize(int rows) noexcept;
    // Rows per band from now on: the largest power of two up to `rows`
    // (tests vary it; results never depend on it).  Until then each
    // surface gets its own (bandShiftFor).
    void setBandHeight(int rows);
    // How many of each thread's share of bands the caller owns, from 0 to
    // kBandsPerThread, from now on; -1: chosen at each flush from how long
    // the caller and the workers waited for each other (the default).
    void setCallerBands(int bands);
    // The threads owning any row from floor(top) - 1 to ceil(bottom) + 1 of a
    // surface of `rows` rows (and perhaps a few more): a call drawing inside
    // those rows needs no other.
    std::uint64_t threadsForRows(double top, double bottom, int rows) const {
        if (!(top <= bottom)) return kAllThreads;  // NaN
        // Held to -2 .. rows + 1 first, where truncation is floor once 2 is
        // added; rows off the surface count as its first or last.  (Every
        // step is a minimum or maximum, not a branch: recording a small
        // triangle pays for this.)
        const double lo = -2.0, hi = rows + 1.0;
        top = top > lo ? top : lo;
        top = top < hi ? top : hi;
        bottom = bottom > lo ? bottom : lo;
        bottom = bottom < hi ? bottom : hi;
        int first = static_cast<int>(top + 2.0) - 3;  // floor(top) - 1
        int last = static_cast<int>(bottom + 2.0);    // floor(bottom) + 2
        first = first > 0 ? first : 0;
        last = last < rows - 1 ? last : rows - 1;
        if (last < first) return 0;  // a surface without rows
        const std::size_t a = static_cast<std::size_t>(first >> bandShift_);
        const std::size_t b = static_cast<std::size_t>(last >> bandShift_);
        // Most calls reach one band or two.
        if (b - a <= 1 && b < bandThreads_.size()) return bandThreads_[a] | bandThreads_[b];
        return threadsForBands(a, b);
    }

    // The thread owning row y (0 <= y < rows), as a bit.
    std::uint64_t rowThreads(int y) const { return bandThreads_[static_cast<std::size_t>(y >> bandShift_)]; }

    // The threads a triangle with corners on these rows may reach (all of
    // them when a row is NaN).
    std::uint64_t threadsForTriangle(double y0, double y1, double y2, int rows) const {
        if (!(y0 == y0 && y1 == y1 && y2 == y2)) return kAllThreads;
        double top = y0 < y1 ? y0 : y1, bottom = y0 < y1 ? y1 : y0;
        top = top < y2 ? top : y2;
        bottom = bottom > y2 ? bottom : y2;
        return threadsForRows(top, bottom, rows);
    }

    // A change of the current colour (already made on the caller's state),
    // recorded for every thread in the header of whatever is recorded next:
    // a thread replays it before its next call, whether or not it replays
    // that call.
    void holdColour() { colourHeld_ = true; }

    // Room for a record of `argBytes` bytes of arguments (at most a chunk
    // less two headers); when the chunk is full, the record goes to the next
    // one, which the caller may first have to replay its own rows of and
    // wait for.  `s` is the caller's state, copied as the starting state of
    // the threads when the list is empty.
    unsigned char* reserve(const RenderState& s, std::size_t argBytes, CommandHeader& header) {
        const std::size_t bytes = kArgsAt + recordRoundUp(argBytes);
        header.bytes = static_cast<std::uint32_t>(bytes);
        if (colourHeld_) {
            colourHeld_ = false;
            header.bytes |= kCarriesColour;
            header.colour = s.color;
        }
        if (used_ + bytes > stop_) reserveSlowly(s, bytes);
        unsigned char* const at = ring_.get() + (used_ & (kRingBytes - 1));
        std::memcpy(at, &header, sizeof header);
        used_ += bytes;
        return at + kArgsAt;
    }
    // Sets the threads of the record whose arguments start at `args`, the
    // last one reserved (a record of several draws learns them as it is
    // written; the workers see it only once the next one is reserved).
    static void setThreads(unsigned char* args, std::uint64_t threads) {
        std::memcpy(args - kArgsAt + offsetof(CommandHeader, threads), &threads, sizeof threads);
    }
    // Draws every recorded call and empties the list.
    void flush() { finish(true); }
    // Bytes recorded since the last flush, a held change of colour counted
    // as the four it takes in the next header (tests see what a call recorded).
    std::size_t recordedBytes() const { return static_cast<std::size_t>(used_) + (colourHeld_ ? 4 : 0); }

private:
    ThreadPool() = default;
    void reserveSlowly(const RenderState& s, std::size_t bytes);
    void publish(bool wakeAll);
    void nextChunk();
    void replayCaller(std::uint64_t upTo);
    void finish(bool adapt);
    void layOutBands();
    static int bandShiftFor(int rows, int threads);
    void setBandShift(int shift);
    std::uint64_t threadsForBands(std::size_t first, std::size_t last) const;
    void adaptCallerBands(double callerWaited, double workersWaited, double round);
    void workerLoop(int index);
    void startReplay(int index);
    std::uint64_t replayRecords(int index, std::uint64_t at, std::uint64_t end);

    int count_ = 0;
    std::vector<std::unique_ptr<KWRRender>> shadows_;  // one copy of the context per thread
    std::vector<void*> scanBlocks_;                   // their tables (thread 0 uses the caller's)
    std::vector<std::thread> workers_;                // threads 1..count_-1
    int bandShift_ = kDefaultBandShift;  // log2 of the rows per band
    bool bandHeightChosen_ = false;      // fixed by setBandHeight
    int rows_ = 0;                        // the surface's
    // The owner of each band of the surface (and of one more), as its bit:
    // a cycle of kBandsPerThread bands a thread, repeated.
    std::vector<std::uint64_t> bandThreads_;
    int callerBands_ = kBandsPerThread;   // of the caller's share, the bands it owns
    bool callerBandsChosen_ = false;      // fixed by setCallerBands
    std::unique_ptr<unsigned char[]> ring_;
    // Places in the list count its bytes from its start; byte i lies in the
    // ring at i % kRingBytes.
    std::uint64_t used_ = 0;       // recorded bytes
    std::uint64_t limit_ = 0;      // where the records of this chunk end at the latest (room for one header after)
    std::uint64_t published_ = 0;  // of them, handed to the workers
    std::uint64_t wokenAt_ = 0;    // recorded bytes when sleepers were last woken (0: not yet in this list)
    std::uint64_t callerAt_ = 0;   // of them, replayed by the caller
    // A record reaching past this goes by reserveSlowly: the list's start
    // (0), the next handing over to the workers, the chunk's end.
    std::uint64_t stop_ = 0;
    double callerWaited_ = 0;      // seconds the caller waited for workers to pass a chunk, this list
    bool colourHeld_ = false;    // the caller's colour is to be recorded before the next record
    RenderState base_{};  // the caller's state when the list was started
    double roundStart_ = 0;  // when the list was started, in seconds

    // Shared by the caller and the workers.  A thread waiting for another
    // looks a while, then sleeps on `wake_`; whoever changes what it waits
    // for wakes the sleepers.
    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<int> sleepers_{0};
    std::atomic<std::uint64_t> started_{0};  // lists started
    std::atomic<std::uint64_t> ready_{0};    // bytes of the list the workers may replay
    // Bytes of the list each worker has replayed, each on a cache line of
    // its own, and the place the caller waits for them to reach (0: none).
    struct alignas(64) Passed {
        std::atomic<std::uint64_t> at{0};
    };
    std::unique_ptr<Passed[]> passed_;
    std::atomic<std::uint64_t> callerNeeds_{0};
    std::atomic<bool> closed_{false};        // the list is complete
    std::atomic<int> pending_{0};            // workers still replaying it
    std::atomic<bool> quit_{false};
    std::vector<double> finishedAt_;         // when each worker finished it, in seconds

    template <class Done>
    void waitUntil(Done done);
    void wakeSleepers();
};

// --- Recording ---------------------------------------------------------------

template <class M>
struct MemberArgs;
template <class R, class... P>
struct MemberArgs<R (KWRRender::*)(P...)> {
    using Tuple = std::tuple<std::decay_t<P>...>;
};

template <auto Member>
void replayMember(KWRRender& self, RenderState&, const unsigned char* args) {
    using Tuple = typename MemberArgs<decltype(Member)>::Tuple;
    const Tuple& t = *std::launder(reinterpret_cast<const Tuple*>(args));
    std::apply([&](auto... a) { (self.*Member)(a...); }, t);
}

// Records a call of the public member `Member` with these arguments.
template <auto Member, class... A>
KWR_NOINLINE void recordMember(RenderState& s, A... a) {
    using Tuple = typename MemberArgs<decltype(Member)>::Tuple;
    static_assert(std::is_trivially_destructible<Tuple>::value, "recorded arguments are plain values");
    static_assert(alignof(Tuple) <= kRecordAlign, "records are aligned for their arguments");
    CommandHeader h{&replayMember<Member>, kAllThreads, 0, 0};
    ::new (static_cast<void*>(s.pool->reserve(s, sizeof(Tuple), h))) Tuple(a...);
}

// The most host bytes a record carries: a call reading more is drawn at
// once instead (see KWR_RECORD_COPYING).
constexpr std::size_t kMaxCopiedBytes = kChunkBytes / 2;

// A call whose last argument points at host memory that the call reads and
// that the host may change or release as soon as the call returns: the
// record holds the other arguments followed by a copy of the bytes, and the
// replay passes the copy in place of the host's pointer.
template <auto Member, class Tuple>
void replayCopying(KWRRender& self, RenderState&, const unsigned char* args) {
    const Tuple& t = *std::launder(reinterpret_cast<const Tuple*>(args));
    // The copy lies in the list's own (writable) storage, and the members
    // only read through the pointer they take.
    unsigned char* const copy = const_cast<unsigned char*>(args) + sizeof(Tuple);
    std::apply([&](auto... a) { (self.*Member)(a..., copy); }, t);
}

// Records a call of the public member `Member` with the arguments `a` and,
// as its last argument, a copy of the `bytes` bytes at `data`.  False, with
// nothing recorded, when the copy is larger than a record may carry.
template <auto Member, class... A>
KWR_NOINLINE bool recordMemberCopying(RenderState& s, const unsigned char* data, std::uint64_t bytes, A... a) {
    using Tuple = std::tuple<A...>;
    static_assert(std::is_trivially_destructible<Tuple>::value, "recorded arguments are plain values");
    static_assert(alignof(Tuple) <= kRecordAlign, "records are aligned for their arguments");
    if (bytes > kMaxCopiedBytes) return false;
    CommandHeader h{&replayCopying<Member, Tuple>, kAllThreads, 0, 0};
    const std::size_t n = static_cast<std::size_t>(bytes);
    unsigned char* const at = s.pool->reserve(s, sizeof(Tuple) + n, h);
    ::new (static_cast<void*>(at)) Tuple(a...);
    if (n != 0) std::memcpy(at + sizeof(Tuple), data, n);
    return true;
}

// Records a call of an internal function F(RenderState&, Args...).
template <class Tuple, void (*F)(RenderState&, const Tuple&)>
void replayInternal(KWRRender&, RenderState& s, const unsigned char* args) {
    F(s, *std::launder(reinterpret_cast<const Tuple*>(args)));
}
template <class Tuple, void (*F)(RenderState&, const Tuple&)>
void recordInternal(RenderState& s, const Tuple& t, std::uint64_t threads) {
    static_assert(std::is_trivially_copyable<Tuple>::value, "recorded arguments are plain values");
    static_assert(alignof(Tuple) <= kRecordAlign, "records are aligned for their arguments");
    CommandHeader h{&replayInternal<Tuple, F>, threads, 0, 0};
    ::new (static_cast<void*>(s.pool->reserve(s, sizeof(Tuple), h))) Tuple(t);
}

// Whether calls on this state are recorded rather than drawn.
inline bool recording(const RenderState& s) { return s.pool != nullptr; }

}  // namespace kwr

// In a drawing member: record the call with its arguments and return when
// the context records.
#define KWR_RECORD(member, ...)                                            \
    do {                                                                   \
        if (kwr::recording(s)) {                                           \
            kwr::recordMember<&KWRRender::member>(s, __VA_ARGS__);         \
            return;                                                        \
        }                                                                  \
    } while (0)

// In a drawing member whose last argument points at `bytes` bytes of host
// memory read during the call (`data`: the first of them): record the call
// with a copy of them and return when the context records.  A copy too large
// for a record draws what is recorded and then this call at once, on the
// caller's thread.  Either way the host's memory is never read after the
// call returns.
#define KWR_RECORD_COPYING(member, data, bytes, ...)                        \
    do {                                                                   \
        if (kwr::recording(s)) {                                           \
            if (kwr::recordMemberCopying<&KWRRender::member>(s, data, bytes, __VA_ARGS__)) return; \
            kwrFlush();                                                    \
        }                                                                  \
    } while (0)

// In a state setter: record the call when the context records; the setter
// then applies it to the caller's state as well, so that getters answer at once.
#define KWR_RECORD_STATE(member, ...)                                      \
    do {                                                                   \
        if (kwr::recording(s)) kwr::recordMember<&KWRRender::member>(s, __VA_ARGS__); \
    } while (0)

#endif
