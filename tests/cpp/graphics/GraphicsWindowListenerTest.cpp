#include "module/GraphicsWindowListener.h"

#include "support/GLContext.h"

#include "engine/graphics/Module.h"
#include "engine/window/VertexBuffer.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

using engine::graphics::GraphicsWindowListener;

namespace {

// A 320 x 240 window whose context the tests hand to the listener or the module
// themselves.
class ListenerContext : public engine::test::GLContext {
protected:
    ListenerContext() : GLContext(320, 240, "listener test") {}
};
using ModuleContext = ListenerContext;

struct Viewport {
    GLint v[4];
};

Viewport viewport() {
    Viewport result;
    glGetIntegerv(GL_VIEWPORT, result.v);
    return result;
}

}  // namespace

TEST_F(ListenerContext, ResizeBeforeCreateLeavesViewportAlone) {
    GraphicsWindowListener listener;  // never told on_create
    glViewport(0, 0, 10, 10);
    listener.on_resize(window_.get(), {200, 100});
    EXPECT_EQ(viewport().v[2], 10);
    EXPECT_EQ(viewport().v[3], 10);
}

TEST_F(ListenerContext, ResizeAfterCreateSetsViewport) {
    GraphicsWindowListener listener;
    listener.on_create(window_.get());
    EXPECT_TRUE(listener.is_context_open());
    listener.on_resize(window_.get(), {200, 100});
    EXPECT_EQ(viewport().v[2], 200);
    EXPECT_EQ(viewport().v[3], 100);
    listener.on_destroy(window_.get());
    EXPECT_FALSE(listener.is_context_open());
    glViewport(0, 0, 10, 10);
    listener.on_resize(window_.get(), {200, 100});
    EXPECT_EQ(viewport().v[2], 10);
}

TEST_F(ListenerContext, CreateSetsClearColourAndClientArrays) {
    glClearColor(0.5f, 0.5f, 0.5f, 0.5f);
    glDisableClientState(GL_VERTEX_ARRAY);
    GraphicsWindowListener listener;
    listener.on_create(window_.get());
    GLfloat clear[4];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear);
    EXPECT_EQ(clear[0], 0.0f);
    EXPECT_EQ(clear[3], 1.0f);
    EXPECT_TRUE(glIsEnabled(GL_VERTEX_ARRAY));
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_COORD_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
    GLint face;
    glGetIntegerv(GL_CULL_FACE_MODE, &face);
    EXPECT_EQ(face, GL_BACK);
}

TEST_F(ModuleContext, SetOrthoWithoutWindowLeavesProjectionAlone) {
    engine::graphics::set_window(nullptr);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glScalef(2.0f, 3.0f, 1.0f);
    glMatrixMode(GL_MODELVIEW);
    engine::graphics::set_ortho();
    GLfloat m[16];
    glGetFloatv(GL_PROJECTION_MATRIX, m);
    EXPECT_EQ(m[0], 2.0f);
    EXPECT_EQ(m[5], 3.0f);
}

TEST_F(ModuleContext, SetOrthoMapsPixelsWithOriginTopLeft) {
    engine::graphics::set_window(window_.get());
    EXPECT_TRUE(engine::graphics::is_context_open());
    engine::graphics::set_ortho();
    GLfloat m[16];
    glGetFloatv(GL_PROJECTION_MATRIX, m);
    EXPECT_FLOAT_EQ(m[0], 2.0f / 320.0f);
    EXPECT_FLOAT_EQ(m[5], -2.0f / 240.0f);
    EXPECT_FLOAT_EQ(m[12], -1.0f);
    EXPECT_FLOAT_EQ(m[13], 1.0f);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    engine::graphics::set_window(nullptr);
}

TEST_F(ListenerContext, BuffersDieWithTheContextAndComeBackWhenUsed) {
    engine::graphics::set_window(window_.get());
    ASSERT_TRUE(engine::graphics::are_vertex_buffer_objects_supported());
    {
        engine::window::VertexBuffer buffer(8, 4, GL_STREAM_DRAW);
        buffer.map(4);
        buffer.unmap();
        EXPECT_NE(buffer.get_name(), 0u);
        window().set_video_mode(160, 120);  // the window releases every GPU resource
        EXPECT_EQ(buffer.get_name(), 0u);
        buffer.map(2);
        buffer.unmap();
        EXPECT_NE(buffer.get_name(), 0u);
    }
    engine::graphics::set_window(nullptr);
}
