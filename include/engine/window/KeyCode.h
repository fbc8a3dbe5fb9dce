#pragma once

namespace engine::key {

/// The engine's key enumeration, independent of the windowing library. Letters and
/// digits keep their ASCII values, so `KeyCode('a')` is the A key.
enum KeyCode {
    UNKNOWN = 0,
    BACKSPACE = 8,
    TAB = 9,
    RETURN = 13,
    ESCAPE = 27,
    SPACE = 32,
    QUOTE = 39,
    COMMA = 44,
    MINUS = 45,
    PERIOD = 46,
    SLASH = 47,
    NUM_0 = 48, NUM_1, NUM_2, NUM_3, NUM_4, NUM_5, NUM_6, NUM_7, NUM_8, NUM_9,
    SEMICOLON = 59,
    EQUALS = 61,
    LEFT_BRACKET = 91,
    BACKSLASH = 92,
    RIGHT_BRACKET = 93,
    BACKQUOTE = 96,
    A = 97, B, C, D, E, F, G, H, I, J, K, L, M, N, O, P, Q, R, S, T, U, V, W, X, Y, Z,
    DELETE = 127,
    UP = 256, DOWN, LEFT, RIGHT,
    INSERT, HOME, END, PAGE_UP, PAGE_DOWN,
    F1, F2, F3, F4, F5, F6, F7, F8, F9, F10, F11, F12,
    LEFT_SHIFT, RIGHT_SHIFT, LEFT_CTRL, RIGHT_CTRL, LEFT_ALT, RIGHT_ALT,
    CAPS_LOCK,
    KP_0, KP_1, KP_2, KP_3, KP_4, KP_5, KP_6, KP_7, KP_8, KP_9,
    KP_PERIOD, KP_DIVIDE, KP_MULTIPLY, KP_MINUS, KP_PLUS, KP_ENTER,
    PAUSE, PRINT_SCREEN,
};

}  // namespace engine::key
