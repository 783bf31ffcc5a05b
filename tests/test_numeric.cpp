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

// The call-free floor equals floor-then-saturate on edge values and on
// random bit patterns of floats (every float sum the library rounds) and
// doubles.
TEST(Numeric, FastFloorMatchesPlainFloor) {
    auto plainFloor = [](double v) { return kwr::saturateToInt(std::floor(v)); };
    const double edges[] = {0.0, -0.0, 0.5, -0.5, 1.0, -1.0, 2147483647.0, 2147483647.5, 2147483648.0,
                            -2147483648.0, -2147483648.5, -2147483649.0, -2147483649.5, 4503599627370496.5,
                            1e300, -1e300, std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(), std::nan(""),
                            std::numeric_limits<double>::denorm_min(), -std::numeric_limits<double>::denorm_min()};
    for (double e : edges) EXPECT_EQ(kwr::floorToInt(e), plainFloor(e)) << e;
    std::mt19937 rng(42);
    for (int i = 0; i < 20000; ++i) {
        const std::uint32_t bits = rng();
        float f;
        std::memcpy(&f, &bits, 4);
        ASSERT_EQ(kwr::floorToInt(f), plainFloor(f)) << f;
        std::uniform_real_distribution<double> d(-3e9, 3e9);
        const double x = d(rng);
        ASSERT_EQ(kwr::floorToInt(x), plainFloor(x)) << x;
    }
}
