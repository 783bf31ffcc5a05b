// The span fills' shared machinery: the row walk with its clipping, texture
// and alpha-map sampling, and the per-call context.
//
// A span rule (raster/span_rules.h) says what one member does per pixel;
// walkSpans<Rule, Format> walks the rows and calls it.  Every rule and
// format combination is one instantiation of the same walk.
//
// The members that interpolate run their two serial chains (the depth
// z += dz and the span parameter p += s) ahead into a block of a row, then
// hand the block to a block function: the plain one below, pixel by pixel,
// or a vector one of the processor's level (raster/span_vector.h) that
// takes several pixels of the block per instruction.  Both see the same
// chain values, so both give the same bytes.
#ifndef KWR_RASTER_SPAN_FILL_H
#define KWR_RASTER_SPAN_FILL_H

#include <cstdint>

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <xmmintrin.h>
#endif

#include "KWRRender.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"

namespace kwr {

// What a member does on an 8 bpp surface.
enum class Mode8 {
    kNothing,        // draws nothing, touches no depth
    kCubeWithDepth,  // depth test, then color8 and the depth
    kCubeNoDepth,    // depth test, then color8 only
};

// Which stored depths let a pixel through.
enum class DepthTest {
    kNone,
    kGreater,         // stored > z
    kGreaterOrEqual,  // stored >= z
};

// What a span rule uses of the row walk, by name.
struct SpanTraits {
    DepthTest depth = DepthTest::kNone;
    bool interpolates = false;  // steps the span parameter
    bool blends = false;        // reads the pixel it writes
    bool unrollBy4 = false;
    // The blends without a depth test compute 16 bpp pixels whatever the weight; a
    // zero weight reproduces the old pixel there.
    bool blend16Always = false;
    Mode8 mode8 = Mode8::kNothing;

    // A copy with one field changed; the named forms below read at the rules.
    template <class T>
    constexpr SpanTraits with(T SpanTraits::*field, T value) const {
        SpanTraits t = *this;
        t.*field = value;
        return t;
    }
    constexpr SpanTraits withDepth(DepthTest d) const { return with(&SpanTraits::depth, d); }
    constexpr SpanTraits interpolated() const { return with(&SpanTraits::interpolates, true); }
    constexpr SpanTraits blended() const { return with(&SpanTraits::blends, true); }
    constexpr SpanTraits unrolled() const { return with(&SpanTraits::unrollBy4, true); }
    constexpr SpanTraits blendingEvery16() const { return with(&SpanTraits::blend16Always, true); }
    constexpr SpanTraits on8(Mode8 m) const { return with(&SpanTraits::mode8, m); }
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
    unsigned cB, cG, cR, cA;
    IntBlend blend;  // the flat integer blend of the colour
    SampledMap texture;
    SampledMap alphaMap;
    enum { kAlphaFromTexel, kAlphaSameSize, kAlphaOwnSize } alphaSource;
};

inline SampledMap sampledMap(const unsigned char* data, int width, int height, std::ptrdiff_t pitch) {
    const std::int64_t absPitch = pitch < 0 ? -static_cast<std::int64_t>(pitch) : pitch;
    const std::int64_t reach =
        (static_cast<std::int64_t>(height) - 1) * absPitch + static_cast<std::int64_t>(width) * 4;
    return SampledMap{data, width, height, pitch, 1.0 / width, 1.0 / height, reach <= INT32_MAX};
}

inline SpanContext makeSpanContext(const RenderState& s) {
    SpanContext k;
    k.solid = solidColor(s);
    k.cB = s.color & 0xFFu;
    k.cG = (s.color >> 8) & 0xFFu;
    k.cR = (s.color >> 16) & 0xFFu;
    k.cA = (s.color >> 24) & 0xFFu;
    k.blend = intBlendOf(s.color, false);
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

// (1 - p) * left + p * right, in single precision.
inline float lerpSpan(float p, float left, float right) { return (1.0f - p) * left + p * right; }

// A value rounded half up, as its bits (the caller masks the field it needs).
inline std::uint32_t roundedBits(float v) { return static_cast<std::uint32_t>(roundHalfUp(v)); }

// Repeat addressing: i wrapped into 0..size-1 (size >= 1).  Computed in 64
// bits so that INT_MIN has a negation.  For a power-of-two size the rule is
// exactly the low bits of i, which needs no division.
inline int wrapCoord(int i, int size) {
    if ((size & (size - 1)) == 0) return static_cast<int>(static_cast<unsigned>(i) & static_cast<unsigned>(size - 1));
    if (i >= size) return i % size;
    if (i < 0) {
        const int w = size - static_cast<int>((-static_cast<std::int64_t>(i)) % size);
        return w == size ? 0 : w;
    }
    return i;
}

// Nearest texel coordinate of a normalised coordinate across `size` texels.
inline int texelCoord(float n, int size) { return wrapCoord(roundHalfUp(n * static_cast<float>(size)), size); }

struct Texel {
    unsigned b, g, r, a;
    int iu, iv;
    float un, vn;
};

// A row's attribute ends, read from the table once per row.
struct RowEnds {
    float leftColor[4], rightColor[4];
    float leftU, rightU, leftV, rightV;
};

// Filled in place: copying a just-built RowEnds as a whole would load it in
// wider pieces than it was stored in, which stalls the processor.
inline void loadRowEnds(const ScanLineTable& t, int row, RowEnds& e) {
    for (int i = 0; i < 4; ++i) {
        e.leftColor[i] = t.scanLeftColor[i][row];
        e.rightColor[i] = t.scanRightColor[i][row];
    }
    e.leftU = t.scanLeftU[row];
    e.rightU = t.scanRightU[row];
    e.leftV = t.scanLeftV[row];
    e.rightV = t.scanRightV[row];
}

inline Texel sampleTexture(const SpanContext& k, const RowEnds& e, float p) {
    Texel x;
    x.un = lerpSpan(p, e.leftU, e.rightU);
    x.vn = lerpSpan(p, e.leftV, e.rightV);
    x.iu = texelCoord(x.un, k.texture.width);
    x.iv = texelCoord(x.vn, k.texture.height);
    const unsigned char* q =
        k.texture.data + static_cast<std::ptrdiff_t>(x.iv) * k.texture.pitch + static_cast<std::ptrdiff_t>(x.iu) * 4;
    x.b = q[0];
    x.g = q[1];
    x.r = q[2];
    x.a = q[3];
    return x;
}

// The alpha byte of a textured pixel: the texel's own, or the alpha map's.
inline unsigned alphaByte(const SpanContext& k, const Texel& x) {
    switch (k.alphaSource) {
    case SpanContext::kAlphaSameSize:
        return k.alphaMap.data[x.iu + static_cast<std::ptrdiff_t>(x.iv) * k.alphaMap.pitch];
    case SpanContext::kAlphaOwnSize: {
        const int au = texelCoord(x.un, k.alphaMap.width);
        const int av = texelCoord(x.vn, k.alphaMap.height);
        return k.alphaMap.data[au + static_cast<std::ptrdiff_t>(av) * k.alphaMap.pitch];
    }
    default: return x.a;
    }
}

// Interpolated vertex colour channels (red, green, blue, alpha) at p.
struct Shade {
    float c[4];
};
inline Shade shadeAt(const RowEnds& e, float p) {
    Shade sh;
    for (int i = 0; i < 4; ++i) sh.c[i] = lerpSpan(p, e.leftColor[i], e.rightColor[i]);
    return sh;
}

// The four channels rounded (floor of v + 0.5, saturated).
struct RoundedShade {
    std::int32_t c[4];
};
inline RoundedShade roundedShade(const RowEnds& e, float p) {
    const Shade sh = shadeAt(e, p);
    RoundedShade r;
    for (int i = 0; i < 4; ++i) r.c[i] = roundHalfUp(sh.c[i]);
    return r;
}

// A run of pixels of one row with their chain values computed ahead.
struct SpanBlock {
    // The chains run on past the block to a multiple of kChainPad entries,
    // so that lane groups may read whole groups of them.
    const float* p;     // span parameter of each pixel
    const float* z;     // depth of each pixel (depth members)
    float* zrow;        // depth buffer at the first pixel (depth members)
    unsigned char* px;  // the first pixel
    int n;
};
constexpr int kBlockPixels = 64;
constexpr int kChainPad = 16;  // the widest lane set
using BlockFn = void (*)(const SpanContext&, const RowEnds&, const SpanBlock&);

template <class Rule>
constexpr bool passesDepth(float stored, float z) {
    return Rule::kTraits.depth == DepthTest::kGreater ? stored > z : stored >= z;
}

// The plain block: one pixel after the other.
template <class Rule, class Fmt>
void plainBlock(const SpanContext& k, const RowEnds& e, const SpanBlock& b) {
    unsigned char* px = b.px;
    for (int i = 0; i < b.n; ++i, px += Fmt::kBytes) {
        if constexpr (Rule::kTraits.depth != DepthTest::kNone) {
            if (passesDepth<Rule>(b.zrow[i], b.z[i]) && Rule::template pixel<Fmt>(k, e, b.p[i], px)) b.zrow[i] = b.z[i];
        } else {
            Rule::template pixel<Fmt>(k, e, b.p[i], px);
        }
    }
}

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
template <class Rule, class Fmt>
bool clipRow(const RenderState& s, int row, RowRun& r) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    constexpr bool kParam = Rule::kTraits.interpolates;
    const ScanLineTable& t = s.scan;
    std::int64_t L = t.scanLeftX[row];
    std::int64_t R = t.scanRightX[row];
    if (L > s.clipRight || R < 0 || L > R) return false;
    float zL = 0, zR = 0;
    if constexpr (kDepth) {
        zL = t.scanLeftZ[row];
        zR = t.scanRightZ[row];
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
    if constexpr (kParam) loadRowEnds(t, row, r.ends);
    r.p = p;
    r.sp = sp;
    r.z = zL;
    r.dz = dz;
    r.px = s.bits + pixelOffset(static_cast<int>(L), row, s.pitch, Fmt::kBytes);
    r.zp = kDepth ? depthAt(s, L, row) : nullptr;
    r.n = R - L + 1;
    prefetchLine(r.px);
    prefetchLine(r.px + (r.n - 1) * Fmt::kBytes);
    if constexpr (kDepth) {
        prefetchLine(r.zp);
        prefetchLine(r.zp + (r.n - 1));
    }
    return true;
}

// Rows of the interpolating members go through blocks several rows at a
// time: each row's chains are still one addition after the other, but the
// chains of different rows are independent and run side by side.
constexpr int kRowsAtOnce = 4;

template <class Rule, class Fmt>
void runRowBlocks(RowRun* runs, int count, const SpanContext& k, BlockFn block) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    float pBlock[kRowsAtOnce][kBlockPixels + kChainPad], zBlock[kRowsAtOnce][kBlockPixels + kChainPad];
    float p[kRowsAtOnce] = {}, sp[kRowsAtOnce] = {}, z[kRowsAtOnce] = {}, dz[kRowsAtOnce] = {};
    for (int j = 0; j < count; ++j) {
        p[j] = runs[j].p;
        sp[j] = runs[j].sp;
        z[j] = runs[j].z;
        dz[j] = runs[j].dz;
    }
    for (;;) {
        int m[kRowsAtOnce] = {}, most = 0;
        for (int j = 0; j < count; ++j) {
            m[j] = runs[j].n < kBlockPixels ? static_cast<int>(runs[j].n) : kBlockPixels;
            most = m[j] > most ? m[j] : most;
        }
        if (most == 0) return;
        // Entry i of a row is its chain value at pixel i of the block; entry
        // m is the value the next block starts from.
        const int entries = (most + kChainPad) / kChainPad * kChainPad;
        for (int i = 0; i < entries; ++i) {
            for (int j = 0; j < kRowsAtOnce; ++j) {
                pBlock[j][i] = p[j];
                p[j] += sp[j];
                if constexpr (kDepth) {
                    zBlock[j][i] = z[j];
                    z[j] += dz[j];
                }
            }
        }
        for (int j = 0; j < count; ++j) {
            if (m[j] == 0) continue;
            block(k, runs[j].ends, SpanBlock{pBlock[j], zBlock[j], runs[j].zp, runs[j].px, m[j]});
            p[j] = pBlock[j][m[j]];
            z[j] = zBlock[j][m[j]];
            runs[j].px += static_cast<std::ptrdiff_t>(m[j]) * Fmt::kBytes;
            if constexpr (kDepth) runs[j].zp += m[j];
            runs[j].n -= m[j];
        }
    }
}

// Walks rows firstRow..lastRow: skip test and clipping (clipRow), depth
// stepped by addition, the span parameter p stepped by addition.  Members
// without a span parameter call pixel(px) per pixel, which returns whether
// the depth is to be stored; the others hand blocks of pixels to `block`.
template <class Rule, class Fmt, class PixelFn>
void walkSpans(const RenderState& s, int firstRow, int lastRow, PixelFn&& pixel, const SpanContext* k = nullptr,
               BlockFn block = nullptr) {
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    if (kDepth && s.zBuffer == nullptr) return;
    // Rows outside the surface or the table are never filled.
    clampRows(s, firstRow, lastRow);
    if constexpr (Rule::kTraits.interpolates) {
        RowRun runs[kRowsAtOnce];
        int count = 0;
        for (int row = firstRow; row <= lastRow; ++row) {
            if (clipRow<Rule, Fmt>(s, row, runs[count]) && ++count == kRowsAtOnce) {
                runRowBlocks<Rule, Fmt>(runs, count, *k, block);
                count = 0;
            }
        }
        if (count > 0) runRowBlocks<Rule, Fmt>(runs, count, *k, block);
    } else {
        RowRun r;
        for (int row = firstRow; row <= lastRow; ++row) {
            if (!clipRow<Rule, Fmt>(s, row, r)) continue;
            unsigned char* px = r.px;
            float* zp = r.zp;
            float z = r.z;
            // One pixel: depth test, the rule, the depth store, then the step.
            auto step = [&]() {
                bool pass = true;
                if constexpr (kDepth) pass = passesDepth<Rule>(*zp, z);
                if (pass && pixel(px) && kDepth) *zp = z;
                px += Fmt::kBytes;
                if constexpr (kDepth) {
                    ++zp;
                    z += r.dz;
                }
            };
            std::int64_t n = r.n;
            if constexpr (Rule::kTraits.unrollBy4) {
                for (; n >= 4; n -= 4) {
                    step();
                    step();
                    step();
                    step();
                }
            }
            for (; n > 0; --n) step();
        }
    }
}

}  // namespace kwr

#endif
