// The span fills' shared machinery: the row walk with its clipping, texture
// and alpha-map sampling, and the per-call context.
//
// A span rule (raster/span_rules.h) says what one member does per pixel;
// walkSpans<Rule, Format> walks the rows and calls it.  Every rule and
// format combination is one instantiation of the same walk.
#ifndef KWR_RASTER_SPAN_FILL_H
#define KWR_RASTER_SPAN_FILL_H

#include <cstdint>

#include "KWRRender.h"
#include "render/access.h"
#include "render/numeric.h"
#include "render/pixel_format.h"

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#include <emmintrin.h>
#define KWR_HAVE_SSE2 1
#else
#define KWR_HAVE_SSE2 0
#endif

namespace kwr {

// What a member does on an 8 bpp surface.
enum class Mode8 {
    kNothing,         // draws nothing, touches no depth
    kCubeWithDepth,   // depth test, then color8 and the depth
    kCubeNoDepth,     // depth test, then color8 only
};

// A texture or alpha map as sampled: sizes are at least 1.
struct SampledMap {
    const unsigned char* data;
    int width;
    int height;
    std::ptrdiff_t pitch;
};

// Everything a fill needs from the render context, prepared once per call.
struct SpanContext {
    SolidColor solid;
    unsigned cB, cG, cR, cA;
    SampledMap texture;
    SampledMap alphaMap;
    enum { kAlphaFromTexel, kAlphaSameSize, kAlphaOwnSize } alphaSource;
};

inline SpanContext makeSpanContext(const RenderState& s) {
    SpanContext k;
    k.solid = solidColor(s);
    k.cB = s.color & 0xFFu;
    k.cG = (s.color >> 8) & 0xFFu;
    k.cR = (s.color >> 16) & 0xFFu;
    k.cA = (s.color >> 24) & 0xFFu;
    // A map bound with a size of zero or less would divide by zero in the
    // wrap: such a texture samples the built-in texel, and such an alpha map
    // counts as unbound.
    if (textureBound(s))
        k.texture = SampledMap{s.texture, s.textureWidth, s.textureHeight, s.textureBpp};
    else
        k.texture = SampledMap{kBuiltinTexel, 1, 1, 4};
    k.alphaMap = SampledMap{s.alphaMap, s.alphaMapWidth, s.alphaMapHeight, s.alphaMapBpp};
    if (!alphaMapBound(s))
        k.alphaSource = SpanContext::kAlphaFromTexel;
    else if (s.alphaMapWidth == k.texture.width && s.alphaMapHeight == k.texture.height)
        k.alphaSource = SpanContext::kAlphaSameSize;
    else
        k.alphaSource = SpanContext::kAlphaOwnSize;
    return k;
}

// (1 - p) * left + p * right, in single precision.
inline float lerpSpan(float p, float left, float right) { return (1.0f - p) * left + p * right; }

// Low byte of a rounded value.
inline unsigned roundedByte(float v) { return static_cast<std::uint32_t>(roundHalfUp(v)) & 0xFFu; }
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

inline RowEnds loadRowEnds(const ScanLineTable& t, int row) {
    RowEnds e;
    for (int i = 0; i < 4; ++i) {
        e.leftColor[i] = t.scanLeftColor[i][row];
        e.rightColor[i] = t.scanRightColor[i][row];
    }
    e.leftU = t.scanLeftU[row];
    e.rightU = t.scanRightU[row];
    e.leftV = t.scanLeftV[row];
    e.rightV = t.scanRightV[row];
    return e;
}

inline Texel sampleTexture(const SpanContext& k, const RowEnds& e, float p) {
    Texel x;
    x.un = lerpSpan(p, e.leftU, e.rightU);
    x.vn = lerpSpan(p, e.leftV, e.rightV);
    x.iu = texelCoord(x.un, k.texture.width);
    x.iv = texelCoord(x.vn, k.texture.height);
    const unsigned char* q = k.texture.data + static_cast<std::ptrdiff_t>(x.iv) * k.texture.pitch +
                             static_cast<std::ptrdiff_t>(x.iu) * 4;
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

// Interpolated vertex colour channels (red, green, blue, alpha) at p: the
// plain form, the reference for the vector form below.
struct Shade {
    float c[4];
};
inline Shade shadeAtPlain(const RowEnds& e, float p) {
    Shade sh;
    for (int i = 0; i < 4; ++i) sh.c[i] = lerpSpan(p, e.leftColor[i], e.rightColor[i]);
    return sh;
}

// The four channels rounded (floor of v + 0.5, saturated): plain form.
struct RoundedShade {
    std::int32_t c[4];
};
inline RoundedShade roundedShadePlain(const RowEnds& e, float p) {
    const Shade sh = shadeAtPlain(e, p);
    RoundedShade r;
    for (int i = 0; i < 4; ++i) r.c[i] = roundHalfUp(sh.c[i]);
    return r;
}

#if KWR_HAVE_SSE2
// The same arithmetic on all four channels at once.  Each lane performs
// exactly the scalar operations, so the results are identical (the tests
// compare both forms on random and special values).
inline __m128 shadeVector(const RowEnds& e, float p) {
    const __m128 vp = _mm_set1_ps(p);
    const __m128 q = _mm_sub_ps(_mm_set1_ps(1.0f), vp);
    return _mm_add_ps(_mm_mul_ps(q, _mm_loadu_ps(e.leftColor)), _mm_mul_ps(vp, _mm_loadu_ps(e.rightColor)));
}
inline Shade shadeAtVector(const RowEnds& e, float p) {
    Shade sh;
    _mm_storeu_ps(sh.c, shadeVector(e, p));
    return sh;
}
// floor(v + 0.5) per lane with the saturation of floorToInt: the floor of
// a float sum is the same in float and in double precision.
inline RoundedShade roundedShadeVector(const RowEnds& e, float p) {
    const __m128 sum = _mm_add_ps(shadeVector(e, p), _mm_set1_ps(0.5f));
    __m128i t = _mm_cvttps_epi32(sum);
    const __m128 down = _mm_cmpgt_ps(_mm_cvtepi32_ps(t), sum);  // truncation went up
    t = _mm_add_epi32(t, _mm_castps_si128(down));
    const __m128i high = _mm_castps_si128(_mm_cmpge_ps(sum, _mm_set1_ps(2147483648.0f)));
    const __m128i low = _mm_castps_si128(_mm_cmpnge_ps(sum, _mm_set1_ps(-2147483648.0f)));  // or NaN
    t = _mm_or_si128(_mm_andnot_si128(high, t), _mm_and_si128(high, _mm_set1_epi32(INT32_MAX)));
    t = _mm_or_si128(_mm_andnot_si128(low, t), _mm_and_si128(low, _mm_set1_epi32(INT32_MIN)));
    RoundedShade r;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(r.c), t);
    return r;
}
inline Shade shadeAt(const RowEnds& e, float p) { return shadeAtVector(e, p); }
inline RoundedShade roundedShade(const RowEnds& e, float p) { return roundedShadeVector(e, p); }
#else
inline Shade shadeAt(const RowEnds& e, float p) { return shadeAtPlain(e, p); }
inline RoundedShade roundedShade(const RowEnds& e, float p) { return roundedShadePlain(e, p); }
#endif

// Walks rows firstRow..lastRow: skip test, clipping with the depth and span
// parameter corrections taken from the unclipped ends, depth stepped by
// addition, the span parameter p stepped by addition.  Rule::pixel decides
// per pixel from the row's attribute ends, the span parameter and the pixel
// address; it returns whether the depth is to be stored.
template <class Rule, class Fmt, class PixelFn>
void walkSpans(const RenderState& s, int firstRow, int lastRow, PixelFn&& pixel) {
    constexpr bool kDepth = Rule::kDepth;
    constexpr bool kParam = Rule::kParam;
    if (kDepth && s.zBuffer == nullptr) return;
    // Rows outside the surface or the table are never filled.
    clampRows(s, firstRow, lastRow);
    const ScanLineTable& t = s.scan;
    for (int row = firstRow; row <= lastRow; ++row) {
        std::int64_t L = t.scanLeftX[row];
        std::int64_t R = t.scanRightX[row];
        if (L > s.clipRight || R < 0 || L > R) continue;
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
                if (L != R)
                    zR = zR + (static_cast<float>(s.clipRight - R) * (zL - zR)) / static_cast<float>(L - R);
            }
            R = s.clipRight;
        }
        float dz = 0;
        if constexpr (kDepth) {
            if (L < R) dz = (zR - zL) / static_cast<float>(R - L);
        }
        RowEnds ends{};
        if constexpr (kParam) ends = loadRowEnds(t, row);
        unsigned char* px = s.bits + pixelOffset(static_cast<int>(L), row, s.pitch, Fmt::kBytes);
        float* zp = kDepth ? s.zBuffer + static_cast<std::ptrdiff_t>(row) * s.width + L : nullptr;
        float z = zL;
        // One pixel: depth test, the rule, the depth store, then both steps.
        auto step = [&]() {
            bool pass = true;
            if constexpr (kDepth) pass = Rule::kStrictDepth ? *zp > z : *zp >= z;
            if (pass && pixel(ends, p, px) && kDepth) *zp = z;
            px += Fmt::kBytes;
            if constexpr (kDepth) {
                ++zp;
                z += dz;
            }
            if constexpr (kParam) p += sp;
        };
        std::int64_t n = R - L + 1;
        if constexpr (Rule::kUnrollBy4) {
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

}  // namespace kwr

#endif
