#pragma once

// The fixture of every test that needs OpenGL: a window of its own with its context
// current for the length of one test. Main thread only, as windows are.
#include "engine/window/Window.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace engine::test {

/// Opens a window before each test and closes it after; the test is skipped where no
/// window can be opened (no display). Subclasses pick the size and title through the
/// constructor. The window's start-up events are drained, so a test starts from an
/// empty event queue.
class GLContext : public ::testing::Test {
protected:
    explicit GLContext(int width = 64, int height = 64, std::string title = "engine tests")
        : width_(width), height_(height), title_(std::move(title)) {}

    void SetUp() override {
        try {
            window_ = std::make_unique<window::Window>(width_, height_, title_.c_str());
        } catch (const std::runtime_error& error) {
            GTEST_SKIP() << "no window: " << error.what();
        }
        window_->process_events();
    }
    void TearDown() override { window_.reset(); }

    /// The test's window; valid from SetUp to TearDown unless the test was skipped.
    window::Window& window() { return *window_; }

    const int width_;                         // the window's width at opening
    const int height_;                        // the window's height at opening
    const std::string title_;                 // the window's title
    std::unique_ptr<window::Window> window_;  // owned; null when skipped
};

}  // namespace engine::test
