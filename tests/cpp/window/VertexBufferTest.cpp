#include "WindowFixture.h"

#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/VertexBuffer.h"

#include <algorithm>
#include <type_traits>

namespace engine::window::test {

namespace {

struct Vertex {
    float x, y;
};

// Two triangles covering the whole viewport in clip space.
void write_full_screen_quad(VertexBuffer& buffer) {
    auto* v = static_cast<Vertex*>(buffer.map(6));
    const Vertex quad[6] = {{-1, -1}, {1, -1}, {1, 1}, {-1, -1}, {1, 1}, {-1, 1}};
    std::copy(std::begin(quad), std::end(quad), v);
    buffer.unmap();
}

// Draws the buffer's vertices in green over black and tells whether the centre of the
// window came out green.
bool draws_green(Window& window, VertexBuffer& buffer) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glColor4f(0, 1, 0, 1);
    glEnableClientState(GL_VERTEX_ARRAY);
    const auto* base = static_cast<const char*>(buffer.bind());
    glVertexPointer(2, GL_FLOAT, GLsizei(buffer.get_stride()), base);
    glDrawArrays(GL_TRIANGLES, 0, GLsizei(buffer.get_vertex_count()));
    glDisableClientState(GL_VERTEX_ARRAY);
    VertexBuffer::unbind();
    const Pixels pixels = window.read_pixels();
    const std::size_t centre =
        (std::size_t(pixels.height / 2) * std::size_t(pixels.width) + std::size_t(pixels.width / 2)) * 4;
    return pixels.data[centre] == 0 && pixels.data[centre + 1] == 255 && pixels.data[centre + 2] == 0;
}

// Buffer objects are a process-wide switch: every test leaves it off, as it starts.
class VertexBufferTest : public WindowFixture {
protected:
    void TearDown() override {
        VertexBuffer::set_buffer_objects_supported(false);
        WindowFixture::TearDown();
    }
};

}  // namespace

TEST(VertexBuffer, StartsWithItsCapacityAndNoVertices) {
    VertexBuffer buffer(sizeof(Vertex), 16, GL_STREAM_DRAW);
    EXPECT_EQ(buffer.get_stride(), sizeof(Vertex));
    EXPECT_EQ(buffer.get_capacity(), 16u);
    EXPECT_EQ(buffer.get_vertex_count(), 0u);
    EXPECT_EQ(buffer.get_name(), 0u);
}

TEST(VertexBuffer, MapGrowsTheCapacityAndNeverShrinksIt) {
    VertexBuffer buffer(sizeof(Vertex), 4, GL_STREAM_DRAW);
    buffer.map(3);
    buffer.unmap();
    EXPECT_EQ(buffer.get_capacity(), 4u);
    EXPECT_EQ(buffer.get_vertex_count(), 3u);
    buffer.map(5);
    buffer.unmap();
    EXPECT_GE(buffer.get_capacity(), 5u);
    EXPECT_EQ(buffer.get_vertex_count(), 5u);
    buffer.map(100);
    buffer.unmap();
    EXPECT_GE(buffer.get_capacity(), 100u);
    const std::size_t grown = buffer.get_capacity();
    buffer.map(1);
    buffer.unmap();
    EXPECT_EQ(buffer.get_capacity(), grown);
    EXPECT_EQ(buffer.get_vertex_count(), 1u);
}

TEST(VertexBuffer, MapKeepsItsMemoryWhileTheCapacitySuffices) {
    VertexBuffer buffer(sizeof(Vertex), 8, GL_STREAM_DRAW);
    void* first = buffer.map(8);
    buffer.unmap();
    void* second = buffer.map(2);
    buffer.unmap();
    EXPECT_EQ(first, second);
}

TEST(VertexBuffer, IsALiveGpuResourceFromConstructionToDestruction) {
    const std::size_t before = GpuResource::count();
    {
        VertexBuffer a(sizeof(Vertex), 1, GL_STREAM_DRAW);
        VertexBuffer b(sizeof(Vertex), 1, GL_STREAM_DRAW);
        EXPECT_EQ(GpuResource::count(), before + 2);
    }
    EXPECT_EQ(GpuResource::count(), before);
}

// One owner per GL buffer: a copy would delete it twice.
static_assert(!std::is_copy_constructible_v<VertexBuffer> && !std::is_copy_assignable_v<VertexBuffer>);

TEST(VertexBuffer, WithoutAContextStaysInClientMemory) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer buffer(sizeof(Vertex), 4, GL_STREAM_DRAW);
    void* data = buffer.map(4);
    buffer.unmap();
    EXPECT_EQ(buffer.get_name(), 0u);
    EXPECT_EQ(buffer.bind(), data);
    buffer.release();
    VertexBuffer::set_buffer_objects_supported(false);
}

TEST_F(VertexBufferTest, ClientMemoryModeBindsTheCpuCopy) {
    VertexBuffer buffer(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(buffer);
    EXPECT_EQ(buffer.get_name(), 0u);
    EXPECT_EQ(buffer.bind(), buffer.map(6));
    buffer.unmap();
    EXPECT_TRUE(draws_green(*window_, buffer));
    EXPECT_EQ(buffer.get_name(), 0u);
}

TEST_F(VertexBufferTest, ClientMemoryModeUnbindsAnyBufferObject) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer object(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(object);
    object.bind();
    VertexBuffer::set_buffer_objects_supported(false);
    VertexBuffer client(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(client);
    client.bind();
    GLint bound = -1;
    glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &bound);
    EXPECT_EQ(bound, 0);
}

TEST_F(VertexBufferTest, UnmapUploadsIntoABufferObject) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer buffer(sizeof(Vertex), 6, GL_STATIC_DRAW);
    write_full_screen_quad(buffer);
    EXPECT_NE(buffer.get_name(), 0u);
    EXPECT_EQ(buffer.bind(), nullptr);  // an offset into the bound buffer object
    GLint bound = 0;
    glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &bound);
    EXPECT_EQ(GLuint(bound), buffer.get_name());
    EXPECT_TRUE(draws_green(*window_, buffer));
}

TEST_F(VertexBufferTest, ReleaseForgetsTheBufferObjectAndBindUploadsAgain) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer buffer(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(buffer);
    const unsigned int old_name = buffer.get_name();
    buffer.release();
    EXPECT_EQ(buffer.get_name(), 0u);
    EXPECT_EQ(buffer.get_vertex_count(), 6u);  // the data stays
    auto* get_proc_address = sdl<void*(const char*)>("SDL_GL_GetProcAddress");
    auto is_buffer = reinterpret_cast<PFNGLISBUFFERPROC>(get_proc_address("glIsBuffer"));
    EXPECT_FALSE(is_buffer(old_name));
    EXPECT_TRUE(draws_green(*window_, buffer));
    EXPECT_NE(buffer.get_name(), 0u);
}

TEST_F(VertexBufferTest, SurvivesANewContext) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer buffer(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(buffer);
    // What the graphics module's registry does when the context goes away.
    struct Releaser : WindowListener {
        explicit Releaser(VertexBuffer& b) : buffer(b) {}
        void on_destroy(Window*) override { buffer.release(); }
        VertexBuffer& buffer;
    } releaser(buffer);
    Window::add_listener(&releaser);
    window_->set_video_mode(kWidth + 10, kHeight + 10);
    Window::remove_listener(&releaser);
    EXPECT_EQ(buffer.get_name(), 0u);
    EXPECT_TRUE(draws_green(*window_, buffer));
}

TEST_F(VertexBufferTest, RewritingWithFewerVerticesDrawsOnlyThose) {
    VertexBuffer::set_buffer_objects_supported(true);
    VertexBuffer buffer(sizeof(Vertex), 6, GL_STREAM_DRAW);
    write_full_screen_quad(buffer);
    ASSERT_TRUE(draws_green(*window_, buffer));
    // One small triangle in a corner: the centre stays black.
    auto* v = static_cast<Vertex*>(buffer.map(3));
    v[0] = {-1, -1};
    v[1] = {-0.5f, -1};
    v[2] = {-1, -0.5f};
    buffer.unmap();
    EXPECT_EQ(buffer.get_vertex_count(), 3u);
    EXPECT_FALSE(draws_green(*window_, buffer));
}

}  // namespace engine::window::test
