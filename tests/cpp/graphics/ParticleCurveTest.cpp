#include "engine/graphics/ParticleCurve.h"

#include <gtest/gtest.h>

using engine::core::Colour;
using engine::graphics::ParticleColourCurve;
using engine::graphics::ParticleSizeCurve;

// Curves are evaluated in single precision: the expected values are computed with the
// same float operations, a + (b - a) * f, and compared exactly.

TEST(ParticleCurve, EmptySizeCurveGivesZero) { EXPECT_EQ(ParticleSizeCurve().evaluate(0.5f), 0.0f); }

TEST(ParticleCurve, EmptyColourCurveGivesDefaultColour) {
    EXPECT_EQ(ParticleColourCurve().evaluate(0.5f), Colour());  // opaque white
}

TEST(ParticleCurve, BeforeAndAtFirstKeyGiveFirstValue) {
    ParticleSizeCurve curve;
    curve.add_keyframe(0.25f, 4.0f);
    curve.add_keyframe(0.75f, 8.0f);
    EXPECT_EQ(curve.evaluate(0.0f), 4.0f);
    EXPECT_EQ(curve.evaluate(0.25f), 4.0f);
}

TEST(ParticleCurve, AfterLastKeyGivesLastValue) {
    ParticleSizeCurve curve;
    curve.add_keyframe(0.25f, 4.0f);
    curve.add_keyframe(0.75f, 8.0f);
    EXPECT_EQ(curve.evaluate(0.75f), 8.0f);
    EXPECT_EQ(curve.evaluate(1.0f), 8.0f);
    EXPECT_EQ(curve.evaluate(7.0f), 8.0f);
}

TEST(ParticleCurve, BetweenKeysInterpolatesLinearly) {
    ParticleSizeCurve curve;
    curve.add_keyframe(0.1f, 2.0f);
    curve.add_keyframe(0.7f, 5.0f);
    const float t = 0.3f;
    const float f = (t - 0.1f) / (0.7f - 0.1f);
    EXPECT_EQ(curve.evaluate(t), 2.0f + (5.0f - 2.0f) * f);
}

TEST(ParticleCurve, ColoursInterpolateChannelByChannel) {
    ParticleColourCurve curve;
    curve.add_keyframe(0.0f, Colour(1.0f, 0.5f, 0.0f, 1.0f));
    curve.add_keyframe(1.0f, Colour(0.0f, 0.5f, 1.0f, 0.0f));
    const Colour c = curve.evaluate(0.25f);
    EXPECT_EQ(c.r, 1.0f + (0.0f - 1.0f) * 0.25f);
    EXPECT_EQ(c.g, 0.5f);
    EXPECT_EQ(c.b, 0.25f);
    EXPECT_EQ(c.a, 0.75f);
}

TEST(ParticleCurve, KeysStayAscendingWhateverTheInsertionOrder) {
    ParticleSizeCurve curve;
    curve.add_keyframe(0.9f, 3.0f);
    curve.add_keyframe(0.1f, 1.0f);
    curve.add_keyframe(0.5f, 2.0f);
    ASSERT_EQ(curve.get_keyframes().size(), 3u);
    EXPECT_EQ(curve.get_keyframes()[0].key, 0.1f);
    EXPECT_EQ(curve.get_keyframes()[1].key, 0.5f);
    EXPECT_EQ(curve.get_keyframes()[2].key, 0.9f);
}

TEST(ParticleCurve, RepeatedKeyGoesInFrontOfItsEquals) {
    ParticleSizeCurve curve;
    curve.add_keyframe(0.5f, 1.0f);
    curve.add_keyframe(0.5f, 2.0f);
    EXPECT_EQ(curve.get_keyframes()[0].value, 2.0f);
    EXPECT_EQ(curve.get_keyframes()[1].value, 1.0f);
    // At the repeated key the first keyframe found is the newer one.
    EXPECT_EQ(curve.evaluate(0.5f), 2.0f);
}
