// A host program built against the installed library.
#include <KWRRender.h>

#include <cstdio>
#include <memory>

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
    std::puts("host ok");
    return 0;
}
