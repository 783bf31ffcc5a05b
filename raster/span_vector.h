// The span fills across lanes: one pixel of a block per 32-bit lane.
//
// Everything here is a template over a lane set V (raster/span_lanes.h):
// the texture and alpha-map sampling and the block of a rule, which runs
// whole lane groups and then the pixels left over through the same rule at
// width 1.  Only the chains (depth and span parameter) stay serial; the walk
// computes them ahead.
#ifndef KWR_RASTER_SPAN_VECTOR_H
#define KWR_RASTER_SPAN_VECTOR_H

#include <cstdint>
#include <cstring>

#include "raster/span_fill.h"
#include "raster/span_lanes.h"


namespace kwr {

// The sampling modes a block is compiled for, as a bitset M.  With
// kModesFixed the other bits hold for every pixel of the block, so their
// tests leave the lanes and the block keeps only the arithmetic of its
// modes; without it (kModesRead, the general block) each test reads the
// context as the block runs.  The combinations with blocks of their own are
// listed once, in raster/span_rules.h.
enum SampleMode : unsigned {
    kModesRead = 0,
    kModesFixed = 1u << 0,
    kModeBilinear = 1u << 1,     // the texture is sampled bilinearly
    kModePerspective = 1u << 2,  // the attributes are divided by the interpolated 1 / w
    kModeWrapByMask = 1u << 3,   // the texture's width and height are powers of two
    kModeOffsets32 = 1u << 4,    // every byte offset of a texel fits in 32 bits
};
template <unsigned M>
struct SampleModes {
    static constexpr bool kFixed = (M & kModesFixed) != 0;
    static constexpr bool has(unsigned bit) { return (M & bit) != 0; }
    static KWR_ALWAYS_INLINE bool bilinear(const SpanContext& k) {
        if constexpr (kFixed)
            return has(kModeBilinear);
        else
            return k.bilinear;
    }
    static KWR_ALWAYS_INLINE bool perspective(const RowEnds& e) {
        if constexpr (kFixed)
            return has(kModePerspective);
        else
            return e.perspective;
    }
    // Whether the texture's sizes wrap by a mask: 1 yes, 0 no, -1 test each size.
    static constexpr int kTextureMask = kFixed ? (has(kModeWrapByMask) ? 1 : 0) : -1;
    static KWR_ALWAYS_INLINE bool offsets32(const SampledMap& texture) {
        if constexpr (kFixed)
            return has(kModeOffsets32);
        else
            return texture.offsets32;
    }
};

// (1 - p) * left + p * right per lane.
template <class V>
KWR_ALWAYS_INLINE typename V::F lerpLanes(typename V::F p, float left, float right) {
    return V::add(V::mul(V::sub(V::splatF(1.0f), p), V::splatF(left)), V::mul(p, V::splatF(right)));
}

// The repeat rule per lane (i wrapped into 0..size-1, negative i counted
// back from size): the low bits for power-of-two sizes, else i - floor(i / size) * size in double precision, where the
// quotient from the reciprocal is off by at most one and corrected.  Mask
// says whether the size is a power of two (1), not (0), or to test it (-1).
template <class V, int Mask = -1>
KWR_ALWAYS_INLINE typename V::I wrapLanes(typename V::I i, int size, double inverse) {
    if constexpr (Mask == 1) {
        (void)inverse;
        return V::andI(i, V::splatI(size - 1));
    } else {
        if constexpr (Mask == -1) {
            if ((size & (size - 1)) == 0) return V::andI(i, V::splatI(size - 1));
        }
        using D = typename V::D;
        const D w = V::splatD(static_cast<double>(size)), zero = V::splatD(0.0);
        auto half = [&](D x) {
            D r = V::subD(x, V::mulD(V::floorD(V::mulD(x, V::splatD(inverse))), w));
            r = V::addD(r, V::andLessD(r, zero, w));              // below 0: add size
            return V::subD(r, V::subD(w, V::andLessD(r, w, w)));  // size or above: subtract it
        };
        return V::fromD(half(V::loD(i)), half(V::hiD(i)));
    }
}

template <class V, int Mask = -1>
KWR_ALWAYS_INLINE typename V::I texelCoordLanes(typename V::F n, int size, double inverse) {
    return wrapLanes<V, Mask>(roundLanes<V>(V::mul(n, V::splatF(static_cast<float>(size)))), size, inverse);
}

// Texels of the lanes in `m` (others read nothing and give 0).  Sampled
// bilinearly, iu, iv are the first texel column and row, iu1, iv1 the next
// ones (wrapped) and fu, fv the next ones' weights out of 256.
template <class V>
struct TexelLanes {
    typename V::I word, iu, iv, iu1, iv1, fu, fv;
    typename V::F un, vn;
    typename V::I b() const { return V::andI(word, V::splatI(0xFF)); }
    typename V::I g() const { return V::andI(V::shr(8, word), V::splatI(0xFF)); }
    typename V::I r() const { return V::andI(V::shr(16, word), V::splatI(0xFF)); }
    typename V::I a() const { return V::shr(24, word); }
};

// One byte-addressed read per lane in `m`: bytes at base + v * pitch + u *
// scale (scale 4 for texels, 1 for alpha-map values).
template <class V, int Bytes, unsigned M = kModesRead>
KWR_ALWAYS_INLINE typename V::I readLanes(const SampledMap& map, typename V::I u, typename V::I v, typename V::I m) {
    if constexpr (V::kHasGather && Bytes == 4) {
        if (SampleModes<M>::offsets32(map)) {
            const typename V::I off =
                V::addI(V::mulLo(v, V::splatI(static_cast<std::int32_t>(map.pitch))), V::shl(2, u));
            return V::gather(map.data, off, m);
        }
    }
    std::int32_t us[V::kLanes], vs[V::kLanes], ms[V::kLanes], out[V::kLanes];
    V::storeI(us, u);
    V::storeI(vs, v);
    V::storeI(ms, m);
    for (int i = 0; i < V::kLanes; ++i) {
        out[i] = 0;
        if (ms[i] == 0) continue;
        const unsigned char* q =
            map.data + static_cast<std::ptrdiff_t>(vs[i]) * map.pitch + static_cast<std::ptrdiff_t>(us[i]) * Bytes;
        if constexpr (Bytes == 4)
            std::memcpy(&out[i], q, 4);
        else
            out[i] = *q;
    }
    return V::loadI(out);
}

// The bilinear coordinates of n across a map of `size` texels: the texel
// i = floor(n * size), its neighbour i + 1, both wrapped, and the
// neighbour's weight f = floor(n * size * 256) & 255 (out of 256).
template <class V>
struct BilinearAxis {
    typename V::I i0, i1, f;
};
template <class V, int Mask = -1>
KWR_ALWAYS_INLINE BilinearAxis<V> bilinearAxisLanes(typename V::F n, int size, double inverse) {
    const typename V::F a = V::mul(n, V::splatF(static_cast<float>(size)));
    const typename V::I i = V::floorInt(a);
    BilinearAxis<V> x;
    x.f = V::andI(V::floorInt(V::mul(a, V::splatF(256.0f))), V::splatI(0xFF));
    x.i0 = wrapLanes<V, Mask>(i, size, inverse);
    x.i1 = wrapLanes<V, Mask>(V::addI(i, V::splatI(1)), size, inverse);
    return x;
}

// The bilinear mix of four bytes (0..255 per lane): a, b along u on the
// first row, c, d on the next, weights fu and fv out of 256, rounded half
// up.  The first stage stays below 2^16, the second below 2^24, so both are
// exact (the second in float).
template <class V>
KWR_ALWAYS_INLINE typename V::I mixLanes(typename V::I a, typename V::I b, typename V::I c, typename V::I d,
                                         typename V::I fu, typename V::I fv) {
    const typename V::I gu = V::subI(V::splatI(256), fu);
    const typename V::I top = V::addI(V::mulSmall(a, gu), V::mulSmall(b, fu));
    const typename V::I bottom = V::addI(V::mulSmall(c, gu), V::mulSmall(d, fu));
    const typename V::F gv = V::toF(V::subI(V::splatI(256), fv));
    const typename V::F sum =
        V::add(V::add(V::mul(V::toF(top), gv), V::mul(V::toF(bottom), V::toF(fv))), V::splatF(32768.0f));
    return V::shr(16, V::floorInt(sum));
}

// Byte k (0..3) of each lane's word.
template <class V>
KWR_ALWAYS_INLINE typename V::I byteLanes(typename V::I w, int k) {
    return k == 3 ? V::shr(24, w) : V::andI(V::shr(8 * k, w), V::splatI(0xFF));
}

// The attribute pair (left, right) at p, divided by the interpolated 1 / w
// in perspective.
template <class V, unsigned M = kModesRead>
KWR_ALWAYS_INLINE typename V::F attributeLanes(const RowEnds& e, typename V::F p, float left, float right) {
    const typename V::F a = lerpLanes<V>(p, left, right);
    return SampleModes<M>::perspective(e) ? V::div(a, lerpLanes<V>(p, e.leftQ, e.rightQ)) : a;
}

template <class V, unsigned M>
KWR_ALWAYS_INLINE TexelLanes<V> sampleLanes(const SpanContext& k, const RowEnds& e, typename V::F p, typename V::I m) {
    constexpr int kMask = SampleModes<M>::kTextureMask;
    TexelLanes<V> x;
    x.un = attributeLanes<V, M>(e, p, e.leftU, e.rightU);
    x.vn = attributeLanes<V, M>(e, p, e.leftV, e.rightV);
    if (!SampleModes<M>::bilinear(k)) {
        x.iu = texelCoordLanes<V, kMask>(x.un, k.texture.width, k.texture.inverseWidth);
        x.iv = texelCoordLanes<V, kMask>(x.vn, k.texture.height, k.texture.inverseHeight);
        x.word = readLanes<V, 4, M>(k.texture, x.iu, x.iv, m);
        return x;
    }
    const BilinearAxis<V> u = bilinearAxisLanes<V, kMask>(x.un, k.texture.width, k.texture.inverseWidth);
    const BilinearAxis<V> v = bilinearAxisLanes<V, kMask>(x.vn, k.texture.height, k.texture.inverseHeight);
    x.iu = u.i0;
    x.iu1 = u.i1;
    x.fu = u.f;
    x.iv = v.i0;
    x.iv1 = v.i1;
    x.fv = v.f;
    const typename V::I t00 = readLanes<V, 4, M>(k.texture, u.i0, v.i0, m);
    const typename V::I t10 = readLanes<V, 4, M>(k.texture, u.i1, v.i0, m);
    const typename V::I t01 = readLanes<V, 4, M>(k.texture, u.i0, v.i1, m);
    const typename V::I t11 = readLanes<V, 4, M>(k.texture, u.i1, v.i1, m);
    x.word = V::splatI(0);
    for (int c = 0; c < 4; ++c) {
        const typename V::I mixed = mixLanes<V>(byteLanes<V>(t00, c), byteLanes<V>(t10, c), byteLanes<V>(t01, c),
                                                byteLanes<V>(t11, c), u.f, v.f);
        x.word = V::orI(x.word, V::shl(8 * c, mixed));
    }
    return x;
}

// The alpha-map values around the bilinear coordinates, mixed.
template <class V>
KWR_ALWAYS_INLINE typename V::I alphaMixLanes(const SampledMap& map, const BilinearAxis<V>& u,
                                              const BilinearAxis<V>& v, typename V::I m) {
    return mixLanes<V>(readLanes<V, 1>(map, u.i0, v.i0, m), readLanes<V, 1>(map, u.i1, v.i0, m),
                       readLanes<V, 1>(map, u.i0, v.i1, m), readLanes<V, 1>(map, u.i1, v.i1, m), u.f, v.f);
}

// The alpha byte of each lane: the texel's own, or the alpha map's, sampled
// as the texture is.
template <class V, unsigned M>
KWR_ALWAYS_INLINE typename V::I alphaLanes(const SpanContext& k, const TexelLanes<V>& x, typename V::I m) {
    switch (k.alphaSource) {
    case SpanContext::kAlphaSameSize:
        if (SampleModes<M>::bilinear(k))
            return alphaMixLanes<V>(k.alphaMap, BilinearAxis<V>{x.iu, x.iu1, x.fu}, BilinearAxis<V>{x.iv, x.iv1, x.fv},
                                    m);
        return readLanes<V, 1>(k.alphaMap, x.iu, x.iv, m);
    case SpanContext::kAlphaOwnSize:
        if (SampleModes<M>::bilinear(k))
            return alphaMixLanes<V>(k.alphaMap, bilinearAxisLanes<V>(x.un, k.alphaMap.width, k.alphaMap.inverseWidth),
                                    bilinearAxisLanes<V>(x.vn, k.alphaMap.height, k.alphaMap.inverseHeight), m);
        return readLanes<V, 1>(k.alphaMap, texelCoordLanes<V>(x.un, k.alphaMap.width, k.alphaMap.inverseWidth),
                               texelCoordLanes<V>(x.vn, k.alphaMap.height, k.alphaMap.inverseHeight), m);
    default: return x.a();
    }
}

// The mask of the first m lanes.
template <class V>
KWR_ALWAYS_INLINE typename V::I firstLanes(int m) {
    static const float kIndex[kWidestLanes] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    return V::gt(V::splatF(static_cast<float>(m)), V::loadF(kIndex));
}

// The depth comparison of a rule per lane.
template <class Rule, class V>
KWR_ALWAYS_INLINE typename V::I passesDepthLanes(typename V::F stored, typename V::F z) {
    if constexpr (Rule::kTraits.depth == DepthTest::kNearer)
        return V::gt(stored, z);  // DepthView::nearer
    else
        return V::ge(stored, z);  // DepthView::nearerOrLevel
}

// One group of up to V::kLanes pixels (m of them): the depth test, the
// rule, the depth and pixel stores of the lanes the rule writes.  The
// chains are read as whole groups (the walk runs them on past the block);
// pixels and depths past m are neither read nor written.
template <class V, class Rule, class Fmt, unsigned M = kModesRead>
KWR_ALWAYS_INLINE void laneGroup(const SpanContext& k, const RowEnds& e, const float* p, const float* z, float* zrow,
                               unsigned char* px, int m) {
    using I = typename V::I;
    using F = typename V::F;
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    // A single lane that passed the depth test is written whole: only a
    // blend needs the old pixel then.
    constexpr bool kMerge = Rule::kTraits.blends() || (kDepth && V::kLanes > 1);
    const bool whole = m == V::kLanes;
    auto loadPixels = [&] { return whole ? Fmt::template load<V>(px) : V::loadPart(px, Fmt::kBytes, m); };
    auto storePixels = [&](I v) {
        if (whole)
            Fmt::template store<V>(px, v);
        else
            V::storePart(px, v, Fmt::kBytes, m);
    };
    const F pv = Rule::kTraits.interpolates() ? V::loadF(p) : V::splatF(0.0f);
    I write = whole ? V::splatI(-1) : firstLanes<V>(m);
    F zv{}, stored{};
    if constexpr (kDepth) {
        zv = V::loadF(z);
        stored = whole ? V::loadF(zrow) : V::bitsF(V::loadPart(zrow, 4, m));
        write = V::andI(write, passesDepthLanes<Rule, V>(stored, zv));
        if (!V::any(write)) return;
    }
    if constexpr (kMerge) {
        const I old = loadPixels();
        const I out = Rule::template lanes<V, Fmt, M>(k, e, pv, old, write);
        if (!V::any(write)) return;
        storePixels(V::select(write, out, old));
        if constexpr (kDepth && Rule::kTraits.storesDepth) {
            const F zNew = V::selectF(write, zv, stored);
            if (whole)
                V::storeF(zrow, zNew);
            else
                V::storePart(zrow, V::bitsI(zNew), 4, m);
        }
    } else {
        const I out = Rule::template lanes<V, Fmt, M>(k, e, pv, I{}, write);
        if constexpr (kDepth) {
            if (!V::any(write)) return;
            if constexpr (Rule::kTraits.storesDepth) V::storeF(zrow, zv);
        }
        storePixels(out);
    }
}

// A block: whole lane groups, then what is left as one partial group where
// partial accesses are masked or the rule's arithmetic outweighs copying
// them, else pixel by pixel through the same rule at width 1.  M is the
// block's sampling modes.
template <class V, class Rule, class Fmt, unsigned M>
void laneBlock(const SpanContext& k, const RowEnds& e, const SpanBlock& block) {
    // A copy of the block that no pixel store can alias, so that it stays
    // in registers across the groups.  The ends are read where they are:
    // a copy of them costs every block more than the groups of a long span
    // save by reading them from it.
    const SpanBlock b = block;
    constexpr int W = V::kLanes;
    constexpr bool kDepth = Rule::kTraits.depth != DepthTest::kNone;
    int i = 0;
    for (; i + W <= b.n; i += W)
        laneGroup<V, Rule, Fmt, M>(k, e, b.p + i, b.z + i, kDepth ? b.zrow + i : nullptr, b.px + i * Fmt::kBytes, W);
    const int rest = b.n - i;
    if constexpr (W > 1) {
        constexpr bool kMasked = V::maskedParts(Fmt::kBytes) && (!kDepth || V::maskedParts(4));
        if (rest >= (kMasked ? 1 : (Rule::kTraits.interpolates() ? 2 : W))) {
            laneGroup<V, Rule, Fmt, M>(k, e, b.p + i, b.z + i, kDepth ? b.zrow + i : nullptr, b.px + i * Fmt::kBytes,
                                       rest);
            return;
        }
        for (; i < b.n; ++i)
            laneGroup<ScalarLanes<V>, Rule, Fmt, M>(k, e, b.p + i, b.z + i, kDepth ? b.zrow + i : nullptr,
                                                    b.px + i * Fmt::kBytes, 1);
    }
}

}  // namespace kwr

#endif
