#pragma once

#include "python/Bindings.h"

#include "engine/graphics/Scene.h"

namespace engine::graphics::python {

/// The "layers" of a scene as scripts see them: indexable by position or id, with a
/// length and "append". Keeps its scene alive.
class SceneLayerProxy : public Proxy<Scene> {
public:
    using Proxy<Scene>::Proxy;

    bp::object get_item(const bp::object& key) const;
    unsigned int length() const { return owner().get_num_layers(); }
    bool append(SceneLayer* layer) const;
};

}  // namespace engine::graphics::python
