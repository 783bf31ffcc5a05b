// Frames as pictures: what a window would show of a frame, and saving it.
#ifndef KWR_EXAMPLES_PICTURE_H
#define KWR_EXAMPLES_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KWRRender.h"

namespace kwr_demo {

// A top-down picture of 32-bit pixels 0x00RRGGBB.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;
};

// The render context's frame buffer: size, depth, row size and pixels
// (all zero without a frame buffer).
struct FrameFormat {
    int width = 0;
    int height = 0;
    int bpp = 0;
    std::size_t rowBytes = 0;
    const unsigned char* pixels = nullptr;
};
inline FrameFormat frameFormat(KWRRender& r) {
    void* header = nullptr;
    void* pixels = nullptr;
    FrameFormat f;
    if (r.kwrGetDib(&header, &pixels) == 0 || header == nullptr) return f;
    // BITMAPINFOHEADER: width at byte 4, height at 8 (negative: top-down),
    // bits per pixel at 14; rows are padded to whole 32-bit words.
    const unsigned char* h = static_cast<const unsigned char*>(header);
    std::int32_t w = 0, ht = 0;
    std::uint16_t bpp = 0;
    std::memcpy(&w, h + 4, 4);
    std::memcpy(&ht, h + 8, 4);
    std::memcpy(&bpp, h + 14, 2);
    f.width = w;
    f.height = ht < 0 ? -ht : ht;
    f.bpp = bpp;
    f.rowBytes = ((static_cast<std::size_t>(bpp) * static_cast<std::size_t>(w) + 31) >> 3) & ~std::size_t{3};
    f.pixels = static_cast<const unsigned char*>(pixels);
    return f;
}

// Presents the frame through kwrRender into memory, exactly as a window
// would receive it (on Windows through GDI into a DIB section), so 8 bpp
// frames come out through their palette and 16 bpp frames widened.
Picture capture(KWRRender& r, int width, int height);

// True where this build can write PNG files.
bool havePng();

// Writes `p` as a PNG (8-bit RGB) or, for a name ending in ".bmp", as a
// 24-bit bitmap file.  Returns an error text, empty on success.
std::string savePicture(const Picture& p, const std::string& path);

// Saves the frame of `r`: a ".bmp" name gets the frame buffer as it is (its
// own depth and, at 8 bpp, its palette) through the image library, other
// names what savePicture writes of the presented frame.
std::string saveFrame(KWRRender& r, const std::string& path);

bool endsWith(const std::string& s, const std::string& suffix);

}  // namespace kwr_demo

#endif
