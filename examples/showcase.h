// The showcase scene: a textured, lit torus knot with a depth-line
// wireframe over a depth-line floor, glass shards blended in front of it, an
// alpha-mapped holographic disc, a chart panel of lines and boxes, text in a
// one-bit font and a scaled blit of the knot's texture.  Every drawing
// family of the library takes part.
#ifndef KWR_EXAMPLES_SHOWCASE_H
#define KWR_EXAMPLES_SHOWCASE_H

#include <string>
#include <vector>

#include "camera.h"

class KWRRender;

namespace kwr_demo {

// A 32-bit texel block as kwrSetTexture takes it (blue, green, red, alpha).
struct Texels {
    int width = 0;
    int height = 0;
    int pitch = 0;  // bytes per row
    std::vector<unsigned char> bytes;
    unsigned char* data() { return bytes.data(); }
};

// The knot's tile texture and the disc's colour ramp and ring mask.
Texels makeTileTexture(int size);
Texels makeDiscTexture(int size);
std::vector<unsigned char> makeRingAlphaMap(int size);

// The knot as an indexed triangle mesh in object space.
struct Mesh {
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;
    std::vector<float> u, v;        // texture coordinates per vertex
    std::vector<int> indices;       // three per triangle
    int rings = 0, sides = 0;       // grid size: rings along the curve, sides around the tube
    int triangles() const { return static_cast<int>(indices.size() / 3); }
};

// A (2, 3) torus knot swept by a tube.
Mesh makeTorusKnot(int rings, int sides);

// What the scene draws with.  The host owns the memory; `texture` is the
// picture the demo loaded from its bitmap file.
struct ShowcaseAssets {
    Texels texture;
    std::string textureName;         // shown under the thumbnail
    Texels disc;
    std::vector<unsigned char> ringMask;
    int ringMaskSize = 0;
    Mesh knot;

    ShowcaseAssets();
};

// One frame of the scene.
struct ShowcaseFrame {
    double angle = 0.6;              // the knot's turn about the vertical axis, radians
    std::string status;              // extra text line (frame time); empty in pictures that must not change
    // The web page's switches; the pictures keep all three on.
    bool depth = true;               // the depth test
    bool blending = true;            // alpha blending (off: the blended parts drawn opaque)
    bool texturing = true;           // textures on the knot and the disc (off: Gouraud knot, plain disc)
    // A tiled floor under the grid, drawn from clip space: perspective-correct
    // and filtered bilinearly (off in the pictures).
    bool perspectiveFloor = false;
};

// The turn of frame `n` of an animation.
double showcaseAngle(int frame);

// Draws the scene into the whole frame buffer of `r` (which has a depth
// buffer).  Sizes from 320 x 240 up are laid out sensibly.  Returns the
// number of triangles drawn.
int drawShowcase(KWRRender& r, ShowcaseAssets& a, const ShowcaseFrame& f);

}  // namespace kwr_demo

#endif
