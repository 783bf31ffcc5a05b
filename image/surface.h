// Surfaces of the image library: a view of any uncompressed bitmap in memory
// (a DibStream, or a render context's frame), new surfaces with their colour
// tables, and the pixel conversions between depths.
#ifndef KWR_IMAGE_SURFACE_H
#define KWR_IMAGE_SURFACE_H

#include <cstddef>
#include <cstdint>

#include "render/dib_stream.h"

namespace kwr {

// An uncompressed bitmap: header facts, pixel rows and colour table.
struct SurfaceView {
    int width;
    int height;                    // positive
    int bpp;                       // 1, 4, 8, 16, 24 or 32
    int pitch;                     // bytes per row
    bool topDown;
    unsigned char* bits;           // first stored row
    const unsigned char* table;    // 4-byte entries blue, green, red, 0
    int tableSize;                 // entries, 0 for 16, 24 and 32 bits

    // Row y counted from the top (0 <= y < height).
    unsigned char* row(int y) const {
        const int stored = topDown ? y : height - 1 - y;
        return bits + static_cast<std::ptrdiff_t>(stored) * pitch;
    }
};

// A view of an uncompressed bitmap with a 40-byte-or-longer header followed
// by its colour table; false when the header does not describe one.
bool viewOf(const BITMAPINFO* header, unsigned char* bits, SurfaceView& view);
bool viewOf(const DibStream& dib, SurfaceView& view);

// Makes `out` a new top-down surface of width x height pixels of bpp bits,
// pixels zero, with the standard colour table of its depth (1: black and
// white; 4: the sixteen colours of toColor16; 8: the 6x6x6 colour cube,
// then a grey ramp).  Returns an error code (0 on success); sizes beyond the
// library's caps on loaded images fail as out of memory.
int createSurface(DibStream& out, int width, int height, int bpp);

// Pixel x of a row of the view as 0xAARRGGBB: colour-table entries (black
// beyond the table) and 16-bit X1R5G5B5 pixels with alpha 255, 24-bit pixels
// with alpha 255, 32-bit pixels with their fourth byte as alpha.
void rowToArgb(const SurfaceView& view, const unsigned char* row, std::uint32_t* out);

// Pixel (x, y), y from the top, as rowToArgb gives it.
std::uint32_t argbAt(const SurfaceView& view, int x, int y);

// Sets pixel x of a row of 1 or 4 bits to `index` (the row starts zeroed
// or holds earlier pixels).
inline void setIndex(unsigned char* row, int x, int bpp, unsigned index) {
    if (bpp == 1) {
        const unsigned bit = 0x80u >> (x & 7);
        row[x >> 3] = static_cast<unsigned char>(index != 0 ? row[x >> 3] | bit : row[x >> 3] & ~bit);
    } else {
        const unsigned shift = (x & 1) != 0 ? 0u : 4u;
        row[x >> 1] = static_cast<unsigned char>((row[x >> 1] & ~(0x0Fu << shift)) | ((index & 0x0Fu) << shift));
    }
}

// Index of the nearest of the sixteen fixed colours of 4-bit surfaces.
std::uint8_t toColor16(std::uint32_t argb);
// Grey level (77 R + 150 G + 29 B + 128) / 256; exact for grey pixels.
inline std::uint8_t greyLevel(std::uint32_t argb) {
    const std::uint32_t r = (argb >> 16) & 0xFFu, g = (argb >> 8) & 0xFFu, b = argb & 0xFFu;
    return static_cast<std::uint8_t>((77u * r + 150u * g + 29u * b + 128u) >> 8);
}

// Nearest-neighbour source index of destination index d when dstN
// destination samples cover srcN source samples: floor((d + 0.5) * srcN / dstN).
inline int nearestSource(std::int64_t d, int srcN, int dstN) {
    return static_cast<int>(((2 * d + 1) * srcN) / (2 * static_cast<std::int64_t>(dstN)));
}

// Conversions into a new top-down surface `out`; each returns an error code.
// convertSurface: to bpp from any depth (the same depth copies, colour table
// included).  resizeSurface: nearest neighbour, depth and table kept.
// alphaMapSurface: one byte per pixel from the alpha channel or the grey
// level (8 bits, grey-ramp table).
int convertSurface(const SurfaceView& src, int bpp, DibStream& out);
int resizeSurface(const SurfaceView& src, int width, int height, DibStream& out);
int alphaMapSurface(const SurfaceView& src, bool fromGrey, DibStream& out);

}  // namespace kwr

#endif
