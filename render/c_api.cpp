// The C interface (include/kwrender.h): handles around the C++ classes, and
// calls that forward to their members, turning null handles, null arrays and
// exceptions into status codes.
#include "kwrender.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <new>

#include "render/c_context.h"
#include "render/dib_stream.h"
#include "render/state.h"
#include "render/threads.h"

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

// One triangle of packed arrays drawn by a member: 3 x Dims floats of
// position, and 3 colours and 6 texture coordinates where the call has them.
using TriangleDraw = void (*)(KWRRender& r, const float* pos, const std::uint32_t* colors, const float* uv);

}  // namespace

namespace kwr {

// Batches on a context that records: a run of triangles is one record, a
// copy of its part of the host's arrays with the threads each triangle may
// reach, and every thread walks the run drawing its own triangles.
struct Batches {
    // Triangles per record: runs short enough for the workers to start on
    // while the caller copies the next.
    static constexpr std::size_t kRun = 256;

    struct Run {
        TriangleDraw draw;
        std::uint32_t count;
        std::uint32_t dims;
        std::uint32_t colors, uv;  // 0 or 1
    };
    static constexpr std::size_t kMasksAt = recordRoundUp(sizeof(Run));

    // Bytes of one triangle in a record, after its mask.
    static std::size_t posBytes(const Run& b) { return 3 * b.dims * sizeof(float); }
    static std::size_t colorBytes(const Run& b) { return b.colors * 3 * sizeof(std::uint32_t); }
    static std::size_t uvBytes(const Run& b) { return b.uv * 6 * sizeof(float); }

    static void replay(KWRRender& self, RenderState& s, const unsigned char* args) {
        Run b;
        std::memcpy(&b, args, sizeof b);
        const unsigned char* masks = args + kMasksAt;
        const unsigned char* pos = masks + b.count * sizeof(std::uint64_t);
        const unsigned char* colors = pos + b.count * posBytes(b);
        const unsigned char* uv = colors + b.count * colorBytes(b);
        float p[9], q[6];
        std::uint32_t c[3];
        for (std::uint32_t i = 0; i < b.count; ++i) {
            std::uint64_t mask;
            std::memcpy(&mask, masks + i * sizeof mask, sizeof mask);
            if (((mask >> s.bandIndex) & 1u) == 0) continue;
            std::memcpy(p, pos + i * posBytes(b), posBytes(b));
            std::memcpy(c, colors + i * colorBytes(b), colorBytes(b));
            std::memcpy(q, uv + i * uvBytes(b), uvBytes(b));
            b.draw(self, p, c, q);
        }
    }

    // Records count triangles when the context records; false when it draws.
    static bool record(KWRRender& r, std::size_t count, std::uint32_t dims, const float* pos,
                       const std::uint32_t* colors, const float* uv, TriangleDraw draw) {
        RenderState& s = r.s;
        if (!recording(s)) return false;
        for (std::size_t first = 0; first < count; first += kRun) {
            Run b{draw, static_cast<std::uint32_t>(count - first < kRun ? count - first : kRun), dims,
                  colors != nullptr ? 1u : 0u, uv != nullptr ? 1u : 0u};
            const std::size_t n = b.count;
            const std::size_t bytes = kMasksAt + n * (sizeof(std::uint64_t) + posBytes(b) + colorBytes(b) + uvBytes(b));
            CommandHeader h{&replay, 0, 0, 0};
            unsigned char* const at = s.pool->reserve(s, bytes, h);
            std::memcpy(at, &b, sizeof b);
            const float* p = pos + first * 3 * dims;
            std::uint64_t any = 0;
            for (std::size_t i = 0; i < n; ++i, p += 3 * dims) {
                const std::uint64_t mask = s.pool->threadsForTriangle(p[1], p[dims + 1], p[2 * dims + 1], s.height);
                std::memcpy(at + kMasksAt + i * sizeof mask, &mask, sizeof mask);
                any |= mask;
            }
            unsigned char* to = at + kMasksAt + n * sizeof(std::uint64_t);
            std::memcpy(to, pos + first * 3 * dims, n * posBytes(b));
            to += n * posBytes(b);
            if (colors != nullptr) std::memcpy(to, colors + first * 3, n * colorBytes(b));
            to += n * colorBytes(b);
            if (uv != nullptr) std::memcpy(to, uv + first * 6, n * uvBytes(b));
            // Threads none of the run's triangles reaches skip it.
            ThreadPool::setThreads(at, any);
        }
        return true;
    }
};

}  // namespace kwr

namespace {

// count triangles from packed arrays: Dims floats of position, then a colour
// and two texture coordinates per vertex where the arrays are given.
template <int Dims>
int triangles(kwr_context* ctx, std::size_t count, const float* pos, const std::uint32_t* colors, const float* uv,
              bool needColors, bool needUv, TriangleDraw draw) {
    if (ctx == nullptr) return KWR_ERROR_NULL_HANDLE;
    if (count == 0) return KWR_OK;
    if (pos == nullptr || (needColors && colors == nullptr) || (needUv && uv == nullptr)) return KWR_ERROR_NULL_ARRAY;
    return guarded(ctx, [&] {
        if (kwr::Batches::record(ctx->r, count, Dims, pos, needColors ? colors : nullptr, needUv ? uv : nullptr,
                                 draw))
            return KWR_OK;
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

// --- Calls whose C body is more than a forwarder ---

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

// --- Every other call of a member: a forwarder made from the table of calls ---

#include "render/c_api_calls.inc"

}  // extern "C"
