#include "engine/core/StringUtility.h"

namespace engine::core::StringUtility {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::string::size_type begin = 0;
    while (true) {
        const auto end = text.find(separator, begin);
        if (end == std::string::npos) {
            pieces.push_back(text.substr(begin));
            return pieces;
        }
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

}  // namespace engine::core::StringUtility
