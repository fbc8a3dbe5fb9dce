#include "engine/graphics/AnimCurve.h"

#include <gtest/gtest.h>

using engine::graphics::AnimCurve;

TEST(AnimCurve, EmptyCurveGivesZero) { EXPECT_EQ(AnimCurve().evaluate(3.0f), 0.0f); }

TEST(AnimCurve, BeforeFirstKeyGivesFirstValueAfterLastGivesLast) {
    AnimCurve c;
    c.add_keyframe(0.0f, 2.0f);
    c.add_keyframe(1.0f, 4.0f);
    EXPECT_EQ(c.evaluate(-5.0f), 2.0f);
    EXPECT_EQ(c.evaluate(9.0f), 4.0f);
}

TEST(AnimCurve, InteriorKeyGivesItsValueAndBetweenKeysInterpolates) {
    AnimCurve c;
    c.add_keyframe(0.0f, 0.0f);
    c.add_keyframe(1.0f, 10.0f);
    c.add_keyframe(2.0f, 0.0f);
    EXPECT_EQ(c.evaluate(1.0f), 10.0f);
    EXPECT_FLOAT_EQ(c.evaluate(0.25f), 2.5f);
    EXPECT_FLOAT_EQ(c.evaluate(1.5f), 5.0f);
}

TEST(AnimCurve, RepeatedKeyGoesInFrontOfItsEquals) {
    AnimCurve c;
    c.add_keyframe(1.0f, 100.0f);  // the earlier
    c.add_keyframe(0.0f, 0.0f);
    c.add_keyframe(1.0f, 200.0f);  // the later
    const auto& k = c.get_keyframes();
    ASSERT_EQ(k.size(), 3u);
    EXPECT_EQ(k[0], AnimCurve::Keyframe(0.0f, 0.0f));
    EXPECT_EQ(k[1], AnimCurve::Keyframe(1.0f, 200.0f));
    EXPECT_EQ(k[2], AnimCurve::Keyframe(1.0f, 100.0f));
}
