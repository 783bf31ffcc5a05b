// Windows: a 32 bpp top-down DIB section selected into a memory device
// context, so that what kwrRender(hdc, ...) draws through GDI can be read
// back from memory exactly as a window's client area would receive it.
#ifndef KWR_EXAMPLES_DIB_SECTION_H
#define KWR_EXAMPLES_DIB_SECTION_H

#include <windows.h>

#include <cstdint>

namespace kwr_demo {

struct DibSection {
    HDC dc = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    std::uint32_t* pixels = nullptr;  // null when GDI could not make the section

    DibSection(int width, int height) {
        dc = CreateCompatibleDC(nullptr);
        BITMAPINFO bi = {};
        bi.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
        bi.bmiHeader.biWidth = width;
        bi.bmiHeader.biHeight = -height;
        bi.bmiHeader.biPlanes = 1;
        bi.bmiHeader.biBitCount = 32;
        bi.bmiHeader.biCompression = BI_RGB;
        void* bits = nullptr;
        bitmap = CreateDIBSection(dc, &bi, DIB_RGB_COLORS, &bits, nullptr, 0);
        if (bitmap == nullptr || bits == nullptr) return;
        pixels = static_cast<std::uint32_t*>(bits);
        old = SelectObject(dc, bitmap);
    }
    ~DibSection() {
        if (old != nullptr) SelectObject(dc, old);
        if (bitmap != nullptr) DeleteObject(bitmap);
        DeleteDC(dc);
    }
    DibSection(const DibSection&) = delete;
    DibSection& operator=(const DibSection&) = delete;
};

}  // namespace kwr_demo

#endif
