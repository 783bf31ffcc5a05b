// Display on Windows: logical palettes from colour tables and stretched
// drawing through GDI.
#if defined(_WIN32)

#include <vector>

#include "KWRImage.h"
#include "image/surface.h"
#include "render/pixel_format.h"

int KWRImage::kwrDraw(HDC hdc, int x, int y, int width, int height) const {
    kwr::SurfaceView view;
    if (hdc == nullptr || !kwr::viewOf(*dib, view)) return 0;
    // Nearest-neighbour stretching keeps the pixels' colours (and indices).
    const int oldMode = SetStretchBltMode(hdc, COLORONCOLOR);
    const int rows = StretchDIBits(hdc, x, y, width, height, 0, 0, view.width, view.height, view.bits, dib->header,
                                   DIB_RGB_COLORS, SRCCOPY);
    if (oldMode != 0) SetStretchBltMode(hdc, oldMode);
    return rows > 0 ? 1 : 0;  // GDI_ERROR is negative as an int
}

HPALETTE KWRImage::kwrCreatePalette() const {
    kwr::SurfaceView view;
    if (!kwr::viewOf(*dib, view)) return nullptr;
    unsigned char cube[216 * 4];
    const unsigned char* table = view.table;
    int count = view.tableSize;
    if (count == 0) {
        kwr::writeColorCubeTable(cube);
        table = cube;
        count = 216;
    }
    // LOGPALETTE holds one entry; the block is sized for all of them.
    std::vector<unsigned char> block(sizeof(LOGPALETTE) + sizeof(PALETTEENTRY) * static_cast<std::size_t>(count));
    LOGPALETTE* palette = reinterpret_cast<LOGPALETTE*>(block.data());
    palette->palVersion = 0x300;
    palette->palNumEntries = static_cast<WORD>(count);
    for (int i = 0; i < count; ++i) {
        PALETTEENTRY& e = palette->palPalEntry[i];
        e.peRed = table[4 * i + 2];
        e.peGreen = table[4 * i + 1];
        e.peBlue = table[4 * i + 0];
        e.peFlags = 0;
    }
    return CreatePalette(palette);
}

HPALETTE KWRImage::kwrSelectPalette(HDC hdc, HPALETTE palette) {
    if (hdc == nullptr || palette == nullptr) return nullptr;
    HPALETTE previous = SelectPalette(hdc, palette, FALSE);
    if (previous == nullptr) return nullptr;
    RealizePalette(hdc);
    return previous;
}

#endif
