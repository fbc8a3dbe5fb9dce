#pragma once

// The script interface of the core module, one definition function per class or
// family, called in this order by the module entry.
namespace engine::core::python {

void define_value_types();  // Vector, IntVector, Colour, Matrix
void define_conversions();  // sequences where value types are expected
void define_functions();    // normalise_angle, random, seed_random
void define_log();
void define_path_database();
void define_factory();
void define_xml_parser();

}  // namespace engine::core::python

namespace engine::core::python {
// Empty tags under which the namespaces Log, PathDatabase and Factory appear to
// scripts as classes of static methods.
struct LogScope {};
struct PathDatabaseScope {};
struct FactoryScope {};
}  // namespace engine::core::python
