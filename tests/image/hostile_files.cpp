// One crafted file per class of hostile input, with what the loader must do
// with it.  Colour-table entries of the crafted indexed files: 0 black,
// 1 white, 2 red, 3 green.
#include <climits>

#include "bmp_craft.h"

namespace bmpcraft {

namespace {

const std::uint32_t kBlack = 0xFF000000u, kWhite = 0xFFFFFFFFu, kRed = 0xFFFF0000u, kGreen = 0xFF00FF00u;

Recipe recipe(int bpp, int width, int height, int compression = 0) {
    Recipe s;
    s.bpp = bpp, s.width = width, s.height = height, s.compression = compression;
    return s;
}

Recipe fields(int bpp, std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    Recipe s = recipe(bpp, 3, 2, 3);
    s.masks[0] = r, s.masks[1] = g, s.masks[2] = b;
    return s;
}

Bytes patched32(Bytes f, std::size_t at, std::uint32_t v) {
    put32(f, at, v);
    return f;
}

Bytes patched16(Bytes f, std::size_t at, std::uint32_t v) {
    put16(f, at, v);
    return f;
}

Bytes cut(Bytes f, std::size_t size) {
    f.resize(size);
    return f;
}

// Run-length files of 4 x 2 pixels (8 bits) or 3 x 2 (4 bits).
Bytes rle8(const Bytes& data) { return withPixels(recipe(8, 4, 2, 1), data); }
Bytes rle4(const Bytes& data) { return withPixels(recipe(4, 3, 2, 2), data); }

}  // namespace

std::vector<Hostile> hostileFiles() {
    const Bytes b24 = build(recipe(24, 5, 3));  // 54-byte headers, 3 rows of 16 bytes
    const Bytes b8 = build(recipe(8, 4, 2));    // 1024-byte colour table
    const Bytes rleSeed = build(recipe(8, 12, 3, 1));
    const KWRImageLoadOptions all{};
    std::vector<Hostile> v = {
        // Truncated: inside the file header, the info header, the pixels.
        {"truncated_file_header", cut(b24, 10), KWR_IMAGE_READ_FILE, all, {}},
        {"truncated_info_header", cut(b24, 30), KWR_IMAGE_READ_FILE, all, {}},
        {"truncated_pixels", cut(b24, b24.size() - 20), KWR_IMAGE_READ_FILE, all, {}},
        // Size fields that lie are not used: the file loads.
        {"lying_file_size", patched32(b24, kFileSize, 0xFFFFFFF0u), 0, all, {{0, 0, kBlack}, {2, 0, kRed}, {4, 2, kRed}}},
        {"size_image_huge", patched32(b24, kSizeImage, 0xFFFFFFFFu), 0, all, {{1, 1, kGreen}, {4, 2, kRed}}},
        {"size_image_tiny", patched32(b24, kSizeImage, 1), 0, all, {{3, 0, kGreen}}},
        // Pixel offset inside the headers, or past the end of the file.
        {"offset_inside_header", patched32(b24, kPixelOffset, 30), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"offset_past_end", patched32(b24, kPixelOffset, 0xFFFFFFF0u), KWR_IMAGE_READ_FILE, all, {}},
        // (Found by the fuzzer: a file seeked past its end where memory ended.)
        {"rle_offset_past_end", patched32(rle4({1, 1, 0, 1}), kPixelOffset, 0xFFFF8Au), KWR_IMAGE_READ_FILE, all, {}},
        // Zero, negative and huge dimensions; size products that wrap.
        {"zero_width", patched32(b24, kWidth, 0), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"zero_height", patched32(b24, kHeight, 0), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"negative_width", patched32(b24, kWidth, static_cast<std::uint32_t>(-5)), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"huge_width", patched32(b24, kWidth, INT_MAX), KWR_IMAGE_ALLOCATE_MEMORY, all, {}},
        {"min_int_height", patched32(b24, kHeight, 0x80000000u), KWR_IMAGE_ALLOCATE_MEMORY, all, {}},
        // 32768 x 32768 x 4 bytes is 2^32: zero in 32-bit arithmetic.
        {"product_wraps_32_bits",
         patched16(patched32(patched32(b24, kWidth, 32768), kHeight, 32768), kBitCount, 32),
         KWR_IMAGE_ALLOCATE_MEMORY, all, {}},
        {"product_wraps_64_bits",
         patched16(patched32(patched32(b24, kWidth, INT_MAX), kHeight, 0x80000001u), kBitCount, 32),
         KWR_IMAGE_ALLOCATE_MEMORY, all, {}},
        // Top-down run-length data.
        {"top_down_rle", patched32(rleSeed, kHeight, static_cast<std::uint32_t>(-3)), KWR_IMAGE_INVALID_IMAGE, all, {}},
        // Colour tables: ending past the file, larger than the depth allows.
        {"table_past_end", cut(b8, 54 + 600), KWR_IMAGE_READ_FILE, all, {}},
        {"table_larger_than_depth", patched32(build(recipe(1, 8, 2)), kClrUsed, 300), KWR_IMAGE_INVALID_IMAGE, all, {}},
        // Indices beyond a table of two entries read as black.
        {"index_beyond_table", [] {
             Recipe s = recipe(8, 4, 2);
             s.tableSize = 2;
             return withPixels(s, {200, 1, 255, 0, 1, 2, 0, 1});
         }(), 0, all, {{0, 1, kBlack}, {1, 1, kWhite}, {2, 1, kBlack}, {0, 0, kWhite}, {1, 0, kBlack}}},
        // Run-length runs and deltas past the row or the image are clipped;
        // what they do not reach stays index 0 (black).
        {"rle8_run_past_row", rle8({10, 1, 0, 0, 2, 2, 0, 1}), 0, all,
         {{3, 1, kWhite}, {0, 0, kRed}, {1, 0, kRed}, {2, 0, kBlack}, {3, 0, kBlack}}},
        {"rle8_absolute_past_row", rle8({0, 10, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 0, 0, 1, 1, 0, 1}), 0, all,
         {{0, 1, kWhite}, {3, 1, kRed}, {0, 0, kWhite}, {1, 0, kBlack}}},
        {"rle8_delta_past_row", rle8({1, 1, 0, 2, 200, 0, 2, 2, 0, 1}), 0, all,
         {{0, 1, kWhite}, {1, 1, kBlack}, {3, 1, kBlack}, {0, 0, kBlack}}},
        {"rle8_delta_past_image", rle8({2, 1, 0, 2, 1, 5, 3, 2, 0, 1}), 0, all,
         {{1, 1, kWhite}, {2, 1, kBlack}, {3, 0, kBlack}}},
        {"rle8_ends_early", rle8({2, 1, 0}), 0, all, {{1, 1, kWhite}, {2, 1, kBlack}, {0, 0, kBlack}}},
        {"rle8_absolute_ends_early", rle8({0, 20, 2, 2}), 0, all, {{1, 1, kRed}, {2, 1, kBlack}}},
        {"rle4_run_past_row", rle4({9, 0x12, 0, 0, 3, 0x22, 0, 1}), 0, all,
         {{0, 1, kWhite}, {1, 1, kRed}, {2, 1, kWhite}, {2, 0, kRed}}},
        {"rle4_absolute_past_row", rle4({0, 9, 0x12, 0x12, 0x12, 0x12, 0x12, 0}), 0, all,
         {{1, 1, kRed}, {2, 1, kWhite}, {0, 0, kBlack}}},
        // Huge image from a few bytes: bounded by the caps, the rest zero.
        {"rle_tiny_data_big_image", patched32(withPixels(recipe(8, 4096, 1, 1), {0, 1}), kHeight, 4096), 0, all, {{4095, 0, kBlack}}},
        // Bit-field masks: zero, overlapping, with holes, beyond the depth.
        {"masks_zero", withPixels(fields(32, 0, 0, 0), Bytes(24, 0xFF)), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"masks_overlapping", withPixels(fields(16, 0x7E00, 0x03E0, 0x001F), Bytes(16, 0xFF)),
         KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"masks_with_holes", withPixels(fields(16, 0x7C01, 0x03E0, 0x001C), Bytes(16, 0xFF)),
         KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"masks_beyond_depth", withPixels(fields(16, 0x1F0000, 0x03E0, 0x001F), Bytes(16, 0xFF)),
         KWR_IMAGE_INVALID_IMAGE, all, {}},
        // Bit fields without masks (pixels right after the 40-byte header,
        // as ImageMagick writes 16 bits): the plain 5-5-5 layout.
        {"masks_missing", patched32(build(recipe(16, 5, 3)), kCompression, 3), 0, all,
         {{2, 0, kRed}, {3, 0, kGreen}, {1, 1, kGreen}}},
        // Kinds not read here, and a compression that does not fit the depth.
        {"depth_2_bits", patched16(b8, kBitCount, 2), KWR_IMAGE_UNSUPPORT_TYPE, all, {}},
        {"compression_jpeg", patched32(b24, kCompression, 4), KWR_IMAGE_UNSUPPORT_TYPE, all, {}},
        {"rle8_at_24_bits", patched32(b24, kCompression, 1), KWR_IMAGE_INVALID_IMAGE, all, {}},
        {"info_size_huge", patched32(b24, kInfoSize, 0xFFFFFFF0u), KWR_IMAGE_UNSUPPORT_TYPE, all, {}},
    };
    // Caps lowered by the host: one byte over fails (5 x 3 pixels of 24
    // bits are 48 bytes of rows).
    KWRImageLoadOptions small{};
    small.maxPixelBytes = 47;
    v.push_back({"cap_bytes_lowered", b24, KWR_IMAGE_ALLOCATE_MEMORY, small, {}});
    return v;
}

}  // namespace bmpcraft
