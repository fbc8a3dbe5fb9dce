#pragma once

// The fixture of graphics tests that draw: a GL context that the graphics module
// follows (set_window), so textures, programs and buffers have somewhere to live.
#include "support/GLContext.h"

#include "engine/graphics/Module.h"

namespace engine::test {

/// A GLContext whose window is the graphics module's window during each test; the
/// module lets go of it before the window closes. Main thread only.
class GraphicsContext : public GLContext {
protected:
    using GLContext::GLContext;

    void SetUp() override {
        GLContext::SetUp();
        if (IsSkipped()) return;
        graphics::set_window(window_.get());
    }
    void TearDown() override {
        if (window_) graphics::set_window(nullptr);
        GLContext::TearDown();
    }
};

}  // namespace engine::test
