#include "python/Bindings.h"

#include "engine/graphics/SceneListener.h"

namespace engine::graphics::python {

namespace {

/// Script subclasses of SceneListener override the hooks by their script names.
class SceneListenerWrapper : public ObjectWrapper<SceneListener> {
public:
    explicit SceneListenerWrapper(PyObject* self) : ObjectWrapper<SceneListener>(self), hooks_(0) {
        const char* const names[] = {"OnPreUpdate",  "OnPostUpdate",     "OnPreRender",
                                     "OnPostRender", "OnPreLayerRender", "OnPostLayerRender"};
        for (unsigned i = 0; i < 6; ++i)
            if (overrides<SceneListener>(self, names[i])) hooks_ |= 1u << i;
    }

    void on_pre_update(float dt) override { call(0, "OnPreUpdate", bp::make_tuple(dt)); }
    void on_post_update(float dt) override { call(1, "OnPostUpdate", bp::make_tuple(dt)); }
    void on_pre_render() override { call(2, "OnPreRender", bp::tuple()); }
    void on_post_render() override { call(3, "OnPostRender", bp::tuple()); }
    void on_pre_layer_render(const std::string& id) override { call(4, "OnPreLayerRender", bp::make_tuple(id)); }
    void on_post_layer_render(const std::string& id) override { call(5, "OnPostLayerRender", bp::make_tuple(id)); }

private:
    // The base hooks do nothing, so a hook the script lacks needs no call at all.
    void call(unsigned bit, const char* name, const bp::tuple& args) {
        if (hooks_ & (1u << bit)) core::call_method(self_, name, args.ptr());
    }

    unsigned hooks_;  // bit i: the script class defines hook i
};

}  // namespace

void define_scene_listener() {
    bp::object cls = bp::class_<SceneListener, Held<SceneListenerWrapper>, boost::noncopyable>(
        "SceneListener",
        "SceneListener()\n\n"
        "Hears every phase of a scene's frame: subclasses define any of OnPreUpdate(dt),\n"
        "OnPostUpdate(dt), OnPreRender(), OnPostRender(), OnPreLayerRender(layer_id) and\n"
        "OnPostLayerRender(layer_id), and are added with Scene.add_listener.",
        bp::init<>());
    register_with_factory(cls, "SceneListener");
}

}  // namespace engine::graphics::python
