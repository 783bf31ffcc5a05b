// Writing surfaces as bitmap files: uncompressed, 40-byte header, the full
// colour table for 1, 4 and 8 bits per pixel, rows bottom-up.
#ifndef KWR_IMAGE_BMP_WRITER_H
#define KWR_IMAGE_BMP_WRITER_H

#include <cstdint>

#include "image/byte_io.h"
#include "image/surface.h"

namespace kwr {

// Bytes of the file that writeBitmap produces for the view.
std::uint64_t bitmapFileSize(const SurfaceView& view);
// Writes the file; returns an error code (0 on success).
int writeBitmap(const SurfaceView& view, Output& out);

}  // namespace kwr

#endif
