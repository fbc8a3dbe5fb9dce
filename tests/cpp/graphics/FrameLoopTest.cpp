// The native game loop, with a clock the test drives.
#include "support/GraphicsContext.h"

#include "engine/core/Ref.h"
#include "engine/graphics/FrameLoop.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"

#include <vector>

namespace {

using engine::core::make_ref;
using engine::core::Ref;
using namespace engine::graphics;

// Time moves only when the loop waits.
class TestClock : public FrameClock {
public:
    Duration now() override { return time; }
    void sleep_until(Duration deadline) override { time = std::max(time, deadline); }
    Duration time{0};
};

// Counts its updates.
struct Counter : SceneObject {
    void on_update(float dt) override { steps.push_back(dt); }
    std::vector<float> steps;
};

using FrameLoopTest = engine::test::GraphicsContext;

TEST(FrameLoop, TakesTheFrameRatesItCanPace) {
    EXPECT_TRUE(FrameLoop::is_valid_fps(0.0));
    EXPECT_TRUE(FrameLoop::is_valid_fps(60.0));
    EXPECT_TRUE(FrameLoop::is_valid_fps(1e9));
    EXPECT_FALSE(FrameLoop::is_valid_fps(1e-12));
    EXPECT_FALSE(FrameLoop::is_valid_fps(-1.0));
    EXPECT_FALSE(FrameLoop::is_valid_fps(std::numeric_limits<double>::quiet_NaN()));
}

TEST_F(FrameLoopTest, RunsTheGameAndTheSceneEachFrameUntilUpdateSaysStop) {
    const Ref<Scene> scene = make_ref<Scene>();
    scene->add_layer(new SceneLayer("world", 0.0f, 0, true));
    const Ref<Counter> counter = make_ref<Counter>();
    scene->add_object(counter, "world");
    TestClock clock;
    FrameLoop loop(window(), 50.0, clock);
    std::vector<double> seen;
    loop.set_update([&](double dt) {
        seen.push_back(dt);
        return seen.size() < 4;
    });
    EXPECT_EQ(loop.run(), 3);
    ASSERT_EQ(seen.size(), 4u);
    for (double dt : seen) EXPECT_FLOAT_EQ(float(dt), 0.02f);
    EXPECT_EQ(counter->steps.size(), 3u);
}

TEST_F(FrameLoopTest, AnUpdateMayReplaceTheSceneItRunsIn) {
    Ref<Scene> scene = make_ref<Scene>();
    scene->add_layer(new SceneLayer("world", 0.0f, 0, true));
    const Ref<Counter> counter = make_ref<Counter>();
    scene->add_object(counter, "world");
    TestClock clock;
    FrameLoop loop(window(), 0.0, clock);
    int frame = 0;
    loop.set_update([&](double) {
        if (++frame == 2) scene.reset();  // the level ends: its scene goes
        return frame < 3;
    });
    EXPECT_EQ(loop.run(), 2);
    EXPECT_EQ(counter->steps.size(), 1u);
}

TEST_F(FrameLoopTest, AStopCheckEndsTheLoopBetweenSteps) {
    TestClock clock;
    FrameLoop loop(window(), 0.0, clock);
    int checks = 0;
    loop.set_stop_check([&] { return ++checks > 2; });
    EXPECT_EQ(loop.run(), 0);  // the check runs before and after each step of a frame
}

}  // namespace
