// Hand-made bitmap files for the image tests: a file header, an info header
// of any of the sizes files carry, bit-field masks, a colour table and
// pixel data, each field settable so that tests can also make files that lie.
#ifndef KWR_TESTS_BMP_BUILDER_H
#define KWR_TESTS_BMP_BUILDER_H

#include <cstdint>
#include <vector>

namespace bmptest {

using Bytes = std::vector<unsigned char>;

inline void put16(Bytes& b, std::uint32_t v) {
    b.push_back(static_cast<unsigned char>(v));
    b.push_back(static_cast<unsigned char>(v >> 8));
}
inline void put32(Bytes& b, std::uint32_t v) {
    put16(b, v & 0xFFFFu);
    put16(b, v >> 16);
}

struct BmpLayout {
    std::uint32_t headerSize = 40;    // 12, 40, 52, 56, 108, 124 (or a lie)
    std::int32_t width = 1;
    std::int32_t height = 1;          // negative: top-down
    std::uint16_t planes = 1;
    std::uint16_t bpp = 24;
    std::uint32_t compression = 0;
    std::uint32_t sizeImage = 0;      // never trusted by the reader
    std::uint32_t clrUsed = 0;
    std::vector<std::uint32_t> masks; // inside the header (52+) or after a 40-byte one
    std::vector<std::uint32_t> table; // 0x00RRGGBB entries (3 bytes each in a core file)
    Bytes pixels;                     // the pixel data as it goes into the file
    std::int64_t offset = -1;         // pixel data offset; -1: right after the table
    std::uint16_t magic = 0x4D42;
};

inline Bytes buildBmp(const BmpLayout& s) {
    Bytes info;
    put32(info, s.headerSize);
    if (s.headerSize == 12) {
        put16(info, static_cast<std::uint32_t>(s.width));
        put16(info, static_cast<std::uint32_t>(s.height));
        put16(info, s.planes);
        put16(info, s.bpp);
    } else {
        put32(info, static_cast<std::uint32_t>(s.width));
        put32(info, static_cast<std::uint32_t>(s.height));
        put16(info, s.planes);
        put16(info, s.bpp);
        put32(info, s.compression);
        put32(info, s.sizeImage);
        put32(info, 2835);
        put32(info, 2835);
        put32(info, s.clrUsed);
        put32(info, 0);
        // Masks inside a longer header, then zero padding up to its size.
        for (std::size_t i = 0; s.headerSize > 40 && i < s.masks.size() && info.size() + 4 <= s.headerSize; ++i)
            put32(info, s.masks[i]);
        while (info.size() < s.headerSize) info.push_back(0);
        if (s.headerSize == 40)
            for (std::uint32_t m : s.masks) put32(info, m);
    }
    for (std::uint32_t c : s.table) {
        info.push_back(static_cast<unsigned char>(c));
        info.push_back(static_cast<unsigned char>(c >> 8));
        info.push_back(static_cast<unsigned char>(c >> 16));
        if (s.headerSize != 12) info.push_back(0);
    }
    const std::uint32_t offset = s.offset >= 0 ? static_cast<std::uint32_t>(s.offset)
                                               : static_cast<std::uint32_t>(14 + info.size());
    Bytes file;
    put16(file, s.magic);
    put32(file, static_cast<std::uint32_t>(14 + info.size() + s.pixels.size()));
    put32(file, 0);
    put32(file, offset);
    file.insert(file.end(), info.begin(), info.end());
    while (file.size() < offset && s.offset >= 0) file.push_back(0);
    file.insert(file.end(), s.pixels.begin(), s.pixels.end());
    return file;
}

}  // namespace bmptest

#endif
