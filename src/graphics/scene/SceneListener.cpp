#include "engine/graphics/SceneListener.h"

namespace engine::graphics {

void SceneListener::on_pre_update(float) {}
void SceneListener::on_post_update(float) {}
void SceneListener::on_pre_render() {}
void SceneListener::on_post_render() {}
void SceneListener::on_pre_layer_render(const std::string&) {}
void SceneListener::on_post_layer_render(const std::string&) {}

}  // namespace engine::graphics
