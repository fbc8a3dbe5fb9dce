#pragma once

#include "engine/core/Object.h"

#include <string>

namespace engine::graphics {

/// Hears every phase of a scene's frame. All hooks do nothing by default; script
/// subclasses override "OnPreUpdate", "OnPostUpdate", "OnPreRender", "OnPostRender",
/// "OnPreLayerRender" and "OnPostLayerRender". Called on the script thread (the thread
/// that imported libgraphics and owns the GL context), by the scene's update and render.
class SceneListener : public core::Object {
public:
    SceneListener() = default;
    ~SceneListener() override = default;

    virtual void on_pre_update(float dt);
    virtual void on_post_update(float dt);
    virtual void on_pre_render();
    virtual void on_post_render();
    virtual void on_pre_layer_render(const std::string& layer_id);
    virtual void on_post_layer_render(const std::string& layer_id);
};

}  // namespace engine::graphics
