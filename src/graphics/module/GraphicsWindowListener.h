#pragma once

#include "engine/window/VertexBuffer.h"
#include "engine/window/WindowListener.h"

#include <vector>

namespace engine::graphics {

/// Follows the window's context: sets up GL state when it is created, releases the
/// module's GL objects before it goes, and keeps the viewport at the window's size.
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

/// Live vertex buffers, deleted with the context and re-created on their next use.
class BufferRegistry final : public window::VertexBufferRegistry {
public:
    void add(window::VertexBuffer* buffer) override { buffers_.push_back(buffer); }
    void remove(window::VertexBuffer* buffer) override;
    void release_all();

private:
    std::vector<window::VertexBuffer*> buffers_;  // non-owning
};

/// The module's listener and registries (one of each, for the module's lifetime).
GraphicsWindowListener& window_listener();
BufferRegistry& buffer_registry();

}  // namespace engine::graphics
