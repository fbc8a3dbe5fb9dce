#pragma once

// Forward declarations that let headers name Python objects without pulling in
// Python.h or Boost.Python; binding code includes those itself. Names only: whatever
// uses them says which thread may.
struct _object;
typedef struct _object PyObject;

namespace boost::python::api {
class object;
}

namespace engine::core {
using PythonObject = boost::python::api::object;
}
