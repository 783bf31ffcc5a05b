// Writes bitmap files of every kind the loader reads, and crafted hostile
// ones, for the tests and for the fuzzer's seed corpus.  The pictures use
// eight colours whose channels are each 0 or full, so that any faithful
// widening of 1- to 8-bit channels gives the same colour back.
#ifndef KWR_TESTS_IMAGE_BMP_CRAFT_H
#define KWR_TESTS_IMAGE_BMP_CRAFT_H

#include <cstdint>
#include <string>
#include <vector>

#include "KWRImage.h"

namespace bmpcraft {

using Bytes = std::vector<unsigned char>;

// Byte offsets of the header fields that the hostile files patch.
enum Field : std::size_t {
    kFileSize = 2, kPixelOffset = 10, kInfoSize = 14, kWidth = 18, kHeight = 22,
    kBitCount = 28, kCompression = 30, kSizeImage = 34, kClrUsed = 46, kMasks = 54
};

struct Recipe {
    int width = 5;
    int height = 3;
    int bpp = 24;
    int headerSize = 40;           // 12, 40, 52, 56, 108 or 124
    int compression = 0;           // 0, 1 (RLE8), 2 (RLE4), 3 or 6 (bit fields)
    bool topDown = false;
    std::uint32_t masks[4] = {0, 0, 0, 0};  // red, green, blue, alpha (bit fields)
    int tableSize = 0;             // colour-table entries written; 0 = full
    bool clrUsedZero = false;      // write biClrUsed 0 (meaning the full table)
};

// The colour of picture pixel (x, y) (y from the top) as 0xAARRGGBB, and the
// colour-table index behind it for indexed depths.  Alpha is 255 or 0 when
// the recipe has an alpha mask, 255 otherwise.
int craftIndex(const Recipe& s, int x, int y);
std::uint32_t craftColor(const Recipe& s, int x, int y);

// The whole file for a recipe.
Bytes build(const Recipe& s);
// The file for a recipe with other pixel data (run-length streams by hand).
Bytes withPixels(const Recipe& s, const Bytes& pixels);
// A short name telling the recipe apart, e.g. "b16_h56_c3_td".
std::string name(const Recipe& s);
// One recipe of every depth, header size, compression, mask layout, row
// order and table size the loader reads.
std::vector<Recipe> seedRecipes();

// Little-endian patching of built files.
void put16(Bytes& b, std::size_t at, std::uint32_t v);
void put32(Bytes& b, std::size_t at, std::uint32_t v);

// Channels compared at their top bit (the pictures use 0 and full only).
inline std::uint32_t coarse(std::uint32_t argb) { return argb & 0x80808080u; }

// A hostile file and what the loader must do with it: fail with `error`, or
// (error 0) load, with the listed pixels (colour 0xAARRGGBB, y from the top).
struct Probe { int x, y; std::uint32_t argb; };
struct Hostile {
    std::string name;
    Bytes file;
    int error;
    KWRImageLoadOptions options;
    std::vector<Probe> probes;
};
std::vector<Hostile> hostileFiles();

}  // namespace bmpcraft

#endif
