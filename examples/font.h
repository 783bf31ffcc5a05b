// A tiny built-in 5 x 7 font drawn with one-bit bitmaps (kwrBitmap1), for
// the showcase's title, format and frame-time lines and the gallery labels.
#ifndef KWR_EXAMPLES_FONT_H
#define KWR_EXAMPLES_FONT_H

#include <string>

class KWRRender;

namespace kwr_demo {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;

// Width in pixels of `text` at `scale` (each glyph cell is 6 x 8 units).
int textWidth(const std::string& text, int scale);

// Draws printable ASCII at top-left (x, y), each font pixel a scale x scale
// block (scale 1 to 4), in the current colour; other characters show as '?'.
// With a shadow colour (non-zero alpha byte) the text gets a one-unit drop
// shadow first.  The current colour is left as the text colour.
void drawText(KWRRender& r, int x, int y, const std::string& text, int scale, unsigned long color,
              unsigned long shadow = 0);

}  // namespace kwr_demo

#endif
