#include "engine/graphics/SceneListener.h"

#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

using engine::graphics::Scene;
using engine::graphics::SceneLayer;
using engine::graphics::SceneListener;
using engine::graphics::SceneObject;

// Native-only objects have no script object: counting references does nothing and the
// test owns everything. Layers and listeners are declared before the scene (which
// drops its references to them when it goes), objects after it. The objects drawn here are invisible unless a test
// needs their render hook: an invisible object touches no OpenGL state, and these tests have no context.

namespace {

using Log = std::vector<std::string>;

// Logs every hook as "<name> <hook>[ <argument>]"; `action` runs after logging.
class RecordingListener : public SceneListener {
public:
    RecordingListener() = default;
    void setup(std::string name, Log& log) {
        name_ = std::move(name);
        log_ = &log;
    }

    std::function<void(RecordingListener&, const std::string& hook)> action;

    void on_pre_update(float dt) override { record("pre_update " + std::to_string(dt)); }
    void on_post_update(float dt) override { record("post_update " + std::to_string(dt)); }
    void on_pre_render() override { record("pre_render"); }
    void on_post_render() override { record("post_render"); }
    void on_pre_layer_render(const std::string& id) override { record("pre_layer " + id); }
    void on_post_layer_render(const std::string& id) override { record("post_layer " + id); }

private:
    void record(const std::string& hook) {
        log_->push_back(name_ + " " + hook);
        if (action) action(*this, hook);
    }

    std::string name_;
    Log* log_ = nullptr;
};

// Logs its update and render hooks as "<name> update" and "<name> render".
class RecordingObject : public SceneObject {
public:
    RecordingObject(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
    void on_update(float) override { log_.push_back(name_ + " update"); }
    void on_render() override { log_.push_back(name_ + " render"); }

private:
    std::string name_;
    Log& log_;
};

// Layers "front" (z 2, common), "hud" (z 1, not common) and "back" (z 0, common).
struct ListenedScene : ::testing::Test {
    SceneLayer back{"back", 0.0f, 0, true};
    SceneLayer hud{"hud", 1.0f, 0, false};
    SceneLayer front{"front", 2.0f, 0, true};
    Log log;
    // In an array, so that their addresses (the notification order) ascend.
    RecordingListener listeners[2];
    SceneListener plain;  // hooks as the base class has them
    Scene scene;

    ListenedScene() {
        scene.add_layer(&front);
        scene.add_layer(&hud);
        scene.add_layer(&back);
        listeners[0].setup("L0", log);
        listeners[1].setup("L1", log);
    }
};

}  // namespace

TEST_F(ListenedScene, BaseHooksDoNothing) {
    RecordingObject b("back-object", log), f("front-object", log);
    b.set_layer("back");
    f.set_layer("front");
    // A plain listener among recording ones: what the frame does and what the others
    // hear is the same as without it.
    scene.add_listener(&listeners[0]);
    scene.update(0.5f);
    scene.render();
    scene.render_layer("hud");
    const Log without = log;
    ASSERT_EQ(without.front(), "L0 pre_update 0.500000");
    log.clear();
    scene.add_listener(&plain);
    scene.update(0.5f);
    scene.render();
    scene.render_layer("hud");
    EXPECT_EQ(log, without);
}

TEST_F(ListenedScene, UpdateTellsListenersAroundTheObjectsOfEveryLayer) {
    RecordingObject b("back-object", log), h("hud-object", log), f("front-object", log);
    f.set_layer("front");
    h.set_layer("hud");
    b.set_layer("back");
    scene.add_listener(&listeners[0]);
    scene.update(0.5f);
    EXPECT_EQ(log, (Log{"L0 pre_update 0.500000", "back-object update", "hud-object update", "front-object update",
                        "L0 post_update 0.500000"}));
}

TEST_F(ListenedScene, ListenersAreToldInPointerOrderWhateverTheOrderOfAddition) {
    scene.add_listener(&listeners[1]);
    scene.add_listener(&listeners[0]);
    scene.update(0.25f);
    EXPECT_EQ(log, (Log{"L0 pre_update 0.250000", "L1 pre_update 0.250000", "L0 post_update 0.250000",
                        "L1 post_update 0.250000"}));
}

TEST_F(ListenedScene, AddingAListenerTwiceTellsItOnce) {
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[0]);
    scene.update(0.0f);
    EXPECT_EQ(log, (Log{"L0 pre_update 0.000000", "L0 post_update 0.000000"}));
}

TEST_F(ListenedScene, RenderTellsListenersAroundEachCommonLayerInOrder) {
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[1]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L1 pre_render",              //
                        "L0 pre_layer back", "L1 pre_layer back",      //
                        "L0 post_layer back", "L1 post_layer back",    //
                        "L0 pre_layer front", "L1 pre_layer front",    //
                        "L0 post_layer front", "L1 post_layer front",  //
                        "L0 post_render", "L1 post_render"}));
}

TEST_F(ListenedScene, RenderLayerDrawsALayerThatIsNotCommon) {
    scene.add_listener(&listeners[0]);
    scene.render_layer("hud");
    EXPECT_EQ(log, (Log{"L0 pre_layer hud", "L0 post_layer hud"}));
}

TEST_F(ListenedScene, RenderLayerDrawsACommonLayerTooWithoutTheRenderPhase) {
    scene.add_listener(&listeners[0]);
    scene.render_layer("front");
    EXPECT_EQ(log, (Log{"L0 pre_layer front", "L0 post_layer front"}));
}

TEST_F(ListenedScene, RenderLayerOfAMissingLayerDoesNothing) {
    scene.add_listener(&listeners[0]);
    scene.render_layer("missing");
    EXPECT_TRUE(log.empty());
}

TEST_F(ListenedScene, InvisibleObjectsAreNotRendered) {
    RecordingObject o("o", log);
    o.set_visibility(false);
    o.set_layer("back");
    scene.add_listener(&listeners[0]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L0 pre_layer back", "L0 post_layer back", "L0 pre_layer front",
                        "L0 post_layer front", "L0 post_render"}));
}

TEST_F(ListenedScene, RemovedListenerIsNoLongerTold) {
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[1]);
    scene.remove_listener(&listeners[0]);
    scene.update(0.0f);
    EXPECT_EQ(log, (Log{"L1 pre_update 0.000000", "L1 post_update 0.000000"}));
    scene.remove_listener(&listeners[0]);  // a stranger now: nothing happens
}

TEST_F(ListenedScene, ListenerRemovingItselfDuringItsCallLeavesTheOthersUndisturbed) {
    listeners[0].action = [this](RecordingListener& self, const std::string& hook) {
        if (hook == "pre_render") scene.remove_listener(&self);
    };
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[1]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L1 pre_render", "L1 pre_layer back", "L1 post_layer back",
                        "L1 pre_layer front", "L1 post_layer front", "L1 post_render"}));
    log.clear();
    scene.update(0.0f);
    EXPECT_EQ(log, (Log{"L1 pre_update 0.000000", "L1 post_update 0.000000"}));
}

TEST_F(ListenedScene, LastListenerRemovingItselfDuringItsCall) {
    listeners[1].action = [this](RecordingListener& self, const std::string& hook) {
        if (hook.rfind("pre_update", 0) == 0) scene.remove_listener(&self);
    };
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[1]);
    scene.update(0.0f);
    EXPECT_EQ(log, (Log{"L0 pre_update 0.000000", "L1 pre_update 0.000000", "L0 post_update 0.000000"}));
}

TEST_F(ListenedScene, ListenerRemovedBeforeItsTurnIsSkipped) {
    listeners[0].action = [this](RecordingListener&, const std::string& hook) {
        if (hook == "pre_render") scene.remove_listener(&listeners[1]);
    };
    scene.add_listener(&listeners[0]);
    scene.add_listener(&listeners[1]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L0 pre_layer back", "L0 post_layer back", "L0 pre_layer front",
                        "L0 post_layer front", "L0 post_render"}));
}

TEST_F(ListenedScene, ListenerRemovingItselfDuringALayerCall) {
    listeners[0].action = [this](RecordingListener& self, const std::string& hook) {
        if (hook == "post_layer back") scene.remove_listener(&self);
    };
    scene.add_listener(&listeners[0]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L0 pre_layer back", "L0 post_layer back"}));
}

TEST_F(ListenedScene, ObjectLeavingItsLayerDuringUpdateIsSafe) {
    struct Leaver : RecordingObject {
        using RecordingObject::RecordingObject;
        void on_update(float dt) override {
            RecordingObject::on_update(dt);
            Scene::get()->remove_object(this);
        }
    };
    Leaver leaver("leaver", log);
    RecordingObject after("after", log);
    leaver.set_layer("back");
    after.set_layer("back");
    scene.update(0.0f);
    EXPECT_EQ(log.front(), "leaver update");
    EXPECT_EQ(leaver.get_layer(), "");
    ASSERT_EQ(back.get_objects().size(), 1u);
    EXPECT_EQ(back.get_objects().front(), &after);
}

TEST_F(ListenedScene, VisibleObjectsRenderBetweenTheirLayersHooks) {
    RecordingObject b1("b1", log), b2("b2", log), h("h", log), f("f", log);
    b1.set_layer("back");
    b2.set_layer("back");
    h.set_layer("hud");
    f.set_layer("front");
    scene.add_listener(&listeners[0]);
    scene.render();
    EXPECT_EQ(log, (Log{"L0 pre_render", "L0 pre_layer back", "b1 render", "b2 render", "L0 post_layer back",
                        "L0 pre_layer front", "f render", "L0 post_layer front", "L0 post_render"}));
    log.clear();
    scene.render_layer("hud");
    EXPECT_EQ(log, (Log{"L0 pre_layer hud", "h render", "L0 post_layer hud"}));
}
