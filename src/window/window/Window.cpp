#include <SDL.h>

#include "window/Screenshot.h"
#include "window/Translation.h"

#include "engine/window/GpuResource.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/Window.h"
#include "engine/window/WindowListener.h"

#include "engine/core/ScriptHooks.h"
#include "engine/core/Log.h"
#include "engine/core/Ref.h"

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <string>

namespace engine::window {

namespace {

// Listeners hear of every window, so their list belongs to the process. Never
// destroyed: native listeners may unregister from static destructors at exit.
std::vector<core::Ref<WindowListener>>& listeners() {
    static auto* list = new std::vector<core::Ref<WindowListener>>;
    return *list;
}

Window* current_window = nullptr;  // the window whose context exists, not owned

bool is_registered(const WindowListener* listener) {
    const auto& list = listeners();
    return std::find(list.begin(), list.end(), listener) != list.end();
}

// Calls `call` for every listener registered when the dispatch began, in the order they
// were added. The snapshot holds them, so that callbacks may add and remove listeners
// (themselves included); one removed meanwhile is skipped.
template <class Call>
void dispatch(Call&& call) {
    const std::vector<core::Ref<WindowListener>> snapshot = listeners();
    for (WindowListener* listener : snapshot) {
        if (!is_registered(listener)) continue;
        call(*listener);
    }
}

bool fits(int width, int height, int max_size) {
    return width >= 1 && height >= 1 && width <= max_size && height <= max_size;
}

void check_size(int width, int height, int max_size) {
    if (width <= 0 || height <= 0)
        throw std::invalid_argument("A window needs a positive size, not " + std::to_string(width) + "x" +
                                    std::to_string(height) + ".");
    if (!fits(width, height, max_size))
        throw std::invalid_argument("A window side is at most " + std::to_string(max_size) + " pixels, not " +
                                    std::to_string(width) + "x" + std::to_string(height) + ".");
}

[[noreturn]] void throw_sdl_error(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + SDL_GetError());
}

// SDL starts its video subsystem with the first window and keeps it for the process:
// restarting it would reconnect to the display underneath live GL state.
void init_video() {
    if (SDL_WasInit(SDL_INIT_VIDEO)) return;
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) throw_sdl_error("Cannot initialise SDL's video subsystem");
}

// SDL reports a fullscreen window at the display mode's size at once, but on X11 it is
// the window manager that resizes the window itself. Without one (Xvfb, a bare X
// server) the window and its GL drawable kept the windowed size: the picture covered a
// corner of the screen while the viewport and the video mode claimed all of it. So the
// window is given the mode's size, at the display's corner, before it goes fullscreen;
// a window manager then has nothing left to change. Logs a warning on failure (the
// window stays as it is).
void enter_fullscreen(SDL_Window* window) {
    SDL_DisplayMode mode;
    SDL_Rect bounds;
    const int display = SDL_GetWindowDisplayIndex(window);
    if (display >= 0 && SDL_GetWindowDisplayMode(window, &mode) == 0 &&
        SDL_GetDisplayBounds(display, &bounds) == 0) {
        SDL_SetWindowPosition(window, bounds.x, bounds.y);
        SDL_SetWindowSize(window, mode.w, mode.h);
    }
    if (SDL_SetWindowFullscreen(window, SDL_WINDOW_FULLSCREEN) != 0)
        core::Log::warning("window", "Cannot switch to fullscreen, staying in a window: %s", SDL_GetError());
}

// A fixed-function capable context on a double-buffered 8-bit RGB(A) surface. The
// attributes are process-wide in SDL, so they are set again before every creation.
void set_gl_attributes(int alpha_bits) {
    SDL_GL_ResetAttributes();
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_COMPATIBILITY);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 2);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 1);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, alpha_bits);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
}

}  // namespace

struct Window::Impl {
    explicit Impl(Window* owner_) : owner(owner_) {}
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    // The last resort when the constructor throws; `close` normally releases both.
    ~Impl() {
        if (context) SDL_GL_DeleteContext(context);
        if (window) SDL_DestroyWindow(window);
        if (current_window == owner) current_window = nullptr;
    }

    Window* owner;                    // the window this belongs to
    SDL_Window* window = nullptr;     // owned, null once closed
    SDL_GLContext context = nullptr;  // owned, null between contexts and once closed
    int alpha_bits = 8;               // what the window's visual was chosen with
    int max_viewport = Window::kMaxSize;  // the last context's largest viewport side
    bool vsync = false;               // swap interval 1 rather than 0
    bool closing = false;             // inside close(), which listeners may call again
    std::deque<WindowEvent> posted;   // handled by the next process_events, in order
};

Window::Window(int width, int height, const std::string& title, bool fullscreen, bool vsync)
    : impl_(std::make_unique<Impl>(this)) {
    check_size(width, height, kMaxSize);
    init_video();
    impl_->vsync = vsync;
    // Opened in a window and then made fullscreen, the one way that works with and
    // without a window manager (see enter_fullscreen).
    const Uint32 flags = SDL_WINDOW_OPENGL;
    // Some displays have no visual with destination alpha; then go without it.
    for (int alpha_bits : {8, 0}) {
        set_gl_attributes(alpha_bits);
        impl_->window =
            SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height, flags);
        impl_->alpha_bits = alpha_bits;
        if (impl_->window) break;
    }
    if (!impl_->window) throw_sdl_error("Cannot open a window");
    if (fullscreen) enter_fullscreen(impl_->window);
    create_context();
    int w = width, h = height;
    SDL_GL_GetDrawableSize(impl_->window, &w, &h);
    video_mode_ = VideoMode({w, h}, (SDL_GetWindowFlags(impl_->window) & SDL_WINDOW_FULLSCREEN) != 0);
    // Before any listener hears of the context (they may draw with them), and once the
    // video mode is known (a framebuffer takes the window's size).
    GpuResource::restore_all();
    dispatch([this](WindowListener& l) { l.on_create(this); });
}

Window::~Window() { close(); }

bool Window::add_listener(WindowListener* listener) {
    if (!listener || is_registered(listener)) return false;
    // The list holds the listener (a script listener's Python object too) while it is registered.
    const core::Ref<WindowListener> held(listener);  // on_create may unregister it
    listeners().push_back(held);
    if (current_window && is_registered(listener)) listener->on_create(current_window);
    return true;
}

bool Window::remove_listener(WindowListener* listener) {
    auto& list = listeners();
    auto it = std::find(list.begin(), list.end(), listener);
    if (it == list.end()) return false;
    const core::Ref<WindowListener> released = std::move(*it);  // goes last: it may destroy the listener
    list.erase(it);
    return true;
}

Window* Window::get_current() { return current_window; }

void Window::create_context() {
    set_gl_attributes(impl_->alpha_bits);
    impl_->context = SDL_GL_CreateContext(impl_->window);
    if (!impl_->context) throw_sdl_error("Cannot create an OpenGL context");
    if (SDL_GL_MakeCurrent(impl_->window, impl_->context) != 0) {
        const std::string error = SDL_GetError();
        SDL_GL_DeleteContext(impl_->context);
        impl_->context = nullptr;
        throw std::runtime_error("Cannot make the OpenGL context current: " + error);
    }
    // Not every driver lets the interval be chosen; drawing works either way.
    SDL_GL_SetSwapInterval(impl_->vsync ? 1 : 0);
    current_window = this;
    resolve_opengl_entry_points();
    GLint viewport[2] = {0, 0};
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    if (viewport[0] > 0 && viewport[1] > 0) impl_->max_viewport = std::min(viewport[0], viewport[1]);
}

int Window::get_max_size() const { return std::min(kMaxSize, impl_->max_viewport); }

void Window::destroy_context() {
    if (!impl_->context) return;
    // Listeners release their GL objects while the context is still current.
    dispatch([this](WindowListener& l) { l.on_destroy(this); });
    if (!impl_->context) return;  // a listener closed the window meanwhile
    GpuResource::release_all();
    SDL_GL_MakeCurrent(impl_->window, nullptr);
    SDL_GL_DeleteContext(impl_->context);
    impl_->context = nullptr;
    if (current_window == this) current_window = nullptr;
}

void Window::set_video_mode(int width, int height, bool fullscreen) {
    if (!is_open()) throw std::runtime_error("The window is closed.");
    check_size(width, height, get_max_size());
    destroy_context();
    if (!is_open()) return;  // closed by a listener while the context went away

    SDL_Window* window = impl_->window;
    // Leave fullscreen before resizing, so that the size applies to the window and the
    // display gets its own mode back.
    if (SDL_GetWindowFlags(window) & SDL_WINDOW_FULLSCREEN) {
        SDL_SetWindowFullscreen(window, 0);
        SDL_SetWindowPosition(window, SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED);
    }
    SDL_SetWindowSize(window, width, height);
    if (fullscreen) enter_fullscreen(window);

    try {
        create_context();
    } catch (...) {
        // Without a context the window is of no use: close it for good.
        SDL_DestroyWindow(impl_->window);
        impl_->window = nullptr;
        close_requested_ = true;
        throw;
    }
    int w = width, h = height;
    SDL_GL_GetDrawableSize(window, &w, &h);
    video_mode_ = VideoMode({w, h}, (SDL_GetWindowFlags(window) & SDL_WINDOW_FULLSCREEN) != 0);
    // Let SDL see the resize now: its size events then match the video mode and are
    // not reported a second time by process_events.
    SDL_PumpEvents();

    GpuResource::restore_all();
    dispatch([this](WindowListener& l) { l.on_create(this); });
    const core::Vector<int> size = video_mode_.get_resolution();
    dispatch([this, size](WindowListener& l) { l.on_resize(this, size); });
}

bool Window::process_events() {
    SDL_Event event;
    // A listener's exception that must leave this call ends it; the events after it
    // wait for the next call.
    while (is_open() && !core::script_error_held() && SDL_PollEvent(&event)) {
        switch (event.type) {
            case SDL_QUIT:
                handle(WindowEvent::close_event());
                break;
            case SDL_WINDOWEVENT:
                switch (event.window.event) {
                    case SDL_WINDOWEVENT_CLOSE:
                        // SDL follows this with SDL_QUIT for the last window: one request.
                        handle(WindowEvent::close_event());
                        break;
                    case SDL_WINDOWEVENT_SIZE_CHANGED: {
                        // The size now, not the event's: events queued by an earlier
                        // resize must not undo a later one.
                        core::Vector<int> size;
                        SDL_GL_GetDrawableSize(impl_->window, &size.x, &size.y);
                        handle(WindowEvent::resize_event(size));
                        break;
                    }
                    case SDL_WINDOWEVENT_FOCUS_GAINED:
                        handle(WindowEvent::activate_event(true));
                        break;
                    case SDL_WINDOWEVENT_FOCUS_LOST:
                        handle(WindowEvent::activate_event(false));
                        break;
                    default:
                        break;
                }
                break;
            case SDL_KEYDOWN:
            case SDL_KEYUP:
                handle(WindowEvent::key_event(key_from_sdl(event.key.keysym.sym), event.type == SDL_KEYDOWN,
                                              event.key.repeat != 0));
                break;
            case SDL_MOUSEBUTTONDOWN:
            case SDL_MOUSEBUTTONUP:
                handle(WindowEvent::mouse_button_event(event.button.button, event.type == SDL_MOUSEBUTTONDOWN,
                                                       {event.button.x, event.button.y}));
                break;
            case SDL_MOUSEMOTION:
                handle(WindowEvent::mouse_move_event({event.motion.x, event.motion.y}));
                break;
            case SDL_MOUSEWHEEL: {
                // Positive is away from the user, whatever the system's scrolling setting.
                int delta = event.wheel.y;
                if (event.wheel.direction == SDL_MOUSEWHEEL_FLIPPED) delta = -delta;
                handle(WindowEvent::mouse_wheel_event(delta));
                break;
            }
            case SDL_TEXTINPUT:
                for (std::uint32_t character : utf8_code_points(event.text.text)) {
                    handle(WindowEvent::text_event(character));
                    if (!is_open()) break;
                }
                break;
            default:
                break;
        }
    }
    // Posted events after the system's, those posted before this point only: a
    // listener that posts from its callback is heard on the next call.
    for (std::size_t count = impl_->posted.size(); count > 0 && is_open() && !core::script_error_held();
         --count) {
        const WindowEvent posted = impl_->posted.front();
        impl_->posted.pop_front();
        handle(posted);
    }
    return is_open() && !close_requested_;
}

void Window::post_event(const WindowEvent& event) {
    if (event.type == WindowEvent::Type::Resize) check_size(event.size.x, event.size.y, get_max_size());
    if (is_open()) impl_->posted.push_back(event);
}

bool Window::is_key_down(key::KeyCode key) const {
    return key > key::UNKNOWN && key < key_limit && keys_down_.test(std::size_t(key));
}

void Window::handle(const WindowEvent& event) {
    using Type = WindowEvent::Type;
    switch (event.type) {
        case Type::Close:
            if (!close_requested_) {
                close_requested_ = true;
                dispatch([this](WindowListener& l) { l.on_close(this); });
            }
            break;
        case Type::Resize: {
            core::Vector<int> size = event.size;
            if (!fits(size.x, size.y, get_max_size())) {
                core::Log::warning("window", "A resize to %dx%d is ignored: a window side is 1 to %d pixels.", size.x,
                                   size.y, get_max_size());
                break;
            }
            // A posted size reaches the window itself; a system resize already has.
            core::Vector<int> now;
            SDL_GL_GetDrawableSize(impl_->window, &now.x, &now.y);
            if (now != size) {
                SDL_SetWindowSize(impl_->window, size.x, size.y);
                SDL_GL_GetDrawableSize(impl_->window, &size.x, &size.y);
            }
            if (size != video_mode_.get_resolution()) {
                video_mode_ = VideoMode(size, video_mode_.is_fullscreen());
                dispatch([this, size](WindowListener& l) { l.on_resize(this, size); });
            }
            break;
        }
        case Type::Activate:
            if (!event.pressed) {
                keys_down_.reset();
                mouse_buttons_ = 0;
            }
            dispatch([this, &event](WindowListener& l) { l.on_activate(this, event.pressed); });
            break;
        case Type::Key: {
            const key::KeyCode key = event.key;
            if (key > key::UNKNOWN && key < key_limit) keys_down_.set(std::size_t(key), event.pressed);
            dispatch([&](WindowListener& l) { l.on_key(this, key, event.pressed, event.repeat); });
            break;
        }
        case Type::MouseButton: {
            if (event.positioned) mouse_position_ = event.position;
            const int button = event.button;
            if (button >= 1 && button <= 32) {
                const std::uint32_t bit = std::uint32_t(1) << (button - 1);
                mouse_buttons_ = event.pressed ? (mouse_buttons_ | bit) : (mouse_buttons_ & ~bit);
            }
            dispatch([&](WindowListener& l) { l.on_mouse_button(this, button, event.pressed); });
            break;
        }
        case Type::MouseMove: {
            mouse_position_ = event.position;
            const core::Vector<int> position = event.position;
            dispatch([&](WindowListener& l) { l.on_mouse_move(this, position); });
            break;
        }
        case Type::MouseWheel: {
            const int delta = event.delta;
            if (delta != 0) dispatch([&](WindowListener& l) { l.on_mouse_wheel(this, delta); });
            break;
        }
        case Type::Text: {
            const std::uint32_t character = event.character;
            dispatch([&](WindowListener& l) { l.on_text(this, character); });
            break;
        }
    }
}

void Window::swap_buffers() {
    if (impl_->window && impl_->context) SDL_GL_SwapWindow(impl_->window);
}

void Window::clear(const core::Colour& colour) {
    if (!impl_->window || !impl_->context) throw std::runtime_error("Cannot clear the window: it is closed.");
    GLint framebuffer = 0;
    if (glBindFramebufferEXT) glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    GLfloat previous[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, previous);
    if (framebuffer != 0) glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    glClearColor(colour.r, colour.g, colour.b, colour.a);
    glClear(GL_COLOR_BUFFER_BIT);
    glClearColor(previous[0], previous[1], previous[2], previous[3]);
    if (framebuffer != 0) glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, GLuint(framebuffer));
}

void Window::close() {
    if (!impl_->window || impl_->closing) return;
    impl_->closing = true;
    close_requested_ = true;
    impl_->posted.clear();
    destroy_context();
    SDL_DestroyWindow(impl_->window);
    impl_->window = nullptr;
    impl_->closing = false;
}

bool Window::is_open() const { return impl_->window != nullptr; }

Pixels Window::read_pixels() const {
    if (!impl_->window || !impl_->context) throw std::runtime_error("Cannot read pixels: the window is closed.");
    Pixels pixels;
    SDL_GL_GetDrawableSize(impl_->window, &pixels.width, &pixels.height);
    const std::size_t stride = std::size_t(pixels.width) * 4;
    pixels.data.resize(stride * std::size_t(pixels.height));

    // Read from the back buffer unless a framebuffer object is being drawn into; then
    // read what it holds. Leave the pixel-store state as it was found.
    GLint framebuffer = 0;
    if (glBindFramebufferEXT) glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    GLint read_buffer = GL_BACK, alignment = 4;
    glGetIntegerv(GL_READ_BUFFER, &read_buffer);
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    if (framebuffer == 0) glReadBuffer(GL_BACK);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, pixels.width, pixels.height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data.data());
    glPixelStorei(GL_PACK_ALIGNMENT, alignment);
    if (framebuffer == 0) glReadBuffer(GLenum(read_buffer));

    // GL's rows run bottom to top.
    std::uint8_t* data = pixels.data.data();
    for (int top = 0, bottom = pixels.height - 1; top < bottom; ++top, --bottom)
        std::swap_ranges(data + std::size_t(top) * stride, data + std::size_t(top + 1) * stride,
                         data + std::size_t(bottom) * stride);
    return pixels;
}

bool Window::save_screenshot(const std::string& path) const {
    if (!impl_->window || !impl_->context) {
        core::Log::warning("window", "Cannot save a screenshot to '%s': the window is closed.", path.c_str());
        return false;
    }
    // The file shows what the screen shows: the window is opaque whatever alpha the
    // drawing left behind (often 0 where nothing opaque was drawn, which viewers show
    // as blank).
    Pixels pixels = read_pixels();
    for (std::size_t alpha = 3; alpha < pixels.data.size(); alpha += 4) pixels.data[alpha] = 255;
    std::string error;
    if (!write_png(path, pixels, error)) {
        core::Log::warning("window", "Cannot save a screenshot to '%s': %s.", path.c_str(), error.c_str());
        return false;
    }
    return true;
}

}  // namespace engine::window
