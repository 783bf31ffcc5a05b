// Where a triangle's rows keep their ends between the edge walk and the
// fill: the surface's scan-line table (one array per end and attribute,
// indexed by surface row), or, for a triangle of a few rows, a small table
// on the stack with each row's two x ends and attributes side by side.
//
// Both are views with the same accessors, so the edge walk and the row
// walk are written once and instantiated for each.
#ifndef KWR_RASTER_ROW_TABLE_H
#define KWR_RASTER_ROW_TABLE_H

#include <cstdint>

#include "render/state.h"

namespace kwr {

// What a vertex carries besides x and y.  A set of these names an edge
// walker and a triangle kind: kCarryDepth | kCarryColour | kCarryTexCoords
// is the "3ct" of UpdateScanLine3ct and kwrTriangle3ct.
enum Carry : unsigned {
    kCarryNothing = 0,
    kCarryDepth = 1,
    kCarryColour = 2,
    kCarryTexCoords = 4,
    // Colour and texture coordinates come divided by w, with 1 / w beside
    // them (clip-space triangles interpolated in perspective).
    kCarryPerspective = 8,
};

// The members of a set, for `if constexpr`.
template <unsigned Carried>
struct Carries {
    static constexpr bool kDepth = (Carried & kCarryDepth) != 0;
    static constexpr bool kColour = (Carried & kCarryColour) != 0;
    static constexpr bool kTexCoords = (Carried & kCarryTexCoords) != 0;
    static constexpr bool kPerspective = (Carried & kCarryPerspective) != 0;
};

// The attributes a row keeps at each end, in this order.
enum EndAttribute : int { kEndZ, kEndRed, kEndGreen, kEndBlue, kEndAlpha, kEndU, kEndV, kEndQ, kEndAttributes };
enum EndSide : int { kLeftEnd, kRightEnd };

constexpr bool carriesEnd(unsigned carried, int a) {
    return (carried & (a == kEndZ ? kCarryDepth
                       : a <= kEndAlpha ? kCarryColour
                       : a <= kEndV ? kCarryTexCoords
                                    : kCarryPerspective)) != 0;
}

// The surface's scan-line table.
struct ScanTableRows {
    const ScanLineTable* t;

    static constexpr bool carries(int) { return true; }
    // Whether an end's colour channels lie side by side, red first.
    static constexpr bool kChannelsSideBySide = false;
    // Whether an end's attributes lie side by side in whole groups of four.
    static constexpr bool kEndsInGroups = false;
    std::int32_t& leftX(int y) const { return t->scanLeftX[y]; }
    std::int32_t& rightX(int y) const { return t->scanRightX[y]; }
    template <int Side, int A>
    float& end(int y) const {
        static_assert(A >= 0 && A < kEndAttributes, "an attribute of a row end");
        const bool left = Side == kLeftEnd;
        if constexpr (A == kEndZ) return (left ? t->scanLeftZ : t->scanRightZ)[y];
        if constexpr (A >= kEndRed && A <= kEndAlpha)
            return (left ? t->scanLeftColor : t->scanRightColor)[A - kEndRed][y];
        if constexpr (A == kEndU) return (left ? t->scanLeftU : t->scanRightU)[y];
        if constexpr (A == kEndV) return (left ? t->scanLeftV : t->scanRightV)[y];
        return (left ? t->scanLeftQ : t->scanRightQ)[y];
    }
};

// One row of a small triangle: its x ends, then the carried attributes of
// the left end and of the right end.  More than two attributes an end are
// padded to whole groups of four, so that the edge walk stores each group
// from a vector register.
template <unsigned Carried>
struct SmallRow {
    static constexpr int slot(int a) {
        int n = 0;
        for (int i = 0; i < a; ++i) n += carriesEnd(Carried, i) ? 1 : 0;
        return n;
    }
    static constexpr int kSlots = slot(kEndAttributes);
    static_assert(slot(kEndAlpha) - slot(kEndRed) == ((Carried & kCarryColour) != 0 ? 3 : 0),
                  "the channels of an end side by side");
    static constexpr bool kInGroups = kSlots > 2;
    static constexpr int kStride = kInGroups ? (kSlots + 3) / 4 * 4 : (kSlots > 0 ? kSlots : 1);
    std::int32_t left, right;
    float ends[2][kStride];
};

// Triangles of at most this many rows take a small table.
constexpr int kSmallTriangleRows = 32;

// Sets the most rows of a triangle that takes a small table (0: every
// triangle takes the scan-line table; at most kSmallTriangleRows) and
// returns the previous limit.  For tests that compare the two shapes.
int forceSmallTriangleRows(int rows);

// A small table of rows origin.. origin + kSmallTriangleRows - 1.
template <unsigned Carried>
struct SmallRows {
    SmallRow<Carried>* rows;
    int origin;

    static constexpr bool carries(int a) { return carriesEnd(Carried, a); }
    static constexpr bool kChannelsSideBySide = true;
    static constexpr bool kEndsInGroups = SmallRow<Carried>::kInGroups;
    std::int32_t& leftX(int y) const { return rows[y - origin].left; }
    std::int32_t& rightX(int y) const { return rows[y - origin].right; }
    template <int Side, int A>
    float& end(int y) const {
        static_assert(carriesEnd(Carried, A), "only carried attributes have a place in a small row");
        return rows[y - origin].ends[Side][SmallRow<Carried>::slot(A)];
    }
};

}  // namespace kwr

#endif
