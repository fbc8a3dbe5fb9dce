#include "WindowFixture.h"

#include "engine/window/OpenGLEntryPoints.h"

#include "engine/core/Log.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace engine::window::test {

namespace {

SDL_Event make_event(Uint32 type) {
    SDL_Event event;
    std::memset(&event, 0, sizeof event);
    event.type = type;
    return event;
}

// Removes itself from the listeners when it hears of a resize.
class SelfRemovingListener : public RecordingListener {
public:
    void on_resize(Window* w, const core::Vector<int>& size) override {
        RecordingListener::on_resize(w, size);
        Window::remove_listener(this);
    }
};

}  // namespace

TEST(WindowWithoutDisplay, RejectsNonPositiveSizes) {
    EXPECT_THROW(Window(0, 10), std::invalid_argument);
    EXPECT_THROW(Window(10, -1), std::invalid_argument);
}

TEST(WindowWithoutDisplay, RejectsSidesBeyondTheLongest) {
    EXPECT_THROW(Window(Window::kMaxSize + 1, 10), std::invalid_argument);
    EXPECT_THROW(Window(10, 65536), std::invalid_argument);
}

TEST_F(WindowFixture, SizesBeyondTheLongestSideAreRefusedBeforeAnythingChanges) {
    RecordingListener listener;
    Window::add_listener(&listener);
    listener.events.clear();
    EXPECT_LE(window_->get_max_size(), Window::kMaxSize);
    EXPECT_THROW(window_->set_video_mode(65536, 100), std::invalid_argument);
    EXPECT_THROW(window_->set_video_mode(100, window_->get_max_size() + 1), std::invalid_argument);
    EXPECT_THROW(window_->post_event(WindowEvent::resize_event({65536, 100})), std::invalid_argument);
    window_->process_events();
    for (const std::string& e : listener.events) EXPECT_EQ(e.rfind("move ", 0), 0u) << e;  // the pointer may cross
    EXPECT_EQ(window_->get_video_mode()->get_resolution(), core::Vector<int>(kWidth, kHeight));
    Window::remove_listener(&listener);
}

TEST_F(WindowFixture, OpensWithTheRequestedVideoModeAndBecomesCurrent) {
    EXPECT_TRUE(window_->is_open());
    EXPECT_EQ(window_->get_video_mode()->get_resolution(), core::Vector<int>(kWidth, kHeight));
    EXPECT_FALSE(window_->get_video_mode()->is_fullscreen());
    EXPECT_EQ(Window::get_current(), window_.get());
}

TEST_F(WindowFixture, ListenerAddedWhileAContextExistsIsToldOnCreateAtOnce) {
    RecordingListener listener;
    EXPECT_TRUE(Window::add_listener(&listener));
    EXPECT_EQ(listener.events, std::vector<std::string>{"create"});
    EXPECT_EQ(listener.last_window, window_.get());
    EXPECT_TRUE(Window::remove_listener(&listener));
}

TEST_F(WindowFixture, ListenerIsAddedOnceAndRemovedOnce) {
    RecordingListener listener;
    EXPECT_TRUE(Window::add_listener(&listener));
    EXPECT_FALSE(Window::add_listener(&listener));
    EXPECT_EQ(listener.events.size(), 1u);
    EXPECT_TRUE(Window::remove_listener(&listener));
    EXPECT_FALSE(Window::remove_listener(&listener));
    EXPECT_FALSE(Window::add_listener(nullptr));
}

TEST_F(WindowFixture, SetVideoModeTellsDestroyThenCreateThenResize) {
    RecordingListener listener;
    Window::add_listener(&listener);
    listener.events.clear();
    window_->set_video_mode(100, 80);
    EXPECT_EQ(listener.events, (std::vector<std::string>{"destroy", "create", "resize 100x80"}));
    EXPECT_EQ(window_->get_video_mode()->get_resolution(), core::Vector<int>(100, 80));
    EXPECT_EQ(Window::get_current(), window_.get());
    // The resize seen by SDL is not reported a second time. (The pointer may cross the
    // resized window on a shared display: motion is not what this test is about.)
    listener.events.clear();
    EXPECT_TRUE(window_->process_events());
    std::vector<std::string> resizes;
    for (const std::string& e : listener.events)
        if (e.rfind("move ", 0) != 0) resizes.push_back(e);
    EXPECT_EQ(resizes, std::vector<std::string>{});
    Window::remove_listener(&listener);
}

TEST_F(WindowFixture, NewContextDrawsAtTheNewSize) {
    if (!surfaces_follow_the_window_size()) GTEST_SKIP() << "SDL's offscreen driver does not resize surfaces";
    window_->set_video_mode(100, 80);
    glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    const Pixels pixels = window_->read_pixels();
    ASSERT_EQ(pixels.width, 100);
    ASSERT_EQ(pixels.height, 80);
    const std::size_t last = pixels.data.size() - 4;
    EXPECT_EQ(pixels.data[last + 2], 255);  // bottom-right corner is blue too
}

TEST_F(WindowFixture, ListenersAreCalledInOrderOfAddition) {
    std::vector<int> order;
    struct Numbered : WindowListener {
        Numbered(std::vector<int>& order_, int n_) : order(order_), n(n_) {}
        void on_mouse_wheel(Window*, int) override { order.push_back(n); }
        std::vector<int>& order;
        int n;
    } first(order, 1), second(order, 2), third(order, 3);
    Window::add_listener(&second);
    Window::add_listener(&first);
    Window::add_listener(&third);
    SDL_Event wheel = make_event(SDL_MOUSEWHEEL);
    wheel.wheel.y = 1;
    push(wheel);
    window_->process_events();
    EXPECT_EQ(order, (std::vector<int>{2, 1, 3}));
}

TEST_F(WindowFixture, ListenerMayRemoveItselfDuringACallback) {
    SelfRemovingListener leaving;
    RecordingListener staying;
    Window::add_listener(&leaving);
    Window::add_listener(&staying);
    window_->set_video_mode(90, 70);
    EXPECT_EQ(leaving.events, (std::vector<std::string>{"create", "destroy", "create", "resize 90x70"}));
    EXPECT_EQ(staying.events, (std::vector<std::string>{"create", "destroy", "create", "resize 90x70"}));
    window_->set_video_mode(kWidth, kHeight);
    EXPECT_EQ(leaving.events.size(), 4u);  // no longer registered
    EXPECT_EQ(staying.events.size(), 7u);
    EXPECT_FALSE(Window::remove_listener(&leaving));
    Window::remove_listener(&staying);
}

TEST_F(WindowFixture, ListenerRemovedByAnotherDuringDispatchIsNotCalled) {
    RecordingListener second;
    struct Remover : WindowListener {
        explicit Remover(WindowListener* other_) : other(other_) {}
        void on_mouse_wheel(Window*, int) override { Window::remove_listener(other); }
        WindowListener* other;
    } first(&second);
    Window::add_listener(&first);
    Window::add_listener(&second);
    second.events.clear();
    SDL_Event wheel = make_event(SDL_MOUSEWHEEL);
    wheel.wheel.y = 1;
    push(wheel);
    window_->process_events();
    EXPECT_EQ(second.events, std::vector<std::string>{});
    Window::remove_listener(&first);
}

TEST_F(WindowFixture, DestroyedListenerUnregistersItself) {
    {
        RecordingListener listener;
        Window::add_listener(&listener);
    }
    SDL_Event wheel = make_event(SDL_MOUSEWHEEL);
    wheel.wheel.y = 1;
    push(wheel);
    EXPECT_TRUE(window_->process_events());  // would call a destroyed listener otherwise
}

TEST_F(WindowFixture, DispatchesInputEvents) {
    RecordingListener listener;
    Window::add_listener(&listener);
    listener.events.clear();

    SDL_Event key = make_event(SDL_KEYDOWN);
    key.key.state = SDL_PRESSED;
    key.key.keysym.sym = SDLK_a;
    push(key);
    key = make_event(SDL_KEYDOWN);
    key.key.state = SDL_PRESSED;
    key.key.repeat = 1;
    key.key.keysym.sym = SDLK_a;
    push(key);
    key = make_event(SDL_KEYUP);
    key.key.keysym.sym = SDLK_ESCAPE;
    push(key);
    SDL_Event button = make_event(SDL_MOUSEBUTTONDOWN);
    button.button.button = 3;
    button.button.state = SDL_PRESSED;
    push(button);
    button = make_event(SDL_MOUSEBUTTONUP);
    button.button.button = 1;
    push(button);
    SDL_Event motion = make_event(SDL_MOUSEMOTION);
    motion.motion.x = 12;
    motion.motion.y = 34;
    push(motion);
    SDL_Event wheel = make_event(SDL_MOUSEWHEEL);
    wheel.wheel.y = -2;
    push(wheel);
    wheel = make_event(SDL_MOUSEWHEEL);
    wheel.wheel.y = 1;
    wheel.wheel.direction = SDL_MOUSEWHEEL_FLIPPED;
    push(wheel);
    SDL_Event text = make_event(SDL_TEXTINPUT);
    std::strcpy(text.text.text, "a\xc3\xa9");
    push(text);

    EXPECT_TRUE(window_->process_events());
    EXPECT_EQ(listener.events,
              (std::vector<std::string>{"key 97 down", "key 97 down repeat", "key 27 up", "button 3 down",
                                        "button 1 up", "move 12,34", "wheel -2", "wheel -1", "text 97", "text 233"}));
    EXPECT_EQ(listener.last_window, window_.get());
    Window::remove_listener(&listener);
}

TEST_F(WindowFixture, QuitTellsOnCloseOnceAndProcessEventsReturnsFalseFromThenOn) {
    RecordingListener listener;
    Window::add_listener(&listener);
    listener.events.clear();
    push(make_event(SDL_QUIT));
    SDL_Event close = make_event(SDL_WINDOWEVENT);
    close.window.event = SDL_WINDOWEVENT_CLOSE;
    push(close);
    EXPECT_FALSE(window_->process_events());
    EXPECT_FALSE(window_->process_events());
    EXPECT_EQ(listener.events, std::vector<std::string>{"close"});
    EXPECT_TRUE(window_->is_open());  // asking to close does not close
    Window::remove_listener(&listener);
}

TEST_F(WindowFixture, CloseTellsOnDestroyFirstAndIsIdempotent) {
    RecordingListener listener;
    Window::add_listener(&listener);
    listener.events.clear();
    struct CheckContext : WindowListener {
        void on_destroy(Window* w) override { had_context = Window::get_current() == w; }
        bool had_context = false;
    } check;
    Window::add_listener(&check);
    window_->close();
    window_->close();
    EXPECT_EQ(listener.events, std::vector<std::string>{"destroy"});
    EXPECT_TRUE(check.had_context);
    EXPECT_FALSE(window_->is_open());
    EXPECT_EQ(Window::get_current(), nullptr);
    EXPECT_FALSE(window_->process_events());
    window_->swap_buffers();  // does nothing
    EXPECT_THROW(window_->read_pixels(), std::runtime_error);
    EXPECT_THROW(window_->set_video_mode(10, 10), std::runtime_error);
    Window::remove_listener(&listener);
    Window::remove_listener(&check);
}

TEST_F(WindowFixture, ListenerAddedAfterCloseIsNotToldOnCreate) {
    window_->close();
    RecordingListener listener;
    Window::add_listener(&listener);
    EXPECT_EQ(listener.events, std::vector<std::string>{});
    Window::remove_listener(&listener);
}

TEST_F(WindowFixture, ReadPixelsGivesRowsTopFirst) {
    glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    // GL's y runs upwards: this scissor box is the top quarter of the window.
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, kHeight * 3 / 4, kWidth, kHeight / 4);
    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);

    const Pixels pixels = window_->read_pixels();
    ASSERT_EQ(pixels.width, kWidth);
    ASSERT_EQ(pixels.height, kHeight);
    ASSERT_EQ(pixels.data.size(), std::size_t(kWidth * kHeight * 4));
    const std::uint8_t* top = &pixels.data[0];
    const std::uint8_t* bottom = &pixels.data[std::size_t((kHeight - 1) * kWidth * 4)];
    EXPECT_EQ((std::vector<int>{top[0], top[1], top[2], top[3]}), (std::vector<int>{0, 255, 0, 255}));
    EXPECT_EQ((std::vector<int>{bottom[0], bottom[1], bottom[2], bottom[3]}), (std::vector<int>{255, 0, 0, 255}));
}

TEST_F(WindowFixture, ReadPixelsLeavesPackAlignmentAsItWas) {
    glPixelStorei(GL_PACK_ALIGNMENT, 8);
    window_->read_pixels();
    GLint alignment = 0;
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    EXPECT_EQ(alignment, 8);
}

TEST_F(WindowFixture, SaveScreenshotWritesAPng) {
    glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    const std::string path = ::testing::TempDir() + "window_test_screenshot.png";
    ASSERT_TRUE(window_->save_screenshot(path));
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_GT(content.size(), 33u);
    EXPECT_EQ(content.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    EXPECT_EQ(content.substr(12, 4), "IHDR");
    const auto byte = [&](std::size_t i) { return unsigned(static_cast<unsigned char>(content[i])); };
    EXPECT_EQ((byte(16) << 24) | (byte(17) << 16) | (byte(18) << 8) | byte(19), unsigned(kWidth));
    EXPECT_EQ((byte(20) << 24) | (byte(21) << 16) | (byte(22) << 8) | byte(23), unsigned(kHeight));
    EXPECT_EQ(byte(24), 8u);  // bits per channel
    EXPECT_EQ(byte(25), 6u);  // RGBA
    std::remove(path.c_str());
}

TEST_F(WindowFixture, SaveScreenshotToAnUnwritablePathWarnsAndFails) {
    std::vector<std::string> warnings;
    core::Log::set_sink([&](core::Log::Level level, const std::string& category, const std::string& message) {
        if (level == core::Log::Level::Warning && category == "window") warnings.push_back(message);
    });
    const bool saved = window_->save_screenshot("/nonexistent-directory/screenshot.png");
    core::Log::set_sink({});
    EXPECT_FALSE(saved);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find("/nonexistent-directory/screenshot.png"), std::string::npos);
}

TEST_F(WindowFixture, EntryPointsAreResolved) {
    EXPECT_NE(glGenBuffers, nullptr);
    EXPECT_NE(glDeleteBuffers, nullptr);
    EXPECT_NE(glBindBuffer, nullptr);
    EXPECT_NE(glBufferData, nullptr);
    EXPECT_NE(glActiveTexture, nullptr);
    EXPECT_NE(glGenFramebuffersEXT, nullptr);
    EXPECT_NE(glBindFramebufferEXT, nullptr);
    EXPECT_NE(glCheckFramebufferStatusEXT, nullptr);
}

}  // namespace engine::window::test

// --- Input state and posted events ---

namespace engine::window::test {

TEST_F(WindowFixture, PostedEventsWaitForProcessEventsThenReachListenersAndTheState) {
    RecordingListener recorder;
    window_->process_events();
    Window::add_listener(&recorder);
    recorder.events.clear();
    window_->post_event(WindowEvent::key_event(key::SPACE, true));
    window_->post_event(WindowEvent::mouse_button_event(3, true, {5, 6}));
    EXPECT_FALSE(window_->is_key_down(key::SPACE));
    EXPECT_TRUE(window_->process_events());
    EXPECT_TRUE(window_->is_key_down(key::SPACE));
    EXPECT_FALSE(window_->is_key_down(key::A));
    EXPECT_EQ(window_->get_mouse_buttons(), 1u << 2);
    EXPECT_EQ(window_->get_mouse_position(), core::Vector<int>(5, 6));
    EXPECT_EQ(recorder.events, (std::vector<std::string>{"key 32 down", "button 3 down"}));
    EXPECT_EQ(recorder.last_window, window_.get());
    Window::remove_listener(&recorder);
}

TEST_F(WindowFixture, RealKeyEventsUpdateTheStateAndFocusLossForgetsIt) {
    SDL_Event down = make_event(SDL_KEYDOWN);
    down.key.keysym.sym = 'a';
    down.key.state = SDL_PRESSED;
    push(down);
    window_->process_events();
    EXPECT_TRUE(window_->is_key_down(key::A));
    window_->post_event(WindowEvent::activate_event(false));
    window_->process_events();
    EXPECT_FALSE(window_->is_key_down(key::A));
}

TEST_F(WindowFixture, PostedCloseAsksToCloseOnce) {
    RecordingListener recorder;
    Window::add_listener(&recorder);
    recorder.events.clear();
    window_->post_event(WindowEvent::close_event());
    window_->post_event(WindowEvent::close_event());
    EXPECT_FALSE(window_->process_events());
    EXPECT_EQ(recorder.events, std::vector<std::string>{"close"});
    EXPECT_TRUE(window_->is_open());
    Window::remove_listener(&recorder);
}

TEST_F(WindowFixture, UnknownAndOutOfRangeKeysAreNeverHeld) {
    window_->post_event(WindowEvent::key_event(key::UNKNOWN, true));
    window_->post_event(WindowEvent::key_event(key::KeyCode(100000), true));
    window_->process_events();
    EXPECT_FALSE(window_->is_key_down(key::UNKNOWN));
    EXPECT_FALSE(window_->is_key_down(key::KeyCode(100000)));
}

}  // namespace engine::window::test
