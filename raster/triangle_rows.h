// Row ranges of triangles and the reset of their scan-line table rows.
#ifndef KWR_RASTER_TRIANGLE_ROWS_H
#define KWR_RASTER_TRIANGLE_ROWS_H

#include "raster/row_table.h"
#include "render/numeric.h"
#include "render/state.h"

namespace kwr {

// Rows first..last inclusive; empty when first > last.
struct RowRange {
    int first;
    int last;
};

inline RowRange limitRows(const RenderState& s, RowRange r) {
    clampRows(s, r.first, r.last);
    return r;
}

// Integer vertices: max(top, 0) .. min(clipBottom, bottom).
inline RowRange intRows(const RenderState& s, int top, int bottom) {
    return limitRows(s, RowRange{top > 0 ? top : 0, bottom < s.clipBottom ? bottom : s.clipBottom});
}

// Float vertices: the same limits, each rounded by floor(v + 0.5).
inline RowRange floatRows(const RenderState& s, float top, float bottom) {
    const float first = top > 0.0f ? top : 0.0f;
    const float last = s.clipBottomF < bottom ? s.clipBottomF : bottom;
    return limitRows(s, RowRange{roundHalfUp(first), roundHalfUp(last)});
}

// The runs of consecutive rows of a range that this state draws, top to
// bottom: the first, and the one after `run` (empty ranges when there are
// no more).  A state drawing every row has one run, the whole range.
inline RowRange firstOwnedRun(const RenderState& s, RowRange r) {
    if (s.bandCount == 1 || r.first > r.last) return r;
    const std::pair<int, int> run = nextOwnedBands(s, r.first < 0 ? 0 : r.first, r.last);
    return RowRange{run.first, run.second};
}
inline RowRange nextOwnedRun(const RenderState& s, RowRange run, RowRange r) {
    if (s.bandCount == 1 || run.last >= r.last) return RowRange{1, 0};
    return firstOwnedRun(s, RowRange{run.last + 1, r.last});
}

// The part of a range from the first to the last row this state draws
// (empty when it draws none of them).
inline RowRange ownedRows(const RenderState& s, RowRange r) {
    if (s.bandCount == 1) return r;
    const RowRange first = firstOwnedRun(s, r);
    if (first.first > first.last) return RowRange{r.last + 1, r.last};
    int lastBand = r.last >> s.bandShift;
    while (!ownsBand(s, lastBand)) --lastBand;
    const int last = ((lastBand + 1) << s.bandShift) - 1;
    return RowRange{first.first, last < r.last ? last : r.last};
}

// Marks every row of the range as not reached by any edge yet.
template <class Rows>
void resetRows(const Rows& table, RowRange r) {
    const Rows t = table;
    for (int y = r.first; y <= r.last; ++y) {
        t.leftX(y) = 32767;
        t.rightX(y) = -32767;
    }
}

}  // namespace kwr

#endif
