// The native cost of overlap questions: 10,000 moving 16 x 16 boxes (sprites' shapes,
// without drawing), each frame all moved, then one scene.overlapping question per box,
// and the same frame answered by one overlapping_pairs call. The script-level figures,
// with the alternatives, come from bench_overlap.py.
#include "Timing.h"

#include "engine/core/Ref.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Shape.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using namespace engine;
using graphics::Scene;
using graphics::SceneLayer;
using graphics::SceneObject;
using graphics::Shape;

namespace {

constexpr int kObjects = 10000;
constexpr float kWidth = 1920.0f, kHeight = 1080.0f, kHalf = 8.0f;

// A sprite's shape without a sprite record: a 16 x 16 rectangle about the position.
class Box : public SceneObject {
public:
    void get_shape(Shape& out) override {
        out.clear();
        out.add_rectangle({-kHalf, -kHalf}, {kHalf, kHalf}, get_world_transform());
    }
};

struct World {
    engine::core::Ref<SceneLayer> layer = engine::core::make_ref<SceneLayer>("main", 0.0f, 0, true);
    Scene scene;
    std::vector<engine::core::Ref<Box>> boxes;
    std::vector<core::Vector<float>> velocities;

    World() {
        scene.add_layer(layer.get());
        std::mt19937 random(1);
        std::uniform_real_distribution<float> x(0.0f, kWidth), y(0.0f, kHeight), v(-2.0f, 2.0f);
        for (int i = 0; i < kObjects; ++i) {
            boxes.push_back(engine::core::make_ref<Box>());
            boxes.back()->set_position({x(random), y(random)});
            velocities.push_back({v(random), v(random)});
            scene.add_object(boxes.back().get(), "main");
        }
    }
    ~World() {
        for (auto& box : boxes) scene.remove_object(box.get());
    }
    void move() {
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            core::Vector<float> p = boxes[i]->get_local_position() + velocities[i];
            if (p.x < 0 || p.x > kWidth) velocities[i].x = -velocities[i].x;
            if (p.y < 0 || p.y > kHeight) velocities[i].y = -velocities[i].y;
            boxes[i]->set_position(p);
        }
    }
};

double ms_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main() {
    World world;
    std::vector<SceneObject*> found;
    std::vector<std::pair<SceneObject*, SceneObject*>> pairs;
    double best_move = 1e9, best_queries = 1e9, best_pairs = 1e9, best_build = 1e9, best_reused = 1e9,
           best_shapes = 1e9;
    std::size_t hits = 0;
    for (int frame = 0; frame < 60; ++frame) {
        auto start = std::chrono::steady_clock::now();
        world.move();
        best_move = std::min(best_move, ms_since(start));

        start = std::chrono::steady_clock::now();
        hits = 0;
        for (auto& box : world.boxes) {
            world.scene.overlapping(*box, nullptr, found);
            hits += found.size();
        }
        best_queries = std::min(best_queries, ms_since(start));

        // The same questions again: nothing moved, so the index is reused.
        start = std::chrono::steady_clock::now();
        for (auto& box : world.boxes) world.scene.overlapping(*box, nullptr, found);
        best_reused = std::min(best_reused, ms_since(start));

        start = std::chrono::steady_clock::now();
        {
            static Shape scratch;
            for (auto& box : world.boxes) box->get_drawn_shape(scratch);
        }
        best_shapes = std::min(best_shapes, ms_since(start));

        // The index's build alone: the first question after a move.
        world.move();
        start = std::chrono::steady_clock::now();
        world.scene.overlapping(*world.boxes[0], nullptr, found);
        best_build = std::min(best_build, ms_since(start));

        world.move();
        start = std::chrono::steady_clock::now();
        world.scene.overlapping_pairs(nullptr, nullptr, pairs);
        best_pairs = std::min(best_pairs, ms_since(start));
    }
    std::printf("%d boxes of 16 x 16 in %g x %g, best of 60 frames\n", kObjects, kWidth, kHeight);
    std::printf("  moving them all                          %7.3f ms\n", best_move);
    std::printf("  overlapping(box) for each, index built   %7.3f ms  (%zu hits)\n", best_queries, hits);
    std::printf("  the same questions, index reused         %7.3f ms\n", best_reused);
    std::printf("  the asking objects' shapes alone         %7.3f ms\n", best_shapes);
    std::printf("  building the index alone                 %7.3f ms\n", best_build);
    std::printf("  overlapping_pairs(), index built          %7.3f ms  (%zu pairs)\n", best_pairs, pairs.size());
    return 0;
}
