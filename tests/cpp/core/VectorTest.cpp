#include "engine/core/Vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using engine::core::Vector;
using engine::core::Vectorf;
using engine::core::Vectori;

namespace {
constexpr float kTolerance = 1e-6f;
const float kHalfPi = static_cast<float>(M_PI / 2.0);
}  // namespace

TEST(Vector, DefaultIsZero) {
    const Vectorf v;
    EXPECT_EQ(v.x, 0.0f);
    EXPECT_EQ(v.y, 0.0f);
    const Vectori i;
    EXPECT_EQ(i.x, 0);
    EXPECT_EQ(i.y, 0);
}

TEST(Vector, ComponentsAreStoredContiguouslyXThenY) {
    const Vectorf v(3.0f, 4.0f);
    const float* p = &v.x;
    EXPECT_EQ(p[0], 3.0f);
    EXPECT_EQ(p[1], 4.0f);
    EXPECT_EQ(sizeof(Vectorf), 2 * sizeof(float));
}

TEST(Vector, CopyAndAssignmentCopyBothComponents) {
    const Vectorf a(1.5f, -2.0f);
    Vectorf b(a);
    EXPECT_EQ(b, a);
    Vectorf c;
    c = a;
    EXPECT_EQ(c, a);
    c.x = 7.0f;
    EXPECT_EQ(a.x, 1.5f);
}

TEST(Vector, AdditionAndSubtractionWorkPerComponent) {
    EXPECT_EQ(Vectorf(1, 2) + Vectorf(3, 5), Vectorf(4, 7));
    EXPECT_EQ(Vectorf(1, 2) - Vectorf(3, 5), Vectorf(-2, -3));
    EXPECT_EQ(-Vectorf(1, -2), Vectorf(-1, 2));
    EXPECT_EQ(Vectori(1, 2) + Vectori(3, 5), Vectori(4, 7));
}

TEST(Vector, ScalingByANumberFromEitherSide) {
    EXPECT_EQ(Vectorf(1, -2) * 3.0f, Vectorf(3, -6));
    EXPECT_EQ(3.0f * Vectorf(1, -2), Vectorf(3, -6));
    EXPECT_EQ(Vectorf(3, -6) / 3.0f, Vectorf(1, -2));
    EXPECT_EQ(Vectori(3, 4) * 2, Vectori(6, 8));
    EXPECT_EQ(Vectori(7, -7) / 2, Vectori(3, -3));
}

TEST(Vector, CompoundAssignmentModifiesInPlace) {
    Vectorf v(1, 2);
    v += Vectorf(1, 1);
    EXPECT_EQ(v, Vectorf(2, 3));
    v -= Vectorf(2, 2);
    EXPECT_EQ(v, Vectorf(0, 1));
    v *= 4.0f;
    EXPECT_EQ(v, Vectorf(0, 4));
    v /= 2.0f;
    EXPECT_EQ(v, Vectorf(0, 2));
}

TEST(Vector, EqualityComparesBothComponents) {
    EXPECT_TRUE(Vectorf(1, 2) == Vectorf(1, 2));
    EXPECT_FALSE(Vectorf(1, 2) == Vectorf(1, 3));
    EXPECT_FALSE(Vectorf(1, 2) == Vectorf(0, 2));
    EXPECT_TRUE(Vectorf(1, 2) != Vectorf(2, 1));
    EXPECT_FALSE(Vectorf(1, 2) != Vectorf(1, 2));
}

TEST(Vector, LengthIsEuclidean) {
    EXPECT_FLOAT_EQ(Vectorf(3, 4).length(), 5.0f);
    EXPECT_FLOAT_EQ(Vectorf(-3, -4).length(), 5.0f);
    EXPECT_EQ(Vectorf().length(), 0.0f);
    EXPECT_FLOAT_EQ(Vectori(6, 8).length(), 10.0f);
}

TEST(Vector, NormalisedHasUnitLengthAndTheSameDirection) {
    const Vectorf n = Vectorf(3, 4).normalised();
    EXPECT_NEAR(n.x, 0.6f, kTolerance);
    EXPECT_NEAR(n.y, 0.8f, kTolerance);
    EXPECT_NEAR(n.length(), 1.0f, kTolerance);
    const Vectorf m = Vectorf(0, -5).normalised();
    EXPECT_EQ(m, Vectorf(0, -1));
}

TEST(Vector, NormalisedZeroVectorStaysZero) {
    const Vectorf z = Vectorf().normalised();
    EXPECT_EQ(z, Vectorf(0, 0));
    EXPECT_FALSE(std::isnan(z.x));
    EXPECT_FALSE(std::isnan(z.y));
    EXPECT_EQ(Vectori().normalised(), Vectori(0, 0));
}

TEST(Vector, RotateByQuarterTurnMapsXAxisToNegativeY) {
    // (x, y) -> (x cos a + y sin a, -x sin a + y cos a)
    const Vectorf r = Vectorf(1, 0).rotate(kHalfPi);
    EXPECT_NEAR(r.x, 0.0f, kTolerance);
    EXPECT_NEAR(r.y, -1.0f, kTolerance);
    const Vectorf s = Vectorf(0, 1).rotate(kHalfPi);
    EXPECT_NEAR(s.x, 1.0f, kTolerance);
    EXPECT_NEAR(s.y, 0.0f, kTolerance);
}

TEST(Vector, RotateFollowsTheEngineFormula) {
    const float angle = 0.7f;
    const Vectorf v(2.0f, -3.0f);
    const Vectorf r = v.rotate(angle);
    EXPECT_NEAR(r.x, 2.0f * std::cos(angle) - 3.0f * std::sin(angle), kTolerance);
    EXPECT_NEAR(r.y, -2.0f * std::sin(angle) - 3.0f * std::cos(angle), kTolerance);
    EXPECT_NEAR(r.length(), v.length(), 1e-5f);
}

TEST(Vector, RotateThereAndBackIsIdentity) {
    const Vectorf v(1.25f, -0.5f);
    const Vectorf r = v.rotate(1.1f).rotate(-1.1f);
    EXPECT_NEAR(r.x, v.x, kTolerance);
    EXPECT_NEAR(r.y, v.y, kTolerance);
}

TEST(Vector, ParsesTwoNumbersSeparatedByCommaOrSpace) {
    EXPECT_EQ(Vectorf(std::string("10, 20")), Vectorf(10, 20));
    EXPECT_EQ(Vectorf(std::string("10 20")), Vectorf(10, 20));
    EXPECT_EQ(Vectorf(std::string("10,20")), Vectorf(10, 20));
    EXPECT_EQ(Vectorf(std::string(" 1.5 ,-2 ")), Vectorf(1.5f, -2.0f));
    EXPECT_EQ(Vectorf(std::string("\t-3e2\n 4.25")), Vectorf(-300.0f, 4.25f));
    EXPECT_EQ(Vectori(std::string("640, 480")), Vectori(640, 480));
}

TEST(Vector, UnparsableTextGivesZero) {
    for (const char* text : {"", "1", "1,2,3", "a,b", "1,,2", "1,2,", ",1,2", "1 2 3", "1x, 2", "  ", ","}) {
        EXPECT_EQ(Vectorf(std::string(text)), Vectorf(0, 0)) << "text: \"" << text << "\"";
        EXPECT_EQ(Vectori(std::string(text)), Vectori(0, 0)) << "text: \"" << text << "\"";
    }
}

TEST(Vector, ToStringIsShortestText) {
    EXPECT_EQ(Vectorf(1.5f, -2.0f).to_string(), "1.5, -2");
    EXPECT_EQ(Vectorf(0.1f, 10.0f).to_string(), "0.1, 10");
    EXPECT_EQ(Vectori(3, -4).to_string(), "3, -4");
}

TEST(Vector, ToStringReadsBack) {
    const Vectorf v(0.1f, -1234.5678f);
    EXPECT_EQ(Vectorf(v.to_string()), v);
    const Vectori i(-7, 640);
    EXPECT_EQ(Vectori(i.to_string()), i);
}
