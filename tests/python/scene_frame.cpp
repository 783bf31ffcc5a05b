// Writes the fixed test scene (frame 0, every drawing entry point) as raw
// bytes: the visible bytes of every row, top to bottom, then the depth
// buffer's floats.  The Python tests draw the same scene through the
// package and compare the bytes.
//
//     kwrender_scene_frame BPP OUT
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "KWRRender.h"
#include "scene.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: kwrender_scene_frame BPP OUT\n");
        return 2;
    }
    auto r = std::make_unique<KWRRender>();
    if (!r->kwrSetRenderBpp(std::atoi(argv[1])) ||
        !r->kwrInitBuffer(kwr_demo::kSceneWidth, kwr_demo::kSceneHeight)) {
        std::fprintf(stderr, "%s\n", KWRRender::kwrGetErrorText(r->kwrGetLastError()));
        return 1;
    }
    kwr_demo::SceneAssets assets;
    kwr_demo::drawScene(*r, assets, 0);
    const kwr_demo::FrameFormat f = kwr_demo::frameFormat(*r);
    std::FILE* out = std::fopen(argv[2], "wb");
    if (out == nullptr) return 1;
    const std::size_t visible = static_cast<std::size_t>(f.width) * static_cast<std::size_t>(f.bpp) / 8;
    bool ok = true;
    for (int y = 0; y < f.height; ++y) {
        ok = ok && std::fwrite(f.pixels + static_cast<std::size_t>(y) * f.rowBytes, 1, visible, out) == visible;
    }
    const std::size_t depths = static_cast<std::size_t>(f.width) * static_cast<std::size_t>(f.height);
    ok = ok && std::fwrite(r->kwrGetZBuffer(), sizeof(float), depths, out) == depths;
    return std::fclose(out) == 0 && ok ? 0 : 1;
}
