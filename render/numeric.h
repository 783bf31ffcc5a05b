// Numeric helpers shared by every drawing operation.
//
// Every float-to-int conversion of the library goes through saturateToInt so
// that no argument value (NaN, infinities, huge coordinates) reaches an
// undefined conversion.  Integer arithmetic that is defined to wrap uses the
// wrap* helpers, which compute in unsigned 32-bit arithmetic.
#ifndef KWR_RENDER_NUMERIC_H
#define KWR_RENDER_NUMERIC_H

#include <climits>
#include <cmath>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

namespace kwr {

// Truncates toward zero like a C cast for every value inside the int range;
// values above it give INT_MAX, values below it and NaN give INT_MIN.
inline int saturateToInt(double v) {
    if (v >= 2147483647.0) return INT_MAX;
    if (v > -2147483649.0) return static_cast<int>(v);  // exact truncation
    return INT_MIN;                                     // below range, or NaN
}

// saturateToInt(floor(v)) for a float, without going through double (the
// floor of a float is the same in either precision): inside the int range
// truncate, then step down where truncation went up; a float of 2^23 or more
// in size is already whole, so its truncation is exact.  `Level` keeps the
// copies compiled for different instruction sets apart.
template <class Level = void>
inline int floorFloatToInt(float v) {
#if defined(__SSE2__) || defined(_M_X64)
    // The processor's truncation gives INT_MIN for NaN and out of range;
    // the one value in range that gives it, -2^31, is its own floor.
    const int t = _mm_cvttss_si32(_mm_set_ss(v));
    if (t == INT_MIN) return v >= 0.0f ? INT_MAX : INT_MIN;
    return static_cast<float>(t) > v ? t - 1 : t;
#else
    if (v >= -2147483648.0f && v < 2147483648.0f) {
        const int i = static_cast<int>(v);
        return static_cast<float>(i) > v ? i - 1 : i;
    }
    return v >= 0.0f ? INT_MAX : INT_MIN;  // above range; below range or NaN
#endif
}

// floor(v + 0.5): the addition in single precision, the floor in double
// precision, then converted to int.  The library's rounding of coordinates
// and colours.
inline int roundHalfUp(float v) { return floorFloatToInt(v + 0.5f); }

// 32-bit two's-complement arithmetic that wraps instead of overflowing.
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapMul(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapNeg(std::int32_t a) {
    return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(a));
}
// Integer division truncating toward zero; INT_MIN / -1 wraps to INT_MIN
// instead of trapping.  The divisor must not be 0.
inline std::int32_t wrapDiv(std::int32_t a, std::int32_t b) {
    if (b == -1) return wrapNeg(a);
    return a / b;
}
inline std::int32_t wrapMod(std::int32_t a, std::int32_t b) {
    if (b == -1) return 0;
    return a % b;
}

}  // namespace kwr

#endif
