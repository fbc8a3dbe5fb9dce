#pragma once

// An XML parser that records its callbacks, and checks on what it recorded; shared by
// the parser's native tests and those of scripts' sources.
#include "engine/core/XMLParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace engine::core::test {

// Records every callback as one line of text, in the order they came.
class RecordingParser : public engine::core::XMLParser {
public:
    void on_element_start(const std::string& name, const Attributes& attributes) override {
        std::string line = "start " + name;
        for (const auto& [key, value] : attributes) line += " " + key + "=" + value;
        events.push_back(line);
        last_attributes = attributes;
    }
    void on_element_end(const std::string& name) override { events.push_back("end " + name); }
    void on_data(const std::string& text) override { events.push_back("data [" + text + "]"); }

    std::vector<std::string> events;
    Attributes last_attributes;
};

using Events = std::vector<std::string>;

// Whether `events` begins with `prefix`; prints both when not.
inline ::testing::AssertionResult starts_with(const Events& events, const Events& prefix) {
    if (events.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), events.begin()))
        return ::testing::AssertionSuccess();
    auto result = ::testing::AssertionFailure() << "events:";
    for (const std::string& e : events) result << " {" << e << "}";
    result << "\ndo not begin with:";
    for (const std::string& e : prefix) result << " {" << e << "}";
    return result;
}

// The callbacks a well-formed document gives, in order.
inline Events events_of(const std::string& text) {
    RecordingParser parser;
    EXPECT_TRUE(parser.parse_text(text)) << text;
    return parser.events;
}

inline bool mentions(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace engine::core::test
