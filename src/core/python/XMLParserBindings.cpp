#include "python/Bindings.h"

#include "engine/core/XMLParser.h"
#include "engine/core/script/XMLSource.h"

namespace engine::core::python {

namespace {

// Script subclasses of XMLParser receive the callbacks they define.
class XMLParserWrapper : public XMLParser {
public:
    explicit XMLParserWrapper(PyObject* self)
        : self_(self),
          start_(overrides<XMLParser>(self, "on_element_start")),
          end_(overrides<XMLParser>(self, "on_element_end")),
          data_(overrides<XMLParser>(self, "on_data")) {}

    void on_element_start(const std::string& name, const Attributes& attributes) override {
        if (!start_) return;
        bp::dict map;
        for (const auto& [key, value] : attributes) map[key] = value;
        call("on_element_start", bp::make_tuple(name, map));
    }
    void on_element_end(const std::string& name) override {
        if (end_) call("on_element_end", bp::make_tuple(name));
    }
    void on_data(const std::string& text) override {
        if (data_) call("on_data", bp::make_tuple(text));
    }

private:
    // An exception that must leave the engine (see call_method) ends the parse here.
    void call(const char* name, const bp::tuple& args) {
        call_method(self_, name, args.ptr());
        if (is_script_error_held()) stop();
    }

    PyObject* self_;           // the owning Python object, borrowed
    bool start_, end_, data_;  // which callbacks the script class defines
};

bool parse(XMLParser& parser, bp::object source) { return parse_xml_source(parser, source.ptr()); }

}  // namespace

void define_xml_parser() {
    bp::class_<XMLParser, XMLParserWrapper, boost::noncopyable>(
        "XMLParser",
        "XMLParser()\n\n"
        "A SAX parser for a script's own data formats: subclass it and define\n"
        "on_element_start(name, attributes), on_element_end(name) and on_data(text);\n"
        "parse() reads a path or a file-like object.",
        bp::init<>())
        .def("parse", &parse, bp::arg("source"),
             "parse(source: str | IO[str] | IO[bytes]) -> bool\n\n"
             "Reads a path or a file-like object, calling the parser's hooks in document order;\n"
             "False when the XML is malformed (the hooks already called stand, a warning is logged).");
}

}  // namespace engine::core::python
