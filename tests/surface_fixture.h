// A render context's surface read back through the public interface, as
// hosts of the shared library do; tests built with KWR_TEST_INTERNALS also
// reach the state.
#ifndef KWR_TESTS_SURFACE_FIXTURE_H
#define KWR_TESTS_SURFACE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "KWRRender.h"
#if defined(KWR_TEST_INTERNALS)
#include "render/access.h"
#endif

namespace kwr_test {

// A render context with a cleared surface of the given format and size.
struct Surface {
    std::unique_ptr<KWRRender> r;
    int bpp;
    int width = 0, height = 0, pitch = 0;
    unsigned char* bits = nullptr;

    Surface(int bpp_, int w, int h, unsigned long clearColor = 0xFF000000ul, float clearDepth = 1.0f)
        : r(new KWRRender()), bpp(bpp_), width(w), height(h) {
        EXPECT_EQ(r->kwrSetRenderBpp(bpp), 1);
        EXPECT_EQ(r->kwrInitBuffer(w, h), 1);
        void* pixels = nullptr;
        r->kwrGetDib(nullptr, &pixels);
        bits = static_cast<unsigned char*>(pixels);
        // Rows are whole 32-bit words (a 3-pixel 24 bpp row takes 12 bytes).
        pitch = (w * bpp / 8 + 3) / 4 * 4;
        r->kwrSetColor(clearColor);
        r->kwrSetZBackDepth(clearDepth);
        r->kwrClear();
        r->kwrFlush();
    }
#if defined(KWR_TEST_INTERNALS)
    kwr::RenderState& s() const { return kwr::Access::state(*r); }
#endif
    KWRRender* operator->() const { return r.get(); }

    // Draws what the context recorded (with several threads) first.
    unsigned char* at(int x, int y) const {
        r->kwrFlush();
        return bits + static_cast<std::ptrdiff_t>(y) * pitch + static_cast<std::ptrdiff_t>(x) * (bpp / 8);
    }
    // The pixel as an integer: 8 bpp index, 16 bpp word, 24/32 bpp bytes
    // little-endian (0x00RRGGBB / 0xAARRGGBB).
    std::uint32_t px(int x, int y) const {
        std::uint32_t v = 0;
        std::memcpy(&v, at(x, y), static_cast<std::size_t>(bpp / 8));
        return v;
    }
    float z(int x, int y) const { return r->kwrGetZBuffer()[static_cast<std::ptrdiff_t>(y) * width + x]; }
    void setPx(int x, int y, std::uint32_t v) const { std::memcpy(at(x, y), &v, static_cast<std::size_t>(bpp / 8)); }

    // All visible pixel bytes, row by row.
    std::vector<unsigned char> bytes() const {
        std::vector<unsigned char> out;
        for (int y = 0; y < height; ++y) out.insert(out.end(), at(0, y), at(0, y) + width * (bpp / 8));
        return out;
    }
    // Coordinates of the pixels that differ from `value`.
    std::vector<std::pair<int, int>> pixelsNot(std::uint32_t value) const {
        std::vector<std::pair<int, int>> out;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (px(x, y) != value) out.emplace_back(x, y);
        return out;
    }
};

using Pixels = std::vector<std::pair<int, int>>;

// A cleared surface whose drawing colour is `ink`.
inline Surface inked(int bpp, int w, int h, unsigned long ink = 0xFFFFFFFFul) {
    Surface s(bpp, w, h);
    s->kwrSetColor(ink);
    return s;
}

}  // namespace kwr_test

#endif
