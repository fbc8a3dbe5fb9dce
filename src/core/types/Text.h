#pragma once

#include <string>
#include <vector>

namespace engine::core::detail {

/// Numbers of an attribute text separated by commas and/or white space. Returns
/// false when anything but such numbers is present.
bool parse_numbers(const std::string& text, std::vector<double>& out);

}  // namespace engine::core::detail
