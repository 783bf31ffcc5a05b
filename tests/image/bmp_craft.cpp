#include "bmp_craft.h"

namespace bmpcraft {

namespace {

const std::uint32_t kColors[8] = {0xFF000000u, 0xFFFFFFFFu, 0xFFFF0000u, 0xFF00FF00u,
                                  0xFF0000FFu, 0xFFFFFF00u, 0xFF00FFFFu, 0xFFFF00FFu};

bool indexed(const Recipe& s) { return s.bpp <= 8; }
int tableEntries(const Recipe& s) { return s.tableSize != 0 ? s.tableSize : 1 << s.bpp; }
bool bitFields(const Recipe& s) { return s.compression == 3 || s.compression == 6; }

// Masks that pixels are written with: the recipe's bit fields, or the fixed
// layouts of uncompressed 16 and 32 bits.
void pixelMasks(const Recipe& s, std::uint32_t m[4]) {
    if (bitFields(s)) {
        for (int i = 0; i < 4; ++i) m[i] = s.masks[i];
    } else if (s.bpp == 16) {
        m[0] = 0x7C00u, m[1] = 0x03E0u, m[2] = 0x001Fu, m[3] = 0;
    } else {
        m[0] = 0xFF0000u, m[1] = 0xFF00u, m[2] = 0xFFu, m[3] = 0;
    }
}

void append16(Bytes& b, std::uint32_t v) {
    b.push_back(static_cast<unsigned char>(v));
    b.push_back(static_cast<unsigned char>(v >> 8));
}
void append32(Bytes& b, std::uint32_t v) {
    append16(b, v);
    append16(b, v >> 16);
}

// Run-length data of the picture: repeated indices as encoded runs, other
// stretches of three or more as absolute runs, an end-of-line escape after
// each row and end-of-bitmap after the last.
Bytes encodeRle(const Recipe& s) {
    const bool four = s.compression == 2;
    Bytes out;
    for (int y = s.height - 1; y >= 0; --y) {
        int x = 0;
        while (x < s.width) {
            int run = 1;
            while (x + run < s.width && run < 255 && craftIndex(s, x + run, y) == craftIndex(s, x, y)) ++run;
            if (run == 1) {
                int lit = 1;
                while (x + lit < s.width && lit < 255 &&
                       (x + lit + 1 >= s.width || craftIndex(s, x + lit, y) != craftIndex(s, x + lit + 1, y)))
                    ++lit;
                if (lit >= 3) {
                    out.push_back(0);
                    out.push_back(static_cast<unsigned char>(lit));
                    const std::size_t start = out.size();
                    for (int i = 0; i < lit; ++i) {
                        const int v = craftIndex(s, x + i, y);
                        if (!four) out.push_back(static_cast<unsigned char>(v));
                        else if (i % 2 == 0) out.push_back(static_cast<unsigned char>(v << 4));
                        else out.back() = static_cast<unsigned char>(out.back() | v);
                    }
                    if ((out.size() - start) % 2 != 0) out.push_back(0);
                    x += lit;
                    continue;
                }
            }
            const int v = craftIndex(s, x, y);
            out.push_back(static_cast<unsigned char>(run));
            out.push_back(static_cast<unsigned char>(four ? v * 17 : v));
            x += run;
        }
        out.push_back(0);
        out.push_back(y == 0 ? 1 : 0);
    }
    return out;
}

Bytes encodeRows(const Recipe& s) {
    const std::size_t pitch = ((static_cast<std::size_t>(s.bpp) * s.width + 31) / 32) * 4;
    std::uint32_t m[4];
    pixelMasks(s, m);
    Bytes out(pitch * s.height, 0);
    for (int y = 0; y < s.height; ++y) {
        const bool stored = s.topDown && s.headerSize > 12;
        unsigned char* row = out.data() + pitch * (stored ? y : s.height - 1 - y);
        for (int x = 0; x < s.width; ++x) {
            if (indexed(s)) {
                const int bit = x * s.bpp;
                row[bit / 8] = static_cast<unsigned char>(row[bit / 8] |
                                                          craftIndex(s, x, y) << (8 - s.bpp - bit % 8));
                continue;
            }
            const std::uint32_t c = craftColor(s, x, y);
            std::uint32_t v = 0;
            for (int i = 0; i < 4; ++i)
                if (c >> (i == 3 ? 24 : 16 - 8 * i) & 0x80u) v |= m[i];
            for (int i = 0; i < s.bpp / 8; ++i) row[x * (s.bpp / 8) + i] = static_cast<unsigned char>(v >> 8 * i);
        }
    }
    return out;
}

}  // namespace

int craftIndex(const Recipe& s, int x, int y) {
    // Runs of three in the left half, single pixels in the right half.
    const int cell = (x < s.width / 2 ? x / 3 : x) + 3 * y;
    return cell % (indexed(s) ? tableEntries(s) : 8);
}

std::uint32_t craftColor(const Recipe& s, int x, int y) {
    const std::uint32_t c = kColors[craftIndex(s, x, y) % 8];
    if (bitFields(s) && s.masks[3] != 0 && (x + y) % 2 != 0) return c & 0xFFFFFFu;
    return c;
}

void put16(Bytes& b, std::size_t at, std::uint32_t v) {
    b[at] = static_cast<unsigned char>(v);
    b[at + 1] = static_cast<unsigned char>(v >> 8);
}
void put32(Bytes& b, std::size_t at, std::uint32_t v) {
    put16(b, at, v);
    put16(b, at + 2, v >> 16);
}

Bytes build(const Recipe& s) {
    const Bytes pixels = s.compression == 1 || s.compression == 2 ? encodeRle(s) : encodeRows(s);
    const int entries = indexed(s) ? tableEntries(s) : 0;
    Bytes f{'B', 'M'};
    append32(f, 0);  // file size, patched below
    append32(f, 0);
    append32(f, 0);  // pixel offset, patched below
    append32(f, static_cast<std::uint32_t>(s.headerSize));
    if (s.headerSize == 12) {
        append16(f, static_cast<std::uint32_t>(s.width));
        append16(f, static_cast<std::uint32_t>(s.height));
        append16(f, 1);
        append16(f, static_cast<std::uint32_t>(s.bpp));
    } else {
        append32(f, static_cast<std::uint32_t>(s.width));
        append32(f, static_cast<std::uint32_t>(s.topDown ? -s.height : s.height));
        append16(f, 1);
        append16(f, static_cast<std::uint32_t>(s.bpp));
        append32(f, static_cast<std::uint32_t>(s.compression));
        append32(f, static_cast<std::uint32_t>(pixels.size()));
        append32(f, 2835);
        append32(f, 2835);
        append32(f, s.clrUsedZero ? 0u : static_cast<std::uint32_t>(entries));
        append32(f, 0);
        // Masks inside the longer headers, or after the 40-byte one.
        const int inHeader = s.headerSize >= 56 ? 4 : s.headerSize >= 52 ? 3 : 0;
        const int after = s.headerSize == 40 && bitFields(s) ? (s.compression == 6 ? 4 : 3) : 0;
        for (int i = 0; i < inHeader + after; ++i) append32(f, bitFields(s) ? s.masks[i] : 0);
        if (s.headerSize >= 108) append32(f, 0x73524742u);  // colour space "sRGB"
        f.resize(14 + static_cast<std::size_t>(s.headerSize) + 4u * after, 0);
    }
    for (int i = 0; i < entries; ++i) {
        const std::uint32_t c = kColors[i % 8];
        for (int k = 0; k < (s.headerSize == 12 ? 3 : 4); ++k) f.push_back(static_cast<unsigned char>(k < 3 ? c >> 8 * k : 0));
    }
    put32(f, kPixelOffset, static_cast<std::uint32_t>(f.size()));
    f.insert(f.end(), pixels.begin(), pixels.end());
    put32(f, kFileSize, static_cast<std::uint32_t>(f.size()));
    return f;
}

Bytes withPixels(const Recipe& s, const Bytes& pixels) {
    Bytes f = build(s);
    f.resize(f[kPixelOffset] | f[kPixelOffset + 1] << 8);
    f.insert(f.end(), pixels.begin(), pixels.end());
    put32(f, kFileSize, static_cast<std::uint32_t>(f.size()));
    if (s.headerSize > 12) put32(f, kSizeImage, static_cast<std::uint32_t>(pixels.size()));
    return f;
}

std::string name(const Recipe& s) {
    std::string n = "b" + std::to_string(s.bpp) + "_h" + std::to_string(s.headerSize) + "_c" +
                    std::to_string(s.compression);
    if (bitFields(s))
        for (std::uint32_t m : s.masks) {
            int bits = 0;
            for (; m != 0; m &= m - 1) ++bits;
            n += "_" + std::to_string(bits);
        }
    if (s.topDown) n += "_td";
    if (s.tableSize != 0) n += "_t" + std::to_string(s.tableSize);
    if (s.clrUsedZero) n += "_t0";
    return n;
}

std::vector<Recipe> seedRecipes() {
    std::vector<Recipe> v;
    auto add = [&](int bpp, int header, int compression, bool topDown) {
        Recipe s;
        s.bpp = bpp, s.headerSize = header, s.compression = compression, s.topDown = topDown;
        s.width = compression == 1 || compression == 2 ? 12 : 5;
        v.push_back(s);
        return &v.back();
    };
    for (int bpp : {1, 4, 8, 16, 24, 32}) {
        for (int header : {12, 40, 52, 56, 108, 124})
            if (header != 12 || (bpp != 16 && bpp != 32)) add(bpp, header, 0, false);
        add(bpp, 40, 0, true);
    }
    for (int header : {40, 108}) {
        add(8, header, 1, false);
        add(4, header, 2, false);
    }
    add(8, 40, 0, false)->tableSize = 8;
    add(4, 40, 0, true)->tableSize = 5;
    add(8, 124, 0, false)->clrUsedZero = true;
    add(4, 40, 2, false)->tableSize = 7;
    // Bit fields: {bpp, header, compression, red, green, blue, alpha}.
    const std::uint32_t fields[][7] = {
        {16, 40, 3, 0x7C00, 0x03E0, 0x001F, 0},           // 5-5-5
        {16, 40, 3, 0xF800, 0x07E0, 0x001F, 0},           // 5-6-5
        {16, 56, 3, 0x001F, 0x07E0, 0xF800, 0},           // 5-6-5, red and blue swapped
        {16, 40, 6, 0x0F00, 0x00F0, 0x000F, 0xF000},      // 4-4-4-4
        {16, 108, 3, 0x7C00, 0x03E0, 0x001F, 0x8000},     // 1-5-5-5
        {16, 52, 3, 0xE000, 0x1C00, 0x0300, 0},           // 3-3-2 at the top
        {32, 40, 3, 0xFF0000, 0xFF00, 0xFF, 0},           // 8-8-8
        {32, 56, 3, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},  // 8-8-8-8
        {32, 124, 3, 0xFF, 0xFF00, 0xFF0000, 0xFF000000}, // red and blue swapped
        {32, 40, 6, 0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000},  // 10-10-10-2
        {32, 108, 3, 0xFF000000, 0xFF0000, 0xFF00, 0},    // 8-8-8 at the top
    };
    for (const auto& f : fields) {
        Recipe* s = add(static_cast<int>(f[0]), static_cast<int>(f[1]), static_cast<int>(f[2]), false);
        for (int i = 0; i < 4; ++i) s->masks[i] = f[3 + i];
    }
    v.back().topDown = true;
    return v;
}

}  // namespace bmpcraft
