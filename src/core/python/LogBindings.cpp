#include "python/Bindings.h"

#include "engine/core/Log.h"

#include <string>

namespace engine::core::python {

namespace {

// An empty tag under which the namespace Log appears to scripts as a class of static
// methods.
struct LogScope {};

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

void define_log() {
    bp::class_<LogScope>("Log",
                         "Log\n\n"
                         "The engine's log, for scripts: lines under a category go to Python's logging as\n"
                         "\"engine.<category>\" (info, warning, error). flush() writes out lines still queued.",
                         bp::no_init)
        .def("info", &log_info, (bp::arg("category"), bp::arg("message")),
             "info(category: str, message: str) -> None\n\n"
             "Logs message under \"engine.<category>\" at the INFO level.")
        .staticmethod("info")
        .def("warning", &log_warning, (bp::arg("category"), bp::arg("message")),
             "warning(category: str, message: str) -> None\n\n"
             "Logs message under \"engine.<category>\" at the WARNING level.")
        .staticmethod("warning")
        .def("error", &log_error, (bp::arg("category"), bp::arg("message")),
             "error(category: str, message: str) -> None\n\n"
             "Logs message under \"engine.<category>\" at the ERROR level.")
        .staticmethod("error")
        .def("flush", &Log::flush,
             "flush() -> None\n\n"
             "Hands the lines still queued to Python's logging now.")
        .staticmethod("flush");
}

}  // namespace engine::core::python
