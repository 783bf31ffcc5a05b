#include <gtest/gtest.h>

#include "render/access.h"

TEST(RenderContext, FreshObjectDefaults) {
    auto r = std::make_unique<KWRRender>();
    const kwr::RenderState& s = kwr::Access::state(*r);
    EXPECT_EQ(r->kwrGetColor(), 0xFF000000u);
    EXPECT_EQ(s.renderBpp, 24);
    EXPECT_EQ(s.zTestActive, 1);
    EXPECT_EQ(s.alphaEnable, 0);
    EXPECT_EQ(r->kwrGetZBuffer(), nullptr);
    EXPECT_EQ(s.texture, kwr::kBuiltinTexel);
    EXPECT_EQ(s.alphaMap, kwr::kBuiltinTexel);
}
