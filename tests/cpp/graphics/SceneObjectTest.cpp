#include "engine/core/Ref.h"
#include "engine/graphics/SceneObject.h"

#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObjectAnimator.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using engine::graphics::Scene;
using engine::graphics::SceneLayer;
using engine::graphics::SceneObject;
using engine::graphics::SceneObjectAnimator;

// Native-only objects have no script object: counting references does nothing and the
// test owns everything. Layers are declared before the scene, objects after it.

namespace {

std::vector<const SceneObject*> objects_of(const SceneLayer& layer) {
    return {layer.get_objects().begin(), layer.get_objects().end()};
}

// Records its hooks into a shared log as "<name> <hook> <argument>".
class HookRecorder : public SceneObject {
public:
    HookRecorder(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}

    void on_add(const std::string& layer_id) override { log_.push_back(name_ + " add " + layer_id); }
    void on_remove(const std::string& layer_id) override { log_.push_back(name_ + " remove " + layer_id); }
    void on_update(float dt) override { log_.push_back(name_ + " update " + std::to_string(dt)); }

private:
    std::string name_;
    std::vector<std::string>& log_;
};

// Logs "<name> <dt>" at each step and then runs an optional action.
class RecordingAnimator : public SceneObjectAnimator {
public:
    RecordingAnimator(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}

    std::function<void(RecordingAnimator&)> action;  // run after logging, at each step
    std::vector<float> steps;                        // the dt of each on_update

protected:
    void on_update(float dt) override {
        steps.push_back(dt);
        log_.push_back(name_);
        if (action) action(*this);
    }

private:
    std::string name_;
    std::vector<std::string>& log_;
};

// A scene with layers "a" (z 0) and "b" (z 1), both common.
struct SceneWithTwoLayers : ::testing::Test {
    SceneLayer a{"a", 0.0f, 0, true};
    SceneLayer b{"b", 1.0f, 0, true};
    Scene scene;

    SceneWithTwoLayers() {
        scene.add_layer(&a);
        scene.add_layer(&b);
    }
};

}  // namespace

TEST(SceneObject, StartsUnregisteredVisibleInNoLayer) {
    SceneObject o;
    EXPECT_EQ(o.get_id(), "");
    EXPECT_TRUE(o.is_visible());
    EXPECT_EQ(o.get_layer(), "");
    EXPECT_EQ(o.get_z(), 0.0f);
    EXPECT_EQ(o.get_scale_flags(), -1);
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObject, VisibilityAndScaleFlagsAreReadBack) {
    SceneObject o;
    o.set_visibility(false);
    EXPECT_FALSE(o.is_visible());
    o.set_scale_flags(Scene::SCALE_MAX | Scene::TRANSLATE);
    EXPECT_EQ(o.get_scale_flags(), 9);
    o.set_scale_flags(-1);
    EXPECT_EQ(o.get_scale_flags(), -1);
}

// Registry ---------------------------------------------------------------------------

TEST(SceneObjectRegistry, SetIdRegistersTheObject) {
    SceneObject o;
    o.set_id("registry-one");
    EXPECT_EQ(o.get_id(), "registry-one");
    EXPECT_EQ(SceneObject::get_object("registry-one"), &o);
    EXPECT_EQ(SceneObject::get_object("registry-nobody"), nullptr);
}

TEST(SceneObjectRegistry, TheLastObjectToTakeAnIdWins) {
    SceneObject first, second;
    first.set_id("registry-same");
    second.set_id("registry-same");
    EXPECT_EQ(SceneObject::get_object("registry-same"), &second);
    EXPECT_EQ(first.get_id(), "registry-same");  // displaced, but keeps its id
}

TEST(SceneObjectRegistry, RenamingTheDisplacedObjectKeepsTheWinnersEntry) {
    SceneObject first, second;
    first.set_id("registry-shared");
    second.set_id("registry-shared");
    first.set_id("registry-renamed");
    EXPECT_EQ(SceneObject::get_object("registry-shared"), &second);
    EXPECT_EQ(SceneObject::get_object("registry-renamed"), &first);
}

TEST(SceneObjectRegistry, EmptyingTheDisplacedObjectsIdKeepsTheWinnersEntry) {
    SceneObject first, second;
    first.set_id("registry-kept");
    second.set_id("registry-kept");
    first.set_id("");
    EXPECT_EQ(SceneObject::get_object("registry-kept"), &second);
}

TEST(SceneObjectRegistry, RenamingMovesTheEntry) {
    SceneObject o;
    o.set_id("registry-old");
    o.set_id("registry-new");
    EXPECT_EQ(SceneObject::get_object("registry-old"), nullptr);
    EXPECT_EQ(SceneObject::get_object("registry-new"), &o);
}

TEST(SceneObjectRegistry, EmptyIdUnregisters) {
    SceneObject o;
    o.set_id("registry-emptied");
    o.set_id("");
    EXPECT_EQ(o.get_id(), "");
    EXPECT_EQ(SceneObject::get_object("registry-emptied"), nullptr);
    EXPECT_EQ(SceneObject::get_object(""), nullptr);
}

TEST(SceneObjectRegistry, DestructionUnregisters) {
    {
        SceneObject o;
        o.set_id("registry-destroyed");
        ASSERT_EQ(SceneObject::get_object("registry-destroyed"), &o);
    }
    EXPECT_EQ(SceneObject::get_object("registry-destroyed"), nullptr);
}

TEST(SceneObjectRegistry, DestroyingTheDisplacedObjectKeepsTheWinnersEntry) {
    SceneObject second;
    {
        SceneObject first;
        first.set_id("registry-survivor");
        second.set_id("registry-survivor");
    }
    EXPECT_EQ(SceneObject::get_object("registry-survivor"), &second);
}

TEST(SceneObjectRegistry, SettingTheSameIdAgainKeepsTheEntry) {
    SceneObject first, second;
    first.set_id("registry-again");
    second.set_id("registry-again");
    second.set_id("registry-again");
    EXPECT_EQ(SceneObject::get_object("registry-again"), &second);
}

// Layers -----------------------------------------------------------------------------

TEST_F(SceneWithTwoLayers, SetLayerPutsTheObjectInTheCurrentScenesLayer) {
    std::vector<std::string> log;
    HookRecorder o("o", log);
    o.set_layer("a");
    EXPECT_EQ(o.get_layer(), "a");
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&o}));
    EXPECT_EQ(log, (std::vector<std::string>{"o add a"}));
}

TEST_F(SceneWithTwoLayers, SetLayerToAMissingLayerKeepsTheOldLayer) {
    std::vector<std::string> log;
    HookRecorder o("o", log);
    o.set_layer("a");
    log.clear();
    o.set_layer("missing");
    EXPECT_EQ(o.get_layer(), "a");
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&o}));
    EXPECT_TRUE(log.empty());
}

TEST_F(SceneWithTwoLayers, SetLayerMovesBetweenLayersRemovingFirst) {
    std::vector<std::string> log;
    HookRecorder o("o", log);
    o.set_layer("a");
    o.set_layer("b");
    EXPECT_EQ(o.get_layer(), "b");
    EXPECT_TRUE(a.get_objects().empty());
    EXPECT_EQ(objects_of(b), (std::vector<const SceneObject*>{&o}));
    EXPECT_EQ(log, (std::vector<std::string>{"o add a", "o remove a", "o add b"}));
}

TEST_F(SceneWithTwoLayers, SetLayerToTheCurrentLayerDoesNothing) {
    std::vector<std::string> log;
    HookRecorder o("o", log), other("other", log);
    o.set_layer("a");
    other.set_layer("a");
    log.clear();
    o.set_layer("a");
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&o, &other}));
}

TEST(SceneObject, SetLayerWithoutACurrentSceneDoesNothing) {
    ASSERT_EQ(Scene::get(), nullptr);
    SceneObject o;
    o.set_layer("a");
    EXPECT_EQ(o.get_layer(), "");
}

TEST_F(SceneWithTwoLayers, DestructionLeavesTheLayer) {
    SceneObject keep;
    keep.set_layer("a");
    {
        SceneObject gone;
        gone.set_layer("a");
        ASSERT_EQ(a.get_objects().size(), 2u);
    }
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&keep}));
}

// Depth ------------------------------------------------------------------------------

TEST_F(SceneWithTwoLayers, SetZReSortsTheLayer) {
    SceneObject x, y, z;
    x.set_z(1.0f);
    y.set_z(2.0f);
    z.set_z(3.0f);
    x.set_layer("a");
    y.set_layer("a");
    z.set_layer("a");
    x.set_z(2.5f);
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&y, &x, &z}));
    z.set_z(-1.0f);
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&z, &y, &x}));
}

TEST_F(SceneWithTwoLayers, SetZToItsCurrentValueDoesNotReSort) {
    SceneObject x, y;
    x.set_z(1.0f);
    y.set_z(2.0f);
    x.set_layer("a");
    y.set_layer("a");
    // While the layer has another id, changing a z does not re-sort it: the layer is
    // left out of order, so that any later re-sort would show.
    a.set_id("renamed");
    x.set_z(5.0f);
    a.set_id("a");
    ASSERT_EQ(objects_of(a), (std::vector<const SceneObject*>{&x, &y}));

    x.set_z(5.0f);
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&x, &y}));

    // The same call with a new value does re-sort.
    x.set_z(6.0f);
    EXPECT_EQ(objects_of(a), (std::vector<const SceneObject*>{&y, &x}));
}

TEST_F(SceneWithTwoLayers, SetZToItsCurrentValueKeepsTheOrderOfEqualObjects) {
    std::vector<engine::core::Ref<SceneObject>> objects;
    std::vector<const SceneObject*> order;
    for (int i = 0; i < 40; ++i) {
        objects.push_back(engine::core::make_ref<SceneObject>());
        objects.back()->set_layer("a");
        order.push_back(objects.back().get());
    }
    ASSERT_EQ(objects_of(a), order);
    for (auto& o : objects) o->set_z(0.0f);
    EXPECT_EQ(objects_of(a), order);
}

TEST(SceneObject, SetZOutsideAnyLayerOnlyStoresIt) {
    SceneObject o;
    o.set_z(4.0f);
    EXPECT_EQ(o.get_z(), 4.0f);
}

// Animators --------------------------------------------------------------------------

TEST(SceneObjectAnimators, AddAnimatorTellsTheAnimatorItsObject) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator anim("anim", log);
    EXPECT_EQ(anim.get_object(), nullptr);
    o.add_animator("anim", &anim);
    EXPECT_EQ(anim.get_object(), &o);
    EXPECT_EQ(o.get_animator("anim"), &anim);
    EXPECT_EQ(o.get_animator("other"), nullptr);
    EXPECT_TRUE(o.any_animators());
    o.remove_animator("anim");
}

TEST(SceneObjectAnimators, AddAnimatorReplacesTheOneOfTheSameName) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator old_one("old", log), new_one("new", log);
    o.add_animator("slot", &old_one);
    o.add_animator("slot", &new_one);
    EXPECT_EQ(o.get_animator("slot"), &new_one);
    EXPECT_EQ(o.get_animators().size(), 1u);
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"new"}));
    EXPECT_EQ(old_one.get_object(), &o);  // removal does not clear the object
    o.remove_animator("slot");
}

TEST(SceneObjectAnimators, UpdateStepsAnimatorsInNameOrderThenTheObject) {
    std::vector<std::string> log;
    HookRecorder o("object", log);
    RecordingAnimator c("c", log), a("a", log), b("b", log);
    o.add_animator("c", &c);
    o.add_animator("a", &a);
    o.add_animator("b", &b);
    o.update(0.5f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c", "object update 0.500000"}));
    EXPECT_EQ(a.steps, (std::vector<float>{0.5f}));
}

TEST(SceneObjectAnimators, AnAnimatorRemovingItselfDoesNotDisturbTheOthers) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log), b("b", log), c("c", log);
    b.action = [](RecordingAnimator& self) { self.get_object()->remove_animator(&self); };
    o.add_animator("a", &a);
    o.add_animator("b", &b);
    o.add_animator("c", &c);
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(o.get_animator("b"), nullptr);
    EXPECT_EQ(o.get_animators().size(), 2u);

    log.clear();
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "c"}));
}

TEST(SceneObjectAnimators, AnAnimatorRemovingALaterOneStillLetsItStepThisFrame) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log), b("b", log);
    a.action = [](RecordingAnimator& self) { self.get_object()->remove_animator("b"); };
    o.add_animator("a", &a);
    o.add_animator("b", &b);
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b"}));  // the frame works on a copy
    log.clear();
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a"}));
}

TEST(SceneObjectAnimators, AnAnimatorAddedDuringTheFrameStepsFromTheNextFrame) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log), late("late", log);
    a.action = [&late](RecordingAnimator& self) {
        if (!self.get_object()->get_animator("late")) self.get_object()->add_animator("late", &late);
    };
    o.add_animator("a", &a);
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a"}));
    log.clear();
    o.update(0.1f);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "late"}));
}

TEST(SceneObjectAnimators, RemoveAnimatorByNameIgnoresUnknownNames) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log);
    o.add_animator("a", &a);
    o.remove_animator("nobody");
    EXPECT_EQ(o.get_animator("a"), &a);
    o.remove_animator("a");
    EXPECT_FALSE(o.any_animators());
    EXPECT_EQ(a.get_object(), &o);  // removal does not clear the object
}

TEST(SceneObjectAnimators, RemoveAnimatorByPointerRemovesTheFirstInNameOrder) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator shared("shared", log), other("other", log);
    o.add_animator("z", &shared);
    o.add_animator("m", &other);
    o.add_animator("b", &shared);
    o.remove_animator(&shared);
    EXPECT_EQ(o.get_animator("b"), nullptr);
    EXPECT_EQ(o.get_animator("m"), &other);
    EXPECT_EQ(o.get_animator("z"), &shared);
    o.remove_animator(&shared);
    EXPECT_EQ(o.get_animator("z"), nullptr);
    EXPECT_EQ(o.get_animator("m"), &other);
}

TEST(SceneObjectAnimators, RemoveAnimatorByPointerIgnoresStrangers) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log), stranger("stranger", log);
    o.add_animator("a", &a);
    o.remove_animator(&stranger);
    EXPECT_EQ(o.get_animator("a"), &a);
}

TEST(SceneObjectAnimators, DestroyingTheObjectClearsItsAnimatorsObject) {
    std::vector<std::string> log;
    RecordingAnimator a("a", log), b("b", log);
    {
        SceneObject o;
        o.add_animator("a", &a);
        o.add_animator("b", &b);
        ASSERT_EQ(a.get_object(), &o);
    }
    EXPECT_EQ(a.get_object(), nullptr);
    EXPECT_EQ(b.get_object(), nullptr);
}

TEST(SceneObjectAnimatorDelay, DelayAppliesWhenSteppedThroughTheObject) {
    std::vector<std::string> log;
    SceneObject o;
    RecordingAnimator a("a", log);
    a.set_delay(1.0f);
    o.add_animator("a", &a);
    o.update(0.75f);
    EXPECT_TRUE(a.steps.empty());
    o.update(0.5f);
    ASSERT_EQ(a.steps.size(), 1u);
    EXPECT_FLOAT_EQ(a.steps[0], 0.25f);
}

// Updates and rendering --------------------------------------------------------------

TEST(SceneObject, UpdateWithoutAnimatorsCallsOnUpdate) {
    std::vector<std::string> log;
    HookRecorder o("o", log);
    o.update(0.25f);
    EXPECT_EQ(log, (std::vector<std::string>{"o update 0.250000"}));
}
