#include "texture_file.h"

#include <cstring>

#include "KWRImage.h"
#include "showcase.h"

namespace kwr_demo {

std::string roundTripTexture(ShowcaseAssets& a, const std::string& path) {
    const Texels& t = a.texture;
    KWRImage out;
    if (out.kwrCreate(t.width, t.height, 24) == 0) return "cannot write " + path + ": " + out.kwrGetErrorText();
    for (int y = 0; y < t.height; ++y) {
        unsigned char* row = out.kwrGetRow(y);
        const unsigned char* src = &t.bytes[static_cast<std::size_t>(y) * static_cast<std::size_t>(t.pitch)];
        for (int x = 0; row != nullptr && x < t.width; ++x) std::memcpy(row + 3 * x, src + 4 * x, 3);
    }
    if (out.kwrSave(path.c_str()) == 0) return "cannot write " + path + ": " + out.kwrGetErrorText();

    // What a host does with a picture file: load it, make it a texel block.
    KWRImage in;
    if (in.kwrLoad(path.c_str()) == 0 || in.kwrMakeTexture() == 0) {
        return "cannot load " + path + ": " + in.kwrGetErrorText();
    }
    Texels loaded;
    loaded.width = in.kwrGetWidth();
    loaded.height = in.kwrGetHeight();
    loaded.pitch = loaded.width * 4;
    loaded.bytes.resize(static_cast<std::size_t>(loaded.pitch) * static_cast<std::size_t>(loaded.height));
    for (int y = 0; y < loaded.height; ++y) {
        const unsigned char* row = in.kwrGetRow(y);
        if (row == nullptr) return "cannot load " + path + ": rows missing";
        std::memcpy(&loaded.bytes[static_cast<std::size_t>(y) * static_cast<std::size_t>(loaded.pitch)], row,
                    static_cast<std::size_t>(loaded.pitch));
    }
    a.texture = std::move(loaded);
    return std::string();
}

}  // namespace kwr_demo
