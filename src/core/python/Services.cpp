#include <boost/python.hpp>
#include <boost/python/raw_function.hpp>

#include "python/Interfaces.h"

#include "engine/core/Factory.h"
#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/core/PathDatabase.h"
#include "engine/core/Python.h"
#include "core/python/support/Helpers.h"

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

bp::list path_roots() {
    bp::list result;
    for (const std::string& root : PathDatabase::roots()) result.append(root);
    return result;
}

bp::object path_read(const std::string& path) {
    std::string content;
    if (!PathDatabase::read(path, content)) {
        PyErr_SetString(PyExc_FileNotFoundError, ("No such file in the path database: '" + path + "'.").c_str());
        bp::throw_error_already_set();
    }
    return bp::object(bp::handle<>(PyBytes_FromStringAndSize(content.data(), Py_ssize_t(content.size()))));
}

void factory_register(const std::string& name, bp::object cls) {
    if (!PyType_Check(cls.ptr())) raise(PyExc_TypeError, "Factory.register_class needs a class.");
    Factory::register_class(name, cls.ptr());
}

bp::object factory_get(const std::string& name) {
    PyObject* cls = Factory::get_class(name);
    return cls ? bp::object(bp::handle<>(bp::borrowed(cls))) : bp::object();
}

// Factory.new_object(name, *args)
bp::object factory_new(bp::tuple args, bp::dict keywords) {
    if (bp::len(keywords) != 0) raise(PyExc_TypeError, "Factory.new_object takes no keyword arguments.");
    if (bp::len(args) < 1) raise(PyExc_TypeError, "Factory.new_object needs a class name.");
    const bp::extract<std::string> name(args[0]);
    if (!name.check()) raise(PyExc_TypeError, "Factory.new_object needs a class name as a str.");
    const bp::tuple rest(args.slice(1, bp::_));
    return bp::object(bp::handle<>(Factory::new_object_raw(name(), rest.ptr())));
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

void log_info(const std::string& category, const std::string& message) {
    Log::info(category.c_str(), "%s", message.c_str());
}
void log_warning(const std::string& category, const std::string& message) {
    Log::warning(category.c_str(), "%s", message.c_str());
}
void log_error(const std::string& category, const std::string& message) {
    Log::error(category.c_str(), "%s", message.c_str());
}

}  // namespace

void define_functions() {
    bp::def("normalise_angle", &normalise_angle, bp::arg("angle"));
    bp::def("random", &random_any, bp::arg("n"));
    bp::def("seed_random", &seed_random, bp::arg("seed"));
    bp::def("set_script_errors", &set_script_errors_by_name, bp::arg("mode"),
            "set_script_errors(mode: str) -> None\n\n"
            "What an exception raised in an engine hook or listener does: \"report\" (the default)\n"
            "prints it through sys.unraisablehook and the engine call goes on; \"raise\" makes it\n"
            "come out of the engine call that ran the hook. SystemExit and KeyboardInterrupt\n"
            "always come out.");
    bp::def("get_script_errors", &get_script_errors_name, "get_script_errors() -> str");
}

void define_log() {
    bp::class_<LogScope>("Log", bp::no_init)
        .def("info", &log_info, (bp::arg("category"), bp::arg("message")))
        .staticmethod("info")
        .def("warning", &log_warning, (bp::arg("category"), bp::arg("message")))
        .staticmethod("warning")
        .def("error", &log_error, (bp::arg("category"), bp::arg("message")))
        .staticmethod("error")
        .def("flush", &Log::flush)
        .staticmethod("flush");
}

void define_path_database() {
    bp::class_<PathDatabaseScope>("PathDatabase", bp::no_init)
        .def("add_root", &PathDatabase::add_root, bp::arg("directory"))
        .staticmethod("add_root")
        .def("remove_root", &PathDatabase::remove_root, bp::arg("directory"))
        .staticmethod("remove_root")
        .def("roots", &path_roots)
        .staticmethod("roots")
        .def("exists", &PathDatabase::exists, bp::arg("path"))
        .staticmethod("exists")
        .def("resolve", &PathDatabase::resolve, bp::arg("path"))
        .staticmethod("resolve")
        .def("read", &path_read, bp::arg("path"))
        .staticmethod("read");
}

void define_factory() {
    bp::class_<FactoryScope>("Factory", bp::no_init)
        .def("register_class", &factory_register, (bp::arg("name"), bp::arg("cls")))
        .staticmethod("register_class")
        .def("get_class", &factory_get, bp::arg("name"))
        .staticmethod("get_class")
        .def("new_object", bp::raw_function(&factory_new, 1))
        .staticmethod("new_object");
}

}  // namespace engine::core::python
