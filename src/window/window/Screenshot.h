#pragma once

#include <string>

namespace engine::window {

struct Pixels;

/// Writes RGBA pixels (rows top first) as an 8-bit RGBA PNG file. On failure returns
/// false with the reason in `error`; a partly written file may remain.
bool write_png(const std::string& path, const Pixels& pixels, std::string& error);

}  // namespace engine::window
