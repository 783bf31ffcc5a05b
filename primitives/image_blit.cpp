// Image blits: a host image of 24 or 32 bits per pixel scaled into a
// destination rectangle by nearest-neighbour stepping, optionally depth-tested.
#include <cmath>
#include <cstdint>

#include "KWRRender.h"
#include "render/numeric.h"
#include "render/pixel_format.h"
#include "render/state.h"
#include "render/threads.h"

namespace kwr {
namespace {

// One axis of the walk: the source index shown at the first drawn
// destination pixel, its remainder, and the whole/fractional step per
// destination pixel.  The step is split once per call, so the loops add and
// compare only, with results identical to repeated subtraction of dw.
struct AxisWalk {
    std::int64_t index;
    std::int64_t rem;
    std::int64_t stepWhole;
    std::int64_t stepRem;
    std::int64_t extent;  // destination size dw or dh

    void advance() {
        index += stepWhole;
        rem += stepRem;
        if (rem >= extent) {
            rem -= extent;
            ++index;
        }
    }
};

// Starts an axis whose rectangle begins at `start` (may be left of the
// surface) with `extent` destination pixels for `srcSize` source pixels.
// `floatBelow` selects the single-precision start for starts below -32767.
AxisWalk startAxis(std::int64_t start, std::int64_t extent, int srcSize, bool floatBelow) {
    AxisWalk a{0, 0, srcSize / extent, srcSize % extent, extent};
    if (start < 0) {
        if (floatBelow && start < -32767) {
            const float p = static_cast<float>(-start) * static_cast<float>(srcSize);
            a.index = saturateToInt(static_cast<double>(p / static_cast<float>(extent)));
            a.rem = saturateToInt(static_cast<double>(std::fmod(p, static_cast<float>(extent))));
        } else {
            // q = (start * srcSize) / extent truncated, remainder of the
            // negated product: the exact position of the unclipped walk.
            const std::int64_t product = start * srcSize;
            a.index = -(product / extent);
            a.rem = (-product) % extent;
        }
        // The single-precision start can drift; keep it a valid position.
        if (a.rem < 0 || a.rem >= extent) a.rem = 0;
        if (a.index < 0) a.index = 0;
    }
    return a;
}

// Bytes of a source row: 32-bit rows are packed, 24-bit rows are padded.
std::int64_t sourcePitch(int srcW, int srcBpp) {
    const std::int64_t w = srcW;
    return srcBpp == 24 ? ((w + 1) * 3) & ~std::int64_t{3} : w * 4;
}

// The bytes a blit may read of its source, from its first byte: every row
// but the last whole, the last one up to its last pixel.  0 for a source
// that draws nothing.
std::uint64_t sourceBytesRead(int srcW, int srcH, int srcBpp) {
    if (srcW < 1 || srcH < 1 || (srcBpp != 24 && srcBpp != 32)) return 0;
    return static_cast<std::uint64_t>(srcH - 1) * static_cast<std::uint64_t>(sourcePitch(srcW, srcBpp)) +
           static_cast<std::uint64_t>(srcW) * static_cast<std::uint64_t>(srcBpp / 8);
}

template <class Fmt, int SrcBpp, bool Depth>
void blitRows(const RenderState& s, std::int64_t xa, std::int64_t xEnd, std::int64_t ya, std::int64_t yEnd,
              AxisWalk col0, AxisWalk row, int srcW, int srcH, const unsigned char* src, float z) {
    constexpr int kSrcBytes = SrcBpp / 8;
    const std::ptrdiff_t srcPitch = static_cast<std::ptrdiff_t>(sourcePitch(srcW, SrcBpp));
    // The rows this state draws; the source walk steps through the others.
    std::int64_t y = ya;
    forOwnedRows(s, static_cast<int>(ya), static_cast<int>(yEnd - 1), [&](int first, int last) {
        for (; y < first; ++y) row.advance();
        for (; y <= last; ++y, row.advance()) {
            // A source index never leaves the image, whatever the clip did.
            const std::int64_t sy = row.index < srcH ? row.index : srcH - 1;
            const unsigned char* srcRow = src + sy * srcPitch;
            unsigned char* px =
                s.bits + pixelOffset(static_cast<int>(xa), static_cast<int>(y), s.pitch, Fmt::kBytes);
            float* d = Depth ? depthView(s).at(xa, y) : nullptr;
            AxisWalk col = col0;
            for (std::int64_t x = xa; x < xEnd; ++x, px += Fmt::kBytes, col.advance()) {
                if constexpr (Depth) {
                    if (!DepthView::passNearerOrLevel(d++, z)) continue;
                }
                const std::int64_t sx = col.index < srcW ? col.index : srcW - 1;
                const unsigned char* sp = srcRow + sx * kSrcBytes;
                // The fourth byte of a 32 bpp pixel: the source's alpha; a
                // 24-bit source leaves it alone, except in the depth blit,
                // which makes it opaque.
                if constexpr (SrcBpp == 32)
                    Fmt::storeColourAlpha(px, sp[0], sp[1], sp[2], sp[3]);
                else if constexpr (Depth)
                    Fmt::storeOpaque(px, sp[0], sp[1], sp[2]);
                else
                    Fmt::storeColour(px, sp[0], sp[1], sp[2]);
            }
        }
    });
}

template <bool Depth>
void blit(const RenderState& s, int x1, int y1, int x2, int y2, float z, int srcW, int srcH, int srcBpp,
          const unsigned char* src) {
    if (srcW < 1 || srcH < 1 || (srcBpp != 24 && srcBpp != 32) || src == nullptr) return;
    if (Depth && s.zBuffer == nullptr) return;
    // Extents in 64 bits: corners more than 2^31 apart stay positive.
    const std::int64_t xa = x1 < x2 ? x1 : x2, xb = x1 < x2 ? x2 : x1;
    const std::int64_t ya = y1 < y2 ? y1 : y2, yb = y1 < y2 ? y2 : y1;
    if (xa >= s.width || xb < 0 || ya >= s.height || yb < 0) return;
    const std::int64_t dw = xb - xa, dh = yb - ya;
    if (dw <= 0 || dh <= 0) return;

    const AxisWalk col = startAxis(xa, dw, srcW, !Depth);
    const AxisWalk row = startAxis(ya, dh, srcH, !Depth);
    const std::int64_t left = xa < 0 ? 0 : xa, top = ya < 0 ? 0 : ya;
    const std::int64_t xEnd = xb < s.width ? xb : s.width, yEnd = yb < s.height ? yb : s.height;

    withFormat(s.renderBpp, [&](auto format) {
        using Fmt = decltype(format);
        if constexpr (Fmt::kDrawsImages) {
            if (srcBpp == 24)
                blitRows<Fmt, 24, Depth>(s, left, xEnd, top, yEnd, col, row, srcW, srcH, src, z);
            else
                blitRows<Fmt, 32, Depth>(s, left, xEnd, top, yEnd, col, row, srcW, srcH, src, z);
        }
    });
}

}  // namespace
}  // namespace kwr

void KWRRender::kwrImage2D(int x1, int y1, int x2, int y2, int srcW, int srcH, int srcBpp, unsigned char* src) {
    if (src == nullptr) return;
    KWR_RECORD_COPYING(kwrImage2D, src, kwr::sourceBytesRead(srcW, srcH, srcBpp), x1, y1, x2, y2, srcW, srcH, srcBpp);
    kwr::blit<false>(s, x1, y1, x2, y2, 0.0f, srcW, srcH, srcBpp, src);
}

void KWRRender::kwrImage2D3(int x1, int y1, int x2, int y2, float z, int srcW, int srcH, int srcBpp,
                            unsigned char* src) {
    if (src == nullptr) return;
    KWR_RECORD_COPYING(kwrImage2D3, src, kwr::sourceBytesRead(srcW, srcH, srcBpp), x1, y1, x2, y2, z, srcW, srcH,
                       srcBpp);
    kwr::blit<true>(s, x1, y1, x2, y2, z, srcW, srcH, srcBpp, src);
}
