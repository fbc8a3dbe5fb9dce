#pragma once

// Binding support: the scene listener that stands for a duck-typed script listener.
#include "python/Bindings.h"

#include "engine/graphics/SceneListener.h"

namespace engine::graphics::python {

/// Forwards the scene's hooks to any script object that has methods of the hook names.
/// Which methods exist is decided once, at construction: methods added later are never
/// called. Keeps its script object alive. Script thread only.
class SceneListenerPython final : public SceneListener {
public:
    enum Hook : unsigned {
        PreUpdate = 1,
        PostUpdate = 2,
        PreRender = 4,
        PostRender = 8,
        PreLayerRender = 16,
        PostLayerRender = 32,
    };

    explicit SceneListenerPython(PyObject* object);
    ~SceneListenerPython() override;

    void on_pre_update(float dt) override;
    void on_post_update(float dt) override;
    void on_pre_render() override;
    void on_post_render() override;
    void on_pre_layer_render(const std::string& layer_id) override;
    void on_post_layer_render(const std::string& layer_id) override;

    PyObject* get_object() const { return object_; }
    unsigned get_hooks() const { return hooks_; }

private:
    PyObject* object_;  // the script object, one reference held
    unsigned hooks_;    // Hook bits of the methods it has
};

}  // namespace engine::graphics::python
