#include "python/Bindings.h"

#include "engine/core/PathDatabase.h"

#include <string>

namespace engine::core::python {

namespace {

// An empty tag under which the namespace PathDatabase appears to scripts as a class
// of static methods.
struct PathDatabaseScope {};

bp::list path_roots() {
    bp::list result;
    for (const std::string& root : PathDatabase::roots()) result.append(root);
    return result;
}

bp::object path_read(const std::string& path) {
    std::string content;
    if (!PathDatabase::read(path, content))
        raise(PyExc_FileNotFoundError, "No such file in the path database: '" + path + "'.");
    return bp::object(bp::handle<>(PyBytes_FromStringAndSize(content.data(), Py_ssize_t(content.size()))));
}

}  // namespace

void define_path_database() {
    bp::class_<PathDatabaseScope>("PathDatabase",
                                  "PathDatabase\n\n"
                                  "Where data files are found: relative paths are looked up in the working directory,\n"
                                  "then in each root added, in order.",
                                  bp::no_init)
        .def("add_root", &PathDatabase::add_root, bp::arg("directory"),
             "add_root(directory: str) -> None\n\n"
             "Looks for data files in directory too, after the roots added before it.")
        .staticmethod("add_root")
        .def("remove_root", &PathDatabase::remove_root, bp::arg("directory"),
             "remove_root(directory: str) -> None\n\n"
             "Stops looking in directory.")
        .staticmethod("remove_root")
        .def("roots", &path_roots,
             "roots() -> list[str]\n\n"
             "The roots, in search order (the working directory comes after them).")
        .staticmethod("roots")
        .def("exists", &PathDatabase::exists, bp::arg("path"),
             "exists(path: str) -> bool\n\n"
             "Whether path names a file under a root or in the working directory.")
        .staticmethod("exists")
        .def("resolve", &PathDatabase::resolve, bp::arg("path"),
             "resolve(path: str) -> str\n\n"
             "The file that path finds, or '' when there is none.")
        .staticmethod("resolve")
        .def("read", &path_read, bp::arg("path"),
             "read(path: str) -> bytes\n\n"
             "The contents of the file that path finds.")
        .staticmethod("read");
}

}  // namespace engine::core::python
