// Shader programs in a real context; they look inside programs with the Cg toolkit's own calls.
#ifdef ENGINE_HAS_CG

#include "engine/graphics/Program.h"

#include "support/GraphicsContext.h"

#include "engine/core/Log.h"
#include "engine/graphics/Texture.h"

#include <Cg/cgGL.h>
#include <GL/gl.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using engine::core::Log::Level;
using engine::graphics::FragmentProgram;
using engine::graphics::Program;
using engine::graphics::Texture;

namespace {

const char* const kSource =
    "float4 main(uniform float4 tint, uniform sampler2D picture, float2 uv : TEXCOORD0) : COLOR0\n"
    "{\n"
    "return tex2D(picture, uv) * tint;\n"
    "}\n";

// A window whose context the graphics module follows, so the Cg context exists.
class ProgramContext : public engine::test::GraphicsContext {
protected:
    ProgramContext() : GraphicsContext(64, 64, "programs") {}

    void SetUp() override {
        GraphicsContext::SetUp();
        if (IsSkipped()) return;
        if (!Program::is_supported()) GTEST_SKIP() << "no Cg support";
    }
    void TearDown() override {
        GraphicsContext::TearDown();
        engine::core::Log::set_sink({});
    }
};

}  // namespace

TEST_F(ProgramContext, CompilesAndBinds) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    program.bind();
    program.unbind();
}

TEST_F(ProgramContext, FiveComponentsDoNothing) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    const float four[4] = {0.25f, 0.5f, 0.75f, 1.0f};
    program.set_parameter("tint", four, 4);
    const float five[5] = {9.0f, 9.0f, 9.0f, 9.0f, 9.0f};
    program.set_parameter("tint", five, 5);
    float value[4] = {};
    cgGLGetParameter4f(program.get_parameter("tint"), value);
    EXPECT_EQ(value[0], 0.25f);
    EXPECT_EQ(value[3], 1.0f);
}

TEST_F(ProgramContext, MissedNamesAreLookedUpAgainAndNotCached) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    EXPECT_EQ(program.get_parameter("absent"), nullptr);
    EXPECT_EQ(program.get_parameter("absent"), nullptr);
    EXPECT_EQ(program.get_cached_parameter_count(), 0u);
    program.set_parameter("absent", 1.0f);  // nothing, no message
    EXPECT_NE(program.get_parameter("tint"), nullptr);
    EXPECT_EQ(program.get_cached_parameter_count(), 1u);
}

TEST_F(ProgramContext, UnbindDisablesATextureSetTwiceOnce) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    const unsigned char pixels[4] = {255, 255, 255, 255};
    Texture texture(pixels, {1, 1}, 4);
    program.bind();
    program.set_texture("picture", texture);
    program.set_texture("picture", texture);
    EXPECT_EQ(program.get_enabled_texture_count(), 1u);
    program.unbind();
    EXPECT_EQ(program.get_enabled_texture_count(), 0u);
}

TEST_F(ProgramContext, CompileErrorLogsTheErrorThenTheListing) {
    std::vector<std::string> errors;
    engine::core::Log::set_sink([&](Level level, const std::string&, const std::string& message) {
        if (level == Level::Error) errors.push_back(message);
    });
    FragmentProgram program;
    EXPECT_FALSE(program.set_source("float4 main( : COLOR0 { this is not Cg }", "main"));
    EXPECT_FALSE(program.is_compiled());
    ASSERT_GE(errors.size(), 2u);
    EXPECT_EQ(errors[0].rfind("Cg error: ", 0), 0u) << errors[0];
    EXPECT_FALSE(errors[1].empty());
}

TEST_F(ProgramContext, ProgramsComeBackWithANewContext) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    window().set_video_mode(32, 32);
    EXPECT_TRUE(program.is_compiled());
    program.bind();
    program.unbind();
}

// Handing a texture to a sampler binds nothing: its wrap mode lands on the texture the
// active unit is drawing with, and that texture's next bind(unit) writes its own again.
TEST_F(ProgramContext, SamplerTextureWrapModeLandsOnTheActiveUnitsTexture) {
    FragmentProgram program;
    ASSERT_TRUE(program.set_source(kSource, "main"));
    const unsigned char pixels[4] = {255, 255, 255, 255};
    Texture drawn(pixels, {1, 1}, 4);
    drawn.set_wrap_mode(GL_CLAMP_TO_EDGE);
    drawn.bind(0);
    Texture sampled(pixels, {1, 1}, 4);
    sampled.set_wrap_mode(GL_REPEAT);
    sampled.bind(program.get_parameter("picture"));

    GLint bound = 0, wrap = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), drawn.get_name());
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    EXPECT_EQ(wrap, GL_REPEAT);
    drawn.bind(0);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    EXPECT_EQ(wrap, GL_CLAMP_TO_EDGE);
}

#endif  // ENGINE_HAS_CG
