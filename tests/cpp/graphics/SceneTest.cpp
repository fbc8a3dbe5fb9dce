#include "engine/graphics/Scene.h"

#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using engine::core::Matrix;
using engine::core::Vector;
using engine::graphics::Scene;
using engine::graphics::SceneLayer;
using engine::graphics::SceneObject;

// Native-only objects have no script object: counting references does nothing and the
// test owns everything. Layers are declared before the scene that holds them, and
// objects after it, so that objects leave the (current) scene first and the scene
// still finds its layers alive when it goes.

namespace {

// Records its add and remove hooks into a shared log as "<name> add <layer>".
class HookRecorder : public SceneObject {
public:
    HookRecorder(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}

    void on_add(const std::string& layer_id) override { log_.push_back(name_ + " add " + layer_id); }
    void on_remove(const std::string& layer_id) override { log_.push_back(name_ + " remove " + layer_id); }

private:
    std::string name_;
    std::vector<std::string>& log_;
};

std::vector<const SceneObject*> objects_of(const SceneLayer& layer) {
    return {layer.get_objects().begin(), layer.get_objects().end()};
}

std::vector<std::string> layer_ids(const Scene& scene) {
    std::vector<std::string> ids;
    for (unsigned int i = 0; i < scene.get_num_layers(); ++i) ids.push_back(scene.get_layer(i)->get_id());
    return ids;
}

void expect_matrix(const Matrix& actual, const Matrix& expected) {
    for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(actual[i], expected[i]) << "coefficient " << i;
}

constexpr int kTranslate = Scene::TRANSLATE;
constexpr int kTranslateUniform = Scene::TRANSLATE_UNIFORM;
constexpr int kScaleMin = Scene::SCALE_MIN;
constexpr int kScaleMax = Scene::SCALE_MAX;

const Vector<float> kPosition{100.0f, 50.0f};

}  // namespace

TEST(Scene, ScaleFlagsHaveTheirBitValues) {
    EXPECT_EQ(kTranslate, 1);
    EXPECT_EQ(kTranslateUniform, 2);
    EXPECT_EQ(kScaleMin, 4);
    EXPECT_EQ(kScaleMax, 8);
}

TEST(Scene, ConstructionMakesItCurrentWithUnitScaleAndNoLayers) {
    Scene scene;
    EXPECT_EQ(Scene::get(), &scene);
    EXPECT_EQ(scene.get_scale(), Vector<float>(1, 1));
    EXPECT_EQ(scene.get_num_layers(), 0u);
}

TEST(Scene, TheMostRecentlyConstructedSceneIsCurrent) {
    Scene first;
    {
        Scene second;
        EXPECT_EQ(Scene::get(), &second);
    }
    EXPECT_NE(Scene::get(), &first);  // not restored: no scene is current now
    EXPECT_EQ(Scene::get(), nullptr);
}

TEST(Scene, DestroyingTheCurrentSceneLeavesNoneCurrent) {
    { Scene scene; }
    EXPECT_EQ(Scene::get(), nullptr);
}

TEST(Scene, SetScaleIsReadBack) {
    Scene scene;
    scene.set_scale({2.0f, 0.5f});
    EXPECT_EQ(scene.get_scale(), Vector<float>(2.0f, 0.5f));
}

// Layers -----------------------------------------------------------------------------

TEST(Scene, AddLayerOrdersByAscendingZ) {
    SceneLayer back("back", -1.0f, 0, true), middle("middle", 0.0f, 0, true), front("front", 5.0f, 0, true);
    Scene scene;
    EXPECT_TRUE(scene.add_layer(&middle));
    EXPECT_TRUE(scene.add_layer(&front));
    EXPECT_TRUE(scene.add_layer(&back));
    EXPECT_EQ(layer_ids(scene), (std::vector<std::string>{"back", "middle", "front"}));
}

TEST(Scene, LayerOfEqualZAddedLaterGoesFirst) {
    SceneLayer a("a", 1.0f, 0, true), b("b", 1.0f, 0, true), c("c", 1.0f, 0, true), low("low", 0.0f, 0, true);
    Scene scene;
    scene.add_layer(&low);
    scene.add_layer(&a);
    scene.add_layer(&b);
    scene.add_layer(&c);
    EXPECT_EQ(layer_ids(scene), (std::vector<std::string>{"low", "c", "b", "a"}));
}

TEST(Scene, AddLayerWithATakenIdChangesNothing) {
    SceneLayer first("same", 0.0f, 1, true), second("same", -5.0f, 2, true);
    Scene scene;
    EXPECT_TRUE(scene.add_layer(&first));
    EXPECT_FALSE(scene.add_layer(&second));
    EXPECT_EQ(scene.get_num_layers(), 1u);
    EXPECT_EQ(scene.get_layer("same"), &first);
    EXPECT_EQ(scene.get_layer(0u), &first);
}

TEST(Scene, GetLayerByIdAndByIndex) {
    SceneLayer a("a", 0.0f, 0, true), b("b", 1.0f, 0, false);
    Scene scene;
    scene.add_layer(&a);
    scene.add_layer(&b);
    EXPECT_EQ(scene.get_layer("a"), &a);
    EXPECT_EQ(scene.get_layer("b"), &b);
    EXPECT_EQ(scene.get_layer("c"), nullptr);
    EXPECT_EQ(scene.get_layer(""), nullptr);
    EXPECT_EQ(scene.get_layer(0u), &a);
    EXPECT_EQ(scene.get_layer(1u), &b);
}

TEST(Scene, GetLayerByIndexOutOfRangeIsNull) {
    SceneLayer a("a", 0.0f, 0, true);
    Scene scene;
    EXPECT_EQ(scene.get_layer(0u), nullptr);
    scene.add_layer(&a);
    EXPECT_EQ(scene.get_layer(1u), nullptr);
    EXPECT_EQ(scene.get_layer(4000000000u), nullptr);
}

TEST(Scene, LayerScaleFlagsOfAnUnknownLayerAreZero) {
    SceneLayer a("a", 0.0f, kScaleMax | kTranslate, true);
    Scene scene;
    scene.add_layer(&a);
    EXPECT_EQ(scene.get_layer_scale_flags("a"), kScaleMax | kTranslate);
    EXPECT_EQ(scene.get_layer_scale_flags("missing"), 0);
    a.set_scale_flags(kScaleMin);
    EXPECT_EQ(scene.get_layer_scale_flags("a"), kScaleMin);
}

TEST(SceneLayer, ConstructorArgumentsAreItsProperties) {
    SceneLayer layer("id", 2.5f, kScaleMin | kTranslate, false);
    EXPECT_EQ(layer.get_id(), "id");
    EXPECT_EQ(layer.get_z(), 2.5f);
    EXPECT_EQ(layer.get_scale_flags(), kScaleMin | kTranslate);
    EXPECT_FALSE(layer.is_common());
    EXPECT_TRUE(layer.get_objects().empty());
}

// Objects ----------------------------------------------------------------------------

// A scene with layers "a" (z 0) and "b" (z 1), both common, and the log that its
// objects' add and remove hooks write into. Objects made in a test go before all this.
class SceneWithObjects : public ::testing::Test {
protected:
    SceneWithObjects() {
        scene.add_layer(&a);
        scene.add_layer(&b);
    }

    // Adds the objects to `layer` in order, then forgets their hooks.
    void add_quietly(std::initializer_list<SceneObject*> objects, const std::string& layer) {
        for (SceneObject* o : objects) scene.add_object(o, layer);
        log.clear();
    }

    SceneLayer a{"a", 0.0f, 0, true};
    SceneLayer b{"b", 1.0f, 0, true};
    Scene scene;
    std::vector<std::string> log;
};

TEST_F(SceneWithObjects, AddObjectToAMissingLayerIsRefused) {
    HookRecorder o("o", log);
    EXPECT_FALSE(scene.add_object(&o, "missing"));
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(o.get_layer(), "");

    ASSERT_TRUE(scene.add_object(&o, "a"));
    EXPECT_FALSE(scene.add_object(&o, "missing"));
    EXPECT_EQ(o.get_layer(), "a");
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&o}));
    EXPECT_EQ(log, (std::vector<std::string>{"o add a"}));
}

TEST_F(SceneWithObjects, AddObjectOrdersByZWithEqualZAfterEarlierOnes) {
    SceneObject low, mid1, mid2, mid3, high;
    low.set_z(-1.0f);
    high.set_z(3.0f);
    mid1.set_z(1.0f);
    mid2.set_z(1.0f);
    mid3.set_z(1.0f);
    add_quietly({&high, &mid1, &low, &mid2, &mid3}, "a");
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&low, &mid1, &mid2, &mid3, &high}));
}

TEST_F(SceneWithObjects, AddObjectSetsTheObjectsLayerAndCallsOnAdd) {
    HookRecorder o("o", log);
    EXPECT_TRUE(scene.add_object(&o, "b"));
    EXPECT_EQ(o.get_layer(), "b");
    EXPECT_EQ(log, (std::vector<std::string>{"o add b"}));
}

TEST_F(SceneWithObjects, MovingAnObjectCallsOnRemoveThenOnAdd) {
    HookRecorder o("o", log), other("other", log);
    add_quietly({&other, &o}, "a");
    EXPECT_TRUE(scene.add_object(&o, "b"));
    EXPECT_EQ(log, (std::vector<std::string>{"o remove a", "o add b"}));
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&other}));
    EXPECT_EQ(objects_of(b), (std::vector<const SceneObject*>{&o}));
    EXPECT_EQ(o.get_layer(), "b");
}

TEST_F(SceneWithObjects, AddingAnObjectToItsOwnLayerAgainMovesItBehindItsEquals) {
    HookRecorder o("o", log), other("other", log);
    add_quietly({&o, &other}, "a");
    EXPECT_TRUE(scene.add_object(&o, "a"));
    EXPECT_EQ(log, (std::vector<std::string>{"o remove a", "o add a"}));
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&other, &o}));
}

TEST_F(SceneWithObjects, RemoveObjectTakesItOutAndCallsOnRemove) {
    HookRecorder first("first", log), o("o", log), last("last", log);
    add_quietly({&first, &o, &last}, "a");
    EXPECT_TRUE(scene.remove_object(&o));
    EXPECT_EQ(log, (std::vector<std::string>{"o remove a"}));
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&first, &last}));
    EXPECT_EQ(o.get_layer(), "");

    log.clear();
    EXPECT_FALSE(scene.remove_object(&o));
    EXPECT_TRUE(log.empty());
}

TEST_F(SceneWithObjects, RemoveObjectInNoLayerIsFalse) {
    SceneObject o;
    EXPECT_FALSE(scene.remove_object(&o));
}

TEST_F(SceneWithObjects, DestroyedObjectLeavesItsLayerWithoutOnRemove) {
    SceneObject keep;
    add_quietly({&keep}, "a");
    {
        HookRecorder gone("gone", log);
        add_quietly({&gone}, "a");
    }
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&keep}));
}

TEST(Scene, GetObjectLooksUpTheGlobalRegistry) {
    Scene scene;
    SceneObject o;
    o.set_id("scene-test-object");
    EXPECT_EQ(scene.get_object("scene-test-object"), &o);
    EXPECT_EQ(scene.get_object("scene-test-nobody"), nullptr);
}

TEST(Scene, SortLayerOrdersByZ) {
    SceneLayer layer("l", 0.0f, 0, true);
    Scene scene;
    scene.add_layer(&layer);
    SceneObject a, b, c;
    a.set_z(1.0f);
    b.set_z(2.0f);
    c.set_z(3.0f);
    scene.add_object(&a, "l");
    scene.add_object(&b, "l");
    scene.add_object(&c, "l");
    // Renamed away, the layer is not re-sorted when the objects' z change.
    layer.set_id("elsewhere");
    c.set_z(0.0f);
    a.set_z(5.0f);
    ASSERT_EQ(objects_of(layer), (std::vector<const SceneObject*>{&a, &b, &c}));

    scene.sort_layer("elsewhere");
    EXPECT_EQ(objects_of(layer), (std::vector<const SceneObject*>{&c, &b, &a}));
}

TEST(Scene, SortLayerOfAMissingLayerDoesNothing) {
    Scene scene;
    scene.sort_layer("missing");
    EXPECT_EQ(scene.get_num_layers(), 0u);
}

// Layer matrix -----------------------------------------------------------------------

// A layer's matrix for an object at kPosition under a scene scale, by scale flags.
struct LayerTransformCase {
    const char* name;
    Vector<float> scale;
    int flags;
    Matrix expected;
};

class SceneLayerTransformFlags : public ::testing::TestWithParam<LayerTransformCase> {};

TEST_P(SceneLayerTransformFlags, GiveTheMatrix) {
    const LayerTransformCase& c = GetParam();
    Scene scene;
    scene.set_scale(c.scale);
    expect_matrix(scene.get_layer_transform(c.flags, kPosition), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    SceneLayerTransform, SceneLayerTransformFlags,
    ::testing::Values(
        LayerTransformCase{
            "ScaleMinTranslateUnderWideScaleTranslatesX", {2, 1}, kScaleMin | kTranslate, Matrix(1, 0, 0, 1, 100, 0)},
        LayerTransformCase{"ScaleMaxTranslateUnderWideScaleDoublesAndTranslatesY",
                           {2, 1},
                           kScaleMax | kTranslate,
                           Matrix(2, 0, 0, 2, 0, -50)},
        LayerTransformCase{"ScaleMaxTranslateUnderTallScaleHasNoTranslation",
                           {1, 2},
                           kScaleMax | kTranslate,
                           Matrix(2, 0, 0, 2, 0, 0)},
        LayerTransformCase{
            "ScaleMinTranslateUnderTallScaleTranslatesY", {1, 2}, kScaleMin | kTranslate, Matrix(1, 0, 0, 1, 0, 50)},
        LayerTransformCase{
            "ScaleMinTranslateUnderEqualScaleOnlyScales", {2, 2}, kScaleMin | kTranslate, Matrix(2, 0, 0, 2, 0, 0)},
        LayerTransformCase{"TranslateUniformWithScaleMinScalesAboutTheOrigin",
                           {2, 2},
                           kScaleMin | kTranslateUniform,
                           Matrix(2, 0, 0, 2, 0, 0)},
        LayerTransformCase{"TranslateUniformWithScaleMaxScalesAboutTheOrigin",
                           {3, 1},
                           kScaleMax | kTranslateUniform,
                           Matrix(3, 0, 0, 3, 0, 0)},
        LayerTransformCase{"TranslateWinsOverTranslateUniform",
                           {2, 1},
                           kScaleMin | kTranslate | kTranslateUniform,
                           Matrix(1, 0, 0, 1, 100, 0)},
        // s = min = 1; SCALE_MAX with sy < sx is tested first: (0, s * p.y * (sy - sx) / sx).
        LayerTransformCase{"BothScaleFlagsTakeTheMinimumButTheMaximumsTranslation",
                           {2, 1},
                           kScaleMin | kScaleMax | kTranslate,
                           Matrix(1, 0, 0, 1, 0, -25)}),
    [](const ::testing::TestParamInfo<LayerTransformCase>& info) { return std::string(info.param.name); });

TEST(SceneLayerTransform, NoScaleFlagIsIdentity) {
    Scene scene;
    scene.set_scale({2.0f, 2.0f});
    const Matrix m = scene.get_layer_transform(0, kPosition);
    EXPECT_TRUE(m.is_identity());
    expect_matrix(m, Matrix());
    EXPECT_TRUE(scene.get_layer_transform(kTranslate, kPosition).is_identity());
}

TEST(SceneLayerTransform, ScaleMinAloneScalesAboutTheObjectsPosition) {
    Scene scene;
    scene.set_scale({2.0f, 2.0f});
    const Matrix m = scene.get_layer_transform(kScaleMin, kPosition);
    expect_matrix(m, Matrix(2, 0, 0, 2, -100, -50));
    // The object's own position stays where it is.
    const Vector<float> p = kPosition * m;
    EXPECT_FLOAT_EQ(p.x, 100.0f);
    EXPECT_FLOAT_EQ(p.y, 50.0f);
}

TEST(SceneLayerTransform, ByLayerIdUsesTheLayersFlags) {
    SceneLayer wide("wide", 0.0f, kScaleMax | kTranslate, true);
    Scene scene;
    scene.add_layer(&wide);
    scene.set_scale({2.0f, 1.0f});
    expect_matrix(scene.get_layer_transform("wide", kPosition), Matrix(2, 0, 0, 2, 0, -50));
}

TEST(SceneLayerTransform, UnknownLayerIsIdentity) {
    Scene scene;
    scene.set_scale({2.0f, 3.0f});
    EXPECT_TRUE(scene.get_layer_transform("missing", kPosition).is_identity());
}

namespace {

// Records its updates into a shared log and runs an action on its first update.
class Actor : public SceneObject {
public:
    Actor(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}
    std::function<void()> on_first_update;

    void on_update(float) override {
        log_.push_back(name_);
        if (on_first_update) {
            auto action = std::move(on_first_update);
            on_first_update = nullptr;
            action();
        }
    }

private:
    std::string name_;
    std::vector<std::string>& log_;
};

}  // namespace

// A scene with one layer "l", the log its actors write into and three actors a, b and
// c. The layer is declared before the scene, so it outlives it; the actors go before
// both.
class SceneFrame : public ::testing::Test {
protected:
    SceneFrame() { scene.add_layer(&layer); }

    void add_actors_in_order() {
        for (Actor* o : {&a, &b, &c}) scene.add_object(o, "l");
    }

    SceneLayer layer{"l", 0, 0, true};
    Scene scene;
    std::vector<std::string> log;
    Actor a{"a", log}, b{"b", log}, c{"c", log};
};

TEST_F(SceneFrame, AnObjectLeavingDuringUpdateDoesNotMakeTheNextOneMissItsTurn) {
    add_actors_in_order();
    b.on_first_update = [&] { scene.remove_object(&b); };
    scene.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(SceneFrame, RemovingAnEarlierObjectKeepsTheWalkInStep) {
    add_actors_in_order();
    b.on_first_update = [&] { scene.remove_object(&a); };
    scene.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(SceneFrame, AnObjectJoiningBeforeTheCurrentOneWaitsForTheNextFrame) {
    Actor early("early", log);
    a.set_z(1.0f);
    b.set_z(2.0f);
    scene.add_object(&a, "l");
    scene.add_object(&b, "l");
    a.on_first_update = [&] { scene.add_object(&early, "l"); };  // z 0: goes before a
    scene.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b"}));
    log.clear();
    scene.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"early", "a", "b"}));
}
