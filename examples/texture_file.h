// The showcase's texture as a host loads pictures: from a bitmap file.
#ifndef KWR_EXAMPLES_TEXTURE_FILE_H
#define KWR_EXAMPLES_TEXTURE_FILE_H

#include <string>

namespace kwr_demo {

struct ShowcaseAssets;

// Writes the knot's texture to the bitmap file `path`, loads it back and
// makes the loaded picture the texture.  Returns an error text, empty on
// success.
std::string roundTripTexture(ShowcaseAssets& a, const std::string& path);

}  // namespace kwr_demo

#endif
