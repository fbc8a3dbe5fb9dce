#include "engine/graphics/Program.h"

#include "core/TestSupport.h"
#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/Texture.h"

#include <gtest/gtest.h>

using engine::core::test::LogCapture;
using engine::graphics::FragmentProgram;
using engine::graphics::Framebuffer;
using engine::graphics::Program;
using engine::graphics::Texture;
using engine::graphics::VertexProgram;

// Programs before any GL context: the Cg context is made with the first GL context,
// so until then nothing compiles and every operation is harmless. (A test elsewhere
// in the same process may already have opened a context; these then have nothing to
// show and are skipped.)

namespace {

const char* const kSource =
    "float4 fp_main(uniform float3 tint) : COLOR0 { return float4(tint, 1); }\n"
    "float4 vp_main(float4 p : POSITION) : POSITION { return p; }\n";

class ProgramWithoutContext : public ::testing::Test {
protected:
    void SetUp() override {
        if (Program::is_supported()) GTEST_SKIP() << "a Cg context already exists in this process";
    }

    LogCapture log;  // nothing may be written
};

}  // namespace

TEST_F(ProgramWithoutContext, IsNotSupported) {
    EXPECT_FALSE(Program::is_supported());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ProgramWithoutContext, SetSourceFailsQuietly) {
    FragmentProgram fragment;
    VertexProgram vertex;
    EXPECT_FALSE(fragment.set_source(kSource, "fp_main"));
    EXPECT_FALSE(vertex.set_source(kSource, "vp_main"));
    EXPECT_FALSE(fragment.set_source("this is not Cg", "main"));
    EXPECT_FALSE(fragment.is_compiled());
    EXPECT_FALSE(vertex.is_compiled());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ProgramWithoutContext, NewProgramIsEmpty) {
    Program program(7000);
    EXPECT_FALSE(program.is_compiled());
    EXPECT_EQ(program.get_parameter("tint"), nullptr);
}

TEST_F(ProgramWithoutContext, ReloadOfAnEmptyProgramFails) {
    FragmentProgram program;
    EXPECT_FALSE(program.reload());
    EXPECT_FALSE(program.is_compiled());
}

TEST_F(ProgramWithoutContext, BindUnbindAndReleaseOfAnEmptyProgramDoNothing) {
    VertexProgram program;
    program.bind();
    program.unbind();
    program.release();
    program.bind();
    EXPECT_FALSE(program.is_compiled());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ProgramWithoutContext, SettersWithUnknownNamesDoNothing) {
    FragmentProgram program;
    float values[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    program.set_parameter("tint", 1.0f);
    program.set_parameter("missing", 1.0f);
    for (unsigned int components = 0; components <= 5; ++components) {
        program.set_parameter("tint", values, components);
        program.set_parameter("tint", values, components, 4);
    }
    Texture texture(nullptr, {0, 0}, 4);
    program.set_texture("diffuse_texture", texture);
    Framebuffer framebuffer;
    program.set_texture("diffuse_texture", framebuffer);
    program.unbind();
    EXPECT_EQ(program.get_parameter("tint"), nullptr);
    EXPECT_EQ(program.get_parameter("diffuse_texture"), nullptr);
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ProgramWithoutContext, ContextLossAndCreationHooksWithEmptyProgramsAreHarmless) {
    VertexProgram vertex;
    FragmentProgram fragment;
    Program::on_context_destroyed();  // releases every program: nothing to release
    EXPECT_FALSE(vertex.is_compiled());
    EXPECT_FALSE(fragment.is_compiled());
}

TEST_F(ProgramWithoutContext, CopiesOfAnEmptyProgramAreEmpty) {
    FragmentProgram source;
    Program copy(source);
    EXPECT_FALSE(copy.is_compiled());
    Program assigned(6150);
    assigned = source;
    EXPECT_FALSE(assigned.is_compiled());
    EXPECT_FALSE(copy.set_source(kSource, "fp_main"));
    // Destroying copies in any order leaves the others usable.
    { Program temporary(copy); }
    EXPECT_FALSE(copy.reload());
    Program::on_context_destroyed();
}
