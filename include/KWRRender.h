// kwrender: an exact CPU software rasteriser.
//
// One class, KWRRender, owns an off-screen frame buffer (8, 16, 24 or 32 bits
// per pixel, rows top-down) and an optional float depth buffer, draws points,
// boxes, one-bit bitmaps, image blits, lines and triangles into it and
// presents the result to a device context.  Every drawing call is synchronous
// and has an exactly defined result.
//
// Threads: a context is used by one host thread at a time (it may draw on
// several threads of its own, see kwrSetThreads); separate contexts share
// nothing; the instruction-set level (KWRENDER_SIMD) is chosen once for the
// whole process.
//
// This header is self-contained: it includes only standard headers.
#ifndef KWRRENDER_H
#define KWRRENDER_H

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------
// Export macro.  Define KWRENDER_STATIC when linking the library statically.
#if defined(_WIN32) || defined(__CYGWIN__)
#  if defined(KWRENDER_STATIC)
#    define KWR_API
#  elif defined(KWRENDER_BUILDING)
#    define KWR_API __declspec(dllexport)
#  else
#    define KWR_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define KWR_API __attribute__((visibility("default")))
#else
#  define KWR_API
#endif

// ---------------------------------------------------------------------------
// Device context.
#if defined(_WIN32)
// The GDI device-context handle, declared the way <windows.h> declares it
// (STRICT handles), so this header does not need <windows.h> itself.
struct HDC__;
typedef struct HDC__* HDC;
#else
// Outside Windows, presentation copies the frame into host memory described
// by this record.  The host owns `pixels`: `height` rows of `pitch` bytes,
// row 0 at the top, each pixel one 32-bit word 0x00RRGGBB (blue in the low
// byte, the fourth byte written as 0), i.e. the layout of a 32 bpp top-down
// window-system image.  kwrRender(hdc, x, y) places the frame's top-left
// corner at (x, y) of this target, 1:1, clipped to the target.
struct KWRMemoryDC {
    int width;               // target size in pixels
    int height;
    int pitch;               // bytes from one row to the next (>= 4 * width)
    std::uint32_t* pixels;   // first byte of row 0
};
typedef KWRMemoryDC* HDC;
#endif

// ---------------------------------------------------------------------------
// The largest frame buffer kwrInitBuffer accepts: at most this many pixels a
// side and this many bytes of pixel rows (rows padded to 4 bytes).  The
// bitmap loader has the same caps, so a frame the library saves it can load.
constexpr int KWR_MAX_SURFACE_WIDTH = 32768;
constexpr int KWR_MAX_SURFACE_HEIGHT = 32768;
constexpr std::uint64_t KWR_MAX_SURFACE_PIXEL_BYTES = std::uint64_t{1} << 28;  // 256 MiB

// Besides its pixels (and 4 bytes a pixel of depth buffer when that is on),
// a frame buffer needs the triangle rasteriser's scan-line table: 64 bytes a
// row, the rows rounded up to a multiple of 1024.
constexpr int KWR_SCAN_TABLE_BYTES_PER_ROW = 64;

// ---------------------------------------------------------------------------
// Why kwrInitBuffer or kwrSetRenderBpp failed (kwrGetLastError), with the
// texts kwrGetErrorText gives.  Codes 1 to 9 are the bitmap library's
// (KWRImage.h): of them a context reports only KWR_ERROR_ALLOCATE_MEMORY.
enum KWRRenderError {
    KWR_ERROR_OK = 0,               // ""
    KWR_ERROR_ALLOCATE_MEMORY = 2,  // "allocate memory": the frame, depth buffer or tables
    KWR_ERROR_TOO_WIDE = 10,        // "too wide": width above KWR_MAX_SURFACE_WIDTH
    KWR_ERROR_TOO_TALL = 11,        // "too tall": height above KWR_MAX_SURFACE_HEIGHT
    KWR_ERROR_TOO_LARGE = 12,       // "too many pixel bytes": above KWR_MAX_SURFACE_PIXEL_BYTES
    KWR_ERROR_BAD_DEPTH = 13,       // "bad depth": bits per pixel other than 8, 16, 24 or 32
    KWR_ERROR_BAD_SIZE = 14         // "width or height below 1"
};

// ---------------------------------------------------------------------------
// A colour word 0xAARRGGBB (blue in bits 0-7 ... alpha in bits 24-31).
union KWColor {
    std::uint32_t argb;
    unsigned char bytes[4];
};

namespace kwr {
class DibStream;
struct RenderState;
struct Access;
class ThreadPool;
}  // namespace kwr

// ---------------------------------------------------------------------------
class KWR_API KWRRender {
public:
    KWRRender();
    ~KWRRender();
    // Copies the whole object, frame-buffer and depth-buffer pointers
    // included, without releasing this object's own: afterwards both objects
    // refer to the same surface and depth buffer, and only one of them may
    // release them (kwrDestroy, kwrInitBuffer or destruction).
    KWRRender& operator=(const KWRRender& other);
    // Copy construction would create the same double ownership without the
    // host asking for it explicitly; use operator= where that is wanted.
    KWRRender(const KWRRender&) = delete;

    // --- Lifecycle, state, bindings ---------------------------------------
    // Builds the frame buffer (and the depth buffer when enabled).  Returns 1
    // on success, 0 on failure (then there is no surface).
    int kwrInitBuffer(int width, int height);
    void kwrDestroy();
    int kwrSetRenderBpp(int bpp);          // 8, 16, 24 or 32; else returns 0
    // The reason (KWRRenderError) of the last failed kwrInitBuffer or
    // kwrSetRenderBpp; 0 after a successful one.  The text of any code, ""
    // for 0 and "(undefined)" for codes that name nothing.
    int kwrGetLastError();
    static const char* kwrGetErrorText(int code);
    void kwrSetColor(unsigned long argb);
    void kwrSetColorf(float r, float g, float b);
    void kwrSetColor4f(float r, float g, float b, float a);
    unsigned long kwrGetColor();
    void kwrClear();
    void kwrZBufferEnable(int enable);
    void kwrZTestEnable(int enable);
    void kwrAlphaEnable(int enable);
    void kwrSetExternalZBuffer(float* zbuffer);
    void kwrSetZBackDepth(float z);
    float* kwrGetZBuffer();
    void kwrSetTexture(unsigned char* texels, int width, int height, int rowPitch);
    void kwrSetAlphaMap(unsigned char* values, int width, int height, int rowPitch);
    int kwrGetDib(void** header, void** pixels);
    void kwrRender(HDC hdc, int x, int y);
    // Instruction set the fills use: "scalar", "sse2", "sse4.1", "avx2" or
    // "avx512" (capped by the environment variable KWRENDER_SIMD).
    static const char* kwrGetSimdLevel();

    // --- Multi-core rendering ----------------------------------------------
    // By default a context draws on the calling thread and every drawing call
    // returns when its pixels are written.  With n > 1 threads (the caller's
    // plus n - 1 workers) drawing calls are recorded and return at once; they
    // are drawn, in order, at the next flush, and the frame is the same bytes
    // as on one thread.  kwrFlush and every call that hands out or reads
    // pixels flush first: kwrRender, kwrGetDib, kwrGetZBuffer, kwrInitBuffer,
    // kwrDestroy, kwrSetThreads, kwrSetExternalZBuffer, operator=, the
    // destructor (and saving a frame with the image library).  Until then:
    //  - host memory handed in by pointer (textures, alpha maps, bitmaps,
    //    blit sources, an external depth buffer) must stay valid and
    //    unchanged;
    //  - a host reading or writing pixels or depths through a pointer it kept
    //    must call kwrFlush first.
    // The environment variable KWRENDER_THREADS sets the count a new context
    // starts with.  A context is still used by one host thread at a time.
    //
    // Sets the thread count: 1 = draw on the calling thread (the default),
    // 0 = one per available core, above 64 = 64, below 0 = 1.  Flushes first.
    // Returns the count in force, 1 when threads cannot be created.
    int kwrSetThreads(int n);
    int kwrGetThreads();
    // Returns when every recorded call has been drawn.
    void kwrFlush();

    // --- Points, boxes, one-bit bitmaps ------------------------------------
    void kwrPut(int x, int y);
    void kwrBox(int x1, int y1, int x2, int y2);
    void kwrBoxf(float x1, float y1, float x2, float y2);
    void kwrBoxfg(float x1, float y1, float x2, float y2);
    void kwrBox3(int x1, int y1, int x2, int y2, float z);
    void kwrBox3f(float x1, float y1, float x2, float y2, float z);
    void kwrBox3fg(float x1, float y1, float x2, float y2, float z);
    void kwrBitmap1(int x, int y, int w, int h, unsigned char* bitmap);

    // --- Image blits --------------------------------------------------------
    void kwrImage2D(int x1, int y1, int x2, int y2,
                    int srcW, int srcH, int srcBpp, unsigned char* src);
    void kwrImage2D3(int x1, int y1, int x2, int y2, float z,
                     int srcW, int srcH, int srcBpp, unsigned char* src);

    // --- Lines --------------------------------------------------------------
    void kwrLine(int x1, int y1, int x2, int y2);
    void kwrLinef(float x1, float y1, float x2, float y2);
    void kwrLinefg(float x1, float y1, float x2, float y2);
    void kwrLine3(int x1, int y1, float z1, int x2, int y2, float z2);
    void kwrLine3f(float x1, float y1, float z1, float x2, float y2, float z2);
    void kwrLine3fg(float x1, float y1, float z1, float x2, float y2, float z2);

    // --- Flat triangles -----------------------------------------------------
    void kwrTriangle(int x1, int y1, int x2, int y2, int x3, int y3);
    void kwrTrianglef(float x1, float y1, float x2, float y2, float x3, float y3);
    void kwrTrianglefg(float x1, float y1, float x2, float y2, float x3, float y3);

    // --- Depth, colour and texture triangles ---------------------------------
    void kwrTriangle3(int x1, int y1, float z1, int x2, int y2, float z2,
                      int x3, int y3, float z3);
    void kwrTriangle3f(float x1, float y1, float z1, float x2, float y2, float z2,
                       float x3, float y3, float z3);
    void kwrTriangle3fg(float x1, float y1, float z1, float x2, float y2, float z2,
                        float x3, float y3, float z3);

    void kwrTriangle3c(int x1, int y1, float z1, unsigned long c1,
                       int x2, int y2, float z2, unsigned long c2,
                       int x3, int y3, float z3, unsigned long c3);
    void kwrTriangle3cf(float x1, float y1, float z1, unsigned long c1,
                        float x2, float y2, float z2, unsigned long c2,
                        float x3, float y3, float z3, unsigned long c3);
    void kwrTriangle3cfg(float x1, float y1, float z1, unsigned long c1,
                         float x2, float y2, float z2, unsigned long c2,
                         float x3, float y3, float z3, unsigned long c3);

    void kwrTriangle3ct(int x1, int y1, float z1, unsigned long c1, float u1, float v1,
                        int x2, int y2, float z2, unsigned long c2, float u2, float v2,
                        int x3, int y3, float z3, unsigned long c3, float u3, float v3);
    void kwrTriangle3ctf(float x1, float y1, float z1, unsigned long c1, float u1, float v1,
                         float x2, float y2, float z2, unsigned long c2, float u2, float v2,
                         float x3, float y3, float z3, unsigned long c3, float u3, float v3);
    void kwrTriangle3ctfg(float x1, float y1, float z1, unsigned long c1, float u1, float v1,
                          float x2, float y2, float z2, unsigned long c2, float u2, float v2,
                          float x3, float y3, float z3, unsigned long c3, float u3, float v3);

    void kwrTriangle3t(int x1, int y1, float z1, float u1, float v1,
                       int x2, int y2, float z2, float u2, float v2,
                       int x3, int y3, float z3, float u3, float v3);
    void kwrTriangle3tf(float x1, float y1, float z1, float u1, float v1,
                        float x2, float y2, float z2, float u2, float v2,
                        float x3, float y3, float z3, float u3, float v3);
    void kwrTriangle3tfg(float x1, float y1, float z1, float u1, float v1,
                         float x2, float y2, float z2, float u2, float v2,
                         float x3, float y3, float z3, float u3, float v3);

    void kwrTrianglec(int x1, int y1, unsigned long c1,
                      int x2, int y2, unsigned long c2,
                      int x3, int y3, unsigned long c3);
    void kwrTrianglecf(float x1, float y1, unsigned long c1,
                       float x2, float y2, unsigned long c2,
                       float x3, float y3, unsigned long c3);
    void kwrTrianglecfg(float x1, float y1, unsigned long c1,
                        float x2, float y2, unsigned long c2,
                        float x3, float y3, unsigned long c3);

    void kwrTrianglect(int x1, int y1, unsigned long c1, float u1, float v1,
                       int x2, int y2, unsigned long c2, float u2, float v2,
                       int x3, int y3, unsigned long c3, float u3, float v3);
    void kwrTrianglectf(float x1, float y1, unsigned long c1, float u1, float v1,
                        float x2, float y2, unsigned long c2, float u2, float v2,
                        float x3, float y3, unsigned long c3, float u3, float v3);
    void kwrTrianglectfg(float x1, float y1, unsigned long c1, float u1, float v1,
                         float x2, float y2, unsigned long c2, float u2, float v2,
                         float x3, float y3, unsigned long c3, float u3, float v3);

    void kwrTrianglet(int x1, int y1, float u1, float v1,
                      int x2, int y2, float u2, float v2,
                      int x3, int y3, float u3, float v3);
    void kwrTriangletf(float x1, float y1, float u1, float v1,
                       float x2, float y2, float u2, float v2,
                       float x3, float y3, float u3, float v3);
    void kwrTriangletfg(float x1, float y1, float u1, float v1,
                        float x2, float y2, float u2, float v2,
                        float x3, float y3, float u3, float v3);

private:
    friend struct kwr::Access;
    friend class kwr::ThreadPool;
    // A worker thread's copy of a context (made by the pool only).
    struct ShadowTag {};
    explicit KWRRender(ShadowTag);
    void initState(int threadsWanted);

    // Edge walkers: record one triangle edge per row in the scan-line table.
    void UpdateScanLine(int x1, int y1, int x2, int y2);
    void UpdateScanLinef(float x1, float y1, float x2, float y2);
    void UpdateScanLinec(int x1, int y1, KWColor c1, int x2, int y2, KWColor c2);
    void UpdateScanLinect(int x1, int y1, KWColor c1, float u1, float v1,
                          int x2, int y2, KWColor c2, float u2, float v2);
    void UpdateScanLinet(int x1, int y1, float u1, float v1,
                         int x2, int y2, float u2, float v2);
    void UpdateScanLine3(int x1, int y1, float z1, int x2, int y2, float z2);
    void UpdateScanLine3f(float x1, float y1, float z1, float x2, float y2, float z2);
    void UpdateScanLine3c(int x1, int y1, float z1, KWColor c1,
                          int x2, int y2, float z2, KWColor c2);
    void UpdateScanLine3ct(int x1, int y1, float z1, KWColor c1, float u1, float v1,
                           int x2, int y2, float z2, KWColor c2, float u2, float v2);
    void UpdateScanLine3t(int x1, int y1, float z1, float u1, float v1,
                          int x2, int y2, float z2, float u2, float v2);

    // Span fills: fill rows firstRow..lastRow from the scan-line table.
    void rasterTriangle3(int firstRow, int lastRow);
    void rasterTriangle3c(int firstRow, int lastRow);
    void rasterTriangle3t(int firstRow, int lastRow);
    void rasterTriangle3ct(int firstRow, int lastRow);
    void rasterTrianglec(int firstRow, int lastRow);
    void rasterTrianglet(int firstRow, int lastRow);
    void rasterTrianglect(int firstRow, int lastRow);
    void rasterTriangle3a(int firstRow, int lastRow);
    void rasterTriangle3ca(int firstRow, int lastRow);
    void rasterTriangle3at(int firstRow, int lastRow);
    void rasterTriangle3cat(int firstRow, int lastRow);
    void rasterTriangleca(int firstRow, int lastRow);
    void rasterTriangleat(int firstRow, int lastRow);
    void rasterTrianglecat(int firstRow, int lastRow);

    // Depth lines.
    bool ClippingLine3(float& x1, float& y1, float& z1, float& x2, float& y2, float& z2);
    void DrawLine2(int x1, int y1, int x2, int y2);
    void DrawLine3(int x1, int y1, float z1, int x2, int y2, float z2);

    // The render context's state lives in this block, which is part of the
    // object (the scan-line table is made with the frame buffer).  Its layout
    // is internal to the library; `s` refers to it.  The block leaves room for
    // the state to grow without changing the object's size.
    static constexpr std::size_t kStateBytes = 2048;
    alignas(16) unsigned char state_[kStateBytes];
    kwr::RenderState& s;
};

#endif  // KWRRENDER_H
