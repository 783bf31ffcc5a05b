// The numeric helpers every conversion goes through.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <utility>

#include "render/numeric.h"

TEST(Numeric, SaturatingConversion) {
    const std::pair<double, int> conversions[] = {{2.9, 2},          {-2.9, -2},       {2147483647.5, INT_MAX},
                                                  {-1e300, INT_MIN}, {1e300, INT_MAX}, {-2147483648.9, INT_MIN},
                                                  {std::nan(""), INT_MIN}};
    for (const auto& c : conversions) EXPECT_EQ(kwr::saturateToInt(c.first), c.second) << c.first;
    const std::pair<float, int> roundings[] = {{0.49f, 0}, {0.5f, 1}, {-0.5f, 0}, {-0.51f, -1}};
    for (const auto& c : roundings) EXPECT_EQ(kwr::roundHalfUp(c.first), c.second) << c.first;
    EXPECT_EQ(kwr::wrapMul(65536, 65536), 0);
    EXPECT_EQ(kwr::wrapDiv(INT_MIN, -1), INT_MIN);
}

// The float floor equals floor-then-saturate in double on edge values,
// around every power of two, and on random bit patterns (every float sum
// the library rounds).
TEST(Numeric, FloatFloorMatchesPlainFloor) {
    auto plainFloor = [](float v) { return kwr::saturateToInt(std::floor(static_cast<double>(v))); };
    const float edges[] = {0.0f, -0.0f, 0.5f, -0.5f, 1.0f, -1.0f, 2147483520.0f, 2147483648.0f, -2147483648.0f,
                           -2147483904.0f, 8388607.5f, -8388607.5f, 1e30f, -1e30f,
                           std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                           std::nanf(""), std::numeric_limits<float>::denorm_min(),
                           -std::numeric_limits<float>::denorm_min()};
    for (float e : edges) EXPECT_EQ(kwr::floorFloatToInt(e), plainFloor(e)) << e;
    for (int e = -30; e <= 40; ++e) {
        for (float sign : {1.0f, -1.0f}) {
            const float p = sign * std::ldexp(1.0f, e);
            for (float f : {std::nextafter(p, 0.0f), p, std::nextafter(p, 2 * p)})
                ASSERT_EQ(kwr::floorFloatToInt(f), plainFloor(f)) << f;
        }
    }
    std::mt19937 rng(42);
    for (int i = 0; i < 200000; ++i) {
        const std::uint32_t bits = rng();
        float f;
        std::memcpy(&f, &bits, 4);
        ASSERT_EQ(kwr::floorFloatToInt(f), plainFloor(f)) << f;
    }
}
