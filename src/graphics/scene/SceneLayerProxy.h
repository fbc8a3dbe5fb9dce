#pragma once

#include "module/Bindings.h"

#include "engine/graphics/Scene.h"

namespace engine::graphics {

/// The "layers" of a scene as scripts see them: indexable by position or id, with a
/// length and "append". Keeps its scene alive.
class SceneLayerProxy : public python::Proxy<Scene> {
public:
    using python::Proxy<Scene>::Proxy;

    python::bp::object get_item(const python::bp::object& key) const;
    unsigned int length() const { return owner().get_num_layers(); }
    bool append(SceneLayer* layer) const;

    static void define_interface();
};

}  // namespace engine::graphics
