// The flat triangles' span writer: their own span loop in the current
// colour, with one opaque and one blending writer per format.
#include <cstring>

#include "raster/triangle_rows.h"
#include "render/pixel_format.h"
#include "render/state.h"

namespace kwr {
namespace {

enum class FlatWrite { kOpaque, kBlended };

// The colour prepared once per call for the blending writer: weight
// a = alpha + 1, the destination keeps 256 - a.
struct FlatBlend {
    std::uint32_t keep;
    std::uint32_t bm, gm, rm;  // channel times a
};

template <class Fmt, FlatWrite W>
void writeFlatSpan(unsigned char* p, int count, const SolidColor& c, const FlatBlend& b) {
    if constexpr (W == FlatWrite::kOpaque) {
        if constexpr (Fmt::kBpp == 8) {
            std::memset(p, c.c8, static_cast<std::size_t>(count));
        } else {
            for (int i = 0; i < count; ++i, p += Fmt::kBytes) Fmt::storeSolid(p, c);
        }
    } else if constexpr (Fmt::kBpp == 8) {
        // No blending at 8 bpp: the span takes the colour's low (blue) byte.
        std::memset(p, static_cast<int>(c.c32 & 0xFFu), static_cast<std::size_t>(count));
    } else if constexpr (Fmt::kBpp == 16) {
        for (int i = 0; i < count; ++i, p += 2) {
            const std::uint32_t w = load16(p);
            const std::uint32_t r = (((w & 0x7C00u) * b.keep + (b.rm << 7)) >> 8) & 0x7C00u;
            const std::uint32_t g = (((w & 0x03E0u) * b.keep + b.gm * 4u) >> 8) & 0x03E0u;
            const std::uint32_t bl = (((w & 0x001Fu) * b.keep + (b.bm >> 3)) >> 8) & 0x001Fu;
            store16(p, static_cast<std::uint16_t>(r | g | bl));
        }
    } else {
        for (int i = 0; i < count; ++i, p += Fmt::kBytes) {
            p[0] = static_cast<unsigned char>((p[0] * b.keep + b.bm) >> 8);
            p[1] = static_cast<unsigned char>((p[1] * b.keep + b.gm) >> 8);
            p[2] = static_cast<unsigned char>((p[2] * b.keep + b.rm) >> 8);
        }
    }
}

template <class Fmt, FlatWrite W>
void fillFlatRows(const RenderState& s, int yStart, int yEnd, const FlatBlend& b) {
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
    FlatBlend b{};
    if (blend) {
        const std::uint32_t a = (s.color >> 24) + 1u;
        b.keep = 256u - a;
        b.bm = (s.color & 0xFFu) * a;
        b.gm = ((s.color >> 8) & 0xFFu) * a;
        b.rm = ((s.color >> 16) & 0xFFu) * a;
    }
    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if (blend) fillFlatRows<Fmt, FlatWrite::kBlended>(s, rows.first, rows.last, b);
        else fillFlatRows<Fmt, FlatWrite::kOpaque>(s, rows.first, rows.last, b);
    });
}

}  // namespace kwr
