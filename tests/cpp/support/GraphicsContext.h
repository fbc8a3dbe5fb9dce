#pragma once

// The fixture of graphics tests that draw: a GL context that the graphics module
// follows (set_window), so textures, programs and buffers have somewhere to live.
#include "support/GLContext.h"

#include "engine/graphics/GLState.h"
#include "engine/graphics/Module.h"

#include <gtest/gtest.h>

namespace engine::test {

/// A GLContext whose window is the graphics module's window during each test; the
/// module lets go of it before the window closes. Each test starts from the GL baseline
/// with the state check on, and fails if anything it drew left the state otherwise.
/// Main thread only.
class GraphicsContext : public GLContext {
protected:
    using GLContext::GLContext;

    void SetUp() override {
        GLContext::SetUp();
        if (IsSkipped()) return;
        graphics::set_window(window_.get());
        graphics::GLState::set_checking(true);
        graphics::GLState::apply();
        violations_ = graphics::GLState::get_violation_count();
    }
    void TearDown() override {
        EXPECT_EQ(graphics::GLState::get_violation_count(), violations_)
            << "something drawn left the GL state other than the baseline (see the logged error)";
        if (window_) graphics::set_window(nullptr);
        GLContext::TearDown();
    }

    /// For tests that break the baseline on purpose: `count` failed checks are expected.
    void forgive(std::size_t count) { violations_ += count; }

private:
    std::size_t violations_ = 0;  // checks that had failed when the test began
};

}  // namespace engine::test
