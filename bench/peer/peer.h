// One renderer under test.  The benchmark prepares a mode and a triangle set
// (untimed), clears the frame (untimed, finished on return) and times draw(),
// which returns only when every pixel of the set is in the frame.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "workload.h"

namespace peerbench {

class Peer {
public:
    virtual ~Peer() = default;
    // Why this peer cannot draw the mode, or empty when it can.
    virtual std::string unsupported(Mode) const { return {}; }
    // What the peer calls for the mode, for the notes under the table.
    virtual std::string howDrawn(Mode) const = 0;
    // Version and configuration, for the notes.
    virtual std::string describe() const = 0;
    virtual void prepare(Mode m, const TriangleSet& set) = 0;
    virtual void clear() = 0;
    // Draws the first `triangles` triangles of the prepared set.
    virtual void draw(std::size_t triangles) = 0;
    // Copies the frame as blue, green, red, alpha bytes, top row first;
    // false when the frame is not 32 bits per pixel.
    virtual bool readFrame(std::uint8_t* bgra) = 0;
};

using Texture = std::vector<std::uint8_t>;

// `threads` as kwrSetThreads takes it (1: the calling thread only, 0: one per core).
std::unique_ptr<Peer> makeKwrenderPeer(int bpp, const Texture& texture, int threads = 1);
#ifdef KWR_PEER_OSMESA
std::unique_ptr<Peer> makeOsmesaPeer(const Texture& texture);
#endif
#ifdef KWR_PEER_SDL
std::unique_ptr<Peer> makeSdlPeer(const Texture& texture);
#endif

}  // namespace peerbench
