#include <boost/python.hpp>

#include "engine/core/XMLParser.h"
#include "engine/core/script/XMLSource.h"

namespace engine::core {

namespace py = boost::python;

namespace {

[[noreturn]] void raise_type_error(const char* message) {
    PyErr_SetString(PyExc_TypeError, message);
    py::throw_error_already_set();
    throw;  // not reached: throw_error_already_set always throws
}

}  // namespace

bool parse_xml_source(XMLParser& parser, PyObject* source) {
    if (PyUnicode_Check(source)) return parser.parse_file(py::extract<std::string>(source));
    if (!PyObject_HasAttrString(source, "read"))
        raise_type_error("XML source must be a path or a file-like object with read().");

    const py::object content = py::object(py::handle<>(py::borrowed(source))).attr("read")();
    if (PyUnicode_Check(content.ptr())) return parser.parse_utf8_text(py::extract<std::string>(content)(), "<stream>");
    if (!PyBytes_Check(content.ptr())) raise_type_error("read() of an XML source must return str or bytes.");
    const std::string document(PyBytes_AS_STRING(content.ptr()), size_t(PyBytes_GET_SIZE(content.ptr())));
    return parser.parse_text(document, "<stream>");
}

}  // namespace engine::core
