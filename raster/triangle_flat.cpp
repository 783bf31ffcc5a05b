// The flat triangles' span writer: their own span loop in the current
// colour, with one opaque and one blending writer per format.
#include <cstring>

#include "raster/triangle_rows.h"
#include "render/pixel_format.h"
#include "render/state.h"

namespace kwr {
namespace {

enum class FlatWrite { kOpaque, kBlended };

template <class Fmt, FlatWrite W>
void writeFlatSpan(unsigned char* p, int count, const SolidColor& c, const IntBlend& b) {
    if constexpr (W == FlatWrite::kOpaque) {
        storeSolidRun<Fmt>(p, count, c);
    } else if constexpr (Fmt::kBpp == 8) {
        // No blending at 8 bpp: the span takes the colour's low (blue) byte.
        std::memset(p, static_cast<int>(c.c32 & 0xFFu), static_cast<std::size_t>(count));
    } else {
        blendIntRun<Fmt>(p, count, b);
    }
}

template <class Fmt, FlatWrite W>
void fillFlatRows(const RenderState& s, int yStart, int yEnd, const IntBlend& b) {
    const SolidColor c = solidColor(s);
    for (int y = yStart; y <= yEnd; ++y) {
        const int xl = s.scan.scanLeftX[y] > 0 ? s.scan.scanLeftX[y] : 0;
        const int xr = s.scan.scanRightX[y] < s.clipRight ? s.scan.scanRightX[y] : s.clipRight;
        if (xl <= xr) writeFlatSpan<Fmt, W>(s.bits + pixelOffset(xl, y, s.pitch, Fmt::kBytes), xr - xl + 1, c, b);
    }
}

}  // namespace

void fillFlatSpans(const RenderState& s, RowRange rows, bool blend) {
    if (rows.first > rows.last) return;
    // The 32 bpp alpha byte is kept as it is.
    const IntBlend b = intBlendOf(s.color, true);
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if (blend) fillFlatRows<Fmt, FlatWrite::kBlended>(s, rows.first, rows.last, b);
        else fillFlatRows<Fmt, FlatWrite::kOpaque>(s, rows.first, rows.last, b);
    });
}

}  // namespace kwr
