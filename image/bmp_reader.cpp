// The bitmap file reader.  The file is untrusted: every size it states is
// checked against the caps and against what was actually read, no size field
// is used to size a buffer, every product is computed in 64 bits, run-length
// data is clipped to the image, and pixel values beyond the colour table map
// to a defined (zero) entry.
#include "image/bmp_reader.h"

#include <climits>
#include <cstring>
#include <vector>

#include "image/load_limits.h"
#include "image/surface.h"

namespace kwr {

namespace {

enum Compression : std::uint32_t { kRgb = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3, kAlphaBitFields = 6 };

constexpr std::uint32_t kFileHeaderBytes = 14;

// One colour channel of a bit-field pixel.
struct Field {
    std::uint32_t mask = 0;
    int shift = 0;
    int bits = 0;

    // The channel widened (or narrowed) to 8 bits: narrower fields repeat
    // their bits downwards, so that the largest value gives 255.
    std::uint32_t widen(std::uint32_t pixel) const {
        const std::uint32_t v = (pixel & mask) >> shift;
        if (bits >= 8) return v >> (bits - 8);
        std::uint32_t r = v << (8 - bits);
        for (int s = bits; s < 8; s += bits) r |= r >> s;
        return r & 0xFFu;
    }
};

// A mask as a field: false when it is not one run of set bits inside the
// pixel's `depth` bits.  A zero mask is a valid (absent) field.
bool makeField(std::uint32_t mask, int depth, Field& f) {
    f = Field{};
    f.mask = mask;
    if (mask == 0) return true;
    if (depth < 32 && (mask >> depth) != 0) return false;
    while (((mask >> f.shift) & 1u) == 0) ++f.shift;
    const std::uint32_t v = mask >> f.shift;
    if ((v & (v + 1u)) != 0) return false;  // a gap in the run
    for (std::uint32_t t = v; t != 0; t >>= 1) ++f.bits;
    return true;
}

// The headers as read, before any decision on them.
struct Header {
    std::uint32_t offset;
    std::uint32_t size;           // info header bytes
    std::int64_t width;
    std::int64_t height;          // as stored: negative = top-down
    int planes;
    int bpp;
    std::uint32_t compression;
    std::uint32_t clrUsed;
    std::uint32_t masks[4];       // red, green, blue, alpha (when in the header)
};

bool knownHeaderSize(std::uint32_t size) {
    return size == 12 || size == 40 || size == 52 || size == 56 || size == 108 || size == 124;
}

int readHeaders(Input& in, Header& h) {
    unsigned char b[124];
    if (!in.read(b, kFileHeaderBytes)) return kDibReadFile;
    if (le16(b) != 0x4D42) return kDibInvalidImage;
    h = Header{};
    h.offset = le32(b + 10);
    if (!in.read(b, 4)) return kDibReadFile;
    h.size = le32(b);
    if (h.size < 12) return kDibInvalidImage;
    if (!knownHeaderSize(h.size)) return kDibUnsupportType;
    if (!in.read(b + 4, h.size - 4)) return kDibReadFile;
    if (h.size == 12) {
        h.width = le16(b + 4);
        h.height = le16(b + 6);
        h.planes = le16(b + 8);
        h.bpp = le16(b + 10);
        h.compression = kRgb;
        return kDibOk;
    }
    h.width = static_cast<std::int32_t>(le32(b + 4));
    h.height = static_cast<std::int32_t>(le32(b + 8));
    h.planes = le16(b + 12);
    h.bpp = le16(b + 14);
    h.compression = le32(b + 16);
    h.clrUsed = le32(b + 32);
    if (h.size >= 52) {
        for (int i = 0; i < 3; ++i) h.masks[i] = le32(b + 40 + 4 * i);
    }
    if (h.size >= 56) h.masks[3] = le32(b + 52);
    return kDibOk;
}

// Compression and depth belong together, or the type is not read here.
int checkType(const Header& h) {
    const int bpp = h.bpp;
    if (depthBit(bpp) == 0) return kDibUnsupportType;
    switch (h.compression) {
    case kRgb: return kDibOk;
    case kRle8: return bpp == 8 ? kDibOk : kDibInvalidImage;
    case kRle4: return bpp == 4 ? kDibOk : kDibInvalidImage;
    case kBitFields:
    case kAlphaBitFields: return bpp == 16 || bpp == 32 ? kDibOk : kDibInvalidImage;
    default: return kDibUnsupportType;  // JPEG, PNG and others
    }
}

// Reads `rows` rows of `pitch` bytes each into the surface rows.
int readRows(Input& in, unsigned char* bits, int pitch, int rows, const Progress& progress) {
    for (int y = 0; y < rows; ++y) {
        if (progress.cancelled(y)) return kDibLoadInterrupt;
        if (!in.read(bits + static_cast<std::ptrdiff_t>(y) * pitch, static_cast<std::size_t>(pitch))) return kDibReadFile;
    }
    return kDibOk;
}

// Reads bit-field rows of `bpp` bits into 32-bit blue, green, red, alpha
// rows; alpha 255 without an alpha field.
int readFieldRows(Input& in, int bpp, const Field (&f)[4], unsigned char* bits, int pitch, int width, int rows,
                  const Progress& progress) {
    const std::uint64_t fileRow = dibRowBytes(static_cast<std::uint64_t>(bpp), static_cast<std::uint64_t>(width));
    std::vector<unsigned char> row(static_cast<std::size_t>(fileRow));
    for (int y = 0; y < rows; ++y) {
        if (progress.cancelled(y)) return kDibLoadInterrupt;
        if (!in.read(row.data(), row.size())) return kDibReadFile;
        unsigned char* out = bits + static_cast<std::ptrdiff_t>(y) * pitch;
        for (int x = 0; x < width; ++x) {
            const std::uint32_t p = bpp == 16 ? le16(&row[2 * static_cast<std::size_t>(x)])
                                              : le32(&row[4 * static_cast<std::size_t>(x)]);
            out[4 * x + 0] = static_cast<unsigned char>(f[2].widen(p));
            out[4 * x + 1] = static_cast<unsigned char>(f[1].widen(p));
            out[4 * x + 2] = static_cast<unsigned char>(f[0].widen(p));
            out[4 * x + 3] = static_cast<unsigned char>(f[3].mask != 0 ? f[3].widen(p) : 255u);
        }
    }
    return kDibOk;
}

// Decodes run-length data (8 or 4 bits per pixel) into zeroed bottom-up
// rows.  Runs and absolute runs are clipped at the row's end, a delta or an
// end of line past the last row ends the image, and data that ends before
// the end-of-bitmap escape leaves the remaining pixels zero and sets
// *truncated.
int readRunLength(Input& in, int bpp, unsigned char* bits, int pitch, int width, int height,
                  const Progress& progress, bool* truncated) {
    *truncated = true;
    auto put = [&](int x, int y, unsigned v) {
        unsigned char* row = bits + static_cast<std::ptrdiff_t>(y) * pitch;
        if (bpp == 8) {
            row[x] = static_cast<unsigned char>(v);
        } else {
            setIndex(row, x, 4, v);
        }
    };
    int x = 0, y = 0;
    unsigned steps = 0;
    if (progress.cancelled(0)) return kDibLoadInterrupt;
    while (y < height) {
        if ((++steps & 0x7FFFu) == 0 && progress.cancelled(y)) return kDibLoadInterrupt;
        const int count = in.get();
        const int value = in.get();
        if (count < 0 || value < 0) return kDibOk;
        if (count > 0) {
            // `count` pixels of one value (two alternating nibbles at 4 bits).
            const int end = x + count < width ? x + count : width;
            for (int i = 0; x + i < end; ++i) {
                put(x + i, y, bpp == 8 ? static_cast<unsigned>(value)
                                       : ((i & 1) != 0 ? value & 0x0F : value >> 4));
            }
            x = end;
            continue;
        }
        if (value == 0) {  // end of line
            x = 0;
            ++y;
            if (progress.cancelled(y)) return kDibLoadInterrupt;
        } else if (value == 1) {  // end of bitmap
            *truncated = false;
            return kDibOk;
        } else if (value == 2) {  // delta
            const int dx = in.get();
            const int dy = in.get();
            if (dx < 0 || dy < 0) return kDibOk;
            x = x + dx < width ? x + dx : width;
            y += dy;
        } else {  // absolute run of `value` pixels, padded to 16 bits
            const int bytes = bpp == 8 ? value : (value + 1) / 2;
            int i = 0;
            for (int k = 0; k < bytes; ++k) {
                const int byte = in.get();
                if (byte < 0) return kDibOk;
                if (bpp == 8) {
                    if (x + i < width) put(x + i, y, static_cast<unsigned>(byte));
                    ++i;
                } else {
                    for (int n = 0; n < 2 && i < value; ++n, ++i) {
                        if (x + i < width) put(x + i, y, n == 0 ? static_cast<unsigned>(byte >> 4) : byte & 0x0Fu);
                    }
                }
            }
            if ((bytes & 1) != 0 && in.get() < 0) return kDibOk;
            x = x + value < width ? x + value : width;
        }
    }
    *truncated = false;  // every row was reached
    return kDibOk;
}

}  // namespace

int readBitmap(Input& in, const KWRImageLoadOptions* options, DibStream& out, KWRImageFileInfo& info) {
    const Limits limits = limitsOf(options);
    Header h;
    int err = readHeaders(in, h);
    if (err != kDibOk) return err;
    if (h.planes != 1) return kDibInvalidImage;
    if ((err = checkType(h)) != kDibOk) return err;
    if ((depthBit(h.bpp) & limits.depthMask) == 0) return kDibNotMatchType;

    const bool topDown = h.height < 0;
    const std::int64_t height = topDown ? -h.height : h.height;
    const bool runLength = h.compression == kRle8 || h.compression == kRle4;
    if (h.width <= 0 || height == 0 || (topDown && runLength)) return kDibInvalidImage;
    if (h.width > limits.maxWidth || height > limits.maxHeight) return kDibAllocateMemory;
    const int width = static_cast<int>(h.width);
    const int rows = static_cast<int>(height);

    // Bit fields: masks after a 40-byte header, else inside the header.  A
    // file whose pixels start right after a 40-byte header has no masks
    // (ImageMagick writes 16-bit files so): its pixels use the plain layout.
    std::uint64_t headerEnd = kFileHeaderBytes + static_cast<std::uint64_t>(h.size);
    bool fields = h.compression == kBitFields || h.compression == kAlphaBitFields;
    if (fields && h.size == 40 && h.offset == headerEnd) fields = false;
    if (fields && h.size == 40) {
        const int count = h.compression == kAlphaBitFields ? 4 : 3;
        unsigned char m[16];
        if (!in.read(m, 4 * static_cast<std::size_t>(count))) return kDibReadFile;
        for (int i = 0; i < count; ++i) h.masks[i] = le32(m + 4 * i);
        headerEnd += 4 * static_cast<std::uint64_t>(count);
    }
    if (!fields) {
        // The masks that describe uncompressed 16- and 32-bit pixels.
        h.masks[0] = h.bpp == 16 ? 0x7C00u : 0xFF0000u;
        h.masks[1] = h.bpp == 16 ? 0x3E0u : 0xFF00u;
        h.masks[2] = h.bpp == 16 ? 0x1Fu : 0xFFu;
        h.masks[3] = 0;
    } else if (h.compression == kBitFields && h.size < 56) {
        h.masks[3] = 0;
    }
    Field f[4];
    if (h.bpp == 16 || h.bpp == 32) {
        for (int i = 0; i < 4; ++i) {
            if (!makeField(h.masks[i], h.bpp, f[i]) || (i < 3 && h.masks[i] == 0)) return kDibInvalidImage;
        }
        const std::uint32_t* m = h.masks;
        if ((m[0] & m[1]) != 0 || (m[0] & m[2]) != 0 || (m[1] & m[2]) != 0 || (m[3] & (m[0] | m[1] | m[2])) != 0)
            return kDibInvalidImage;
    }

    // Pixels copied as they are, or widened to 32 bits through the fields.
    const bool plain16 = h.masks[0] == 0x7C00u && h.masks[1] == 0x3E0u && h.masks[2] == 0x1Fu && h.masks[3] == 0;
    const bool plain32 = h.masks[0] == 0xFF0000u && h.masks[1] == 0xFF00u && h.masks[2] == 0xFFu &&
                         (h.masks[3] == 0 || h.masks[3] == 0xFF000000u);
    const bool widen = (h.bpp == 16 && !plain16) || (h.bpp == 32 && !plain32);
    const int outBpp = widen ? 32 : h.bpp;
    const std::uint64_t pitch = dibRowBytes(static_cast<std::uint64_t>(outBpp), static_cast<std::uint64_t>(width));
    if (pitch * static_cast<std::uint64_t>(rows) > limits.maxPixelBytes) return kDibAllocateMemory;

    // Colour table: biClrUsed entries (0: all the depth allows); the core
    // header's 3-byte entries fill the space before the pixel data, up to
    // the depth's count.
    std::uint32_t entries = 0;
    std::uint32_t entryBytes = h.size == 12 ? 3 : 4;
    if (h.bpp <= 8) {
        const std::uint32_t full = 1u << h.bpp;
        if (h.size == 12) {
            const std::uint64_t room = h.offset > headerEnd ? (h.offset - headerEnd) / 3 : 0;
            entries = room < full ? static_cast<std::uint32_t>(room) : full;
        } else {
            if (h.clrUsed > full) return kDibInvalidImage;
            entries = h.clrUsed != 0 ? h.clrUsed : full;
        }
    }
    const std::uint64_t tableEnd = headerEnd + static_cast<std::uint64_t>(entries) * entryBytes;
    if (h.offset < tableEnd) return kDibInvalidImage;

    if (!out.Create(width, topDown ? -rows : rows, outBpp)) return kDibAllocateMemory;
    // Run-length data may leave pixels unset; every other kind writes every row whole.
    if (runLength) std::memset(out.bits, 0, out.header->bmiHeader.biSizeImage);
    if (h.bpp <= 8) {
        unsigned char* table = reinterpret_cast<unsigned char*>(out.header) + 40;
        std::memset(table, 0, 4u << h.bpp);
        unsigned char e[4] = {0, 0, 0, 0};
        for (std::uint32_t i = 0; i < entries; ++i) {
            if (!in.read(e, entryBytes)) return kDibReadFile;
            table[4 * i + 0] = e[0];
            table[4 * i + 1] = e[1];
            table[4 * i + 2] = e[2];
        }
    }
    if (!in.skip(h.offset - in.position())) return kDibReadFile;

    const Progress progress(options, rows);
    const int outPitch = static_cast<int>(pitch);
    bool truncated = false;
    if (runLength) {
        err = readRunLength(in, h.bpp, out.bits, outPitch, width, rows, progress, &truncated);
    } else if (widen) {
        err = readFieldRows(in, h.bpp, f, out.bits, outPitch, width, rows, progress);
    } else {
        err = readRows(in, out.bits, outPitch, rows, progress);
    }
    if (err != kDibOk) return err;

    info.width = width;
    info.height = rows;
    info.bitCount = h.bpp;
    info.compression = static_cast<int>(h.compression);
    info.headerSize = static_cast<int>(h.size);
    info.colorTableSize = static_cast<int>(entries);
    info.topDown = topDown ? 1 : 0;
    info.redMask = h.bpp >= 16 ? h.masks[0] : 0;
    info.greenMask = h.bpp >= 16 ? h.masks[1] : 0;
    info.blueMask = h.bpp >= 16 ? h.masks[2] : 0;
    info.alphaMask = h.bpp >= 16 ? h.masks[3] : 0;
    info.pixelOffset = h.offset;
    info.truncated = truncated ? 1 : 0;
    return kDibOk;
}

}  // namespace kwr
