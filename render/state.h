// The render context's state and the small rules every drawing operation
// reads from it.
//
// A KWRRender holds this state inside its own storage (the public header
// reserves an aligned block of fixed size for it), so the object keeps the
// scan-line table inside itself and a copy of the object copies every byte of
// it.  This header is internal: hosts never see these types.
#ifndef KWR_RENDER_STATE_H
#define KWR_RENDER_STATE_H

#include <cstddef>
#include <cstdint>
#include <utility>

#include "KWRRender.h"
#include "render/pixel_format.h"

namespace kwr {

class DibStream;
class ThreadPool;

// Per-row edge records of the triangle rasteriser: for every row the
// leftmost span pixel and its attributes, and the rightmost span pixel and
// the attributes of the edge crossing just right of it.  Colour channels are
// 0 red, 1 green, 2 blue, 3 alpha, each 0..255 as float.  Triangles from
// clip space interpolated in perspective store colour / w, u / w and v / w
// instead, with 1 / w in the Q arrays.  The arrays live in
// one block sized for the surface's rows (scanTableBytes), made with the
// surface and released with it.
struct ScanLineTable {
    std::int32_t* scanLeftX;
    std::int32_t* scanRightX;
    float* scanLeftZ;
    float* scanRightZ;
    float* scanLeftColor[4];
    float* scanRightColor[4];
    float* scanLeftU;
    float* scanRightU;
    float* scanLeftV;
    float* scanRightV;
    float* scanLeftQ;
    float* scanRightQ;
};

// The table's arrays, all of 4-byte entries.
constexpr int kScanLineArrays = 18;

// Entries per array for a surface of `rows` rows: the rows rounded up to a
// multiple of 1024, plus 5, so that one row of different arrays lies at
// different offsets within 4 KiB (20 bytes apart).  The edge walk stores a
// row's ends and attributes and then loads that row's other end; at equal
// offsets the processor would take the load for dependent on those stores
// and hold it back.
inline std::size_t scanLineStride(int rows) {
    const std::size_t r = rows > 0 ? static_cast<std::size_t>(rows) : 0;
    return (r + 1023) / 1024 * 1024 + 5;
}

// Bytes of the block holding the table for `rows` rows.
inline std::size_t scanTableBytes(int rows) { return scanLineStride(rows) * kScanLineArrays * 4; }
static_assert(kScanLineArrays * 4 == KWR_SCAN_TABLE_BYTES_PER_ROW, "the header states the table's bytes a row");

// Points the table's arrays into `block` (scanTableBytes(rows) bytes, aligned
// for float), or at nothing when `block` is null.
void layOutScanTable(ScanLineTable& t, void* block, int rows);

struct RenderState {
    DibStream* dib;            // owned frame-buffer surface, null when none
    float* zBuffer;            // width * height depth values, row stride width
    int zBufferExternal;       // 1: zBuffer belongs to the host
    std::uint32_t color;       // current colour 0xAARRGGBB
    std::uint16_t color16;     // color as X1R5G5B5 (valid at 16 bpp)
    std::uint8_t color8;       // color as colour-cube index (valid at 8 bpp)
    int zBufferEnable;
    int zTestEnable;
    int alphaEnable;
    int renderBpp;
    float zBackDepth;
    int width, height;
    int clipRight, clipBottom;
    float widthF, heightF, clipRightF, clipBottomF;
    float centerX, centerY;
    int pitch;                 // bytes per surface row
    unsigned char* bits;       // surface row 0 (the top row)
    int zTestActive;           // depth test in force
    unsigned char* texture;    // 4-byte texels blue, green, red, alpha
    int textureWidth, textureHeight;
    int textureBpp;            // texture row pitch in bytes
    unsigned char* alphaMap;   // one byte per value
    int alphaMapWidth, alphaMapHeight;
    int alphaMapBpp;           // alpha-map row pitch in bytes
    int cullMode;              // KWR_CULL_*: which clip-space triangles are dropped
    int textureFilter;         // KWR_FILTER_*: how textures and alpha maps are sampled
    ScanLineTable scan;        // arrays in scanBlock
    void* scanBlock;           // the table's memory, owned with the surface
    // Multi-core rendering: the context's pool (null with one thread), and
    // the rows this state draws.  Rows are dealt in bands of 2^bandShift
    // rows, band b (the surface's bands and one more) to the thread
    // whose bit bandThreads[b] holds; this state is thread bandIndex of
    // bandCount, and one with bandCount 1 draws every row.
    ThreadPool* pool;
    int threadsWanted;         // the count asked for, in force once the pool exists
    int lastError;             // why the last kwrInitBuffer or kwrSetRenderBpp failed, or 0
    int bandShift, bandCount, bandIndex;
    const std::uint64_t* bandThreads;
};

// The one built-in texel (four 0xFF bytes).  Its address is significant:
// `texture` and `alphaMap` pointing at it means that nothing is bound.
extern unsigned char* const kBuiltinTexel;

// Makes argb the current colour, with its forms for the surface's format.
inline void setCurrentColour(RenderState& s, std::uint32_t argb) {
    s.color = argb;
    if (s.renderBpp == 8) {
        s.color8 = toColorCube(argb);
    } else if (s.renderBpp == 16) {
        s.color16 = toX1R5G5B5(argb);
    }
}

// The current colour in every surface format.
inline SolidColor solidColor(const RenderState& s) { return SolidColor{s.color8, s.color16, s.color}; }

// Centred coordinates (origin at the surface centre, y up) as pixel
// coordinates, in single precision.
inline float centredX(const RenderState& s, float x) { return s.centerX + x; }
inline float centredY(const RenderState& s, float y) { return s.centerY - y; }

// Depth testing needs the test switched on and a buffer to test against.
inline bool depthTestActive(const RenderState& s) { return s.zTestActive != 0 && s.zBuffer != nullptr; }

// The depth buffer as every drawing family sees it: one float per pixel,
// entry (x, y) at y * width + x (its rows are the surface width long,
// whatever the surface's pitch), smaller nearer.  The families differ in
// which depths let a pixel through, and each comparison is named here.
struct DepthView {
    float* values;
    int width;

    float* at(std::int64_t x, std::int64_t y) const {
        return values + static_cast<std::ptrdiff_t>(y) * width + static_cast<std::ptrdiff_t>(x);
    }
    // The triangle fills in flat colour or texture, opaque or blended, and
    // the opaque shaded ones: only what lies strictly in front.
    static bool nearer(float stored, float z) { return stored > z; }
    // Points, boxes, lines, image blits and the blended shaded fills: in
    // front or level with what is stored.
    static bool nearerOrLevel(float stored, float z) { return stored >= z; }
    // The one depth-tested write of points, boxes, lines and image blits:
    // where z is nearer or level with the stored depth, z replaces it and
    // the pixel is to be drawn.
    static bool passNearerOrLevel(float* stored, float z) {
        if (!nearerOrLevel(*stored, z)) return false;
        *stored = z;
        return true;
    }
};
inline DepthView depthView(const RenderState& s) { return DepthView{s.zBuffer, s.width}; }

// A map counts as bound when it is not the built-in texel and has a size;
// one stated with a width or height of zero or less cannot be sampled.
inline bool textureBound(const RenderState& s) {
    return s.texture != kBuiltinTexel && s.textureWidth > 0 && s.textureHeight > 0;
}
inline bool alphaMapBound(const RenderState& s) {
    return s.alphaMap != kBuiltinTexel && s.alphaMapWidth > 0 && s.alphaMapHeight > 0;
}
// Textured triangles draw untextured unless a texture or an alpha map is bound.
inline bool anyMapBound(const RenderState& s) { return textureBound(s) || alphaMapBound(s); }

// Fills that use the current colour blend when blending is on and the
// colour's alpha byte is below 0xFF.
inline bool currentColourBlends(const RenderState& s) { return s.alphaEnable != 0 && (s.color >> 24) != 0xFFu; }

// Keeps a row range inside the surface, and so inside the scan-line table,
// which has a row for every surface row.  Ranges computed from well-formed
// vertices already are; NaN vertices pass every rejection test and would not be.
inline void clampRows(const RenderState& s, int& first, int& last) {
    if (first < 0) first = 0;
    if (last > s.clipBottom) last = s.clipBottom;
}

// Whether this state draws the rows of band b (a band of the surface, or
// the one after it).
inline bool ownsBand(const RenderState& s, int band) {
    return ((s.bandThreads[band] >> s.bandIndex) & 1u) != 0;
}

// Whether this state draws row y (0 <= y < height).
inline bool ownsRow(const RenderState& s, int y) { return s.bandCount == 1 || ownsBand(s, y >> s.bandShift); }

// ownsRow for a walk that moves through neighbouring rows (lines): it looks
// the band up only when the walk enters another one.
class BandCursor {
public:
    explicit BandCursor(const RenderState& s) : s_(s) {}
    bool owns(int y) {
        if (y < first_ || y > last_) {
            first_ = y >> s_.bandShift << s_.bandShift;
            last_ = first_ + (1 << s_.bandShift) - 1;
            owned_ = ownsRow(s_, y);
        }
        return owned_;
    }

private:
    const RenderState& s_;
    int first_ = 1, last_ = 0;  // the band of the row last asked about
    bool owned_ = false;
};

// The rows of first..last (first >= 0, first <= last, both on the surface)
// from the first band at or after first's that this state draws up to the
// end of the run of its bands there, cut to first..last; empty (first >
// last) when it draws none of them.
inline std::pair<int, int> nextOwnedBands(const RenderState& s, int first, int last) {
    int band = first >> s.bandShift;
    const int lastBand = last >> s.bandShift;
    // Most ranges lie in one band.
    if (band == lastBand) return ownsBand(s, band) ? std::make_pair(first, last) : std::make_pair(last + 1, last);
    while (band <= lastBand && !ownsBand(s, band)) ++band;
    if (band > lastBand) return {last + 1, last};
    const int runFirst = band << s.bandShift;
    while (band <= lastBand && ownsBand(s, band)) ++band;
    const int runLast = (band << s.bandShift) - 1;
    return {runFirst > first ? runFirst : first, runLast < last ? runLast : last};
}

// Calls f(first, last) for each run of consecutive rows of first..last that
// this state draws, top to bottom; once with the whole range when it draws
// every row.  Nothing for an empty range.  (Rows on the surface.)
template <class F>
void forOwnedRows(const RenderState& s, int first, int last, F&& f) {
    if (first < 0) first = 0;
    if (first > last) return;
    if (s.bandCount == 1) return f(first, last);
    for (std::pair<int, int> run = nextOwnedBands(s, first, last); run.first <= run.second;
         run = run.second < last ? nextOwnedBands(s, run.second + 1, last) : std::pair<int, int>{1, 0})
        f(run.first, run.second);
}

}  // namespace kwr

#endif
