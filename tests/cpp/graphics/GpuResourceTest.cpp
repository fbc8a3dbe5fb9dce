#include "support/GraphicsContext.h"

#include "engine/core/Ref.h"
#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/Program.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureData.h"
#include "engine/window/GpuResource.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/VertexBuffer.h"
#include "engine/window/Window.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glx.h>

#include <memory>
#include <type_traits>
#include <vector>

using engine::graphics::Framebuffer;
using engine::graphics::FragmentProgram;
using engine::graphics::Program;
using engine::graphics::Texture;
using engine::graphics::TextureData;
using engine::window::GpuResource;
using engine::window::VertexBuffer;

namespace {

// One owner per GL object: none of the kinds can be copied by accident.
static_assert(!std::is_copy_constructible_v<Framebuffer> && !std::is_copy_assignable_v<Framebuffer>);
static_assert(!std::is_copy_constructible_v<Program> && !std::is_copy_assignable_v<Program>);
static_assert(!std::is_copy_constructible_v<TextureData> && !std::is_copy_assignable_v<TextureData>);
static_assert(!std::is_copy_constructible_v<VertexBuffer> && !std::is_copy_assignable_v<VertexBuffer>);

const char* const kSource =
    "float4 fp_main(float4 colour : COLOR) : COLOR\n"
    "{\n"
    "return colour;\n"
    "}\n";

// The GL object queries, looked up in the driver: the engine itself never asks them.
template <class Function>
Function entry_point(const char* name) {
    return reinterpret_cast<Function>(glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)));
}

// How many of `names` the current context knows as GL objects of one kind.
template <class IsObject>
int live_names(const std::vector<unsigned int>& names, IsObject is_object) {
    int live = 0;
    for (unsigned int name : names)
        if (name && is_object(name)) ++live;
    return live;
}

int live_textures(const std::vector<unsigned int>& names) {
    return live_names(names, [](unsigned int n) { return glIsTexture(n) == GL_TRUE; });
}

int live_framebuffers(const std::vector<unsigned int>& names) {
    static const auto is_framebuffer = entry_point<PFNGLISFRAMEBUFFEREXTPROC>("glIsFramebufferEXT");
    return live_names(names, [](unsigned int n) { return is_framebuffer(n) == GL_TRUE; });
}

int live_buffers(const std::vector<unsigned int>& names) {
    static const auto is_buffer = entry_point<PFNGLISBUFFERPROC>("glIsBuffer");
    return live_names(names, [](unsigned int n) { return is_buffer(n) == GL_TRUE; });
}

class GpuResources : public engine::test::GraphicsContext {
protected:
    GpuResources() : GraphicsContext(96, 64, "gpu resources") {}
};

}  // namespace

TEST_F(GpuResources, EveryKindIsLiveFromConstructionToDestruction) {
    const std::size_t before = GpuResource::count();
    {
        Framebuffer framebuffer;
        FragmentProgram program;
        VertexBuffer buffer(8, 4, 0x88E0 /* GL_STREAM_DRAW */);
        const unsigned char pixel[4] = {1, 2, 3, 4};
        Texture texture(pixel, {1, 1}, 4);
        EXPECT_EQ(GpuResource::count(), before + 4);
    }
    EXPECT_EQ(GpuResource::count(), before);
}

TEST_F(GpuResources, EveryKindComesBackWithANewContextAndLeavesNothingBehind) {
    if (!engine::window::glGenFramebuffersEXT || !engine::window::glGenBuffers) GTEST_SKIP() << "no FBOs or VBOs";
    std::vector<unsigned int> framebuffers, textures, buffers;
    {
        std::vector<engine::core::Ref<Framebuffer>> targets;
        for (int i = 0; i < 5; ++i) {
            targets.push_back(engine::core::make_ref<Framebuffer>());
            ASSERT_TRUE(targets.back()->create({16 + i, 8}));
        }
        FragmentProgram program;
        const bool compiled = program.set_source(kSource, "fp_main");
        EXPECT_EQ(compiled, Program::is_supported());
        VertexBuffer buffer(8, 4, 0x88E0 /* GL_STREAM_DRAW */);
        buffer.map(4);
        buffer.unmap();

        window().set_video_mode(80, 48);

        // Each came back in the new context, at its own size.
        for (int i = 0; i < 5; ++i) {
            EXPECT_NE(targets[i]->get_framebuffer_name(), 0u);
            EXPECT_EQ(targets[i]->get_dimensions(), engine::core::Vector<int>(16 + i, 8));
            framebuffers.push_back(targets[i]->get_framebuffer_name());
            textures.push_back(targets[i]->get_texture_name());
        }
        EXPECT_EQ(program.is_compiled(), compiled);
        EXPECT_EQ(live_framebuffers(framebuffers), 5);
        EXPECT_EQ(live_textures(textures), 5);
        // A buffer uploads again at its next use.
        EXPECT_EQ(buffer.get_name(), 0u);
        buffer.bind();
        EXPECT_NE(buffer.get_name(), 0u);
        buffers.push_back(buffer.get_name());
        EXPECT_EQ(live_buffers(buffers), 1);
    }
    // Destroyed in the new context: every GL object they had is gone.
    EXPECT_EQ(live_framebuffers(framebuffers), 0);
    EXPECT_EQ(live_textures(textures), 0);
    EXPECT_EQ(live_buffers(buffers), 0);
}

TEST_F(GpuResources, CreatingAFramebufferAgainDeletesWhatItHad) {
    if (!engine::window::glGenFramebuffersEXT) GTEST_SKIP() << "no FBOs";
    Framebuffer target;
    std::vector<unsigned int> framebuffers, textures;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(target.create({8 + i, 8}));
        framebuffers.push_back(target.get_framebuffer_name());
        textures.push_back(target.get_texture_name());
    }
    EXPECT_EQ(live_framebuffers(framebuffers), 1);
    EXPECT_EQ(live_textures(textures), 1);
}

TEST_F(GpuResources, ReplacingAProgramsSourceKeepsOneProgram) {
    FragmentProgram program;
    if (!Program::is_supported()) GTEST_SKIP() << "no Cg";
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(program.set_source(kSource, "fp_main"));
    EXPECT_TRUE(program.is_compiled());
    EXPECT_EQ(program.get_cached_parameter_count(), 0u);
}
