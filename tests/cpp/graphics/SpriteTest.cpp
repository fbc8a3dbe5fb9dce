#include "engine/core/Ref.h"
#include "engine/graphics/Sprite.h"

#include "core/TestSupport.h"
#include "support/GLContext.h"
#include "engine/core/Colour.h"
#include "engine/core/Log.h"
#include "engine/graphics/Program.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureDatabase.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

using engine::core::Colour;
namespace Log = engine::core::Log;
using engine::core::Vector;
using engine::core::test::LogCapture;
using engine::graphics::Scene;
using engine::graphics::SceneLayer;
using engine::graphics::Sprite;
using engine::graphics::SpriteData;
using engine::graphics::Texture;
using engine::graphics::TextureDatabase;
namespace SpriteDatabase = engine::graphics::SpriteDatabase;

// Native sprites need no GL context: without a window every texture load is
// synchronous and of files that do not exist, so nothing reaches OpenGL. The sprite
// table is process-wide: every test starts and ends with it empty.

namespace {

using Stops = std::vector<std::pair<float, float>>;

void expect_colour(const Colour& c, float r, float g, float b, float a) {
    EXPECT_FLOAT_EQ(c.r, r);
    EXPECT_FLOAT_EQ(c.g, g);
    EXPECT_FLOAT_EQ(c.b, b);
    EXPECT_FLOAT_EQ(c.a, a);
}

bool logged(const LogCapture& log, Log::Level level, const std::string& message) {
    for (const auto& e : log.entries())
        if (e.level == level && e.category == "graphics" && e.message == message) return true;
    return false;
}

// Sprites made from an id that no record has.
struct SpriteWithoutRecord : ::testing::Test {
    SpriteWithoutRecord() { SpriteDatabase::unload(); }
    static constexpr const char* kUnknown = "no such sprite";
};

struct SpriteDatabaseTest : ::testing::Test {
    SpriteDatabaseTest() { SpriteDatabase::unload(); }
    ~SpriteDatabaseTest() override { SpriteDatabase::unload(); }

    // Loads one document and returns the record `id`.
    SpriteData* load_one(const std::string& element, const std::string& id = "s", const std::string& base = "") {
        SpriteDatabase::load_text("<Sprites>" + element + "</Sprites>", base);
        return SpriteDatabase::find(id);
    }

    LogCapture log;  // keeps the loading messages out of the test output
};

}  // namespace

// Sprites without a record ---------------------------------------------------------

TEST_F(SpriteWithoutRecord, UnknownIdGivesWhiteCornersAndNoSize) {
    Sprite sprite(kUnknown);
    EXPECT_EQ(sprite.get_data_id(), "");
    EXPECT_EQ(sprite.get_texture(), nullptr);
    for (int corner = 0; corner < 4; ++corner) expect_colour(sprite.get_colour(corner), 1, 1, 1, 1);
    EXPECT_EQ(sprite.get_origin(), Vector<float>(0, 0));
    EXPECT_EQ(sprite.get_dimensions(), Vector<float>(0, 0));
    EXPECT_EQ(sprite.get_layer(), "");
    EXPECT_TRUE(sprite.get_alpha_stops().empty());
    EXPECT_EQ(sprite.get_fade(), nullptr);
    sprite.on_render();  // draws nothing, and needs no GL for it
}

TEST_F(SpriteWithoutRecord, AlphaStopsStaySortedByPosition) {
    Sprite sprite(kUnknown);
    sprite.set_alpha_stop(0.5f, 0.2f);
    sprite.set_alpha_stop(1.0f, 1.0f);
    sprite.set_alpha_stop(0.0f, 0.0f);
    sprite.set_alpha_stop(0.75f, 0.3f);
    sprite.set_alpha_stop(0.25f, 0.4f);
    EXPECT_EQ(sprite.get_alpha_stops(),
              (Stops{{0.0f, 0.0f}, {0.25f, 0.4f}, {0.5f, 0.2f}, {0.75f, 0.3f}, {1.0f, 1.0f}}));
}

TEST_F(SpriteWithoutRecord, AlphaStopAtAnExistingPositionReplacesIt) {
    Sprite sprite(kUnknown);
    sprite.set_alpha_stop(0.0f, 0.0f);
    sprite.set_alpha_stop(0.5f, 0.5f);
    sprite.set_alpha_stop(1.0f, 1.0f);
    sprite.set_alpha_stop(0.5f, 0.9f);
    sprite.set_alpha_stop(0.0f, 0.1f);
    EXPECT_EQ(sprite.get_alpha_stops(), (Stops{{0.0f, 0.1f}, {0.5f, 0.9f}, {1.0f, 1.0f}}));
}

TEST_F(SpriteWithoutRecord, AlphaStopsOutsideTheRectangleAreKeptInOrder) {
    Sprite sprite(kUnknown);
    sprite.set_alpha_stop(2.0f, 1.0f);
    sprite.set_alpha_stop(-1.0f, 0.0f);
    sprite.set_alpha_stop(-1.0f, 0.5f);
    EXPECT_EQ(sprite.get_alpha_stops(), (Stops{{-1.0f, 0.5f}, {2.0f, 1.0f}}));
}

TEST_F(SpriteWithoutRecord, ClearAlphaStopsEmptiesTheList) {
    Sprite sprite(kUnknown);
    sprite.set_alpha_stop(0.0f, 1.0f);
    sprite.set_alpha_stop(1.0f, 0.0f);
    sprite.clear_alpha_stops();
    EXPECT_TRUE(sprite.get_alpha_stops().empty());
    sprite.set_alpha_stop(0.3f, 0.3f);
    EXPECT_EQ(sprite.get_alpha_stops(), (Stops{{0.3f, 0.3f}}));
}

TEST_F(SpriteWithoutRecord, SetColourWritesAllFourCorners) {
    Sprite sprite(kUnknown);
    sprite.set_colour(Colour(0.1f, 0.2f, 0.3f, 0.4f));
    for (int corner = 0; corner < 4; ++corner) expect_colour(sprite.get_colour(corner), 0.1f, 0.2f, 0.3f, 0.4f);
    expect_colour(sprite.get_colour(), 0.1f, 0.2f, 0.3f, 0.4f);
}

TEST_F(SpriteWithoutRecord, SetColourOfOneCornerLeavesTheOthers) {
    Sprite sprite(kUnknown);
    sprite.set_colour(2, Colour(0, 0, 1, 0.5f));
    expect_colour(sprite.get_colour(2), 0, 0, 1, 0.5f);
    for (int corner : {0, 1, 3}) expect_colour(sprite.get_colour(corner), 1, 1, 1, 1);
    expect_colour(sprite.get_colour(), 1, 1, 1, 1);  // corner 0
    sprite.set_colour(0, Colour(1, 0, 0, 1));
    expect_colour(sprite.get_colour(), 1, 0, 0, 1);
}

TEST_F(SpriteWithoutRecord, CornerOutsideZeroToThreeIsIgnoredAndReadsAsCornerZero) {
    Sprite sprite(kUnknown);
    sprite.set_colour(0, Colour(0.5f, 0.5f, 0.5f, 1));
    for (int corner : {-1, 4, 100, -100}) sprite.set_colour(corner, Colour(0, 0, 0, 0));
    expect_colour(sprite.get_colour(0), 0.5f, 0.5f, 0.5f, 1);
    for (int corner : {1, 2, 3}) expect_colour(sprite.get_colour(corner), 1, 1, 1, 1);
    expect_colour(sprite.get_colour(-1), 0.5f, 0.5f, 0.5f, 1);
    expect_colour(sprite.get_colour(4), 0.5f, 0.5f, 0.5f, 1);
}

TEST_F(SpriteWithoutRecord, OriginAndDimensionsAreItsOwn) {
    Sprite sprite(kUnknown);
    sprite.set_origin({3, 4});
    sprite.set_dimensions({30, 40});
    EXPECT_EQ(sprite.get_origin(), Vector<float>(3, 4));
    EXPECT_EQ(sprite.get_dimensions(), Vector<float>(30, 40));
}

TEST_F(SpriteWithoutRecord, FadeEndKeepsTheTargetAlphaOnEveryCorner) {
    Sprite sprite(kUnknown);
    sprite.set_colour(1, Colour(1, 0, 0, 0.8f));
    sprite.fade(1.0f, 0.25f, 0.0f, 1.0f, Texture(nullptr, {0, 0}, 4));
    sprite.update(0.5f);  // the scene object's step runs the fades
    ASSERT_NE(sprite.get_fade(), nullptr);
    EXPECT_FLOAT_EQ(sprite.get_fade()->progress, 0.5f);
    EXPECT_FLOAT_EQ(sprite.get_colour(0).a, 1.0f);  // unchanged while fading
    sprite.update(0.5f);
    EXPECT_EQ(sprite.get_fade(), nullptr);
    for (int corner = 0; corner < 4; ++corner) EXPECT_FLOAT_EQ(sprite.get_colour(corner).a, 0.25f);
    expect_colour(sprite.get_colour(1), 1, 0, 0, 0.25f);  // only alpha changes
}

// The sprite database --------------------------------------------------------------

TEST_F(SpriteDatabaseTest, RecordDefaults) {
    SpriteData* data = load_one(R"(<Sprite id="s"/>)");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->id, "s");
    EXPECT_EQ(data->origin, Vector<float>(0, 0));
    EXPECT_EQ(data->dimensions, Vector<float>(0, 0));
    expect_colour(data->colour, 1, 1, 1, 1);
    EXPECT_EQ(data->texture_path, "");
    EXPECT_TRUE(data->force_full_resolution);
    EXPECT_EQ(data->top_left, Vector<float>(0, 0));
    EXPECT_EQ(data->bottom_right, Vector<float>(0, 0));
    EXPECT_EQ(data->scale_flags, -1);
    EXPECT_EQ(data->layer, "");
    EXPECT_EQ(data->get_use_count(), 0);
    EXPECT_EQ(data->get_texture(), nullptr);
}

TEST_F(SpriteDatabaseTest, EveryAttributeIsRead) {
    SpriteData* data = load_one(
        R"(<Sprite id="s" origin="5, 6" dimensions="50 60" colour="1, 0.5, 0.25, 0.75" texture="ship.png")"
        R"( force_full_resolution="false" top_left="0.25 0.5" bottom_right="0.75, 1" scale_flags="3" layer="ships"/>)",
        "s", "images");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->origin, Vector<float>(5, 6));
    EXPECT_EQ(data->dimensions, Vector<float>(50, 60));
    expect_colour(data->colour, 1, 0.5f, 0.25f, 0.75f);
    EXPECT_EQ(data->texture_path, "images/ship.png");
    EXPECT_FALSE(data->force_full_resolution);
    EXPECT_EQ(data->top_left, Vector<float>(0.25f, 0.5f));
    EXPECT_EQ(data->bottom_right, Vector<float>(0.75f, 1));
    EXPECT_EQ(data->scale_flags, 3);
    EXPECT_EQ(data->layer, "ships");
    EXPECT_EQ(data->get_texture(), nullptr);  // not pinned: no texture until a sprite uses it
}

TEST_F(SpriteDatabaseTest, LoadReturnsTrue) {
    EXPECT_TRUE(SpriteDatabase::load_text(R"(<Sprite id="a"/>)", ""));
    EXPECT_TRUE(SpriteDatabase::load_text("", ""));
    EXPECT_TRUE(SpriteDatabase::load_text("<broken", ""));
}

TEST_F(SpriteDatabaseTest, ColourInHexadecimalForm) {
    SpriteData* data = load_one(R"(<Sprite id="s" colour="#ff000080"/>)");
    ASSERT_NE(data, nullptr);
    EXPECT_FLOAT_EQ(data->colour.r, 1.0f);
    EXPECT_FLOAT_EQ(data->colour.g, 0.0f);
    EXPECT_NEAR(data->colour.a, 128.0f / 255.0f, 1e-6);
}

TEST_F(SpriteDatabaseTest, UnparsableValuesGiveDefaults) {
    SpriteData* data =
        load_one(R"(<Sprite id="s" origin="left" dimensions="" colour="nonsense" top_left="x y" bottom_right=",")"
                 R"( scale_flags="many"/>)");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->origin, Vector<float>(0, 0));
    EXPECT_EQ(data->dimensions, Vector<float>(0, 0));
    expect_colour(data->colour, 1, 1, 1, 1);
    EXPECT_EQ(data->top_left, Vector<float>(0, 0));
    EXPECT_EQ(data->bottom_right, Vector<float>(0, 0));
    EXPECT_EQ(data->scale_flags, 0);  // atoi of text without digits
}

TEST_F(SpriteDatabaseTest, ScaleFlagsAreReadLikeAtoi) {
    SpriteDatabase::load_text(R"(<Sprites><Sprite id="a" scale_flags="12abc"/><Sprite id="b" scale_flags="  -2"/>)"
                              R"(<Sprite id="c" scale_flags="0x10"/><Sprite id="d" scale_flags="7.9"/></Sprites>)",
                              "");
    EXPECT_EQ(SpriteDatabase::find("a")->scale_flags, 12);
    EXPECT_EQ(SpriteDatabase::find("b")->scale_flags, -2);
    EXPECT_EQ(SpriteDatabase::find("c")->scale_flags, 0);
    EXPECT_EQ(SpriteDatabase::find("d")->scale_flags, 7);
}

TEST_F(SpriteDatabaseTest, ForceFullResolutionIsTurnedOffOnlyByFalseOrZero) {
    SpriteDatabase::load_text(
        R"(<Sprites><Sprite id="false" force_full_resolution="false"/><Sprite id="zero" force_full_resolution="0"/>)"
        R"(<Sprite id="False" force_full_resolution="False"/><Sprite id="no" force_full_resolution="no"/>)"
        R"(<Sprite id="empty" force_full_resolution=""/><Sprite id="true" force_full_resolution="true"/></Sprites>)",
        "");
    EXPECT_FALSE(SpriteDatabase::find("false")->force_full_resolution);
    EXPECT_FALSE(SpriteDatabase::find("zero")->force_full_resolution);
    EXPECT_TRUE(SpriteDatabase::find("False")->force_full_resolution);
    EXPECT_TRUE(SpriteDatabase::find("no")->force_full_resolution);
    EXPECT_TRUE(SpriteDatabase::find("empty")->force_full_resolution);
    EXPECT_TRUE(SpriteDatabase::find("true")->force_full_resolution);
}

TEST_F(SpriteDatabaseTest, FirstDefinitionWins) {
    SpriteDatabase::load_text(R"(<Sprites><Sprite id="s" origin="1 2" layer="a"/>)"
                              R"(<Sprite id="s" origin="9 9" dimensions="5 5" layer="b" auto_load="true"/></Sprites>)",
                              "");
    SpriteData* data = SpriteDatabase::find("s");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->origin, Vector<float>(1, 2));
    EXPECT_EQ(data->dimensions, Vector<float>(0, 0));
    EXPECT_EQ(data->layer, "a");
    EXPECT_EQ(data->get_use_count(), 0);
    // Across documents too.
    SpriteDatabase::load_text(R"(<Sprite id="s" origin="7 7"/>)", "");
    EXPECT_EQ(SpriteDatabase::find("s"), data);
    EXPECT_EQ(data->origin, Vector<float>(1, 2));
}

TEST_F(SpriteDatabaseTest, ElementWithoutIdIsSkipped) {
    SpriteDatabase::load_text(
        R"(<Sprites><Sprite origin="1 1"/><Sprite id="" origin="2 2"/><Sprite id="b"/></Sprites>)", "");
    EXPECT_NE(SpriteDatabase::find("b"), nullptr);
    // An empty id is an id like any other.
    SpriteData* empty = SpriteDatabase::find("");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->origin, Vector<float>(2, 2));
}

TEST_F(SpriteDatabaseTest, OtherElementsAreIgnoredAndSpritesAreFoundAtAnyDepth) {
    SpriteDatabase::load_text(R"(<Sprites><sprite id="lower"/><Other id="other"/><SpriteData id="data"/>)"
                              R"(<Group id="group"><Sprite id="nested" origin="3 3"/></Group></Sprites>)",
                              "");
    EXPECT_EQ(SpriteDatabase::find("lower"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("other"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("data"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("group"), nullptr);
    ASSERT_NE(SpriteDatabase::find("nested"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("nested")->origin, Vector<float>(3, 3));
}

TEST_F(SpriteDatabaseTest, RootElementNamedSpriteIsRead) {
    SpriteDatabase::load_text(R"(<Sprite id="root" dimensions="4 4"/>)", "");
    ASSERT_NE(SpriteDatabase::find("root"), nullptr);
}

TEST_F(SpriteDatabaseTest, MalformedDocumentKeepsWhatCameBeforeTheErrorAndWarns) {
    EXPECT_TRUE(SpriteDatabase::load_text(R"(<Sprites><Sprite id="a"/><Sprite id="b"></Sprites><Sprite id="c"/>)", ""));
    EXPECT_NE(SpriteDatabase::find("a"), nullptr);
    EXPECT_NE(SpriteDatabase::find("b"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("c"), nullptr);
    bool warned = false;
    for (const auto& e : log.entries()) warned = warned || e.level == Log::Level::Warning;
    EXPECT_TRUE(warned);
}

TEST_F(SpriteDatabaseTest, TexturePathIsJoinedToTheBasePathLikeOsPathJoin) {
    SpriteDatabase::load_text(R"(<Sprites><Sprite id="a" texture="a.png"/><Sprite id="b" texture="sub/b.png"/>)"
                              R"(<Sprite id="c" texture="/abs/c.png"/></Sprites>)",
                              "base");
    EXPECT_EQ(SpriteDatabase::find("a")->texture_path, "base/a.png");
    EXPECT_EQ(SpriteDatabase::find("b")->texture_path, "base/sub/b.png");
    EXPECT_EQ(SpriteDatabase::find("c")->texture_path, "/abs/c.png");
    SpriteDatabase::unload();

    SpriteDatabase::load_text(R"(<Sprite id="a" texture="a.png"/>)", "base/");
    EXPECT_EQ(SpriteDatabase::find("a")->texture_path, "base/a.png");
    SpriteDatabase::unload();

    SpriteDatabase::load_text(R"(<Sprite id="a" texture="a.png"/>)", "");
    EXPECT_EQ(SpriteDatabase::find("a")->texture_path, "a.png");
    SpriteDatabase::unload();

    SpriteDatabase::load_text(R"(<Sprite id="a" texture="a.png"/>)", "/root/base");
    EXPECT_EQ(SpriteDatabase::find("a")->texture_path, "/root/base/a.png");
}

TEST_F(SpriteDatabaseTest, AutoLoadTrueLoadsTheTextureAtOnceAndPins) {
    SpriteData* data = load_one(R"(<Sprite id="s" auto_load="true" texture="pinned.png"/>)", "s", "sprites");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->get_use_count(), 1);
    ASSERT_NE(data->get_texture(), nullptr);
    EXPECT_TRUE(data->get_texture()->is_valid());
    EXPECT_EQ(data->get_texture()->get_data()->get_path(), "sprites/pinned.png");
    EXPECT_TRUE(logged(log, Log::Level::Info, "Loading texture from 'sprites/pinned.png' asynchronously."));
    {
        Sprite a("s");
        EXPECT_EQ(data->get_use_count(), 2);
    }
    // The pin keeps it loaded when the last sprite goes.
    EXPECT_EQ(data->get_use_count(), 1);
    EXPECT_NE(data->get_texture(), nullptr);
}

TEST_F(SpriteDatabaseTest, OnlyExactlyTrueIsAutoLoad) {
    SpriteDatabase::load_text(R"(<Sprites><Sprite id="a" auto_load="True" texture="a.png"/>)"
                              R"(<Sprite id="b" auto_load="1" texture="b.png"/>)"
                              R"(<Sprite id="c" auto_load="yes"/></Sprites>)",
                              "");
    for (const char* id : {"a", "b", "c"}) {
        EXPECT_EQ(SpriteDatabase::find(id)->get_use_count(), 0) << id;
        EXPECT_EQ(SpriteDatabase::find(id)->get_texture(), nullptr) << id;
    }
}

TEST_F(SpriteDatabaseTest, AutoLoadWithoutTextureLoadsNothing) {
    SpriteData* data = load_one(R"(<Sprite id="s" auto_load="true"/>)");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->get_use_count(), 1);
    EXPECT_EQ(data->get_texture(), nullptr);
}

TEST_F(SpriteDatabaseTest, ForceFullResolutionIsKnownWhenThePinnedTextureLoads) {
    // The attribute comes after "texture" in the text; the loader reads it first anyway.
    const bool switch_before = TextureDatabase::is_full_resolution();
    TextureDatabase::set_full_resolution(false);
    SpriteDatabase::load_text(
        R"(<Sprites><Sprite id="half" texture="order_half.png" auto_load="true" force_full_resolution="0"/>)"
        R"(<Sprite id="full" texture="order_full.png" auto_load="true"/></Sprites>)",
        "");
    TextureDatabase::set_full_resolution(switch_before);
    ASSERT_NE(SpriteDatabase::find("half")->get_texture(), nullptr);
    ASSERT_NE(SpriteDatabase::find("full")->get_texture(), nullptr);
    EXPECT_FALSE(SpriteDatabase::find("half")->get_texture()->get_data()->is_full_resolution());
    EXPECT_TRUE(SpriteDatabase::find("full")->get_texture()->get_data()->is_full_resolution());
}

TEST_F(SpriteDatabaseTest, SpriteCopiesItsRecord) {
    load_one(R"(<Sprite id="s" origin="1 2" dimensions="30 40" colour="0 0.5 1 0.25" scale_flags="5"/>)");
    Sprite sprite("s");
    EXPECT_EQ(sprite.get_data_id(), "s");
    EXPECT_EQ(sprite.get_origin(), Vector<float>(1, 2));
    EXPECT_EQ(sprite.get_dimensions(), Vector<float>(30, 40));
    for (int corner = 0; corner < 4; ++corner) expect_colour(sprite.get_colour(corner), 0, 0.5f, 1, 0.25f);
    EXPECT_EQ(sprite.get_scale_flags(), 5);
    // Its own values afterwards: the record is not changed through it.
    sprite.set_origin({0, 0});
    sprite.set_colour(Colour(1, 1, 1, 1));
    EXPECT_EQ(SpriteDatabase::find("s")->origin, Vector<float>(1, 2));
    expect_colour(SpriteDatabase::find("s")->colour, 0, 0.5f, 1, 0.25f);
}

TEST_F(SpriteDatabaseTest, SpriteEntersTheRecordsLayerOfTheCurrentScene) {
    SpriteDatabase::load_text(R"(<Sprites><Sprite id="in" layer="main"/><Sprite id="out" layer="missing"/></Sprites>)",
                              "");
    SceneLayer main("main", 0.0f, 0, true);
    Scene scene;
    scene.add_layer(&main);
    {
        Sprite in("in");
        Sprite out("out");
        EXPECT_EQ(in.get_layer(), "main");
        ASSERT_EQ(main.get_objects().size(), 1u);
        EXPECT_EQ(main.get_objects()[0], &in);
        EXPECT_EQ(out.get_layer(), "");  // a missing layer leaves it in none
    }
    EXPECT_TRUE(main.get_objects().empty());
}

TEST_F(SpriteDatabaseTest, TextureIsMadeOnFirstUseSharedAndDroppedAtZero) {
    SpriteData* data = load_one(R"(<Sprite id="s" texture="used.png"/>)", "s", "uses");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->get_ref_count(), 1);  // the table's
    EXPECT_EQ(data->get_texture(), nullptr);
    EXPECT_FALSE(logged(log, Log::Level::Info, "Loading texture from 'uses/used.png' asynchronously."));
    {
        Sprite a("s");
        EXPECT_EQ(data->get_use_count(), 1);
        EXPECT_EQ(data->get_ref_count(), 2);
        Texture* texture = data->get_texture();
        ASSERT_NE(texture, nullptr);
        EXPECT_EQ(a.get_texture(), texture);
        EXPECT_EQ(texture->get_data()->get_path(), "uses/used.png");
        EXPECT_TRUE(logged(log, Log::Level::Info, "Loading texture from 'uses/used.png' asynchronously."));
        {
            Sprite b("s");
            EXPECT_EQ(data->get_use_count(), 2);
            EXPECT_EQ(b.get_texture(), texture);  // not made again
        }
        EXPECT_EQ(data->get_use_count(), 1);
        EXPECT_EQ(data->get_texture(), texture);
    }
    EXPECT_EQ(data->get_use_count(), 0);
    EXPECT_EQ(data->get_ref_count(), 1);
    EXPECT_EQ(data->get_texture(), nullptr);
    // Used again: made again.
    Sprite c("s");
    EXPECT_NE(data->get_texture(), nullptr);
}

TEST_F(SpriteDatabaseTest, RecordWithoutTextureNeverMakesOne) {
    load_one(R"(<Sprite id="s" dimensions="4 4"/>)");
    Sprite sprite("s");
    EXPECT_EQ(sprite.get_texture(), nullptr);
}

TEST_F(SpriteDatabaseTest, UnloadEmptiesTheTableAndSpritesKeepTheirRecords) {
    load_one(R"(<Sprite id="s" origin="1 1" texture="kept.png"/>)");
    auto sprite = engine::core::make_ref<Sprite>("s");
    SpriteData* data = SpriteDatabase::find("s");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->get_ref_count(), 2);
    SpriteDatabase::unload();
    EXPECT_EQ(SpriteDatabase::find("s"), nullptr);
    EXPECT_EQ(SpriteDatabase::acquire("s"), nullptr);
    EXPECT_EQ(sprite->get_data_id(), "s");
    EXPECT_EQ(data->get_ref_count(), 1);  // the sprite's
    EXPECT_NE(sprite->get_texture(), nullptr);
    // A sprite made now no longer finds it; a new definition of the id is accepted.
    Sprite unknown("s");
    EXPECT_EQ(unknown.get_data_id(), "");
    load_one(R"(<Sprite id="s" origin="2 2"/>)");
    EXPECT_NE(SpriteDatabase::find("s"), data);
    EXPECT_EQ(SpriteDatabase::find("s")->origin, Vector<float>(2, 2));
    sprite.reset();  // drops the old record's last reference
}

TEST_F(SpriteDatabaseTest, AcquireAddsAReferenceAndFindDoesNot) {
    SpriteData* data = load_one(R"(<Sprite id="s"/>)");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(SpriteDatabase::find("s"), data);
    EXPECT_EQ(data->get_ref_count(), 1);
    {
        const engine::core::Ref<SpriteData> held = SpriteDatabase::acquire("s");
        EXPECT_EQ(held.get(), data);
        EXPECT_EQ(data->get_ref_count(), 2);
    }
    EXPECT_EQ(data->get_ref_count(), 1);
    EXPECT_EQ(SpriteDatabase::acquire("other"), nullptr);
    EXPECT_EQ(SpriteDatabase::find("other"), nullptr);
}

TEST_F(SpriteDatabaseTest, SetTexturePathOfARecordInUseLoadsAtOnce) {
    SpriteData* data = load_one(R"(<Sprite id="s"/>)");
    Sprite sprite("s");
    EXPECT_EQ(sprite.get_texture(), nullptr);
    data->set_texture_path("late.png");
    ASSERT_NE(sprite.get_texture(), nullptr);
    EXPECT_EQ(sprite.get_texture()->get_data()->get_path(), "late.png");
}

// Drawing ----------------------------------------------------------------------------

namespace {

// A window of its own that the graphics module does not follow, so no Cg context is
// made and fades scale alpha, as in builds without shader programs. A white, untextured
// 64 x 64 sprite covers the window under the pixel projection (y down).
class SpriteDrawing : public engine::test::GLContext {
protected:
    SpriteDrawing() : GLContext(64, 64, "sprites") {}

    void SetUp() override {
        GLContext::SetUp();
        if (IsSkipped()) return;
        if (engine::graphics::Program::is_supported())
            GTEST_SKIP() << "a Cg context exists in this process: fades dissolve";
        SpriteDatabase::unload();
        SpriteDatabase::load_text(R"(<Sprites><Sprite id="white" dimensions="64 64"/></Sprites>)", "");
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 64, 64, 0, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }
    void TearDown() override {
        SpriteDatabase::unload();
        GLContext::TearDown();
    }

    // The red channel of each pixel of column x, top row first, after one drawing.
    std::vector<int> column(Sprite& sprite, int x) {
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        sprite.render(false);
        const engine::window::Pixels pixels = window().read_pixels();
        std::vector<int> reds;
        for (int y = 0; y < pixels.height; ++y) reds.push_back(pixels.data[std::size_t(y * pixels.width + x) * 4]);
        return reds;
    }

    LogCapture log;  // keeps the transition texture's messages out of the test output
};

}  // namespace

// Without shader programs a fade scales the alpha of the plain quad evenly, but over
// alpha stops only the edge drawn from the texture's bottom row takes it (see
// Sprite::draw_strip): the sprite fades as a ramp, its top edge on screen not at all
// until the fade ends.
TEST_F(SpriteDrawing, AlphaFadeOverAlphaStopsLeavesTheTopEdgeUnfaded) {
    Sprite sprite("white");
    const unsigned char black[4] = {0, 0, 0, 255};
    sprite.fade(1.0f, 0.0f, 0.0f, 1.0f, Texture(black, {1, 1}, 4));
    sprite.update(0.5f);  // half way: alpha x 0.5

    std::vector<int> plain = column(sprite, 32);
    EXPECT_NEAR(plain.front(), 128, 3);
    EXPECT_NEAR(plain.back(), 128, 3);

    sprite.set_alpha_stop(0.0f, 1.0f);
    sprite.set_alpha_stop(1.0f, 1.0f);
    std::vector<int> ramp = column(sprite, 32);
    EXPECT_GE(ramp.front(), 250);
    EXPECT_NEAR(ramp.back(), 130, 4);
    EXPECT_NEAR(ramp[32], 191, 6);
}
