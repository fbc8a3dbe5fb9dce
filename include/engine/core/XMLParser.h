#pragma once

#include "engine/core/PythonFwd.h"

#include <map>
#include <string>

namespace engine::core {

/// SAX-style XML parser on expat. Derive from it, override the callbacks, and call
/// `parse` once: the callbacks run in document order before `parse` returns.
/// Malformed XML stops the parse: the callbacks already made stand, and a warning
/// naming the line is logged (category "core"); nothing is thrown. An exception thrown
/// by a callback ends the parse and leaves `parse` (it never crosses expat's frames).
/// `parse` from a script source is for the script thread; `parse_text` and `parse_file`
/// may run on any thread, one parse per parser at a time, with the callbacks on it.
class XMLParser {
public:
    using Attributes = std::map<std::string, std::string>;

    XMLParser() = default;
    XMLParser(const XMLParser&) = delete;
    XMLParser& operator=(const XMLParser&) = delete;
    virtual ~XMLParser() = default;

    /// Every opening tag, with its attributes by name.
    virtual void on_element_start(const std::string& name, const Attributes& attributes);
    /// Every closing tag.
    virtual void on_element_end(const std::string& name);
    /// Character data between tags; adjacent pieces are joined into one call.
    virtual void on_data(const std::string& text);

    /// Parses from what a script gave: a path (`str`, resolved through PathDatabase)
    /// or a file-like object whose `read()` returns `str` or `bytes`. Script thread
    /// only. Returns false on malformed XML or a missing file (both logged); raises
    /// `TypeError` (a Python error and boost::python::error_already_set) for any other
    /// kind of source.
    bool parse(PyObject* source);

    /// Parses a document held in memory; `name` is used in messages.
    bool parse_text(const std::string& document, const std::string& name = "<text>");
    /// Parses a file found through PathDatabase.
    bool parse_file(const std::string& path);

protected:
    /// From a callback: ends the parse under way after this callback. The parse returns
    /// false without a warning: the callback chose to stop, nothing went wrong.
    void stop() { stop_requested_ = true; }
    /// From a callback: the line of the document being read (1 for the first), so that
    /// a loader can say where it found something it skipped; 0 outside a parse.
    unsigned long current_line() const;

private:
    bool parse_document(const std::string& document, const std::string& name, const char* encoding);

    bool stop_requested_ = false;  // a callback asked to end the parse under way
    void* expat_ = nullptr;        // the expat parser of the parse under way, else null
};

}  // namespace engine::core
