// Per-pixel rules of the fourteen span fills.
//
// Each rule is a small type: which parts of the row walk it uses (depth and
// its comparison, the span parameter, four-wide unrolling), what it does on
// 8 bpp surfaces, and pixel<Format>(), which computes and writes one pixel
// and says whether the depth is to be stored.  The arithmetic of each member
// keeps its own operation order; those orders differ in the last bit on
// purpose.
#ifndef KWR_RASTER_SPAN_RULES_H
#define KWR_RASTER_SPAN_RULES_H

#include "raster/span_fill.h"

namespace kwr {

// ---------------------------------------------------------------- stores --

inline std::uint32_t pack555(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    return ((r & 0xF8u) << 7) | ((g & 0xF8u) << 2) | ((b >> 3) & 0x1Fu);
}

// An opaque pixel from blue, green and red (only their low bytes count);
// 32 bpp stores alpha 255.  16 bpp packs the top five bits of each.
template <class Fmt>
void storeOpaque(unsigned char* px, std::uint32_t b, std::uint32_t g, std::uint32_t r) {
    if constexpr (Fmt::kBpp == 16) {
        store16(px, static_cast<std::uint16_t>(pack555(r, g, b)));
    } else {
        px[0] = static_cast<unsigned char>(b);
        px[1] = static_cast<unsigned char>(g);
        px[2] = static_cast<unsigned char>(r);
        if constexpr (Fmt::kBpp == 32) px[3] = 255;
    }
}

// Float blend of weight a: each channel becomes rounded(source + old * (1 - a)).
// src8(i) is the source term of byte i (0 blue, 1 green, 2 red);
// src16(i, scale) the source term of 16 bpp field i in that field's units.
// 32 bpp also moves the stored alpha toward 255.
template <class Fmt, class Src8, class Src16>
void blendFloat(unsigned char* px, float a, Src8&& src8, Src16&& src16) {
    const float ia = 1.0f - a;
    if constexpr (Fmt::kBpp == 16) {
        const std::uint32_t w = load16(px);
        const std::uint32_t g = roundedBits(src16(1, 992.0f) + static_cast<float>(w & 0x3E0u) * ia) & 0x3E0u;
        const std::uint32_t r = roundedBits(src16(2, 31744.0f) + static_cast<float>(w & 0x7C00u) * ia) & 0x7C00u;
        const std::uint32_t b = roundedBits(src16(0, 31.0f) + static_cast<float>(w & 0x1Fu) * ia) & 0x1Fu;
        store16(px, static_cast<std::uint16_t>(g | r | b));
    } else {
        for (int i = 0; i < 3; ++i)
            px[i] = static_cast<unsigned char>(roundedByte(src8(i) + static_cast<float>(px[i]) * ia));
        if constexpr (Fmt::kBpp == 32)
            px[3] = static_cast<unsigned char>(roundedByte(static_cast<float>(px[3]) * ia + a * 255.0f));
    }
}

// Channel i of the memory order (0 blue, 1 green, 2 red) in the colour
// order of the scan-line table (0 red, 1 green, 2 blue).
inline int shadeIndex(int i) { return 2 - i; }
inline unsigned texelByte(const Texel& x, int i) { return i == 0 ? x.b : (i == 1 ? x.g : x.r); }
inline unsigned colorByte(const SpanContext& k, int i) { return i == 0 ? k.cB : (i == 1 ? k.cG : k.cR); }

// ---------------------------------------------------------- rule shapes --

template <bool Depth, bool Strict, bool Param, Mode8 M8, bool Unroll = false, bool Always16 = false>
struct RuleShape {
    static constexpr bool kDepth = Depth;
    static constexpr bool kStrictDepth = Strict;
    static constexpr bool kParam = Param;
    static constexpr Mode8 kMode8 = M8;
    static constexpr bool kUnrollBy4 = Unroll;
    // The untested blends compute 16 bpp pixels without the weight test; a
    // zero weight reproduces the old pixel there.
    static constexpr bool kBlend16Always = Always16;
};

// ----------------------------------------------------------- opaque -------

// Flat colour; 32 bpp stores alpha 255.
struct Rule3 : RuleShape<true, true, false, Mode8::kCubeWithDepth, true> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds&, float, unsigned char* px) {
        if constexpr (Fmt::kBpp == 16) store16(px, k.solid.c16);
        else storeOpaque<Fmt>(px, k.cB, k.cG, k.cR);
        return true;
    }
};

// Interpolated vertex colour, rounded.
template <bool Depth>
struct RuleShaded : RuleShape<Depth, true, true, Mode8::kNothing> {
    template <class Fmt>
    static bool pixel(const SpanContext&, const RowEnds& e, float p, unsigned char* px) {
        const RoundedShade q = roundedShade(e, p);
        storeOpaque<Fmt>(px, static_cast<std::uint32_t>(q.c[2]), static_cast<std::uint32_t>(q.c[1]),
                         static_cast<std::uint32_t>(q.c[0]));
        return true;
    }
};

// Texel times the constant colour, integer and truncating.
template <bool Depth>
struct RuleTextured
    : RuleShape<Depth, true, true, Depth ? Mode8::kCubeWithDepth : Mode8::kNothing> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Texel x = sampleTexture(k, e, p);
        if constexpr (Fmt::kBpp == 16) {
            const std::uint32_t w = ((x.g * k.cG * 992u) / 65025u & 0x3E0u) |
                                    ((x.r * k.cR * 31744u) / 65025u & 0x7C00u) |
                                    ((x.b * k.cB * 31u) / 65025u & 0x1Fu);
            store16(px, static_cast<std::uint16_t>(w));
        } else {
            storeOpaque<Fmt>(px, (x.b * k.cB) / 255u, (x.g * k.cG) / 255u, (x.r * k.cR) / 255u);
        }
        return true;
    }
};

// Texel times the interpolated colour, in float, rounded (depth-tested).
struct Rule3ct : RuleShape<true, true, true, Mode8::kNothing> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Shade sh = shadeAt(e, p);
        const Texel x = sampleTexture(k, e, p);
        if constexpr (Fmt::kBpp == 16) {
            const std::uint32_t g =
                roundedBits(sh.c[1] * static_cast<float>(x.g) * 992.0f / 255.0f / 255.0f) & 0x3E0u;
            const std::uint32_t r =
                roundedBits(sh.c[0] * static_cast<float>(x.r) * 31744.0f / 255.0f / 255.0f) & 0x7C00u;
            const std::uint32_t b =
                roundedBits(sh.c[2] * static_cast<float>(x.b) * 31.0f / 255.0f / 255.0f) & 0x1Fu;
            store16(px, static_cast<std::uint16_t>(g | r | b));
        } else {
            storeOpaque<Fmt>(px, roundedBits(sh.c[2] * static_cast<float>(x.b) / 255.0f),
                             roundedBits(sh.c[1] * static_cast<float>(x.g) / 255.0f),
                             roundedBits(sh.c[0] * static_cast<float>(x.r) / 255.0f));
        }
        return true;
    }
};

// The untested sibling: the colour is rounded first, then multiplied by
// the texel in integers and truncated.
struct Rulect : RuleShape<false, true, true, Mode8::kNothing> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const RoundedShade q = roundedShade(e, p);
        const Texel x = sampleTexture(k, e, p);
        auto scaled = [](std::int32_t c, unsigned t) {
            return static_cast<std::uint32_t>(static_cast<std::int64_t>(c) * t / 255);
        };
        storeOpaque<Fmt>(px, scaled(q.c[2], x.b), scaled(q.c[1], x.g), scaled(q.c[0], x.r));
        return true;
    }
};

// ---------------------------------------------------------- blended -------

// Flat colour, integer blend weighted by alpha + 1.
struct Rule3a : RuleShape<true, true, false, Mode8::kCubeWithDepth, true> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds&, float, unsigned char* px) {
        const std::uint32_t a1 = k.cA + 1u, ia = 256u - a1;
        const std::uint32_t sB = k.cB * a1, sG = k.cG * a1, sR = k.cR * a1;
        if constexpr (Fmt::kBpp == 16) {
            const std::uint32_t w = load16(px);
            const std::uint32_t out = ((((w & 0x3E0u) * ia + (sG << 2)) >> 8) & 0x3E0u) |
                                      ((((w & 0x1Fu) * ia + (sB >> 3)) >> 8) & 0x1Fu) |
                                      ((((w & 0x7C00u) * ia + (sR << 7)) >> 8) & 0x7C00u);
            store16(px, static_cast<std::uint16_t>(out));
        } else {
            px[0] = static_cast<unsigned char>((px[0] * ia + sB) >> 8);
            px[1] = static_cast<unsigned char>((px[1] * ia + sG) >> 8);
            px[2] = static_cast<unsigned char>((px[2] * ia + sR) >> 8);
            if constexpr (Fmt::kBpp == 32) px[3] = static_cast<unsigned char>((px[3] * ia + 255u * a1) >> 8);
        }
        return true;
    }
};

// Interpolated colour blended by its interpolated alpha.
template <bool Depth>
struct RuleShadedBlend : RuleShape<Depth, false, true, Mode8::kNothing, false, !Depth> {
    template <class Fmt>
    static bool pixel(const SpanContext&, const RowEnds& e, float p, unsigned char* px) {
        const Shade sh = shadeAt(e, p);
        const float a = sh.c[3] / 255.0f;
        if (!(a > 0.0f) && !(Fmt::kBpp == 16 && RuleShadedBlend::kBlend16Always)) return false;
        blendFloat<Fmt>(
            px, a, [&](int i) { return sh.c[shadeIndex(i)] * a; },
            [&](int i, float scale) { return sh.c[shadeIndex(i)] * a / 255.0f * scale; });
        return true;
    }
};

// Texel times the constant colour, weighted by the alpha byte times the
// colour's alpha.  Depth-tested: strict test; on 8 bpp the cube colour
// without a depth write.
template <bool Depth>
struct RuleTexturedBlend
    : RuleShape<Depth, true, true, Depth ? Mode8::kCubeNoDepth : Mode8::kNothing, false, !Depth> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Texel x = sampleTexture(k, e, p);
        const unsigned m = alphaByte(k, x);
        const float a = static_cast<float>(m * k.cA) / 255.0f / 255.0f;
        if (!(a > 0.0f) && !(Fmt::kBpp == 16 && RuleTexturedBlend::kBlend16Always)) return false;
        blendFloat<Fmt>(
            px, a,
            [&](int i) { return static_cast<float>(texelByte(x, i) * colorByte(k, i)) * a / 255.0f; },
            [&](int i, float scale) {
                return static_cast<float>(texelByte(x, i) * colorByte(k, i)) * a / 255.0f / 255.0f * scale;
            });
        return true;
    }
};

// Texel times the interpolated colour, weighted by the alpha byte times the
// interpolated alpha.  The depth-tested member multiplies the texel before
// the weight (and scales 16 bpp fields before dividing); the untested one
// weights first.
template <bool Depth>
struct RuleShadedTexturedBlend : RuleShape<Depth, false, true, Mode8::kNothing, false, !Depth> {
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Shade sh = shadeAt(e, p);
        const Texel x = sampleTexture(k, e, p);
        const unsigned m = alphaByte(k, x);
        const float a = sh.c[3] * static_cast<float>(m) / 255.0f / 255.0f;
        if (!(a > 0.0f) && !(Fmt::kBpp == 16 && RuleShadedTexturedBlend::kBlend16Always)) return false;
        if constexpr (Depth) {
            blendFloat<Fmt>(
                px, a,
                [&](int i) { return sh.c[shadeIndex(i)] * static_cast<float>(texelByte(x, i)) * a / 255.0f; },
                [&](int i, float scale) {
                    return sh.c[shadeIndex(i)] * static_cast<float>(texelByte(x, i)) * a * scale / 255.0f / 255.0f;
                });
        } else {
            blendFloat<Fmt>(
                px, a,
                [&](int i) { return sh.c[shadeIndex(i)] * a * static_cast<float>(texelByte(x, i)) / 255.0f; },
                [&](int i, float scale) {
                    return sh.c[shadeIndex(i)] * a * static_cast<float>(texelByte(x, i)) / 255.0f / 255.0f * scale;
                });
        }
        return true;
    }
};

// ------------------------------------------------------ the member table --
// Member                 rule
using Rule3c = RuleShaded<true>;
using Rulec = RuleShaded<false>;
using Rule3t = RuleTextured<true>;
using Rulet = RuleTextured<false>;
using Rule3ca = RuleShadedBlend<true>;
using Ruleca = RuleShadedBlend<false>;
using Rule3at = RuleTexturedBlend<true>;
using Ruleat = RuleTexturedBlend<false>;
using Rule3cat = RuleShadedTexturedBlend<true>;
using Rulecat = RuleShadedTexturedBlend<false>;

// The 8 bpp form of a depth-tested member that draws the cube colour.
template <class Rule>
struct CubeRule : RuleShape<Rule::kDepth, Rule::kStrictDepth, false, Rule::kMode8, Rule::kUnrollBy4> {};

// Runs `Rule` over rows firstRow..lastRow on the surface's format.
template <class Rule>
void fillTriangleRows(const RenderState& s, int firstRow, int lastRow) {
    if (firstRow > lastRow) return;
    const SpanContext k = makeSpanContext(s);
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if constexpr (Fmt::kBpp == 8) {
            if constexpr (Rule::kMode8 != Mode8::kNothing) {
                walkSpans<CubeRule<Rule>, Fmt>(s, firstRow, lastRow, [&](const RowEnds&, float, unsigned char* px) {
                    *px = k.solid.c8;
                    return Rule::kMode8 == Mode8::kCubeWithDepth;
                });
            }
        } else {
            walkSpans<Rule, Fmt>(s, firstRow, lastRow, [&](const RowEnds& e, float p, unsigned char* px) {
                return Rule::template pixel<Fmt>(k, e, p, px);
            });
        }
    });
}

}  // namespace kwr

#endif
