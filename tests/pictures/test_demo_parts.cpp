// The demo's own parts that the picture test cannot pin down by itself:
// the font's bit order and scaling, the portable sine, the camera's
// projection and the PNG writer's channel order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

#if defined(KWR_DEMO_PNG)
#include <png.h>
#endif

#include "KWRRender.h"
#include "camera.h"
#include "font.h"
#include "picture.h"

namespace {

using namespace kwr_demo;

std::unique_ptr<KWRRender> blackFrame(int w, int h) {
    auto r = std::make_unique<KWRRender>();
    EXPECT_EQ(r->kwrSetRenderBpp(32), 1);
    EXPECT_EQ(r->kwrInitBuffer(w, h), 1);
    r->kwrClear();
    return r;
}

// Row y of the frame as a string, '#' for white pixels.
std::string row(const Picture& p, int y) {
    std::string s;
    for (int x = 0; x < p.width; ++x) s += p.pixels[static_cast<std::size_t>(y * p.width + x)] == 0xFFFFFF ? '#' : '.';
    return s;
}

TEST(DemoFont, GlyphsKeepTheirShapeAtEveryScaleWithShadows) {
    auto r = blackFrame(12, 16);
    drawText(*r, 1, 1, "A", 1, 0xFFFFFFFF);
    Picture p = capture(*r, 12, 16);
    EXPECT_EQ(row(p, 0), "............");
    EXPECT_EQ(row(p, 1), "..###.......");  // .###.
    EXPECT_EQ(row(p, 5), ".#####......");  // #####
    EXPECT_EQ(row(p, 7), ".#...#......");  // #...#
    EXPECT_EQ(row(p, 8), "............");

    r = blackFrame(12, 16);
    drawText(*r, 0, 0, "A", 2, 0xFFFFFFFF, 0xFF000000);
    p = capture(*r, 12, 16);
    EXPECT_EQ(row(p, 0), "..######....");
    EXPECT_EQ(row(p, 1), "..######....");
    EXPECT_EQ(row(p, 13), "##......##..");
    EXPECT_EQ(row(p, 14), "............");

    EXPECT_EQ(textWidth("ab", 1), 11);
    EXPECT_EQ(textWidth("ab", 3), 33);
    // The shadow lies one unit down and right.
    r = blackFrame(8, 10);
    drawText(*r, 0, 0, "|", 1, 0xFFFFFFFF, 0xFF0000FF);
    p = capture(*r, 8, 10);
    EXPECT_EQ(p.pixels[2], 0xFFFFFFu);          // the bar at column 2
    EXPECT_EQ(p.pixels[7 * 8 + 3], 0x0000FFu);  // shadow below its end, one right
    EXPECT_EQ(p.pixels[3], 0u);                 // not beside the top of the bar
}

TEST(DemoMath, SineOnEveryTurnAndCameraByHand) {
    EXPECT_NEAR(sinExact(kPi / 6), 0.5, 1e-15);
    EXPECT_NEAR(cosExact(kPi / 3), 0.5, 1e-15);
    EXPECT_NEAR(sinExact(kPi), 0.0, 1e-15);
    EXPECT_NEAR(sinExact(-kPi / 2), -1.0, 1e-15);
    for (int i = -40; i <= 40; ++i) {
        const double x = i * 0.37 + 1000 * kPi;
        EXPECT_NEAR(sinExact(x), std::sin(x), 1e-12) << x;
    }
    // The camera by hand: 90 degrees of view, the focal length is half the height.
    const Camera c(Vec3{0, 0, 10}, Vec3{0, 0, 0}, 90.0, 200, 100, 1.0, 21.0);
    const ScreenPoint centre = c.project({0, 0, 0});
    EXPECT_TRUE(centre.visible);
    EXPECT_NEAR(centre.x, 100.0f, 1e-4f);
    EXPECT_NEAR(centre.y, 50.0f, 1e-4f);
    EXPECT_NEAR(centre.z, 0.45f, 1e-6f);
    const ScreenPoint right = c.project({1, 0, 0}), up = c.project({0, 1, 0});
    EXPECT_NEAR(right.x, 105.0f, 1e-4f);
    EXPECT_NEAR(up.y, 45.0f, 1e-4f);  // rows grow downwards
    EXPECT_FALSE(c.project({0, 0, 9.5}).visible);  // nearer than the near plane
}

#if defined(KWR_DEMO_PNG)
TEST(DemoPicture, PngKeepsEveryChannel) {
    Picture p;
    p.width = 3;
    p.height = 2;
    p.pixels = {0xFF0000, 0x00FF00, 0x0000FF, 0x123456, 0xFFFFFF, 0x000000};
    const std::string path = ::testing::TempDir() + "kwr_demo_parts.png";
    ASSERT_EQ(savePicture(p, path), "");
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0);
    image.format = PNG_FORMAT_RGB;
    ASSERT_EQ(image.width, 3u);
    ASSERT_EQ(image.height, 2u);
    unsigned char rgb[18] = {};
    ASSERT_NE(png_image_finish_read(&image, nullptr, rgb, 0, nullptr), 0);
    const unsigned char want[18] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 0x12, 0x34, 0x56, 255, 255, 255, 0, 0, 0};
    for (int i = 0; i < 18; ++i) EXPECT_EQ(rgb[i], want[i]) << i;
}
#endif

}  // namespace
