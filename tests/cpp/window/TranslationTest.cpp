#include <SDL2/SDL_keycode.h>

#include "window/Translation.h"

#include <gtest/gtest.h>

using engine::window::key_from_sdl;
using engine::window::utf8_code_points;
namespace key = engine::key;

TEST(KeyFromSdl, LettersAndDigitsKeepTheirAsciiValues) {
    EXPECT_EQ(key_from_sdl(SDLK_a), key::A);
    EXPECT_EQ(key_from_sdl(SDLK_z), key::Z);
    EXPECT_EQ(key_from_sdl(SDLK_0), key::NUM_0);
    EXPECT_EQ(key_from_sdl(SDLK_9), key::NUM_9);
    EXPECT_EQ(key::A, key::KeyCode('a'));
}

TEST(KeyFromSdl, PunctuationAndControlKeys) {
    EXPECT_EQ(key_from_sdl(SDLK_RETURN), key::RETURN);
    EXPECT_EQ(key_from_sdl(SDLK_ESCAPE), key::ESCAPE);
    EXPECT_EQ(key_from_sdl(SDLK_BACKSPACE), key::BACKSPACE);
    EXPECT_EQ(key_from_sdl(SDLK_TAB), key::TAB);
    EXPECT_EQ(key_from_sdl(SDLK_SPACE), key::SPACE);
    EXPECT_EQ(key_from_sdl(SDLK_DELETE), key::DELETE);
    EXPECT_EQ(key_from_sdl(SDLK_QUOTE), key::QUOTE);
    EXPECT_EQ(key_from_sdl(SDLK_COMMA), key::COMMA);
    EXPECT_EQ(key_from_sdl(SDLK_MINUS), key::MINUS);
    EXPECT_EQ(key_from_sdl(SDLK_PERIOD), key::PERIOD);
    EXPECT_EQ(key_from_sdl(SDLK_SLASH), key::SLASH);
    EXPECT_EQ(key_from_sdl(SDLK_SEMICOLON), key::SEMICOLON);
    EXPECT_EQ(key_from_sdl(SDLK_EQUALS), key::EQUALS);
    EXPECT_EQ(key_from_sdl(SDLK_LEFTBRACKET), key::LEFT_BRACKET);
    EXPECT_EQ(key_from_sdl(SDLK_BACKSLASH), key::BACKSLASH);
    EXPECT_EQ(key_from_sdl(SDLK_RIGHTBRACKET), key::RIGHT_BRACKET);
    EXPECT_EQ(key_from_sdl(SDLK_BACKQUOTE), key::BACKQUOTE);
}

TEST(KeyFromSdl, NavigationFunctionAndModifierKeys) {
    EXPECT_EQ(key_from_sdl(SDLK_UP), key::UP);
    EXPECT_EQ(key_from_sdl(SDLK_DOWN), key::DOWN);
    EXPECT_EQ(key_from_sdl(SDLK_LEFT), key::LEFT);
    EXPECT_EQ(key_from_sdl(SDLK_RIGHT), key::RIGHT);
    EXPECT_EQ(key_from_sdl(SDLK_INSERT), key::INSERT);
    EXPECT_EQ(key_from_sdl(SDLK_HOME), key::HOME);
    EXPECT_EQ(key_from_sdl(SDLK_END), key::END);
    EXPECT_EQ(key_from_sdl(SDLK_PAGEUP), key::PAGE_UP);
    EXPECT_EQ(key_from_sdl(SDLK_PAGEDOWN), key::PAGE_DOWN);
    EXPECT_EQ(key_from_sdl(SDLK_F1), key::F1);
    EXPECT_EQ(key_from_sdl(SDLK_F12), key::F12);
    EXPECT_EQ(key_from_sdl(SDLK_LSHIFT), key::LEFT_SHIFT);
    EXPECT_EQ(key_from_sdl(SDLK_RSHIFT), key::RIGHT_SHIFT);
    EXPECT_EQ(key_from_sdl(SDLK_LCTRL), key::LEFT_CTRL);
    EXPECT_EQ(key_from_sdl(SDLK_RCTRL), key::RIGHT_CTRL);
    EXPECT_EQ(key_from_sdl(SDLK_LALT), key::LEFT_ALT);
    EXPECT_EQ(key_from_sdl(SDLK_RALT), key::RIGHT_ALT);
    EXPECT_EQ(key_from_sdl(SDLK_CAPSLOCK), key::CAPS_LOCK);
    EXPECT_EQ(key_from_sdl(SDLK_PAUSE), key::PAUSE);
    EXPECT_EQ(key_from_sdl(SDLK_PRINTSCREEN), key::PRINT_SCREEN);
}

TEST(KeyFromSdl, KeypadKeysAreDistinctFromTheMainKeys) {
    EXPECT_EQ(key_from_sdl(SDLK_KP_0), key::KP_0);
    EXPECT_EQ(key_from_sdl(SDLK_KP_9), key::KP_9);
    EXPECT_EQ(key_from_sdl(SDLK_KP_PERIOD), key::KP_PERIOD);
    EXPECT_EQ(key_from_sdl(SDLK_KP_DIVIDE), key::KP_DIVIDE);
    EXPECT_EQ(key_from_sdl(SDLK_KP_MULTIPLY), key::KP_MULTIPLY);
    EXPECT_EQ(key_from_sdl(SDLK_KP_MINUS), key::KP_MINUS);
    EXPECT_EQ(key_from_sdl(SDLK_KP_PLUS), key::KP_PLUS);
    EXPECT_EQ(key_from_sdl(SDLK_KP_ENTER), key::KP_ENTER);
    EXPECT_NE(key_from_sdl(SDLK_KP_ENTER), key::RETURN);
}

TEST(KeyFromSdl, UnnamedKeysAreUnknown) {
    EXPECT_EQ(key_from_sdl(SDLK_UNKNOWN), key::UNKNOWN);
    EXPECT_EQ(key_from_sdl(SDLK_F24), key::UNKNOWN);
    EXPECT_EQ(key_from_sdl(SDLK_MENU), key::UNKNOWN);
    EXPECT_EQ(key_from_sdl('A'), key::UNKNOWN);     // SDL never sends upper-case letters
    EXPECT_EQ(key_from_sdl(0x00e9), key::UNKNOWN);  // a layout's own letter
}

TEST(Utf8CodePoints, DecodesOneToFourByteSequences) {
    EXPECT_EQ(utf8_code_points("a"), (std::vector<std::uint32_t>{'a'}));
    EXPECT_EQ(utf8_code_points("\xc3\xa9"), (std::vector<std::uint32_t>{0xe9}));
    EXPECT_EQ(utf8_code_points("\xe2\x82\xac"), (std::vector<std::uint32_t>{0x20ac}));
    EXPECT_EQ(utf8_code_points("\xf0\x9f\x98\x80"), (std::vector<std::uint32_t>{0x1f600}));
    EXPECT_EQ(utf8_code_points("a\xc3\xa9!"), (std::vector<std::uint32_t>{'a', 0xe9, '!'}));
}

TEST(Utf8CodePoints, EmptyAndNullGiveNothing) {
    EXPECT_TRUE(utf8_code_points("").empty());
    EXPECT_TRUE(utf8_code_points(nullptr).empty());
}

TEST(Utf8CodePoints, SkipsMalformedSequences) {
    EXPECT_EQ(utf8_code_points("\x80"
                               "a"),
              (std::vector<std::uint32_t>{'a'}));  // stray continuation
    EXPECT_EQ(utf8_code_points("\xc3"
                               "a"),
              (std::vector<std::uint32_t>{'a'}));                                 // truncated
    EXPECT_EQ(utf8_code_points("a\xe2\x82"), (std::vector<std::uint32_t>{'a'}));  // truncated at the end
    EXPECT_EQ(utf8_code_points("\xc0\xaf"
                               "b"),
              (std::vector<std::uint32_t>{'b'}));  // overlong '/'
    EXPECT_EQ(utf8_code_points("\xed\xa0\x80"
                               "c"),
              (std::vector<std::uint32_t>{'c'}));  // surrogate
    EXPECT_EQ(utf8_code_points("\xf4\x90\x80\x80"
                               "d"),
              (std::vector<std::uint32_t>{'d'}));  // beyond U+10FFFF
    EXPECT_EQ(utf8_code_points("\xff"
                               "e"),
              (std::vector<std::uint32_t>{'e'}));
}
