// Surface pixel formats as types.
//
// Each format type knows its size and how the current colour is stored.
// Drawing operations pick the format once per call with withFormat() and run
// a loop instantiated for that type, so no per-pixel code switches on the
// format.  Multi-byte values go through memcpy: surfaces, textures and host
// images need not be aligned.
#ifndef KWR_RENDER_PIXEL_FORMAT_H
#define KWR_RENDER_PIXEL_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kwr {

inline std::uint16_t load16(const unsigned char* p) {
    std::uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}
inline void store16(unsigned char* p, std::uint16_t v) { std::memcpy(p, &v, 2); }
inline std::uint32_t load32(const unsigned char* p) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void store32(unsigned char* p, std::uint32_t v) { std::memcpy(p, &v, 4); }

// The current colour prepared for every format: cube index, X1R5G5B5 word and
// the 0xAARRGGBB word.
struct SolidColor {
    std::uint8_t c8;
    std::uint16_t c16;
    std::uint32_t c32;
};

// X1R5G5B5 from the top five bits of each channel of 0xAARRGGBB.
inline std::uint16_t toX1R5G5B5(std::uint32_t argb) {
    return static_cast<std::uint16_t>(((argb >> 9) & 0x7C00u) | ((argb >> 6) & 0x3E0u) |
                                      ((argb >> 3) & 0x1Fu));
}
// 0x00RRGGBB from X1R5G5B5, each 5-bit field widened to 8 bits by repeating
// its top bits in the freed low bits (as GDI shows such pixels).
inline std::uint32_t fromX1R5G5B5(std::uint32_t w) {
    const std::uint32_t r = (w >> 10) & 0x1Fu, g = (w >> 5) & 0x1Fu, b = w & 0x1Fu;
    return (((r << 3) | (r >> 2)) << 16) | (((g << 3) | (g >> 2)) << 8) | ((b << 3) | (b >> 2));
}
// Index into the 6x6x6 colour cube (each channel divided by 43, truncated).
inline std::uint8_t toColorCube(std::uint32_t argb) {
    const unsigned r = (argb >> 16) & 0xFFu, g = (argb >> 8) & 0xFFu, b = argb & 0xFFu;
    return static_cast<std::uint8_t>(((r / 43u) * 6u + g / 43u) * 6u + b / 43u);
}
// The colour table that makes toColorCube's indices meaningful: 216 entries
// of 4 bytes (blue, green, red, 0), entry (r * 6 + g) * 6 + b holding red
// r * 43, green g * 43, blue b * 43, red outermost.
inline void writeColorCubeTable(unsigned char* entry) {
    for (unsigned r = 0; r <= 255; r += 43) {
        for (unsigned g = 0; g <= 255; g += 43) {
            for (unsigned b = 0; b <= 255; b += 43) {
                entry[0] = static_cast<unsigned char>(b);
                entry[1] = static_cast<unsigned char>(g);
                entry[2] = static_cast<unsigned char>(r);
                entry[3] = 0;
                entry += 4;
            }
        }
    }
}

struct Format8 {
    static constexpr int kBpp = 8;
    static constexpr int kBytes = 1;
    static void storeSolid(unsigned char* p, const SolidColor& c) { *p = c.c8; }
};

struct Format16 {
    static constexpr int kBpp = 16;
    static constexpr int kBytes = 2;
    static void storeSolid(unsigned char* p, const SolidColor& c) { store16(p, c.c16); }
};

struct Format24 {
    static constexpr int kBpp = 24;
    static constexpr int kBytes = 3;
    // Blue and green as one word, then red.
    static void storeSolid(unsigned char* p, const SolidColor& c) {
        store16(p, static_cast<std::uint16_t>(c.c32 & 0xFFFFu));
        p[2] = static_cast<unsigned char>((c.c32 >> 16) & 0xFFu);
    }
};

struct Format32 {
    static constexpr int kBpp = 32;
    static constexpr int kBytes = 4;
    static void storeSolid(unsigned char* p, const SolidColor& c) { store32(p, c.c32); }
};

// Calls f(FormatN{}) for the surface format `bpp` and returns true, or
// returns false without calling f when bpp is not 8, 16, 24 or 32.
template <class F>
bool withFormat(int bpp, F&& f) {
    switch (bpp) {
    case 8: f(Format8{}); return true;
    case 16: f(Format16{}); return true;
    case 24: f(Format24{}); return true;
    case 32: f(Format32{}); return true;
    default: return false;
    }
}

// Byte offset of pixel (x, y); 64-bit so that no product overflows.
inline std::ptrdiff_t pixelOffset(int x, int y, int pitch, int bytesPerPixel) {
    return static_cast<std::ptrdiff_t>(y) * pitch + static_cast<std::ptrdiff_t>(x) * bytesPerPixel;
}

}  // namespace kwr

#endif
