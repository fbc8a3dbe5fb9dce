#include "engine/graphics/SceneLayer.h"

#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Transform.h"

#include "engine/core/ScriptHooks.h"

namespace engine::graphics {

SceneLayer::SceneLayer(const std::string& id, float z, int scale_flags, bool common)
    : id_(id), z_(z), scale_flags_(scale_flags), common_(common) {}

SceneLayer::~SceneLayer() {
    // Emptied first, so that an object destroyed by its release finds itself in no layer.
    std::vector<core::Ref<SceneObject>> objects;
    objects.swap(objects_);
    for (SceneObject* object : objects) object->layer_.clear();
}

namespace {

// Numbers the passes of every layer, so that an object moving from one layer's walk
// into another's is recognised as having joined it.
std::uint64_t next_pass = 0;

}  // namespace

SceneLayer::Walk::Walk(SceneLayer& layer)
    : layer_(layer), saved_position_(layer.walk_), saved_pass_(layer.walk_pass_) {
    layer_.walk_ = -1;
    layer_.walk_pass_ = ++next_pass;
}

bool SceneLayer::Walk::next() {
    // A hook's exception that must leave the engine call ends the pass.
    if (core::script_error_held()) return false;
    const auto& objects = layer_.objects_;
    const std::ptrdiff_t size = std::ptrdiff_t(objects.size());
    while (++layer_.walk_ < size) {
        SceneObject* object = objects[std::size_t(layer_.walk_)];
        if (object->last_pass_ == layer_.walk_pass_) continue;  // joined or already visited
        object->last_pass_ = layer_.walk_pass_;
        return true;
    }
    return false;
}

void SceneLayer::set_scale_flags(int flags) {
    scale_flags_ = flags;
    Transform::note_change();
}

void SceneLayer::inserted(std::ptrdiff_t index) {
    if (walk_ == kNoWalk) return;
    if (index <= walk_) ++walk_;
    objects_[std::size_t(index)]->last_pass_ = walk_pass_;
}

}  // namespace engine::graphics
