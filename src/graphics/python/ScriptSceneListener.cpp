#include "python/ScriptSceneListener.h"

#include "engine/core/script/Python.h"

namespace engine::graphics::python {

namespace {

unsigned hooks_of(PyObject* object) {
    static const struct {
        unsigned bit;
        const char* name;
    } hooks[] = {
        {SceneListenerPython::PreUpdate, "OnPreUpdate"},
        {SceneListenerPython::PostUpdate, "OnPostUpdate"},
        {SceneListenerPython::PreRender, "OnPreRender"},
        {SceneListenerPython::PostRender, "OnPostRender"},
        {SceneListenerPython::PreLayerRender, "OnPreLayerRender"},
        {SceneListenerPython::PostLayerRender, "OnPostLayerRender"},
    };
    unsigned mask = 0;
    for (const auto& hook : hooks)
        if (PyObject_HasAttrString(object, hook.name)) mask |= hook.bit;
    return mask;
}

void call(PyObject* object, const char* name, PyObject* args) {
    core::call_method(object, name, args);
    Py_XDECREF(args);
}

}  // namespace

SceneListenerPython::SceneListenerPython(PyObject* object) : object_(object), hooks_(hooks_of(object)) {
    Py_INCREF(object_);
}

SceneListenerPython::~SceneListenerPython() { Py_DECREF(object_); }

void SceneListenerPython::on_pre_update(float dt) {
    if (hooks_ & PreUpdate) call(object_, "OnPreUpdate", Py_BuildValue("(f)", dt));
}

void SceneListenerPython::on_post_update(float dt) {
    if (hooks_ & PostUpdate) call(object_, "OnPostUpdate", Py_BuildValue("(f)", dt));
}

void SceneListenerPython::on_pre_render() {
    if (hooks_ & PreRender) call(object_, "OnPreRender", nullptr);
}

void SceneListenerPython::on_post_render() {
    if (hooks_ & PostRender) call(object_, "OnPostRender", nullptr);
}

void SceneListenerPython::on_pre_layer_render(const std::string& layer_id) {
    if (hooks_ & PreLayerRender) call(object_, "OnPreLayerRender", Py_BuildValue("(s)", layer_id.c_str()));
}

void SceneListenerPython::on_post_layer_render(const std::string& layer_id) {
    if (hooks_ & PostLayerRender) call(object_, "OnPostLayerRender", Py_BuildValue("(s)", layer_id.c_str()));
}

}  // namespace engine::graphics::python
