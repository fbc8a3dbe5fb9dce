#include "engine/core/Colour.h"

#include "engine/core/Maths.h"
#include "types/Text.h"

#include <cctype>
#include <vector>

namespace engine::core {

namespace {

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

bool parse_hex(const std::string& text, Colour& out) {
    if (text.size() != 7 && text.size() != 9) return false;
    float channels[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        const int hi = hex_digit(text[i + 1]);
        const int lo = hex_digit(text[i + 2]);
        if (hi < 0 || lo < 0) return false;
        channels[i / 2] = float(hi * 16 + lo) / 255.0f;
    }
    out = Colour(channels[0], channels[1], channels[2], channels[3]);
    return true;
}

std::string trimmed(const std::string& text) {
    size_t begin = 0, end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

}  // namespace

Colour::Colour(const std::string& text) { parse(text, *this); }

bool Colour::parse(const std::string& text, Colour& out) {
    const std::string t = trimmed(text);
    if (!t.empty() && t[0] == '#') return parse_hex(t, out);
    std::vector<double> n;
    if (!detail::parse_numbers(t, n) || (n.size() != 3 && n.size() != 4)) return false;
    out = Colour(float(n[0]), float(n[1]), float(n[2]), n.size() == 4 ? float(n[3]) : 1.0f);
    return true;
}

std::string Colour::to_string() const {
    return format_float(r) + ", " + format_float(g) + ", " + format_float(b) + ", " + format_float(a);
}

}  // namespace engine::core
