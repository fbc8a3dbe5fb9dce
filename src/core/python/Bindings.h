#pragma once

// The script interface of the core module: one define function per binding file
// (<Name>Bindings.cpp defines define_<name>()), called in this order by Module.cpp.
// The shared helpers (support/) are in this namespace already.
#include "core/python/support/Helpers.h"

#include "engine/core/Colour.h"

#include <string>

namespace engine::core::python {

void define_value_type();     // Vector, IntVector, Colour, Matrix
void define_sequence();       // number sequences wherever a value type is expected
void define_log();            // Log
void define_path_database();  // PathDatabase
void define_factory();        // Factory
void define_xml_parser();     // XMLParser, subclassable

/// A colour from data-file text ("#rrggbb", "#rrggbbaa", "1, 0.5, 0"); ValueError otherwise.
Colour colour_from_text(const std::string& text);

}  // namespace engine::core::python
