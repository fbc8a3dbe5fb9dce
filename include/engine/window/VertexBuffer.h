#pragma once

#include "engine/window/GpuResource.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace engine::window {

/// Vertices written on the CPU and drawn from a GL buffer object (or from client
/// memory where buffer objects are unsupported). Write with `map`/`unmap`, then
/// `bind` and pass the returned pointer to glVertexPointer and friends as the base
/// of the vertex data. Survives a context change: as a GpuResource it is released with
/// the context, and the next `unmap` or `bind` uploads to a new GL object. Use it on
/// the thread that created the window (its context must be current to upload or bind).
class VertexBuffer : public GpuResource {
public:
    /// `usage` is a GL usage hint such as GL_STREAM_DRAW.
    VertexBuffer(std::size_t stride, std::size_t capacity, unsigned int usage);
    VertexBuffer(const VertexBuffer&) = delete;
    VertexBuffer& operator=(const VertexBuffer&) = delete;
    ~VertexBuffer() override;

    /// Room for `count` vertices of `stride` bytes, growing the capacity if needed (to
    /// at least twice the old one; it never shrinks); valid until `unmap`. Allocates
    /// nothing while the capacity suffices. The previous content is not kept.
    void* map(std::size_t count);
    /// The same, and the upload holds at least `readable` vertices: those past `count`
    /// are all zero, so a draw that reads up to `readable` vertices stays inside the
    /// buffer and draws nothing visible there. The vertex count stays `count`.
    void* map(std::size_t count, std::size_t readable);
    /// Uploads what was written since `map`; leaves no buffer object bound.
    void unmap();
    /// Binds the buffer for drawing; returns the base pointer for gl*Pointer calls
    /// (an offset of 0 with a buffer object, client memory otherwise). The drawing code
    /// calls `unbind()` once it has drawn: the engine's draw paths leave no buffer bound.
    const void* bind();
    /// Binds no buffer object.
    static void unbind();

    std::size_t get_vertex_count() const { return count_; }
    /// The CPU copy of the vertices written by the last map/unmap (for inspection).
    const void* get_data() const { return data_.data(); }
    std::size_t get_stride() const { return stride_; }
    std::size_t get_capacity() const { return capacity_; }
    /// The GL buffer name, 0 when none exists (client memory or released).
    unsigned int get_name() const { return name_; }

    /// Deletes the GL object (the context is going away); the data stays.
    void release();

    void release_gpu() override;
    void restore_gpu() override;
    /// Whether buffer objects are used; set by the graphics module per context.
    static void set_buffer_objects_supported(bool supported);

private:
    void upload();

    std::size_t stride_;              // bytes per vertex
    std::size_t capacity_;            // vertices that fit without growing
    std::size_t count_ = 0;           // vertices written by the last map/unmap
    std::size_t uploaded_ = 0;        // vertices uploaded: count_, or more when padded
    unsigned int usage_;              // GL usage hint
    unsigned int name_ = 0;           // GL buffer object, 0 when none
    bool dirty_ = false;              // data not yet in the buffer object
    std::vector<std::uint8_t> data_;  // CPU copy of the vertices
};

}  // namespace engine::window
