#pragma once

#include <string>
#include <vector>

namespace engine::core {

/// Pure functions on strings: any thread.
namespace StringUtility {

/// The pieces of `text` between separators, empty pieces included: "a,,b" gives
/// {"a", "", "b"}, and "" gives {""}.
std::vector<std::string> split(const std::string& text, char separator);

}  // namespace StringUtility
}  // namespace engine::core
