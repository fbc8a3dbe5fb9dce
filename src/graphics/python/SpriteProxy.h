#pragma once

#include "python/Bindings.h"

#include "engine/graphics/Sprite.h"

namespace engine::graphics::python {

/// The four corner colours of a sprite as scripts index them ("colours").
class SpriteProxy : public Proxy<Sprite> {
public:
    using Proxy<Sprite>::Proxy;

    bp::object get_item(const bp::object& key) const {
        const Sprite& sprite = owner();
        return core::python::get_item(
            key, 4, [&](long i) { return bp::object(sprite.get_colour(int(i))); },
            [](const std::string&) { return bp::object(); });
    }
    void set_item(const bp::object& key, const core::Colour& colour) const {
        Sprite& sprite = owner();
        core::python::set_item(
            key, 4, [&](long i) { sprite.set_colour(int(i), colour); }, [](const std::string&) { return -1L; });
    }
};

}  // namespace engine::graphics::python
