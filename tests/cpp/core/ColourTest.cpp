#include "engine/core/Colour.h"

#include <gtest/gtest.h>

#include <string>

using engine::core::Colour;

namespace {

void expect_near(const Colour& actual, const Colour& expected) {
    constexpr float tolerance = 1e-6f;
    EXPECT_NEAR(actual.r, expected.r, tolerance);
    EXPECT_NEAR(actual.g, expected.g, tolerance);
    EXPECT_NEAR(actual.b, expected.b, tolerance);
    EXPECT_NEAR(actual.a, expected.a, tolerance);
}

const Colour kWhite(1, 1, 1, 1);

}  // namespace

TEST(Colour, DefaultIsOpaqueWhite) {
    const Colour c;
    EXPECT_EQ(c.r, 1.0f);
    EXPECT_EQ(c.g, 1.0f);
    EXPECT_EQ(c.b, 1.0f);
    EXPECT_EQ(c.a, 1.0f);
}

TEST(Colour, ThreeChannelConstructorIsOpaque) {
    const Colour c(0.1f, 0.2f, 0.3f);
    EXPECT_EQ(c, Colour(0.1f, 0.2f, 0.3f, 1.0f));
}

TEST(Colour, FloatPointerGivesRGBAInOrder) {
    Colour c(0.1f, 0.2f, 0.3f, 0.4f);
    float* p = c;
    EXPECT_EQ(p[0], 0.1f);
    EXPECT_EQ(p[1], 0.2f);
    EXPECT_EQ(p[2], 0.3f);
    EXPECT_EQ(p[3], 0.4f);
    p[3] = 0.5f;
    EXPECT_EQ(c.a, 0.5f);
    const Colour& k = c;
    const float* q = k;
    EXPECT_EQ(q, &c.r);
    EXPECT_EQ(sizeof(Colour), 4 * sizeof(float));
}

TEST(Colour, MultiplicationScalesEveryChannel) {
    EXPECT_EQ(Colour(1, 0.5f, 0.25f, 1) * 0.5f, Colour(0.5f, 0.25f, 0.125f, 0.5f));
}

TEST(Colour, AdditionAddsEveryChannel) {
    EXPECT_EQ(Colour(0.5f, 0.25f, 0, 0.5f) + Colour(0.25f, 0.25f, 1, 0.25f), Colour(0.75f, 0.5f, 1, 0.75f));
}

TEST(Colour, EqualityComparesEveryChannel) {
    EXPECT_TRUE(Colour(1, 2, 3, 4) == Colour(1, 2, 3, 4));
    EXPECT_TRUE(Colour(1, 2, 3, 4) != Colour(1, 2, 3, 5));
    EXPECT_TRUE(Colour(1, 2, 3, 4) != Colour(0, 2, 3, 4));
    EXPECT_FALSE(Colour(1, 2, 3, 4) != Colour(1, 2, 3, 4));
}

TEST(Colour, ParsesThreeNumbersWithOpaqueAlpha) {
    EXPECT_EQ(Colour(std::string("1, 0.5, 0")), Colour(1, 0.5f, 0, 1));
    EXPECT_EQ(Colour(std::string("0.25 0.5 0.75")), Colour(0.25f, 0.5f, 0.75f, 1));
}

TEST(Colour, ParsesFourNumbers) {
    EXPECT_EQ(Colour(std::string("1, 0.5, 0, 0.25")), Colour(1, 0.5f, 0, 0.25f));
    EXPECT_EQ(Colour(std::string(" 0 ,0, 0 ,0 ")), Colour(0, 0, 0, 0));
}

TEST(Colour, ParsesHexWithoutAlpha) {
    expect_near(Colour(std::string("#ff8000")), Colour(1, 128 / 255.0f, 0, 1));
    expect_near(Colour(std::string("#FF8000")), Colour(1, 128 / 255.0f, 0, 1));
    expect_near(Colour(std::string(" #000000 ")), Colour(0, 0, 0, 1));
}

TEST(Colour, ParsesHexWithAlpha) {
    expect_near(Colour(std::string("#ff800080")), Colour(1, 128 / 255.0f, 0, 128 / 255.0f));
    expect_near(Colour(std::string("#00000000")), Colour(0, 0, 0, 0));
    expect_near(Colour(std::string("#0a0B0c0D")), Colour(10 / 255.0f, 11 / 255.0f, 12 / 255.0f, 13 / 255.0f));
}

TEST(Colour, UnparsableTextGivesOpaqueWhite) {
    for (const char* text : {"", "1", "1, 0.5", "1,0.5,0,1,1", "a,b,c", "1,,0,0", "1,0,0,", "#", "#fff", "#ff800",
                             "#ff80000", "#gg0000", "#ff8000zz", "ff8000", "red"}) {
        EXPECT_EQ(Colour(std::string(text)), kWhite) << "text: \"" << text << "\"";
    }
}

TEST(Colour, ToStringListsFourChannels) {
    EXPECT_EQ(Colour(1, 0.5f, 0, 1).to_string(), "1, 0.5, 0, 1");
    const Colour c(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_EQ(Colour(c.to_string()), c);
}

TEST(Colour, CopyAndAssignmentCopyEveryChannel) {
    const Colour a(0.1f, 0.2f, 0.3f, 0.4f);
    Colour b(a);
    EXPECT_EQ(b, a);
    Colour c;
    c = a;
    EXPECT_EQ(c, a);
}

TEST(Colour, ParseTellsWhetherTheTextWasAColour) {
    Colour c(0, 0, 0, 0);
    EXPECT_TRUE(Colour::parse(" #ff0000 ", c));
    expect_near(c, Colour(1, 0, 0, 1));
    EXPECT_TRUE(Colour::parse("1 1 1", c));
    expect_near(c, Colour());
    for (const char* bad : {"red", "#ff00", "#gg0000", "1, 2", "1 2 3 4 5", ""}) {
        Colour kept(0.5f, 0.5f, 0.5f, 0.5f);
        EXPECT_FALSE(Colour::parse(bad, kept)) << bad;
        expect_near(kept, Colour(0.5f, 0.5f, 0.5f, 0.5f));
    }
}
