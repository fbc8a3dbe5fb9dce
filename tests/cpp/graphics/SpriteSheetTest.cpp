#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

#include "core/TestSupport.h"
#include "engine/core/Log.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using engine::core::Vector;
using engine::core::test::LogCapture;
using engine::graphics::SpriteAnimation;
using engine::graphics::SpriteData;
namespace SpriteDatabase = engine::graphics::SpriteDatabase;

// Sheets whose picture does not exist: the size comes from "meta.size" and no texture
// is ever loaded, since no sprite uses the records.

namespace {

struct SpriteSheet : ::testing::Test {
    SpriteSheet() { SpriteDatabase::unload(); }
    ~SpriteSheet() override { SpriteDatabase::unload(); }

    static SpriteDatabase::SheetOptions options(const std::string& id) {
        SpriteDatabase::SheetOptions o;
        o.id = id;
        return o;
    }
    int load(const std::string& json, const SpriteDatabase::SheetOptions& o) {
        return SpriteDatabase::load_sheet_text(json, "test.json", "", "", o);
    }
    std::vector<std::string> warnings() const {
        std::vector<std::string> result;
        for (const auto& e : log.entries())
            if (e.level == engine::core::Log::Level::Warning) result.push_back(e.message);
        return result;
    }
    LogCapture log;
};

const char* const kMeta = R"("meta": {"image": "no-such-sheet.png", "size": {"w": 64, "h": 32}})";

std::string sheet(const std::string& frames, const std::string& extra = "") {
    return "{\"frames\": " + frames + ", " + kMeta + extra + "}";
}

}  // namespace

TEST_F(SpriteSheet, HashFramesBecomeRecordsInTheFilesOrder) {
    const std::string frames = R"({"b": {"frame": {"x": 16, "y": 0, "w": 16, "h": 8}},
                                   "a": {"frame": {"x": 0, "y": 8, "w": 8, "h": 24}}})";
    EXPECT_EQ(load(sheet(frames), options("s")), 2);
    const SpriteData* first = SpriteDatabase::find("s/0");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->top_left, Vector<float>(0.25f, 0.0f));
    EXPECT_EQ(first->bottom_right, Vector<float>(0.5f, 0.25f));
    EXPECT_EQ(first->dimensions, Vector<float>(16, 8));
    EXPECT_EQ(first->texture_path, "no-such-sheet.png");
    ASSERT_NE(SpriteDatabase::find("s/b"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("s/b")->top_left, first->top_left);
    EXPECT_EQ(SpriteDatabase::find("s/a")->top_left, Vector<float>(0.0f, 0.25f));
    const SpriteData* sheet_record = SpriteDatabase::find("s");
    ASSERT_NE(sheet_record, nullptr);
    EXPECT_EQ(sheet_record->top_left, first->top_left);
    const SpriteAnimation* all = sheet_record->find_animation("");
    ASSERT_NE(all, nullptr);
    ASSERT_EQ(all->frames.size(), 2u);
    EXPECT_EQ(all->frames[1].top_left, Vector<float>(0.0f, 0.25f));
    EXPECT_FLOAT_EQ(all->frames[0].duration, 0.1f);
    EXPECT_TRUE(warnings().empty());
}

TEST_F(SpriteSheet, ArrayFramesAreNamedByTheirFilename) {
    const std::string frames = R"([{"filename": "x.png", "frame": {"x": 0, "y": 0, "w": 8, "h": 8}, "duration": 250}])";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    ASSERT_NE(SpriteDatabase::find("s/x.png"), nullptr);
    EXPECT_FLOAT_EQ(SpriteDatabase::find("s")->find_animation("")->frames[0].duration, 0.25f);
}

TEST_F(SpriteSheet, TrimmedFrameKeepsThePivotOfTheUntrimmedFrame) {
    const std::string frames = R"({"t": {"frame": {"x": 0, "y": 0, "w": 10, "h": 6}, "trimmed": true,
        "spriteSourceSize": {"x": 3, "y": 5, "w": 10, "h": 6}, "sourceSize": {"w": 20, "h": 16}}})";
    auto o = options("s");
    o.pivot = Vector<float>(0.5f, 1.0f);
    EXPECT_EQ(load(sheet(frames), o), 1);
    const SpriteData* t = SpriteDatabase::find("s/t");
    EXPECT_EQ(t->dimensions, Vector<float>(10, 6));
    EXPECT_EQ(t->origin, Vector<float>(10 - 3, 16 - 5));
}

TEST_F(SpriteSheet, AFramesOwnPivotWins) {
    const std::string frames = R"({"t": {"frame": {"x": 0, "y": 0, "w": 8, "h": 4}, "pivot": {"x": 0.25, "y": 0.5}}})";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    EXPECT_EQ(SpriteDatabase::find("s/t")->origin, Vector<float>(2, 2));
}

TEST_F(SpriteSheet, RotatedFrameCoversTheTurnedRectangle) {
    // Upright 16 x 8, stored 8 wide and 16 tall.
    const std::string frames = R"({"r": {"frame": {"x": 8, "y": 16, "w": 16, "h": 8}, "rotated": true}})";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    const SpriteData* r = SpriteDatabase::find("s/r");
    EXPECT_TRUE(r->rotated);
    EXPECT_EQ(r->top_left, Vector<float>(8.0f / 64, 0.5f));
    EXPECT_EQ(r->bottom_right, Vector<float>(16.0f / 64, 1.0f));
    EXPECT_EQ(r->dimensions, Vector<float>(16, 8));
}

TEST_F(SpriteSheet, FrameTagsBecomeSequencesWithTheirDirections) {
    const std::string frames = R"([{"frame": {"x": 0, "y": 0, "w": 8, "h": 8}},
                                   {"frame": {"x": 8, "y": 0, "w": 8, "h": 8}},
                                   {"frame": {"x": 16, "y": 0, "w": 8, "h": 8}}])";
    const std::string json = "{\"frames\": " + frames +
                             R"(, "meta": {"size": {"w": 64, "h": 32}, "image": "no-such-sheet.png", "frameTags": [
        {"name": "walk", "from": 1, "to": 2, "direction": "pingpong"},
        {"name": "back", "from": 0, "to": 1, "direction": "reverse"}]}})";
    EXPECT_EQ(load(json, options("s")), 3);
    const SpriteData* s = SpriteDatabase::find("s");
    const SpriteAnimation* walk = s->find_animation("walk");
    ASSERT_NE(walk, nullptr);
    EXPECT_EQ(walk->direction, SpriteAnimation::Direction::ping_pong);
    ASSERT_EQ(walk->frames.size(), 2u);
    EXPECT_EQ(walk->frames[0].top_left, Vector<float>(0.125f, 0.0f));
    EXPECT_EQ(s->find_animation("back")->direction, SpriteAnimation::Direction::reverse);
    EXPECT_EQ(SpriteDatabase::find("s/0")->animations.size(), 0u);  // only the sheet's record holds them
}

TEST_F(SpriteSheet, FramesOutsideThePictureAreSkippedWithOneWarning) {
    const std::string frames = R"({"in": {"frame": {"x": 56, "y": 24, "w": 8, "h": 8}},
                                   "right": {"frame": {"x": 57, "y": 0, "w": 8, "h": 8}},
                                   "left": {"frame": {"x": -1, "y": 0, "w": 8, "h": 8}}})";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    const auto w = warnings();
    ASSERT_EQ(w.size(), 1u);
    EXPECT_EQ(w[0],
              "Sprite sheet 'test.json': skipped frame 'right' (outside the 64x32 image), frame 'left' "
              "(outside the 64x32 image).");
    EXPECT_EQ(SpriteDatabase::find("s/1"), nullptr);
}

TEST_F(SpriteSheet, MalformedJsonLoadsNothing) {
    EXPECT_EQ(load("{\"frames\": {", options("s")), 0);
    EXPECT_EQ(load("{\"frames\": {}}", options("s")), 0);  // no size for the frames either
    const auto w = warnings();
    ASSERT_EQ(w.size(), 2u);
    EXPECT_EQ(w[0].rfind("Sprite sheet 'test.json': malformed JSON (parse error at line 1, column 13: ", 0), 0u)
        << w[0];
    EXPECT_EQ(SpriteDatabase::find("s"), nullptr);
}

TEST_F(SpriteSheet, GridCellsGoLeftToRightThenDown) {
    // No PNG to read: a grid needs the picture itself.
    EXPECT_EQ(SpriteDatabase::load_grid("no-such-grid.png", 2, 2, Vector<int>(), 0, 0, {}, options("g")), 0);
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_EQ(warnings()[0], "Sprite sheet 'no-such-grid.png': not a readable PNG; nothing loaded.");
}

TEST_F(SpriteSheet, FrameNumbersComeBeforeNamesThatLookLikeNumbers) {
    const std::string frames = R"([{"filename": "1", "frame": {"x": 0, "y": 0, "w": 8, "h": 8}},
                                   {"filename": "other", "frame": {"x": 8, "y": 0, "w": 8, "h": 8}}])";
    EXPECT_EQ(load(sheet(frames), options("s")), 2);
    EXPECT_EQ(SpriteDatabase::find("s/1")->top_left, Vector<float>(0.125f, 0.0f));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_EQ(warnings()[0], "Sprite sheet 'test.json': skipped record 's/1' (already defined).");
}

TEST_F(SpriteSheet, SizesAndPivotsNoPictureCouldHoldAreSkipped) {
    const std::string frames =
        R"({"big": {"frame": {"x": 0, "y": 0, "w": 8, "h": 8}, "sourceSize": {"w": 1e300, "h": 8}},
                                   "far": {"frame": {"x": 0, "y": 0, "w": 8, "h": 8}, "pivot": {"x": 1e30, "y": 0}},
                                   "ok": {"frame": {"x": 0, "y": 0, "w": 8, "h": 8}, "pivot": {"x": -1, "y": 2}}})";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    EXPECT_EQ(SpriteDatabase::find("s/ok")->origin, Vector<float>(-8, 16));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_EQ(warnings()[0],
              "Sprite sheet 'test.json': skipped frame 'big' ('sourceSize' is not a size), frame 'far' "
              "('pivot' is not a point).");
}

TEST_F(SpriteSheet, AWarningNamesTwentyThingsThenCountsTheRest) {
    std::string frames = "[";
    for (int i = 0; i < 25; ++i)
        frames += std::string(i ? "," : "") + R"({"frame": {"x": 100, "y": 0, "w": 8, "h": 8}})";
    frames += R"(, {"frame": {"x": 0, "y": 0, "w": 8, "h": 8}}])";
    EXPECT_EQ(load(sheet(frames), options("s")), 1);
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("frame 19 (outside the 64x32 image) and 5 more."), std::string::npos) << warnings()[0];
    EXPECT_EQ(warnings()[0].find("frame 20 "), std::string::npos);
}
