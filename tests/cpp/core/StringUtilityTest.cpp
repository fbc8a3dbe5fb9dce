#include "engine/core/StringUtility.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using engine::core::StringUtility::split;
using Pieces = std::vector<std::string>;

TEST(StringUtility, SplitGivesThePiecesBetweenSeparators) {
    EXPECT_EQ(split("a,b,c", ','), (Pieces{"a", "b", "c"}));
    EXPECT_EQ(split("one two", ' '), (Pieces{"one", "two"}));
}

TEST(StringUtility, SplitWithoutSeparatorGivesTheWholeText) { EXPECT_EQ(split("abc", ','), (Pieces{"abc"})); }

TEST(StringUtility, SplitKeepsEmptyPieces) {
    EXPECT_EQ(split("a,,b", ','), (Pieces{"a", "", "b"}));
    EXPECT_EQ(split(",a", ','), (Pieces{"", "a"}));
    EXPECT_EQ(split("a,", ','), (Pieces{"a", ""}));
    EXPECT_EQ(split(",", ','), (Pieces{"", ""}));
    EXPECT_EQ(split(",,", ','), (Pieces{"", "", ""}));
}

TEST(StringUtility, SplitOfEmptyTextGivesOneEmptyPiece) { EXPECT_EQ(split("", ','), (Pieces{""})); }

TEST(StringUtility, SplitKeepsWhiteSpaceInsidePieces) { EXPECT_EQ(split(" a , b ", ','), (Pieces{" a ", " b "})); }

TEST(StringUtility, PiecesJoinedBackGiveTheText) {
    const std::string text = "x;;y;z;";
    std::string joined;
    const Pieces pieces = split(text, ';');
    for (size_t i = 0; i < pieces.size(); ++i) joined += (i ? ";" : "") + pieces[i];
    EXPECT_EQ(joined, text);
}
