#include "picture.h"

#include <cstdio>
#include <cstring>
#include <memory>

#if defined(_WIN32)
#include "dib_section.h"
#endif

#include "KWRImage.h"
#include "KWRRender.h"

namespace kwr_demo {

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

Picture capture(KWRRender& r, int width, int height) {
    Picture p;
    p.width = width;
    p.height = height;
    p.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
#if defined(_WIN32)
    DibSection section(width, height);
    if (section.pixels != nullptr) {
        r.kwrRender(section.dc, 0, 0);
        GdiFlush();
        for (std::size_t i = 0; i < p.pixels.size(); ++i) p.pixels[i] = section.pixels[i] & 0xFFFFFFu;
    }
#else
    KWRMemoryDC dc{width, height, width * 4, p.pixels.data()};
    r.kwrRender(&dc, 0, 0);
#endif
    return p;
}

bool havePng() { return KWRImage::kwrPngSupported() != 0; }

// A 24-bit image through the image library, saved as a bitmap file or a PNG.
static std::string saveImage(const Picture& p, const std::string& path, bool png) {
    KWRImage image;
    if (image.kwrCreate(p.width, p.height, 24) == 0) return std::string("cannot write ") + path + ": " + image.kwrGetErrorText();
    for (int y = 0; y < p.height; ++y) {
        unsigned char* row = image.kwrGetRow(y);
        const std::uint32_t* src = &p.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(p.width)];
        for (int x = 0; row != nullptr && x < p.width; ++x) {
            row[3 * x] = static_cast<unsigned char>(src[x]);
            row[3 * x + 1] = static_cast<unsigned char>(src[x] >> 8);
            row[3 * x + 2] = static_cast<unsigned char>(src[x] >> 16);
        }
    }
    if ((png ? image.kwrSavePng(path.c_str()) : image.kwrSave(path.c_str())) == 0)
        return std::string("cannot write ") + path + ": " + image.kwrGetErrorText();
    return std::string();
}

std::string saveFrame(KWRRender& r, const std::string& path) {
    if (endsWith(path, ".bmp")) {
        int error = 0;
        if (KWRImage::kwrSaveFrame(r, path.c_str(), &error) == 0) {
            return std::string("cannot write ") + path + ": " + KWRImage::kwrErrorText(error);
        }
        return std::string();
    }
    const FrameFormat f = frameFormat(r);
    return savePicture(capture(r, f.width, f.height), path);
}

std::string savePicture(const Picture& p, const std::string& path) {
    if (endsWith(path, ".bmp")) return saveImage(p, path, false);
    if (!havePng()) return "this build writes no PNG files (libpng was not found): use a .bmp name";
    return saveImage(p, path, true);
}

}  // namespace kwr_demo
