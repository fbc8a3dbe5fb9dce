#include "module/Bindings.h"

#include "engine/graphics/SceneListener.h"

namespace engine::graphics {

namespace {

/// Script subclasses of SceneListener override the hooks by their script names.
class SceneListenerWrapper : public core::python::ObjectWrapper<SceneListener> {
public:
    explicit SceneListenerWrapper(PyObject* self) : core::python::ObjectWrapper<SceneListener>(self), hooks_(0) {
        const char* const names[] = {"OnPreUpdate",  "OnPostUpdate",     "OnPreRender",
                                     "OnPostRender", "OnPreLayerRender", "OnPostLayerRender"};
        for (unsigned i = 0; i < 6; ++i)
            if (core::python::overrides<SceneListener>(self, names[i])) hooks_ |= 1u << i;
    }

    void on_pre_update(float dt) override { call(0, "OnPreUpdate", python::bp::make_tuple(dt)); }
    void on_post_update(float dt) override { call(1, "OnPostUpdate", python::bp::make_tuple(dt)); }
    void on_pre_render() override { call(2, "OnPreRender", python::bp::tuple()); }
    void on_post_render() override { call(3, "OnPostRender", python::bp::tuple()); }
    void on_pre_layer_render(const std::string& id) override {
        call(4, "OnPreLayerRender", python::bp::make_tuple(id));
    }
    void on_post_layer_render(const std::string& id) override {
        call(5, "OnPostLayerRender", python::bp::make_tuple(id));
    }

private:
    // The base hooks do nothing, so a hook the script lacks needs no call at all.
    void call(unsigned bit, const char* name, const python::bp::tuple& args) {
        if (hooks_ & (1u << bit)) core::call_method(self_, name, args.ptr());
    }

    unsigned hooks_;  // bit i: the script class defines hook i
};

}  // namespace

void SceneListener::define_interface() {
    namespace bp = python::bp;
    bp::object cls = bp::class_<SceneListener, SceneListenerWrapper, boost::noncopyable>("SceneListener", bp::init<>());
    python::register_with_factory(cls, "SceneListener");
}

}  // namespace engine::graphics
