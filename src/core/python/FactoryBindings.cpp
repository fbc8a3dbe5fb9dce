#include "python/Bindings.h"

#include "engine/core/script/Factory.h"

#include <boost/python/raw_function.hpp>

namespace engine::core::python {

namespace {

// An empty tag under which the namespace Factory appears to scripts as a class of
// static methods.
struct FactoryScope {};

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

}  // namespace

void define_factory() {
    bp::class_<FactoryScope>("Factory",
                             "Factory\n\n"
                             "Classes by name, for data files and the modules' singletons: a script class\n"
                             "registered under an engine class's name is made wherever that name is created.",
                             bp::no_init)
        .def("register_class", &factory_register, (bp::arg("name"), bp::arg("cls")),
             "register_class(name: str, cls: type) -> None\n\n"
             "Makes every creation of name by the engine or by new_object make cls.")
        .staticmethod("register_class")
        .def("get_class", &factory_get, bp::arg("name"),
             "get_class(name: str) -> type | None\n\n"
             "The class registered under name, or None.")
        .staticmethod("get_class")
        .def("new_object", bp::raw_function(&factory_new, 1),
             "new_object(name: str, /, *args: Any) -> Any\n\n"
             "An instance of the class registered under name, made with args; KeyError when no class is.")
        .staticmethod("new_object");
}

}  // namespace engine::core::python
