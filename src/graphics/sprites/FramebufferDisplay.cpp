#include "engine/graphics/FramebufferDisplay.h"
#include "engine/graphics/Shape.h"

#include "engine/graphics/Framebuffer.h"

#include <GL/gl.h>

namespace engine::graphics {

FramebufferDisplay::FramebufferDisplay(Framebuffer* framebuffer) : framebuffer_(framebuffer) {}

FramebufferDisplay::~FramebufferDisplay() = default;

core::Vector<float> FramebufferDisplay::get_dimensions() const {
    if (dimensions_.x != -1.0f || dimensions_.y != -1.0f || !framebuffer_) return dimensions_;
    const core::Vector<int>& d = framebuffer_->get_dimensions();
    return {float(d.x), float(d.y)};
}

void FramebufferDisplay::get_shape(Shape& out) {
    out.clear();
    if (!framebuffer_) return;
    const core::Vector<float> size = get_dimensions();
    out.add_rectangle(-origin_, size - origin_, get_world_transform());
}

void FramebufferDisplay::on_render() {
    if (!framebuffer_ || !framebuffer_->get_texture_name()) return;
    const core::Vector<float> size = get_dimensions();
    const float left = -origin_.x, top = -origin_.y;
    const float right = size.x - origin_.x, bottom = size.y - origin_.y;
    // The texture's first row is the bottom of the captured picture.
    const GLfloat vertices[] = {left, top, left, bottom, right, top, right, bottom};
    const GLfloat coordinates[] = {0, 1, 0, 0, 1, 1, 1, 0};

    glPushMatrix();
    load_into_opengl();
    framebuffer_->bind_as_texture(0);
    glColor4fv(colour_);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glVertexPointer(2, GL_FLOAT, 0, vertices);
    glTexCoordPointer(2, GL_FLOAT, 0, coordinates);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisable(GL_TEXTURE_2D);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glPopMatrix();
}

}  // namespace engine::graphics
