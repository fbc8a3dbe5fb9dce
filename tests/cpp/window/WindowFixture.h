#pragma once

#include <SDL2/SDL_events.h>

#include "support/GLContext.h"

#include "engine/window/Window.h"
#include "engine/window/WindowListener.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace engine::window::test {

/// Writes down every event it hears of, one line each ("resize 64x48"), except focus
/// changes, which the display sends whenever it likes.
class RecordingListener : public WindowListener {
public:
    void on_create(Window* w) override { add(w, "create"); }
    void on_destroy(Window* w) override { add(w, "destroy"); }
    void on_close(Window* w) override { add(w, "close"); }
    void on_resize(Window* w, const core::Vector<int>& s) override {
        add(w, "resize " + std::to_string(s.x) + "x" + std::to_string(s.y));
    }
    void on_key(Window* w, key::KeyCode k, bool pressed, bool repeat) override {
        add(w, "key " + std::to_string(int(k)) + (pressed ? " down" : " up") + (repeat ? " repeat" : ""));
    }
    void on_mouse_button(Window* w, int button, bool pressed) override {
        add(w, "button " + std::to_string(button) + (pressed ? " down" : " up"));
    }
    void on_mouse_move(Window* w, const core::Vector<int>& p) override {
        add(w, "move " + std::to_string(p.x) + "," + std::to_string(p.y));
    }
    void on_mouse_wheel(Window* w, int delta) override { add(w, "wheel " + std::to_string(delta)); }
    void on_text(Window* w, unsigned int c) override { add(w, "text " + std::to_string(c)); }

    std::vector<std::string> events;  // what was heard, in order
    Window* last_window = nullptr;    // the window of the last event

private:
    void add(Window* w, std::string what) {
        last_window = w;
        events.push_back(std::move(what));
    }
};

/// A small window for each test (skipped where there is no display), with helpers that
/// reach SDL to fake what the system would send.
class WindowFixture : public engine::test::GLContext {
protected:
    static constexpr int kWidth = 64;
    static constexpr int kHeight = 48;

    WindowFixture() : GLContext(kWidth, kHeight, "window tests") {}

    /// SDL is loaded by the window library, not linked into the tests: find it at run time.
    template <class Function>
    static Function* sdl(const char* name) {
        void* symbol = dlsym(RTLD_DEFAULT, name);
        if (!symbol) throw std::runtime_error(std::string("SDL function not found: ") + name);
        return reinterpret_cast<Function*>(symbol);
    }

    /// Queues `event` as if the system had sent it.
    static void push(SDL_Event event) { ASSERT_EQ(sdl<int(SDL_Event*)>("SDL_PushEvent")(&event), 1); }

    /// SDL's offscreen driver keeps a window's GL surface at its first size.
    static bool surfaces_follow_the_window_size() {
        const char* driver = sdl<const char*()>("SDL_GetCurrentVideoDriver")();
        return !driver || std::string(driver) != "offscreen";
    }
};

}  // namespace engine::window::test
