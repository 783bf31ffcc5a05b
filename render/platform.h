// The operating-system calls and types the library uses, in one place.
//
// On Windows these are the real GDI and kernel declarations.  Elsewhere this
// header declares small stand-ins with the same names and meanings (the
// process heap maps to malloc/free, StretchDIBits copies 1:1 into a
// KWRMemoryDC), so that every other source file is the same on both systems.
// All names are used from inside namespace kwr.
#ifndef KWR_RENDER_PLATFORM_H
#define KWR_RENDER_PLATFORM_H

#include "KWRRender.h"

#if defined(_WIN32)

#include <windows.h>

namespace kwr {
using ::BITMAPINFO;
using ::BITMAPINFOHEADER;
using ::GetProcessHeap;
using ::HeapAlloc;
using ::HeapFree;
using ::LocalFree;
using ::RGBQUAD;
using ::StretchDIBits;
}  // namespace kwr

#else

#include <cstddef>
#include <cstdint>

namespace kwr {

typedef std::uint8_t BYTE;
typedef std::uint16_t WORD;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef unsigned int UINT;
typedef void* HANDLE;
typedef void* HLOCAL;
typedef int BOOL;

#pragma pack(push, 1)
struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};
struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};
#pragma pack(pop)
static_assert(sizeof(BITMAPINFOHEADER) == 40, "BITMAPINFOHEADER is 40 bytes");

constexpr DWORD BI_RGB = 0;
constexpr UINT DIB_RGB_COLORS = 0;
constexpr DWORD SRCCOPY = 0x00CC0020;

// The process heap: blocks from malloc, released with free.
HANDLE GetProcessHeap();
void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t bytes);
BOOL HeapFree(HANDLE heap, DWORD flags, void* block);
HLOCAL LocalFree(HLOCAL block);

// Copies a DIB into the KWRMemoryDC `hdc`.  Only the 1:1 form is supported
// (destination and source rectangles of equal size), which is the only form
// the library uses; 1, 4, 8, 16, 24 and 32 bits per pixel, BI_RGB, colour
// tables as RGB values.  Returns the number of rows copied.
int StretchDIBits(HDC hdc, int xDest, int yDest, int destWidth, int destHeight, int xSrc,
                  int ySrc, int srcWidth, int srcHeight, const void* bits, const BITMAPINFO* info,
                  UINT usage, DWORD rop);

}  // namespace kwr

#endif

#endif
