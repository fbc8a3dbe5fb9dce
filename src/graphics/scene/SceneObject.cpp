#include "engine/graphics/SceneObject.h"

#include "engine/core/Log.h"

#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneObjectAnimator.h"
#include "engine/graphics/Shape.h"
#include "engine/window/GpuResource.h"

#include <GL/gl.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace engine::graphics {

namespace {

// The global id registry, shared by all scene objects.
std::map<std::string, SceneObject*>& registry() {
    static std::map<std::string, SceneObject*> objects;
    return objects;
}

// Animators being stepped, for every object whose update is under way: each update
// uses the range above where it started, so nested updates are fine and nothing is
// allocated once the vector has grown. Animators removed meanwhile stay alive until
// the step ends (see SceneObject::release), so every one in the snapshot takes its step.
std::vector<SceneObjectAnimator*>& animator_snapshot() {
    static std::vector<SceneObjectAnimator*> snapshot;
    return snapshot;
}

}  // namespace

SceneObject::~SceneObject() {
    set_id(std::string());
    // Animators that still name this object (a script may keep one after removing it)
    // see their weak link read null from here on.
    animators_.clear();
    removed_while_stepping_.clear();
    if (Scene* scene = Scene::get()) scene->take_object(this, false);
}

void SceneObject::set_id(const std::string& id) {
    if (id == id_) return;
    auto& objects = registry();
    if (!id_.empty()) {
        auto it = objects.find(id_);
        if (it != objects.end() && it->second == this) objects.erase(it);
    }
    // The last object to take an id wins.
    if (!id.empty()) objects[id] = this;
    id_ = id;
}

SceneObject* SceneObject::get_object(const std::string& id) {
    auto it = registry().find(id);
    return it == registry().end() ? nullptr : it->second;
}

void SceneObject::set_z(float z) {
    if (z == z_) return;
    z_ = z;
    if (Scene* scene = Scene::get()) scene->sort_layer(layer_);
}

void SceneObject::set_layer(const std::string& layer_id) {
    if (layer_id == layer_) return;
    Scene* scene = Scene::get();
    if (!scene) {
        core::Log::warning("graphics", "No scene is current: the object cannot join layer '%s'.", layer_id.c_str());
        return;
    }
    if (scene->add_object(this, layer_id)) layer_ = layer_id;
}

namespace {

// The entry of `name`, or where it would go: the list is kept in name order.
template <class List>
auto find_slot(List& list, const std::string& name) {
    return std::lower_bound(list.begin(), list.end(), name,
                            [](const auto& entry, const std::string& key) { return entry.first < key; });
}

}  // namespace

void SceneObject::add_animator(const std::string& name, SceneObjectAnimator* animator,
                               FinishedCallback on_finished) {
    remove_animator(name);
    core::Ref<SceneObjectAnimator> held(animator);
    animator->set_object(this);
    animator->on_finished_ = std::move(on_finished);
    animators_.emplace(find_slot(animators_, name), name, std::move(held));
}

SceneObjectAnimator* SceneObject::get_animator(const std::string& name) const {
    auto it = find_slot(animators_, name);
    return it != animators_.end() && it->first == name ? it->second : nullptr;
}

void SceneObject::remove_animator(const std::string& name) {
    auto it = find_slot(animators_, name);
    if (it == animators_.end() || it->first != name) return;
    core::Ref<SceneObjectAnimator> animator = std::move(it->second);
    animators_.erase(it);
    release(std::move(animator));
}

void SceneObject::remove_animator(SceneObjectAnimator* animator) {
    for (auto it = animators_.begin(); it != animators_.end(); ++it) {
        if (it->second == animator) {
            core::Ref<SceneObjectAnimator> held = std::move(it->second);
            animators_.erase(it);
            release(std::move(held));
            return;
        }
    }
}

void SceneObject::release(core::Ref<SceneObjectAnimator> animator) {
    // Removed before finishing: nobody is told, and what the callback holds goes now.
    animator->on_finished_.reset();
    // While the animators step, a removed one (often the one stepping, finishing) is
    // released only when they are done: it may still be in the step's snapshot.
    if (stepping_ > 0) removed_while_stepping_.push_back(std::move(animator));
}

void SceneObject::step_animators(float dt) {
    auto& snapshot = animator_snapshot();
    const std::size_t begin = snapshot.size();
    for (const auto& entry : animators_) snapshot.push_back(entry.second);
    const std::size_t end = snapshot.size();
    ++stepping_;
    for (std::size_t i = begin; i < end; ++i) snapshot[i]->update(dt);
    --stepping_;
    snapshot.resize(begin);
    if (stepping_ == 0) removed_while_stepping_.clear();  // keeps its capacity: no allocation next time
}

void SceneObject::update(float dt) {
    if (!animators_.empty()) step_animators(dt);
    on_update(dt);
}

void SceneObject::render(bool apply_layer_transform) {
    if (!visible_) return;
    Scene* scene = apply_layer_transform ? Scene::get() : nullptr;
    if (scene) {
        glPushMatrix();
        const core::Vector<float>& p = get_world_position();
        if (scale_flags_ == -1)
            scene->load_layer_transform(layer_, p);
        else
            scene->load_layer_transform(scale_flags_, p);
    }
    const std::uint64_t context = window::GpuResource::context_generation();
    on_render();
    // A render hook that changed the video mode leaves a new context, whose matrix
    // stack holds nothing of ours to pop.
    if (scene && window::GpuResource::context_generation() == context) glPopMatrix();
}

core::Matrix SceneObject::get_layer_transform() const {
    const Scene* scene = Scene::get();
    if (!scene) return core::Matrix();
    const core::Vector<float>& p = get_world_position();
    return scale_flags_ == -1 ? scene->get_layer_transform(layer_, p) : scene->get_layer_transform(scale_flags_, p);
}

void SceneObject::get_shape(Shape& out) { out.clear(); }

namespace {

// Shapes made for one question and thrown away, reused so that asking allocates nothing
// once grown. Script thread only, like every scene object.
Shape& scratch_shape(int which) {
    static Shape shapes[2];
    return shapes[which];
}

}  // namespace

bool SceneObject::is_solid_at(const core::Vector<float>&, float) { return true; }

bool SceneObject::contains(const core::Vector<float>& point) {
    if (!visible_ || !std::isfinite(point.x) || !std::isfinite(point.y)) return false;
    Shape& shape = scratch_shape(0);
    get_shape(shape);
    return shape.contains(point);
}

void SceneObject::get_drawn_shape(Shape& out) {
    if (!visible_) {
        out.clear();
        return;
    }
    get_shape(out);
    const core::Matrix layer = get_layer_transform();
    if (!layer.is_identity()) out.transform(layer);
}

bool SceneObject::overlaps(SceneObject& other) {
    if (&other == this || !visible_ || !other.visible_) return false;
    Shape& mine = scratch_shape(0);
    Shape& theirs = scratch_shape(1);
    get_drawn_shape(mine);
    other.get_drawn_shape(theirs);
    return mine.overlaps(theirs);
}

void SceneObject::on_add(const std::string&) {}
void SceneObject::on_remove(const std::string&) {}
void SceneObject::on_update(float) {}
void SceneObject::on_render() {}
bool SceneObject::add_to_batch(SpriteBatch&, const core::Matrix&) { return false; }

}  // namespace engine::graphics
