// Lane sets: the few vector operations the span kernels are written in.
//
// One struct per instruction-set level (4, 8 or 16 lanes of 32 bits).  The
// kernels in raster/span_vector.h are templates over a lane set, so each
// level's translation unit instantiates the same code with its own lane
// set.  Each lane set is visible only where its instructions are enabled,
// and lives in a namespace of its own so that nothing compiled for a wider
// level can be linked into code that runs on a narrower one.
//
// Every operation is exact lane by lane: floorInt() gives for every float
// what saturating the double floor gives (floor in float equals floor in double,
// NaN and values below the int range give INT_MIN, values at or above
// 2^31 give INT_MAX).
#ifndef KWR_RASTER_SPAN_LANES_H
#define KWR_RASTER_SPAN_LANES_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include "render/pixel_format.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define KWR_X86_64 1
#else
#define KWR_X86_64 0
#endif

// AArch64 always has Advanced SIMD (NEON).
#if defined(__aarch64__) || defined(_M_ARM64)
#include <arm_neon.h>
#define KWR_LANES_NEON 1
#endif

// WebAssembly's 128-bit SIMD, where the build enables it (the whole module
// needs an engine that has it: there is no check at run time).
#if defined(__wasm_simd128__)
#include <wasm_simd128.h>
#define KWR_LANES_SIMD128 1
#endif

// MSVC enables the intrinsics of every level without flags.
#if KWR_X86_64 && (defined(__SSE4_1__) || defined(_MSC_VER))
#define KWR_LANES_SSE41 1
#endif
#if KWR_X86_64 && defined(__AVX2__)
#define KWR_LANES_AVX2 1
#endif
#if KWR_X86_64 && defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512DQ__) && defined(__AVX512VL__)
#define KWR_LANES_AVX512 1
#endif

namespace kwr {

// Three-byte pixels in a 128-bit lane: the byte moves that spread twelve
// bytes to the low three bytes of four 32-bit lanes, and that gather them
// back (-1 gives a zero byte).  Tables, not functions, so that the sets of
// every level load them with their own instructions.
alignas(16) inline constexpr std::int8_t kSpread24[16] = {0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1};
alignas(16) inline constexpr std::int8_t kGather24[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1};

// The first m lanes' worth of elements (1 <= m <= lanes) through a zeroed
// lane array, for lane sets without masked loads and stores.
template <class V, int Bytes>
typename V::I loadPartCopy(const void* p, int m) {
    std::int32_t a[V::kLanes] = {};
    for (int i = 0; i < m && i < V::kLanes; ++i)
        std::memcpy(&a[i], static_cast<const unsigned char*>(p) + i * Bytes, Bytes);
    return V::loadI(a);
}
template <class V, int Bytes>
void storePartCopy(void* p, typename V::I v, int m) {
    std::int32_t a[V::kLanes];
    V::storeI(a, v);
    for (int i = 0; i < m && i < V::kLanes; ++i) std::memcpy(static_cast<unsigned char*>(p) + i * Bytes, &a[i], Bytes);
}
// Partial forms of every pixel and depth access, by copying.  maskedParts
// says whether the partial form of elements of `bytes` bytes is a masked
// access, as cheap as a whole one.
#define KWR_PARTS_BY_COPY(Self)                                                                       \
    static constexpr bool maskedParts(int) { return false; }                                          \
    static I loadPart(const void* p, int bytes, int m) {                                              \
        if (bytes == 1) return loadPartCopy<Self, 1>(p, m);                                           \
        return bytes == 2 ? loadPartCopy<Self, 2>(p, m)                                               \
                          : (bytes == 3 ? loadPartCopy<Self, 3>(p, m) : loadPartCopy<Self, 4>(p, m)); \
    }                                                                                                 \
    static void storePart(void* p, I v, int bytes, int m) {                                           \
        if (bytes == 1)                                                                               \
            storePartCopy<Self, 1>(p, v, m);                                                          \
        else if (bytes == 2)                                                                          \
            storePartCopy<Self, 2>(p, v, m);                                                          \
        else if (bytes == 3)                                                                          \
            storePartCopy<Self, 3>(p, v, m);                                                          \
        else                                                                                          \
            storePartCopy<Self, 4>(p, v, m);                                                          \
    }

// What every lane set spells alike but for the prefix of its intrinsics
// (_mm, _mm256, _mm512) and its width in bits (128, 256, 512): its lane
// count, whether it gathers, its vector types and the plain operations.
// mulSmall is for lanes below 2^16 whose products stay below 2^16;
// mulFields multiplies each 16-bit half of every lane by k, each product
// below 2^16.
#define KWR_LANE_SET(P, W, Gather)                                          \
    static constexpr int kLanes = W / 32;                                   \
    static constexpr bool kHasGather = Gather;                              \
    using F = __m##W;                                                       \
    using I = __m##W##i;                                                    \
    using D = __m##W##d;                                                    \
    static F loadF(const float* p) { return P##_loadu_ps(p); }              \
    static void storeF(float* p, F v) { P##_storeu_ps(p, v); }              \
    static F splatF(float v) { return P##_set1_ps(v); }                     \
    static I splatI(std::int32_t v) { return P##_set1_epi32(v); }           \
    static F add(F a, F b) { return P##_add_ps(a, b); }                     \
    static F sub(F a, F b) { return P##_sub_ps(a, b); }                     \
    static F mul(F a, F b) { return P##_mul_ps(a, b); }                     \
    static F div(F a, F b) { return P##_div_ps(a, b); }                     \
    static F toF(I v) { return P##_cvtepi32_ps(v); }                        \
    static F bitsF(I v) { return P##_castsi##W##_ps(v); }                   \
    static I bitsI(F v) { return P##_castps_si##W(v); }                     \
    static I addI(I a, I b) { return P##_add_epi32(a, b); }                 \
    static I subI(I a, I b) { return P##_sub_epi32(a, b); }                 \
    static I andI(I a, I b) { return P##_and_si##W(a, b); }                 \
    static I orI(I a, I b) { return P##_or_si##W(a, b); }                   \
    static I shl(int n, I a) { return P##_slli_epi32(a, n); }               \
    static I shr(int n, I a) { return P##_srli_epi32(a, n); }               \
    static I mulSmall(I a, I b) { return P##_mullo_epi16(a, b); }           \
    static I mulFields(I a, std::uint32_t k) {                              \
        return P##_mullo_epi16(a, P##_set1_epi16(static_cast<short>(k)));   \
    }                                                                       \
    static D splatD(double v) { return P##_set1_pd(v); }                    \
    static D addD(D a, D b) { return P##_add_pd(a, b); }                    \
    static D subD(D a, D b) { return P##_sub_pd(a, b); }                    \
    static D mulD(D a, D b) { return P##_mul_pd(a, b); }                    \
    static D divD(D a, D b) { return P##_div_pd(a, b); }

// The same for the four-lane sets of other processors, whose intrinsics are
// named after their lane type: FT, IT and DT are the types of four floats,
// four 32-bit integers and two doubles, F_(op), I_(op) and D_(op) name the
// intrinsic of `op` on each, and the rest name the loads, stores, splats
// and the conversion of integers to floats.
#define KWR_FOUR_LANE_SET(FT, IT, DT, F_, I_, D_, LOAD_F, STORE_F, SPLAT_F, SPLAT_I, SPLAT_D, TO_F) \
    static constexpr int kLanes = 4;                                                            \
    static constexpr bool kHasGather = false;                                                   \
    using F = FT;                                                                               \
    using I = IT;                                                                               \
    using D = DT;                                                                               \
    static F loadF(const float* p) { return LOAD_F(p); }                                        \
    static void storeF(float* p, F v) { STORE_F(p, v); }                                        \
    static F splatF(float v) { return SPLAT_F(v); }                                             \
    static I splatI(std::int32_t v) { return SPLAT_I(v); }                                      \
    static D splatD(double v) { return SPLAT_D(v); }                                            \
    static F toF(I v) { return TO_F(v); }                                                       \
    static F add(F a, F b) { return F_(add)(a, b); }                                            \
    static F sub(F a, F b) { return F_(sub)(a, b); }                                            \
    static F mul(F a, F b) { return F_(mul)(a, b); }                                            \
    static F div(F a, F b) { return F_(div)(a, b); }                                            \
    static I addI(I a, I b) { return I_(add)(a, b); }                                           \
    static I subI(I a, I b) { return I_(sub)(a, b); }                                           \
    static I mulSmall(I a, I b) { return I_(mul)(a, b); }                                       \
    static I mulFields(I a, std::uint32_t k) { return I_(mul)(a, SPLAT_I(static_cast<std::int32_t>(k))); } \
    static D addD(D a, D b) { return D_(add)(a, b); }                                           \
    static D subD(D a, D b) { return D_(sub)(a, b); }                                           \
    static D mulD(D a, D b) { return D_(mul)(a, b); }                                           \
    static D divD(D a, D b) { return D_(div)(a, b); }

// One lane of plain scalars, in portable C++: the same operations as the
// vector sets, so that every span rule has one body, run at width 1 by the
// scalar level and for the pixels of a span too few to fill a vector.
// `Beside` is the vector set it serves (void for the scalar level): each
// level's translation unit has its own copy, built with its instructions.
template <class Beside>
struct ScalarLanes {
    static constexpr int kLanes = 1;
    static constexpr bool kHasGather = false;
    using F = float;
    using I = std::int32_t;
    using D = double;
    static F loadF(const float* p) { return *p; }
    static void storeF(float* p, F v) { *p = v; }
    static F splatF(float v) { return v; }
    static I splatI(std::int32_t v) { return v; }
    static F add(F a, F b) { return a + b; }
    static F sub(F a, F b) { return a - b; }
    static F mul(F a, F b) { return a * b; }
    static F div(F a, F b) { return a / b; }
    static F toF(I v) { return static_cast<float>(v); }
    static F bitsF(I v) {
        F f;
        std::memcpy(&f, &v, 4);
        return f;
    }
    static I bitsI(F v) {
        I i;
        std::memcpy(&i, &v, 4);
        return i;
    }
    // Integer lanes wrap like the vector ones.
    static I wrap(std::uint32_t v) { return static_cast<I>(v); }
    static I addI(I a, I b) { return wrap(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b)); }
    static I subI(I a, I b) { return wrap(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b)); }
    static I andI(I a, I b) { return a & b; }
    static I orI(I a, I b) { return a | b; }
    static I shl(int n, I a) { return wrap(static_cast<std::uint32_t>(a) << n); }
    static I shr(int n, I a) { return wrap(static_cast<std::uint32_t>(a) >> n); }
    static I mulSmall(I a, I b) { return wrap(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b)); }
    static I mulFields(I a, std::uint32_t k) { return wrap(static_cast<std::uint32_t>(a) * k); }
    static D splatD(double v) { return v; }
    static D addD(D a, D b) { return a + b; }
    static D subD(D a, D b) { return a - b; }
    static D mulD(D a, D b) { return a * b; }
    static D divD(D a, D b) { return a / b; }

    // Pixels and depths: `bytes` little-endian bytes in the low end of the lane.
    static I loadPart(const void* p, int bytes, int) {
        std::uint32_t v = 0;
        if constexpr (kLittleEndian) {
            std::memcpy(&v, p, static_cast<std::size_t>(bytes));
        } else {
            const unsigned char* b = static_cast<const unsigned char*>(p);
            for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | b[i];
        }
        return wrap(v);
    }
    static void storePart(void* p, I v, int bytes, int) {
        if constexpr (kLittleEndian) {
            std::memcpy(p, &v, static_cast<std::size_t>(bytes));
        } else {
            unsigned char* b = static_cast<unsigned char*>(p);
            for (int i = 0; i < bytes; ++i) b[i] = static_cast<unsigned char>(static_cast<std::uint32_t>(v) >> (8 * i));
        }
    }
    static constexpr bool maskedParts(int) { return true; }
    static I loadI(const void* p) { return loadPart(p, 4, 1); }
    static void storeI(void* p, I v) { storePart(p, v, 4, 1); }
    static I loadU16(const void* p) { return loadPart(p, 2, 1); }
    static void storeU16(void* p, I v) { storePart(p, v, 2, 1); }
    static I loadU24(const unsigned char* p) { return loadPart(p, 3, 1); }
    static void storeU24(unsigned char* p, I v) { storePart(p, v, 3, 1); }

    static I gt(F a, F b) { return a > b ? -1 : 0; }
    static I ge(F a, F b) { return a >= b ? -1 : 0; }
    // floor, saturated: NaN and values below the int range give INT_MIN.
    static I floorInt(F x) { return floorFloatToInt<ScalarLanes>(x); }
    static I eqI(I a, I b) { return a == b ? -1 : 0; }
    static I select(I m, I a, I b) { return m != 0 ? a : b; }
    static F selectF(I m, F a, F b) { return m != 0 ? a : b; }
    static bool any(I m) { return m != 0; }
    static bool all(I m) { return m != 0; }

    // Doubles: the lane's value in both halves; fromD truncates the first,
    // saturated.
    static D loD(I v) { return static_cast<double>(v); }
    static D hiD(I v) { return static_cast<double>(v); }
    static I fromD(D lo, D) { return saturateToInt(lo); }
    static D andLessD(D a, D b, D v) { return a < b ? v : 0.0; }
    static D floorD(D x) { return std::floor(x); }
};

#if KWR_X86_64
// Four lanes with SSE2 only; floors by truncation and correction.  A
// template so that the SSE4.1 set, which builds on it, gets its own copy.
template <int Level>
struct Sse2Lanes {
    KWR_LANE_SET(_mm, 128, false)

    static I loadI(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
    static void storeI(void* p, I v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
    static I loadU16(const void* p) {
        return _mm_unpacklo_epi16(_mm_loadl_epi64(static_cast<const __m128i*>(p)), _mm_setzero_si128());
    }
    // The low 16 bits of each lane (sign-extended first so that the
    // saturating pack keeps them).
    static void storeU16(void* p, I v) {
        v = _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
        _mm_storel_epi64(static_cast<__m128i*>(p), _mm_packs_epi32(v, v));
    }
    // Three-byte pixels, without a byte shuffle: four 32-bit reads made
    // into lanes in registers (a vector read of a copy in memory would wait
    // for the small stores to it), and four lanes written as 4, 4, 4 and 3
    // bytes, each store overwriting the last one's fourth byte.  Only the
    // group's 12 bytes are read or written.
    static I loadU24(const unsigned char* p) {
        std::uint32_t a, b, c, d;
        std::memcpy(&a, p, 4);
        std::memcpy(&b, p + 3, 4);
        std::memcpy(&c, p + 6, 4);
        std::memcpy(&d, p + 8, 4);
        const I v =
            _mm_set_epi32(static_cast<int>(d >> 8), static_cast<int>(c), static_cast<int>(b), static_cast<int>(a));
        return _mm_and_si128(v, _mm_set1_epi32(0xFFFFFF));
    }
    static void storeU24(unsigned char* p, I v) {
        for (int i = 0; i < 3; ++i) {
            const std::int32_t w = _mm_cvtsi128_si32(v);
            std::memcpy(p + 3 * i, &w, 4);
            v = _mm_srli_si128(v, 4);
        }
        const std::int32_t w = _mm_cvtsi128_si32(v);
        std::memcpy(p + 9, &w, 3);
    }
    KWR_PARTS_BY_COPY(Sse2Lanes)

    static I gt(F a, F b) { return _mm_castps_si128(_mm_cmpgt_ps(a, b)); }
    static I ge(F a, F b) { return _mm_castps_si128(_mm_cmpge_ps(a, b)); }
    static I floorInt(F x) {
        I t = _mm_cvttps_epi32(x);
        t = _mm_add_epi32(t, _mm_castps_si128(_mm_cmpgt_ps(_mm_cvtepi32_ps(t), x)));  // truncation went up
        const I high = _mm_castps_si128(_mm_cmpge_ps(x, _mm_set1_ps(2147483648.0f)));
        const I low = _mm_castps_si128(_mm_cmpnge_ps(x, _mm_set1_ps(-2147483648.0f)));  // or NaN
        t = select(high, _mm_set1_epi32(INT32_MAX), t);
        return select(low, _mm_set1_epi32(INT32_MIN), t);
    }

    static I eqI(I a, I b) { return _mm_cmpeq_epi32(a, b); }
    static I select(I m, I a, I b) { return _mm_or_si128(_mm_and_si128(m, a), _mm_andnot_si128(m, b)); }
    static F selectF(I m, F a, F b) { return _mm_castsi128_ps(select(m, _mm_castps_si128(a), _mm_castps_si128(b))); }
    static bool any(I m) { return _mm_movemask_ps(_mm_castsi128_ps(m)) != 0; }
    static bool all(I m) { return _mm_movemask_ps(_mm_castsi128_ps(m)) == 0xF; }

    // Doubles, two lanes of I at a time; floorD needs |x| < 2^31.
    static D loD(I v) { return _mm_cvtepi32_pd(v); }
    static D hiD(I v) { return _mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)); }
    static I fromD(D lo, D hi) { return _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo), _mm_cvttpd_epi32(hi)); }
    static D andLessD(D a, D b, D v) { return _mm_and_pd(_mm_cmplt_pd(a, b), v); }  // a < b ? v : 0
    static D floorD(D x) {
        const D t = _mm_cvtepi32_pd(_mm_cvttpd_epi32(x));
        return _mm_sub_pd(t, _mm_and_pd(_mm_cmpgt_pd(t, x), _mm_set1_pd(1.0)));
    }
};
namespace lanes_sse2 {
using Lanes = Sse2Lanes<0>;
}
#endif

#if KWR_LANES_SSE41
// SSE2 plus the floor instruction.
namespace lanes_sse41 {
struct Lanes : Sse2Lanes<1> {
    // Three-byte pixels: four in 12 bytes, spread to or gathered from the
    // low three bytes of each lane; only those 12 bytes are read or written.
    static I loadU24(const unsigned char* p) {
        std::int32_t last;
        std::memcpy(&last, p + 8, 4);
        const I first = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        const I bytes = _mm_unpacklo_epi64(first, _mm_cvtsi32_si128(last));
        return _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<const __m128i*>(kSpread24)));
    }
    static void storeU24(unsigned char* p, I v) {
        const I packed = _mm_shuffle_epi8(v, _mm_load_si128(reinterpret_cast<const __m128i*>(kGather24)));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), packed);
        const std::int32_t last = _mm_cvtsi128_si32(_mm_srli_si128(packed, 8));
        std::memcpy(p + 8, &last, 4);
    }
    static I floorInt(F x) {
        const I t = _mm_cvttps_epi32(_mm_floor_ps(x));  // INT_MIN for NaN and out of range
        return select(_mm_castps_si128(_mm_cmpge_ps(x, _mm_set1_ps(2147483648.0f))), _mm_set1_epi32(INT32_MAX), t);
    }
    static I select(I m, I a, I b) { return _mm_blendv_epi8(b, a, m); }
    static F selectF(I m, F a, F b) { return _mm_blendv_ps(b, a, _mm_castsi128_ps(m)); }
    static D floorD(D x) { return _mm_floor_pd(x); }
};
}  // namespace lanes_sse41
#endif

#if KWR_LANES_AVX2
namespace lanes_avx2 {
struct Lanes {
    KWR_LANE_SET(_mm256, 256, true)

    static I loadI(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
    static void storeI(void* p, I v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
    static I loadU16(const void* p) { return _mm256_cvtepu16_epi32(_mm_loadu_si128(static_cast<const __m128i*>(p))); }
    static void storeU16(void* p, I v) {
        v = _mm256_srai_epi32(_mm256_slli_epi32(v, 16), 16);
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(v, v), 0x08);
        _mm_storeu_si128(static_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
    }
    // Three-byte pixels: four per 128-bit half, spread to or gathered from
    // the low three bytes of each lane; only the 24 bytes are read or written.
    static I halves24(const std::int8_t* moves) {
        return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(moves)));
    }
    static I loadU24(const unsigned char* p) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));        // bytes 0-15
        const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16));  // bytes 16-23
        const I bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(a), _mm_alignr_epi8(b, a, 12), 1);
        return _mm256_shuffle_epi8(bytes, halves24(kSpread24));
    }
    static void storeU24(unsigned char* p, I v) {
        const I packed = _mm256_shuffle_epi8(v, halves24(kGather24));
        const __m128i lo = _mm256_castsi256_si128(packed), hi = _mm256_extracti128_si256(packed, 1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_or_si128(lo, _mm_slli_si128(hi, 12)));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 16), _mm_srli_si128(hi, 4));
    }
    // Four-byte elements through masked moves, the others by copying.
    static I firstLanes(int m) {
        return _mm256_cmpgt_epi32(_mm256_set1_epi32(m), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    }
    static constexpr bool maskedParts(int bytes) { return bytes == 4; }
    static I loadPart(const void* p, int bytes, int m) {
        if (bytes == 4) return _mm256_maskload_epi32(static_cast<const int*>(p), firstLanes(m));
        if (bytes == 1) return loadPartCopy<Lanes, 1>(p, m);
        return bytes == 2 ? loadPartCopy<Lanes, 2>(p, m) : loadPartCopy<Lanes, 3>(p, m);
    }
    static void storePart(void* p, I v, int bytes, int m) {
        if (bytes == 4)
            _mm256_maskstore_epi32(static_cast<int*>(p), firstLanes(m), v);
        else if (bytes == 1)
            storePartCopy<Lanes, 1>(p, v, m);
        else if (bytes == 2)
            storePartCopy<Lanes, 2>(p, v, m);
        else
            storePartCopy<Lanes, 3>(p, v, m);
    }

    static I gt(F a, F b) { return _mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_GT_OQ)); }
    static I ge(F a, F b) { return _mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_GE_OQ)); }
    static I floorInt(F x) {
        const I t = _mm256_cvttps_epi32(_mm256_floor_ps(x));
        return select(ge(x, _mm256_set1_ps(2147483648.0f)), _mm256_set1_epi32(INT32_MAX), t);
    }

    static I eqI(I a, I b) { return _mm256_cmpeq_epi32(a, b); }
    static I mulLo(I a, I b) { return _mm256_mullo_epi32(a, b); }
    static I select(I m, I a, I b) { return _mm256_blendv_epi8(b, a, m); }
    static F selectF(I m, F a, F b) { return _mm256_blendv_ps(b, a, _mm256_castsi256_ps(m)); }
    static bool any(I m) { return _mm256_movemask_ps(_mm256_castsi256_ps(m)) != 0; }
    static bool all(I m) { return _mm256_movemask_ps(_mm256_castsi256_ps(m)) == 0xFF; }
    // 32-bit words at base + offset for the lanes in m, 0 elsewhere.
    static I gather(const unsigned char* base, I offsets, I m) {
        return _mm256_mask_i32gather_epi32(_mm256_setzero_si256(), reinterpret_cast<const int*>(base), offsets, m, 1);
    }

    static D loD(I v) { return _mm256_cvtepi32_pd(_mm256_castsi256_si128(v)); }
    static D hiD(I v) { return _mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)); }
    static I fromD(D lo, D hi) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(lo)), _mm256_cvttpd_epi32(hi), 1);
    }
    static D andLessD(D a, D b, D v) { return _mm256_and_pd(_mm256_cmp_pd(a, b, _CMP_LT_OQ), v); }
    static D floorD(D x) { return _mm256_floor_pd(x); }
};
}  // namespace lanes_avx2
#endif

#if KWR_LANES_AVX512
namespace lanes_avx512 {
// Masks are kept as lanes of all ones or zeros like the narrower sets.
struct Lanes {
    KWR_LANE_SET(_mm512, 512, true)

    static I loadI(const void* p) { return _mm512_loadu_si512(p); }
    static void storeI(void* p, I v) { _mm512_storeu_si512(p, v); }
    static I loadU16(const void* p) {
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(static_cast<const __m256i*>(p)));
    }
    static void storeU16(void* p, I v) { _mm256_storeu_si256(static_cast<__m256i*>(p), _mm512_cvtepi32_epi16(v)); }
    // Three-byte pixels: four per 128-bit lane, spread out to or gathered
    // from the low three bytes of each 32-bit lane.
    static I expand24(I bytes) {
        const I dwords =
            _mm512_permutexvar_epi32(_mm512_setr_epi32(0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0), bytes);
        const __m128i spread = _mm_load_si128(reinterpret_cast<const __m128i*>(kSpread24));
        return _mm512_shuffle_epi8(dwords, _mm512_broadcast_i32x4(spread));
    }
    static I pack24(I v) {
        const __m128i gather = _mm_load_si128(reinterpret_cast<const __m128i*>(kGather24));
        const I packed = _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(gather));
        return _mm512_permutexvar_epi32(_mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0), packed);
    }
    static __mmask64 byteMask(int bytes) { return bytes >= 64 ? ~__mmask64{0} : (__mmask64{1} << bytes) - 1; }
    static constexpr bool maskedParts(int) { return true; }
    static I loadU24(const unsigned char* p) { return loadPart(p, 3, kLanes); }
    static void storeU24(unsigned char* p, I v) { storePart(p, v, 3, kLanes); }
    static I loadPart(const void* p, int bytes, int m) {
        const __mmask16 lanes = static_cast<__mmask16>((1u << m) - 1);
        if (bytes == 4) return _mm512_maskz_loadu_epi32(lanes, p);
        if (bytes == 1) return _mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(lanes, p));
        if (bytes == 2) return _mm512_cvtepu16_epi32(_mm256_maskz_loadu_epi16(lanes, p));
        return expand24(_mm512_maskz_loadu_epi8(byteMask(3 * m), p));
    }
    static void storePart(void* p, I v, int bytes, int m) {
        const __mmask16 lanes = static_cast<__mmask16>((1u << m) - 1);
        if (bytes == 4)
            _mm512_mask_storeu_epi32(p, lanes, v);
        else if (bytes == 1)
            _mm512_mask_cvtepi32_storeu_epi8(p, lanes, v);
        else if (bytes == 2)
            _mm256_mask_storeu_epi16(p, lanes, _mm512_cvtepi32_epi16(v));
        else
            _mm512_mask_storeu_epi8(p, byteMask(3 * m), pack24(v));
    }

    static I gt(F a, F b) { return _mm512_movm_epi32(_mm512_cmp_ps_mask(a, b, _CMP_GT_OQ)); }
    static I ge(F a, F b) { return _mm512_movm_epi32(_mm512_cmp_ps_mask(a, b, _CMP_GE_OQ)); }
    static I floorInt(F x) {
        const I t = _mm512_cvttps_epi32(_mm512_roundscale_ps(x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC));
        return _mm512_mask_mov_epi32(t, _mm512_cmp_ps_mask(x, _mm512_set1_ps(2147483648.0f), _CMP_GE_OQ),
                                     _mm512_set1_epi32(INT32_MAX));
    }

    static I eqI(I a, I b) { return _mm512_movm_epi32(_mm512_cmpeq_epi32_mask(a, b)); }
    static I mulLo(I a, I b) { return _mm512_mullo_epi32(a, b); }
    static __mmask16 bits(I m) { return _mm512_movepi32_mask(m); }
    static I select(I m, I a, I b) { return _mm512_mask_mov_epi32(b, bits(m), a); }
    static F selectF(I m, F a, F b) { return _mm512_mask_mov_ps(b, bits(m), a); }
    static bool any(I m) { return bits(m) != 0; }
    static bool all(I m) { return bits(m) == 0xFFFF; }
    static I gather(const unsigned char* base, I offsets, I m) {
        return _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), bits(m), offsets, base, 1);
    }

    static D loD(I v) { return _mm512_cvtepi32_pd(_mm512_castsi512_si256(v)); }
    static D hiD(I v) { return _mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(v, 1)); }
    static I fromD(D lo, D hi) {
        return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvttpd_epi32(lo)), _mm512_cvttpd_epi32(hi), 1);
    }
    static D andLessD(D a, D b, D v) { return _mm512_maskz_mov_pd(_mm512_cmp_pd_mask(a, b, _CMP_LT_OQ), v); }
    static D floorD(D x) { return _mm512_roundscale_pd(x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC); }
};
}  // namespace lanes_avx512
#endif

#if KWR_LANES_NEON
// Four lanes of AArch64's Advanced SIMD.  Its conversions saturate where the
// x86 ones give INT_MIN, so floorInt sends NaN to INT_MIN itself.
#define KWR_NEON_F(op) v##op##q_f32
#define KWR_NEON_I(op) v##op##q_s32
#define KWR_NEON_D(op) v##op##q_f64
namespace lanes_neon {
struct Lanes {
    KWR_FOUR_LANE_SET(float32x4_t, int32x4_t, float64x2_t, KWR_NEON_F, KWR_NEON_I, KWR_NEON_D, vld1q_f32, vst1q_f32,
                      vdupq_n_f32, vdupq_n_s32, vdupq_n_f64, vcvtq_f32_s32)
    static F bitsF(I v) { return vreinterpretq_f32_s32(v); }
    static I bitsI(F v) { return vreinterpretq_s32_f32(v); }
    static I andI(I a, I b) { return vandq_s32(a, b); }
    static I orI(I a, I b) { return vorrq_s32(a, b); }
    static I shl(int n, I a) { return vshlq_s32(a, vdupq_n_s32(n)); }
    static I shr(int n, I a) { return vreinterpretq_s32_u32(vshlq_u32(vreinterpretq_u32_s32(a), vdupq_n_s32(-n))); }

    static I loadI(const void* p) { return vld1q_s32(static_cast<const std::int32_t*>(p)); }
    static void storeI(void* p, I v) { vst1q_s32(static_cast<std::int32_t*>(p), v); }
    static I loadU16(const void* p) {
        return vreinterpretq_s32_u32(vmovl_u16(vld1_u16(static_cast<const std::uint16_t*>(p))));
    }
    static void storeU16(void* p, I v) { vst1_s16(static_cast<std::int16_t*>(p), vmovn_s32(v)); }
    // Three-byte pixels: four in 12 bytes, spread to or gathered from the
    // low three bytes of each lane by table lookups (an index out of the
    // table gives a zero byte); only those 12 bytes are read or written.
    static I loadU24(const unsigned char* p) {
        std::uint32_t last;
        std::memcpy(&last, p + 8, 4);
        const uint8x16_t bytes = vcombine_u8(vld1_u8(p), vreinterpret_u8_u32(vdup_n_u32(last)));
        return vreinterpretq_s32_u8(vqtbl1q_u8(bytes, vreinterpretq_u8_s8(vld1q_s8(kSpread24))));
    }
    static void storeU24(unsigned char* p, I v) {
        const uint8x16_t packed = vqtbl1q_u8(vreinterpretq_u8_s32(v), vreinterpretq_u8_s8(vld1q_s8(kGather24)));
        vst1_u8(p, vget_low_u8(packed));
        const std::uint32_t last = vgetq_lane_u32(vreinterpretq_u32_u8(packed), 2);
        std::memcpy(p + 8, &last, 4);
    }
    KWR_PARTS_BY_COPY(Lanes)

    static I gt(F a, F b) { return vreinterpretq_s32_u32(vcgtq_f32(a, b)); }
    static I ge(F a, F b) { return vreinterpretq_s32_u32(vcgeq_f32(a, b)); }
    static I floorInt(F x) {
        // Rounds toward minus infinity and saturates; NaN would give 0.
        const I t = vcvtmq_s32_f32(x);
        return select(vreinterpretq_s32_u32(vceqq_f32(x, x)), t, vdupq_n_s32(INT32_MIN));
    }
    static I eqI(I a, I b) { return vreinterpretq_s32_u32(vceqq_s32(a, b)); }
    static I select(I m, I a, I b) { return vbslq_s32(vreinterpretq_u32_s32(m), a, b); }
    static F selectF(I m, F a, F b) { return vbslq_f32(vreinterpretq_u32_s32(m), a, b); }
    static bool any(I m) { return vmaxvq_u32(vreinterpretq_u32_s32(m)) != 0; }
    static bool all(I m) { return vminvq_u32(vreinterpretq_u32_s32(m)) != 0; }

    // Doubles, two lanes of I at a time; fromD and floorD need |x| < 2^31.
    static D loD(I v) { return vcvtq_f64_s64(vmovl_s32(vget_low_s32(v))); }
    static D hiD(I v) { return vcvtq_f64_s64(vmovl_s32(vget_high_s32(v))); }
    static I fromD(D lo, D hi) { return vcombine_s32(vmovn_s64(vcvtq_s64_f64(lo)), vmovn_s64(vcvtq_s64_f64(hi))); }
    static D andLessD(D a, D b, D v) {
        return vreinterpretq_f64_u64(vandq_u64(vcltq_f64(a, b), vreinterpretq_u64_f64(v)));
    }
    static D floorD(D x) { return vrndmq_f64(x); }
};
}  // namespace lanes_neon
#undef KWR_NEON_F
#undef KWR_NEON_I
#undef KWR_NEON_D
#endif

#if KWR_LANES_SIMD128
// Four lanes of WebAssembly SIMD128, one type for every lane kind.  Its
// conversions saturate and give 0 for NaN, so floorInt sends NaN to INT_MIN
// itself.
#define KWR_SIMD128_F(op) wasm_f32x4_##op
#define KWR_SIMD128_I(op) wasm_i32x4_##op
#define KWR_SIMD128_D(op) wasm_f64x2_##op
namespace lanes_simd128 {
struct Lanes {
    KWR_FOUR_LANE_SET(v128_t, v128_t, v128_t, KWR_SIMD128_F, KWR_SIMD128_I, KWR_SIMD128_D, wasm_v128_load,
                      wasm_v128_store, wasm_f32x4_splat, wasm_i32x4_splat, wasm_f64x2_splat, wasm_f32x4_convert_i32x4)
    static F bitsF(I v) { return v; }
    static I bitsI(F v) { return v; }
    static I andI(I a, I b) { return wasm_v128_and(a, b); }
    static I orI(I a, I b) { return wasm_v128_or(a, b); }
    static I shl(int n, I a) { return wasm_i32x4_shl(a, static_cast<std::uint32_t>(n)); }
    static I shr(int n, I a) { return wasm_u32x4_shr(a, static_cast<std::uint32_t>(n)); }

    static I loadI(const void* p) { return wasm_v128_load(p); }
    static void storeI(void* p, I v) { wasm_v128_store(p, v); }
    static I loadU16(const void* p) { return wasm_u32x4_load16x4(p); }
    static void storeU16(void* p, I v) {
        // The low halves of the four lanes, in order, as eight bytes.
        const v128_t packed = wasm_i8x16_shuffle(v, v, 0, 1, 4, 5, 8, 9, 12, 13, 0, 1, 4, 5, 8, 9, 12, 13);
        wasm_v128_store64_lane(p, packed, 0);
    }
    // Three-byte pixels: four in 12 bytes, spread to or gathered from the
    // low three bytes of each lane by swizzles (an index out of the table
    // gives a zero byte); only those 12 bytes are read or written.
    static I loadU24(const unsigned char* p) {
        const v128_t bytes = wasm_v128_load32_lane(p + 8, wasm_v128_load64_zero(p), 2);
        return wasm_i8x16_swizzle(bytes, wasm_v128_load(kSpread24));
    }
    static void storeU24(unsigned char* p, I v) {
        const v128_t packed = wasm_i8x16_swizzle(v, wasm_v128_load(kGather24));
        wasm_v128_store64_lane(p, packed, 0);
        wasm_v128_store32_lane(p + 8, packed, 2);
    }
    KWR_PARTS_BY_COPY(Lanes)

    static I gt(F a, F b) { return wasm_f32x4_gt(a, b); }
    static I ge(F a, F b) { return wasm_f32x4_ge(a, b); }
    static I floorInt(F x) {
        // Rounds toward minus infinity and saturates; NaN would give 0.
        const I t = wasm_i32x4_trunc_sat_f32x4(wasm_f32x4_floor(x));
        return select(wasm_f32x4_eq(x, x), t, wasm_i32x4_splat(INT32_MIN));
    }
    static I eqI(I a, I b) { return wasm_i32x4_eq(a, b); }
    static I select(I m, I a, I b) { return wasm_v128_bitselect(a, b, m); }
    static F selectF(I m, F a, F b) { return wasm_v128_bitselect(a, b, m); }
    static bool any(I m) { return wasm_v128_any_true(m); }
    static bool all(I m) { return wasm_i32x4_all_true(m); }

    // Doubles, two lanes of I at a time; fromD and floorD need |x| < 2^31.
    static D loD(I v) { return wasm_f64x2_convert_low_i32x4(v); }
    static D hiD(I v) { return wasm_f64x2_convert_low_i32x4(wasm_i32x4_shuffle(v, v, 2, 3, 2, 3)); }
    static I fromD(D lo, D hi) {
        return wasm_i32x4_shuffle(wasm_i32x4_trunc_sat_f64x2_zero(lo), wasm_i32x4_trunc_sat_f64x2_zero(hi), 0, 1, 4, 5);
    }
    static D andLessD(D a, D b, D v) { return wasm_v128_and(wasm_f64x2_lt(a, b), v); }
    static D floorD(D x) { return wasm_f64x2_floor(x); }
};
}  // namespace lanes_simd128
#undef KWR_SIMD128_F
#undef KWR_SIMD128_I
#undef KWR_SIMD128_D
#endif

}  // namespace kwr

#endif
