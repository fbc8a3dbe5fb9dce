#include "engine/graphics/GLState.h"

#include "core/TestSupport.h"
#include "support/GraphicsContext.h"

#include "engine/graphics/SceneObject.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/VertexBuffer.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using engine::core::test::LogCapture;
using engine::graphics::GLState;
using engine::window::VertexBuffer;
namespace gl = engine::window;  // the GL entry points beyond 1.1

namespace {

struct GLStateTest : engine::test::GraphicsContext {
    // The first difference found (a blend function counts as four), or a note that
    // there was none.
    static std::string first_difference() {
        const std::vector<std::string> found = GLState::differences();
        return found.empty() ? std::string("no difference") : found.front();
    }
    static bool mentions(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
};

// A scene object that draws nothing: the subject of check reports.
struct Marker : engine::graphics::SceneObject {};

TEST_F(GLStateTest, AppliedBaselineHasNoDifferences) {
    GLState::apply();
    EXPECT_TRUE(GLState::differences().empty());
}

TEST_F(GLStateTest, EachDepartureIsNamed) {
    struct Case {
        void (*depart)();
        const char* named;
    };
    const Case cases[] = {
        {[] { gl::glBindBuffer(GL_ARRAY_BUFFER, 1); }, "GL_ARRAY_BUFFER bound to 1"},
        {[] { glEnableClientState(GL_COLOR_ARRAY); }, "GL_COLOR_ARRAY enabled"},
        {[] { glDisableClientState(GL_TEXTURE_COORD_ARRAY); }, "GL_TEXTURE_COORD_ARRAY disabled"},
        {[] { glColor4f(1.0f, 0.0f, 0.0f, 1.0f); }, "current colour is (1, 0, 0, 1)"},
        {[] { glDisable(GL_BLEND); }, "GL_BLEND disabled"},
        {[] { glBlendFunc(GL_ONE, GL_ONE); }, "blend source factor"},
        {[] { glPointSize(2.0f); }, "point size"},
        {[] { glLineWidth(3.0f); }, "line width"},
        {[] { glMatrixMode(GL_PROJECTION); }, "matrix mode"},
        {[] { glPixelStorei(GL_UNPACK_ALIGNMENT, 1); }, "GL_UNPACK_ALIGNMENT is 1"},
        {[] { glEnable(GL_DEPTH_TEST); }, "GL_DEPTH_TEST enabled"},
    };
    for (const Case& c : cases) {
        GLState::apply();
        c.depart();
        const std::string found = first_difference();
        EXPECT_TRUE(mentions(found, c.named)) << "expected '" << c.named << "', got '" << found << "'";
    }
    GLState::apply();
}

TEST_F(GLStateTest, AnotherActiveUnitAndItsTexturingAreNamed) {
    if (!gl::glActiveTexture) GTEST_SKIP() << "no multitexturing";
    GLState::apply();
    gl::glActiveTexture(GL_TEXTURE1);
    glEnable(GL_TEXTURE_2D);
    const std::vector<std::string> found = GLState::differences();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_TRUE(mentions(found[0], "active texture unit is 0x84C1"));
    EXPECT_TRUE(mentions(found[1], "GL_TEXTURE_2D enabled on texture unit 1"));
    GLState::apply();
    EXPECT_TRUE(GLState::differences().empty());
}

TEST_F(GLStateTest, TexturingOnUnitZeroIsLeftToEachPath) {
    GLState::apply();
    glEnable(GL_TEXTURE_2D);
    EXPECT_TRUE(GLState::differences().empty());
    glDisable(GL_TEXTURE_2D);
    EXPECT_TRUE(GLState::differences().empty());
}

TEST_F(GLStateTest, ModelviewDepthIsComparedOnlyWhenAsked) {
    GLState::apply();
    const int depth = GLState::get_modelview_depth();
    glPushMatrix();
    EXPECT_TRUE(GLState::differences().empty());
    EXPECT_EQ(GLState::differences(depth).size(), 1u);
    glPopMatrix();
    EXPECT_TRUE(GLState::differences(depth).empty());
}

TEST_F(GLStateTest, CheckNamesTheObjectLogsOnceAndRestores) {
    GLState::apply();
    Marker marker;
    marker.set_id("marker");
    const std::size_t before = GLState::get_violation_count();
    LogCapture log;
    glColor4f(0.0f, 1.0f, 0.0f, 1.0f);
    glPointSize(4.0f);
    EXPECT_FALSE(GLState::check("after the render", &marker));
    EXPECT_EQ(GLState::get_violation_count(), before + 1);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);
    const std::string& message = entries.front().message;
    EXPECT_TRUE(mentions(message, "GL state after the render of Marker 'marker' differs from the baseline"))
        << message;
    EXPECT_TRUE(mentions(message, "current colour")) << message;
    EXPECT_TRUE(mentions(message, "point size")) << message;
    EXPECT_TRUE(GLState::differences().empty());
    // The test's own fixture counts violations: this one was on purpose.
    EXPECT_TRUE(GLState::check("after the render", &marker));
    marker.set_id("");
    forgive(1);
}

TEST_F(GLStateTest, CheckIsSilentWhenSwitchedOff) {
    GLState::apply();
    GLState::set_checking(false);
    glColor4f(0.0f, 1.0f, 0.0f, 1.0f);
    const std::size_t before = GLState::get_violation_count();
    EXPECT_TRUE(GLState::check("after a scene listener's hook"));
    EXPECT_EQ(GLState::get_violation_count(), before);
    GLState::set_checking(true);
    GLState::apply();
}

// An update writes vertices and uploads them; what is drawn afterwards from client
// memory must not read offsets into that buffer.
TEST_F(GLStateTest, VertexBufferUploadLeavesNoBufferBound) {
    VertexBuffer::set_buffer_objects_supported(true);
    GLState::apply();
    VertexBuffer buffer(8, 4, GL_DYNAMIC_DRAW);
    auto* vertices = static_cast<float*>(buffer.map(4));
    for (int i = 0; i < 8; ++i) vertices[i] = float(i);
    buffer.unmap();
    EXPECT_NE(buffer.get_name(), 0u);
    EXPECT_TRUE(GLState::differences().empty()) << first_difference();
    // Drawing binds it for the draw; the drawing code unbinds it afterwards.
    EXPECT_EQ(buffer.bind(), nullptr);
    GLint bound = 0;
    glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &bound);
    EXPECT_EQ(GLuint(bound), buffer.get_name());
    VertexBuffer::unbind();
    EXPECT_TRUE(GLState::differences().empty());
}

}  // namespace
