// The options of one load as the file readers apply them: the caps in
// force and the host's cancel callback.
#ifndef KWR_IMAGE_LOAD_LIMITS_H
#define KWR_IMAGE_LOAD_LIMITS_H

#include <cstdint>

#include "KWRImage.h"

namespace kwr {

// The caps in force for one load: the library's, lowered by the host's.
struct Limits {
    unsigned depthMask;
    int maxWidth;
    int maxHeight;
    std::uint64_t maxPixelBytes;
};

inline Limits limitsOf(const KWRImageLoadOptions* o) {
    Limits l{KWR_DEPTH_ALL, KWR_IMAGE_MAX_WIDTH, KWR_IMAGE_MAX_HEIGHT, KWR_IMAGE_MAX_PIXEL_BYTES};
    if (o != nullptr) {
        if (o->depthMask != 0) l.depthMask = o->depthMask;
        if (o->maxWidth > 0 && o->maxWidth < l.maxWidth) l.maxWidth = o->maxWidth;
        if (o->maxHeight > 0 && o->maxHeight < l.maxHeight) l.maxHeight = o->maxHeight;
        if (o->maxPixelBytes > 0 && o->maxPixelBytes < l.maxPixelBytes) l.maxPixelBytes = o->maxPixelBytes;
    }
    return l;
}

inline unsigned depthBit(int bpp) {
    switch (bpp) {
    case 1: return KWR_DEPTH_1;
    case 4: return KWR_DEPTH_4;
    case 8: return KWR_DEPTH_8;
    case 16: return KWR_DEPTH_16;
    case 24: return KWR_DEPTH_24;
    case 32: return KWR_DEPTH_32;
    default: return 0;
    }
}

// The host's cancel callback, asked with the rows decoded so far.
class Progress {
public:
    Progress(const KWRImageLoadOptions* o, int total)
        : cancel_(o != nullptr ? o->cancel : nullptr), user_(o != nullptr ? o->user : nullptr), total_(total) {}
    bool cancelled(int rowsDone) const { return cancel_ != nullptr && cancel_(user_, rowsDone, total_) != 0; }

private:
    KWRImageCancel cancel_;
    void* user_;
    int total_;
};

}  // namespace kwr

#endif
