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
#include <cwchar>

#include "render/numeric.h"

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

// X1R5G5B5 from the top five bits of the low byte of each channel.
inline std::uint32_t pack555(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    return ((r & 0xF8u) << 7) | ((g & 0xF8u) << 2) | ((b >> 3) & 0x1Fu);
}
inline std::uint16_t toX1R5G5B5(std::uint32_t argb) {
    return static_cast<std::uint16_t>(pack555(argb >> 16, argb >> 8, argb));
}
// 0x00RRGGBB from X1R5G5B5, each 5-bit field widened to 8 bits by repeating
// its top bits in the freed low bits (as GDI shows such pixels).
inline std::uint32_t fromX1R5G5B5(std::uint32_t w) {
    const std::uint32_t r = (w >> 10) & 0x1Fu, g = (w >> 5) & 0x1Fu, b = w & 0x1Fu;
    return (((r << 3) | (r >> 2)) << 16) | (((g << 3) | (g >> 2)) << 8) | ((b << 3) | (b >> 2));
}
// Pixel x of a row of direct colours (Bpp 16, 24 or 32) as 0xAARRGGBB:
// 16 and 24 bits have no alpha and read as opaque.  The one reading of
// pixels back, for presenting and for the image library.
template <int Bpp>
inline std::uint32_t directPixelArgb(const unsigned char* row, std::ptrdiff_t x) {
    static_assert(Bpp == 16 || Bpp == 24 || Bpp == 32, "a direct-colour depth");
    if constexpr (Bpp == 16) {
        return 0xFF000000u | fromX1R5G5B5(load16(row + 2 * x));
    } else {
        const unsigned char* p = row + static_cast<std::ptrdiff_t>(Bpp / 8) * x;
        std::uint32_t alpha = 0xFF000000u;
        if constexpr (Bpp == 32) alpha = static_cast<std::uint32_t>(p[3]) << 24;
        return alpha | (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[1]) << 8) | p[0];
    }
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

// The integer blend of a flat colour: each channel becomes
// (old * keep + term) >> 8, the terms premultiplied once per call.  In 16
// bpp the terms enter each field in its own units (blue / 8, green / 8,
// red / 2).  The 32 bpp alpha byte is blended with the same keep and the
// term `alpha`, or kept as it is where keptBits has it (0xFF000000).
struct IntBlend {
    std::uint32_t keep;
    std::uint32_t b, g, r;
    std::uint32_t alpha;
    std::uint32_t keptBits;
};
// The integer blend of colour 0xAARRGGBB with weight alpha + 1.  The 32 bpp
// alpha byte moves toward 255 by the same weight, or with keepAlpha stays
// as it is.
inline IntBlend intBlendOf(std::uint32_t argb, bool keepAlpha) {
    const std::uint32_t a = (argb >> 24) + 1u;
    return IntBlend{256u - a, (argb & 0xFFu) * a, ((argb >> 8) & 0xFFu) * a, ((argb >> 16) & 0xFFu) * a,
                    keepAlpha ? 0u : 255u * a, keepAlpha ? 0xFF000000u : 0u};
}

// Pixels packed in a 64-bit word, `Bits` bits each, with the operations of
// a lane set that the integer blend uses: the blend's one body per format
// runs on the lanes of a span rule, on a word of several pixels of a run,
// and (Bits = 64) on one pixel.
template <int Bits>
struct PixelWord {
    using I = std::uint64_t;
    static I splatI(std::int32_t v) {
        I out = 0;
        for (int s = 0; s < 64; s += Bits) out |= static_cast<I>(static_cast<std::uint32_t>(v)) << s;
        return out;
    }
    static I addI(I a, I b) { return a + b; }
    static I andI(I a, I b) { return a & b; }
    static I orI(I a, I b) { return a | b; }
    static I shl(int n, I a) { return a << n; }
    static I shr(int n, I a) { return a >> n; }
    static I mulFields(I a, std::uint32_t k) { return a * k; }
};
// The bytes of one pixel as the low end of a word, whatever the byte order.
inline std::uint64_t loadPixelWord(const unsigned char* p, int bytes) {
    std::uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}
inline void storePixelWord(unsigned char* p, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// Lane arithmetic shared by the formats and the span rules (templates over a
// lane set of raster/span_lanes.h, one pixel per 32-bit lane).

// floor(v + 0.5) with the addition in single precision, saturated like
// roundHalfUp.
template <class V>
typename V::I roundLanes(typename V::F v) {
    return V::floorInt(V::add(v, V::splatF(0.5f)));
}

// v / 255 for 0 <= v <= 65025, without a division (proven over the whole
// domain by the tests).
template <class V>
typename V::I div255Lanes(typename V::I v) {
    return V::shr(8, V::addI(V::addI(v, V::splatI(1)), V::shr(8, v)));
}

// v * 31 / 65025 for 0 <= v <= 65025: the float quotient of these integers
// is close enough to floor exactly (proven over the whole domain by the
// tests).
template <class V>
typename V::I fifths65025Lanes(typename V::I v) {
    return V::floorInt(V::div(V::toF(V::subI(V::shl(5, v), v)), V::splatF(65025.0f)));
}

// The fills by the letters of what they do: 3 depth test, c interpolated
// vertex colour, t texture, a blended.
struct FillLetters {
    bool depth, shaded, textured, blended;
};

// What a fill draws on an 8 bpp surface, whose pixels are colour-cube
// indices: nothing is shaded, textured or blended there.
enum class Cube8 {
    kNothing,
    kCubeColour,         // color8 where the depth test passes, which stores the depth
    kCubeColourNoDepth,  // color8 where the depth test passes, depth left as it was
    kLowByte,            // the low (blue) byte of the colour word, not color8
};

// Pixel formats.  Each knows its size, how the current colour is stored,
// and per lane (one pixel per 32-bit lane: 0xAARRGGBB, 0x00RRGGBB, the
// X1R5G5B5 word or the cube index) how pixels are loaded, stored, made
// from channels and blended:
//
// opaque(b, g, r): the low byte of each channel; 32 bpp stores alpha 255
// and 16 bpp the top five bits of each.
// opaqueProducts(b, g, r): channel products t * c of two bytes scaled back
// to a byte by / 255, or in 16 bpp each field to t * c * 31 / 65025.
// opaqueRounded(src8, src16): each channel rounded(src8(i)) (0 blue, 1
// green, 2 red), or in 16 bpp each field rounded(src16(i, scale)), scale
// being the field's mask (its units).
// blendFloat(a, src8, src16): each channel becomes rounded(source + old *
// (1 - a)), with the source terms of opaqueRounded; 32 bpp also moves the
// stored alpha toward 255.
// blendInt(w): each channel becomes (old * keep + term) >> 8 (IntBlend).

// Fills `bytes` bytes (a multiple of `period`) with a repeated pattern of
// `period` bytes: the first block pattern by pattern, the rest by copying
// blocks already filled, which the C library does with its widest stores.
// The copied block stays small so that it is read from the first-level cache.
inline void fillRepeating(unsigned char* dst, std::size_t bytes, const unsigned char* pattern, std::size_t period) {
    bool uniform = true;
    for (std::size_t i = 1; i < period; ++i) uniform = uniform && pattern[i] == pattern[0];
    if (uniform) {
        std::memset(dst, pattern[0], bytes);
        return;
    }
    const std::size_t block = 1024 * period;  // a multiple of the period
    std::size_t done = 0;
    for (; done < bytes && done < 16 * period; done += period) std::memcpy(dst + done, pattern, period);
    while (done < bytes) {
        std::size_t n = done < block ? done : block;
        if (n > bytes - done) n = bytes - done;
        std::memcpy(dst + done, dst, n);
        done += n;
    }
}

// Clearing: clearRows(top, pitch, rows, width, c) fills `rows` rows of
// `pitch` bytes from `top` with the colour.  8, 16 and 32 bpp fill the rows
// whole as one run, padding included; 24 bpp fills the first `width` pixels
// of every row and leaves the padding as it is.

struct Format8 {
    static constexpr int kBpp = 8;
    static constexpr int kBytes = 1;
    static void storeSolid(unsigned char* p, const SolidColor& c) { *p = c.c8; }
    // The pixel word of the colour drawn opaque through lanes.
    static std::uint32_t opaqueWord(const SolidColor& c) { return c.c8; }
    static void clearRows(unsigned char* top, int pitch, int rows, int, const SolidColor& c) {
        std::memset(top, c.c8, static_cast<std::size_t>(pitch) * static_cast<std::size_t>(rows));
    }

    // The 8 bpp behaviour of every fill.  Fills without a depth test draw
    // in the cube colour when flat, and nothing when shaded or textured; a
    // flat blend takes the colour word's low byte.  Depth-tested fills draw
    // nothing when shaded; otherwise they draw the cube colour where the
    // test passes, opaque even when blended and ignoring the texture, and
    // store the depth, except the textured blend, which leaves the depth as
    // it was.
    // Image blits draw nothing on a cube surface.
    static constexpr bool kDrawsImages = false;

    static constexpr Cube8 fillOn8(FillLetters f) {
        if (!f.depth) {
            if (f.shaded || f.textured) return Cube8::kNothing;
            return f.blended ? Cube8::kLowByte : Cube8::kCubeColour;
        }
        if (f.shaded) return Cube8::kNothing;
        return f.textured && f.blended ? Cube8::kCubeColourNoDepth : Cube8::kCubeColour;
    }

    template <class V>
    static typename V::I load(const unsigned char* p) {
        return V::loadPart(p, 1, V::kLanes);
    }
    template <class V>
    static void store(unsigned char* p, typename V::I v) {
        V::storePart(p, v, 1, V::kLanes);
    }
};

struct Format16 {
    static constexpr int kBpp = 16;
    static constexpr int kBytes = 2;
    static constexpr bool kDrawsImages = true;
    static void storeSolid(unsigned char* p, const SolidColor& c) { store16(p, c.c16); }
    static std::uint32_t opaqueWord(const SolidColor& c) { return c.c16; }
    static void clearRows(unsigned char* top, int pitch, int rows, int, const SolidColor& c) {
        unsigned char pattern[4];  // two words: the pitch is a multiple of 4
        store16(pattern, c.c16);
        store16(pattern + 2, c.c16);
        fillRepeating(top, static_cast<std::size_t>(pitch) * static_cast<std::size_t>(rows), pattern, 4);
    }
    // A pixel from the bytes of a colour: the top five bits of each; 16 bpp
    // has no alpha to keep or store.
    static void storeColour(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r) {
        store16(p, static_cast<std::uint16_t>(pack555(r, g, b)));
    }
    static void storeColourAlpha(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r, std::uint32_t) {
        storeColour(p, b, g, r);
    }
    static void storeOpaque(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r) {
        storeColour(p, b, g, r);
    }
    static void blendInt(unsigned char* p, const IntBlend& w) {
        storePixelWord(p, blendInt<PixelWord<64>>(loadPixelWord(p, 2), w), 2);
    }

    template <class V>
    static typename V::I load(const unsigned char* p) {
        return V::loadU16(p);
    }
    template <class V>
    static void store(unsigned char* p, typename V::I v) {
        V::storeU16(p, v);
    }
    template <class V>
    static typename V::I opaque(typename V::I b, typename V::I g, typename V::I r) {
        return V::orI(V::orI(V::shl(7, V::andI(r, V::splatI(0xF8))), V::shl(2, V::andI(g, V::splatI(0xF8)))),
                      V::andI(V::shr(3, b), V::splatI(0x1F)));
    }
    // Each field (t * c * mask) / 65025 & mask is t * c * 31 / 65025 in place.
    template <class V>
    static typename V::I opaqueProducts(typename V::I b, typename V::I g, typename V::I r) {
        return V::orI(V::orI(V::shl(5, fifths65025Lanes<V>(g)), V::shl(10, fifths65025Lanes<V>(r))),
                      fifths65025Lanes<V>(b));
    }
    template <class V, class Src8, class Src16>
    static typename V::I opaqueRounded(Src8&&, Src16&& src16) {
        auto field = [&](int i, float scale, std::int32_t mask) {
            return V::andI(roundLanes<V>(src16(i, scale)), V::splatI(mask));
        };
        return V::orI(V::orI(field(1, 992.0f, 0x3E0), field(2, 31744.0f, 0x7C00)), field(0, 31.0f, 0x1F));
    }
    template <class V, class Src8, class Src16>
    static typename V::I blendFloat(typename V::I w, typename V::F a, Src8&&, Src16&& src16) {
        const typename V::F ia = V::sub(V::splatF(1.0f), a);
        auto field = [&](int i, float scale, std::int32_t mask) {
            const typename V::F old = V::toF(V::andI(w, V::splatI(mask)));
            return V::andI(roundLanes<V>(V::add(src16(i, scale), V::mul(old, ia))), V::splatI(mask));
        };
        return V::orI(V::orI(field(1, 992.0f, 0x3E0), field(2, 31744.0f, 0x7C00)), field(0, 31.0f, 0x1F));
    }
    // The integer blend, on pixels in lanes or packed in a word: each 5-bit
    // field x apart, blue (x * keep + b / 8) >> 8, green ((x * keep + g / 8)
    // >> 3) and red (4 * x * keep + r / 2) in place.  These equal
    // ((x << s) * keep + term) >> 8 for a field at shift s exactly (the low
    // bits dropped from g / 8 and r / 2 never reach a kept bit), and no
    // product or sum reaches 2^16.
    template <class V>
    static typename V::I blendInt(typename V::I v, const IntBlend& b) {
        using I = typename V::I;
        const I fives = V::splatI(0x1F);
        auto term = [](std::uint32_t t) { return V::splatI(static_cast<std::int32_t>(t)); };
        const I blue = V::andI(V::shr(8, V::addI(V::mulFields(V::andI(v, fives), b.keep), term(b.b >> 3))), fives);
        const I green = V::andI(V::shr(3, V::addI(V::mulFields(V::andI(V::shr(5, v), fives), b.keep), term(b.g >> 3))),
                                V::shl(5, fives));
        const I red = V::andI(V::addI(V::mulFields(V::andI(V::shr(10, v), fives), 4 * b.keep), term(b.r >> 1)),
                              V::shl(10, fives));
        return V::orI(V::orI(red, green), blue);
    }
};

// 24 and 32 bpp: blue, green, red bytes, and in 32 bpp the alpha byte.
template <int Bpp>
struct FormatBytes {
    static constexpr int kBpp = Bpp;
    static constexpr int kBytes = Bpp / 8;
    static constexpr bool kDrawsImages = true;
    // Opaque through lanes, 32 bpp stores alpha 255.
    static std::uint32_t opaqueWord(const SolidColor& c) {
        return Bpp == 32 ? c.c32 | 0xFF000000u : c.c32 & 0xFFFFFFu;
    }
    static void storeSolid(unsigned char* p, const SolidColor& c) {
        if constexpr (Bpp == 32) {
            store32(p, c.c32);
        } else {  // blue and green as one word, then red
            store16(p, static_cast<std::uint16_t>(c.c32 & 0xFFFFu));
            p[2] = static_cast<unsigned char>((c.c32 >> 16) & 0xFFu);
        }
    }
    static void clearRows(unsigned char* top, int pitch, int rows, int width, const SolidColor& c) {
        unsigned char pattern[4];
        storeSolid(pattern, c);
        if constexpr (Bpp == 32) {  // the colour word, alpha included
            fillRepeating(top, static_cast<std::size_t>(pitch) * static_cast<std::size_t>(rows), pattern, 4);
        } else {  // blue, green, red: the first row, the others copied from it
            const std::size_t rowBytes = static_cast<std::size_t>(width) * 3;
            fillRepeating(top, rowBytes, pattern, 3);
            for (int y = 1; y < rows; ++y) std::memcpy(top + static_cast<std::ptrdiff_t>(y) * pitch, top, rowBytes);
        }
    }
    // The colour bytes; a 32 bpp alpha byte stays as it is.
    static void storeColour(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r) {
        p[0] = static_cast<unsigned char>(b);
        p[1] = static_cast<unsigned char>(g);
        p[2] = static_cast<unsigned char>(r);
    }
    // The colour bytes and, in 32 bpp, the alpha byte a.
    static void storeColourAlpha(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r,
                                 std::uint32_t a) {
        storeColour(p, b, g, r);
        if constexpr (Bpp == 32) p[3] = static_cast<unsigned char>(a);
    }
    static void storeOpaque(unsigned char* p, std::uint32_t b, std::uint32_t g, std::uint32_t r) {
        storeColourAlpha(p, b, g, r, 255);
    }
    static void blendInt(unsigned char* p, const IntBlend& w) {
        storePixelWord(p, blendInt<PixelWord<64>>(loadPixelWord(p, kBytes), w), kBytes);
    }

    template <class V>
    static typename V::I load(const unsigned char* p) {
        if constexpr (Bpp == 32)
            return V::loadI(p);
        else
            return V::loadU24(p);
    }
    template <class V>
    static void store(unsigned char* p, typename V::I v) {
        if constexpr (Bpp == 32)
            V::storeI(p, v);
        else
            V::storeU24(p, v);
    }
    template <class V>
    static typename V::I opaque(typename V::I b, typename V::I g, typename V::I r) {
        const typename V::I ff = V::splatI(0xFF);
        typename V::I v = V::orI(V::orI(V::andI(b, ff), V::shl(8, V::andI(g, ff))), V::shl(16, V::andI(r, ff)));
        if constexpr (Bpp == 32) v = V::orI(v, V::splatI(static_cast<std::int32_t>(0xFF000000u)));
        return v;
    }
    template <class V>
    static typename V::I opaqueProducts(typename V::I b, typename V::I g, typename V::I r) {
        return opaque<V>(div255Lanes<V>(b), div255Lanes<V>(g), div255Lanes<V>(r));
    }
    template <class V, class Src8, class Src16>
    static typename V::I opaqueRounded(Src8&& src8, Src16&&) {
        return opaque<V>(roundLanes<V>(src8(0)), roundLanes<V>(src8(1)), roundLanes<V>(src8(2)));
    }
    template <class V, class Src8, class Src16>
    static typename V::I blendFloat(typename V::I w, typename V::F a, Src8&& src8, Src16&&) {
        using F = typename V::F;
        const F ia = V::sub(V::splatF(1.0f), a);
        const typename V::I ff = V::splatI(0xFF);
        auto rounded = [&](F v) { return V::andI(roundLanes<V>(v), ff); };
        auto channel = [&](int i) { return V::toF(V::andI(V::shr(8 * i, w), ff)); };
        typename V::I out = V::orI(V::orI(rounded(V::add(src8(0), V::mul(channel(0), ia))),
                                          V::shl(8, rounded(V::add(src8(1), V::mul(channel(1), ia))))),
                                   V::shl(16, rounded(V::add(src8(2), V::mul(channel(2), ia)))));
        if constexpr (Bpp == 32)
            out = V::orI(out,
                         V::shl(24, rounded(V::add(V::mul(V::toF(V::shr(24, w)), ia), V::mul(a, V::splatF(255.0f))))));
        return out;
    }
    // The integer blend, on pixels in lanes or packed in a word: the bytes
    // in two 16-bit fields each, blue and red (terms `low`), green and alpha
    // (terms `high`); old * keep + term is at most 255 * 256 (keep + weight
    // = 256), so no field reaches the next and each gets exactly its
    // channel's (old * keep + term) >> 8.  32 bpp keeps the kept bits.
    template <class V>
    static typename V::I blendFields(typename V::I v, const IntBlend& b, typename V::I low, typename V::I high) {
        using I = typename V::I;
        const I pairs = V::splatI(0x00FF00FF);
        const I lo = V::andI(V::shr(8, V::addI(V::mulFields(V::andI(v, pairs), b.keep), low)), pairs);
        const I hi = V::andI(V::addI(V::mulFields(V::andI(V::shr(8, v), pairs), b.keep), high), V::shl(8, pairs));
        if constexpr (Bpp == 32) {
            const I kept = V::splatI(static_cast<std::int32_t>(b.keptBits));
            const I blended = V::splatI(static_cast<std::int32_t>(~b.keptBits));
            return V::orI(V::andI(V::orI(lo, hi), blended), V::andI(v, kept));
        } else {
            return V::orI(lo, hi);
        }
    }
    template <class V>
    static typename V::I blendInt(typename V::I v, const IntBlend& b) {
        return blendFields<V>(v, b, V::splatI(static_cast<std::int32_t>(b.b | b.r << 16)),
                              V::splatI(static_cast<std::int32_t>(b.g | b.alpha << 16)));
    }
};
using Format24 = FormatBytes<24>;
using Format32 = FormatBytes<32>;

// Whether wchar_t is four bytes and the C library fills it with vector
// stores chosen for the processor at run time (GNU's does).
#if defined(__GLIBC__)
constexpr bool kWideFillOf4Bytes = sizeof(wchar_t) == 4;
#else
constexpr bool kWideFillOf4Bytes = false;
#endif

// Runs of the solid colour, one after the other (the rows of one drawing
// call).  Runs of a few blocks are copied from a block of the colour, which
// compilers turn into stores of registers as wide as the build allows.
// Long runs of four-byte pixels go to the C library's wide fill where it
// is GNU's, which stores as wide as the processor allows.  Long runs of
// three-byte pixels are copies of a pattern of 32 pixels of the colour made
// at the first long run: 96 bytes, a copy compilers inline as six 16-byte
// moves (library copies of a longer pattern cost more per row).  Two-byte
// pixels fill as fast from blocks.
template <class Fmt>
class SolidRuns {
public:
    explicit SolidRuns(const SolidColor& c) : c_(c) {}

    // n pixels from p on.
    void operator()(unsigned char* p, std::ptrdiff_t n) {
        if constexpr (Fmt::kBytes == 1) {
            if (n > 0) std::memset(p, c_.c8, static_cast<std::size_t>(n));
            return;
        } else if constexpr (Fmt::kBytes == 4 && kWideFillOf4Bytes) {
            if (n >= kLong && (reinterpret_cast<std::uintptr_t>(p) & 3u) == 0) {
                wchar_t w;
                unsigned char one[4];
                Fmt::storeSolid(one, c_);
                std::memcpy(&w, one, sizeof w);
                std::wmemset(reinterpret_cast<wchar_t*>(p), w, static_cast<std::size_t>(n));
                return;
            }
        } else if constexpr (kFromPattern) {
            if (n >= kLong) {
                if (!made_) {
                    fromBlocks(pattern_, kPatternPixels);
                    made_ = true;
                }
                std::size_t bytes = static_cast<std::size_t>(n) * Fmt::kBytes;
                for (; bytes > sizeof pattern_; bytes -= sizeof pattern_, p += sizeof pattern_)
                    std::memcpy(p, pattern_, sizeof pattern_);
                std::memcpy(p, pattern_, bytes);
                return;
            }
        }
        fromBlocks(p, n);
    }

private:
    static constexpr bool kFromPattern = Fmt::kBytes == 3;
    static constexpr int kBlock = 16;
    static constexpr int kLong = 64;
    static constexpr int kPatternPixels = kFromPattern ? 32 : 1;

    void fromBlocks(unsigned char* p, std::ptrdiff_t n) const {
        if (n >= kBlock) {
            unsigned char block[kBlock * Fmt::kBytes];
            for (int i = 0; i < kBlock; ++i) Fmt::storeSolid(block + i * Fmt::kBytes, c_);
            for (; n >= kBlock; n -= kBlock, p += sizeof block) std::memcpy(p, block, sizeof block);
            // The rest, fewer than a block, in one copy.
            std::memcpy(p, block, static_cast<std::size_t>(n) * Fmt::kBytes);
            return;
        }
        for (; n > 0; --n, p += Fmt::kBytes) Fmt::storeSolid(p, c_);
    }

    SolidColor c_;
    bool made_ = false;
    unsigned char pattern_[kPatternPixels * Fmt::kBytes];  // made at the first long run
};

// n pixels blended with w, several at a time in 64-bit words through the
// format's one blend body.
#if (defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) || defined(_MSC_VER)
constexpr bool kLittleEndian = true;
#else
constexpr bool kLittleEndian = false;
#endif

template <class Fmt>
void blendIntRun(unsigned char* p, std::ptrdiff_t n, const IntBlend& blend) {
    // A copy the pixel stores cannot alias, so that the terms and masks are
    // made once, not again for every word.
    const IntBlend w = blend;
    if constexpr ((Fmt::kBytes == 2 || Fmt::kBytes == 4) && kLittleEndian) {
        using Word = PixelWord<Fmt::kBpp>;
        for (; n >= 8 / Fmt::kBytes; n -= 8 / Fmt::kBytes, p += 8) {
            std::uint64_t v;
            std::memcpy(&v, p, 8);
            v = Fmt::template blendInt<Word>(v, w);
            std::memcpy(p, &v, 8);
        }
    } else if constexpr (Fmt::kBytes == 3 && kLittleEndian) {
        // Eight pixels, 24 bytes, as three words; byte i of the run is
        // channel i % 3, so each word has its own pattern of terms: bytes 0-7
        // are b g r b g r b g, 8-15 r b g r b g r b, 16-23 g r b g r b g r.
        auto fields = [](std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
            return a | (b << 16) | (c << 32) | (d << 48);
        };
        const std::uint64_t low[3] = {fields(w.b, w.r, w.g, w.b), fields(w.r, w.g, w.b, w.r),
                                      fields(w.g, w.b, w.r, w.g)};
        const std::uint64_t high[3] = {fields(w.g, w.b, w.r, w.g), fields(w.b, w.r, w.g, w.b),
                                       fields(w.r, w.g, w.b, w.r)};
        for (; n >= 8; n -= 8) {
            for (int word = 0; word < 3; ++word, p += 8) {
                std::uint64_t v;
                std::memcpy(&v, p, 8);
                v = Fmt::template blendFields<PixelWord<32>>(v, w, low[word], high[word]);
                std::memcpy(p, &v, 8);
            }
        }
    }
    for (; n > 0; --n, p += Fmt::kBytes) Fmt::blendInt(p, w);
}

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
