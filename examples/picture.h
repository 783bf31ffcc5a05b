// Frames as pictures: what a window would show of a frame, and saving it.
#ifndef KWR_EXAMPLES_PICTURE_H
#define KWR_EXAMPLES_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

class KWRRender;

namespace kwr_demo {

// A top-down picture of 32-bit pixels 0x00RRGGBB.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;
};

// Size and depth of the render context's frame buffer.
struct FrameFormat {
    int width = 0;
    int height = 0;
    int bpp = 0;
};
FrameFormat frameFormat(KWRRender& r);

// Presents the frame through kwrRender into memory, exactly as a window
// would receive it (on Windows through GDI into a DIB section), so 8 bpp
// frames come out through their palette and 16 bpp frames widened.
Picture capture(KWRRender& r, int width, int height);

// True where this build can write PNG files.
bool havePng();

// Writes `p` as a PNG (8-bit RGB) or, for a name ending in ".bmp", as a
// 24-bit bitmap file.  Returns an error text, empty on success.
std::string savePicture(const Picture& p, const std::string& path);

// Saves the frame of `r`: a ".bmp" name gets the frame buffer as it is (its
// own depth and, at 8 bpp, its palette) through the image library, other
// names what savePicture writes of the presented frame.
std::string saveFrame(KWRRender& r, const std::string& path);

bool endsWith(const std::string& s, const std::string& suffix);

}  // namespace kwr_demo

#endif
