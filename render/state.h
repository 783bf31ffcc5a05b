// The render context's state and the small rules every drawing operation
// reads from it.
//
// A KWRRender holds this state inside its own storage (the public header
// reserves an aligned block of fixed size for it), so the object keeps the
// scan-line table inside itself and a copy of the object copies every byte of
// it.  This header is internal: hosts never see these types.
#ifndef KWR_RENDER_STATE_H
#define KWR_RENDER_STATE_H

#include <cstdint>

#include "KWRRender.h"
#include "render/pixel_format.h"

namespace kwr {

class DibStream;

// Rows of the triangle rasteriser's scan-line table.  Surfaces taller than
// this are refused when the frame buffer is created.
constexpr int kScanLineRows = 4096;
// Each array of the table holds a few entries more than it has rows, so
// that one row of different arrays lies at different offsets within 4 KiB
// (20 bytes apart).  The edge walk stores a row's ends and attributes and
// then loads that row's other end; at equal offsets the processor would
// take the load for dependent on those stores and hold it back.
constexpr int kScanLineStride = kScanLineRows + 5;

// Per-row edge records of the triangle rasteriser.  For every row the
// leftmost span pixel and its attributes, and the rightmost span pixel and
// the attributes of the edge crossing just right of it.  Colour channels are
// 0 red, 1 green, 2 blue, 3 alpha, each 0..255 as float.
struct ScanLineTable {
    std::int32_t scanLeftX[kScanLineStride];
    std::int32_t scanRightX[kScanLineStride];
    float scanLeftZ[kScanLineStride];
    float scanRightZ[kScanLineStride];
    float scanLeftColor[4][kScanLineStride];
    float scanRightColor[4][kScanLineStride];
    float scanLeftU[kScanLineStride];
    float scanRightU[kScanLineStride];
    float scanLeftV[kScanLineStride];
    float scanRightV[kScanLineStride];
};

struct RenderState {
    DibStream* dib;            // owned frame-buffer surface, null when none
    float* zBuffer;            // width * height depth values, row stride width
    int zBufferExternal;       // 1: zBuffer belongs to the host
    std::uint32_t color;       // current colour 0xAARRGGBB
    std::uint16_t color16;     // color as X1R5G5B5 (valid at 16 bpp)
    std::uint8_t color8;       // color as colour-cube index (valid at 8 bpp)
    int zBufferEnable;
    int zTestEnable;
    int alphaEnable;
    int renderBpp;
    float zBackDepth;
    int width, height;
    int clipRight, clipBottom;
    float widthF, heightF, clipRightF, clipBottomF;
    float centerX, centerY;
    int pitch;                 // bytes per surface row
    unsigned char* bits;       // surface row 0 (the top row)
    int zTestActive;           // depth test in force
    unsigned char* texture;    // 4-byte texels blue, green, red, alpha
    int textureWidth, textureHeight;
    int textureBpp;            // texture row pitch in bytes
    unsigned char* alphaMap;   // one byte per value
    int alphaMapWidth, alphaMapHeight;
    int alphaMapBpp;           // alpha-map row pitch in bytes
    ScanLineTable scan;
};

// The one built-in texel (four 0xFF bytes).  Its address is significant:
// `texture` and `alphaMap` pointing at it means that nothing is bound.
extern unsigned char* const kBuiltinTexel;

// The current colour in every surface format.
inline SolidColor solidColor(const RenderState& s) { return SolidColor{s.color8, s.color16, s.color}; }

// Centred coordinates (origin at the surface centre, y up) as pixel
// coordinates, in single precision.
inline float centredX(const RenderState& s, float x) { return s.centerX + x; }
inline float centredY(const RenderState& s, float y) { return s.centerY - y; }

// Depth testing needs the test switched on and a buffer to test against.
inline bool depthTestActive(const RenderState& s) { return s.zTestActive != 0 && s.zBuffer != nullptr; }

// A map counts as bound when it is not the built-in texel and has a size;
// one stated with a width or height of zero or less cannot be sampled.
inline bool textureBound(const RenderState& s) {
    return s.texture != kBuiltinTexel && s.textureWidth > 0 && s.textureHeight > 0;
}
inline bool alphaMapBound(const RenderState& s) {
    return s.alphaMap != kBuiltinTexel && s.alphaMapWidth > 0 && s.alphaMapHeight > 0;
}
// Textured triangles draw untextured unless a texture or an alpha map is bound.
inline bool anyMapBound(const RenderState& s) { return textureBound(s) || alphaMapBound(s); }

// Fills that use the current colour blend when blending is on and the
// colour's alpha byte is below 0xFF.
inline bool currentColourBlends(const RenderState& s) { return s.alphaEnable != 0 && (s.color >> 24) != 0xFFu; }

// Keeps a row range inside the surface and the scan-line table.  Ranges
// computed from well-formed vertices already are; NaN vertices pass every
// rejection test and would not be.
inline void clampRows(const RenderState& s, int& first, int& last) {
    const int bottom = s.clipBottom < kScanLineRows - 1 ? s.clipBottom : kScanLineRows - 1;
    if (first < 0) first = 0;
    if (last > bottom) last = bottom;
}

}  // namespace kwr

#endif
