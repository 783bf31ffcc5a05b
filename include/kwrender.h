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

/* Triangles: eight kinds, each in three coordinate forms.  A kind's letters
 * say what a vertex carries besides x and y: 3 a depth z, c a colour, t texture
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
 */

/* Clip-space triangles (KWRRender::kwrTrianglesClip, kwr_triangles_clip):
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

/* Every call, one line each, made from the table of calls. */
#include "kwrender_calls.h"

#ifdef __cplusplus
}
#endif

#endif
