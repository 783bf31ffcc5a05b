// The README's tour of the API as one program: a frame, a textured triangle
// with the texture from a bitmap file, and the frame saved as a picture.
//
//   kwrender_tour [DIR]     reads DIR/tiles.bmp (written first if missing),
//                           writes DIR/frame.bmp
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KWRImage.h"
#include "KWRRender.h"

static int fail(const char* why) {
    std::fprintf(stderr, "kwrender_tour: %s\n", why);
    return 1;
}

int main(int argc, char** argv) {
    const std::string dir = argc > 1 ? argv[1] : ".";
    const std::string texturePath = dir + "/tiles.bmp", framePath = dir + "/frame.bmp";
    {
        // A 2 x 2 checker of 64 x 64 texels as the bitmap file to load.
        KWRImage checker;
        if (!checker.kwrCreate(128, 128, 24)) return fail(checker.kwrGetErrorText());
        for (int y = 0; y < 128; ++y) {
            unsigned char* row = checker.kwrGetRow(y);
            for (int x = 0; x < 128; ++x) {
                const bool light = ((x / 64) ^ (y / 64)) == 0;
                row[3 * x] = light ? 215 : 70;
                row[3 * x + 1] = light ? 236 : 135;
                row[3 * x + 2] = light ? 245 : 235;
            }
        }
        if (!checker.kwrSave(texturePath.c_str())) return fail(checker.kwrGetErrorText());
    }

    // A frame: create, clear, draw.
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(32);
    if (!r->kwrInitBuffer(640, 480)) return fail("no frame buffer");
    r->kwrSetColor(0xFF101828);
    r->kwrClear();
    r->kwrTriangle3cf(100, 400, 0.5f, 0xFFFF4040, 540, 400, 0.5f, 0xFF40FF40, 320, 60, 0.5f, 0xFF4060FF);
    r->kwrSetColor(0xFFFFFFFF);
    r->kwrLine(0, 479, 639, 0);

    // A textured triangle, the texture from a bitmap file.
    KWRImage tex;
    if (!tex.kwrLoad(texturePath.c_str()) || !tex.kwrMakeTexture()) return fail(tex.kwrGetErrorText());
    r->kwrSetTexture(tex.kwrGetPixels(), tex.kwrGetWidth(), tex.kwrGetHeight(), tex.kwrGetPitch());
    r->kwrSetColor(0xFFFFFFFF);
    r->kwrTriangle3tf(100, 100, 0.4f, 0, 0, 500, 120, 0.4f, 2, 0, 300, 420, 0.4f, 1, 2);
    r->kwrSetTexture(nullptr, 0, 0, 0);

    // The frame saved as a picture.
    int error = 0;
    if (!KWRImage::kwrSaveFrame(*r, framePath.c_str(), &error)) return fail(KWRImage::kwrErrorText(error));
    std::printf("wrote %s\n", framePath.c_str());
    return 0;
}
