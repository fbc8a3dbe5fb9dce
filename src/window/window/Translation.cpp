#include <SDL.h>

#include "window/Translation.h"

namespace engine::window {

key::KeyCode key_from_sdl(std::int32_t sdl_keycode) {
    using namespace key;
    switch (sdl_keycode) {
        // SDL gives printable keys their (lower-case) ASCII value, as the engine does.
        case SDLK_BACKSPACE:
        case SDLK_TAB:
        case SDLK_RETURN:
        case SDLK_ESCAPE:
        case SDLK_SPACE:
        case SDLK_QUOTE:
        case SDLK_COMMA:
        case SDLK_MINUS:
        case SDLK_PERIOD:
        case SDLK_SLASH:
        case SDLK_SEMICOLON:
        case SDLK_EQUALS:
        case SDLK_LEFTBRACKET:
        case SDLK_BACKSLASH:
        case SDLK_RIGHTBRACKET:
        case SDLK_BACKQUOTE:
        case SDLK_DELETE:
            return KeyCode(sdl_keycode);
        case SDLK_UP:
            return UP;
        case SDLK_DOWN:
            return DOWN;
        case SDLK_LEFT:
            return LEFT;
        case SDLK_RIGHT:
            return RIGHT;
        case SDLK_INSERT:
            return INSERT;
        case SDLK_HOME:
            return HOME;
        case SDLK_END:
            return END;
        case SDLK_PAGEUP:
            return PAGE_UP;
        case SDLK_PAGEDOWN:
            return PAGE_DOWN;
        case SDLK_F1:
            return F1;
        case SDLK_F2:
            return F2;
        case SDLK_F3:
            return F3;
        case SDLK_F4:
            return F4;
        case SDLK_F5:
            return F5;
        case SDLK_F6:
            return F6;
        case SDLK_F7:
            return F7;
        case SDLK_F8:
            return F8;
        case SDLK_F9:
            return F9;
        case SDLK_F10:
            return F10;
        case SDLK_F11:
            return F11;
        case SDLK_F12:
            return F12;
        case SDLK_LSHIFT:
            return LEFT_SHIFT;
        case SDLK_RSHIFT:
            return RIGHT_SHIFT;
        case SDLK_LCTRL:
            return LEFT_CTRL;
        case SDLK_RCTRL:
            return RIGHT_CTRL;
        case SDLK_LALT:
            return LEFT_ALT;
        case SDLK_RALT:
            return RIGHT_ALT;
        case SDLK_CAPSLOCK:
            return CAPS_LOCK;
        case SDLK_KP_0:
            return KP_0;
        case SDLK_KP_1:
            return KP_1;
        case SDLK_KP_2:
            return KP_2;
        case SDLK_KP_3:
            return KP_3;
        case SDLK_KP_4:
            return KP_4;
        case SDLK_KP_5:
            return KP_5;
        case SDLK_KP_6:
            return KP_6;
        case SDLK_KP_7:
            return KP_7;
        case SDLK_KP_8:
            return KP_8;
        case SDLK_KP_9:
            return KP_9;
        case SDLK_KP_PERIOD:
            return KP_PERIOD;
        case SDLK_KP_DIVIDE:
            return KP_DIVIDE;
        case SDLK_KP_MULTIPLY:
            return KP_MULTIPLY;
        case SDLK_KP_MINUS:
            return KP_MINUS;
        case SDLK_KP_PLUS:
            return KP_PLUS;
        case SDLK_KP_ENTER:
            return KP_ENTER;
        case SDLK_PAUSE:
            return PAUSE;
        case SDLK_PRINTSCREEN:
            return PRINT_SCREEN;
        default:
            break;
    }
    if ((sdl_keycode >= SDLK_a && sdl_keycode <= SDLK_z) || (sdl_keycode >= SDLK_0 && sdl_keycode <= SDLK_9))
        return KeyCode(sdl_keycode);
    return UNKNOWN;
}

std::vector<std::uint32_t> utf8_code_points(const char* text) {
    std::vector<std::uint32_t> result;
    if (!text) return result;
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p) {
        const unsigned char lead = *p;
        int length;
        std::uint32_t code;
        if (lead < 0x80) {
            length = 1, code = lead;
        } else if ((lead & 0xe0) == 0xc0) {
            length = 2, code = lead & 0x1f;
        } else if ((lead & 0xf0) == 0xe0) {
            length = 3, code = lead & 0x0f;
        } else if ((lead & 0xf8) == 0xf0) {
            length = 4, code = lead & 0x07;
        } else {
            ++p;  // a stray continuation byte or an invalid lead byte
            continue;
        }
        int i = 1;
        for (; i < length; ++i) {
            if ((p[i] & 0xc0) != 0x80) break;  // also stops at the terminating NUL
            code = (code << 6) | (p[i] & 0x3f);
        }
        if (i < length) {
            p += i;  // truncated sequence: resume at the byte that broke it
            continue;
        }
        p += length;
        static const std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        const bool valid = code >= smallest[length] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
        if (valid) result.push_back(code);
    }
    return result;
}

}  // namespace engine::window
