#include "WindowFixture.h"

#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"

#include <cmath>

namespace engine::window::test {

TEST(OpenGLWithoutContext, NoExtensionIsSupported) {
    ASSERT_EQ(Window::get_current(), nullptr);
    EXPECT_FALSE(is_opengl_extension_supported("GL_ARB_vertex_buffer_object"));
}

TEST_F(WindowFixture, ExtensionsMatchWholeNamesOnly) {
    EXPECT_TRUE(is_opengl_extension_supported("GL_ARB_vertex_buffer_object"));
    EXPECT_TRUE(is_opengl_extension_supported("GL_EXT_framebuffer_object"));
    EXPECT_FALSE(is_opengl_extension_supported("GL_ARB_vertex_buffer"));
    EXPECT_FALSE(is_opengl_extension_supported("ARB_vertex_buffer_object"));
    EXPECT_FALSE(is_opengl_extension_supported("GL_made_up_extension"));
    EXPECT_FALSE(is_opengl_extension_supported(""));
    EXPECT_FALSE(is_opengl_extension_supported("GL_ARB_vertex_buffer_object GL_EXT_framebuffer_object"));
}

TEST_F(WindowFixture, LoadIntoOpenGLMultipliesTheCurrentMatrix) {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glScalef(2.0f, 2.0f, 2.0f);
    load_into_opengl(core::Matrix(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f));
    GLfloat m[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    const GLfloat expected[16] = {2, 4, 0, 0, 6, 8, 0, 0, 0, 0, 2, 0, 10, 12, 0, 1};
    for (int i = 0; i < 16; ++i) EXPECT_FLOAT_EQ(m[i], expected[i]) << "element " << i;
}

TEST_F(WindowFixture, LoadIntoOpenGLMapsPointsAsTheMatrixDoes) {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    const core::Matrix matrix(core::Vector<float>(3.0f, -1.0f), 0.5f);
    load_into_opengl(matrix);
    GLfloat m[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    const core::Vector<float> p(2.0f, 7.0f);
    const core::Vector<float> q = p * matrix;
    EXPECT_NEAR(m[0] * p.x + m[4] * p.y + m[12], q.x, 1e-5);
    EXPECT_NEAR(m[1] * p.x + m[5] * p.y + m[13], q.y, 1e-5);
}

}  // namespace engine::window::test
