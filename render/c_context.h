// The C interface's handles: what a kwr_context and a kwr_image hold (tests
// reach the context inside a handle through it).  Not installed.
#ifndef KWR_RENDER_C_CONTEXT_H
#define KWR_RENDER_C_CONTEXT_H

#include "KWRImage.h"
#include "KWRRender.h"
#include "kwrender.h"

struct kwr_context {
    KWRRender r;
};
struct kwr_image {
    KWRImage img;
};

#endif
