// One small picture per drawing family, for the gallery.
#ifndef KWR_EXAMPLES_FAMILIES_H
#define KWR_EXAMPLES_FAMILIES_H

#include <string>
#include <vector>

class KWRRender;

namespace kwr_demo {

struct ShowcaseAssets;

constexpr int kFamilyWidth = 256;
constexpr int kFamilyHeight = 160;

struct Family {
    std::string name;    // file name without extension, e.g. "gouraud"
    std::string title;   // what the picture shows
    void (*draw)(KWRRender& r, ShowcaseAssets& a);  // into a kFamilyWidth x kFamilyHeight frame
};

// flat, depth, gouraud, textured, blended, alpha_mapped, lines, bitmaps, blits.
const std::vector<Family>& families();

}  // namespace kwr_demo

#endif
