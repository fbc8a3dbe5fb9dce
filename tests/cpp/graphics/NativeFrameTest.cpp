// A whole frame drawn by a native program: no interpreter is embedded in this test
// program, so the scene, its objects and their drawing run on the engine libraries
// alone, the way a game written in C++ would use them.
#include "support/GraphicsContext.h"

#include "engine/core/Colour.h"
#include "engine/core/Ref.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Text.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureDatabase.h"

#include <GL/gl.h>

#include <vector>

namespace {

using engine::core::Colour;
using engine::core::make_ref;
using engine::core::Ref;
using namespace engine::graphics;

class NativeFrame : public engine::test::GraphicsContext {
protected:
    NativeFrame() : GraphicsContext(256, 128, "native frame") {}

    void SetUp() override {
        GraphicsContext::SetUp();
        if (IsSkipped()) return;
        set_ortho();
    }
    void TearDown() override {
        SpriteDatabase::unload();
        TextureDatabase::forget("native-red");
        GraphicsContext::TearDown();
    }

    // The pixel at (x, y) of the window, y downwards.
    Colour pixel(int x, int y) const {
        unsigned char rgba[4];
        glReadPixels(x, height_ - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        return {rgba[0] / 255.0f, rgba[1] / 255.0f, rgba[2] / 255.0f, 1.0f};
    }
    static bool is(const Colour& c, float r, float g, float b) { return c.r == r && c.g == g && c.b == b; }
};

TEST_F(NativeFrame, ASpriteAndATextDrawInOneFrameWithoutAnInterpreter) {
    // A 4x4 red picture made from bytes, named for a sprite record.
    const std::vector<unsigned char> red(4 * 4 * 4, 0);
    std::vector<unsigned char> pixels = red;
    for (std::size_t i = 0; i < pixels.size(); i += 4) pixels[i] = pixels[i + 3] = 255;
    const Texture texture(pixels.data(), {4, 4}, 4);
    ASSERT_TRUE(TextureDatabase::add("native-red", texture.get_data()));
    ASSERT_TRUE(SpriteDatabase::load_text(
        R"(<Sprite id="block" texture="native-red" dimensions="40 40" origin="0 0" layer="world"/>)", ""));

    const Ref<Scene> scene = make_ref<Scene>();
    ASSERT_TRUE(scene->add_layer(new SceneLayer("world", 0.0f, 0, true)));
    const Ref<Sprite> sprite = make_ref<Sprite>("block");
    sprite->set_position({20, 20});
    const Ref<Text> text = make_ref<Text>("Hi", "", 32);
    text->set_colour(Colour(0, 1, 0, 1));
    text->set_position({120, 20});
    ASSERT_TRUE(scene->add_object(text, "world"));
    EXPECT_EQ(sprite->get_layer(), "world");

    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    scene->update(1.0f / 60.0f);
    scene->begin_frame();
    scene->render();
    scene->end_frame();

    EXPECT_TRUE(is(pixel(35, 35), 1, 0, 0));  // inside the sprite
    EXPECT_TRUE(is(pixel(70, 70), 0, 0, 0));  // outside it
    int green = 0;
    for (int y = 0; y < 80; ++y)
        for (int x = 110; x < 200; ++x) green += pixel(x, y).g > 0.5f ? 1 : 0;
    EXPECT_GT(green, 20);  // the text's glyphs, drawn after the sprite in the same pass
}

}  // namespace
