// The cost of an animator step: 100,000 animators of every kind but the spline, ten
// on each of 10,000 native objects (half of them sprites), stepped through the scene's
// own update; then each kind alone, and MoveSpline's step by number of control points.
// Durations are so long that nothing finishes while it is measured.
#include "Timing.h"

#include "engine/core/Ref.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SceneObjectAnimatorAlphaPulse.h"
#include "engine/graphics/SceneObjectAnimatorMove.h"
#include "engine/graphics/SceneObjectAnimatorMoveFixed.h"
#include "engine/graphics/SceneObjectAnimatorMoveNewtonian.h"
#include "engine/graphics/SceneObjectAnimatorMoveSmooth.h"
#include "engine/graphics/SceneObjectAnimatorMoveSpline.h"
#include "engine/graphics/SceneObjectAnimatorPulse.h"
#include "engine/graphics/SceneObjectAnimatorRotate.h"
#include "engine/graphics/SceneObjectAnimatorScale.h"
#include "engine/graphics/SceneObjectAnimatorSlide.h"
#include "engine/graphics/SceneObjectAnimatorSpriteFade.h"
#include "engine/graphics/SceneObjectAnimatorSpriteWipe.h"
#include "engine/graphics/Sprite.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace engine;
using namespace engine::graphics;
using Vec = core::Vector<float>;

namespace {

constexpr float kForever = 1e9f;  // a duration that outlasts the measurement
constexpr float kDt = 1.0f / 60.0f;

using Make = std::function<engine::core::Ref<SceneObjectAnimator>()>;

struct Kind {
    const char* name;
    Make make;
};

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all = {
        {"AlphaPulse", [] { return engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.0f, 1.0f, 2.0f); }},
        {"Pulse", [] { return engine::core::make_ref<SceneObjectAnimatorPulse>(1.0f, 2.0f, kForever); }},
        {"Rotate", [] { return engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 0.5f, 0.0f); }},
        {"Scale", [] { return engine::core::make_ref<SceneObjectAnimatorScale>(2.0f, kForever); }},
        {"SpriteFade", [] { return engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.0f, kForever); }},
        {"SpriteWipe", [] { return engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(true, kForever); }},
        // Moves at most 1e-3 per step towards a target 1e9 away.
        {"Move", [] { return engine::core::make_ref<SceneObjectAnimatorMove>(Vec(kForever, 0.0f), 1.0f, 1e-3f); }},
        {"MoveFixed", [] { return engine::core::make_ref<SceneObjectAnimatorMoveFixed>(Vec(1.0f, -1.0f)); }},
        {"MoveNewtonian", [] { return engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vec(1.0f, -1.0f)); }},
        {"MoveSmooth",
         [] { return engine::core::make_ref<SceneObjectAnimatorMoveSmooth>(Vec(100.0f, 100.0f), kForever, false); }},
        {"Slide", [] { return engine::core::make_ref<SceneObjectAnimatorSlide>(Vec(100.0f, 100.0f), kForever, true); }},
    };
    return all;
}

// Native objects have no script object to count references on: the world owns them.
// Declared so that objects go first (telling their animators), then the animators,
// the scene and the layers.
struct World {
    std::vector<engine::core::Ref<SceneLayer>> layers;
    Scene scene;
    std::vector<engine::core::Ref<SceneObjectAnimator>> animators;
    std::vector<engine::core::Ref<SceneObject>> objects;

    // `per_object` animators on each object, made by `pick(object, slot)`.
    World(int object_count, int per_object, const std::function<const Kind&(int, int)>& pick) {
        for (int l = 0; l < 10; ++l) {
            layers.push_back(engine::core::make_ref<SceneLayer>("layer" + std::to_string(l), float(l), 0, true));
            scene.add_layer(layers.back().get());
        }
        objects.reserve(std::size_t(object_count));
        animators.reserve(std::size_t(object_count) * std::size_t(per_object));
        for (int i = 0; i < object_count; ++i) {
            if (i % 2)
                objects.push_back(engine::core::make_ref<Sprite>(""));
            else
                objects.push_back(engine::core::make_ref<SceneObject>());
            SceneObject& o = *objects.back();
            o.set_position({float(i % 800), float(i % 600)});
            scene.add_object(&o, "layer" + std::to_string(i % 10));
            for (int k = 0; k < per_object; ++k) {
                animators.push_back(pick(i, k).make());
                o.add_animator("a" + std::to_string(k), animators.back().get());
            }
        }
    }

    std::size_t attached() const {
        std::size_t n = 0;
        for (const auto& o : objects) n += o->get_animators().size();
        return n;
    }
};

// Nanoseconds per animator step, the scene's own cost per object included.
double ns_per_animator_step(World& world, long frames) {
    const double frame = bench::ns_per_call(frames, [&](long) { world.scene.update(kDt); });
    return frame / double(world.animators.size());
}

}  // namespace

int main() {
    constexpr int kObjects = 10'000;
    constexpr int kPerObject = 10;
    const long frames = 40;

    const double empty = [&] {
        World world(kObjects, 0, [](int, int) -> const Kind& { return kinds()[0]; });
        return bench::ns_per_call(frames, [&](long) { world.scene.update(kDt); }) / kObjects;
    }();
    std::printf("scene update without animators: %.1f ns per object\n\n", empty);

    {
        const std::size_t n = kinds().size();
        World world(kObjects, kPerObject, [n](int i, int k) -> const Kind& { return kinds()[std::size_t(i + k) % n]; });
        const double mixed = ns_per_animator_step(world, frames);
        std::printf("%zu animators of %zu kinds on %d objects: %.1f ns per animator step (%zu still attached)\n\n",
                    world.animators.size(), n, kObjects, mixed, world.attached());
    }

    // Each kind alone, on the full world and on a world small enough to stay in cache
    // (1,000 objects): the difference is the cost of reaching the data.
    std::printf("%-14s %18s %18s\n", "kind alone", "ns/step, 100,000", "ns/step, 10,000");
    for (const Kind& kind : kinds()) {
        const auto only = [&kind](int, int) -> const Kind& { return kind; };
        // One world at a time: only the most recent scene is current.
        double cold = 0.0, hot = 0.0;
        bool all_attached = false;
        {
            World world(kObjects, kPerObject, only);
            cold = ns_per_animator_step(world, frames);
            all_attached = world.attached() == world.animators.size();
        }
        {
            World small(kObjects / 10, kPerObject, only);
            hot = ns_per_animator_step(small, frames * 10);
        }
        std::printf("%-14s %18.1f %18.1f%s\n", kind.name, cold, hot, all_attached ? "" : "  (some finished)");
    }

    std::printf("\n%-16s %18s\n", "spline points", "ns per step");
    for (int points : {4, 16, 64}) {
        SceneObjectAnimatorMoveSpline spline(kForever);
        for (int p = 0; p < points; ++p) spline.add_control_point({float(p * 10), float((p * 37) % 100)});
        SceneObject o;
        o.add_animator("path", &spline);
        const double ns = bench::ns_per_call(200'000, [&](long) { spline.update(1e-3f); });
        bench::keep(o.get_local_position());
        std::printf("%-16d %18.1f\n", points, ns);
    }
    return 0;
}
