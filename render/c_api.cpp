// The C interface (include/kwrender.h): handles around the C++ classes, and
// calls that forward to their members, turning null handles, null arrays and
// exceptions into status codes.
#include "kwrender.h"

#include <exception>
#include <new>

#include "KWRImage.h"
#include "KWRRender.h"
#include "render/dib_stream.h"

struct kwr_context {
    KWRRender r;
};
struct kwr_image {
    KWRImage img;
};

#if !defined(_WIN32)
static_assert(sizeof(kwr_memory_target) == sizeof(KWRMemoryDC) &&
                  offsetof(kwr_memory_target, pixels) == offsetof(KWRMemoryDC, pixels),
              "kwr_memory_target is laid out as KWRMemoryDC");
#endif

namespace {

// Runs f on the handle's object: KWR_OK, or why not.
template <class H, class F>
int guarded(H* h, F&& f) {
    if (h == nullptr) return KWR_ERROR_NULL_HANDLE;
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return kwr::kDibAllocateMemory;
    } catch (...) {
        return KWR_ERROR_FAILED;
    }
}

// Calls a member that reports nothing on the context `ctx`: KWR_OK, or the
// status of a null handle or an exception.
#define KWR_C_CALL(call)                 \
    return guarded(ctx, [&] {            \
        ctx->r.call;                     \
        return KWR_OK;                   \
    })

// A member that returns 1 for success and leaves its reason in `error`.
int status(int ok, int error) { return ok != 0 ? KWR_OK : (error != 0 ? error : KWR_ERROR_FAILED); }

// Runs `call` (a member returning 1 for success), then reads the reason.
#define KWR_STATUS(h, call, reason)      \
    return guarded(h, [&] {              \
        const int ok = call;             \
        return status(ok, reason);       \
    })

// count triangles from packed arrays: Dims floats of position, then a colour
// and two texture coordinates per vertex where the arrays are given.
template <int Dims, class Draw>
int triangles(kwr_context* ctx, std::size_t count, const float* pos, const std::uint32_t* colors, const float* uv,
              bool needColors, bool needUv, Draw&& draw) {
    if (ctx == nullptr) return KWR_ERROR_NULL_HANDLE;
    if (count == 0) return KWR_OK;
    if (pos == nullptr || (needColors && colors == nullptr) || (needUv && uv == nullptr)) return KWR_ERROR_NULL_ARRAY;
    return guarded(ctx, [&] {
        for (std::size_t t = 0; t < count; ++t) {
            const float* p = pos + t * 3 * Dims;
            const std::uint32_t* c = needColors ? colors + t * 3 : nullptr;
            const float* q = needUv ? uv + t * 6 : nullptr;
            draw(ctx->r, p, c, q);
        }
        return KWR_OK;
    });
}

// Lines and points: the same loop over a packed array of `Stride` values.
template <int Stride, class T, class Draw>
int each(kwr_context* ctx, std::size_t count, const T* values, Draw&& draw) {
    if (ctx == nullptr) return KWR_ERROR_NULL_HANDLE;
    if (count == 0) return KWR_OK;
    if (values == nullptr) return KWR_ERROR_NULL_ARRAY;
    return guarded(ctx, [&] {
        for (std::size_t i = 0; i < count; ++i) draw(ctx->r, values + i * Stride);
        return KWR_OK;
    });
}
}  // namespace

extern "C" {

std::uint32_t kwr_version(void) {
    return (KWRENDER_VERSION_MAJOR << 16) | (KWRENDER_VERSION_MINOR << 8) | KWRENDER_VERSION_PATCH;
}
const char* kwr_version_string(void) { return KWRENDER_VERSION_STRING; }

const char* kwr_error_text(int code) {
    switch (code) {
    case KWR_ERROR_NULL_HANDLE: return "null handle";
    case KWR_ERROR_NULL_ARRAY: return "null array";
    case KWR_ERROR_FAILED: return "failed";
    default: return KWRRender::kwrGetErrorText(code);
    }
}

kwr_context* kwr_create(void) { return new (std::nothrow) kwr_context; }
void kwr_destroy(kwr_context* ctx) { delete ctx; }

int kwr_init_buffer(kwr_context* ctx, int width, int height) {
    KWR_STATUS(ctx, ctx->r.kwrInitBuffer(width, height), ctx->r.kwrGetLastError());
}
int kwr_destroy_buffer(kwr_context* ctx) { KWR_C_CALL(kwrDestroy()); }
int kwr_set_render_bpp(kwr_context* ctx, int bpp) {
    KWR_STATUS(ctx, ctx->r.kwrSetRenderBpp(bpp), ctx->r.kwrGetLastError());
}
int kwr_get_last_error(kwr_context* ctx) {
    return guarded(ctx, [&] { return ctx->r.kwrGetLastError(); });
}
std::uint32_t kwr_get_color(kwr_context* ctx) {
    return ctx != nullptr ? static_cast<std::uint32_t>(ctx->r.kwrGetColor()) : 0u;
}
float* kwr_get_zbuffer(kwr_context* ctx) {
    float* z = nullptr;
    guarded(ctx, [&] {
        z = ctx->r.kwrGetZBuffer();
        return KWR_OK;
    });
    return z;
}
const char* kwr_get_simd_level(void) { return KWRRender::kwrGetSimdLevel(); }
int kwr_set_threads(kwr_context* ctx, int n) {
    int in = 0;
    guarded(ctx, [&] {
        in = ctx->r.kwrSetThreads(n);
        return KWR_OK;
    });
    return in;
}
int kwr_get_threads(kwr_context* ctx) { return ctx != nullptr ? ctx->r.kwrGetThreads() : 0; }

// The frame buffer's layout, read from its BITMAPINFOHEADER.
int kwr_get_frame(kwr_context* ctx, kwr_frame* frame) {
    if (frame == nullptr) return KWR_ERROR_NULL_ARRAY;
    *frame = kwr_frame{};
    return guarded(ctx, [&] {
        void* header = nullptr;
        void* pixels = nullptr;
        if (ctx->r.kwrGetDib(&header, &pixels) == 0) return KWR_ERROR_FAILED;
        const auto* h = static_cast<const kwr::BITMAPINFO*>(header);
        frame->width = h->bmiHeader.biWidth;
        frame->height = h->bmiHeader.biHeight < 0 ? -h->bmiHeader.biHeight : h->bmiHeader.biHeight;
        frame->bits_per_pixel = h->bmiHeader.biBitCount;
        frame->pitch = static_cast<int>(kwr::dibRowBytes(static_cast<std::uint64_t>(frame->bits_per_pixel),
                                                         static_cast<std::uint64_t>(frame->width)));
        frame->pixels = static_cast<std::uint8_t*>(pixels);
        if (frame->bits_per_pixel == 8) {
            frame->palette = static_cast<const std::uint8_t*>(header) + h->bmiHeader.biSize;
            frame->palette_entries = 256;
        }
        return KWR_OK;
    });
}

int kwr_render(kwr_context* ctx, void* target, int x, int y) {
    if (target == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_C_CALL(kwrRender(static_cast<HDC>(target), x, y));
}

int kwr_trianglesf(kwr_context* ctx, std::size_t count, const float* xy) {
    return triangles<2>(ctx, count, xy, nullptr, nullptr, false, false,
                        [](KWRRender& r, const float* p, const std::uint32_t*, const float*) {
                            r.kwrTrianglef(p[0], p[1], p[2], p[3], p[4], p[5]);
                        });
}
int kwr_triangles3f(kwr_context* ctx, std::size_t count, const float* xyz) {
    return triangles<3>(ctx, count, xyz, nullptr, nullptr, false, false,
                        [](KWRRender& r, const float* p, const std::uint32_t*, const float*) {
                            r.kwrTriangle3f(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
                        });
}
int kwr_trianglescf(kwr_context* ctx, std::size_t count, const float* xy, const std::uint32_t* colors) {
    return triangles<2>(ctx, count, xy, colors, nullptr, true, false,
                        [](KWRRender& r, const float* p, const std::uint32_t* c, const float*) {
                            r.kwrTrianglecf(p[0], p[1], c[0], p[2], p[3], c[1], p[4], p[5], c[2]);
                        });
}
int kwr_triangles3cf(kwr_context* ctx, std::size_t count, const float* xyz, const std::uint32_t* colors) {
    return triangles<3>(ctx, count, xyz, colors, nullptr, true, false,
                        [](KWRRender& r, const float* p, const std::uint32_t* c, const float*) {
                            r.kwrTriangle3cf(p[0], p[1], p[2], c[0], p[3], p[4], p[5], c[1], p[6], p[7], p[8], c[2]);
                        });
}
int kwr_trianglestf(kwr_context* ctx, std::size_t count, const float* xy, const float* uv) {
    return triangles<2>(ctx, count, xy, nullptr, uv, false, true,
                        [](KWRRender& r, const float* p, const std::uint32_t*, const float* q) {
                            r.kwrTriangletf(p[0], p[1], q[0], q[1], p[2], p[3], q[2], q[3], p[4], p[5], q[4], q[5]);
                        });
}
int kwr_triangles3tf(kwr_context* ctx, std::size_t count, const float* xyz, const float* uv) {
    return triangles<3>(ctx, count, xyz, nullptr, uv, false, true,
                        [](KWRRender& r, const float* p, const std::uint32_t*, const float* q) {
                            r.kwrTriangle3tf(p[0], p[1], p[2], q[0], q[1], p[3], p[4], p[5], q[2], q[3], p[6], p[7],
                                             p[8], q[4], q[5]);
                        });
}
int kwr_trianglesctf(kwr_context* ctx, std::size_t count, const float* xy, const std::uint32_t* colors,
                     const float* uv) {
    return triangles<2>(ctx, count, xy, colors, uv, true, true,
                        [](KWRRender& r, const float* p, const std::uint32_t* c, const float* q) {
                            r.kwrTrianglectf(p[0], p[1], c[0], q[0], q[1], p[2], p[3], c[1], q[2], q[3], p[4], p[5],
                                             c[2], q[4], q[5]);
                        });
}
int kwr_triangles3ctf(kwr_context* ctx, std::size_t count, const float* xyz, const std::uint32_t* colors,
                      const float* uv) {
    return triangles<3>(ctx, count, xyz, colors, uv, true, true,
                        [](KWRRender& r, const float* p, const std::uint32_t* c, const float* q) {
                            r.kwrTriangle3ctf(p[0], p[1], p[2], c[0], q[0], q[1], p[3], p[4], p[5], c[1], q[2], q[3],
                                              p[6], p[7], p[8], c[2], q[4], q[5]);
                        });
}

int kwr_linesf(kwr_context* ctx, std::size_t count, const float* xy) {
    return each<4>(ctx, count, xy, [](KWRRender& r, const float* p) { r.kwrLinef(p[0], p[1], p[2], p[3]); });
}
int kwr_lines3f(kwr_context* ctx, std::size_t count, const float* xyz) {
    return each<6>(ctx, count, xyz,
                   [](KWRRender& r, const float* p) { r.kwrLine3f(p[0], p[1], p[2], p[3], p[4], p[5]); });
}
int kwr_points(kwr_context* ctx, std::size_t count, const int* xy) {
    return each<2>(ctx, count, xy, [](KWRRender& r, const int* p) { r.kwrPut(p[0], p[1]); });
}

// --- Bitmap files ---

kwr_image* kwr_image_create(void) {
    try {
        return new kwr_image;
    } catch (...) {
        return nullptr;
    }
}
void kwr_image_destroy(kwr_image* image) { delete image; }

#define KWR_IMAGE_CALL(call) KWR_STATUS(image, image->img.call, image->img.kwrGetError())

int kwr_image_load(kwr_image* image, const char* path) {
    if (path == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_IMAGE_CALL(kwrLoad(path));
}
int kwr_image_load_memory(kwr_image* image, const void* data, std::size_t size) {
    if (data == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_IMAGE_CALL(kwrLoadMemory(data, size));
}
int kwr_image_save(kwr_image* image, const char* path) {
    if (path == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_IMAGE_CALL(kwrSave(path));
}
int kwr_image_save_png(kwr_image* image, const char* path) {
    if (path == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_IMAGE_CALL(kwrSavePng(path));
}
int kwr_png_supported(void) { return KWRImage::kwrPngSupported(); }
int kwr_image_convert(kwr_image* image, int bpp) { KWR_IMAGE_CALL(kwrConvert(bpp)); }
int kwr_image_resize(kwr_image* image, int width, int height) { KWR_IMAGE_CALL(kwrResize(width, height)); }
int kwr_image_make_texture(kwr_image* image) { KWR_IMAGE_CALL(kwrMakeTexture()); }
int kwr_image_make_alpha_map(kwr_image* image, int source) { KWR_IMAGE_CALL(kwrMakeAlphaMap(source)); }
int kwr_image_from_frame(kwr_image* image, kwr_context* ctx) {
    if (ctx == nullptr) return KWR_ERROR_NULL_HANDLE;
    KWR_IMAGE_CALL(kwrFromFrame(ctx->r));
}
int kwr_image_get(kwr_image* image, kwr_frame* frame) {
    if (frame == nullptr) return KWR_ERROR_NULL_ARRAY;
    *frame = kwr_frame{};
    return guarded(image, [&] {
        const KWRImage& i = image->img;
        if (i.kwrIsEmpty()) return static_cast<int>(kwr::kDibInvalidImage);
        frame->width = i.kwrGetWidth();
        frame->height = i.kwrGetHeight();
        frame->bits_per_pixel = i.kwrGetBpp();
        // Row 0 is the top row; bottom-up images step upwards through memory.
        frame->pitch = i.kwrIsTopDown() ? i.kwrGetPitch() : -i.kwrGetPitch();
        frame->pixels = i.kwrGetRow(0);
        frame->palette = i.kwrGetPalette(&frame->palette_entries);
        return KWR_OK;
    });
}
int kwr_save_frame(kwr_context* ctx, const char* path) {
    if (path == nullptr) return KWR_ERROR_NULL_ARRAY;
    int error = 0;
    KWR_STATUS(ctx, KWRImage::kwrSaveFrame(ctx->r, path, &error), error);
}

// --- Single calls, each forwarding to the member of the same name ---

int kwr_set_color(kwr_context* ctx, uint32_t argb) { KWR_C_CALL(kwrSetColor(argb)); }
int kwr_set_colorf(kwr_context* ctx, float r, float g, float b) { KWR_C_CALL(kwrSetColorf(r, g, b)); }
int kwr_set_color4f(kwr_context* ctx, float r, float g, float b, float a) { KWR_C_CALL(kwrSetColor4f(r, g, b, a)); }
int kwr_clear(kwr_context* ctx) { KWR_C_CALL(kwrClear()); }
int kwr_zbuffer_enable(kwr_context* ctx, int enable) { KWR_C_CALL(kwrZBufferEnable(enable)); }
int kwr_ztest_enable(kwr_context* ctx, int enable) { KWR_C_CALL(kwrZTestEnable(enable)); }
int kwr_alpha_enable(kwr_context* ctx, int enable) { KWR_C_CALL(kwrAlphaEnable(enable)); }
int kwr_set_external_zbuffer(kwr_context* ctx, float* zbuffer) { KWR_C_CALL(kwrSetExternalZBuffer(zbuffer)); }
int kwr_set_zback_depth(kwr_context* ctx, float z) { KWR_C_CALL(kwrSetZBackDepth(z)); }
int kwr_set_texture(kwr_context* ctx, uint8_t* texels, int width, int height, int row_pitch) {
    KWR_C_CALL(kwrSetTexture(texels, width, height, row_pitch));
}
int kwr_set_alpha_map(kwr_context* ctx, uint8_t* values, int width, int height, int row_pitch) {
    KWR_C_CALL(kwrSetAlphaMap(values, width, height, row_pitch));
}
int kwr_flush(kwr_context* ctx) { KWR_C_CALL(kwrFlush()); }
int kwr_set_cull(kwr_context* ctx, int mode) { KWR_C_CALL(kwrSetCull(mode)); }
int kwr_set_texture_filter(kwr_context* ctx, int filter) { KWR_C_CALL(kwrSetTextureFilter(filter)); }
int kwr_triangles_clip(kwr_context* ctx, int count, const float* xyzw, const std::uint32_t* colors, const float* uv) {
    if (ctx != nullptr && count > 0 && xyzw == nullptr) return KWR_ERROR_NULL_ARRAY;
    KWR_STATUS(ctx, ctx->r.kwrTrianglesClip(count, xyzw, colors, uv), ctx->r.kwrGetLastError());
}
int kwr_triangles_clip_indexed(kwr_context* ctx, int vertex_count, const float* xyzw, const std::uint32_t* colors,
                               const float* uv, int count, const std::uint32_t* indices) {
    if (ctx != nullptr && count > 0 && (xyzw == nullptr || indices == nullptr)) return KWR_ERROR_NULL_ARRAY;
    KWR_STATUS(ctx, ctx->r.kwrTrianglesClipIndexed(vertex_count, xyzw, colors, uv, count, indices),
               ctx->r.kwrGetLastError());
}
int kwr_put(kwr_context* ctx, int x, int y) { KWR_C_CALL(kwrPut(x, y)); }
int kwr_box(kwr_context* ctx, int x1, int y1, int x2, int y2) { KWR_C_CALL(kwrBox(x1, y1, x2, y2)); }
int kwr_boxf(kwr_context* ctx, float x1, float y1, float x2, float y2) { KWR_C_CALL(kwrBoxf(x1, y1, x2, y2)); }
int kwr_boxfg(kwr_context* ctx, float x1, float y1, float x2, float y2) { KWR_C_CALL(kwrBoxfg(x1, y1, x2, y2)); }
int kwr_box3(kwr_context* ctx, int x1, int y1, int x2, int y2, float z) { KWR_C_CALL(kwrBox3(x1, y1, x2, y2, z)); }
int kwr_box3f(kwr_context* ctx, float x1, float y1, float x2, float y2, float z) {
    KWR_C_CALL(kwrBox3f(x1, y1, x2, y2, z));
}
int kwr_box3fg(kwr_context* ctx, float x1, float y1, float x2, float y2, float z) {
    KWR_C_CALL(kwrBox3fg(x1, y1, x2, y2, z));
}
int kwr_bitmap1(kwr_context* ctx, int x, int y, int w, int h, uint8_t* bitmap) {
    KWR_C_CALL(kwrBitmap1(x, y, w, h, bitmap));
}
int kwr_image2d(kwr_context* ctx, int x1, int y1, int x2, int y2, int src_w, int src_h, int src_bpp, uint8_t* src) {
    KWR_C_CALL(kwrImage2D(x1, y1, x2, y2, src_w, src_h, src_bpp, src));
}
int kwr_image2d3(kwr_context* ctx, int x1, int y1, int x2, int y2, float z, int src_w, int src_h, int src_bpp,
                 uint8_t* src) {
    KWR_C_CALL(kwrImage2D3(x1, y1, x2, y2, z, src_w, src_h, src_bpp, src));
}
int kwr_line(kwr_context* ctx, int x1, int y1, int x2, int y2) { KWR_C_CALL(kwrLine(x1, y1, x2, y2)); }
int kwr_linef(kwr_context* ctx, float x1, float y1, float x2, float y2) { KWR_C_CALL(kwrLinef(x1, y1, x2, y2)); }
int kwr_linefg(kwr_context* ctx, float x1, float y1, float x2, float y2) { KWR_C_CALL(kwrLinefg(x1, y1, x2, y2)); }
int kwr_line3(kwr_context* ctx, int x1, int y1, float z1, int x2, int y2, float z2) {
    KWR_C_CALL(kwrLine3(x1, y1, z1, x2, y2, z2));
}
int kwr_line3f(kwr_context* ctx, float x1, float y1, float z1, float x2, float y2, float z2) {
    KWR_C_CALL(kwrLine3f(x1, y1, z1, x2, y2, z2));
}
int kwr_line3fg(kwr_context* ctx, float x1, float y1, float z1, float x2, float y2, float z2) {
    KWR_C_CALL(kwrLine3fg(x1, y1, z1, x2, y2, z2));
}
// The eight triangle kinds of one coordinate form, as the header declares
// them: S the form's suffix, T the type of x and y.
#define KWR_C_TRIANGLES_FORWARDED(S, T)                                                                              \
    int kwr_triangle##S(kwr_context* ctx, T x1, T y1, T x2, T y2, T x3, T y3) {                                    \
        KWR_C_CALL(kwrTriangle##S(x1, y1, x2, y2, x3, y3));                                                       \
    }                                                                                                              \
    int kwr_triangle3##S(kwr_context* ctx, T x1, T y1, float z1, T x2, T y2, float z2, T x3, T y3, float z3) {     \
        KWR_C_CALL(kwrTriangle3##S(x1, y1, z1, x2, y2, z2, x3, y3, z3));                                          \
    }                                                                                                              \
    int kwr_trianglec##S(kwr_context* ctx, T x1, T y1, uint32_t c1, T x2, T y2, uint32_t c2, T x3, T y3,           \
                         uint32_t c3) {                                                                            \
        KWR_C_CALL(kwrTrianglec##S(x1, y1, c1, x2, y2, c2, x3, y3, c3));                                          \
    }                                                                                                              \
    int kwr_triangle3c##S(kwr_context* ctx, T x1, T y1, float z1, uint32_t c1, T x2, T y2, float z2, uint32_t c2,  \
                          T x3, T y3, float z3, uint32_t c3) {                                                     \
        KWR_C_CALL(kwrTriangle3c##S(x1, y1, z1, c1, x2, y2, z2, c2, x3, y3, z3, c3));                             \
    }                                                                                                              \
    int kwr_trianglet##S(kwr_context* ctx, T x1, T y1, float u1, float v1, T x2, T y2, float u2, float v2, T x3,   \
                         T y3, float u3, float v3) {                                                               \
        KWR_C_CALL(kwrTrianglet##S(x1, y1, u1, v1, x2, y2, u2, v2, x3, y3, u3, v3));                              \
    }                                                                                                              \
    int kwr_triangle3t##S(kwr_context* ctx, T x1, T y1, float z1, float u1, float v1, T x2, T y2, float z2,        \
                          float u2, float v2, T x3, T y3, float z3, float u3, float v3) {                          \
        KWR_C_CALL(kwrTriangle3t##S(x1, y1, z1, u1, v1, x2, y2, z2, u2, v2, x3, y3, z3, u3, v3));                 \
    }                                                                                                              \
    int kwr_trianglect##S(kwr_context* ctx, T x1, T y1, uint32_t c1, float u1, float v1, T x2, T y2, uint32_t c2,  \
                          float u2, float v2, T x3, T y3, uint32_t c3, float u3, float v3) {                       \
        KWR_C_CALL(kwrTrianglect##S(x1, y1, c1, u1, v1, x2, y2, c2, u2, v2, x3, y3, c3, u3, v3));                 \
    }                                                                                                              \
    int kwr_triangle3ct##S(kwr_context* ctx, T x1, T y1, float z1, uint32_t c1, float u1, float v1, T x2, T y2,    \
                           float z2, uint32_t c2, float u2, float v2, T x3, T y3, float z3, uint32_t c3, float u3, \
                           float v3) {                                                                             \
        KWR_C_CALL(kwrTriangle3ct##S(x1, y1, z1, c1, u1, v1, x2, y2, z2, c2, u2, v2, x3, y3, z3, c3, u3, v3));    \
    }
KWR_C_TRIANGLES_FORWARDED(f, float)
KWR_C_TRIANGLES_FORWARDED(fg, float)
KWR_C_TRIANGLES_FORWARDED(, int)

}  // extern "C"
