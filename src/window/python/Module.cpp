#include <boost/python.hpp>

#include "python/Interfaces.h"

BOOST_PYTHON_MODULE(libwindow) {
    namespace bp = boost::python;
    // The value types (IntVector, Matrix) and their converters come from libcore.
    bp::import("libcore");
    using namespace engine::window::python;
    define_key();
    define_video_mode();
    define_window();
    define_window_listener();
    define_opengl();
}
