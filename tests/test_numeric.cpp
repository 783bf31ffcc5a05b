// The numeric helpers every conversion goes through.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "render/numeric.h"

namespace {
int plainFloor(double v) { return kwr::saturateToInt(std::floor(v)); }
}  // namespace

TEST(Numeric, SaturatingConversion) {
    EXPECT_EQ(kwr::saturateToInt(2.9), 2);
    EXPECT_EQ(kwr::saturateToInt(-2.9), -2);
    EXPECT_EQ(kwr::saturateToInt(2147483647.5), INT_MAX);
    EXPECT_EQ(kwr::saturateToInt(-2147483648.9), INT_MIN);
    EXPECT_EQ(kwr::saturateToInt(1e300), INT_MAX);
    EXPECT_EQ(kwr::saturateToInt(-1e300), INT_MIN);
    EXPECT_EQ(kwr::saturateToInt(std::nan("")), INT_MIN);
    EXPECT_EQ(kwr::roundHalfUp(0.49f), 0);
    EXPECT_EQ(kwr::roundHalfUp(0.5f), 1);
    EXPECT_EQ(kwr::roundHalfUp(-0.5f), 0);
    EXPECT_EQ(kwr::roundHalfUp(-0.51f), -1);
    EXPECT_EQ(kwr::wrapMul(65536, 65536), 0);
    EXPECT_EQ(kwr::wrapDiv(INT_MIN, -1), INT_MIN);
}

// The call-free floor equals floor-then-saturate on edge values and on
// random bit patterns of floats (every float sum the library rounds) and
// doubles.
TEST(Numeric, FastFloorMatchesPlainFloor) {
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
