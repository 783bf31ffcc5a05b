// Hand-made bitmap files for the image tests and the fuzzer's seed corpus:
// one file of every kind the loader reads, built from a recipe, and crafted
// hostile files with what the loader must do with each.  The pictures use
// eight colours whose channels are each 0 or full, so that any faithful
// widening of 1- to 8-bit channels gives the same colour back.
#ifndef KWR_TESTS_IMAGE_BMP_CRAFT_H
#define KWR_TESTS_IMAGE_BMP_CRAFT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "KWRImage.h"

namespace bmpcraft {

using Bytes = std::vector<unsigned char>;

// Byte offsets of the header fields that the hostile files patch.
enum Field : std::size_t {
    kMagic = 0, kFileSize = 2, kPixelOffset = 10, kInfoSize = 14, kWidth = 18, kHeight = 22, kPlanes = 26,
    kBitCount = 28, kCompression = 30, kSizeImage = 34, kClrUsed = 46
};

struct Recipe {
    int bpp = 24;
    int width = 9;
    int height = 3;
    int compression = 0;           // 0, 1 (RLE8), 2 (RLE4), 3 or 6 (bit fields)
    int headerSize = 40;           // 12, 40, 52, 56, 108 or 124
    bool topDown = false;
    std::uint32_t masks[4] = {0, 0, 0, 0};  // red, green, blue, alpha (bit fields)
    int tableSize = 0;             // colour-table entries written; 0 = full
    bool clrUsedZero = false;      // write biClrUsed 0 (meaning the full table)
};

constexpr std::uint32_t kColors[8] = {0xFF000000u, 0xFFFFFFFFu, 0xFFFF0000u, 0xFF00FF00u,
                                      0xFF0000FFu, 0xFFFFFF00u, 0xFF00FFFFu, 0xFFFF00FFu};

inline bool bitFields(const Recipe& s) { return s.compression == 3 || s.compression == 6; }
inline int tableEntries(const Recipe& s) { return s.bpp > 8 ? 0 : s.tableSize != 0 ? s.tableSize : 1 << s.bpp; }

// The table index of pixel (x, y), y from the top: runs of three in the left half, singles in the right.
inline int craftIndex(const Recipe& s, int x, int y) {
    const int cell = (x < s.width / 2 ? x / 3 : x) + 3 * y;
    return cell % (s.bpp <= 8 ? tableEntries(s) : 8);
}

// Its colour as 0xAARRGGBB; alpha alternates when the recipe has an alpha mask.
inline std::uint32_t craftColor(const Recipe& s, int x, int y) {
    const std::uint32_t c = kColors[craftIndex(s, x, y) % 8];
    return bitFields(s) && s.masks[3] != 0 && (x + y) % 2 != 0 ? c & 0xFFFFFFu : c;
}

// Little-endian values of 1 to 4 bytes: written at `at`, appended, patched into a copy.
inline void put(Bytes& b, std::size_t at, std::uint64_t v, int bytes = 4) {
    for (int i = 0; i < bytes; ++i) b[at + i] = static_cast<unsigned char>(v >> 8 * i);
}
inline void append(Bytes& b, std::uint64_t v, int bytes = 4) {
    b.resize(b.size() + bytes);
    put(b, b.size() - bytes, v, bytes);
}
inline Bytes patched(Bytes f, std::size_t at, std::uint64_t v, int bytes = 4) {
    put(f, at, v, bytes);
    return f;
}

// Run-length data of the picture (rows under 255 pixels): encoded runs, absolute runs of three or more
// single pixels (padded to 16 bits), end of line after each row and end of bitmap after the last.
inline Bytes encodeRle(const Recipe& s) {
    const bool four = s.compression == 2;
    Bytes out;
    for (int y = s.height - 1; y >= 0; --y) {
        auto at = [&](int x) { return craftIndex(s, x, y); };
        for (int x = 0; x < s.width;) {
            int run = 1, lit = 0;
            while (x + run < s.width && at(x + run) == at(x)) ++run;
            while (x + lit < s.width && (x + lit + 1 == s.width || at(x + lit) != at(x + lit + 1))) ++lit;
            if (run > 1 || lit < 3) {
                append(out, run | (four ? at(x) * 17 : at(x)) << 8, 2);
                x += run;
                continue;
            }
            append(out, lit << 8, 2);
            for (int i = 0; i < lit; i += four ? 2 : 1)
                append(out, four ? at(x + i) << 4 | (i + 1 < lit ? at(x + i + 1) : 0) : at(x + i), 1);
            if ((four ? (lit + 1) / 2 : lit) % 2 != 0) out.push_back(0);
            x += lit;
        }
        append(out, y == 0 ? 0x100u : 0u, 2);
    }
    return out;
}

// Uncompressed rows of the picture, with the recipe's masks or the fixed layouts of 16 and 32 bits.
inline Bytes encodeRows(const Recipe& s) {
    const std::size_t pitch = (static_cast<std::size_t>(s.bpp) * s.width + 31) / 32 * 4;
    const bool b16 = s.bpp == 16;
    const std::uint32_t plain[4] = {b16 ? 0x7C00u : 0xFF0000u, b16 ? 0x3E0u : 0xFF00u, b16 ? 0x1Fu : 0xFFu, 0};
    const std::uint32_t* m = bitFields(s) ? s.masks : plain;
    Bytes out(pitch * s.height, 0);
    for (int y = 0; y < s.height; ++y) {
        const std::size_t row = pitch * (s.topDown && s.headerSize > 12 ? y : s.height - 1 - y);
        for (int x = 0; x < s.width; ++x) {
            const int bit = x * s.bpp;
            if (s.bpp <= 8) {
                out[row + bit / 8] |= static_cast<unsigned char>(craftIndex(s, x, y) << (8 - s.bpp - bit % 8));
                continue;
            }
            std::uint32_t v = 0;
            for (int i = 0; i < 4; ++i)
                if (craftColor(s, x, y) >> (i == 3 ? 24 : 16 - 8 * i) & 0x80u) v |= m[i];
            put(out, row + bit / 8, v, s.bpp / 8);
        }
    }
    return out;
}

// The file of a recipe with the given pixel data (or, below, its picture).
inline Bytes build(const Recipe& s, const Bytes& data) {
    Bytes f{'B', 'M'};
    f.resize(14);  // file size and pixel offset patched below
    append(f, s.headerSize);
    const int dim = s.headerSize == 12 ? 2 : 4;
    append(f, static_cast<std::uint32_t>(s.width), dim);
    append(f, static_cast<std::uint32_t>(s.topDown && s.headerSize > 12 ? -s.height : s.height), dim);
    append(f, s.bpp << 16 | 1);  // one plane
    if (s.headerSize > 12) {
        using U = std::uint64_t;
        for (U v : {U(s.compression), U(data.size()), U(2835), U(2835), U(s.clrUsedZero ? 0 : tableEntries(s)), U(0)})
            append(f, v);
        // Masks inside the longer headers, or after the 40-byte one.
        const int after = s.headerSize == 40 && bitFields(s) ? (s.compression == 6 ? 4 : 3) : 0;
        const int count = s.headerSize >= 56 ? 4 : s.headerSize >= 52 ? 3 : after;
        for (int i = 0; i < count; ++i) append(f, bitFields(s) ? s.masks[i] : 0u);
        if (s.headerSize >= 108) append(f, 0x73524742u);  // colour space "sRGB"
        f.resize(14 + static_cast<std::size_t>(s.headerSize) + 4u * after, 0);
    }
    for (int i = 0; i < tableEntries(s); ++i) append(f, kColors[i % 8] & 0xFFFFFFu, s.headerSize == 12 ? 3 : 4);
    put(f, kPixelOffset, f.size());
    f.insert(f.end(), data.begin(), data.end());
    put(f, kFileSize, f.size());
    return f;
}
inline Bytes build(const Recipe& s) {
    return build(s, s.compression == 1 || s.compression == 2 ? encodeRle(s) : encodeRows(s));
}

// A short name telling the recipe apart, e.g. "b16_h56_c3_m1f_t0".
inline std::string name(const Recipe& s) {
    char n[64];
    std::snprintf(n, sizeof n, "b%d_h%d_c%d_m%x_t%d%s%s", s.bpp, s.headerSize, s.compression, s.masks[0],
                  s.tableSize, s.topDown ? "_td" : "", s.clrUsedZero ? "_used0" : "");
    return n;
}

// One recipe of every depth, header size, compression, mask layout, row order and table size read.
inline std::vector<Recipe> seedRecipes() {
    std::vector<Recipe> v;
    for (int bpp : {1, 4, 8, 16, 24, 32}) {
        for (int header : {12, 40, 52, 56, 108, 124})
            if (header != 12 || bpp % 16 != 0) v.push_back(Recipe{bpp, 9, 3, 0, header});
        v.push_back(Recipe{bpp, 9, 3, 0, 40, true});
    }
    const Recipe more[] = {
        {8, 12, 3, 1, 40}, {4, 12, 3, 2, 40}, {8, 12, 3, 1, 108}, {4, 12, 3, 2, 108},
        // Short colour tables: by biClrUsed, by the room before the pixels, and biClrUsed 0.
        {8, 9, 3, 0, 40, false, {}, 8}, {4, 9, 3, 0, 40, true, {}, 5}, {4, 12, 3, 2, 40, false, {}, 7},
        {8, 9, 3, 0, 12, false, {}, 5}, {8, 9, 3, 0, 124, false, {}, 0, true},
        {16, 9, 3, 3, 40, false, {0x7C00, 0x03E0, 0x001F, 0}},           // 5-5-5
        {16, 9, 3, 3, 40, false, {0xF800, 0x07E0, 0x001F, 0}},           // 5-6-5
        {16, 9, 3, 3, 56, false, {0x001F, 0x07E0, 0xF800, 0}},           // 5-6-5, red and blue swapped
        {16, 9, 3, 6, 40, false, {0x0F00, 0x00F0, 0x000F, 0xF000}},      // 4-4-4-4
        {16, 9, 3, 3, 108, false, {0x7C00, 0x03E0, 0x001F, 0x8000}},     // 1-5-5-5
        {16, 9, 3, 3, 52, false, {0xE000, 0x1C00, 0x0300, 0}},           // 3-3-2 at the top
        {32, 9, 3, 3, 40, false, {0xFF0000, 0xFF00, 0xFF, 0}},           // 8-8-8
        {32, 9, 3, 3, 56, false, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}},  // 8-8-8-8
        {32, 9, 3, 3, 124, false, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}}, // red and blue swapped
        {32, 9, 3, 6, 40, false, {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000}},  // 10-10-10-2
        {32, 9, 3, 3, 108, true, {0xFF000000, 0xFF0000, 0xFF00, 0}},     // 8-8-8 at the top
    };
    v.insert(v.end(), std::begin(more), std::end(more));
    return v;
}

// A crafted file and what the loader must do with it: fail with `error`,
// or (error 0) load, with the listed pixels (0xAARRGGBB, y from the top).
struct Probe { int x, y; std::uint32_t argb; };
struct Hostile {
    std::string name;
    Bytes file;
    int error;
    std::vector<Probe> probes = {};
    KWRImageLoadOptions options = {};
};

inline std::vector<Hostile> hostileFiles() {
    const int kRead = KWR_IMAGE_READ_FILE, kBad = KWR_IMAGE_INVALID_IMAGE, kType = KWR_IMAGE_UNSUPPORT_TYPE;
    const int kMemory = KWR_IMAGE_ALLOCATE_MEMORY;
    const std::uint32_t kBlack = kColors[0], kWhite = kColors[1], kRed = kColors[2], kGreen = kColors[3];
    auto caps = [](unsigned depths, int width, int height, std::uint64_t bytes) {
        return KWRImageLoadOptions{depths, width, height, bytes, nullptr, nullptr};
    };
    const Bytes b24 = build({24, 5, 3});  // 54-byte headers, 3 rows of 16 bytes
    const Bytes b8 = build({8, 4, 2});    // 1024-byte colour table
    // Run-length files of 4 x 2 pixels (8 bits) or 3 x 2 (4 bits) from the given data.
    auto rle8 = [](const Bytes& data) { return build({8, 4, 2, 1}, data); };
    auto rle4 = [](const Bytes& data) { return build({4, 3, 2, 2}, data); };
    auto pixel = [](const Recipe& s, std::uint32_t value) { return build(s, patched(Bytes(4), 0, value)); };
    return {
        // Truncated (every cut of every seed file is tried from memory).
        {"truncated_info_header", Bytes(b24.begin(), b24.begin() + 30), kRead},
        {"truncated_pixels", Bytes(b24.begin(), b24.end() - 20), kRead},
        // Size fields that lie are not used: the file loads.
        {"lying_file_size", patched(b24, kFileSize, 0xFFFFFFF0u), 0, {{0, 0, kBlack}, {2, 0, kRed}, {4, 2, kRed}}},
        {"size_image_huge", patched(b24, kSizeImage, 0xFFFFFFFFu), 0, {{1, 1, kGreen}, {4, 2, kRed}}},
        {"size_image_tiny", patched(b24, kSizeImage, 1), 0, {{3, 0, kGreen}}},
        // Not a bitmap; pixel offset inside the headers, or past the end of the file.
        {"bad_magic", patched(b24, kMagic, 0x4142, 2), kBad},
        {"two_planes", patched(b24, kPlanes, 2, 2), kBad},
        {"offset_inside_header", patched(b24, kPixelOffset, 30), kBad},
        {"offset_past_end", patched(b24, kPixelOffset, 0xFFFFFFF0u), kRead},
        // (Found by the fuzzer: a file seeked past its end where memory ended.)
        {"rle_offset_past_end", patched(rle4({1, 1, 0, 1}), kPixelOffset, 0xFFFF8Au), kRead},
        // Zero, negative and huge dimensions; size products that wrap.
        {"zero_width", patched(b24, kWidth, 0), kBad},
        {"zero_height", patched(b24, kHeight, 0), kBad},
        {"negative_width", patched(b24, kWidth, 0xFFFFFFFBu), kBad},
        {"huge_width", patched(b24, kWidth, 0x7FFFFFFF), kMemory},
        {"min_int_height", patched(b24, kHeight, 0x80000000u), kMemory},
        // 32768 x 32768 x 4 bytes is 2^32: zero in 32-bit arithmetic.
        {"product_wraps_32_bits", patched(patched(patched(b24, kWidth, 32768), kHeight, 32768), kBitCount, 32, 2),
         kMemory},
        {"product_wraps_64_bits",
         patched(patched(patched(b24, kWidth, 0x7FFFFFFF), kHeight, 0x80000001u), kBitCount, 32, 2), kMemory},
        // Caps: the library's (a host's larger one does not raise it), or lowered (the pixels take 48 bytes).
        {"width_over_cap", patched(b24, kWidth, KWR_IMAGE_MAX_WIDTH + 1), kMemory, {}, caps(0, 1 << 30, 0, 0)},
        {"width_cap_lowered", b24, kMemory, {}, caps(0, 4, 0, 0)},
        {"height_cap_lowered", b24, kMemory, {}, caps(0, 0, 2, 0)},
        {"bytes_cap_lowered", b24, kMemory, {}, caps(0, 0, 0, 47)},
        {"bytes_cap_met", b24, 0, {{4, 2, kRed}}, caps(0, 0, 0, 48)},
        {"depth_not_accepted", b24, KWR_IMAGE_NOT_MATCH_TYPE, {}, caps(KWR_DEPTH_8 | KWR_DEPTH_32, 0, 0, 0)},
        {"depth_accepted", b24, 0, {{2, 0, kRed}}, caps(KWR_DEPTH_24, 0, 0, 0)},
        // Colour tables: ending past the file, larger than the depth allows;
        // indices beyond a table of two entries read as black.
        {"table_past_end", Bytes(b8.begin(), b8.begin() + 54 + 600), kRead},
        {"table_larger_than_depth", patched(patched(b8, kClrUsed, 257), kPixelOffset, 54 + 4 * 257), kBad},
        {"index_beyond_table", build({8, 4, 2, 0, 40, false, {}, 2}, {200, 1, 255, 0, 1, 2, 0, 1}), 0,
         {{0, 1, kBlack}, {1, 1, kWhite}, {2, 1, kBlack}, {0, 0, kWhite}, {1, 0, kBlack}}},
        // Run-length escapes: an odd absolute run and its pad, a delta to the next row; runs and deltas
        // past the row or the image are clipped, and what they do not reach stays index 0 (black).
        {"rle8_escapes", rle8({0, 3, 2, 3, 4, 0, 0, 2, 0, 1, 5, 1, 0, 1}), 0,
         {{0, 1, kRed}, {1, 1, kGreen}, {2, 1, kColors[4]}, {3, 1, kBlack}, {2, 0, kBlack}, {3, 0, kWhite}}},
        {"rle8_run_past_row", rle8({10, 1, 0, 0, 2, 2, 0, 1}), 0,
         {{3, 1, kWhite}, {0, 0, kRed}, {1, 0, kRed}, {2, 0, kBlack}, {3, 0, kBlack}}},
        {"rle8_absolute_past_row", rle8({0, 10, 1, 2, 1, 2, 3, 3, 3, 3, 3, 3, 0, 0, 0, 2, 1, 0, 1, 1, 0, 1}), 0,
         {{0, 1, kWhite}, {3, 1, kRed}, {0, 0, kBlack}, {1, 0, kWhite}, {2, 0, kBlack}}},
        {"rle8_delta_past_row", rle8({1, 1, 0, 2, 200, 0, 2, 2, 0, 1}), 0,
         {{0, 1, kWhite}, {1, 1, kBlack}, {3, 1, kBlack}, {0, 0, kBlack}}},
        {"rle8_delta_past_image", rle8({2, 1, 0, 2, 1, 5, 3, 2, 0, 1}), 0,
         {{1, 1, kWhite}, {2, 1, kBlack}, {3, 0, kBlack}}},
        {"rle8_ends_early", rle8({2, 1, 0}), 0, {{1, 1, kWhite}, {2, 1, kBlack}, {0, 0, kBlack}}},
        {"rle8_absolute_ends_early", rle8({0, 20, 2, 2}), 0, {{1, 1, kRed}, {2, 1, kBlack}}},
        {"rle4_run_past_row", rle4({9, 0x12, 0, 0, 3, 0x22, 0, 1}), 0,
         {{0, 1, kWhite}, {1, 1, kRed}, {2, 1, kWhite}, {2, 0, kRed}}},
        {"rle4_absolute_past_row", rle4({0, 9, 0x12, 0x12, 0x12, 0x12, 0x12, 0}), 0,
         {{1, 1, kRed}, {2, 1, kWhite}, {0, 0, kBlack}}},
        // A huge image from two bytes: bounded by the caps, the rest zero.
        {"rle_tiny_data_big_image", patched(build({8, 4096, 1, 1}, {0, 1}), kHeight, 4096), 0, {{4095, 4095, kBlack}}},
        // Bit fields of middle values: 5 bits of 16 widen to 132, 10 bits
        // narrow to their top 8, 2 bits of alpha 10b repeat to 0xAA.
        {"fields_565", pixel({16, 1, 1, 3, 40, false, {0xF800, 0x07E0, 0x001F}}, 0x0010), 0, {{0, 0, 0xFF000084u}}},
        {"fields_4444", pixel({16, 1, 1, 6, 40, false, {0xF00, 0xF0, 0xF, 0xF000}}, 0x8F21), 0, {{0, 0, 0x88FF2211u}}},
        {"fields_10_10_10_2", pixel({32, 1, 1, 3, 108, false, {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000}}, 0xA00FFC01u),
         0, {{0, 0, 0xAA80FF00u}}},
        // Masks: zero, overlapping, with holes, beyond the depth.
        {"mask_zero", pixel({32, 1, 1, 3, 40, false, {0, 0xFF00, 0xFF}}, 0xFFFFFF), kBad},
        {"masks_overlapping", pixel({16, 1, 1, 3, 40, false, {0x7E00, 0x03E0, 0x001F}}, 0xFFFF), kBad},
        {"mask_with_hole", pixel({16, 1, 1, 3, 40, false, {0x7C01, 0x03E0, 0x001C}}, 0xFFFF), kBad},
        {"mask_beyond_depth", pixel({16, 1, 1, 3, 40, false, {0x1F0000, 0x03E0, 0x001F}}, 0xFFFF), kBad},
        // Bit fields without masks (pixels right after a 40-byte header, as ImageMagick writes): 5-5-5.
        {"masks_missing", patched(build({16, 5, 3}), kCompression, 3), 0,
         {{2, 0, kRed}, {3, 0, kGreen}, {1, 1, kGreen}}},
        // Kinds not read here; compressions that do not fit the depth or the row order.
        {"top_down_rle", patched(build({8, 12, 3, 1}), kHeight, 0xFFFFFFFDu), kBad},
        {"depth_2_bits", patched(b8, kBitCount, 2, 2), kType},
        {"compression_jpeg", patched(b24, kCompression, 4), kType},
        {"compression_png", patched(b24, kCompression, 5), kType},
        {"rle8_at_24_bits", patched(b24, kCompression, 1), kBad},
        {"bit_fields_at_24_bits", patched(b24, kCompression, 3), kBad},
        {"info_size_short", patched(b24, kInfoSize, 8), kBad},
        {"info_size_unknown", patched(b24, kInfoSize, 64), kType},
    };
}

// Writes the bytes to a file; false when that fails.
inline bool writeFile(const std::string& path, const Bytes& bytes) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

// Same size, same colour at every pixel.
inline bool samePixels(const KWRImage& a, const KWRImage& b) {
    if (a.kwrGetWidth() != b.kwrGetWidth() || a.kwrGetHeight() != b.kwrGetHeight()) return false;
    for (int y = 0; y < a.kwrGetHeight(); ++y)
        for (int x = 0; x < a.kwrGetWidth(); ++x)
            if (a.kwrGetPixel(x, y) != b.kwrGetPixel(x, y)) return false;
    return true;
}

}  // namespace bmpcraft

#endif
