#pragma once

#include <functional>
#include <map>
#include <string>

namespace engine::core {

/// SAX-style XML parser on expat. Derive from it, override the callbacks, and call
/// one of the parse functions: the callbacks run in document order before it returns.
/// Malformed XML stops the parse: the callbacks already made stand, and a warning
/// naming the line is logged (category "core"); nothing is thrown. An exception thrown
/// by a callback ends the parse and leaves the parse function (it never crosses expat's frames).
/// Any thread may parse, one parse per parser at a time, with the callbacks on it.
/// Scripts' sources (paths or file-like objects) go through `parse_xml_source`
/// (core/script/XMLSource.h).
class XMLParser;

/// Where a database's loader gets its document: given the loader's parser, it feeds
/// the parser a document (`parse_text`, `parse_file`, or a script's file object).
using XMLFeed = std::function<void(XMLParser& parser)>;

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

    /// Parses a document held in memory; `name` is used in messages.
    bool parse_text(const std::string& document, const std::string& name = "<text>");
    /// Parses a document known to be UTF-8 whatever its declaration says (text that
    /// came from a Python str); `name` is used in messages.
    bool parse_utf8_text(const std::string& document, const std::string& name = "<text>");
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
