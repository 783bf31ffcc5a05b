// The showcase in a web page: the library, compiled to WebAssembly, draws
// the scene; the frame is presented through the memory target and handed to
// the page's canvas as RGBA bytes.  web/showcase.js calls these functions.
//
// The conversion to RGBA: each 32-bit word 0x00RRGGBB the memory target
// receives becomes the four bytes red, green, blue, 255 (the layout of a
// canvas's ImageData), so the canvas holds the same colours as a native
// window shows.
#include <emscripten/emscripten.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "KWRRender.h"
#include "showcase.h"

namespace {

using namespace kwr_demo;

struct Page {
    ShowcaseAssets assets;
    std::unique_ptr<KWRRender> render;
    std::vector<std::uint32_t> frame;  // the presented frame, converted in place to RGBA
    int width = 0, height = 0;
    int triangles = 0;
    double drawMs = 0;
};

Page* page = nullptr;

// Rewrites the presented words 0x00RRGGBB as the bytes R, G, B, 255.
void toRgba(std::vector<std::uint32_t>& words) {
    unsigned char* bytes = reinterpret_cast<unsigned char*>(words.data());
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::uint32_t w = words[i];
        bytes[4 * i] = static_cast<unsigned char>(w >> 16);
        bytes[4 * i + 1] = static_cast<unsigned char>(w >> 8);
        bytes[4 * i + 2] = static_cast<unsigned char>(w);
        bytes[4 * i + 3] = 255;
    }
}

}  // namespace

extern "C" {

// Builds the scene's assets.  `simd` caps the instruction-set level as
// KWRENDER_SIMD does natively (the page's only environment); an empty
// name caps nothing.  Must come before the first frame.  Returns 1.
EMSCRIPTEN_KEEPALIVE int kwrWebStart(const char* simd) {
    if (simd != nullptr && simd[0] != '\0') setenv("KWRENDER_SIMD", simd, 1);
    if (page == nullptr) page = new Page;
    return 1;
}

// A frame buffer of width x height pixels at `bpp` bits per pixel, with a
// depth buffer.  Returns 1, or 0 (and no frame) when the library refuses.
EMSCRIPTEN_KEEPALIVE int kwrWebSetFrame(int width, int height, int bpp) {
    if (page == nullptr) return 0;
    page->render.reset();
    page->frame.clear();
    auto r = std::make_unique<KWRRender>();
    if (r->kwrSetRenderBpp(bpp) != 1 || r->kwrInitBuffer(width, height) != 1) return 0;
    page->render = std::move(r);
    page->width = width;
    page->height = height;
    page->frame.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    return 1;
}

// Switches of kwrWebDraw.
enum { kDepth = 1, kBlending = 2, kTexturing = 4, kPerspectiveFloor = 8 };

// Draws animation frame `n` with the switches in `switches` (kDepth |
// kBlending | kTexturing: the pictures; kPerspectiveFloor adds the floor
// drawn from clip space), presents it and returns its RGBA
// bytes (width * height * 4, valid until the next call), or null without a
// frame buffer.
EMSCRIPTEN_KEEPALIVE unsigned char* kwrWebDraw(int n, int switches) {
    if (page == nullptr || !page->render) return nullptr;
    ShowcaseFrame f;
    f.angle = showcaseAngle(n);
    f.depth = (switches & kDepth) != 0;
    f.blending = (switches & kBlending) != 0;
    f.texturing = (switches & kTexturing) != 0;
    f.perspectiveFloor = (switches & kPerspectiveFloor) != 0;
    const double start = emscripten_get_now();
    page->triangles = drawShowcase(*page->render, page->assets, f);
    page->drawMs = emscripten_get_now() - start;
    KWRMemoryDC dc{page->width, page->height, page->width * 4, page->frame.data()};
    page->render->kwrRender(&dc, 0, 0);
    toRgba(page->frame);
    return reinterpret_cast<unsigned char*>(page->frame.data());
}

// The last frame's drawing time in milliseconds (without the presentation)
// and its triangle count.
EMSCRIPTEN_KEEPALIVE double kwrWebDrawMs() { return page != nullptr ? page->drawMs : 0; }
EMSCRIPTEN_KEEPALIVE int kwrWebTriangles() { return page != nullptr ? page->triangles : 0; }

// The instruction-set level the fills use ("simd128" or "scalar").
EMSCRIPTEN_KEEPALIVE const char* kwrWebLevel() { return KWRRender::kwrGetSimdLevel(); }

}  // extern "C"
