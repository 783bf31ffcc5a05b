/* The C interface, compiled as C: single and batched drawing give the same
 * bytes, null handles and arrays are status codes, and the frame, the image
 * library and the version are reachable.  Prints "N passed, M failed". */
#include <stdio.h>
#include <string.h>

#include "kwrender.h"

static int passed, failed;

static void check(int ok, const char* what) {
    if (ok) {
        ++passed;
    } else {
        ++failed;
        printf("FAILED: %s\n", what);
    }
}

enum { W = 61, H = 47, N = 40 };

/* A context at `bpp` with a cleared frame and a bound texture. */
static kwr_context* frame(int bpp, uint8_t* texels) {
    kwr_context* c = kwr_create();
    kwr_set_render_bpp(c, bpp);
    kwr_init_buffer(c, W, H);
    kwr_set_color(c, 0xFF203040u);
    kwr_clear(c);
    kwr_set_texture(c, texels, 4, 4, 16);
    kwr_alpha_enable(c, 1);
    return c;
}

static int same_frames(kwr_context* a, kwr_context* b) {
    kwr_frame fa, fb;
    if (kwr_get_frame(a, &fa) != KWR_OK || kwr_get_frame(b, &fb) != KWR_OK) return 0;
    for (int y = 0; y < H; ++y)
        if (memcmp(fa.pixels + y * fa.pitch, fb.pixels + y * fb.pitch, (size_t)(W * fa.bits_per_pixel / 8)) != 0)
            return 0;
    return memcmp(kwr_get_zbuffer(a), kwr_get_zbuffer(b), sizeof(float) * W * H) == 0;
}

int main(void) {
    float xyz[N * 9], uv[N * 6], xy[N * 6];
    uint32_t colors[N * 3];
    uint8_t texels[64];
    unsigned seed = 12345u;
    for (int i = 0; i < 64; ++i) texels[i] = (uint8_t)(i * 37 + 11);
    for (int v = 0; v < N * 3; ++v) {
        seed = seed * 1103515245u + 12345u;
        xyz[3 * v + 0] = xy[2 * v + 0] = (float)(seed % 7000) / 100.0f - 5.0f;
        seed = seed * 1103515245u + 12345u;
        xyz[3 * v + 1] = xy[2 * v + 1] = (float)(seed % 5500) / 100.0f - 4.0f;
        xyz[3 * v + 2] = (float)(seed % 97) / 97.0f;
        colors[v] = seed * 2654435761u;
        uv[2 * v + 0] = (float)(seed % 300) / 100.0f - 1.0f;
        uv[2 * v + 1] = (float)(seed % 211) / 100.0f;
    }

    /* Batched calls equal single calls, in every format. */
    for (int bpp = 8; bpp <= 32; bpp += 8) {
        kwr_context* one = frame(bpp, texels);
        kwr_context* batch = frame(bpp, texels);
        for (int t = 0; t < N; ++t) {
            const float* p = xyz + 9 * t;
            const float* q = uv + 6 * t;
            const uint32_t* c = colors + 3 * t;
            kwr_triangle3ctf(one, p[0], p[1], p[2], c[0], q[0], q[1], p[3], p[4], p[5], c[1], q[2], q[3], p[6], p[7],
                             p[8], c[2], q[4], q[5]);
        }
        for (int t = 0; t < N; ++t) {
            const float* p = xy + 6 * t;
            const uint32_t* c = colors + 3 * t;
            kwr_trianglecf(one, p[0], p[1], c[0], p[2], p[3], c[1], p[4], p[5], c[2]);
        }
        for (int t = 0; t < N; ++t) {
            const float* p = xyz + 9 * t;
            kwr_triangle3f(one, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
        }
        kwr_triangles3ctf(batch, N, xyz, colors, uv);
        kwr_trianglescf(batch, N, xy, colors);
        kwr_triangles3f(batch, N, xyz);
        check(same_frames(one, batch), "batched triangles equal single calls");
        kwr_linesf(one, N, xy);
        for (int i = 0; i < N; ++i) kwr_linef(batch, xy[4 * i], xy[4 * i + 1], xy[4 * i + 2], xy[4 * i + 3]);
        check(same_frames(one, batch), "batched lines equal single calls");
        kwr_destroy(one);
        kwr_destroy(batch);
    }

    /* Clip-space triangles: w = 1 draws the screen-space bytes; bad
     * arguments are codes. */
    {
        kwr_context* one = frame(24, texels);
        kwr_context* clip = frame(24, texels);
        const float xyzw[12] = {-0.5f, -0.5f, 0.25f, 1, 0.5f, -0.5f, 0.25f, 1, 0, 0.5f, 0.75f, 1};
        const uint32_t argb[3] = {0xFFFF0000u, 0xFF00FF00u, 0xFF0000FFu};
        const uint32_t indices[3] = {0, 1, 2}, bad[3] = {0, 1, 3};
        float p[6];
        for (int k = 0; k < 3; ++k) {
            p[2 * k] = (float)((xyzw[4 * k] / 1.0 + 1.0) * (0.5 * W));
            p[2 * k + 1] = (float)((1.0 - xyzw[4 * k + 1] / 1.0) * (0.5 * H));
        }
        kwr_triangle3cf(one, p[0], p[1], 0.25f, argb[0], p[2], p[3], 0.25f, argb[1], p[4], p[5], 0.75f, argb[2]);
        check(kwr_set_cull(clip, KWR_CULL_FRONT) == KWR_OK && kwr_set_cull(clip, KWR_CULL_NONE) == KWR_OK &&
                  kwr_set_texture_filter(clip, KWR_FILTER_BILINEAR) == KWR_OK,
              "cull and filter settings");
        check(kwr_triangles_clip_indexed(clip, 3, xyzw, argb, NULL, 1, indices) == KWR_OK, "clip-space triangle");
        check(same_frames(one, clip), "clip space at w = 1 equals screen space");
        check(kwr_triangles_clip(clip, 1, NULL, NULL, NULL) == KWR_ERROR_NULL_ARRAY, "null clip-space array");
        check(kwr_triangles_clip(clip, -1, xyzw, NULL, NULL) == 15, "negative count");
        check(kwr_triangles_clip_indexed(clip, 3, xyzw, NULL, NULL, 1, bad) == 16 &&
                  strcmp(kwr_error_text(16), "index out of range") == 0,
              "index out of range");
        kwr_destroy(one);
        kwr_destroy(clip);
    }

    /* Null handles and arrays are codes, never crashes. */
    check(kwr_clear(NULL) == KWR_ERROR_NULL_HANDLE, "null handle");
    check(kwr_triangles3ctf(NULL, 1, xyz, colors, uv) == KWR_ERROR_NULL_HANDLE, "null handle, batch");
    kwr_context* c = kwr_create();
    check(kwr_triangles3ctf(c, 1, xyz, NULL, uv) == KWR_ERROR_NULL_ARRAY, "null colours");
    check(kwr_points(c, 2, NULL) == KWR_ERROR_NULL_ARRAY, "null points");
    check(kwr_get_frame(c, NULL) == KWR_ERROR_NULL_ARRAY, "null frame record");
    check(kwr_init_buffer(c, 0, 5) == 14 && strcmp(kwr_error_text(14), "width or height below 1") == 0, "bad size");
    check(kwr_set_render_bpp(c, 7) == 13 && kwr_get_last_error(c) == 13, "bad depth");
    check(strcmp(kwr_error_text(KWR_ERROR_NULL_HANDLE), "null handle") == 0, "error text");

    /* The frame, presentation, the image library. */
    check(kwr_set_render_bpp(c, 24) == KWR_OK && kwr_init_buffer(c, 8, 4) == KWR_OK, "init");
    kwr_set_color(c, 0xFF102030u);
    kwr_clear(c);
    kwr_frame f;
    check(kwr_get_frame(c, &f) == KWR_OK && f.width == 8 && f.height == 4 && f.bits_per_pixel == 24 &&
              f.pitch == 24 && f.pixels[0] == 0x30 && f.pixels[2] == 0x10,
          "frame record");
#if !defined(_WIN32)
    uint32_t target[8 * 4];
    kwr_memory_target dc = {8, 4, 32, target};
    check(kwr_render(c, &dc, 0, 0) == KWR_OK && target[31] == 0x102030u, "presentation into memory");
#endif
    kwr_image* img = kwr_image_create();
    check(kwr_image_from_frame(img, c) == KWR_OK && kwr_image_convert(img, 32) == KWR_OK, "image from frame");
    kwr_frame g;
    check(kwr_image_get(img, &g) == KWR_OK && g.bits_per_pixel == 32 && g.width == 8 &&
              g.pixels[3 * g.pitch + 0] == 0x30,
          "image record");
    check(kwr_image_load(img, "no such file.bmp") == 3 && strcmp(kwr_error_text(3), "open file") == 0, "load error");
    check(kwr_image_load(NULL, "x.bmp") == KWR_ERROR_NULL_HANDLE, "null image");
    kwr_image_destroy(img);
    kwr_destroy(c);
    kwr_destroy(NULL);

    check(kwr_version() == ((KWRENDER_VERSION_MAJOR << 16) | (KWRENDER_VERSION_MINOR << 8) | KWRENDER_VERSION_PATCH),
          "version");
    check(strcmp(kwr_version_string(), KWRENDER_VERSION_STRING) == 0, "version string");

    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
