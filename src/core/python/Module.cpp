#include <boost/python.hpp>

#include "python/Interfaces.h"

#include "engine/core/Log.h"

BOOST_PYTHON_MODULE(libcore) {
    using namespace engine::core::python;
    define_value_types();
    define_conversions();
    define_functions();
    define_log();
    define_path_database();
    define_factory();
    define_xml_parser();
    engine::core::Log::enable_python_logging();
}
