// DibStream: a device-independent bitmap held in memory, the frame buffer
// behind a render context.  A BITMAPINFO block (header and colour table) and
// a separate block of pixel rows, each released according to how it was
// allocated.
#ifndef KWR_RENDER_DIB_STREAM_H
#define KWR_RENDER_DIB_STREAM_H

#include <atomic>

#include "render/platform.h"

namespace kwr {

// Bytes per pixel row of a DIB: bitCount * width bits rounded up to whole
// 32-bit words.  U is the unsigned type the arithmetic runs in: 32 bits
// wrap as GDI's computation does, 64 bits are exact for any int arguments.
template <class U>
constexpr U dibRowBytes(U bitCount, U width) {
    return ((bitCount * width + 31u) >> 3) & ~U{3};
}

// Colour-table index of pixel x of a DIB row of 1, 4 or 8 bits (the
// leftmost pixel in the high bits of a byte).
inline unsigned indexAt(const unsigned char* row, int x, int bpp) {
    switch (bpp) {
    case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1u;
    case 4: return (x & 1) != 0 ? row[x >> 1] & 0x0Fu : row[x >> 1] >> 4u;
    default: return row[x];
    }
}

// How a block was obtained, which selects how it is released.
enum DibAlloc : int {
    kAllocNone = 0,   // not owned, never freed
    kAllocMalloc = 1, // free (so is every other value not listed here)
    kAllocLocal = 4,  // LocalFree
    kAllocHeap = 6,   // HeapFree on the process heap
};

// Error codes of DibStream::lastError.
enum DibError : int {
    kDibOk = 0,
    kDibSomeError = 1,
    kDibAllocateMemory = 2,
    kDibOpenFile = 3,
    kDibReadFile = 4,
    kDibWriteFile = 5,
    kDibInvalidImage = 6,
    kDibUnsupportType = 7,
    kDibNotMatchType = 8,
    kDibLoadInterrupt = 9,
    // Why the render context refused a frame buffer or a pixel format.
    kDibTooWide = 10,
    kDibTooTall = 11,
    kDibTooLarge = 12,
    kDibBadDepth = 13,
    kDibBadSize = 14,
};

// The message of an error code: "" for 0, "(undefined)" for unknown codes.
const char* dibErrorText(int code);

class DibStream {
public:
    DibStream();
    virtual ~DibStream();
    DibStream(const DibStream&) = delete;
    DibStream& operator=(const DibStream&) = delete;

    // (Re)creates header, colour table and pixel block: width x |height|
    // pixels of bitCount (1, 4, 8, 16, 24 or 32) bits; a negative height
    // stores rows top-down.  On failure the object is empty and lastError 2.
    bool Create(int width, int height, int bitCount);
    // Bytes per pixel row (padded to 4 bytes); 0 without a header.
    int GetRowBytes() const;
    // Copies the whole surface 1:1 to the device context at (x, y).
    void Draw(HDC hdc, int x, int y) const;

    int AddRef();
    int Release();

    std::atomic<int> refCount;  // copies of an image on several threads share it
    BITMAPINFO* header;
    unsigned char* bits;
    int headerAlloc;
    int bitsAlloc;
    int lastError;
};

}  // namespace kwr

#endif
