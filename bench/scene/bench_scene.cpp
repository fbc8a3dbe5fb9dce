// The scene's own cost per object and frame: native objects with empty hooks in 10
// layers, so the figures are the scene's overhead (iteration, animator checks,
// visibility, layer matrix, matrix push/pop), not drawing.
#include "Timing.h"

#include "engine/core/Ref.h"
#include "engine/graphics/Module.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/window/Window.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace engine;
using graphics::Scene;
using graphics::SceneLayer;
using graphics::SceneObject;

namespace {

// Native objects have no script object to count references on: the world owns them.
// Declared so that objects go first, then the scene, then the layers.
struct World {
    std::vector<engine::core::Ref<SceneLayer>> layers;
    Scene scene;
    std::vector<engine::core::Ref<SceneObject>> objects;

    World(int count, int layer_count) {
        scene.set_scale({2.0f, 1.5f});
        for (int l = 0; l < layer_count; ++l) {
            const int flags = l % 2 ? Scene::SCALE_MIN | Scene::TRANSLATE : 0;
            layers.push_back(engine::core::make_ref<SceneLayer>("layer" + std::to_string(l), float(l), flags, true));
            scene.add_layer(layers.back().get());
        }
        objects.reserve(std::size_t(count));
        for (int i = 0; i < count; ++i) {
            objects.push_back(engine::core::make_ref<SceneObject>());
            SceneObject& o = *objects.back();
            o.set_position({float(i % 800), float(i % 600)});
            o.set_z(float(i % 7));
            scene.add_object(&o, "layer" + std::to_string(i % layer_count));
        }
    }
};

}  // namespace

int main() {
    std::unique_ptr<window::Window> window;
    try {
        window = std::make_unique<window::Window>(640, 480, "bench_scene");
    } catch (const std::exception& e) {
        std::printf("no window (%s): render figures skipped\n", e.what());
    }
    if (window) {
        graphics::set_window(window.get());
        graphics::set_ortho();
    }

    std::printf("%-10s %16s %16s\n", "objects", "update ns/obj", "render ns/obj");
    for (int count : {1'000, 10'000, 100'000}) {
        World world(count, 10);
        const long frames = count >= 100'000 ? 20 : 200;
        const double update = bench::ns_per_call(frames, [&](long) { world.scene.update(1.0f / 60.0f); });
        double render = 0.0;
        if (window) {
            render = bench::ns_per_call(frames, [&](long) {
                world.scene.begin_frame();
                world.scene.render();
                world.scene.end_frame();
            });
        }
        std::printf("%-10d %16.1f %16.1f\n", count, update / count, render / count);
    }

    {
        World world(10'000, 1);
        SceneObject& o = *world.objects[5000];
        const double set_z = bench::ns_per_call(
            2'000, [&](long i) { o.set_z(float(i % 7) + 0.5f); }, 3);
        std::printf("set_z on a 10,000-object layer: %.1f us\n", set_z / 1000.0);
    }

    if (window) graphics::set_window(nullptr);
    return 0;
}
