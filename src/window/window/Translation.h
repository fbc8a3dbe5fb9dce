#pragma once

#include "engine/window/KeyCode.h"

#include <cstdint>
#include <vector>

// SDL's event data in the engine's terms. Kept apart from Window.cpp so that the
// mapping can be tested without a window.
namespace engine::window {

/// The engine key for an SDL keycode (SDL_Keycode); UNKNOWN for keys the engine has no
/// name for.
key::KeyCode key_from_sdl(std::int32_t sdl_keycode);

/// The Unicode code points of UTF-8 `text` (NUL-terminated). Malformed sequences,
/// overlong forms and surrogates are skipped, never passed on.
std::vector<std::uint32_t> utf8_code_points(const char* text);

}  // namespace engine::window
