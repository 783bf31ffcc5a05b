// A host program built against the installed library.
#include <KWRImage.h>
#include <KWRRender.h>

#include <cstdio>
#include <memory>
#include <vector>

int main() {
    auto r = std::make_unique<KWRRender>();
    r->kwrSetRenderBpp(32);
    if (r->kwrInitBuffer(4, 3) != 1) return 1;
    r->kwrSetColor(0xFF102030);
    r->kwrClear();
    void* header = nullptr;
    void* pixels = nullptr;
    if (r->kwrGetDib(&header, &pixels) != 1) return 2;
    const unsigned char* p = static_cast<const unsigned char*>(pixels);
    if (p[0] != 0x30 || p[1] != 0x20 || p[2] != 0x10 || p[3] != 0xFF) return 3;
    // The image library comes with the same package: the frame as a file
    // in memory, loaded back.
    KWRImage frame;
    if (!frame.kwrFromFrame(*r)) return 4;
    std::vector<unsigned char> file(frame.kwrGetFileSize());
    if (!frame.kwrSaveMemory(file.data(), file.size())) return 5;
    KWRImage back;
    if (!back.kwrLoadMemory(file.data(), file.size()) || back.kwrGetPixel(3, 2) != 0xFF102030u) return 6;
    std::puts("host ok");
    return 0;
}
