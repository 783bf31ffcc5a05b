// Edge walkers: the x sequences of both divisor rules, clipping with
// interpolated attributes, the merge and tie rules.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "raster/row_table.h"
#include "surface_fixture.h"

using kwr::Access;
using kwr_test::Surface;

namespace {

void resetAll(kwr::RenderState& s) {
    for (int y = 0; y < s.height; ++y) {
        s.scan.scanLeftX[y] = 32767;
        s.scan.scanRightX[y] = -32767;
    }
}

std::vector<int> lefts(const kwr::RenderState& s, int from, int to) {
    std::vector<int> v;
    for (int y = from; y <= to; ++y) v.push_back(s.scan.scanLeftX[y]);
    return v;
}

KWColor col(std::uint32_t c) { return KWColor{c}; }

}  // namespace

TEST(EdgeWalk, SlopedAndStraightEdges) {
    // The two-dimensional walker lags behind the depth walker.
    Surface s(24, 40, 20);
    resetAll(s.s());
    Access::UpdateScanLine(*s.r, 0, 0, 20, 10);
    EXPECT_EQ(lefts(s.s(), 0, 9), (std::vector<int>{0, 2, 4, 6, 8, 9, 11, 13, 15, 17}));
    EXPECT_EQ(s.s().scan.scanLeftX[10], 32767);  // the bottom row is not written
    resetAll(s.s());
    Access::UpdateScanLine3(*s.r, 0, 0, 0.0f, 20, 10, 1.0f);
    EXPECT_EQ(lefts(s.s(), 0, 9), (std::vector<int>{0, 2, 4, 6, 8, 10, 12, 14, 16, 18}));
    resetAll(s.s());
    Access::UpdateScanLine(*s.r, 20, 0, 0, 10);  // leftwards, as a left edge
    EXPECT_EQ(lefts(s.s(), 0, 9), (std::vector<int>{20, 18, 16, 14, 12, 11, 9, 7, 5, 3}));
    // As a right edge each is one less.
    EXPECT_EQ(s.s().scan.scanRightX[0], 19);
    EXPECT_EQ(s.s().scan.scanRightX[9], 2);
    // Straight edges: a horizontal one writes nothing, a vertical one its x.
    resetAll(s.s());
    Access::UpdateScanLine(*s.r, 5, 3, 9, 3);  // horizontal: nothing
    EXPECT_EQ(s.s().scan.scanLeftX[3], 32767);
    Access::UpdateScanLine(*s.r, 5, 0, 5, 4);
    for (int y = 0; y < 4; ++y) {
        EXPECT_EQ(s.s().scan.scanLeftX[y], 5);
        EXPECT_EQ(s.s().scan.scanRightX[y], 4);  // one edge only: an empty span
    }
    EXPECT_EQ(s.s().scan.scanLeftX[4], 32767);
}

TEST(EdgeWalk, AttributesAtClipsTiesAndRightEnds) {
    Surface s(24, 10, 8);
    resetAll(s.s());
    // From y = -10 to y = 10: row 0 is halfway, with the colour halfway.
    Access::UpdateScanLine3c(*s.r, 0, -10, 0.0f, col(0xFF000000), 20, 10, 1.0f, col(0xFFC8C8C8));
    EXPECT_EQ(s.s().scan.scanLeftX[0], 10);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftZ[0], 0.5f);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftColor[0][0], 100.0f);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftColor[3][0], 255.0f);
    // Clipped at the height: the last row written is height - 1.
    EXPECT_EQ(s.s().scan.scanLeftX[7], 17);
    // Edges wholly below or above the surface write nothing.
    resetAll(s.s());
    Access::UpdateScanLine3(*s.r, 0, 8, 0.0f, 5, 20, 0.0f);
    Access::UpdateScanLine3(*s.r, 0, -8, 0.0f, 5, 0, 0.0f);
    for (int y = 0; y < 8; ++y) EXPECT_EQ(s.s().scan.scanLeftX[y], 32767);
    // The first edge keeps ties; the right end keeps the crossing's attributes.
    resetAll(s.s());
    Access::UpdateScanLinect(*s.r, 3, 0, col(0xFF102030), 0.25f, 0.5f, 3, 2, col(0xFF102030), 0.25f, 0.5f);
    Access::UpdateScanLinect(*s.r, 3, 0, col(0xFFFFFFFF), 0.75f, 0.0f, 3, 2, col(0xFFFFFFFF), 0.75f, 0.0f);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftU[0], 0.25f);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftColor[0][1], 16.0f);
    EXPECT_EQ(s.s().scan.scanRightX[1], 2);
    EXPECT_FLOAT_EQ(s.s().scan.scanRightV[1], 0.5f);
}

TEST(EdgeWalk, XMajorDepthStepsWithTravelledDistance) {
    Surface s(24, 40, 10);
    resetAll(s.s());
    // 30 pixels over 4 rows: x 0, 7, 15, 22 (the carry on row 2), and depth
    // 0.1 per pixel travelled, not 0.75 per row.
    Access::UpdateScanLine3(*s.r, 0, 0, 0.0f, 30, 4, 3.0f);
    EXPECT_EQ(lefts(s.s(), 0, 3), (std::vector<int>{0, 7, 15, 22}));
    const float want[4] = {0.0f, 0.7f, 1.5f, 2.2f};
    for (int y = 0; y < 4; ++y) EXPECT_NEAR(s.s().scan.scanLeftZ[y], want[y], 1e-5f) << y;
}

TEST(EdgeWalk, FloatWalkersClipThenRound) {
    Surface s(24, 10, 10);
    resetAll(s.s());
    Access::UpdateScanLinef(*s.r, 0.4f, -5.0f, 0.4f, 4.6f);
    EXPECT_EQ(s.s().scan.scanLeftX[0], 0);
    EXPECT_EQ(s.s().scan.scanLeftX[4], 0);
    EXPECT_EQ(s.s().scan.scanLeftX[5], 32767);
    resetAll(s.s());
    Access::UpdateScanLine3f(*s.r, 2.0f, 3.4f, 0.5f, 8.0f, 3.2f, 0.5f);  // rounds to one row: nothing
    EXPECT_EQ(s.s().scan.scanLeftX[3], 32767);
    Access::UpdateScanLine3f(*s.r, 2.0f, 0.0f, 0.5f, 2.0f, 30.0f, 0.5f);
    EXPECT_EQ(s.s().scan.scanLeftX[9], 2);
    // Clipped at row 0 both walkers land near -5.5, on different sides: the
    // flat walker multiplies before dividing, the depth walker divides first.
    resetAll(s.s());
    Access::UpdateScanLinef(*s.r, -19.75f, -1.9f, 9.5f, 2.0f);
    EXPECT_EQ(s.s().scan.scanLeftX[0], -5);
    resetAll(s.s());
    Access::UpdateScanLine3f(*s.r, -19.75f, -1.9f, 0.5f, 9.5f, 2.0f, 0.5f);
    EXPECT_EQ(s.s().scan.scanLeftX[0], -6);
}

// Ends between row 0 and the last row are not clipped, only rounded: the
// float walk then writes what the integer walk of the rounded ends writes.
// The triangle front ends rely on this to round each vertex once.
TEST(EdgeWalk, UnclippedFloatWalksEqualIntegerWalksOfRoundedEnds) {
    Surface f(32, 40, 24), i(32, 40, 24);
    std::mt19937 rng(2707);
    std::uniform_real_distribution<float> xs(-60.0f, 100.0f), ys(0.0f, 23.0f), zs(0.0f, 1.0f);
    auto coord = [&](std::uniform_real_distribution<float>& d) {
        // Whole and half values too, where the rounding turns.
        const float v = d(rng);
        switch (rng() % 4) {
        case 0: return std::floor(v);
        case 1: return std::floor(v) + 0.5f;
        default: return v;
        }
    };
    auto round = [](float v) { return static_cast<int>(std::floor(v + 0.5f)); };
    for (int n = 0; n < 2000; ++n) {
        const float x1 = coord(xs), y1 = n % 7 == 0 ? 0.0f : coord(ys), x2 = coord(xs);
        const float y2 = n % 5 == 0 ? 23.0f : coord(ys), z1 = zs(rng), z2 = zs(rng);
        const bool depth = n % 2 == 1;
        resetAll(f.s());
        resetAll(i.s());
        if (depth) {
            Access::UpdateScanLine3f(*f.r, x1, y1, z1, x2, y2, z2);
            Access::UpdateScanLine3(*i.r, round(x1), round(y1), z1, round(x2), round(y2), z2);
        } else {
            Access::UpdateScanLinef(*f.r, x1, y1, x2, y2);
            Access::UpdateScanLine(*i.r, round(x1), round(y1), round(x2), round(y2));
        }
        const kwr::ScanLineTable &a = f.s().scan, &b = i.s().scan;
        for (int y = 0; y < 24; ++y) {
            ASSERT_EQ(a.scanLeftX[y], b.scanLeftX[y]) << n << " row " << y;
            ASSERT_EQ(a.scanRightX[y], b.scanRightX[y]) << n << " row " << y;
            if (depth && a.scanLeftX[y] != 32767) {
                ASSERT_EQ(a.scanLeftZ[y], b.scanLeftZ[y]) << n << " row " << y;
                ASSERT_EQ(a.scanRightZ[y], b.scanRightZ[y]) << n << " row " << y;
            }
        }
    }
}

// The front ends: what they leave in the table.

TEST(FrontEnd, RejectsOffSurfaceTrianglesAndSortsStably) {
    Surface s(24, 8, 8);
    s->kwrSetThreads(1);  // the table read below is the calling thread's
    // Every triangle in the surface's table (small ones keep a table of their own).
    const int smallRows = kwr::forceSmallTriangleRows(0);
    s.s().scan.scanLeftX[0] = 123;
    s->kwrTriangle(0, 8, 5, 9, 2, 20);    // below
    s->kwrTriangle(0, -8, 5, -1, 2, -3);  // above
    s->kwrTrianglef(0, -3.0f, 5, -0.2f, 2, -1.0f);
    EXPECT_EQ(s.s().scan.scanLeftX[0], 123);
    EXPECT_TRUE(s.pixelsNot(0).empty());
    s->kwrTriangle(1, 3, 6, 3, 4, 3);  // all on one row
    EXPECT_TRUE(s.pixelsNot(0).empty());
    // Sorting keeps the argument order on ties: (5,3) stays top and (1,3)
    // middle; the top-to-middle edge is walked first and is horizontal, so
    // row 3 is spanned by the other two edges.
    s->kwrTriangle3c(5, 3, 0.5f, 0xFFFF0000, 1, 3, 0.5f, 0xFF00FF00, 2, 9, 0.5f, 0xFF0000FF);
    EXPECT_EQ(s.s().scan.scanLeftX[3], 1);
    EXPECT_EQ(s.s().scan.scanRightX[3], 4);
    EXPECT_FLOAT_EQ(s.s().scan.scanLeftColor[1][3], 255.0f);  // green from (1,3)
    kwr::forceSmallTriangleRows(smallRows);
}
