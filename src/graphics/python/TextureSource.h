#pragma once

#include "python/Bindings.h"

#include "engine/graphics/Texture.h"

#include <string>

namespace engine::graphics::python {

/// Calls `apply(texture)` with the texture a script passed: a Texture, or a path that
/// makes one. TypeError for anything else, naming `function`.
template <class Apply>
void with_texture_source(const bp::object& source, const char* function, Apply apply) {
    bp::extract<const Texture&> texture(source);
    if (texture.check()) return apply(texture());
    if (PyUnicode_Check(source.ptr())) return apply(Texture(std::string(bp::extract<std::string>(source))));
    raise(PyExc_TypeError, std::string(function) + "() takes a Texture or a path.");
}

}  // namespace engine::graphics::python
