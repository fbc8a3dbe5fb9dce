#pragma once

#include "engine/window/WindowListener.h"


namespace engine::graphics {

/// Follows the window's context: sets up GL state when it is created and keeps the
/// viewport at the window's size. (The GL objects themselves go and come back with
/// the context as GpuResources.)
/// One instance lives as long as the module; it is attached to at most one window.
class GraphicsWindowListener final : public window::WindowListener {
public:
    void on_create(window::Window* window) override;
    void on_destroy(window::Window* window) override;
    void on_resize(window::Window* window, const core::Vector<int>& size) override;

    bool is_context_open() const { return context_open_; }

private:
    bool context_open_ = false;  // between on_create and on_destroy
};

/// The module's listener (one, for the module's lifetime).
GraphicsWindowListener& window_listener();

}  // namespace engine::graphics
