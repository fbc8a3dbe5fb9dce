#include "engine/graphics/Spring.h"

#include <gtest/gtest.h>

#include <cmath>

using engine::core::Vector;
using engine::graphics::Spring;

namespace {
constexpr float kStep = 1.0f / 60.0f;
}  // namespace

TEST(Spring, StoresWhatItIsGiven) {
    Spring s({1, 2}, {3, 4}, 10.0f, 0.1f, 5.0f, 1.0f);
    EXPECT_EQ(s.get_position(), Vector<float>(1, 2));
    EXPECT_EQ(s.get_velocity(), Vector<float>(3, 4));
}

TEST(Spring, OnItsTargetAndSlowItComesToRest) {
    Spring s({10, 10}, {0.5f, 0.5f}, 40.0f, 0.1f, 5.0f, 1.0f);
    EXPECT_FALSE(s.update(kStep, {10, 10}));
    EXPECT_EQ(s.get_velocity(), Vector<float>(0, 0));
    EXPECT_EQ(s.get_position(), Vector<float>(10, 10));
    // At rest it stays at rest.
    EXPECT_FALSE(s.update(kStep, {10, 10}));
    EXPECT_EQ(s.get_position(), Vector<float>(10, 10));
}

TEST(Spring, FarAwayItStillMoves) {
    Spring s({0, 0}, {0, 0}, 40.0f, 0.1f, 0.0f, 1.0f);
    EXPECT_TRUE(s.update(kStep, {3, 0}));
    EXPECT_GT(s.get_position().x, 0.0f);
}

TEST(Spring, OneStepFollowsTheFormula) {
    const Vector<float> p(1, 2), v(3, -1), target(4, 6);
    const float stiffness = 40.0f, damping = 0.2f, dt = 0.01f;
    Spring s(p, v, stiffness, damping, 0.0f, 1.0f);
    EXPECT_TRUE(s.update(dt, target));

    const Vector<float> d = target - p;
    const float len = std::sqrt(d.x * d.x + d.y * d.y);
    const float inverse = 1.0f / len;
    const Vector<float> n = d * inverse;
    const float a = stiffness * len * dt;
    Vector<float> velocity = v + n * a;
    const Vector<float> position = p + velocity * dt;
    velocity = velocity * ((1.0f - damping) * (dt * 60.0f));
    EXPECT_EQ(s.get_position(), position);
    EXPECT_EQ(s.get_velocity(), velocity);
}

TEST(Spring, NeverTrailsFurtherThanTheMaximumDistance) {
    const float stiffness = 10.0f, damping = 0.1f;
    Spring s({0, 0}, {0, 0}, stiffness, damping, 5.0f, 1.0f);
    EXPECT_TRUE(s.update(kStep, {20, 0}));
    // Jumped to 5 units from the target first, then pulled as from 5 units.
    const float a = stiffness * 5.0f * kStep;
    const float v = 0.0f + 1.0f * a;
    EXPECT_EQ(s.get_position(), Vector<float>(15.0f + v * kStep, 0));
    EXPECT_EQ(s.get_velocity().x, v * ((1.0f - damping) * (kStep * 60.0f)));
}

TEST(Spring, MaximumDistanceAlongTheLineToTheTarget) {
    Spring s({0, 0}, {0, 0}, 0.0f, 0.0f, 5.0f, 1.0f);
    s.update(0.0f, {30, 40});  // no time: only the jump
    EXPECT_FLOAT_EQ(s.get_position().x, 27.0f);
    EXPECT_FLOAT_EQ(s.get_position().y, 36.0f);
}

TEST(Spring, DampingScalesWithTheStep) {
    // Without a pull (on the target), only the damping changes the velocity.
    Spring half({0, 0}, {100, 0}, 0.0f, 0.5f, 0.0f, 1.0f);
    EXPECT_TRUE(half.update(kStep / 2.0f, {0, 0}));
    EXPECT_EQ(half.get_velocity().x, 100.0f * ((1.0f - 0.5f) * (kStep / 2.0f * 60.0f)));
    EXPECT_FLOAT_EQ(half.get_velocity().x, 25.0f);

    Spring full({0, 0}, {100, 0}, 0.0f, 0.5f, 0.0f, 1.0f);
    full.update(kStep, {0, 0});
    EXPECT_FLOAT_EQ(full.get_velocity().x, 50.0f);
}

TEST(Spring, RestComparesSquaredSpeedWithTheThreshold) {
    // Speed 0.9 after damping: 0.81 squared, below 1, so it rests although the speed
    // itself is close to the threshold.
    Spring slow({0, 0}, {0.9f, 0}, 0.0f, 0.0f, 0.0f, 1.0f);
    EXPECT_FALSE(slow.update(kStep, {0, 0}));
    EXPECT_EQ(slow.get_position(), Vector<float>(0, 0));
    Spring fast({0, 0}, {1.1f, 0}, 0.0f, 0.0f, 0.0f, 1.0f);
    EXPECT_TRUE(fast.update(kStep, {0, 0}));
    EXPECT_NE(fast.get_velocity().x, 0.0f);
}

TEST(Spring, RestComparesTheClampedDistance) {
    // 20 units away but clamped to 5: 5 < 6, and the speed is small.
    Spring s({0, 0}, {0, 0}, 0.0f, 0.0f, 5.0f, 6.0f);
    EXPECT_FALSE(s.update(kStep, {20, 0}));
    EXPECT_EQ(s.get_position(), Vector<float>(20, 0));
}

TEST(Spring, ATinyDistanceCountsAsNone) {
    // 1e-4 away: the squared length is below the float epsilon, so no pull.
    Spring s({0, 0}, {0, 0}, 1000.0f, 0.0f, 0.0f, 0.0f);
    EXPECT_TRUE(s.update(kStep, {1e-4f, 0}));  // 0 <= 0: still "moving"
    EXPECT_EQ(s.get_velocity(), Vector<float>(0, 0));
    EXPECT_EQ(s.get_position(), Vector<float>(0, 0));
}

TEST(Spring, SettlesOnAStillTarget) {
    Spring s({0, 0}, {0, 0}, 200.0f, 0.2f, 5.0f, 1.0f);
    int steps = 0;
    while (s.update(kStep, {3, 4}) && steps < 10'000) ++steps;
    EXPECT_LT(steps, 10'000);
    EXPECT_EQ(s.get_position(), Vector<float>(3, 4));
    EXPECT_EQ(s.get_velocity(), Vector<float>(0, 0));
}
