/// @file KWRRender.h
/// kwrender: an exact CPU software rasteriser.
///
/// One class, KWRRender, owns an off-screen frame buffer (8, 16, 24 or 32 bits
/// per pixel, rows top-down) and an optional float depth buffer, draws points,
/// boxes, one-bit bitmaps, image blits, lines and triangles into it and
/// presents the result to a device context.  Every drawing call has an exactly
/// defined result: the same bytes with every compiler, instruction-set level
/// and thread count.
///
/// **Member names.** `kwr` + verb + suffix letters, always in this order:
/// - `3`: each vertex carries a depth z (smaller is nearer) and the call tests
///   and writes the depth buffer when a depth test is in force; without one it
///   draws as the form without `3`.
/// - `c`: each vertex carries a colour 0xAARRGGBB, interpolated across the
///   triangle (Gouraud); without `c` the current colour (kwrSetColor) is used.
/// - `t`: each vertex carries texture coordinates u, v: 0..1 across the bound
///   texture, repeating beyond (nearest texel); without a texture or alpha map
///   bound the call draws as the form without `t`.
/// - no coordinate letter: integer pixel coordinates; `f`: float pixel
///   coordinates, rounded as floor(v + 0.5); `fg`: float coordinates centred
///   on the surface with y pointing up (x' = width / 2 + x, y' = height / 2 - y).
///
/// **Pixel formats** (kwrSetRenderBpp; 24 by default): 8 bits = index into a
/// 6 x 6 x 6 colour cube, ((R / 43) * 6 + G / 43) * 6 + B / 43; 16 bits =
/// X1R5G5B5; 24 bits = blue, green, red bytes; 32 bits = blue, green, red,
/// alpha bytes.  Pixel (x, y) is at pixels + y * pitch + x * bytes per pixel,
/// row 0 at the top.  At 8 bits per pixel nothing with interpolated colours
/// is drawn (the `c` triangles), untested textured triangles draw nothing,
/// blits draw nothing, and blending is replaced by a plain fill.
///
/// **Depth.** One float per pixel, entry (x, y) at y * width + x, cleared to
/// the back depth (1.0 by default); smaller is nearer.  Triangles pass where
/// the stored depth is greater than z (greater or equal for the blended
/// interpolated-colour ones); boxes, blits and depth lines pass where it is
/// greater than or equal to z.  A NaN on either side fails.
///
/// **Host errors.** Drawing before a successful kwrInitBuffer, or after a
/// failed one, draws nothing (the library survives it, but it is a host
/// error).  Host memory bound by pointer (texture, alpha map, external depth
/// buffer) must outlive its binding; with threads it is read until the next
/// flush (see KWRRender::kwrSetThreads for the whole rule).
///
/// **Threads.** A context is used by one host thread at a time (it may draw
/// on several threads of its own, see KWRRender::kwrSetThreads); separate
/// contexts share nothing; the instruction-set level (KWRENDER_SIMD) is chosen
/// once for the whole process.
///
/// This header is self-contained: it includes only standard headers and
/// kwrender_version.h (KWRENDER_VERSION_MAJOR, _MINOR, _PATCH, _STRING).
#ifndef KWRRENDER_H
#define KWRRENDER_H

#include <cstddef>
#include <cstdint>

#include "kwrender_version.h"

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
#if defined(_WIN32)
// The GDI device-context handle, declared the way <windows.h> declares it
// (STRICT handles), so this header does not need <windows.h> itself.
struct HDC__;
typedef struct HDC__* HDC;
#else
/// Outside Windows, presentation copies the frame into host memory described
/// by this record.  The host owns `pixels`: `height` rows of `pitch` bytes,
/// row 0 at the top, each pixel one 32-bit word 0x00RRGGBB (blue in the low
/// byte, the fourth byte written as 0), i.e. the layout of a 32 bpp top-down
/// window-system image.  kwrRender(hdc, x, y) places the frame's top-left
/// corner at (x, y) of this target, 1:1, clipped to the target.
struct KWRMemoryDC {
    int width;               ///< target width in pixels
    int height;              ///< target height in pixels
    int pitch;               ///< bytes from one row to the next (>= 4 * width)
    std::uint32_t* pixels;   ///< first pixel of row 0
};
/// The presentation target: a memory target outside Windows.
typedef KWRMemoryDC* HDC;
#endif

// ---------------------------------------------------------------------------
/// The widest frame buffer kwrInitBuffer accepts, in pixels.  The bitmap
/// loader has the same caps, so a frame the library saves it can load.
constexpr int KWR_MAX_SURFACE_WIDTH = 32768;
/// The tallest frame buffer kwrInitBuffer accepts, in pixels.
constexpr int KWR_MAX_SURFACE_HEIGHT = 32768;
/// The most bytes of pixel rows (rows padded to 4 bytes) a frame buffer may take: 256 MiB.
constexpr std::uint64_t KWR_MAX_SURFACE_PIXEL_BYTES = std::uint64_t{1} << 28;

/// Besides its pixels (and 4 bytes a pixel of depth buffer when that is on),
/// a frame buffer needs the triangle rasteriser's scan-line table: this many
/// bytes a row, the rows rounded up to a multiple of 1024 (with more than one
/// thread, one table per thread).
constexpr int KWR_SCAN_TABLE_BYTES_PER_ROW = 72;

// ---------------------------------------------------------------------------
/// Why kwrInitBuffer or kwrSetRenderBpp failed (KWRRender::kwrGetLastError),
/// with the texts KWRRender::kwrGetErrorText gives.  Codes 1 to 9 are the
/// bitmap library's (KWRImage.h): of them a context reports only
/// KWR_ERROR_ALLOCATE_MEMORY.
enum KWRRenderError {
    KWR_ERROR_OK = 0,               ///< ""
    KWR_ERROR_ALLOCATE_MEMORY = 2,  ///< "allocate memory": the frame, depth buffer or tables
    KWR_ERROR_TOO_WIDE = 10,        ///< "too wide": width above KWR_MAX_SURFACE_WIDTH
    KWR_ERROR_TOO_TALL = 11,        ///< "too tall": height above KWR_MAX_SURFACE_HEIGHT
    KWR_ERROR_TOO_LARGE = 12,       ///< "too many pixel bytes": above KWR_MAX_SURFACE_PIXEL_BYTES
    KWR_ERROR_BAD_DEPTH = 13,       ///< "bad depth": bits per pixel other than 8, 16, 24 or 32
    KWR_ERROR_BAD_SIZE = 14,        ///< "width or height below 1"
    KWR_ERROR_BAD_ARGUMENT = 15,    ///< "bad argument": a negative count or a missing vertex array
    KWR_ERROR_BAD_INDEX = 16,       ///< "index out of range": a vertex index at or above the vertex count
    KWR_ERROR_NOT_FINITE = 17,      ///< "vertex not finite": a NaN or infinite component (that triangle skipped)
    KWR_ERROR_NO_FRAME = 18         ///< "no frame buffer": drawing before a successful kwrInitBuffer
};

// (kwrender.h, the C interface, defines the same names as macros when it
// is included first.)
#if !defined(KWR_CULL_NONE)
/// Which clip-space triangles kwrSetCull drops.  Front faces wind
/// counter-clockwise with y up (as seen on the frame, y pointing up).
enum KWRCullMode {
    KWR_CULL_NONE = 0,   ///< draw both sides (the default)
    KWR_CULL_BACK = 1,   ///< drop clockwise (back) faces
    KWR_CULL_FRONT = 2   ///< drop counter-clockwise (front) faces
};

/// How textured triangles sample their texture and alpha map (kwrSetTextureFilter).
enum KWRTextureFilter {
    KWR_FILTER_NEAREST = 0,  ///< the nearest texel (the default)
    KWR_FILTER_BILINEAR = 1  ///< the four texels around the sample point, integer weights
};
#endif

// ---------------------------------------------------------------------------
/// A colour word 0xAARRGGBB (blue in bits 0-7 ... alpha in bits 24-31).
union KWColor {
    std::uint32_t argb;      ///< the word
    unsigned char bytes[4];  ///< in memory: blue, green, red, alpha
};

namespace kwr {
class DibStream;
struct RenderState;
struct Access;
struct Batches;
class ThreadPool;
}  // namespace kwr

// ---------------------------------------------------------------------------
/// The render context: a frame buffer, a depth buffer, the drawing state and
/// every drawing operation.  Create it, choose the pixel format
/// (kwrSetRenderBpp), build the frame buffer (kwrInitBuffer), then per frame:
/// kwrClear, drawing calls, kwrRender.
class KWR_API KWRRender {
public:
    /// A context without a frame buffer: 24 bits per pixel, depth buffer and
    /// depth test on, blending off, colour 0xFF000000, back depth 1.0,
    /// nothing bound, the thread count from KWRENDER_THREADS (1 when unset).
    KWRRender();
    /// Draws what is recorded, then releases the frame buffer, its own depth
    /// buffer and its threads.
    ~KWRRender();
    /// Copies the whole object, frame-buffer and depth-buffer pointers
    /// included, without releasing this object's own: afterwards both objects
    /// refer to the same surface and depth buffer, and only one of them may
    /// release them (kwrDestroy, kwrInitBuffer or destruction).  Both
    /// objects' recorded calls are drawn first; the copy draws on one thread.
    KWRRender& operator=(const KWRRender& other);
    /// Copy construction would create the same double ownership without the
    /// host asking for it explicitly; use operator= where that is wanted.
    KWRRender(const KWRRender&) = delete;

    // --- Lifecycle, state, bindings ---------------------------------------
    /// Builds a frame buffer of width x height pixels at the current pixel
    /// format (releasing the previous one), clip bounds 0..width-1 and
    /// 0..height-1, and, when the depth buffer is enabled and none is
    /// external, an own depth buffer (both start as zero bytes, the row
    /// padding included; kwrClear fills them with the colour and the back
    /// depth).  At 8 bits
    /// per pixel the palette's entries 0-215 become the colour cube.  Returns
    /// 1 on success; 0 on failure, when there is no frame buffer and
    /// kwrGetLastError says why (sizes from 1 to KWR_MAX_SURFACE_WIDTH /
    /// _HEIGHT and KWR_MAX_SURFACE_PIXEL_BYTES of pixels are accepted).
    int kwrInitBuffer(int width, int height);
    /// Releases the frame buffer and the own depth buffer (an external one is
    /// left alone); drawing then draws nothing until the next kwrInitBuffer.
    void kwrDestroy();
    /// Chooses 8, 16, 24 or 32 bits per pixel for the next kwrInitBuffer
    /// (drawing goes on in the new format at once, so call kwrInitBuffer
    /// next).  Any other value returns 0 (KWR_ERROR_BAD_DEPTH) and changes
    /// nothing; success returns 1.
    int kwrSetRenderBpp(int bpp);
    /// The reason (KWRRenderError) of the last failed kwrInitBuffer,
    /// kwrSetRenderBpp, kwrTrianglesClip or kwrTrianglesClipIndexed; 0 after
    /// a successful one.
    int kwrGetLastError();
    /// The text of an error code: "" for 0, "(undefined)" for codes that name
    /// nothing.  The texts of codes 1 to 9 are the bitmap library's.
    static const char* kwrGetErrorText(int code);
    /// Sets the current colour, 0xAARRGGBB, used by points, boxes, bitmaps,
    /// lines, flat and textured triangles and kwrClear.  The alpha byte
    /// matters where blending is on (kwrAlphaEnable).
    void kwrSetColor(unsigned long argb);
    /// Sets the current colour from red, green, blue on a 0..1 scale (each
    /// becomes floor(v * 255 + 0.5); out-of-range values spill into the
    /// neighbouring channels, as they always have), alpha 0xFF.
    void kwrSetColorf(float r, float g, float b);
    /// As kwrSetColorf, with alpha a on the same scale.
    void kwrSetColor4f(float r, float g, float b, float a);
    /// The current colour word.
    unsigned long kwrGetColor();
    /// Fills the frame with the current colour (8, 16 and 32 bits fill the
    /// rows' padding too; 24 bits leaves it) and, when the depth buffer is
    /// enabled and exists, the depth buffer with the back depth.
    void kwrClear();
    /// Whether the next kwrInitBuffer makes a depth buffer (1, the default)
    /// and whether kwrClear clears it.
    void kwrZBufferEnable(int enable);
    /// Switches depth testing on (1, the default) or off for the `3` calls;
    /// in force at once when a depth buffer exists, else from the next
    /// kwrInitBuffer that makes one.
    void kwrZTestEnable(int enable);
    /// Switches blending on or off (0, the default).  On, flat colours with
    /// alpha below 0xFF, vertex colours with alpha below 0xFF and textured
    /// triangles blend: pixel = (source * a + pixel * (255 - a)) / 255 per
    /// channel, in the rounding each call defines.
    void kwrAlphaEnable(int enable);
    /// Uses host memory of width * height floats (row stride width) as the
    /// depth buffer from now on, releasing an own one; null goes back to an
    /// own buffer at the next kwrInitBuffer.  The host keeps ownership; the
    /// buffer must outlive its use and be large enough for the frame.
    /// Flushes first: once it returns, a buffer it replaced is never read
    /// again and may be released.
    void kwrSetExternalZBuffer(float* zbuffer);
    /// The depth kwrClear writes (1.0 by default).
    void kwrSetZBackDepth(float z);
    /// The depth buffer (width * height floats, row stride width), or null.
    /// Flushes first.
    float* kwrGetZBuffer();
    /// Binds host texels: 4 bytes each (blue, green, red, alpha), width x
    /// height of them, rows rowPitch bytes apart, top row first.  Sampled at
    /// the nearest texel of (u * width, v * height), repeating.  The memory
    /// stays the host's and must outlive the binding (and, with threads, stay
    /// unchanged until the next flush, even when unbound or replaced).  Null unbinds; a width or height
    /// below 1 binds nothing usable.
    void kwrSetTexture(unsigned char* texels, int width, int height, int rowPitch);
    /// Binds host alpha values (1 byte each), as kwrSetTexture.  Blended
    /// textured triangles take their weight from it where bound.
    void kwrSetAlphaMap(unsigned char* values, int width, int height, int rowPitch);
    /// Chooses how every textured triangle (screen-space or clip-space)
    /// samples its texture and alpha map: KWR_FILTER_NEAREST (the default)
    /// takes texel floor(u * width + 0.5); KWR_FILTER_BILINEAR mixes texels
    /// i = floor(u * width) and i + 1 (both wrapped) with weights 256 - f and
    /// f, f = floor(u * width * 256) & 255 (products in float, converted
    /// saturating), likewise in v; per byte
    /// (blue, green, red, alpha, and the alpha map's value)
    /// ((a * (256 - fu) + b * fu) * (256 - fv) + (c * (256 - fu) + d * fu) * fv
    /// + 32768) >> 16, exact integers.  Other values are ignored.
    void kwrSetTextureFilter(int filter);
    /// Chooses which clip-space triangles are dropped (KWRCullMode; the
    /// screen-space calls never cull).  Other values are ignored.
    void kwrSetCull(int mode);
    /// Hands out the frame buffer: *header gets its BITMAPINFO block (header
    /// and colour table), *pixels its first row (either pointer may be null).
    /// Returns 1, or 0 and nulls without a frame buffer.  The memory stays
    /// the context's.  Flushes first.
    int kwrGetDib(void** header, void** pixels);
    /// Presents the frame 1:1 with its top-left corner at (x, y) of the
    /// target: on Windows through GDI (StretchDIBits) into a device context,
    /// elsewhere into a KWRMemoryDC, converting to 0x00RRGGBB and clipping.
    /// Flushes first.
    void kwrRender(HDC hdc, int x, int y);
    /// Instruction set the fills use: "scalar", "sse2", "sse4.1", "avx2" or
    /// "avx512" on x86-64, "scalar" or "neon" on AArch64, "scalar" or
    /// "simd128" in WebAssembly (the best the processor or build has, capped
    /// by the environment variable KWRENDER_SIMD).  The same bytes at every
    /// level.
    static const char* kwrGetSimdLevel();

    // --- Multi-core rendering ----------------------------------------------
    /// Sets the thread count: 1 = draw on the calling thread (the default),
    /// 0 = one per available core, above 64 = 64, below 0 = 1.  Flushes
    /// first; returns the count in force, 1 when threads cannot be created.
    ///
    /// With n > 1 threads (the caller's plus n - 1 workers) drawing calls are
    /// recorded and return at once; they are drawn, in order, at the next
    /// flush, and the frame is the same bytes as on one thread.  kwrFlush and
    /// every call that hands out or reads pixels flush first: kwrRender,
    /// kwrGetDib, kwrGetZBuffer, kwrInitBuffer, kwrDestroy, kwrSetThreads,
    /// kwrSetExternalZBuffer, operator=, the destructor (and saving a frame
    /// with the image library).  Until then:
    ///  - bound memory (the texture of kwrSetTexture, the alpha map of
    ///    kwrSetAlphaMap, the depth buffer of kwrSetExternalZBuffer) is kept
    ///    by reference and read until the next flush: it must stay valid and
    ///    unchanged until then.  Binding other memory in its place is fine;
    ///    changing or releasing the memory that was bound is not, until the
    ///    flush;
    ///  - a host reading or writing pixels or depths through a pointer it
    ///    kept must call kwrFlush first.
    /// Memory a call only reads (the bitmap of kwrBitmap1, the source of
    /// kwrImage2D and kwrImage2D3) is never read after the call returns: it is
    /// copied into the record, or, when larger than a quarter of the list,
    /// the call flushes and draws at once.  The host may change or release it
    /// as soon as the call returns, at any thread count.
    ///
    /// The environment variable KWRENDER_THREADS sets the count a new context
    /// starts with (its threads start at its first kwrInitBuffer).  It gives
    /// the bytes of one thread to every host that keeps its bound memory
    /// unchanged until the frame is presented or read (kwrRender, kwrGetDib,
    /// kwrGetZBuffer or saving a frame) and reads or writes the frame only
    /// through those calls; a host that edits or frees a texture, alpha map or
    /// external depth buffer between drawing calls must call kwrFlush before
    /// it does.
    int kwrSetThreads(int n);
    /// The thread count in force.
    int kwrGetThreads();
    /// Returns when every recorded call has been drawn.
    void kwrFlush();

    // --- Points, boxes, one-bit bitmaps ------------------------------------
    /// Sets pixel (x, y) to the current colour; nothing outside the frame.
    void kwrPut(int x, int y);
    /// Fills the box with corners (x1, y1) and (x2, y2), both included, in
    /// any order, with the current colour; clipped to the frame (a box
    /// beyond one edge on both corners draws nothing).  Never blends.
    void kwrBox(int x1, int y1, int x2, int y2);
    /// kwrBox with float corners (rounded).
    void kwrBoxf(float x1, float y1, float x2, float y2);
    /// kwrBox with centred float corners.
    void kwrBoxfg(float x1, float y1, float x2, float y2);
    /// kwrBox drawn where the stored depth is greater than or equal to z,
    /// which is then stored; without the depth test requested (or without a
    /// depth buffer) it is kwrBox.
    void kwrBox3(int x1, int y1, int x2, int y2, float z);
    /// kwrBox3 with float corners (rounded).
    void kwrBox3f(float x1, float y1, float x2, float y2, float z);
    /// kwrBox3 with centred float corners.
    void kwrBox3fg(float x1, float y1, float x2, float y2, float z);
    /// Draws the set bits of a one-bit bitmap of w x h pixels with its
    /// top-left corner at (x, y) in the current colour: rows of (w + 7) / 8
    /// bytes, top row first, the leftmost pixel in bit 0 of each byte; clear
    /// bits leave the frame alone.  Host memory, read only during the call,
    /// at any thread count.
    void kwrBitmap1(int x, int y, int w, int h, unsigned char* bitmap);

    // --- Image blits --------------------------------------------------------
    /// Draws a host image of srcW x srcH pixels of srcBpp bits (24: blue,
    /// green, red, rows padded to 4 bytes; 32: blue, green, red, alpha), top
    /// row first, scaled by nearest neighbour into the half-open rectangle
    /// x1..x2 by y1..y2 (corners in any order), clipped.  Other depths, empty
    /// rectangles and 8 bpp frames draw nothing.  The source is read only
    /// during the call, at any thread count.
    void kwrImage2D(int x1, int y1, int x2, int y2, int srcW, int srcH, int srcBpp, unsigned char* src);
    /// kwrImage2D drawn where the stored depth is greater than or equal to z,
    /// which is then stored; nothing without a depth buffer.
    void kwrImage2D3(int x1, int y1, int x2, int y2, float z, int srcW, int srcH, int srcBpp, unsigned char* src);

    // --- Lines --------------------------------------------------------------
    /// A line from (x1, y1) to (x2, y2), both ends drawn, in the current
    /// colour, clipped to the frame first.  Never blends.
    void kwrLine(int x1, int y1, int x2, int y2);
    /// kwrLine with float ends, clipped in float, then rounded.
    void kwrLinef(float x1, float y1, float x2, float y2);
    /// kwrLine with centred float ends.
    void kwrLinefg(float x1, float y1, float x2, float y2);
    /// A line with a depth at each end, drawn where the stored depth is
    /// greater than or equal to the interpolated z, which is then stored;
    /// without a depth test in force it is kwrLine.
    void kwrLine3(int x1, int y1, float z1, int x2, int y2, float z2);
    /// kwrLine3 with float ends.
    void kwrLine3f(float x1, float y1, float z1, float x2, float y2, float z2);
    /// kwrLine3 with centred float ends.
    void kwrLine3fg(float x1, float y1, float z1, float x2, float y2, float z2);

    // --- Flat triangles -----------------------------------------------------
    // A triangle draws the rows from its top vertex's down to the row above
    // its bottom vertex's, each between its edges, so that triangles sharing
    // an edge do not overlap there.  Vertices may lie anywhere; triangles are
    // clipped.  These fill with the current colour, blending when blending
    // is on and its alpha is below 0xFF.

    /// A flat triangle, integer vertices.
    void kwrTriangle(int x1, int y1, int x2, int y2, int x3, int y3);
    /// A flat triangle, float vertices.
    void kwrTrianglef(float x1, float y1, float x2, float y2, float x3, float y3);
    /// A flat triangle, centred float vertices.
    void kwrTrianglefg(float x1, float y1, float x2, float y2, float x3, float y3);

    // --- Depth, colour and texture triangles ---------------------------------
    // The suffix letters say what each vertex carries (see the top of this
    // file).  Depth is interpolated linearly in screen space and tested where
    // a depth test is in force; colours (0xAARRGGBB) and u, v likewise.
    // Textured triangles multiply each texel by the colour (vertex or
    // current) and blend whenever blending is on, weighted by the alpha map
    // where one is bound, else by the texel's alpha.

    /// Depth, flat colour, integer vertices.
    void kwrTriangle3(int x1, int y1, float z1, int x2, int y2, float z2, int x3, int y3, float z3);
    /// Depth, flat colour, float vertices.
    void kwrTriangle3f(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3, float z3);
    /// Depth, flat colour, centred float vertices.
    void kwrTriangle3fg(float x1, float y1, float z1, float x2, float y2, float z2, float x3, float y3, float z3);

    /// Depth, vertex colours, integer vertices.
    void kwrTriangle3c(int x1, int y1, float z1, unsigned long c1,
                       int x2, int y2, float z2, unsigned long c2,
                       int x3, int y3, float z3, unsigned long c3);
    /// Depth, vertex colours, float vertices.
    void kwrTriangle3cf(float x1, float y1, float z1, unsigned long c1,
                        float x2, float y2, float z2, unsigned long c2,
                        float x3, float y3, float z3, unsigned long c3);
    /// Depth, vertex colours, centred float vertices.
    void kwrTriangle3cfg(float x1, float y1, float z1, unsigned long c1,
                         float x2, float y2, float z2, unsigned long c2,
                         float x3, float y3, float z3, unsigned long c3);

    /// Depth, vertex colours, texture, integer vertices.
    void kwrTriangle3ct(int x1, int y1, float z1, unsigned long c1, float u1, float v1,
                        int x2, int y2, float z2, unsigned long c2, float u2, float v2,
                        int x3, int y3, float z3, unsigned long c3, float u3, float v3);
    /// Depth, vertex colours, texture, float vertices.
    void kwrTriangle3ctf(float x1, float y1, float z1, unsigned long c1, float u1, float v1,
                         float x2, float y2, float z2, unsigned long c2, float u2, float v2,
                         float x3, float y3, float z3, unsigned long c3, float u3, float v3);
    /// Depth, vertex colours, texture, centred float vertices.
    void kwrTriangle3ctfg(float x1, float y1, float z1, unsigned long c1, float u1, float v1,
                          float x2, float y2, float z2, unsigned long c2, float u2, float v2,
                          float x3, float y3, float z3, unsigned long c3, float u3, float v3);

    /// Depth, texture times the current colour, integer vertices.
    void kwrTriangle3t(int x1, int y1, float z1, float u1, float v1,
                       int x2, int y2, float z2, float u2, float v2,
                       int x3, int y3, float z3, float u3, float v3);
    /// Depth, texture times the current colour, float vertices.
    void kwrTriangle3tf(float x1, float y1, float z1, float u1, float v1,
                        float x2, float y2, float z2, float u2, float v2,
                        float x3, float y3, float z3, float u3, float v3);
    /// Depth, texture times the current colour, centred float vertices.
    void kwrTriangle3tfg(float x1, float y1, float z1, float u1, float v1,
                         float x2, float y2, float z2, float u2, float v2,
                         float x3, float y3, float z3, float u3, float v3);

    /// Vertex colours, integer vertices.
    void kwrTrianglec(int x1, int y1, unsigned long c1,
                      int x2, int y2, unsigned long c2,
                      int x3, int y3, unsigned long c3);
    /// Vertex colours, float vertices.
    void kwrTrianglecf(float x1, float y1, unsigned long c1,
                       float x2, float y2, unsigned long c2,
                       float x3, float y3, unsigned long c3);
    /// Vertex colours, centred float vertices.
    void kwrTrianglecfg(float x1, float y1, unsigned long c1,
                        float x2, float y2, unsigned long c2,
                        float x3, float y3, unsigned long c3);

    /// Vertex colours, texture, integer vertices.
    void kwrTrianglect(int x1, int y1, unsigned long c1, float u1, float v1,
                       int x2, int y2, unsigned long c2, float u2, float v2,
                       int x3, int y3, unsigned long c3, float u3, float v3);
    /// Vertex colours, texture, float vertices.
    void kwrTrianglectf(float x1, float y1, unsigned long c1, float u1, float v1,
                        float x2, float y2, unsigned long c2, float u2, float v2,
                        float x3, float y3, unsigned long c3, float u3, float v3);
    /// Vertex colours, texture, centred float vertices.
    void kwrTrianglectfg(float x1, float y1, unsigned long c1, float u1, float v1,
                         float x2, float y2, unsigned long c2, float u2, float v2,
                         float x3, float y3, unsigned long c3, float u3, float v3);

    /// Texture times the current colour, integer vertices.
    void kwrTrianglet(int x1, int y1, float u1, float v1,
                      int x2, int y2, float u2, float v2,
                      int x3, int y3, float u3, float v3);
    /// Texture times the current colour, float vertices.
    void kwrTriangletf(float x1, float y1, float u1, float v1,
                       float x2, float y2, float u2, float v2,
                       float x3, float y3, float u3, float v3);
    /// Texture times the current colour, centred float vertices.
    void kwrTriangletfg(float x1, float y1, float u1, float v1,
                        float x2, float y2, float u2, float v2,
                        float x3, float y3, float u3, float v3);

    // --- Clip-space triangles ----------------------------------------------
    // Vertices in homogeneous clip space (x, y, z, w), as a host's
    // projection matrix gives them.  Visible where -w <= x <= w,
    // -w <= y <= w and 0 <= z <= w.  A vertex lands on pixel
    // x' = (x / w + 1) * 0.5 * width, y' = (1 - y / w) * 0.5 * height (y up in
    // clip space) with depth z / w, tested and written as by the `3` calls
    // (smaller is nearer); these are computed in double precision and then
    // rounded to float, and the triangle is then drawn by the rules of the
    // float screen-space calls: kwrTriangle3f (no colours, no uv),
    // kwrTriangle3cf, kwrTriangle3tf, kwrTriangle3ctf, with the same
    // fallbacks (depth test off, nothing bound) and blending.
    //
    // Clipping: each triangle is clipped in double precision against the
    // near (z = 0) and far (z = w) planes, and, where a vertex lies outside
    // -64w <= x <= 64w or -64w <= y <= 64w, against those planes too (a
    // guard band 32 frames wide around the frame that keeps pixel
    // coordinates small and exact);
    // at a crossing of the plane d(v) = 0, t = d0 / (d0 - d1) and every
    // component a becomes a0 + (a1 - a0) * t.  What remains is drawn as one
    // convex polygon, so no pixel is drawn twice.  A triangle wholly outside,
    // or whose clipped polygon has a vertex with w <= 0, draws nothing.
    //
    // Perspective: colours and u, v are interpolated perspective-correctly:
    // a / w and 1 / w are interpolated as the screen-space calls
    // interpolate a, and divided per pixel (IEEE division, the same bytes at
    // every instruction-set level and thread count).  A triangle whose three
    // w are equal and that needs no clipping is drawn exactly as the
    // screen-space call with its projected vertices.
    //
    // Culling (kwrSetCull) looks at the clipped polygon's winding in
    // normalised coordinates (x / w, y / w): positive area is front.

    /// Draws `count` triangles of three vertices each.  Per vertex: xyzw[4];
    /// argb[1] (0xAARRGGBB; null: the current colour); uv[2] (null:
    /// untextured).  Returns 1; 0 with kwrGetLastError set when count is
    /// negative or xyzw is null with count > 0 (nothing drawn), when a
    /// triangle has a NaN or infinite component (that triangle is skipped,
    /// the others drawn) or without a frame buffer.
    int kwrTrianglesClip(int count, const float* xyzw, const std::uint32_t* argb, const float* uv);
    /// The same with shared vertices: triangle i uses the vertices
    /// indices[3i], indices[3i + 1], indices[3i + 2], each below vertexCount
    /// (else 0 is returned and nothing is drawn).
    int kwrTrianglesClipIndexed(int vertexCount, const float* xyzw, const std::uint32_t* argb, const float* uv,
                                int count, const std::uint32_t* indices);

private:
    friend struct kwr::Access;
    friend struct kwr::Batches;
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
