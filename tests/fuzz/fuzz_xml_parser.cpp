// Feeds arbitrary bytes to the core XML parser, as a file read through the path
// database would reach it, and checks what the callbacks say about the document.
#include "engine/core/XMLParser.h"

#include "FuzzSupport.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Checks the callbacks as they come: an end always closes the latest open element,
// and character data never arrives in two calls in a row (pieces are joined).
class CheckingParser final : public engine::core::XMLParser {
public:
    void on_element_start(const std::string& name, const Attributes& attributes) override {
        open.push_back(name);
        for (const auto& [key, value] : attributes) bytes_seen += key.size() + value.size();
        last_was_data = false;
    }
    void on_element_end(const std::string& name) override {
        if (open.empty() || open.back() != name) std::abort();
        open.pop_back();
        last_was_data = false;
    }
    void on_data(const std::string& text) override {
        if (last_was_data || text.empty()) std::abort();
        bytes_seen += text.size();
        last_was_data = true;
    }

    std::vector<std::string> open;  // elements started and not yet ended, outermost first
    std::size_t bytes_seen = 0;     // makes every string handed over be read
    bool last_was_data = false;     // the previous callback was on_data
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    engine::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string document(reinterpret_cast<const char*>(data), size);
    CheckingParser parser;
    const bool parsed = parser.parse_text(document, "fuzz");
    // A well-formed document closes every element it opens.
    if (parsed && !parser.open.empty()) std::abort();
    return 0;
}
