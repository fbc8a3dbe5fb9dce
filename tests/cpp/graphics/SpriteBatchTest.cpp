#include "engine/graphics/SpriteBatch.h"

#include "engine/core/Matrix.h"
#include "engine/graphics/Module.h"

#include "support/GraphicsContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using engine::core::Colour;
using engine::core::Matrix;
using engine::graphics::SpriteBatch;
using engine::graphics::Texture;

class SpriteBatchDrawing : public engine::test::GraphicsContext {
protected:
    void SetUp() override {
        GraphicsContext::SetUp();
        if (IsSkipped()) return;
        engine::graphics::set_ortho();
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    // One untextured triangle over the window's first corner (the top left one: the
    // pixel projection runs y downwards).
    static void add_corner_triangle(SpriteBatch& batch, const Colour& colour) {
        SpriteBatch::Vertex* v = batch.add_triangles(1);
        v[0] = {{0, 0}, colour, {0, 0}};
        v[1] = {{40, 0}, colour, {0, 0}};
        v[2] = {{0, 40}, colour, {0, 0}};
    }

    // The pixel at (x, y) of the pixel projection.
    Colour pixel(int x, int y) const {
        unsigned char rgba[4];
        glReadPixels(x, height_ - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        return Colour(rgba[0] / 255.0f, rgba[1] / 255.0f, rgba[2] / 255.0f, rgba[3] / 255.0f);
    }
};

Texture* some_texture() { return reinterpret_cast<Texture*>(0x1); }  // compared, never used

TEST(SpriteBatch, VerticesAreThirtyTwoBytes) { EXPECT_EQ(sizeof(SpriteBatch::Vertex), 32u); }

TEST(SpriteBatch, GathersUntilTheStateChanges) {
    SpriteBatch batch;
    batch.set_state(nullptr, Matrix());
    batch.add_triangles(2);
    batch.set_state(nullptr, Matrix());  // the same state: nothing is drawn
    EXPECT_FALSE(batch.empty());
}

TEST_F(SpriteBatchDrawing, AnotherLayerMatrixDrawsWhatWasGathered) {
    SpriteBatch batch;
    batch.set_state(nullptr, Matrix());
    add_corner_triangle(batch, Colour(1, 0, 0, 1));
    Matrix moved;
    moved.set_translation({20, 0});
    batch.set_state(nullptr, moved);
    EXPECT_TRUE(batch.empty());
    EXPECT_EQ(pixel(5, 5).r, 1.0f);
}

TEST_F(SpriteBatchDrawing, FlushDrawsUnderTheLayerMatrixAndLeavesTheMatrixStackAsItWas) {
    GLint depth_before = 0;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth_before);
    SpriteBatch batch;
    Matrix moved;
    moved.set_translation({20, 0});
    batch.set_state(nullptr, moved);
    add_corner_triangle(batch, Colour(0, 1, 0, 1));
    batch.flush();
    EXPECT_TRUE(batch.empty());
    EXPECT_EQ(pixel(5, 5).g, 0.0f);   // left of the moved triangle
    EXPECT_EQ(pixel(25, 5).g, 1.0f);  // inside it
    GLint depth_after = 0;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth_after);
    EXPECT_EQ(depth_after, depth_before);
}

TEST_F(SpriteBatchDrawing, VertexMemoryIsReusedFromFrameToFrame) {
    SpriteBatch batch;
    batch.set_state(nullptr, Matrix());
    SpriteBatch::Vertex* first = batch.add_triangles(100);
    for (int i = 0; i < 300; ++i) first[i] = {{0, 0}, Colour(0, 0, 0, 0), {0, 0}};
    batch.flush();
    for (int frame = 0; frame < 3; ++frame) {
        SpriteBatch::Vertex* again = batch.add_triangles(100);
        EXPECT_EQ(again, first);
        for (int i = 0; i < 300; ++i) again[i] = {{0, 0}, Colour(0, 0, 0, 0), {0, 0}};
        batch.flush();
    }
}

TEST_F(SpriteBatchDrawing, FlushOfAnEmptyBatchDrawsNothing) {
    SpriteBatch batch;
    batch.set_state(some_texture(), Matrix());
    batch.flush();  // the texture is never touched
    EXPECT_TRUE(batch.empty());
}

}  // namespace
