// The fourteen span fills: each member runs its rule over the given rows.
#include "raster/span_rules.h"

using kwr::fillTriangleRows;

void KWRRender::rasterTriangle3(int firstRow, int lastRow) {
    // A translucent colour with blending on goes to the blended fill.
    if (kwr::currentColourBlends(s)) {
        rasterTriangle3a(firstRow, lastRow);
        return;
    }
    fillTriangleRows<kwr::Rule3>(s, firstRow, lastRow);
}
void KWRRender::rasterTriangle3c(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3c>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3t(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3t>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3ct(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3ct>(s, firstRow, lastRow); }
void KWRRender::rasterTrianglec(int firstRow, int lastRow) { fillTriangleRows<kwr::Rulec>(s, firstRow, lastRow); }
void KWRRender::rasterTrianglet(int firstRow, int lastRow) { fillTriangleRows<kwr::Rulet>(s, firstRow, lastRow); }
void KWRRender::rasterTrianglect(int firstRow, int lastRow) { fillTriangleRows<kwr::Rulect>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3a(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3a>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3ca(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3ca>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3at(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3at>(s, firstRow, lastRow); }
void KWRRender::rasterTriangle3cat(int firstRow, int lastRow) { fillTriangleRows<kwr::Rule3cat>(s, firstRow, lastRow); }
void KWRRender::rasterTriangleca(int firstRow, int lastRow) { fillTriangleRows<kwr::Ruleca>(s, firstRow, lastRow); }
void KWRRender::rasterTriangleat(int firstRow, int lastRow) { fillTriangleRows<kwr::Ruleat>(s, firstRow, lastRow); }
void KWRRender::rasterTrianglecat(int firstRow, int lastRow) { fillTriangleRows<kwr::Rulecat>(s, firstRow, lastRow); }
