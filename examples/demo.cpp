// Demo: draws the example scene in every surface format, presents each frame
// and writes it to a BMP file, then times a run of animated frames.
#include <chrono>
#include <cstring>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

#include "KWRRender.h"
#include "scene.h"

namespace {

// Writes a 32-bit top-down pixel buffer (0x00RRGGBB) as a 24-bit BMP file.
bool writeBmp(const std::string& path, const std::vector<std::uint32_t>& px, int w, int h) {
    const int row = (w * 3 + 3) & ~3;
    const std::uint32_t size = 54u + static_cast<std::uint32_t>(row * h);
    unsigned char head[54] = {'B', 'M'};
    auto put32 = [&head](int at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) head[at + i] = static_cast<unsigned char>(v >> (8 * i));
    };
    put32(2, size);
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<std::uint32_t>(w));
    put32(22, static_cast<std::uint32_t>(h));
    head[26] = 1;
    head[28] = 24;
    put32(34, static_cast<std::uint32_t>(row * h));
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    std::fwrite(head, 1, sizeof head, f);
    std::vector<unsigned char> line(static_cast<std::size_t>(row), 0);
    for (int y = h - 1; y >= 0; --y) {  // BMP rows run bottom-up
        for (int x = 0; x < w; ++x) {
            const std::uint32_t p = px[static_cast<std::size_t>(y * w + x)];
            line[static_cast<std::size_t>(3 * x)] = static_cast<unsigned char>(p);
            line[static_cast<std::size_t>(3 * x + 1)] = static_cast<unsigned char>(p >> 8);
            line[static_cast<std::size_t>(3 * x + 2)] = static_cast<unsigned char>(p >> 16);
        }
        std::fwrite(line.data(), 1, line.size(), f);
    }
    return std::fclose(f) == 0;
}

// Presents the frame 1:1 into `target` (w x h, 0x00RRGGBB, top-down).
void present(KWRRender& r, std::vector<std::uint32_t>& target, int w, int h) {
#if defined(_WIN32)
    // Through GDI: a memory device context with a 32 bpp DIB section.
    HDC dc = CreateCompatibleDC(nullptr);
    BITMAPINFO bi = {};
    bi.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    bi.bmiHeader.biWidth = w;
    bi.bmiHeader.biHeight = -h;
    bi.bmiHeader.biPlanes = 1;
    bi.bmiHeader.biBitCount = 32;
    bi.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(dc, &bi, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(dc, bitmap);
    r.kwrRender(dc, 0, 0);
    GdiFlush();
    if (bits != nullptr) std::memcpy(target.data(), bits, target.size() * 4);
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
#else
    KWRMemoryDC dc{w, h, w * 4, target.data()};
    r.kwrRender(&dc, 0, 0);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    const std::string outDir = argc > 1 ? argv[1] : ".";
    const int w = kwr_demo::kSceneWidth, h = kwr_demo::kSceneHeight;
    kwr_demo::SceneAssets assets;
    int failures = 0;
    for (int bpp : {8, 16, 24, 32}) {
        auto r = std::make_unique<KWRRender>();
        if (r->kwrSetRenderBpp(bpp) != 1 || r->kwrInitBuffer(w, h) != 1) {
            std::fprintf(stderr, "cannot create a %d bpp frame\n", bpp);
            return 1;
        }
        kwr_demo::drawScene(*r, assets, 0);

        std::vector<std::uint32_t> target(static_cast<std::size_t>(w * h), 0);
        present(*r, target, w, h);
        const std::string path = outDir + "/demo_" + std::to_string(bpp) + "bpp.bmp";
        if (!writeBmp(path, target, w, h)) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            ++failures;
        }
        const auto start = std::chrono::steady_clock::now();
        const int frames = 200;
        for (int i = 0; i < frames; ++i) kwr_demo::drawScene(*r, assets, i);
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        kwr_demo::drawScene(*r, assets, 0);
        std::printf("%2d bpp: frame hash 0x%016llX, %.3f ms per %dx%d frame\n", bpp,
                    static_cast<unsigned long long>(kwr_demo::frameHash(*r)), ms / frames, w, h);
    }
    std::printf("frames written to %s/demo_{8,16,24,32}bpp.bmp\n", outDir.c_str());
    return failures == 0 ? 0 : 1;
}
