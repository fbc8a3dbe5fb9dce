#include "engine/core/XMLParser.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"

#include <expat.h>

#include <exception>
#include <memory>

namespace engine::core {

namespace {

// Joins expat's pieces of character data and hands them over before the next tag.
// Callbacks run inside expat, which is C: an exception of theirs is caught here, ends
// the parse, and is thrown again once expat has returned.
struct ParseContext {
    XMLParser* parser;
    XML_Parser expat;
    const bool& stop_requested;
    std::string data;
    std::exception_ptr error;
    bool entity_refused = false;  // stopped because the document declares an entity

    void flush_data() {
        if (data.empty()) return;
        std::string text;
        text.swap(data);
        parser->on_data(text);
    }

    template <class Callback>
    void run(Callback callback) {
        if (error) return;
        try {
            flush_data();
            callback();
        } catch (...) {
            error = std::current_exception();
        }
        if (error || stop_requested) XML_StopParser(expat, XML_FALSE);
    }
};

void XMLCALL start_element(void* user, const XML_Char* name, const XML_Char** attributes) {
    auto* context = static_cast<ParseContext*>(user);
    context->run([&] {
        XMLParser::Attributes map;
        for (int i = 0; attributes[i]; i += 2) map[attributes[i]] = attributes[i + 1];
        context->parser->on_element_start(name, map);
    });
}

void XMLCALL end_element(void* user, const XML_Char* name) {
    auto* context = static_cast<ParseContext*>(user);
    context->run([&] { context->parser->on_element_end(name); });
}

void XMLCALL character_data(void* user, const XML_Char* text, int length) {
    static_cast<ParseContext*>(user)->data.append(text, size_t(length));
}

// A document may not declare entities: an internal one can multiply into gigabytes of
// text (billion laughs) and an external one names a file outside the document. The
// parse stops at the declaration, before any expansion; the predefined entities
// (&amp; &lt; &gt; &quot; &apos;) and character references need no declaration.
void XMLCALL refuse_entity(void* user, const XML_Char*, int, const XML_Char*, int, const XML_Char*, const XML_Char*,
                           const XML_Char*, const XML_Char*) {
    auto* context = static_cast<ParseContext*>(user);
    context->entity_refused = true;
    XML_StopParser(context->expat, XML_FALSE);
}

struct ExpatDeleter {
    void operator()(XML_Parser p) const { XML_ParserFree(p); }
};

}  // namespace

void XMLParser::on_element_start(const std::string&, const Attributes&) {}
void XMLParser::on_element_end(const std::string&) {}
void XMLParser::on_data(const std::string&) {}

unsigned long XMLParser::current_line() const {
    return expat_ ? static_cast<unsigned long>(XML_GetCurrentLineNumber(static_cast<XML_Parser>(expat_))) : 0;
}

bool XMLParser::parse_text(const std::string& document, const std::string& name) {
    return parse_document(document, name, nullptr);
}

bool XMLParser::parse_utf8_text(const std::string& document, const std::string& name) {
    return parse_document(document, name, "UTF-8");
}

bool XMLParser::parse_document(const std::string& document, const std::string& name, const char* encoding) {
    // Without a forced encoding the document's own declaration (or its byte-order mark)
    // decides; text that came from a Python str is UTF-8 whatever it declares.
    std::unique_ptr<XML_ParserStruct, ExpatDeleter> expat(XML_ParserCreate(encoding));
    stop_requested_ = false;
    ParseContext context{this, expat.get(), stop_requested_, {}, {}};
    // Forgotten on every way out, so that current_line() never reads a freed parser.
    struct CurrentParser {
        void*& slot;
        ~CurrentParser() { slot = nullptr; }
    } current{expat_};
    expat_ = expat.get();
    XML_SetUserData(expat.get(), &context);
    XML_SetElementHandler(expat.get(), start_element, end_element);
    XML_SetCharacterDataHandler(expat.get(), character_data);
    XML_SetEntityDeclHandler(expat.get(), refuse_entity);
    const XML_Status status = XML_Parse(expat.get(), document.data(), int(document.size()), XML_TRUE);
    if (context.error) std::rethrow_exception(context.error);
    if (stop_requested_) return false;
    if (status == XML_STATUS_OK) {
        context.run([] {});  // the trailing character data
        if (context.error) std::rethrow_exception(context.error);
        return !stop_requested_;
    }
    Log::warning(
        "core", "XML error in %s at line %lu: %s", name.c_str(),
        static_cast<unsigned long>(XML_GetCurrentLineNumber(expat.get())),
        context.entity_refused ? "entity declarations are refused" : XML_ErrorString(XML_GetErrorCode(expat.get())));
    return false;
}

bool XMLParser::parse_file(const std::string& path) {
    std::string document;
    if (!PathDatabase::read(path, document)) {
        Log::warning("core", "Cannot open XML file '%s'.", path.c_str());
        return false;
    }
    return parse_text(document, "'" + path + "'");
}

}  // namespace engine::core
