#pragma once

#include "python/Bindings.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics::python {

/// The held type of every scene-object class: a script subclass's "OnAdd",
/// "OnRemove", "OnUpdate" and "OnRender" replace the native hooks. Which ones a script
/// class defines is decided once per class, so an object whose class defines none
/// costs no Python work per frame.
template <class T, class... Args>
class SceneObjectWrapper : public ObjectWrapper<T, Args...> {
public:
    explicit SceneObjectWrapper(PyObject* self, Args... args)
        : ObjectWrapper<T, Args...>(self, std::forward<Args>(args)...),
          hooks_((overrides<T>(self, "OnAdd") ? kAdd : 0u) | (overrides<T>(self, "OnRemove") ? kRemove : 0u) |
                 (overrides<T>(self, "OnUpdate") ? kUpdate : 0u) | (overrides<T>(self, "OnRender") ? kRender : 0u)) {}

    void on_add(const std::string& layer_id) override {
        if (hooks_ & kAdd)
            call("OnAdd", bp::make_tuple(layer_id));
        else
            T::on_add(layer_id);
    }
    void on_remove(const std::string& layer_id) override {
        if (hooks_ & kRemove)
            call("OnRemove", bp::make_tuple(layer_id));
        else
            T::on_remove(layer_id);
    }
    void on_update(float dt) override {
        if (hooks_ & kUpdate)
            call("OnUpdate", bp::make_tuple(dt));
        else
            T::on_update(dt);
    }
    void on_render() override {
        if (hooks_ & kRender)
            call("OnRender", bp::tuple());
        else
            T::on_render();
    }
    // A script's "OnRender" draws the object itself, so the batch is drawn first.
    bool add_to_batch(SpriteBatch& batch, const core::Matrix& layer_transform) override {
        return !(hooks_ & kRender) && T::add_to_batch(batch, layer_transform);
    }

private:
    enum : unsigned { kAdd = 1, kRemove = 2, kUpdate = 4, kRender = 8 };

    void call(const char* name, const bp::tuple& args) { core::call_method(this->self_, name, args.ptr()); }

    unsigned hooks_;  // which hooks the script class defines
};

}  // namespace engine::graphics::python
