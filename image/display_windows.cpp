// Display on Windows: logical palettes and stretched drawing through GDI.
#if defined(_WIN32)

#include "KWRImage.h"
#include "render/dib_stream.h"

int KWRImage::kwrDraw(HDC, int, int, int, int) const { return 0; }

HPALETTE KWRImage::kwrCreatePalette() const { return nullptr; }

HPALETTE KWRImage::kwrSelectPalette(HDC, HPALETTE) { return nullptr; }

#endif
