// Per-pixel rules of the fourteen span fills.
//
// Each rule is a small type: its traits (which parts of the row walk it
// uses, what it does on 8 bpp surfaces), pixel<Format>(), which computes
// and writes one pixel and says whether the depth is to be stored, and for
// the interpolating members lanes<LaneSet, Format>(), the same arithmetic
// on one pixel per lane, which returns the new pixels and narrows the mask
// of lanes to write.  A rule computes colour and weight; the format type
// (render/pixel_format.h) stores and blends.  The arithmetic of each member
// keeps its own operation order; those orders differ in the last bit on
// purpose.
#ifndef KWR_RASTER_SPAN_RULES_H
#define KWR_RASTER_SPAN_RULES_H

#include "raster/span_fill.h"
#include "raster/span_vector.h"
#include "render/simd_level.h"

namespace kwr {

// Channel i of the memory order (0 blue, 1 green, 2 red) in the colour
// order of the scan-line table (0 red, 1 green, 2 blue).  Static: the lane
// blocks of every level call them, and each level keeps its own copy.
static inline int shadeIndex(int i) { return 2 - i; }
static inline unsigned texelByte(const Texel& x, int i) { return i == 0 ? x.b : (i == 1 ? x.g : x.r); }
static inline unsigned colorByte(const SpanContext& k, int i) { return i == 0 ? k.cB : (i == 1 ? k.cG : k.cR); }

// The interpolated channels of a lane group, in the table's order.
template <class V>
struct ShadeLanes {
    typename V::F c[4];
    ShadeLanes(const RowEnds& e, typename V::F p, int count = 4) {
        for (int i = 0; i < count; ++i) c[i] = lerpLanes<V>(p, e.leftColor[i], e.rightColor[i]);
    }
};
template <class V>
typename V::I texelByteLanes(const TexelLanes<V>& x, int i) {
    return i == 0 ? x.b() : (i == 1 ? x.g() : x.r());
}

// The interpolating members, numbered for the tables of lane blocks.
enum LaneFill {
    kFill3c,
    kFillc,
    kFill3t,
    kFillt,
    kFill3ct,
    kFillct,
    kFill3ca,
    kFillca,
    kFill3at,
    kFillat,
    kFill3cat,
    kFillcat,
    kLaneFillCount
};

constexpr SpanTraits kDepthTested = SpanTraits{}.withDepth(DepthTest::kGreater);
constexpr SpanTraits kDepthTestedOrEqual = SpanTraits{}.withDepth(DepthTest::kGreaterOrEqual);
constexpr SpanTraits kNoDepthTest = SpanTraits{};
// The blended interpolating members: `tested` with a depth test; without
// one, 16 bpp surfaces blend every pixel, even at weight zero.
constexpr SpanTraits blendedTraits(bool depth, SpanTraits tested) {
    return depth ? tested.interpolated().blended() : kNoDepthTest.interpolated().blended().blendingEvery16();
}

// ----------------------------------------------------------- opaque -------

// Flat colour; 32 bpp stores alpha 255.
struct Rule3 {
    static constexpr SpanTraits kTraits = kDepthTested.unrolled().on8(Mode8::kCubeWithDepth);
    template <class Fmt>
    static bool pixel(const SpanContext& k, unsigned char* px) {
        Fmt::storeOpaque(px, k.cB, k.cG, k.cR);
        return true;
    }
};

// Interpolated vertex colour, rounded.
template <bool Depth>
struct RuleShaded {
    static constexpr SpanTraits kTraits = (Depth ? kDepthTested : kNoDepthTest).interpolated();
    static constexpr int kId = Depth ? kFill3c : kFillc;
    template <class Fmt>
    static bool pixel(const SpanContext&, const RowEnds& e, float p, unsigned char* px) {
        const RoundedShade q = roundedShade(e, p);
        Fmt::storeOpaque(px, static_cast<std::uint32_t>(q.c[2]), static_cast<std::uint32_t>(q.c[1]),
                         static_cast<std::uint32_t>(q.c[0]));
        return true;
    }
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext&, const RowEnds& e, typename V::F p, typename V::I,
                                               typename V::I&) {
        const ShadeLanes<V> sh(e, p, 3);
        return Fmt::template opaque<V>(roundLanes<V>(sh.c[2]), roundLanes<V>(sh.c[1]), roundLanes<V>(sh.c[0]));
    }
};

// Texel times the constant colour, integer and truncating.
template <bool Depth>
struct RuleTextured {
    static constexpr SpanTraits kTraits =
        (Depth ? kDepthTested : kNoDepthTest).interpolated().on8(Depth ? Mode8::kCubeWithDepth : Mode8::kNothing);
    static constexpr int kId = Depth ? kFill3t : kFillt;
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Texel x = sampleTexture(k, e, p);
        if constexpr (Fmt::kBpp == 16) {
            const std::uint32_t w = ((x.g * k.cG * 992u) / 65025u & 0x3E0u) |
                                    ((x.r * k.cR * 31744u) / 65025u & 0x7C00u) | ((x.b * k.cB * 31u) / 65025u & 0x1Fu);
            store16(px, static_cast<std::uint16_t>(w));
        } else {
            Fmt::storeOpaque(px, (x.b * k.cB) / 255u, (x.g * k.cG) / 255u, (x.r * k.cR) / 255u);
        }
        return true;
    }
    // Each 16 bpp field (v * mask) / 65025 & mask is v * 31 / 65025 in place.
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext& k, const RowEnds& e, typename V::F p, typename V::I,
                                               typename V::I& write) {
        const TexelLanes<V> x = sampleLanes<V>(k, e, p, write);
        const typename V::I b = V::mulSmall(x.b(), V::splatI(static_cast<std::int32_t>(k.cB)));
        const typename V::I g = V::mulSmall(x.g(), V::splatI(static_cast<std::int32_t>(k.cG)));
        const typename V::I r = V::mulSmall(x.r(), V::splatI(static_cast<std::int32_t>(k.cR)));
        if constexpr (Fmt::kBpp == 16)
            return V::orI(V::orI(V::shl(5, fifths65025Lanes<V>(g)), V::shl(10, fifths65025Lanes<V>(r))),
                          fifths65025Lanes<V>(b));
        else
            return Fmt::template opaque<V>(div255Lanes<V>(b), div255Lanes<V>(g), div255Lanes<V>(r));
    }
};

// Texel times the interpolated colour.  The depth-tested member multiplies
// in float and rounds; the one without a depth test rounds the colour
// first, then multiplies by the texel in integers and truncates.
template <bool Depth>
struct RuleShadedTextured {
    static constexpr SpanTraits kTraits = (Depth ? kDepthTested : kNoDepthTest).interpolated();
    static constexpr int kId = Depth ? kFill3ct : kFillct;
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        if constexpr (!Depth) {
            const RoundedShade q = roundedShade(e, p);
            const Texel x = sampleTexture(k, e, p);
            auto scaled = [](std::int32_t c, unsigned t) {
                return static_cast<std::uint32_t>(static_cast<std::int64_t>(c) * t / 255);
            };
            Fmt::storeOpaque(px, scaled(q.c[2], x.b), scaled(q.c[1], x.g), scaled(q.c[0], x.r));
        } else {
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
                Fmt::storeOpaque(px, roundedBits(sh.c[2] * static_cast<float>(x.b) / 255.0f),
                                 roundedBits(sh.c[1] * static_cast<float>(x.g) / 255.0f),
                                 roundedBits(sh.c[0] * static_cast<float>(x.r) / 255.0f));
            }
        }
        return true;
    }
    // Without a depth test, rounded colours of 0..255 take the integer form;
    // any others (only from out-of-range edge data) the quotient of the exact
    // product in double precision, truncated toward zero like the integer
    // division.
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext& k, const RowEnds& e, typename V::F p, typename V::I,
                                               typename V::I& write) {
        using F = typename V::F;
        using I = typename V::I;
        const ShadeLanes<V> sh(e, p, 3);
        if constexpr (!Depth) {
            const I q[3] = {roundLanes<V>(sh.c[2]), roundLanes<V>(sh.c[1]), roundLanes<V>(sh.c[0])};
            const TexelLanes<V> x = sampleLanes<V>(k, e, p, write);
            const I outside = V::andI(V::orI(V::orI(q[0], q[1]), q[2]), V::splatI(~0xFF));
            const bool bytes = V::all(V::eqI(outside, V::splatI(0)));
            I out[3];
            for (int i = 0; i < 3; ++i) {
                const I t = texelByteLanes<V>(x, i);
                if (bytes) {
                    out[i] = div255Lanes<V>(V::mulSmall(q[i], t));
                } else {
                    const typename V::D d = V::splatD(255.0);
                    out[i] = V::fromD(V::divD(V::mulD(V::loD(q[i]), V::loD(t)), d),
                                      V::divD(V::mulD(V::hiD(q[i]), V::hiD(t)), d));
                }
            }
            return Fmt::template opaque<V>(out[0], out[1], out[2]);
        } else {
            const TexelLanes<V> x = sampleLanes<V>(k, e, p, write);
            const F d = V::splatF(255.0f);
            if constexpr (Fmt::kBpp == 16) {
                auto field = [&](int c, int t, float scale, std::int32_t mask) {
                    const F v = V::div(
                        V::div(V::mul(V::mul(sh.c[c], V::toF(texelByteLanes<V>(x, t))), V::splatF(scale)), d), d);
                    return V::andI(roundLanes<V>(v), V::splatI(mask));
                };
                return V::orI(V::orI(field(1, 1, 992.0f, 0x3E0), field(0, 2, 31744.0f, 0x7C00)),
                              field(2, 0, 31.0f, 0x1F));
            } else {
                auto channel = [&](int i) {
                    return roundLanes<V>(V::div(V::mul(sh.c[shadeIndex(i)], V::toF(texelByteLanes<V>(x, i))), d));
                };
                return Fmt::template opaque<V>(channel(0), channel(1), channel(2));
            }
        }
    }
};

// ---------------------------------------------------------- blended -------

// Flat colour, integer blend weighted by alpha + 1.
struct Rule3a {
    static constexpr SpanTraits kTraits = kDepthTested.unrolled().on8(Mode8::kCubeWithDepth);
    template <class Fmt>
    static bool pixel(const SpanContext& k, unsigned char* px) {
        Fmt::blendInt(px, k.blend);
        return true;
    }
};

// The float blend's weight test: a pixel of weight 0 or less (or NaN) is
// left alone, except in the 16 bpp members without a depth test.
template <class Rule, class Fmt>
constexpr bool blendsEveryPixel() {
    return Fmt::kBpp == 16 && Rule::kTraits.blend16Always;
}
template <class Rule, class Fmt, class V>
void narrowToWeighted(typename V::I& write, typename V::F a) {
    if constexpr (!blendsEveryPixel<Rule, Fmt>()) write = V::andI(write, V::gt(a, V::splatF(0.0f)));
}

// Interpolated colour blended by its interpolated alpha.
template <bool Depth>
struct RuleShadedBlend {
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kDepthTestedOrEqual);
    static constexpr int kId = Depth ? kFill3ca : kFillca;
    template <class Fmt>
    static bool pixel(const SpanContext&, const RowEnds& e, float p, unsigned char* px) {
        const Shade sh = shadeAt(e, p);
        const float a = sh.c[3] / 255.0f;
        if (!(a > 0.0f) && !blendsEveryPixel<RuleShadedBlend, Fmt>()) return false;
        Fmt::blendFloat(
            px, a, [&](int i) { return sh.c[shadeIndex(i)] * a; },
            [&](int i, float scale) { return sh.c[shadeIndex(i)] * a / 255.0f * scale; });
        return true;
    }
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext&, const RowEnds& e, typename V::F p, typename V::I old,
                                               typename V::I& write) {
        const ShadeLanes<V> sh(e, p);
        const typename V::F a = V::div(sh.c[3], V::splatF(255.0f));
        narrowToWeighted<RuleShadedBlend, Fmt, V>(write, a);
        return Fmt::template blendFloat<V>(
            old, a, [&](int i) { return V::mul(sh.c[shadeIndex(i)], a); },
            [&](int i, float scale) {
                return V::mul(V::div(V::mul(sh.c[shadeIndex(i)], a), V::splatF(255.0f)), V::splatF(scale));
            });
    }
};

// Texel times the constant colour, weighted by the alpha byte times the
// colour's alpha.  Depth-tested: strict test; on 8 bpp the cube colour
// without a depth write.
template <bool Depth>
struct RuleTexturedBlend {
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kDepthTested.on8(Mode8::kCubeNoDepth));
    static constexpr int kId = Depth ? kFill3at : kFillat;
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Texel x = sampleTexture(k, e, p);
        const unsigned m = alphaByte(k, x);
        const float a = static_cast<float>(m * k.cA) / 255.0f / 255.0f;
        if (!(a > 0.0f) && !blendsEveryPixel<RuleTexturedBlend, Fmt>()) return false;
        Fmt::blendFloat(
            px, a, [&](int i) { return static_cast<float>(texelByte(x, i) * colorByte(k, i)) * a / 255.0f; },
            [&](int i, float scale) {
                return static_cast<float>(texelByte(x, i) * colorByte(k, i)) * a / 255.0f / 255.0f * scale;
            });
        return true;
    }
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext& k, const RowEnds& e, typename V::F p,
                                               typename V::I old, typename V::I& write) {
        using F = typename V::F;
        const TexelLanes<V> x = sampleLanes<V>(k, e, p, write);
        const F d = V::splatF(255.0f);
        const typename V::I m = alphaLanes<V>(k, x, write);
        const F a = V::div(V::div(V::toF(V::mulSmall(m, V::splatI(static_cast<std::int32_t>(k.cA)))), d), d);
        narrowToWeighted<RuleTexturedBlend, Fmt, V>(write, a);
        auto product = [&](int i) {
            return V::toF(V::mulSmall(texelByteLanes<V>(x, i), V::splatI(static_cast<std::int32_t>(colorByte(k, i)))));
        };
        return Fmt::template blendFloat<V>(
            old, a, [&](int i) { return V::div(V::mul(product(i), a), d); },
            [&](int i, float scale) { return V::mul(V::div(V::div(V::mul(product(i), a), d), d), V::splatF(scale)); });
    }
};

// Texel times the interpolated colour, weighted by the alpha byte times the
// interpolated alpha.  The depth-tested member multiplies the texel before
// the weight (and scales 16 bpp fields before dividing); the one without a
// depth test weights first.
template <bool Depth>
struct RuleShadedTexturedBlend {
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kDepthTestedOrEqual);
    static constexpr int kId = Depth ? kFill3cat : kFillcat;
    template <class Fmt>
    static bool pixel(const SpanContext& k, const RowEnds& e, float p, unsigned char* px) {
        const Shade sh = shadeAt(e, p);
        const Texel x = sampleTexture(k, e, p);
        const unsigned m = alphaByte(k, x);
        const float a = sh.c[3] * static_cast<float>(m) / 255.0f / 255.0f;
        if (!(a > 0.0f) && !blendsEveryPixel<RuleShadedTexturedBlend, Fmt>()) return false;
        if constexpr (Depth) {
            Fmt::blendFloat(
                px, a, [&](int i) { return sh.c[shadeIndex(i)] * static_cast<float>(texelByte(x, i)) * a / 255.0f; },
                [&](int i, float scale) {
                    return sh.c[shadeIndex(i)] * static_cast<float>(texelByte(x, i)) * a * scale / 255.0f / 255.0f;
                });
        } else {
            Fmt::blendFloat(
                px, a, [&](int i) { return sh.c[shadeIndex(i)] * a * static_cast<float>(texelByte(x, i)) / 255.0f; },
                [&](int i, float scale) {
                    return sh.c[shadeIndex(i)] * a * static_cast<float>(texelByte(x, i)) / 255.0f / 255.0f * scale;
                });
        }
        return true;
    }
    template <class V, class Fmt>
    KWR_LANE_INLINE static typename V::I lanes(const SpanContext& k, const RowEnds& e, typename V::F p,
                                               typename V::I old, typename V::I& write) {
        using F = typename V::F;
        const ShadeLanes<V> sh(e, p);
        const TexelLanes<V> x = sampleLanes<V>(k, e, p, write);
        const F d = V::splatF(255.0f);
        const F a = V::div(V::div(V::mul(sh.c[3], V::toF(alphaLanes<V>(k, x, write))), d), d);
        narrowToWeighted<RuleShadedTexturedBlend, Fmt, V>(write, a);
        auto t = [&](int i) { return V::toF(texelByteLanes<V>(x, i)); };
        auto c = [&](int i) { return sh.c[shadeIndex(i)]; };
        if constexpr (Depth) {
            return Fmt::template blendFloat<V>(
                old, a, [&](int i) { return V::div(V::mul(V::mul(c(i), t(i)), a), d); },
                [&](int i, float scale) {
                    return V::div(V::div(V::mul(V::mul(V::mul(c(i), t(i)), a), V::splatF(scale)), d), d);
                });
        } else {
            return Fmt::template blendFloat<V>(
                old, a, [&](int i) { return V::div(V::mul(V::mul(c(i), a), t(i)), d); },
                [&](int i, float scale) {
                    return V::mul(V::div(V::div(V::mul(V::mul(c(i), a), t(i)), d), d), V::splatF(scale));
                });
        }
    }
};

// ------------------------------------------------------ the member table --
// Each rule serves two members: with a depth test and without.
using Rule3c = RuleShaded<true>;                using Rulec = RuleShaded<false>;
using Rule3t = RuleTextured<true>;              using Rulet = RuleTextured<false>;
using Rule3ct = RuleShadedTextured<true>;       using Rulect = RuleShadedTextured<false>;
using Rule3ca = RuleShadedBlend<true>;          using Ruleca = RuleShadedBlend<false>;
using Rule3at = RuleTexturedBlend<true>;        using Ruleat = RuleTexturedBlend<false>;
using Rule3cat = RuleShadedTexturedBlend<true>; using Rulecat = RuleShadedTexturedBlend<false>;

// Every interpolating member, for the tables of lane blocks.
#define KWR_LANE_FILLS(X) \
    X(Rule3c)             \
    X(Rulec) X(Rule3t) X(Rulet) X(Rule3ct) X(Rulect) X(Rule3ca) X(Ruleca) X(Rule3at) X(Ruleat) X(Rule3cat) X(Rulecat)

// Lane blocks of one level: [member][format 16, 24, 32]; null where a
// level is not built for this processor family.
struct LaneBlocks {
    BlockFn fill[kLaneFillCount][3];
};
template <class V>
constexpr LaneBlocks makeLaneBlocks() {
    LaneBlocks t{};
#define KWR_LANE_ROW(R)                             \
    t.fill[R::kId][0] = &laneBlock<V, R, Format16>; \
    t.fill[R::kId][1] = &laneBlock<V, R, Format24>; \
    t.fill[R::kId][2] = &laneBlock<V, R, Format32>;
    KWR_LANE_FILLS(KWR_LANE_ROW)
#undef KWR_LANE_ROW
    return t;
}
// The lane blocks of lane set V, made once; instantiated only in the
// translation unit built for V's instructions.
template <class V>
const LaneBlocks* laneBlocksOf() {
    static constexpr LaneBlocks kBlocks = makeLaneBlocks<V>();
    return &kBlocks;
}
const LaneBlocks* laneBlocksSse2();
const LaneBlocks* laneBlocksSse41();
const LaneBlocks* laneBlocksAvx2();
const LaneBlocks* laneBlocksAvx512();
const LaneBlocks* laneBlocksNeon();
const LaneBlocks* laneBlocksSimd128();

// The block function of `Rule` on `Fmt` at `level`: the lane block of the
// highest built level not above it, else the plain block.
template <class Rule, class Fmt>
BlockFn blockFor(SimdLevel level) {
    const LaneBlocks* (*const tables[])() = {laneBlocksSse2, laneBlocksSse41, laneBlocksAvx2, laneBlocksAvx512,
                                             laneBlocksNeon, laneBlocksSimd128};
    for (int i = static_cast<int>(level) - 1; i >= 0; --i) {
        const LaneBlocks* t = tables[i]();
        if (t != nullptr) return t->fill[Rule::kId][Fmt::kBytes - 2];
    }
    return &plainBlock<Rule, Fmt>;
}

// The 8 bpp form of a depth-tested member that draws the cube colour.
template <class Rule>
struct CubeRule {
    static constexpr SpanTraits kTraits{Rule::kTraits.depth,     false, false,
                                        Rule::kTraits.unrollBy4, false, Rule::kTraits.mode8};
};

// Runs `Rule` over rows firstRow..lastRow on the surface's format.
template <class Rule>
void fillTriangleRows(const RenderState& s, int firstRow, int lastRow) {
    if (firstRow > lastRow) return;
    const SpanContext k = makeSpanContext(s);
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if constexpr (Fmt::kBpp == 8) {
            if constexpr (Rule::kTraits.mode8 != Mode8::kNothing) {
                walkSpans<CubeRule<Rule>, Fmt>(s, firstRow, lastRow, [&](unsigned char* px) {
                    *px = k.solid.c8;
                    return Rule::kTraits.mode8 == Mode8::kCubeWithDepth;
                });
            }
        } else if constexpr (Rule::kTraits.interpolates) {
            walkSpans<Rule, Fmt>(s, firstRow, lastRow, nullptr, &k, blockFor<Rule, Fmt>(activeSimdLevel()));
        } else {
            walkSpans<Rule, Fmt>(s, firstRow, lastRow,
                                 [&](unsigned char* px) { return Rule::template pixel<Fmt>(k, px); });
        }
    });
}

}  // namespace kwr

#endif
