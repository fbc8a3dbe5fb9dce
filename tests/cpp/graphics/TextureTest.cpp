#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureDatabase.h"

#include "support/GraphicsContext.h"

#include "engine/window/OpenGLEntryPoints.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

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

namespace {

// The texture's level-0 RGBA texels, first row first.
std::vector<unsigned char> texels(const Texture& texture) {
    const engine::core::Vector<int> size = texture.get_dimensions();
    std::vector<unsigned char> data(std::size_t(size.x) * std::size_t(size.y) * 4);
    glBindTexture(GL_TEXTURE_2D, texture.get_name());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, data.data());
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glBindTexture(GL_TEXTURE_2D, 0);
    return data;
}

}  // namespace

TEST_F(TextureInContext, UpdatePixelsWritesARegionInPlace) {
    Texture texture(pixels_, {2, 2}, 4);
    const unsigned int name = texture.get_name();
    const unsigned char black[4] = {0, 0, 0, 255};
    ASSERT_TRUE(texture.update_pixels(black, 4, {1, 1}, {1, 1}));  // the bottom right pixel
    EXPECT_EQ(texture.get_name(), name);
    std::vector<unsigned char> expected(pixels_, pixels_ + 16);
    std::copy(black, black + 4, expected.begin() + 12);
    EXPECT_EQ(texels(texture), expected);
}

TEST_F(TextureInContext, UpdatePixelsConvertsRgbToOpaqueRgba) {
    Texture texture(pixels_, {2, 1}, 4);
    const unsigned char rgb[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(texture.update_pixels(rgb, 3, {0, 0}, {2, 1}));
    EXPECT_EQ(texels(texture), (std::vector<unsigned char>{1, 2, 3, 255, 4, 5, 6, 255}));
}

TEST_F(TextureInContext, UpdatePixelsRefusesRegionsOutsideThePicture) {
    Texture texture(pixels_, {2, 2}, 4);
    const unsigned char any[16] = {};
    EXPECT_FALSE(texture.update_pixels(any, 4, {1, 0}, {2, 1}));
    EXPECT_FALSE(texture.update_pixels(any, 4, {0, -1}, {1, 1}));
    EXPECT_FALSE(texture.update_pixels(any, 4, {0, 0}, {0, 1}));
    EXPECT_FALSE(texture.update_pixels(any, 2, {0, 0}, {1, 1}));
    EXPECT_EQ(texels(texture), std::vector<unsigned char>(pixels_, pixels_ + 16));
}

TEST_F(TextureInContext, PixelsAndTheirUpdatesComeBackWithANewContext) {
    Texture texture(pixels_, {2, 2}, 4);
    const unsigned char grey[4] = {7, 7, 7, 7};
    ASSERT_TRUE(texture.update_pixels(grey, 4, {0, 0}, {1, 1}));
    const std::vector<unsigned char> before = texels(texture);
    window_->set_video_mode(48, 48);
    EXPECT_NE(texture.get_name(), 0u);
    EXPECT_EQ(texture.get_dimensions(), engine::core::Vector<int>(2, 2));
    EXPECT_EQ(texels(texture), before);
}

TEST_F(TextureInContext, ANameSharesPicturesMadeFromBytesUntilForgotten) {
    using engine::graphics::TextureDatabase;
    Texture texture(pixels_, {2, 2}, 4);
    ASSERT_TRUE(TextureDatabase::add("pixels-by-name", texture.get_data()));
    EXPECT_FALSE(TextureDatabase::add("pixels-by-name", texture.get_data()));  // taken
    Texture by_name("pixels-by-name");
    EXPECT_EQ(by_name.get_data(), texture.get_data());
    TextureDatabase::purge();  // nothing could bring the pixels back: kept
    EXPECT_TRUE(TextureDatabase::contains("pixels-by-name"));
    EXPECT_TRUE(TextureDatabase::forget("pixels-by-name"));
    EXPECT_FALSE(TextureDatabase::contains("pixels-by-name"));
    EXPECT_FALSE(TextureDatabase::forget("pixels-by-name"));
    EXPECT_NE(texture.get_name(), 0u);
}
