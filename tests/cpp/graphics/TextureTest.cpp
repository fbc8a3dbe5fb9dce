#include "engine/graphics/Texture.h"

#include "support/GraphicsContext.h"

#include "engine/window/OpenGLEntryPoints.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

using engine::graphics::Texture;

namespace {

// A window whose context the graphics module follows, and a 2 x 2 texture made from
// bytes. Tests start and end with unit 0 active.
class TextureInContext : public engine::test::GraphicsContext {
protected:
    TextureInContext() : GraphicsContext(64, 64, "textures") {}

    void SetUp() override {
        GraphicsContext::SetUp();
        if (!IsSkipped()) engine::window::glActiveTexture(GL_TEXTURE0);
    }
    void TearDown() override {
        if (window_) engine::window::glActiveTexture(GL_TEXTURE0);
        GraphicsContext::TearDown();
    }

    static GLint active_unit() {
        GLint unit = 0;
        glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
        return unit;
    }
    static bool texturing_on(GLenum unit) {
        const GLint was = active_unit();
        engine::window::glActiveTexture(unit);
        const bool on = glIsEnabled(GL_TEXTURE_2D);
        engine::window::glActiveTexture(GLenum(was));
        return on;
    }

    const unsigned char pixels_[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
};

}  // namespace

TEST_F(TextureInContext, BindToUnitZeroNeverChangesTheActiveUnit) {
    Texture texture(pixels_, {2, 2}, 4);
    engine::window::glActiveTexture(GL_TEXTURE1);
    texture.bind(0);
    EXPECT_EQ(active_unit(), GL_TEXTURE1);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), texture.get_name());
}

TEST_F(TextureInContext, BindToAnotherUnitLeavesUnitZeroActive) {
    Texture texture(pixels_, {2, 2}, 4);
    texture.bind(2);
    EXPECT_EQ(active_unit(), GL_TEXTURE0);
    EXPECT_TRUE(texturing_on(GL_TEXTURE2));
    engine::window::glActiveTexture(GL_TEXTURE2);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), texture.get_name());
}

TEST_F(TextureInContext, BindAppliesTheWrapMode) {
    Texture texture(pixels_, {2, 2}, 4);
    texture.set_wrap_mode(GL_REPEAT);
    texture.bind(0);
    GLint wrap = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    EXPECT_EQ(wrap, GL_REPEAT);
    texture.set_wrap_mode(GL_CLAMP_TO_EDGE);
    texture.bind(0);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, &wrap);
    EXPECT_EQ(wrap, GL_CLAMP_TO_EDGE);
}

TEST_F(TextureInContext, UnbindBelowOneDisablesOnlyTheActiveUnit) {
    Texture texture(pixels_, {2, 2}, 4);
    texture.bind(0);
    texture.bind(1);
    Texture::unbind(0);
    EXPECT_FALSE(texturing_on(GL_TEXTURE0));
    EXPECT_TRUE(texturing_on(GL_TEXTURE1));
    texture.bind(0);
    Texture::unbind(-1);
    EXPECT_FALSE(texturing_on(GL_TEXTURE0));
    EXPECT_EQ(active_unit(), GL_TEXTURE0);
}

TEST_F(TextureInContext, UnbindOfAnotherUnitLeavesUnitZeroActive) {
    Texture texture(pixels_, {2, 2}, 4);
    texture.bind(0);
    texture.bind(3);
    Texture::unbind(3);
    EXPECT_FALSE(texturing_on(GL_TEXTURE3));
    EXPECT_TRUE(texturing_on(GL_TEXTURE0));
    EXPECT_EQ(active_unit(), GL_TEXTURE0);
}

TEST_F(TextureInContext, RawBytesUploadAsRgbOrWithTheGivenComponentCount) {
    Texture rgb(pixels_, {2, 2}, 3);
    Texture rgba(pixels_, {2, 2}, 4);
    EXPECT_EQ(rgb.get_dimensions(), engine::core::Vector<int>(2, 2));
    GLint format = 0;
    glBindTexture(GL_TEXTURE_2D, rgb.get_name());
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_RED_SIZE, &format);
    EXPECT_GT(format, 0);
    GLint alpha_bits = -1;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_ALPHA_SIZE, &alpha_bits);
    EXPECT_EQ(alpha_bits, 0);  // three components: no alpha
    glBindTexture(GL_TEXTURE_2D, rgba.get_name());
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_ALPHA_SIZE, &alpha_bits);
    EXPECT_GT(alpha_bits, 0);
}

TEST_F(TextureInContext, AnEmptyPictureIsNotUploaded) {
    Texture empty(pixels_, {0, 0}, 4);
    EXPECT_TRUE(empty.is_valid());
    EXPECT_EQ(empty.get_name(), 0u);
    EXPECT_EQ(empty.get_dimensions(), engine::core::Vector<int>(0, 0));
}

TEST_F(TextureInContext, CopiesShareTheirData) {
    Texture texture(pixels_, {2, 2}, 4);
    texture.set_wrap_mode(GL_REPEAT);
    Texture copy(texture);
    EXPECT_EQ(copy.get_data(), texture.get_data());
    EXPECT_EQ(copy.get_wrap_mode(), unsigned(GL_REPEAT));
}
