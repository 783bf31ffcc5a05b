// Display outside Windows: stretched drawing into a KWRMemoryDC, nearest
// neighbour, clipped to the target.  The target holds 0x00RRGGBB words like
// the render context's presentation writes them.
#if !defined(_WIN32)

#include <algorithm>
#include <vector>

#include "KWRImage.h"
#include "image/surface.h"
#include "render/pixel_format.h"

int KWRImage::kwrDraw(HDC hdc, int x, int y, int width, int height) const {
    kwr::SurfaceView view;
    if (hdc == nullptr || hdc->pixels == nullptr || width <= 0 || height <= 0 || !kwr::viewOf(*dib, view)) return 0;
    // The part of the destination rectangle inside the target, in 64 bits
    // so that no coordinate sum overflows.
    const std::int64_t left = x < 0 ? 0 : x;
    const std::int64_t top = y < 0 ? 0 : y;
    const std::int64_t right = std::min<std::int64_t>(static_cast<std::int64_t>(x) + width, hdc->width);
    const std::int64_t bottom = std::min<std::int64_t>(static_cast<std::int64_t>(y) + height, hdc->height);
    if (left >= right || top >= bottom) return 0;

    std::vector<std::uint32_t> source(static_cast<std::size_t>(view.width));
    std::vector<int> column(static_cast<std::size_t>(right - left));
    for (std::int64_t dx = left; dx < right; ++dx)
        column[static_cast<std::size_t>(dx - left)] = kwr::nearestSource(dx - x, view.width, width);
    int loadedRow = -1;
    for (std::int64_t dy = top; dy < bottom; ++dy) {
        const int sy = kwr::nearestSource(dy - y, view.height, height);
        if (sy != loadedRow) {
            kwr::rowToArgb(view, view.row(sy), source.data());
            loadedRow = sy;
        }
        unsigned char* target = reinterpret_cast<unsigned char*>(hdc->pixels) + dy * hdc->pitch;
        for (std::int64_t dx = left; dx < right; ++dx) {
            const int sx = column[static_cast<std::size_t>(dx - left)];
            kwr::store32(target + 4 * dx, source[static_cast<std::size_t>(sx)] & 0xFFFFFFu);
        }
    }
    return 1;
}

#endif
