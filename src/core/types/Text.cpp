#include "types/Text.h"

#include <cctype>
#include <cstdlib>

namespace engine::core::detail {

bool parse_numbers(const std::string& text, std::vector<double>& out) {
    out.clear();
    const char* p = text.c_str();
    bool expect_number = true;  // a comma needs a number after it
    while (true) {
        while (std::isspace(static_cast<unsigned char>(*p))) ++p;
        if (*p == '\0') return !out.empty() && !expect_number;
        if (*p == ',') {
            if (expect_number) return false;  // ",," or a leading comma
            expect_number = true;
            ++p;
            continue;
        }
        char* end = nullptr;
        const double value = std::strtod(p, &end);
        if (end == p) return false;
        out.push_back(value);
        expect_number = false;
        p = end;
        if (*p != '\0' && *p != ',' && !std::isspace(static_cast<unsigned char>(*p))) return false;
    }
}

}  // namespace engine::core::detail
