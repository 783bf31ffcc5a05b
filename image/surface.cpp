#include "image/surface.h"

#include <climits>
#include <cstring>
#include <vector>

#include "KWRImage.h"
#include "render/pixel_format.h"

namespace kwr {

namespace {

// The sixteen colours of 4-bit surfaces, 0x00RRGGBB: the eight dark and the
// eight bright corners of the RGB cube, with silver and grey between.
constexpr std::uint32_t kColors16[16] = {
    0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
    0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

unsigned char* tableOf(DibStream& dib) { return reinterpret_cast<unsigned char*>(dib.header) + 40; }

void writeGreyRamp(unsigned char* table) {
    for (int i = 0; i < 256; ++i) {
        table[4 * i + 0] = table[4 * i + 1] = table[4 * i + 2] = static_cast<unsigned char>(i);
        table[4 * i + 3] = 0;
    }
}

// Copies the source's colour table over out's, zero beyond the source's.
void copyTable(const SurfaceView& src, DibStream& out) {
    const int entries = static_cast<int>(out.header->bmiHeader.biClrUsed);
    const int shared = src.tableSize < entries ? src.tableSize : entries;
    unsigned char* table = tableOf(out);
    if (shared > 0) std::memcpy(table, src.table, 4 * static_cast<std::size_t>(shared));
    std::memset(table + 4 * shared, 0, 4 * static_cast<std::size_t>(entries - shared));
}

// Writes one row of 0xAARRGGBB pixels in the format of `bpp`.
void argbToRow(const std::uint32_t* argb, int width, int bpp, unsigned char* row) {
    switch (bpp) {
    case 1:
        for (int x = 0; x < width; ++x) setIndex(row, x, 1, greyLevel(argb[x]) >= 128 ? 1u : 0u);
        break;
    case 4:
        for (int x = 0; x < width; ++x) setIndex(row, x, 4, toColor16(argb[x]));
        break;
    case 8:
        for (int x = 0; x < width; ++x) row[x] = toColorCube(argb[x]);
        break;
    case 16:
        for (int x = 0; x < width; ++x) store16(row + 2 * x, toX1R5G5B5(argb[x]));
        break;
    case 24:
        for (int x = 0; x < width; ++x) {
            const std::uint32_t c = argb[x];
            row[3 * x + 0] = static_cast<unsigned char>(c);
            row[3 * x + 1] = static_cast<unsigned char>(c >> 8);
            row[3 * x + 2] = static_cast<unsigned char>(c >> 16);
        }
        break;
    default:
        for (int x = 0; x < width; ++x) {
            const std::uint32_t c = argb[x];
            row[4 * x + 0] = static_cast<unsigned char>(c);
            row[4 * x + 1] = static_cast<unsigned char>(c >> 8);
            row[4 * x + 2] = static_cast<unsigned char>(c >> 16);
            row[4 * x + 3] = static_cast<unsigned char>(c >> 24);
        }
        break;
    }
}

// Colour-table entry `index` with alpha 255; black beyond the table.
std::uint32_t tableColor(const SurfaceView& view, unsigned index) {
    return static_cast<int>(index) < view.tableSize ? 0xFF000000u | (load32(view.table + 4 * index) & 0xFFFFFFu)
                                                    : 0xFF000000u;
}

bool knownDepth(int bpp) {
    return bpp == 1 || bpp == 4 || bpp == 8 || bpp == 16 || bpp == 24 || bpp == 32;
}

}  // namespace

bool viewOf(const BITMAPINFO* header, unsigned char* bits, SurfaceView& view) {
    if (header == nullptr || bits == nullptr) return false;
    const BITMAPINFOHEADER& h = header->bmiHeader;
    const int bpp = h.biBitCount;
    if (h.biSize < 40 || h.biCompression != 0 || !knownDepth(bpp) || h.biWidth <= 0 || h.biHeight == 0 ||
        h.biHeight == INT_MIN)
        return false;
    const std::uint64_t pitch =
        dibRowBytes(static_cast<std::uint64_t>(bpp), static_cast<std::uint64_t>(h.biWidth));
    if (pitch > static_cast<std::uint64_t>(INT_MAX)) return false;
    view.width = h.biWidth;
    view.height = h.biHeight < 0 ? -h.biHeight : h.biHeight;
    view.bpp = bpp;
    view.pitch = static_cast<int>(pitch);
    view.topDown = h.biHeight < 0;
    view.bits = bits;
    view.table = reinterpret_cast<const unsigned char*>(header) + h.biSize;
    view.tableSize = 0;
    if (bpp <= 8) {
        const std::uint32_t full = 1u << bpp;
        view.tableSize = static_cast<int>(h.biClrUsed == 0 || h.biClrUsed > full ? full : h.biClrUsed);
    }
    return true;
}

bool viewOf(const DibStream& dib, SurfaceView& view) { return viewOf(dib.header, dib.bits, view); }

int createSurface(DibStream& out, int width, int height, int bpp) {
    if (width <= 0 || height <= 0 || !knownDepth(bpp)) return kDibSomeError;
    const std::uint64_t pitch = dibRowBytes(static_cast<std::uint64_t>(bpp), static_cast<std::uint64_t>(width));
    if (width > KWR_IMAGE_MAX_WIDTH || height > KWR_IMAGE_MAX_HEIGHT ||
        pitch * static_cast<std::uint64_t>(height) > KWR_IMAGE_MAX_PIXEL_BYTES)
        return kDibAllocateMemory;
    if (!out.Create(width, -height, bpp)) return kDibAllocateMemory;
    std::memset(out.bits, 0, out.header->bmiHeader.biSizeImage);
    unsigned char* table = tableOf(out);
    if (bpp == 4) {
        for (int i = 0; i < 16; ++i) {
            store32(table + 4 * i, kColors16[i]);
        }
    } else if (bpp == 8) {
        writeColorCubeTable(table);  // the grey ramp of a new surface stays in 216..255
    }
    return kDibOk;
}

void rowToArgb(const SurfaceView& view, const unsigned char* row, std::uint32_t* out) {
    const int w = view.width;
    switch (view.bpp) {
    case 1:
    case 4:
    case 8:
        for (int x = 0; x < w; ++x) out[x] = tableColor(view, indexAt(row, x, view.bpp));
        break;
    case 16:
        for (int x = 0; x < w; ++x) out[x] = directPixelArgb<16>(row, x);
        break;
    case 24:
        for (int x = 0; x < w; ++x) out[x] = directPixelArgb<24>(row, x);
        break;
    default:
        for (int x = 0; x < w; ++x) out[x] = directPixelArgb<32>(row, x);
        break;
    }
}

std::uint32_t argbAt(const SurfaceView& view, int x, int y) {
    const unsigned char* row = view.row(y);
    if (view.bpp < 8) return tableColor(view, indexAt(row, x, view.bpp));
    SurfaceView one = view;
    one.width = 1;
    std::uint32_t c = 0;
    rowToArgb(one, row + static_cast<std::ptrdiff_t>(x) * (view.bpp / 8), &c);
    return c;
}

std::uint8_t toColor16(std::uint32_t argb) {
    int best = 0;
    int bestDistance = INT_MAX;
    for (int i = 0; i < 16; ++i) {
        int d = 0;
        for (int shift = 0; shift <= 16; shift += 8) {
            const int diff = static_cast<int>((argb >> shift) & 0xFFu) - static_cast<int>((kColors16[i] >> shift) & 0xFFu);
            d += diff * diff;
        }
        if (d < bestDistance) {
            bestDistance = d;
            best = i;
        }
    }
    return static_cast<std::uint8_t>(best);
}

int convertSurface(const SurfaceView& src, int bpp, DibStream& out) {
    const int err = createSurface(out, src.width, src.height, bpp);
    if (err != kDibOk) return err;
    const SurfaceView dst{src.width, src.height, bpp, out.GetRowBytes(), true, out.bits, nullptr, 0};
    if (bpp == src.bpp) {
        if (bpp <= 8) copyTable(src, out);
        for (int y = 0; y < src.height; ++y) std::memcpy(dst.row(y), src.row(y), static_cast<std::size_t>(dst.pitch));
        return kDibOk;
    }
    std::vector<std::uint32_t> argb(static_cast<std::size_t>(src.width));
    for (int y = 0; y < src.height; ++y) {
        rowToArgb(src, src.row(y), argb.data());
        argbToRow(argb.data(), src.width, bpp, dst.row(y));
    }
    return kDibOk;
}

int resizeSurface(const SurfaceView& src, int width, int height, DibStream& out) {
    const int err = createSurface(out, width, height, src.bpp);
    if (err != kDibOk) return err;
    if (src.bpp <= 8) copyTable(src, out);
    const SurfaceView dst{width, height, src.bpp, out.GetRowBytes(), true, out.bits, nullptr, 0};
    std::vector<int> column(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) column[static_cast<std::size_t>(x)] = nearestSource(x, src.width, width);
    const int bytes = src.bpp / 8;
    for (int y = 0; y < height; ++y) {
        const unsigned char* from = src.row(nearestSource(y, src.height, height));
        unsigned char* to = dst.row(y);
        for (int x = 0; x < width; ++x) {
            const int sx = column[static_cast<std::size_t>(x)];
            if (bytes == 0) {
                setIndex(to, x, src.bpp, indexAt(from, sx, src.bpp));
            } else {
                std::memcpy(to + static_cast<std::ptrdiff_t>(x) * bytes, from + static_cast<std::ptrdiff_t>(sx) * bytes,
                            static_cast<std::size_t>(bytes));
            }
        }
    }
    return kDibOk;
}

int alphaMapSurface(const SurfaceView& src, bool fromGrey, DibStream& out) {
    const int err = createSurface(out, src.width, src.height, 8);
    if (err != kDibOk) return err;
    writeGreyRamp(tableOf(out));
    const int pitch = out.GetRowBytes();
    std::vector<std::uint32_t> argb(static_cast<std::size_t>(src.width));
    for (int y = 0; y < src.height; ++y) {
        rowToArgb(src, src.row(y), argb.data());
        unsigned char* to = out.bits + static_cast<std::ptrdiff_t>(y) * pitch;
        for (int x = 0; x < src.width; ++x) {
            const std::uint32_t c = argb[static_cast<std::size_t>(x)];
            to[x] = fromGrey ? greyLevel(c) : static_cast<unsigned char>(c >> 24);
        }
    }
    return kDibOk;
}

}  // namespace kwr
