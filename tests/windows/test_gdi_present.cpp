// Presentation through GDI: kwrRender into a memory DC backed by a 32 bpp
// DIB section, read back for every surface format, with the expectations the
// Linux presentation meets (tests/present_frames.h).  This program links
// only the import library of kwrender.dll and uses the public interface.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "../present_frames.h"
#include "KWRRender.h"
#include "dib_section.h"

namespace {

struct MemoryDC {
    kwr_demo::DibSection section;
    int width = 0;

    MemoryDC(int w, int h) : section(w, h), width(w) {
        if (section.pixels != nullptr)
            for (int i = 0; i < w * h; ++i) section.pixels[i] = kwr_present::kUntouched;
    }
    std::uint32_t at(int x, int y) const { return section.pixels[y * width + x] & 0x00FFFFFFu; }
    void show(KWRRender& frame, int x, int y) {
        ASSERT_NE(section.pixels, nullptr);
        frame.kwrRender(section.dc, x, y);
        GdiFlush();
    }
};

using namespace kwr_present;

class GdiFormat : public ::testing::TestWithParam<int> {};

// Every 16 bpp word and every 8 bpp index as GDI shows it, and the placement
// clipped on every side.
TEST_P(GdiFormat, FramesShowTheirCodesClipped) { expectPresentations<MemoryDC>(GetParam()); }

INSTANTIATE_TEST_SUITE_P(AllFormats, GdiFormat, ::testing::Values(8, 16, 24, 32),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "bpp"; });

}  // namespace
