#include "python/Bindings.h"

#include "core/python/support/ArgumentErrors.h"
#include "core/python/support/ObjectWrapper.h"

#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/core/ScriptHooks.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Object.h"
#include "engine/core/script/Python.h"
#include "engine/core/script/PythonLog.h"

#include <string>

namespace engine::core::python {

namespace {

bp::object random_int(bp::object n) {
    const long long value = bp::extract<long long>(n);
    if (value < 0 || value > 0xffffffffLL) raise(PyExc_ValueError, "random() takes a count in [0, 2**32).");
    return bp::object(random(static_cast<unsigned int>(value)));
}

// An int argument picks the integer variant, anything else numeric the float one.
bp::object random_any(bp::object x) {
    if (PyLong_Check(x.ptr())) return random_int(x);
    return bp::object(random(bp::extract<float>(x)()));
}

void set_script_errors_by_name(const std::string& mode) {
    if (mode == "report")
        set_script_errors(ScriptErrors::Report);
    else if (mode == "raise")
        set_script_errors(ScriptErrors::Raise);
    else
        raise(PyExc_ValueError, "set_script_errors() takes \"report\" or \"raise\", got \"" + mode + "\".");
}

std::string get_script_errors_name() { return get_script_errors() == ScriptErrors::Raise ? "raise" : "report"; }

// What the engine holds, for leak checks that must not read the process's size (the
// sanitizers' allocator keeps freed memory).
bp::dict live_counts() {
    bp::dict counts;
    counts["objects"] = Object::live_count();
    counts["shared_objects"] = SharedObject::live_count();
    return counts;
}

// The module's functions that belong to no class.
void define_functions() {
    bp::def("normalise_angle", &normalise_angle, bp::arg("angle"),
            "normalise_angle(angle: float) -> float\n\n"
            "The same angle in radians, in (-pi, pi].");
    bp::def("random", &random_any, bp::arg("n"),
            "random(n: int) -> int\n"
            "random(n: float) -> float\n\n"
            "A uniform random int in [0, n) for an int (0 for 0), a float in [0, n) for a float.");
    bp::def("seed_random", &seed_random, bp::arg("seed"),
            "seed_random(seed: int) -> None\n\n"
            "Restarts the engine's random sequence (random()) from seed.");
    bp::def("set_script_errors", &set_script_errors_by_name, bp::arg("mode"),
            "set_script_errors(mode: str) -> None\n\n"
            "What an exception raised in an engine hook or listener does: \"report\" (the default)\n"
            "prints it through sys.unraisablehook and the engine call goes on; \"raise\" makes it\n"
            "come out of the engine call that ran the hook. SystemExit and KeyboardInterrupt\n"
            "always come out.");
    bp::def("get_script_errors", &get_script_errors_name,
            "get_script_errors() -> str\n\n"
            "What an exception raised in a hook does: \"report\" or \"raise\" (set_script_errors).");
    bp::def("_live_counts", &live_counts,
            "_live_counts() -> dict[str, int]\n\n"
            "How many engine objects are alive: \"objects\" (script-visible ones, made by scripts\n"
            "or by the engine) and \"shared_objects\" (shared native data: texture pictures,\n"
            "records). The tests' leak checks compare them before and after.");
}

}  // namespace

}  // namespace engine::core::python

BOOST_PYTHON_MODULE(libcore) {
    using namespace engine::core::python;
    const ScriptDocstrings docstrings;
    install_self_hooks();
    engine::core::set_script_hooks({&engine::core::is_script_error_held});
    install_argument_errors();
    define_value_copies();
    define_value_type();
    define_sequence();
    define_functions();
    define_log();
    define_path_database();
    define_factory();
    define_xml_parser();
    engine::core::PythonLog::enable();
    bp::scope().attr("_seal_value_copies")(bp::scope());
}
