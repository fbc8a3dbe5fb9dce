#include "engine/core/Maths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace core = engine::core;
using core::normalise_angle;

namespace {
const float kPiF = static_cast<float>(M_PI);
const float kTwoPiF = 2.0f * kPiF;
}  // namespace

TEST(Maths, PiConstantIsSinglePrecisionPi) { EXPECT_EQ(core::kPi, kPiF); }

TEST(Maths, NormaliseAngleLeavesAnglesInRangeUnchanged) {
    for (float a : {0.0f, 0.5f, -0.5f, 1.0f, 3.0f, -3.0f, 3.1415f, -3.1415f}) EXPECT_EQ(normalise_angle(a), a);
}

TEST(Maths, NormaliseAngleSubtractsWholeTurnsInSinglePrecision) {
    EXPECT_EQ(normalise_angle(4.0f), 4.0f - 2.0f * kPiF);
    EXPECT_EQ(normalise_angle(-4.0f), -4.0f + 2.0f * kPiF);
    EXPECT_EQ(normalise_angle(7.0f), 7.0f - 2.0f * kPiF);
}

TEST(Maths, NormaliseAngleKeepsPi) { EXPECT_EQ(normalise_angle(kPiF), kPiF); }

TEST(Maths, NormaliseAngleTurnsMinusPiIntoPi) { EXPECT_EQ(normalise_angle(-kPiF), kPiF); }

TEST(Maths, NormaliseAngleMapsWholeTurnsToZero) {
    EXPECT_EQ(normalise_angle(kTwoPiF), 0.0f);
    EXPECT_EQ(normalise_angle(-kTwoPiF), 0.0f);
}

TEST(Maths, NormaliseAngleResultIsAlwaysInHalfOpenRange) {
    for (float a = -200.0f; a <= 200.0f; a += 0.37f) {
        const float n = normalise_angle(a);
        EXPECT_GT(n, -kPiF) << a;
        EXPECT_LE(n, kPiF) << a;
        // Same direction as the input, up to single-precision turn arithmetic.
        EXPECT_NEAR(std::cos(n), std::cos(a), 1e-3f) << a;
        EXPECT_NEAR(std::sin(n), std::sin(a), 1e-3f) << a;
    }
}

TEST(Maths, NormaliseAngleHandlesLargeValues) {
    for (float a : {1e4f, -1e4f, 1e6f, -1e6f, 1e20f, -1e20f, std::numeric_limits<float>::max(),
                    std::numeric_limits<float>::lowest()}) {
        const float n = normalise_angle(a);
        EXPECT_TRUE(std::isfinite(n)) << a;
        EXPECT_GT(n, -kPiF) << a;
        EXPECT_LE(n, kPiF) << a;
    }
}

TEST(Maths, NormaliseAngleOfNonFiniteIsNaN) {
    EXPECT_TRUE(std::isnan(normalise_angle(std::numeric_limits<float>::quiet_NaN())));
    EXPECT_TRUE(std::isnan(normalise_angle(std::numeric_limits<float>::infinity())));
    EXPECT_TRUE(std::isnan(normalise_angle(-std::numeric_limits<float>::infinity())));
}

TEST(Maths, RandomIntegerStaysBelowItsBound) {
    core::seed_random(1);
    for (unsigned int n : {1u, 2u, 3u, 10u, 1000u, 4294967295u}) {
        for (int i = 0; i < 500; ++i) EXPECT_LT(core::random(n), n);
    }
}

TEST(Maths, RandomIntegerCoversEveryValue) {
    core::seed_random(2);
    std::vector<int> seen(6, 0);
    for (int i = 0; i < 600; ++i) ++seen[core::random(6u)];
    for (int count : seen) EXPECT_GT(count, 0);
}

TEST(Maths, RandomOfZeroIsZero) {
    for (int i = 0; i < 10; ++i) EXPECT_EQ(core::random(0u), 0u);
}

TEST(Maths, RandomFloatStaysInHalfOpenRange) {
    core::seed_random(3);
    float smallest = 1.0f, largest = 0.0f;
    for (int i = 0; i < 5000; ++i) {
        const float r = core::random(1.0f);
        EXPECT_GE(r, 0.0f);
        EXPECT_LT(r, 1.0f);
        smallest = std::min(smallest, r);
        largest = std::max(largest, r);
    }
    EXPECT_LT(smallest, 0.01f);
    EXPECT_GT(largest, 0.99f);
    for (float x : {0.5f, 3.0f, 100.0f, 1e30f}) {
        for (int i = 0; i < 500; ++i) {
            const float r = core::random(x);
            EXPECT_GE(r, 0.0f);
            EXPECT_LT(r, x);
        }
    }
}

TEST(Maths, RandomFloatOfNegativeBoundIsNonPositive) {
    core::seed_random(4);
    for (int i = 0; i < 500; ++i) {
        const float r = core::random(-2.0f);
        EXPECT_LE(r, 0.0f);
        EXPECT_GT(r, -2.0f);
    }
    EXPECT_EQ(core::random(0.0f), 0.0f);
}

TEST(Maths, SeedRandomMakesSequencesRepeatable) {
    auto draw = [] {
        std::vector<float> values;
        for (int i = 0; i < 20; ++i) {
            values.push_back(float(core::random(1000u)));
            values.push_back(core::random(1.0f));
        }
        return values;
    };
    core::seed_random(1234);
    const std::vector<float> first = draw();
    core::seed_random(1234);
    const std::vector<float> second = draw();
    EXPECT_EQ(first, second);
    core::seed_random(4321);
    EXPECT_NE(draw(), first);
}

TEST(Maths, FormatFloatGivesShortText) {
    EXPECT_EQ(core::format_float(1.5f), "1.5");
    EXPECT_EQ(core::format_float(-2.0f), "-2");
    EXPECT_EQ(core::format_float(0.1f), "0.1");
    EXPECT_EQ(core::format_float(0.0f), "0");
    EXPECT_EQ(core::format_float(10.0f), "10");
    EXPECT_EQ(core::format_float(100.0f), "100");
    EXPECT_EQ(core::format_float(640.0f), "640");
    EXPECT_EQ(core::format_float(9.5f), "9.5");
    EXPECT_EQ(core::format_float(123456.0f), "123456");
    EXPECT_EQ(core::format_float(0.001f), "0.001");
}

TEST(Maths, FormatFloatReadsBackToTheSameFloat) {
    core::seed_random(5);
    std::vector<float> values = {kPiF,
                                 -kPiF,
                                 1.0f / 3.0f,
                                 16777216.0f,
                                 123456792.0f,
                                 1e-30f,
                                 3.4e38f,
                                 std::numeric_limits<float>::min(),
                                 std::numeric_limits<float>::denorm_min()};
    for (int i = 0; i < 2000; ++i)
        values.push_back((core::random(2.0f) - 1.0f) * std::pow(10.0f, float(int(core::random(20u)) - 10)));
    for (float v : values) {
        const std::string text = core::format_float(v);
        EXPECT_EQ(std::strtof(text.c_str(), nullptr), v) << text;
        EXPECT_LE(text.size(), 16u) << text;
    }
}

TEST(Maths, FormatFloatIsNoLongerThanTheShortestGeneralFormat) {
    core::seed_random(6);
    std::vector<float> values = {1.0f / 3.0f, kPiF, 0.7f, 2.5e-5f, 98765.4f, 640.0f, 1e10f, -0.125f};
    for (int i = 0; i < 500; ++i) values.push_back(core::random(1000.0f) - 500.0f);
    for (float v : values) {
        char shortest[32] = "";
        for (int precision = 1; precision <= 9; ++precision) {
            std::snprintf(shortest, sizeof shortest, "%.*g", precision, double(v));
            if (std::strtof(shortest, nullptr) == v) break;
        }
        EXPECT_LE(core::format_float(v).size(), std::string(shortest).size()) << v;
    }
}
