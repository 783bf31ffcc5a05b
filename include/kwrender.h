/* kwrender's C interface: every operation of the render context and the
 * bitmap library for C and for any language that calls C, exported with C
 * linkage from the same shared library (kwrender.dll: link its import
 * library or make one from kwrender.def with any toolchain).
 *
 * A kwr_context is a KWRRender; the calls forward to its members of the same
 * name (kwr_triangle3ctf -> KWRRender::kwrTriangle3ctf), whose documentation
 * in KWRRender.h holds for both.  Colours are uint32_t 0xAARRGGBB.
 *
 * Results: every call that can fail returns an int status, KWR_OK (0) on
 * success, else an error code whose text kwr_error_text gives.  A null
 * handle or a null array is an error code, never a crash; no C++ exception
 * or allocation failure crosses this interface.
 *
 * Memory and threads (kwr_set_threads, KWRENDER_THREADS): memory bound by
 * pointer (kwr_set_texture, kwr_set_alpha_map, kwr_set_external_zbuffer) is
 * read until the next flush and must stay valid and unchanged until then;
 * memory a call only reads (kwr_bitmap1, kwr_image2d, kwr_image2d3 and every
 * batch array) is never read after the call returns.  The whole rule is at
 * KWRRender::kwrSetThreads.
 *
 * Batched drawing: kwr_triangles* draw `count` triangles from arrays, the
 * same bytes as `count` single calls.  Per vertex (three per triangle, in
 * order): xy = 2 floats (x, y), xyz = 3 floats (x, y, z), colors = 1
 * uint32_t, uv = 2 floats (u, v); arrays are packed, with no gaps.
 *
 * C99, also valid C++. */
#ifndef KWRENDER_C_H
#define KWRENDER_C_H

#include <stddef.h>
#include <stdint.h>

#include "kwrender_version.h"

#if defined(_WIN32) || defined(__CYGWIN__)
#  if defined(KWRENDER_STATIC)
#    define KWR_C_API
#  elif defined(KWRENDER_BUILDING)
#    define KWR_C_API __declspec(dllexport)
#  else
#    define KWR_C_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define KWR_C_API __attribute__((visibility("default")))
#else
#  define KWR_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes: the render context's and the bitmap library's (1..14, see
 * KWRRender.h and KWRImage.h), and this interface's own. */
#define KWR_OK 0
#define KWR_ERROR_NULL_HANDLE 20 /* "null handle" */
#define KWR_ERROR_NULL_ARRAY 21  /* "null array" */
#define KWR_ERROR_FAILED 22      /* "failed": the call did not succeed and gave no reason */

typedef struct kwr_context kwr_context;
typedef struct kwr_image kwr_image;

/* Outside Windows, the presentation target (KWRMemoryDC): host memory of
 * 32-bit pixels 0x00RRGGBB, rows `pitch` bytes apart, row 0 at the top. */
typedef struct kwr_memory_target {
    int width, height, pitch;
    uint32_t* pixels;
} kwr_memory_target;

/* A frame buffer or an image as it lies in memory. */
typedef struct kwr_frame {
    int width, height;
    int bits_per_pixel; /* 8, 16, 24 or 32 (images also 1 and 4) */
    int pitch;          /* bytes from one row to the next (negative for images stored bottom-up) */
    uint8_t* pixels;    /* row 0, the top row; row y at pixels + y * pitch */
    const uint8_t* palette; /* 4 bytes an entry (blue, green, red, 0); null without */
    int palette_entries;
} kwr_frame;

/* --- Version and errors --- */
KWR_C_API uint32_t kwr_version(void);            /* (major << 16) | (minor << 8) | patch */
KWR_C_API const char* kwr_version_string(void);  /* "major.minor.patch" */
KWR_C_API const char* kwr_error_text(int code);  /* "" for 0, "(undefined)" for unknown codes */

/* --- Lifecycle, state, bindings --- */
KWR_C_API kwr_context* kwr_create(void); /* null when out of memory */
KWR_C_API void kwr_destroy(kwr_context* ctx);
KWR_C_API int kwr_init_buffer(kwr_context* ctx, int width, int height);
KWR_C_API int kwr_destroy_buffer(kwr_context* ctx);
KWR_C_API int kwr_set_render_bpp(kwr_context* ctx, int bpp);
KWR_C_API int kwr_get_last_error(kwr_context* ctx);
KWR_C_API int kwr_set_color(kwr_context* ctx, uint32_t argb);
KWR_C_API int kwr_set_colorf(kwr_context* ctx, float r, float g, float b);
KWR_C_API int kwr_set_color4f(kwr_context* ctx, float r, float g, float b, float a);
KWR_C_API uint32_t kwr_get_color(kwr_context* ctx); /* 0 for a null handle */
KWR_C_API int kwr_clear(kwr_context* ctx);
KWR_C_API int kwr_zbuffer_enable(kwr_context* ctx, int enable);
KWR_C_API int kwr_ztest_enable(kwr_context* ctx, int enable);
KWR_C_API int kwr_alpha_enable(kwr_context* ctx, int enable);
KWR_C_API int kwr_set_external_zbuffer(kwr_context* ctx, float* zbuffer);
KWR_C_API int kwr_set_zback_depth(kwr_context* ctx, float z);
KWR_C_API float* kwr_get_zbuffer(kwr_context* ctx); /* width * height floats, or null */
KWR_C_API int kwr_set_texture(kwr_context* ctx, uint8_t* texels, int width, int height, int row_pitch);
KWR_C_API int kwr_set_alpha_map(kwr_context* ctx, uint8_t* values, int width, int height, int row_pitch);
KWR_C_API int kwr_get_frame(kwr_context* ctx, kwr_frame* frame);
/* target: an HDC on Windows, a kwr_memory_target* elsewhere. */
KWR_C_API int kwr_render(kwr_context* ctx, void* target, int x, int y);
KWR_C_API const char* kwr_get_simd_level(void);
KWR_C_API int kwr_set_threads(kwr_context* ctx, int n); /* the count in force, 0 for a null handle */
KWR_C_API int kwr_get_threads(kwr_context* ctx);
KWR_C_API int kwr_flush(kwr_context* ctx);

/* --- Points, boxes, one-bit bitmaps, blits --- */
KWR_C_API int kwr_put(kwr_context* ctx, int x, int y);
KWR_C_API int kwr_box(kwr_context* ctx, int x1, int y1, int x2, int y2);
KWR_C_API int kwr_boxf(kwr_context* ctx, float x1, float y1, float x2, float y2);
KWR_C_API int kwr_boxfg(kwr_context* ctx, float x1, float y1, float x2, float y2);
KWR_C_API int kwr_box3(kwr_context* ctx, int x1, int y1, int x2, int y2, float z);
KWR_C_API int kwr_box3f(kwr_context* ctx, float x1, float y1, float x2, float y2, float z);
KWR_C_API int kwr_box3fg(kwr_context* ctx, float x1, float y1, float x2, float y2, float z);
KWR_C_API int kwr_bitmap1(kwr_context* ctx, int x, int y, int w, int h, uint8_t* bitmap);
KWR_C_API int kwr_image2d(kwr_context* ctx, int x1, int y1, int x2, int y2, int src_w, int src_h, int src_bpp,
                          uint8_t* src);
KWR_C_API int kwr_image2d3(kwr_context* ctx, int x1, int y1, int x2, int y2, float z, int src_w, int src_h,
                           int src_bpp, uint8_t* src);

/* --- Lines --- */
KWR_C_API int kwr_line(kwr_context* ctx, int x1, int y1, int x2, int y2);
KWR_C_API int kwr_linef(kwr_context* ctx, float x1, float y1, float x2, float y2);
KWR_C_API int kwr_linefg(kwr_context* ctx, float x1, float y1, float x2, float y2);
KWR_C_API int kwr_line3(kwr_context* ctx, int x1, int y1, float z1, int x2, int y2, float z2);
KWR_C_API int kwr_line3f(kwr_context* ctx, float x1, float y1, float z1, float x2, float y2, float z2);
KWR_C_API int kwr_line3fg(kwr_context* ctx, float x1, float y1, float z1, float x2, float y2, float z2);

/* --- Triangles ---
 * Eight kinds, each in three coordinate forms.  A kind's letters say what a
 * vertex carries besides x and y: 3 a depth z, c a colour, t texture
 * coordinates u, v, in that order.  The forms: float pixels (suffix f),
 * float coordinates centred on the surface with y up (suffix fg), integer
 * pixels (no suffix; z, u and v stay float).
 *
 *   kwr_trianglef(ctx, x1, y1, x2, y2, x3, y3)
 *   kwr_triangle3f(ctx, x1, y1, z1, ...)
 *   kwr_trianglecf(ctx, x1, y1, c1, ...)
 *   kwr_triangle3cf(ctx, x1, y1, z1, c1, ...)
 *   kwr_triangletf(ctx, x1, y1, u1, v1, ...)
 *   kwr_triangle3tf(ctx, x1, y1, z1, u1, v1, ...)
 *   kwr_trianglectf(ctx, x1, y1, c1, u1, v1, ...)
 *   kwr_triangle3ctf(ctx, x1, y1, z1, c1, u1, v1, ...)
 *   and the same with fg (kwr_triangle3ctfg) and without a suffix
 *   (kwr_triangle3ct).
 *
 * KWR_C_TRIANGLES(S, T) declares the eight kinds of the form with suffix S
 * whose x and y are of type T. */
#define KWR_C_TRIANGLES(S, T)                                                                                        \
    KWR_C_API int kwr_triangle##S(kwr_context* ctx, T x1, T y1, T x2, T y2, T x3, T y3);                           \
    KWR_C_API int kwr_triangle3##S(kwr_context* ctx, T x1, T y1, float z1, T x2, T y2, float z2, T x3, T y3,       \
                                   float z3);                                                                     \
    KWR_C_API int kwr_trianglec##S(kwr_context* ctx, T x1, T y1, uint32_t c1, T x2, T y2, uint32_t c2, T x3, T y3, \
                                   uint32_t c3);                                                                  \
    KWR_C_API int kwr_triangle3c##S(kwr_context* ctx, T x1, T y1, float z1, uint32_t c1, T x2, T y2, float z2,     \
                                    uint32_t c2, T x3, T y3, float z3, uint32_t c3);                              \
    KWR_C_API int kwr_trianglet##S(kwr_context* ctx, T x1, T y1, float u1, float v1, T x2, T y2, float u2,         \
                                   float v2, T x3, T y3, float u3, float v3);                                     \
    KWR_C_API int kwr_triangle3t##S(kwr_context* ctx, T x1, T y1, float z1, float u1, float v1, T x2, T y2,        \
                                    float z2, float u2, float v2, T x3, T y3, float z3, float u3, float v3);      \
    KWR_C_API int kwr_trianglect##S(kwr_context* ctx, T x1, T y1, uint32_t c1, float u1, float v1, T x2, T y2,     \
                                    uint32_t c2, float u2, float v2, T x3, T y3, uint32_t c3, float u3,           \
                                    float v3);                                                                    \
    KWR_C_API int kwr_triangle3ct##S(kwr_context* ctx, T x1, T y1, float z1, uint32_t c1, float u1, float v1,      \
                                     T x2, T y2, float z2, uint32_t c2, float u2, float v2, T x3, T y3, float z3, \
                                     uint32_t c3, float u3, float v3);
KWR_C_TRIANGLES(f, float)
KWR_C_TRIANGLES(fg, float)
KWR_C_TRIANGLES(, int)

/* --- Batched drawing (float coordinates) --- */
KWR_C_API int kwr_trianglesf(kwr_context* ctx, size_t count, const float* xy);
KWR_C_API int kwr_triangles3f(kwr_context* ctx, size_t count, const float* xyz);
KWR_C_API int kwr_trianglescf(kwr_context* ctx, size_t count, const float* xy, const uint32_t* colors);
KWR_C_API int kwr_triangles3cf(kwr_context* ctx, size_t count, const float* xyz, const uint32_t* colors);
KWR_C_API int kwr_trianglestf(kwr_context* ctx, size_t count, const float* xy, const float* uv);
KWR_C_API int kwr_triangles3tf(kwr_context* ctx, size_t count, const float* xyz, const float* uv);
KWR_C_API int kwr_trianglesctf(kwr_context* ctx, size_t count, const float* xy, const uint32_t* colors,
                               const float* uv);
KWR_C_API int kwr_triangles3ctf(kwr_context* ctx, size_t count, const float* xyz, const uint32_t* colors,
                                const float* uv);
/* --- Clip-space triangles (KWRRender::kwrTrianglesClip) ---
 * xyzw = 4 floats a vertex in homogeneous clip space (visible where
 * -w <= x, y <= w and 0 <= z <= w; y up); colors and uv may be null (the
 * current colour; untextured).  Clipped at the near and far planes,
 * perspective-correct, culled as kwr_set_cull says.  The indexed form takes
 * 3 * count indices into vertex_count vertices.  Status: KWR_OK, or
 * KWR_ERROR_NULL_ARRAY, 15 "bad argument" (negative count), 16 "index out
 * of range" (nothing drawn), 17 "vertex not finite" (those triangles
 * skipped), 18 "no frame buffer". */
#if !defined(KWRRENDER_H) /* the C++ header has them as enumerations */
#define KWR_CULL_NONE 0
#define KWR_CULL_BACK 1  /* drop clockwise faces (counter-clockwise with y up is front) */
#define KWR_CULL_FRONT 2
#define KWR_FILTER_NEAREST 0
#define KWR_FILTER_BILINEAR 1
#endif
KWR_C_API int kwr_triangles_clip(kwr_context* ctx, int count, const float* xyzw, const uint32_t* colors,
                                 const float* uv);
KWR_C_API int kwr_triangles_clip_indexed(kwr_context* ctx, int vertex_count, const float* xyzw,
                                         const uint32_t* colors, const float* uv, int count,
                                         const uint32_t* indices);
KWR_C_API int kwr_set_cull(kwr_context* ctx, int mode);             /* KWR_CULL_*; others ignored */
KWR_C_API int kwr_set_texture_filter(kwr_context* ctx, int filter); /* KWR_FILTER_*; others ignored */

/* `count` lines: 2 ends each, xy = 4 floats a line, xyz = 6. */
KWR_C_API int kwr_linesf(kwr_context* ctx, size_t count, const float* xy);
KWR_C_API int kwr_lines3f(kwr_context* ctx, size_t count, const float* xyz);
/* `count` points: xy = 2 ints a point. */
KWR_C_API int kwr_points(kwr_context* ctx, size_t count, const int* xy);

/* --- Bitmap files (KWRImage) --- */
KWR_C_API kwr_image* kwr_image_create(void); /* empty; null when out of memory */
KWR_C_API void kwr_image_destroy(kwr_image* image);
KWR_C_API int kwr_image_load(kwr_image* image, const char* path);
KWR_C_API int kwr_image_load_memory(kwr_image* image, const void* data, size_t size);
KWR_C_API int kwr_image_save(kwr_image* image, const char* path);
KWR_C_API int kwr_image_convert(kwr_image* image, int bpp);
KWR_C_API int kwr_image_resize(kwr_image* image, int width, int height);
KWR_C_API int kwr_image_make_texture(kwr_image* image);
KWR_C_API int kwr_image_make_alpha_map(kwr_image* image, int source);
KWR_C_API int kwr_image_from_frame(kwr_image* image, kwr_context* ctx);
KWR_C_API int kwr_image_get(kwr_image* image, kwr_frame* frame);
KWR_C_API int kwr_save_frame(kwr_context* ctx, const char* path);
/* PNG files (KWRImage::kwrSavePng), where the library has libpng: 1 if so. */
KWR_C_API int kwr_image_save_png(kwr_image* image, const char* path);
KWR_C_API int kwr_png_supported(void);

#ifdef __cplusplus
}
#endif

#endif
