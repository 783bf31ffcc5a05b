// The rules of the span fills, one body each.
//
// Each rule is a small type: its traits (the letters of its fill, its depth
// test, how it uses the row walk) and lanes<LaneSet, Format>(), its
// arithmetic on one pixel per lane.  The same body runs at every level: the
// vector lane sets of raster/span_lanes.h and the one-lane set of plain
// scalars.  The flat triangles without depth write whole spans (Runs).
// What each fill draws on 8 bpp surfaces is Format8's policy; the list of
// fills x formats x levels is KWR_LANE_FILLS with makeLaneBlocks below.
#ifndef KWR_RASTER_SPAN_RULES_H
#define KWR_RASTER_SPAN_RULES_H

#include <atomic>
#include <cstddef>
#include <cstring>
#include <utility>

#include "raster/span_fill.h"
#include "raster/span_vector.h"
#include "render/simd_level.h"

namespace kwr {

// Static, like the next: the lane blocks of every level call them, and each
// level keeps its own copy.  Channel i of the memory order (0 blue, 1 green,
// 2 red) in the colour order of the scan-line table (0 red, 1 green, 2 blue).
static inline int shadeIndex(int i) { return 2 - i; }
// Byte i of the current colour word (0 blue, 1 green, 2 red, 3 alpha).
static inline unsigned colorByte(const SpanContext& k, int i) { return (k.solid.c32 >> (8 * i)) & 0xFFu; }

// The interpolated channels of a lane group, in the table's order.
template <class V, unsigned M, int Count = 4>
struct ShadeLanes {
    typename V::F c[4];
    ShadeLanes(const RowEnds& e, typename V::F p) {
        c[0] = attributeLanes<V, M>(e, p, e.leftColor[0], e.rightColor[0]);
        c[1] = attributeLanes<V, M>(e, p, e.leftColor[1], e.rightColor[1]);
        c[2] = attributeLanes<V, M>(e, p, e.leftColor[2], e.rightColor[2]);
        if constexpr (Count == 4) c[3] = attributeLanes<V, M>(e, p, e.leftColor[3], e.rightColor[3]);
    }
};
template <class V>
typename V::I texelByteLanes(const TexelLanes<V>& x, int i) {
    return i == 0 ? x.b() : (i == 1 ? x.g() : x.r());
}

constexpr SpanTraits kNearerTested = SpanTraits{}.tested(DepthTest::kNearer);
constexpr SpanTraits kNearerOrLevelTested = SpanTraits{}.tested(DepthTest::kNearerOrLevel);
constexpr SpanTraits kUntested = SpanTraits{};
// The blended interpolating members: `tested` with a depth test; without
// one, 16 bpp surfaces blend every pixel, even at weight zero.
constexpr SpanTraits blendedTraits(bool depth, SpanTraits tested) {
    return depth ? tested.blended() : kUntested.blended().blendingEvery16();
}

// Each rule computes, for a group of pixels (one per lane), the new pixels
// in the surface's format from the span parameter p and, when it blends,
// the old pixels `old`; it narrows `write`, the lanes to be written, where
// it leaves a pixel alone.  The format (render/pixel_format.h) packs,
// stores and blends.  The arithmetic of each member keeps its own operation
// order; those orders differ in the last bit on purpose.  M is the sampling
// modes of the block (raster/span_vector.h).
#define KWR_RULE_LANES                                                                                    \
    template <class V, class Fmt, unsigned M>                                                             \
    KWR_ALWAYS_INLINE static typename V::I lanes(const SpanContext& k, const RowEnds& e, typename V::F p, \
                                               typename V::I old, typename V::I& write)

// ----------------------------------------------------------- opaque -------

// Flat colour; 32 bpp stores alpha 255.
struct Rule3 {
    static constexpr SpanTraits kTraits = kNearerTested;
    KWR_RULE_LANES {
        (void)e, (void)p, (void)old, (void)write;
        return V::splatI(static_cast<std::int32_t>(Fmt::opaqueWord(k.solid)));
    }
};

// Interpolated vertex colour, rounded.
template <bool Depth>
struct RuleShaded {
    static constexpr SpanTraits kTraits = (Depth ? kNearerTested : kUntested).shaded();
    KWR_RULE_LANES {
        (void)k, (void)old, (void)write;
        const ShadeLanes<V, M, 3> sh(e, p);
        return Fmt::template opaque<V>(roundLanes<V>(sh.c[2]), roundLanes<V>(sh.c[1]), roundLanes<V>(sh.c[0]));
    }
};

// Texel times the constant colour, integer and truncating.
template <bool Depth>
struct RuleTextured {
    static constexpr SpanTraits kTraits = (Depth ? kNearerTested : kUntested).textured();
    KWR_RULE_LANES {
        (void)old;
        const TexelLanes<V> x = sampleLanes<V, M>(k, e, p, write);
        auto product = [&](int i) {
            return V::mulSmall(texelByteLanes<V>(x, i), V::splatI(static_cast<std::int32_t>(colorByte(k, i))));
        };
        return Fmt::template opaqueProducts<V>(product(0), product(1), product(2));
    }
};

// Texel times the interpolated colour.  The depth-tested member multiplies
// in float and rounds; the one without a depth test rounds the colour
// first, then multiplies by the texel in integers and truncates.
template <bool Depth>
struct RuleShadedTextured {
    static constexpr SpanTraits kTraits = (Depth ? kNearerTested : kUntested).shaded().textured();
    // Without a depth test, rounded colours of 0..255 take the integer form;
    // any others (only from out-of-range edge data) the quotient of the exact
    // product in double precision, truncated toward zero like the integer
    // division.
    KWR_RULE_LANES {
        (void)old;
        using F = typename V::F;
        using I = typename V::I;
        const ShadeLanes<V, M, 3> sh(e, p);
        const TexelLanes<V> x = sampleLanes<V, M>(k, e, p, write);
        if constexpr (!Depth) {
            const I q[3] = {roundLanes<V>(sh.c[2]), roundLanes<V>(sh.c[1]), roundLanes<V>(sh.c[0])};
            const I outside = V::andI(V::andI(V::orI(V::orI(q[0], q[1]), q[2]), V::splatI(~0xFF)), write);
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
            const F d = V::splatF(255.0f);
            auto product = [&](int i) { return V::mul(sh.c[shadeIndex(i)], V::toF(texelByteLanes<V>(x, i))); };
            return Fmt::template opaqueRounded<V>(
                [&](int i) { return V::div(product(i), d); },
                [&](int i, float scale) { return V::div(V::div(V::mul(product(i), V::splatF(scale)), d), d); });
        }
    }
};

// ---------------------------------------------------------- blended -------

// Flat colour, integer blend weighted by alpha + 1.
struct Rule3a {
    static constexpr SpanTraits kTraits = kNearerTested.blended();
    KWR_RULE_LANES {
        (void)e, (void)p, (void)write;
        return Fmt::template blendInt<V>(old, k.blend);
    }
};

// The float blend's weight test: a pixel of weight 0 or less (or NaN) is
// left alone, except in the 16 bpp members without a depth test.
template <class Rule, class Fmt, class V>
KWR_ALWAYS_INLINE void narrowToWeighted(typename V::I& write, typename V::F a) {
    if constexpr (!(Fmt::kBpp == 16 && Rule::kTraits.blend16Always))
        write = V::andI(write, V::gt(a, V::splatF(0.0f)));
}

// Interpolated colour blended by its interpolated alpha.
template <bool Depth>
struct RuleShadedBlend {
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kNearerOrLevelTested).shaded();
    KWR_RULE_LANES {
        (void)k;
        const ShadeLanes<V, M> sh(e, p);
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
// colour's alpha.
template <bool Depth>
struct RuleTexturedBlend {
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kNearerTested).textured();
    KWR_RULE_LANES {
        using F = typename V::F;
        const TexelLanes<V> x = sampleLanes<V, M>(k, e, p, write);
        const F d = V::splatF(255.0f);
        const typename V::I m = alphaLanes<V, M>(k, x, write);
        const F a = V::div(V::div(V::toF(V::mulSmall(m, V::splatI(static_cast<std::int32_t>(colorByte(k, 3))))), d), d);
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
    static constexpr SpanTraits kTraits = blendedTraits(Depth, kNearerOrLevelTested).shaded().textured();
    KWR_RULE_LANES {
        using F = typename V::F;
        const ShadeLanes<V, M> sh(e, p);
        const TexelLanes<V> x = sampleLanes<V, M>(k, e, p, write);
        const F d = V::splatF(255.0f);
        const F a = V::div(V::div(V::mul(sh.c[3], V::toF(alphaLanes<V, M>(k, x, write))), d), d);
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

// ------------------------------------------------------- whole spans ------

// The flat triangles without depth: the current colour over whole spans,
// opaque or blended by the integer blend that keeps the 32 bpp alpha byte.
template <bool Blended>
struct RuleFlat {
    static constexpr SpanTraits kTraits = Blended ? kUntested.blended().whole() : kUntested.whole();
    template <class Fmt>
    struct Runs {
        explicit Runs(const SpanContext& k) : k(k), solid(k.solid) {}
        void operator()(unsigned char* px, std::int64_t n) {
            if constexpr (Blended)
                blendIntRun<Fmt>(px, n, k.flatBlend);
            else
                solid(px, n);
        }
        const SpanContext& k;
        SolidRuns<Fmt> solid;
    };
};

// The 8 bpp forms (Format8::fillOn8): the cube colour where a rule's depth
// test passes, storing the depth or not, or over whole spans; the colour
// word's low byte over whole spans.
template <class Rule, bool StoresDepth>
struct RuleCube {
    static constexpr SpanTraits kTraits =
        StoresDepth ? SpanTraits{}.tested(Rule::kTraits.depth) : SpanTraits{}.tested(Rule::kTraits.depth).keepingDepth();
    KWR_RULE_LANES {
        (void)e, (void)p, (void)old, (void)write;
        return V::splatI(static_cast<std::int32_t>(Format8::opaqueWord(k.solid)));
    }
};
template <bool LowByte>
struct RuleCubeRun {
    static constexpr SpanTraits kTraits = kUntested.whole();
    template <class Fmt>
    struct Runs {
        explicit Runs(const SpanContext& k) : k(k) {}
        void operator()(unsigned char* px, std::int64_t n) {
            std::memset(px, LowByte ? static_cast<int>(k.solid.c32 & 0xFFu) : k.solid.c8, static_cast<std::size_t>(n));
        }
        const SpanContext& k;
    };
};

// ------------------------------------------------------ the member table --
// Each rule serves two members: with a depth test and without.
using Rule3c = RuleShaded<true>;                using Rulec = RuleShaded<false>;
using Rule3t = RuleTextured<true>;              using Rulet = RuleTextured<false>;
using Rule3ct = RuleShadedTextured<true>;       using Rulect = RuleShadedTextured<false>;
using Rule3ca = RuleShadedBlend<true>;          using Ruleca = RuleShadedBlend<false>;
using Rule3at = RuleTexturedBlend<true>;        using Ruleat = RuleTexturedBlend<false>;
using Rule3cat = RuleShadedTexturedBlend<true>; using Rulecat = RuleShadedTexturedBlend<false>;
using RuleFlatOpaque = RuleFlat<false>;         using RuleFlatBlend = RuleFlat<true>;

// Every rule drawn in lanes, with the formats it is drawn on: the
// fills × formats × levels of the library.  Each level's translation unit
// instantiates the whole list (laneBlocksOf), the scalar level included.
#define KWR_LANE_FILLS(X)                                                                               \
    X(Rule3, 1) X(Rule3a, 2) X(Rule3c, 3) X(Rulec, 4) X(Rule3t, 5) X(Rulet, 6) X(Rule3ct, 7) X(Rulect, 8) \
    X(Rule3ca, 9) X(Ruleca, 10) X(Rule3at, 11) X(Ruleat, 12) X(Rule3cat, 13) X(Rulecat, 14)
enum LaneFill {
#define KWR_LANE_ID(R, n) kFill##R = n - 1,
    KWR_LANE_FILLS(KWR_LANE_ID)
#undef KWR_LANE_ID
    kFillCubeWithDepth,  // the cube colour, tested strictly, storing the depth
    kFillCubeNoDepth,    // the same, keeping the depth
    kLaneFillCount
};
template <class Rule>
struct LaneFillOf;
#define KWR_LANE_OF(R, n) \
    template <>           \
    struct LaneFillOf<R> { static constexpr int kId = kFill##R; };
KWR_LANE_FILLS(KWR_LANE_OF)
#undef KWR_LANE_OF
using RuleCubeWithDepth = RuleCube<Rule3, true>;
using RuleCubeNoDepth = RuleCube<Rule3, false>;
template <>
struct LaneFillOf<RuleCubeWithDepth> {
    static constexpr int kId = kFillCubeWithDepth;
};
template <>
struct LaneFillOf<RuleCubeNoDepth> {
    static constexpr int kId = kFillCubeNoDepth;
};

// The sampling modes with blocks of their own (raster/span_vector.h), for
// the textured fills on 32 bpp surfaces: the nearest texel of a texture
// whose sizes are powers of two and whose texel offsets fit in 32 bits,
// without perspective.  Every other combination, format and fill takes the
// general block, which reads the modes as it runs: each fixed combination
// costs a block per textured fill and level, and the others gain little
// (the fills without a texture read only the perspective, which is one
// predictable test per attribute).
inline constexpr unsigned kFixedModes[] = {kModesFixed | kModeWrapByMask | kModeOffsets32};
constexpr int kFixedModeCount = static_cast<int>(sizeof kFixedModes / sizeof kFixedModes[0]);
constexpr int kModeBlocks = 1 + kFixedModeCount;  // the general block first
template <class Rule, class Fmt>
constexpr unsigned modesReadBy() {
    return Rule::kTraits.letters.textured && Fmt::kBpp == 32 ? ~0u : kModesRead;
}
// The fixed modes of a fill's context; only textured fills have a texture.
template <class Rule>
unsigned sampleModesOf(const SpanContext& k) {
    unsigned m = kModesFixed | (k.perspective ? kModePerspective : 0u);
    if constexpr (Rule::kTraits.letters.textured) {
        auto powerOfTwo = [](int n) { return (n & (n - 1)) == 0; };
        if (k.bilinear) m |= kModeBilinear;
        if (powerOfTwo(k.texture.width) && powerOfTwo(k.texture.height)) m |= kModeWrapByMask;
        if (k.texture.offsets32) m |= kModeOffsets32;
    }
    return m;
}
// Makes every fill take the general block (true) or its modes' block
// (false) and returns the previous choice.  For tests that compare them.
bool forceGeneralBlocks(bool general);
extern std::atomic<bool> g_generalBlocks;
inline bool generalBlocksForced() { return g_generalBlocks.load(std::memory_order_relaxed); }
// The index of the block for a fill's context: 1 + the fixed modes that
// match what the fill reads, or 0 for the general block.
template <class Rule, class Fmt>
int modeBlockOf(const SpanContext& k) {
    constexpr unsigned kRead = modesReadBy<Rule, Fmt>();
    if (kRead == kModesRead || generalBlocksForced()) return 0;
    const unsigned m = sampleModesOf<Rule>(k) & kRead;
    for (int j = 0; j < kFixedModeCount; ++j)
        if ((kFixedModes[j] & kRead) == m) return j + 1;
    return 0;
}

// Lane blocks of one level: [member][format 8, 16, 24, 32][modes]; null
// where a level is not built for this processor family.
struct LaneBlocks {
    BlockFn fill[kLaneFillCount][4][kModeBlocks];
    int lanes;
};
template <class V, class Rule, class Fmt, std::size_t... J>
constexpr void setModeBlocks(BlockFn (&blocks)[kModeBlocks], std::index_sequence<J...>) {
    blocks[0] = &laneBlock<V, Rule, Fmt, kModesRead>;
    ((blocks[J + 1] = &laneBlock<V, Rule, Fmt, kFixedModes[J] & modesReadBy<Rule, Fmt>()>), ...);
}
template <class V, class Rule, class Fmt>
constexpr void setModeBlocks(BlockFn (&blocks)[kModeBlocks]) {
    setModeBlocks<V, Rule, Fmt>(blocks, std::make_index_sequence<kFixedModeCount>{});
}
template <class V>
constexpr LaneBlocks makeLaneBlocks() {
    LaneBlocks t{};
#define KWR_LANE_ROW(R, n)                              \
    setModeBlocks<V, R, Format16>(t.fill[kFill##R][1]); \
    setModeBlocks<V, R, Format24>(t.fill[kFill##R][2]); \
    setModeBlocks<V, R, Format32>(t.fill[kFill##R][3]);
    KWR_LANE_FILLS(KWR_LANE_ROW)
#undef KWR_LANE_ROW
    setModeBlocks<V, RuleCubeWithDepth, Format8>(t.fill[kFillCubeWithDepth][0]);
    setModeBlocks<V, RuleCubeNoDepth, Format8>(t.fill[kFillCubeNoDepth][0]);
    static_assert((V::kLanes & (V::kLanes - 1)) == 0, "the row walk rounds to whole lane groups by masks");
    t.lanes = V::kLanes;
    return t;
}
// The lane blocks of lane set V, made once; instantiated only in the
// translation unit built for V's instructions.
template <class V>
const LaneBlocks* laneBlocksOf() {
    static constexpr LaneBlocks kBlocks = makeLaneBlocks<V>();
    return &kBlocks;
}
const LaneBlocks* laneBlocksScalar();
const LaneBlocks* laneBlocksSse2();
const LaneBlocks* laneBlocksSse41();
const LaneBlocks* laneBlocksAvx2();
const LaneBlocks* laneBlocksAvx512();
const LaneBlocks* laneBlocksNeon();
const LaneBlocks* laneBlocksSimd128();

// The lane blocks of the level in force, looked up at the first fill and
// again after forceSimdLevel (one load a fill).
extern std::atomic<const LaneBlocks*> g_activeLaneBlocks;
const LaneBlocks* lookUpActiveLaneBlocks();
inline const LaneBlocks* activeLaneBlocks() {
    const LaneBlocks* t = g_activeLaneBlocks.load(std::memory_order_relaxed);
    return t != nullptr ? t : lookUpActiveLaneBlocks();
}

// The block function of `Rule` on `Fmt` at the level in force, block `modes` of its
// sampling modes (modeBlockOf).
template <class Rule, class Fmt>
BlockRunner blockFor(int modes) {
    const LaneBlocks* t = activeLaneBlocks();
    return BlockRunner{t->fill[LaneFillOf<Rule>::kId][Fmt::kBytes - 1][modes], t->lanes};
}

// A span too short for a lane group, pixel by pixel through the rule at
// width 1, its chains stepped as it goes.
template <class Rule, class Fmt, unsigned M>
void runShortSpan(const SpanContext& k, const RowRun& r) {
    using One = ScalarLanes<void>;
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    // Locals: the pixel stores could alias the run's fields.
    unsigned char* px = r.px;
    float* zp = r.zp;
    float p = r.p, z = r.z;
    const float sp = r.sp, dz = r.dz;
    for (std::int64_t n = r.n; n > 0; --n, px += Fmt::kBytes) {
        laneGroup<One, Rule, Fmt, M>(k, r.ends, &p, &z, zp, px, 1);
        if constexpr (kDepth) ++zp;
        p += sp;
        z += dz;
    }
}
// The same in the sampling modes of block `modes` (modeBlockOf).
template <class Rule, class Fmt, std::size_t... J>
void runShortSpan(int modes, const SpanContext& k, const RowRun& r, std::index_sequence<J...>) {
    constexpr unsigned kRead = modesReadBy<Rule, Fmt>();
    (void)modes;
    if constexpr (kRead != kModesRead) {
        if (((modes == static_cast<int>(J) + 1 && (runShortSpan<Rule, Fmt, kFixedModes[J] & kRead>(k, r), true)) ||
             ...))
            return;
    }
    runShortSpan<Rule, Fmt, kModesRead>(k, r);
}
// Short spans of the textured fills go to the lane block as one partial
// group: a textured pixel at width 1 costs more (its roundings, divisions
// and texel read one at a time) than a group of lanes does.
template <class Rule>
constexpr bool kShortSpansInLanes =
    Rule::kTraits.letters.textured && (Rule::kTraits.letters.shaded || Rule::kTraits.letters.blended);

// A short span as one block: its chain values as the walk computes them
// (the second the first plus the step), the lanes past the span given the
// last value again.
template <class Rule>
void runShortSpanInLanes(const SpanContext& k, const RowRun& r, BlockRunner block) {
    static_assert(kShortSpan<Rule> <= 3, "a short span is one or two pixels");
    const bool two = r.n > 1;
    const float p1 = two ? r.p + r.sp : r.p, z1 = two ? r.z + r.dz : r.z;
    float p[kWidestLanes], z[kWidestLanes];
    for (int i = 0; i < kWidestLanes; ++i) {
        p[i] = p1;
        z[i] = z1;
    }
    p[0] = r.p;
    z[0] = r.z;
    block.run(k, r.ends, SpanBlock{p, z, r.zp, r.px, static_cast<int>(r.n)});
}

// (Inlined into the fill: as a call it costs every triangle its arguments
// and frame.)
template <class Rule, class Fmt, class Rows>
KWR_ALWAYS_INLINE void walkRule(const RenderState& s, const Rows& rows, int firstRow, int lastRow, const SpanContext& k) {
    const int modes = modeBlockOf<Rule, Fmt>(k);
    const BlockRunner block = blockFor<Rule, Fmt>(modes);
    walkSpans<Rule, Fmt>(s, rows, firstRow, lastRow, k, block, [&](const RowRun& r) {
        if constexpr (kShortSpansInLanes<Rule>) {
            if (block.lanes > 1 && r.n > 1) return runShortSpanInLanes<Rule>(k, r, block);
        }
        runShortSpan<Rule, Fmt>(modes, k, r, std::make_index_sequence<kFixedModeCount>{});
    });
}

// Runs `Rule` over rows firstRow..lastRow of `rows` on the surface's format;
// on 8 bpp surfaces what Format8 draws for the rule's fill.
// With `perspective` the table holds attributes divided by w and 1 / w
// (clip-space triangles), and each pixel's attributes are divided by its 1 / w.
template <class Rule, class Rows>
void fillTriangleRows(const RenderState& s, const Rows& rows, int firstRow, int lastRow, bool perspective) {
    if (firstRow > lastRow) return;
    const SpanContext k = makeSpanContext<Rule>(s, perspective);
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if constexpr (Fmt::kBpp == 8) {
            constexpr Cube8 kOn8 = Format8::fillOn8(Rule::kTraits.letters);
            if constexpr (kOn8 == Cube8::kLowByte) {
                walkSpans<RuleCubeRun<true>, Fmt>(s, rows, firstRow, lastRow, k, BlockRunner{nullptr, 1}, 0);
            } else if constexpr (kOn8 != Cube8::kNothing && Rule::kTraits.depth == DepthTest::kNone) {
                walkSpans<RuleCubeRun<false>, Fmt>(s, rows, firstRow, lastRow, k, BlockRunner{nullptr, 1}, 0);
            } else if constexpr (kOn8 == Cube8::kCubeColour) {
                static_assert(Rule::kTraits.depth == DepthTest::kNearer, "the cube fills test strictly");
                walkRule<RuleCubeWithDepth, Fmt>(s, rows, firstRow, lastRow, k);
            } else if constexpr (kOn8 == Cube8::kCubeColourNoDepth) {
                static_assert(Rule::kTraits.depth == DepthTest::kNearer, "the cube fills test strictly");
                walkRule<RuleCubeNoDepth, Fmt>(s, rows, firstRow, lastRow, k);
            }
        } else if constexpr (Rule::kTraits.wholeSpan) {
            walkSpans<Rule, Fmt>(s, rows, firstRow, lastRow, k, BlockRunner{nullptr, 1}, 0);
        } else {
            walkRule<Rule, Fmt>(s, rows, firstRow, lastRow, k);
        }
    });
}
// The same over the surface's scan-line table.
template <class Rule>
void fillTriangleRows(const RenderState& s, int firstRow, int lastRow, bool perspective = false) {
    fillTriangleRows<Rule>(s, ScanTableRows{&s.scan}, firstRow, lastRow, perspective);
}

}  // namespace kwr

#endif
