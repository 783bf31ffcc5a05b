// Reading bitmap files into surfaces.
#ifndef KWR_IMAGE_BMP_READER_H
#define KWR_IMAGE_BMP_READER_H

#include "KWRImage.h"
#include "image/byte_io.h"
#include "render/dib_stream.h"

namespace kwr {

// Reads one bitmap file from `in` into `out` (which is emptied first) and
// records the file's header facts in `info`.  Returns an error code, 0 on
// success; on failure `out` is empty.  `options` may be null.
int readBitmap(Input& in, const KWRImageLoadOptions* options, DibStream& out, KWRImageFileInfo& info);

}  // namespace kwr

#endif
