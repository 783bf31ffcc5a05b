// Display outside Windows: stretched drawing into a KWRMemoryDC.
#if !defined(_WIN32)

#include "KWRImage.h"
#include "render/dib_stream.h"

int KWRImage::kwrDraw(HDC, int, int, int, int) const { return 0; }

#endif
