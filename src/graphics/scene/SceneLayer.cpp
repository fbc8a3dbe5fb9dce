#include "engine/graphics/SceneLayer.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneLayer::SceneLayer(const std::string& id, float z, int scale_flags, bool common)
    : id_(id), z_(z), scale_flags_(scale_flags), common_(common) {}

SceneLayer::~SceneLayer() {
    // Emptied first, so that an object destroyed by its release finds itself in no layer.
    std::vector<SceneObject*> objects;
    objects.swap(objects_);
    for (SceneObject* object : objects) {
        object->layer_.clear();
        object->dec_ref();
    }
}

}  // namespace engine::graphics
