#include "engine/graphics/SpriteBatch.h"

#include "engine/graphics/Texture.h"
#include "engine/window/OpenGL.h"

#include <GL/gl.h>

namespace engine::graphics {

static_assert(sizeof(SpriteBatch::Vertex) == 32, "vertices are drawn as 32-byte records");

void SpriteBatch::set_state(Texture* texture, const core::Matrix& layer_transform) {
    if (texture == texture_ && layer_transform == layer_transform_) return;
    flush();
    texture_ = texture;
    layer_transform_ = layer_transform;
}

SpriteBatch::Vertex* SpriteBatch::add_triangles(std::size_t count) {
    const std::size_t needed = used_ + 3 * count;
    if (needed > vertices_.size()) vertices_.resize(std::max(needed, 2 * vertices_.size()));
    Vertex* room = vertices_.data() + used_;
    used_ = needed;
    return room;
}

void SpriteBatch::flush() {
    if (used_ == 0) return;
    // The same GL work, in the same order, as an object drawing itself: its layer
    // matrix onto the stack, its texture bound, its triangles drawn.
    const bool layered = !layer_transform_.is_identity();
    if (layered) {
        glPushMatrix();
        window::load_into_opengl(layer_transform_);
    }
    if (texture_)
        texture_->bind(0);
    else
        glDisable(GL_TEXTURE_2D);

    draw_triangles(vertices_.data(), used_);

    if (layered) glPopMatrix();
    used_ = 0;
}

void SpriteBatch::draw_triangles(const Vertex* vertices, std::size_t count) {
    const GLsizei stride = sizeof(Vertex);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glEnableClientState(GL_COLOR_ARRAY);
    glVertexPointer(2, GL_FLOAT, stride, vertices[0].position);
    glColorPointer(4, GL_FLOAT, stride, static_cast<const float*>(vertices[0].colour));
    glTexCoordPointer(2, GL_FLOAT, stride, vertices[0].texcoord);
    glDrawArrays(GL_TRIANGLES, 0, GLsizei(count));
    glDisableClientState(GL_COLOR_ARRAY);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);  // a colour-array draw leaves the current colour undefined
}

}  // namespace engine::graphics
