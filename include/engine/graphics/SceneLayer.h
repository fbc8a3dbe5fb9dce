#pragma once

#include "engine/core/Object.h"

#include <string>
#include <vector>

namespace engine::graphics {

class SceneObject;

/// A named, ordered list of scene objects drawn under one set of scale flags. The
/// scene orders layers by z and a layer orders its objects by their z. A layer holds
/// one reference to each of its objects.
class SceneLayer : public core::Object {
public:
    /// `scale_flags` is a Scene::ScaleFlag combination; `common` layers are drawn by
    /// Scene::render() and take part in framebuffer redirection.
    SceneLayer(const std::string& id, float z, int scale_flags, bool common);
    SceneLayer(const SceneLayer&) = delete;
    SceneLayer& operator=(const SceneLayer&) = delete;
    /// Releases its objects, which then belong to no layer.
    ~SceneLayer() override;

    const std::string& get_id() const { return id_; }
    void set_id(const std::string& id) { id_ = id; }
    float get_z() const { return z_; }
    /// Does not move the layer among the scene's layers: z orders layers on insertion.
    void set_z(float z) { z_ = z; }
    int get_scale_flags() const { return scale_flags_; }
    void set_scale_flags(int flags) { scale_flags_ = flags; }
    bool is_common() const { return common_; }
    void set_common(bool common) { common_ = common; }

    /// In drawing order.
    const std::vector<SceneObject*>& get_objects() const { return objects_; }

    static void define_interface();

private:
    friend class Scene;

    std::string id_;                      // unique within a scene
    float z_;                             // ordering key among layers
    int scale_flags_;                     // ScaleFlag combination
    bool common_;                         // drawn by Scene::render()
    std::vector<SceneObject*> objects_;   // drawing order; one reference each
};

}  // namespace engine::graphics
