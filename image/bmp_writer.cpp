#include "image/bmp_writer.h"

#include <cstring>

namespace kwr {

namespace {

constexpr std::uint32_t kHeadersBytes = 14 + 40;

std::uint32_t tableEntries(const SurfaceView& view) { return view.bpp <= 8 ? 1u << view.bpp : 0u; }

}  // namespace

std::uint64_t bitmapFileSize(const SurfaceView& view) {
    return kHeadersBytes + 4 * static_cast<std::uint64_t>(tableEntries(view)) +
           static_cast<std::uint64_t>(view.pitch) * static_cast<std::uint64_t>(view.height);
}

int writeBitmap(const SurfaceView& view, Output& out) {
    const std::uint64_t fileSize = bitmapFileSize(view);
    if (fileSize > 0xFFFFFFFFu) return kDibWriteFile;  // the size fields are 32 bits
    const std::uint32_t entries = tableEntries(view);
    unsigned char h[kHeadersBytes] = {};
    h[0] = 'B';
    h[1] = 'M';
    putLe32(h + 2, static_cast<std::uint32_t>(fileSize));
    putLe32(h + 10, kHeadersBytes + 4 * entries);
    putLe32(h + 14, 40);
    putLe32(h + 18, static_cast<std::uint32_t>(view.width));
    putLe32(h + 22, static_cast<std::uint32_t>(view.height));
    putLe16(h + 26, 1);
    putLe16(h + 28, static_cast<std::uint32_t>(view.bpp));
    putLe32(h + 30, 0);
    putLe32(h + 34, static_cast<std::uint32_t>(static_cast<std::uint64_t>(view.pitch) * static_cast<std::uint64_t>(view.height)));
    putLe32(h + 46, entries);
    if (!out.write(h, sizeof h)) return kDibWriteFile;

    // The colour table: the view's entries, zero beyond them.
    unsigned char table[4 * 256] = {};
    const std::uint32_t known = static_cast<std::uint32_t>(view.tableSize) < entries ? static_cast<std::uint32_t>(view.tableSize) : entries;
    if (known != 0) std::memcpy(table, view.table, 4 * static_cast<std::size_t>(known));
    for (std::uint32_t i = 0; i < entries; ++i) table[4 * i + 3] = 0;
    if (entries != 0 && !out.write(table, 4 * static_cast<std::size_t>(entries))) return kDibWriteFile;

    for (int y = view.height - 1; y >= 0; --y) {
        if (!out.write(view.row(y), static_cast<std::size_t>(view.pitch))) return kDibWriteFile;
    }
    return kDibOk;
}

}  // namespace kwr
