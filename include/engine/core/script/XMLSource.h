#pragma once

#include "engine/core/script/PythonFwd.h"

namespace engine::core {

class XMLParser;

/// Parses what a script gave into `parser`: a path (`str`, resolved through
/// PathDatabase) or a file-like object whose `read()` returns `str` or `bytes`.
/// Script thread only. Returns false on malformed XML or a missing file (both logged);
/// raises `TypeError` (a Python error and boost::python::error_already_set) for any
/// other kind of source.
bool parse_xml_source(XMLParser& parser, PyObject* source);

}  // namespace engine::core
