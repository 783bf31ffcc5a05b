// The span fills' shared machinery: the row walk with its clipping, the
// per-call context and the traits that say what a rule uses.
//
// A span rule (raster/span_rules.h) says what one member does per pixel;
// walkSpans<Rule, Format> walks the rows and calls it.  Every rule and
// format combination is one instantiation of the same walk.
//
// The walk runs the two serial chains (the depth z += dz and the span
// parameter p += s) ahead into a block of a row, then hands the block to a
// block function of the processor's level (raster/span_vector.h), which
// takes several pixels per instruction, or one at the scalar level.  Every
// level sees the same chain values, so every level gives the same bytes.
#ifndef KWR_RASTER_SPAN_FILL_H
#define KWR_RASTER_SPAN_FILL_H

#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <xmmintrin.h>
#define KWR_CHAINS_IN_VECTORS 1
#elif defined(_MSC_VER) && defined(_M_IX86)
#include <xmmintrin.h>
#endif

#include "KWRRender.h"
#include "raster/row_table.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"

// Small helpers of the walk and the lane blocks are inlined into each
// block: as calls they would pass wide vectors and whole records through
// memory.
#if defined(__GNUC__) || defined(__clang__)
#define KWR_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define KWR_ALWAYS_INLINE __forceinline
#else
#define KWR_ALWAYS_INLINE inline
#endif

namespace kwr {

// Which stored depths let a pixel through (the comparisons of DepthView).
enum class DepthTest {
    kNone,
    kNearer,         // stored > z
    kNearerOrLevel,  // stored >= z
};

// What a span rule is, by name: the letters of its fill, its depth test,
// and how it uses the row walk.
struct SpanTraits {
    FillLetters letters = {false, false, false, false};
    DepthTest depth = DepthTest::kNone;
    bool storesDepth = true;  // a pixel that passes the depth test stores its depth
    // The blends without a depth test compute 16 bpp pixels whatever the
    // weight; a zero weight reproduces the old pixel there.
    bool blend16Always = false;
    // Writes whole spans at once (run()) instead of lanes of pixels.
    bool wholeSpan = false;

    constexpr bool interpolates() const { return letters.shaded || letters.textured; }
    constexpr bool blends() const { return letters.blended; }

    // A copy with one field changed; the named forms below read at the rules.
    template <class T>
    constexpr SpanTraits with(T SpanTraits::*field, T value) const {
        SpanTraits t = *this;
        t.*field = value;
        return t;
    }
    constexpr SpanTraits tested(DepthTest d) const {
        SpanTraits t = with(&SpanTraits::depth, d);
        t.letters.depth = d != DepthTest::kNone;
        return t;
    }
    constexpr SpanTraits shaded() const {
        SpanTraits t = *this;
        t.letters.shaded = true;
        return t;
    }
    constexpr SpanTraits textured() const {
        SpanTraits t = *this;
        t.letters.textured = true;
        return t;
    }
    constexpr SpanTraits blended() const {
        SpanTraits t = *this;
        t.letters.blended = true;
        return t;
    }
    constexpr SpanTraits keepingDepth() const { return with(&SpanTraits::storesDepth, false); }
    constexpr SpanTraits blendingEvery16() const { return with(&SpanTraits::blend16Always, true); }
    constexpr SpanTraits whole() const { return with(&SpanTraits::wholeSpan, true); }
};

// A texture or alpha map as sampled: sizes are at least 1.
struct SampledMap {
    const unsigned char* data;
    int width;
    int height;
    std::ptrdiff_t pitch;
    // For the vector sampling: 1 / width and 1 / height, and whether every
    // byte offset of a texel fits in 32 bits.
    double inverseWidth;
    double inverseHeight;
    bool offsets32;
};

// Everything a fill needs from the render context, prepared once per call.
struct SpanContext {
    SolidColor solid;
    IntBlend blend;      // the flat integer blend of the colour (flat blends only)
    IntBlend flatBlend;  // the same keeping the 32 bpp alpha byte (flat blends only)
    SampledMap texture;
    SampledMap alphaMap;
    enum { kAlphaFromTexel, kAlphaSameSize, kAlphaOwnSize } alphaSource;
    // The table holds colour / w, u / w and v / w with 1 / w beside them
    // (clip-space triangles in perspective).
    bool perspective;
    // Textures and alpha maps are sampled bilinearly (else the nearest texel).
    bool bilinear;
};

inline SampledMap sampledMap(const unsigned char* data, int width, int height, std::ptrdiff_t pitch) {
    const std::int64_t absPitch = pitch < 0 ? -static_cast<std::int64_t>(pitch) : pitch;
    const std::int64_t reach =
        (static_cast<std::int64_t>(height) - 1) * absPitch + static_cast<std::int64_t>(width) * 4;
    return SampledMap{data, width, height, pitch, 1.0 / width, 1.0 / height, reach <= INT32_MAX};
}

// The integer blends are prepared only for the flat blended fills, the
// maps only for the fills that sample them; the rest stays unset.
template <class Rule>
SpanContext makeSpanContext(const RenderState& s, bool perspective) {
    constexpr FillLetters kLetters = Rule::kTraits.letters;
    SpanContext k;
    k.solid = solidColor(s);
    k.perspective = perspective && Rule::kTraits.interpolates();
    k.bilinear = kLetters.textured && s.textureFilter == KWR_FILTER_BILINEAR;
    if constexpr (kLetters.blended && !kLetters.shaded && !kLetters.textured) {
        k.blend = intBlendOf(s.color, false);
        k.flatBlend = intBlendOf(s.color, true);
    }
    if constexpr (!kLetters.textured) return k;
    // A map bound with a size of zero or less would divide by zero in the
    // wrap: such a texture samples the built-in texel, and such an alpha map
    // counts as unbound.
    if (textureBound(s))
        k.texture = sampledMap(s.texture, s.textureWidth, s.textureHeight, s.textureBpp);
    else
        k.texture = sampledMap(kBuiltinTexel, 1, 1, 4);
    if (!alphaMapBound(s)) {
        k.alphaMap = sampledMap(kBuiltinTexel, 1, 1, 1);
        k.alphaSource = SpanContext::kAlphaFromTexel;
    } else {
        k.alphaMap = sampledMap(s.alphaMap, s.alphaMapWidth, s.alphaMapHeight, s.alphaMapBpp);
        k.alphaSource = s.alphaMapWidth == k.texture.width && s.alphaMapHeight == k.texture.height
                            ? SpanContext::kAlphaSameSize
                            : SpanContext::kAlphaOwnSize;
    }
    return k;
}

// A row's attribute ends, read from the table once per row.
struct RowEnds {
    float leftColor[4], rightColor[4];
    float leftU, rightU, leftV, rightV;
    float leftQ, rightQ;  // 1 / w at the ends (in perspective)
    bool perspective;     // the attributes are divided by w
};

// Filled in place (copying a just-built RowEnds as a whole would load it in
// wider pieces than it was stored in, which stalls the processor), and only
// with what the fill interpolates.  The channels are spelled out: as a loop
// they cost 2-5% more instructions per small triangle with g++ 12.
template <bool Shaded, bool Textured, class Rows>
KWR_ALWAYS_INLINE void loadRowEnds(const Rows& t, int row, bool perspective, RowEnds& e) {
    if constexpr (Shaded || Textured) {
        e.perspective = perspective;
        if constexpr (Rows::carries(kEndQ)) {
            if (perspective) {
                e.leftQ = t.template end<kLeftEnd, kEndQ>(row);
                e.rightQ = t.template end<kRightEnd, kEndQ>(row);
            }
        }
    }
    if constexpr (Shaded && Rows::kChannelsSideBySide) {
        // Four channels in one piece each (the edge walk stores them so).
        std::memcpy(e.leftColor, &t.template end<kLeftEnd, kEndRed>(row), sizeof e.leftColor);
        std::memcpy(e.rightColor, &t.template end<kRightEnd, kEndRed>(row), sizeof e.rightColor);
    } else if constexpr (Shaded) {
        e.leftColor[0] = t.template end<kLeftEnd, kEndRed>(row);
        e.leftColor[1] = t.template end<kLeftEnd, kEndGreen>(row);
        e.leftColor[2] = t.template end<kLeftEnd, kEndBlue>(row);
        e.leftColor[3] = t.template end<kLeftEnd, kEndAlpha>(row);
        e.rightColor[0] = t.template end<kRightEnd, kEndRed>(row);
        e.rightColor[1] = t.template end<kRightEnd, kEndGreen>(row);
        e.rightColor[2] = t.template end<kRightEnd, kEndBlue>(row);
        e.rightColor[3] = t.template end<kRightEnd, kEndAlpha>(row);
    }
    if constexpr (Textured) {
        e.leftU = t.template end<kLeftEnd, kEndU>(row);
        e.rightU = t.template end<kRightEnd, kEndU>(row);
        e.leftV = t.template end<kLeftEnd, kEndV>(row);
        e.rightV = t.template end<kRightEnd, kEndV>(row);
    }
}

// A run of pixels of one row with their chain values computed ahead.
struct SpanBlock {
    // The chains run on past the block to a whole number of lane groups, so
    // that a partial group may read a whole group of them.
    const float* p;     // span parameter of each pixel (members that interpolate)
    const float* z;     // depth of each pixel (depth members)
    float* zrow;        // depth buffer at the first pixel (depth members)
    unsigned char* px;  // the first pixel
    int n;
};
constexpr int kBlockPixels = 64;
constexpr int kWidestLanes = 16;
using BlockFn = void (*)(const SpanContext&, const RowEnds&, const SpanBlock&);
// A block function and the lanes it takes at once.
struct BlockRunner {
    BlockFn run;
    int lanes;
};

// Asks for the cache line at p ahead of a write.  Rows of small triangles
// lie anywhere in the frame and depth buffer; asking for several rows'
// first and last pixels before filling them lets those misses overlap.
inline void prefetchLine(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p, 1);
#elif defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
    _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0);
#else
    (void)p;
#endif
}

// One row's span after clipping, with its chain values at the first pixel.
struct RowRun {
    RowEnds ends;
    float p, sp;  // span parameter and its step
    float z, dz;  // depth and its step
    unsigned char* px;
    float* zp;
    std::int64_t n;
};

// The skip test and the clipping of row `row`, with the depth and span
// parameter corrections taken from the unclipped ends; false for a row
// that draws nothing.
template <class Rule, class Fmt, class Rows>
bool clipRow(const RenderState& s, const SpanContext& k, const Rows& table, int row, RowRun& r) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    constexpr bool kParam = Rule::kTraits.interpolates();
    // The view in a local: the copies of the ends into `r` could otherwise
    // change it, as far as the compiler knows, and each read of an end
    // would look the row up again.
    const Rows t = table;
    std::int64_t L = t.leftX(row);
    std::int64_t R = t.rightX(row);
    if (L > s.clipRight || R < 0 || L > R) return false;
    float zL = 0, zR = 0;
    if constexpr (kDepth) {
        zL = t.template end<kLeftEnd, kEndZ>(row);
        zR = t.template end<kRightEnd, kEndZ>(row);
    }
    float sp = 0, p = 0;
    if constexpr (kParam) sp = 1.0f / static_cast<float>(R - L + 1);
    if (L < 0) {
        if constexpr (kDepth) zL = zL - ((zR - zL) * static_cast<float>(L)) / static_cast<float>(R - L);
        if constexpr (kParam) p = static_cast<float>(-L) * sp;
        L = 0;
    }
    if (R > s.clipRight) {
        if constexpr (kDepth) {
            if (L != R) zR = zR + (static_cast<float>(s.clipRight - R) * (zL - zR)) / static_cast<float>(L - R);
        }
        R = s.clipRight;
    }
    float dz = 0;
    if constexpr (kDepth) {
        if (L < R) dz = (zR - zL) / static_cast<float>(R - L);
    }
    loadRowEnds<Rule::kTraits.letters.shaded, Rule::kTraits.letters.textured>(t, row, k.perspective, r.ends);
    r.p = p;
    r.sp = sp;
    r.z = zL;
    r.dz = dz;
    r.px = s.bits + pixelOffset(static_cast<int>(L), row, s.pitch, Fmt::kBytes);
    r.zp = kDepth ? depthView(s).at(L, row) : nullptr;
    r.n = R - L + 1;
    prefetchLine(r.px);
    prefetchLine(r.px + (r.n - 1) * Fmt::kBytes);
    if constexpr (kDepth) {
        prefetchLine(r.zp);
        prefetchLine(r.zp + (r.n - 1));
    }
    return true;
}

// Spans shorter than this run pixel by pixel (raster/span_rules.h): with
// no span parameter a pixel costs little at width 1, and the chains and the
// lane groups of a block cost more than they save on a few pixels.
template <class Rule>
constexpr int kShortSpan = Rule::kTraits.interpolates() ? 3 : 17;

// Rows go through blocks several rows at a time: each row's chains are
// still one addition after the other, but the chains of different rows are
// independent and run side by side.
constexpr int kRowsAtOnce = 4;
using ChainBlock = float[kRowsAtOnce][kBlockPixels + kWidestLanes];

#if KWR_CHAINS_IN_VECTORS
// Entries i..i+3 of the four rows' chains `c` (one row a lane), each entry
// the last plus `step`: the four entries are added in registers, then
// turned so that each row's four values go out in one store.
KWR_ALWAYS_INLINE void chainFourEntries(ChainBlock& block, int i, __m128& c, __m128 step) {
    __m128 e0 = c, e1 = _mm_add_ps(e0, step), e2 = _mm_add_ps(e1, step), e3 = _mm_add_ps(e2, step);
    c = _mm_add_ps(e3, step);
    _MM_TRANSPOSE4_PS(e0, e1, e2, e3);
    _mm_storeu_ps(&block[0][i], e0);
    _mm_storeu_ps(&block[1][i], e1);
    _mm_storeu_ps(&block[2][i], e2);
    _mm_storeu_ps(&block[3][i], e3);
}
#endif

template <class Rule, class Fmt>
void runRowBlocks(RowRun* runs, int count, const SpanContext& k, BlockRunner block) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    constexpr bool kParam = Rule::kTraits.interpolates();
    ChainBlock pBlock, zBlock;
    float p[kRowsAtOnce] = {}, sp[kRowsAtOnce] = {}, z[kRowsAtOnce] = {}, dz[kRowsAtOnce] = {};
    // The pixels of each row in the next block, and the most of any row.
    int m[kRowsAtOnce] = {}, most = 0;
    auto nextBlock = [&](int j) {
        m[j] = runs[j].n < kBlockPixels ? static_cast<int>(runs[j].n) : kBlockPixels;
        most = m[j] > most ? m[j] : most;
    };
    // Entry i of a row is its chain value at pixel i of the block; entry m
    // is the value the next block starts from, needed only when one follows.
    bool follows = false;
    for (int j = 0; j < count; ++j) {
        p[j] = runs[j].p;
        sp[j] = runs[j].sp;
        z[j] = runs[j].z;
        dz[j] = runs[j].dz;
        nextBlock(j);
        follows = follows || runs[j].n > kBlockPixels;
    }
    // Lane counts are powers of two: the entries round up by a mask.
    const int roundUp = block.lanes - 1;
    while (most > 0) {
        const int entries = (most + (follows ? 1 : 0) + roundUp) & ~roundUp;
        int i = 0;
#if KWR_CHAINS_IN_VECTORS
        // Four entries at a time where the processor has the vectors; the
        // additions are the same, one per entry and row.
        __m128 pv = _mm_loadu_ps(p), zv = _mm_loadu_ps(z);
        const __m128 spv = _mm_loadu_ps(sp), dzv = _mm_loadu_ps(dz);
        for (; i + 4 <= entries; i += 4) {
            if constexpr (kParam) chainFourEntries(pBlock, i, pv, spv);
            if constexpr (kDepth) chainFourEntries(zBlock, i, zv, dzv);
        }
        _mm_storeu_ps(p, pv);
        _mm_storeu_ps(z, zv);
#endif
        for (; i < entries; ++i) {
            for (int j = 0; j < kRowsAtOnce; ++j) {
                if constexpr (kParam) {
                    pBlock[j][i] = p[j];
                    p[j] += sp[j];
                }
                if constexpr (kDepth) {
                    zBlock[j][i] = z[j];
                    z[j] += dz[j];
                }
            }
        }
        most = 0;
        for (int j = 0; j < count; ++j) {
            if (m[j] == 0) continue;
            block.run(k, runs[j].ends, SpanBlock{pBlock[j], zBlock[j], runs[j].zp, runs[j].px, m[j]});
            if (!follows) continue;
            p[j] = pBlock[j][m[j]];
            z[j] = zBlock[j][m[j]];
            runs[j].px += static_cast<std::ptrdiff_t>(m[j]) * Fmt::kBytes;
            if constexpr (kDepth) runs[j].zp += m[j];
            runs[j].n -= m[j];
            nextBlock(j);
        }
    }
}

// Walks rows firstRow..lastRow: the skip test and clipping (clipRow), the
// depth stepped by addition and the span parameter p stepped by addition,
// both computed ahead into blocks handed to `block`.  Rules of whole spans
// take each clipped span at once, through the rule's Runs.
template <class Rule, class Fmt, class Rows, class ShortSpan>
void walkSpans(const RenderState& s, const Rows& table, int firstRow, int lastRow, const SpanContext& k,
               BlockRunner block, ShortSpan&& shortSpan) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    if (kDepth && s.zBuffer == nullptr) return;
    // Rows outside the surface or the table are never filled.
    clampRows(s, firstRow, lastRow);
    // The view in a local: pixel stores cannot change it.
    const Rows t = table;
    if constexpr (Rule::kTraits.wholeSpan) {
        typename Rule::template Runs<Fmt> runs(k);
        for (int row = firstRow; row <= lastRow; ++row) {
            const std::int64_t L = t.leftX(row) > 0 ? t.leftX(row) : 0;
            const std::int64_t R = t.rightX(row) < s.clipRight ? t.rightX(row) : s.clipRight;
            if (L <= R) runs(s.bits + pixelOffset(static_cast<int>(L), row, s.pitch, Fmt::kBytes), R - L + 1);
        }
    } else {
        RowRun runs[kRowsAtOnce];
        int count = 0;
        for (int row = firstRow; row <= lastRow; ++row) {
            if (!clipRow<Rule, Fmt>(s, k, t, row, runs[count])) continue;
            if (runs[count].n < kShortSpan<Rule>) {
                shortSpan(runs[count]);
                continue;
            }
            if (++count == kRowsAtOnce) {
                runRowBlocks<Rule, Fmt>(runs, count, k, block);
                count = 0;
            }
        }
        if (count > 0) runRowBlocks<Rule, Fmt>(runs, count, k, block);
    }
}

}  // namespace kwr

#endif
