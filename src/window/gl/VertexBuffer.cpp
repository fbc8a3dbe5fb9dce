#include "engine/window/VertexBuffer.h"

#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/Window.h"

#include <algorithm>

namespace engine::window {

namespace {
bool buffer_objects_supported = false;  // off until told otherwise for a context

// Buffer objects can be used: they are wanted, a context exists and GL has them.
bool use_buffer_objects() {
    return buffer_objects_supported && Window::get_current() && glBindBuffer && glGenBuffers && glBufferData;
}
}  // namespace

VertexBuffer::VertexBuffer(std::size_t stride, std::size_t capacity, unsigned int usage)
    : stride_(stride), capacity_(capacity), usage_(usage), data_(stride * capacity) {}

VertexBuffer::~VertexBuffer() { release(); }

void* VertexBuffer::map(std::size_t count) { return map(count, count); }

void* VertexBuffer::map(std::size_t count, std::size_t readable) {
    const std::size_t needed = std::max(count, readable);
    if (needed > capacity_) {
        // Doubling keeps a slowly growing vertex count from reallocating every frame.
        capacity_ = std::max(needed, capacity_ * 2);
        data_.resize(capacity_ * stride_);
    }
    if (needed > count)
        std::fill(data_.begin() + std::ptrdiff_t(count * stride_), data_.begin() + std::ptrdiff_t(needed * stride_),
                  std::uint8_t(0));
    count_ = count;
    uploaded_ = needed;
    return data_.data();
}

void VertexBuffer::unmap() {
    dirty_ = true;
    if (use_buffer_objects()) upload();
}

const void* VertexBuffer::bind() {
    if (use_buffer_objects()) {
        if (dirty_ || name_ == 0) upload();
        glBindBuffer(GL_ARRAY_BUFFER, name_);
        return nullptr;  // offset 0 into the bound buffer object
    }
    unbind();  // gl*Pointer must see client memory, not a buffer left bound
    return data_.data();
}

void VertexBuffer::unbind() {
    if (Window::get_current() && glBindBuffer) glBindBuffer(GL_ARRAY_BUFFER, 0);
}

void VertexBuffer::release() {
    if (name_ != 0 && Window::get_current() && glDeleteBuffers) glDeleteBuffers(1, &name_);
    name_ = 0;
    dirty_ = true;
}

void VertexBuffer::release_gpu() { release(); }

// The data stays on the CPU: the next bind uploads it into the new context.
void VertexBuffer::restore_gpu() {}

void VertexBuffer::set_buffer_objects_supported(bool supported) { buffer_objects_supported = supported; }

// Leaves no buffer object bound: an upload happens during an update, and a buffer
// left bound would turn every later client-memory draw of the frame into offsets into
// this buffer.
void VertexBuffer::upload() {
    if (name_ == 0) glGenBuffers(1, &name_);
    glBindBuffer(GL_ARRAY_BUFFER, name_);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(uploaded_ * stride_), data_.data(), GLenum(usage_));
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    dirty_ = false;
}

}  // namespace engine::window
