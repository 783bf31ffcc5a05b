/// @file KWRImage.h
/// kwrender image files: load, save, convert and display device-independent
/// bitmaps (.bmp files).
///
/// A KWRImage holds one bitmap: width, height, 1, 4, 8, 16, 24 or 32 bits per
/// pixel, its colour table (for 1, 4 and 8 bits per pixel) and its pixel rows,
/// laid out exactly like a bitmap file's pixel data (rows padded to 4 bytes).
/// The same object is the frame buffer of a render context, so a frame can be
/// saved as it is and a loaded picture can become a texture.
///
///   Loading     kwrLoad (narrow or wide path), kwrLoadMemory.  Files with the
///               magic "BM"; info headers of 12 (core), 40, 52, 56, 108 and
///               124 bytes; 1, 4, 8, 16, 24, 32 bits per pixel uncompressed;
///               run-length compression 1 (8 bits) and 2 (4 bits); bit fields
///               (compression 3 and 6) for 16 and 32 bits with any contiguous
///               masks; bottom-up and top-down rows.  The loaded image has the
///               file's depth and row order; bit fields other than 5-5-5 (16
///               bits) or 8-8-8 at bits 0-23 (32 bits) become 32 bits, blue,
///               green, red, and alpha (255 without an alpha mask).
///               Where the library is built with libpng (kwrPngSupported),
///               also PNG files of every colour type and bit depth: 24 bits
///               blue, green, red, or 32 bits with alpha when the file has
///               alpha or a transparent colour; top-down.
///   Saving      kwrSave (narrow or wide path), kwrSaveMemory, kwrSaveFrame:
///               uncompressed, 40-byte header, full colour table for 1, 4 and
///               8 bits, rows bottom-up.  kwrSavePng: PNG files, where the
///               library has libpng.  Every save to a path writes a
///               temporary file beside it and moves it over the path when
///               complete: a failed save (a full disk, a killed process)
///               leaves the file that was there whole; errno then holds the
///               system's reason.
///   Converting  kwrConvert (any depth to 1, 4, 8, 16, 24 or 32 bits),
///               kwrResize (nearest neighbour), kwrMakeTexture and
///               kwrMakeAlphaMap (ready for KWRRender::kwrSetTexture and
///               kwrSetAlphaMap).
///   Display     kwrDraw: stretched draw to a device context (Windows:
///               StretchDIBits; elsewhere into a KWRMemoryDC, nearest
///               neighbour).  Windows only: kwrCreatePalette and
///               kwrSelectPalette (logical palettes).
///
/// Errors: every operation that can fail returns 0 and records a code,
/// readable with kwrGetError and kwrGetErrorText (see KWRImageError).  A
/// failed load leaves the image empty; a failed conversion leaves it as it
/// was.  Nothing throws except the standard out-of-memory exception of `new`.
///
/// Loading reads untrusted input.  Width, height and the pixel bytes of the
/// result are capped (KWR_IMAGE_MAX_*; a host can lower the caps per load),
/// every size product is checked, the size fields of the file are never used
/// to size a buffer, and no file contents can make the loader read or write
/// outside a buffer.
///
/// Images made by kwrCreate, kwrConvert and kwrResize stay within the same
/// caps (else KWR_IMAGE_ALLOCATE_MEMORY).
///
/// Copies of a KWRImage share one bitmap (reference counted).  Operations
/// that change the size or format give the image a new bitmap, leaving the
/// copies as they were; pixels written through kwrGetPixels are seen by every
/// copy.  One image is used by one thread at a time.
///
/// Three lines that bind a texture from a file:
///
///   KWRImage tex;
///   if (!tex.kwrLoad("brick.bmp") || !tex.kwrMakeTexture()) return fail(tex.kwrGetErrorText());
///   render.kwrSetTexture(tex.kwrGetPixels(), tex.kwrGetWidth(), tex.kwrGetHeight(), tex.kwrGetPitch());
#ifndef KWRIMAGE_H
#define KWRIMAGE_H

#include <cstddef>
#include <cstdint>

#include "KWRRender.h"

#if defined(_WIN32)
/// The GDI palette handle, declared the way <windows.h> declares it.
struct HPALETTE__;
typedef struct HPALETTE__* HPALETTE;
#endif

/// Error codes (KWRImage::kwrGetError) and their texts (kwrGetErrorText).
enum KWRImageError {
    KWR_IMAGE_OK = 0,              ///< ""
    KWR_IMAGE_SOME_ERROR = 1,      ///< "some error": a bad argument
    KWR_IMAGE_ALLOCATE_MEMORY = 2, ///< "allocate memory": out of memory, or over a cap
    KWR_IMAGE_OPEN_FILE = 3,       ///< "open file"
    KWR_IMAGE_READ_FILE = 4,       ///< "read file": the data ends early
    KWR_IMAGE_WRITE_FILE = 5,      ///< "write file" (also: memory block too small)
    KWR_IMAGE_INVALID_IMAGE = 6,   ///< "invalid image": not a consistent bitmap
    KWR_IMAGE_UNSUPPORT_TYPE = 7,  ///< "unsupport type": a bitmap of a kind not read here
    KWR_IMAGE_NOT_MATCH_TYPE = 8,  ///< "not match type": a depth the caller did not accept
    KWR_IMAGE_LOAD_INTERRUPT = 9   ///< "load interrput": the host cancelled the load
};

/// Bits of KWRImageLoadOptions::depthMask, one per file depth.
enum KWRImageDepth : unsigned {
    KWR_DEPTH_1 = 1u << 0,
    KWR_DEPTH_4 = 1u << 1,
    KWR_DEPTH_8 = 1u << 2,
    KWR_DEPTH_16 = 1u << 3,
    KWR_DEPTH_24 = 1u << 4,
    KWR_DEPTH_32 = 1u << 5,
    KWR_DEPTH_ALL = 0x3Fu
};

/// The library's cap on the width of loaded images: the widest frame buffer
/// a render context makes, so that every frame saved can be loaded again.
/// Hosts can only lower the caps (KWRImageLoadOptions).
constexpr int KWR_IMAGE_MAX_WIDTH = KWR_MAX_SURFACE_WIDTH;
/// The cap on the height of loaded images: the tallest frame buffer.
constexpr int KWR_IMAGE_MAX_HEIGHT = KWR_MAX_SURFACE_HEIGHT;
/// The cap on the bytes of a loaded image's pixel rows (256 MiB): a frame buffer's.
constexpr std::uint64_t KWR_IMAGE_MAX_PIXEL_BYTES = KWR_MAX_SURFACE_PIXEL_BYTES;

/// Called during a load with the rows decoded so far (first with 0); a
/// non-zero result cancels the load, which then fails with
/// KWR_IMAGE_LOAD_INTERRUPT.
typedef int (*KWRImageCancel)(void* user, int rowsDone, int rowsTotal);

/// Options of one load.  A zero-initialised record ({}) means: every depth,
/// the library's caps, no cancel callback.
struct KWRImageLoadOptions {
    unsigned depthMask;           ///< KWR_DEPTH_* of the file depths accepted; 0 = all
    int maxWidth;                 ///< 0 or above the library's cap = the cap
    int maxHeight;                ///< likewise
    std::uint64_t maxPixelBytes;  ///< bytes of the loaded pixel rows; likewise
    KWRImageCancel cancel;        ///< may be null
    void* user;                   ///< passed to cancel
};

/// What the file said, recorded by a successful load.
struct KWRImageFileInfo {
    int width;                    ///< in pixels
    int height;                   ///< always positive; see topDown
    int bitCount;                 ///< bits per pixel in the file
    int compression;              ///< 0 none, 1 RLE8, 2 RLE4, 3 bit fields, 6 bit fields with alpha
    int headerSize;               ///< 12, 40, 52, 56, 108 or 124
    int colorTableSize;           ///< entries read from the file's colour table
    int topDown;                  ///< 1: rows stored top-down, 0: bottom-up
    std::uint32_t redMask;        ///< red mask in use (16 and 32 bits)
    std::uint32_t greenMask;      ///< green mask in use (16 and 32 bits)
    std::uint32_t blueMask;       ///< blue mask in use (16 and 32 bits)
    std::uint32_t alphaMask;      ///< alpha mask in use (16 and 32 bits)
    std::uint32_t pixelOffset;    ///< offset of the pixel data in the file
    int truncated;                ///< 1: run-length data ended before the image did (the rest is index 0)
};

/// Sources of kwrMakeAlphaMap.
enum KWRAlphaSource {
    KWR_ALPHA_FROM_ALPHA = 0,     ///< the fourth byte of 32-bit pixels (255 for other depths)
    KWR_ALPHA_FROM_GREY = 1       ///< (77 R + 150 G + 29 B + 128) / 256
};

class KWR_API KWRImage {
public:
    KWRImage();                                ///< an empty image
    ~KWRImage();                               ///< lets go of the bitmap (freed with its last holder)
    /// Shares other's bitmap (an operation that changes one copy gives it a
    /// bitmap of its own); the error code is each copy's own.
    KWRImage(const KWRImage& other);
    KWRImage& operator=(const KWRImage& other);  ///< as the copy constructor

    // --- Loading: 1 on success; 0 on failure, the image is then empty -------
    /// Narrow paths are UTF-8 on Linux and in the ANSI code page on Windows;
    /// wide paths use _wfopen on Windows and are converted to UTF-8 elsewhere.
    /// Options may be null (every depth, the library's caps).
    int kwrLoad(const char* path, const KWRImageLoadOptions* options = nullptr);
    /// kwrLoad with a wide path.
    int kwrLoad(const wchar_t* path, const KWRImageLoadOptions* options = nullptr);
    /// Loads a bitmap file held in memory (size bytes at data, read only).
    int kwrLoadMemory(const void* data, std::size_t size, const KWRImageLoadOptions* options = nullptr);
    /// The header facts of the file last loaded (zeros when none).
    const KWRImageFileInfo& kwrGetFileInfo() const;

    // --- Creating ------------------------------------------------------------
    /// A new top-down image of width x height pixels of bpp bits, pixels
    /// zero, colour table as a render context's (1: black, white; 4: the 16
    /// colours of kwrConvert; 8: the 6x6x6 colour cube, then a grey ramp).
    int kwrCreate(int width, int height, int bpp);
    /// A copy of the render context's current frame (through kwrGetDib).
    int kwrFromFrame(KWRRender& render);

    // --- Saving: 1 on success, 0 on failure (image unchanged) ---------------
    /// Writes a bitmap file at the image's own depth (with its colour table).
    int kwrSave(const char* path);
    /// kwrSave with a wide path.
    int kwrSave(const wchar_t* path);
    /// Writes a PNG file: 32-bit images as 8-bit RGBA (the fourth byte as
    /// alpha), every other depth as 8-bit RGB of its colours.  Fails with
    /// KWR_IMAGE_UNSUPPORT_TYPE where the library was built without libpng
    /// (see kwrPngSupported).
    int kwrSavePng(const char* path);
    /// kwrSavePng with a wide path.
    int kwrSavePng(const wchar_t* path);
    /// 1 where this build of the library reads and writes PNG files.
    static int kwrPngSupported();
    /// Bytes the saved file takes (0 when the image is empty).
    std::size_t kwrGetFileSize() const;
    /// Writes the file into buffer; fails with KWR_IMAGE_WRITE_FILE when
    /// capacity is below kwrGetFileSize().
    int kwrSaveMemory(void* buffer, std::size_t capacity);
    /// Saves the render context's current frame without copying it.  The
    /// error code goes to *error when error is not null.
    static int kwrSaveFrame(KWRRender& render, const char* path, int* error = nullptr);
    static int kwrSaveFrame(KWRRender& render, const wchar_t* path, int* error = nullptr);

    // --- Converting: 1 on success, 0 on failure (image unchanged) -----------
    /// To 32 (blue, green, red, alpha: the fourth byte is kept from 32 bits,
    /// 255 from other depths) or 24 bits from any depth; to 16 bits
    /// (X1R5G5B5) and 8 bits (6x6x6 colour cube) with the render context's
    /// own conversions; to 4 bits (nearest of 16 fixed colours) and 1 bit
    /// (black or white by grey level).  The result is top-down.
    int kwrConvert(int bpp);
    /// Nearest-neighbour resampling to width x height (any depth, format and
    /// colour table kept); destination pixel x samples source pixel
    /// floor((x + 0.5) * srcWidth / width).  The result is top-down.
    int kwrResize(int width, int height);
    /// Makes the image a 32-bit top-down texel block for kwrSetTexture
    /// (kwrGetPixels, kwrGetWidth, kwrGetHeight, kwrGetPitch).  Alpha comes
    /// from the fourth byte of 32-bit images unless that byte is 0 everywhere
    /// (a bitmap without alpha); otherwise it is 255.
    int kwrMakeTexture();
    /// Makes the image a one-byte-per-value top-down alpha map for
    /// kwrSetAlphaMap (an 8-bit image with a grey-ramp colour table).
    int kwrMakeAlphaMap(int source);

    // --- Display -----------------------------------------------------------
    /// Draws the whole image scaled to width x height at (x, y).  Windows:
    /// StretchDIBits (DIB_RGB_COLORS, SRCCOPY, COLORONCOLOR stretching).
    /// Elsewhere: into the KWRMemoryDC, nearest neighbour as kwrResize,
    /// clipped to the target; width and height must be positive.  Returns 1
    /// when something was drawn.
    int kwrDraw(HDC hdc, int x, int y, int width, int height) const;
#if defined(_WIN32)
    /// A logical palette from the colour table (the 6x6x6 colour cube for
    /// images without one); delete it with DeleteObject.  Null when empty.
    HPALETTE kwrCreatePalette() const;
    /// Selects palette into hdc and realises it; returns the previously
    /// selected palette (select it back before deleting yours), null on
    /// failure.
    static HPALETTE kwrSelectPalette(HDC hdc, HPALETTE palette);
#endif

    // --- Access --------------------------------------------------------------
    int kwrIsEmpty() const;                    ///< 1 without a bitmap
    int kwrGetWidth() const;                   ///< in pixels; 0 when empty
    int kwrGetHeight() const;                  ///< positive
    int kwrGetBpp() const;                     ///< 1, 4, 8, 16, 24 or 32; 0 when empty
    int kwrIsTopDown() const;                  ///< 1: kwrGetPixels is the top row
    int kwrGetPitch() const;                   ///< bytes per row (padded to 4)
    unsigned char* kwrGetPixels() const;       ///< first stored row
    unsigned char* kwrGetRow(int y) const;     ///< row y counted from the top; null outside
    /// The colour table (4 bytes per entry: blue, green, red, 0) and its
    /// number of entries; null and 0 for 16, 24 and 32 bits.
    const unsigned char* kwrGetPalette(int* count) const;
    /// The BITMAPINFO block (40-byte header, colour table) as GDI takes it.
    const void* kwrGetBitmapInfo() const;
    /// Pixel (x, y), y from the top, as 0xAARRGGBB (alpha 255 except for 32
    /// bits, where it is the fourth byte); 0 outside the image.
    std::uint32_t kwrGetPixel(int x, int y) const;

    /// The code of this image's last failure (KWRImageError), 0 after a success.
    int kwrGetError() const;
    /// The text of kwrGetError().
    const char* kwrGetErrorText() const;
    /// The text of any code ("" for 0, "(undefined)" for codes that name nothing).
    static const char* kwrErrorText(int code);

private:
    kwr::DibStream* dib;          ///< never null; shared between copies
    KWRImageFileInfo fileInfo;
    int error;                    ///< this copy's last error code
};

#endif  // KWRIMAGE_H
