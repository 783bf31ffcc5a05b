// Stand-ins for the Windows calls the library uses, on other systems.
#include "render/dib_stream.h"
#include "render/pixel_format.h"
#include "render/platform.h"

#if !defined(_WIN32)

#include <cstdlib>
#include <cstring>

namespace kwr {

namespace {
int processHeapTag;  // any distinct non-null address will do as the heap handle

// Source pixel (x, row) of a DIB as 0x00RRGGBB.
std::uint32_t sourcePixel(const unsigned char* row, int x, int bitCount, const RGBQUAD* table) {
    auto fromTable = [table](unsigned index) {
        const RGBQUAD& q = table[index];
        return (static_cast<std::uint32_t>(q.rgbRed) << 16) |
               (static_cast<std::uint32_t>(q.rgbGreen) << 8) | q.rgbBlue;
    };
    switch (bitCount) {
    case 1:
    case 4:
    case 8: return fromTable(indexAt(row, x, bitCount));
    case 16: return directPixelArgb<16>(row, x) & 0xFFFFFFu;
    case 24: return directPixelArgb<24>(row, x) & 0xFFFFFFu;
    case 32: return directPixelArgb<32>(row, x) & 0xFFFFFFu;
    default: return 0;
    }
}
}  // namespace

HANDLE GetProcessHeap() { return &processHeapTag; }

void* HeapAlloc(HANDLE, DWORD, std::size_t bytes) { return std::malloc(bytes == 0 ? 1 : bytes); }

BOOL HeapFree(HANDLE, DWORD, void* block) {
    std::free(block);
    return 1;
}

HLOCAL LocalFree(HLOCAL block) {
    std::free(block);
    return nullptr;
}

int StretchDIBits(HDC hdc, int xDest, int yDest, int destWidth, int destHeight, int xSrc, int ySrc,
                  int srcWidth, int srcHeight, const void* bits, const BITMAPINFO* info, UINT usage,
                  DWORD rop) {
    if (hdc == nullptr || hdc->pixels == nullptr || bits == nullptr || info == nullptr) return 0;
    if (usage != DIB_RGB_COLORS || rop != SRCCOPY) return 0;
    if (destWidth != srcWidth || destHeight != srcHeight) return 0;  // 1:1 only
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biCompression != BI_RGB || h.biWidth <= 0 || h.biHeight == 0 || h.biHeight == INT32_MIN)
        return 0;
    const int bitCount = h.biBitCount;
    if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 16 && bitCount != 24 &&
        bitCount != 32)
        return 0;
    const bool topDown = h.biHeight < 0;
    const std::int64_t imageW = h.biWidth;
    const std::int64_t imageH = topDown ? -static_cast<std::int64_t>(h.biHeight) : h.biHeight;
    const std::int64_t rowBytes = static_cast<std::int64_t>(
        dibRowBytes(static_cast<std::uint64_t>(bitCount), static_cast<std::uint64_t>(imageW)));
    const RGBQUAD* table = info->bmiColors;

    // Intersect the copied rectangle with the image and with the target.
    std::int64_t x0 = 0, y0 = 0, x1 = srcWidth, y1 = srcHeight;
    if (x0 < -static_cast<std::int64_t>(xSrc)) x0 = -static_cast<std::int64_t>(xSrc);
    if (y0 < -static_cast<std::int64_t>(ySrc)) y0 = -static_cast<std::int64_t>(ySrc);
    if (x1 > imageW - xSrc) x1 = imageW - xSrc;
    if (y1 > imageH - ySrc) y1 = imageH - ySrc;
    if (x0 < -static_cast<std::int64_t>(xDest)) x0 = -static_cast<std::int64_t>(xDest);
    if (y0 < -static_cast<std::int64_t>(yDest)) y0 = -static_cast<std::int64_t>(yDest);
    if (x1 > hdc->width - static_cast<std::int64_t>(xDest)) x1 = hdc->width - static_cast<std::int64_t>(xDest);
    if (y1 > hdc->height - static_cast<std::int64_t>(yDest)) y1 = hdc->height - static_cast<std::int64_t>(yDest);
    if (x0 >= x1 || y0 >= y1) return 0;

    const unsigned char* base = static_cast<const unsigned char*>(bits);
    for (std::int64_t j = y0; j < y1; ++j) {
        const std::int64_t srcRow = ySrc + j;
        const std::int64_t stored = topDown ? srcRow : imageH - 1 - srcRow;
        const unsigned char* row = base + stored * rowBytes;
        unsigned char* out = reinterpret_cast<unsigned char*>(hdc->pixels) + (yDest + j) * hdc->pitch;
        for (std::int64_t i = x0; i < x1; ++i) {
            const std::uint32_t px = sourcePixel(row, static_cast<int>(xSrc + i), bitCount, table);
            std::memcpy(out + (xDest + i) * 4, &px, 4);
        }
    }
    return static_cast<int>(y1 - y0);
}

}  // namespace kwr

#endif
