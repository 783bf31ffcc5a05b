// PNG files, read and written through libpng where the build has it
// (KWR_HAVE_PNG); elsewhere every call fails with kDibUnsupportType.
#ifndef KWR_IMAGE_PNG_CODEC_H
#define KWR_IMAGE_PNG_CODEC_H

#include "KWRImage.h"
#include "image/byte_io.h"
#include "image/surface.h"
#include "render/dib_stream.h"

namespace kwr {

bool pngSupported();
// Whether `in` starts with the PNG signature (nothing is consumed).
bool isPng(Input& in);
// Reads one PNG file into `out`: 8 bits a channel, blue, green, red (24
// bits a pixel), with alpha (32) when the file has alpha or a transparent
// colour; top-down.  Records the size and the loaded depth in `info`.
// Returns an error code, 0 on success.
int readPng(Input& in, const KWRImageLoadOptions* options, DibStream& out, KWRImageFileInfo& info);
// Writes the view as a PNG file: RGBA from 32 bits, RGB of the colours of
// every other depth.  Returns an error code.
int writePng(const SurfaceView& view, Output& out);

}  // namespace kwr

#endif
