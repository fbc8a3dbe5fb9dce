// The scene's overlap index against the plain answer (every object tested against
// every other): random scenes of turned, scaled and huge objects, objects far outside
// the others' extent, moves between questions, and one layer at a time.
#include "engine/core/Ref.h"
#include "engine/graphics/Scene.h"

#include "engine/core/Vector.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Shape.h"
#include "scene/OverlapIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using engine::core::Vector;
using engine::graphics::OverlapIndex;
using engine::graphics::Scene;
using engine::graphics::SceneLayer;
using engine::graphics::SceneObject;
using engine::graphics::Shape;

namespace {

// A sprite's shape without a sprite record: a w x h rectangle centred on the position.
class Box : public SceneObject {
public:
    explicit Box(Vector<float> size) : size_(size) {}
    void get_shape(Shape& out) override {
        out.clear();
        out.add_rectangle(size_ * -0.5f, size_ * 0.5f, get_world_transform());
    }

private:
    Vector<float> size_;
};

// Layers first and objects last, so that objects leave the scene before it goes.
struct World {
    engine::core::Ref<SceneLayer> main = engine::core::make_ref<SceneLayer>("main", 0.0f, 0, true);
    engine::core::Ref<SceneLayer> other = engine::core::make_ref<SceneLayer>("other", 1.0f, 0, true);
    Scene scene;
    std::vector<engine::core::Ref<Box>> boxes;

    World() {
        scene.add_layer(main.get());
        scene.add_layer(other.get());
    }
    ~World() {
        for (auto& box : boxes) scene.remove_object(box.get());
    }
    Box& add(Vector<float> position, Vector<float> size, const char* layer = "main", float rotation = 0.0f) {
        boxes.push_back(engine::core::make_ref<Box>(size));
        boxes.back()->set_position(position);
        boxes.back()->set_rotation(rotation);
        scene.add_object(boxes.back().get(), layer);
        return *boxes.back();
    }
    // Every object overlapping `box` by the plain test, in the index's answer order.
    std::vector<SceneObject*> expected(Box& box, const SceneLayer* layer = nullptr) {
        std::vector<SceneObject*> result;
        for (const SceneLayer* l : {main.get(), other.get()}) {
            if (layer && l != layer) continue;
            for (SceneObject* o : l->get_objects())
                if (o != &box && box.overlaps(*o)) result.push_back(o);
        }
        std::reverse(result.begin(), result.end());  // top-most first
        return result;
    }
};

void random_world(World& world, int count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> x(0, 500), y(0, 400), side(1, 40), turn(-3, 3);
    for (int i = 0; i < count; ++i)
        world.add({x(random), y(random)}, {side(random), side(random)}, i % 3 ? "main" : "other",
                  i % 4 ? 0.0f : turn(random));
}

}  // namespace

TEST(OverlapIndex, AnswersAgreeWithTestingEveryPair) {
    World world;
    random_world(world, 400, 1);
    world.add({250, 200}, {3000, 5});    // covers too many cells to file
    world.add({1e7f, -1e7f}, {10, 10});  // far outside the others' extent
    std::vector<SceneObject*> found;
    for (auto& box : world.boxes) {
        world.scene.overlapping(*box, nullptr, found);
        EXPECT_EQ(found, world.expected(*box));
        world.scene.overlapping(*box, world.other.get(), found);
        EXPECT_EQ(found, world.expected(*box, world.other.get()));
    }
}

TEST(OverlapIndex, PairsAreEveryOverlapOnce) {
    World world;
    random_world(world, 300, 2);
    std::vector<std::pair<SceneObject*, SceneObject*>> pairs;
    world.scene.overlapping_pairs(nullptr, nullptr, pairs);
    std::size_t expected = 0;
    for (auto& box : world.boxes) expected += world.expected(*box).size();
    EXPECT_EQ(pairs.size() * 2, expected);
    for (const auto& [a, b] : pairs) EXPECT_TRUE(a->overlaps(*b));

    world.scene.overlapping_pairs(world.main.get(), world.other.get(), pairs);
    std::size_t across = 0;
    for (SceneObject* o : world.main->get_objects())
        across += world.expected(static_cast<Box&>(*o), world.other.get()).size();
    EXPECT_EQ(pairs.size(), across);
    for (const auto& [a, b] : pairs) EXPECT_EQ(b->get_layer(), "other");
}

TEST(OverlapIndex, BuiltOnceForManyQuestionsAndAgainAfterAMove) {
    World world;
    random_world(world, 50, 3);
    std::vector<SceneObject*> found;
    const OverlapIndex& index = world.scene.get_overlap_index();
    world.scene.overlapping(*world.boxes[0], nullptr, found);
    const auto builds = index.get_builds();
    for (auto& box : world.boxes) world.scene.overlapping(*box, nullptr, found);
    EXPECT_EQ(index.get_builds(), builds);
    world.boxes[7]->set_position({1000, 1000});
    world.scene.overlapping(*world.boxes[7], nullptr, found);
    EXPECT_EQ(index.get_builds(), builds + 1);
    EXPECT_TRUE(found.empty());
}

TEST(OverlapIndex, RemovedAndHiddenObjectsLeaveTheAnswers) {
    World world;
    Box& a = world.add({0, 0}, {10, 10});
    Box& b = world.add({5, 0}, {10, 10});
    Box& c = world.add({-5, 0}, {10, 10});
    std::vector<SceneObject*> found;
    world.scene.overlapping(a, nullptr, found);
    EXPECT_EQ(found, (std::vector<SceneObject*>{&c, &b}));
    world.scene.remove_object(&b);
    world.scene.overlapping(a, nullptr, found);
    EXPECT_EQ(found, std::vector<SceneObject*>{&c});
    c.set_visibility(false);
    world.scene.overlapping(a, nullptr, found);
    EXPECT_TRUE(found.empty());
    world.scene.objects_at({-6, 0}, nullptr, -1.0f, found);
    EXPECT_TRUE(found.empty());
    world.scene.objects_at({0, 0}, nullptr, -1.0f, found);
    EXPECT_EQ(found, std::vector<SceneObject*>{&a});
}

TEST(OverlapIndex, PointsThatAreNotFiniteFindNothing) {
    World world;
    world.add({0, 0}, {1e30f, 1e30f});
    std::vector<SceneObject*> found;
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (Vector<float> p : {Vector<float>(inf, 0), Vector<float>(0, -inf), Vector<float>(nan, nan)}) {
        world.scene.objects_at(p, nullptr, -1.0f, found);
        EXPECT_TRUE(found.empty());
    }
    world.scene.objects_at({1e20f, 0}, nullptr, -1.0f, found);
    EXPECT_EQ(found.size(), 1u);
}

TEST(OverlapIndex, FarAwayObjectsStillMeetEachOther) {
    World world;
    random_world(world, 50, 4);
    // Hundreds of thousands of cells from the others (floats still hold whole pixels there).
    Box& a = world.add({3.0e7f, -3.0e7f}, {30, 30});
    Box& b = world.add({3.0e7f + 20, -3.0e7f}, {30, 30});
    std::vector<SceneObject*> found;
    world.scene.overlapping(a, nullptr, found);
    EXPECT_EQ(found, std::vector<SceneObject*>{&b});
    world.scene.objects_at({3.0e7f + 10, -3.0e7f}, nullptr, -1.0f, found);
    EXPECT_EQ(found, (std::vector<SceneObject*>{&b, &a}));

    // Beyond the cells' range altogether: kept aside, and still found.
    World far;
    random_world(far, 50, 5);
    Box& c = far.add({-1.0e12f, 3.0e12f}, {1.0e6f, 1.0e6f});
    Box& d = far.add({-1.0e12f, 3.0e12f}, {1.0e6f, 1.0e6f});
    far.scene.overlapping(c, nullptr, found);
    EXPECT_EQ(found, std::vector<SceneObject*>{&d});
    far.scene.overlapping(*far.boxes[0], nullptr, found);
    EXPECT_EQ(found, far.expected(*far.boxes[0]));
}
