// The texture loader's hand-over between the script thread and its own, without a
// window: decodes happen on the loader thread and end on the script thread, pending
// until then (no GL object is made without a context). Run under ThreadSanitizer by
// `make test-tsan`, these drive the queue, the wake-up, the log from the loader
// thread and the path database from both threads at once.
#include "engine/core/Ref.h"
#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureLoader.h"

#include "core/TestSupport.h"
#include "engine/core/PathDatabase.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace PathDatabase = engine::core::PathDatabase;
using engine::core::test::LogCapture;
using engine::core::test::TemporaryDirectory;
using engine::graphics::TextureData;
using engine::graphics::TextureLoader;

namespace {

std::string seed_png() {
    const std::filesystem::path seed =
        std::filesystem::path(ENGINE_FUZZ_REGRESSIONS).parent_path() / "corpus" / "png_decode" / "rgba-4x4.png";
    std::ifstream in(seed, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Polls the loader from the script thread until nothing is pending; false after 20 s.
bool settle() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (TextureLoader::is_loading()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Texture data loaded in the background, released by the test.
std::vector<engine::core::Ref<TextureData>> load_all(const std::vector<std::string>& paths) {
    std::vector<engine::core::Ref<TextureData>> all;
    for (const std::string& path : paths) {
        all.push_back(engine::core::make_ref<TextureData>());
        all.back()->load(path, true, true);
    }
    return all;
}

void release(std::vector<engine::core::Ref<TextureData>>& all) { all.clear(); }

}  // namespace

TEST(TextureLoaderThread, QueuedLoadsEndOnTheScriptThread) {
    LogCapture log;
    TemporaryDirectory directory;
    std::vector<std::string> paths;
    for (int i = 0; i < 16; ++i) paths.push_back(directory.write("p" + std::to_string(i) + ".png", seed_png()));
    TextureLoader loader;
    std::vector<engine::core::Ref<TextureData>> all = load_all(paths);
    for (TextureData* data : all) EXPECT_TRUE(data->is_pending());
    EXPECT_TRUE(settle());
    for (TextureData* data : all) EXPECT_FALSE(data->is_pending());
    release(all);
}

TEST(TextureLoaderThread, CorruptFilesAreLoggedFromTheLoaderThread) {
    LogCapture log;
    TemporaryDirectory directory;
    std::string corrupt = seed_png();
    corrupt.resize(corrupt.size() / 2);
    std::vector<std::string> paths;
    for (int i = 0; i < 8; ++i) paths.push_back(directory.write("c" + std::to_string(i) + ".png", corrupt));
    TextureLoader loader;
    std::vector<engine::core::Ref<TextureData>> all = load_all(paths);
    EXPECT_TRUE(settle());
    release(all);
    int warnings = 0;
    for (const auto& entry : log.entries())
        warnings += entry.message.find("Cannot decode texture") != std::string::npos;
    EXPECT_EQ(warnings, 8);
}

TEST(TextureLoaderThread, RootsMayChangeWhileTheLoaderResolvesPaths) {
    LogCapture log;
    TemporaryDirectory directory;
    std::vector<std::string> names;
    for (int i = 0; i < 16; ++i) {
        names.push_back("r" + std::to_string(i) + ".png");
        directory.write(names.back(), seed_png());
    }
    TextureLoader loader;
    PathDatabase::add_root(directory.path());
    std::vector<engine::core::Ref<TextureData>> all = load_all(names);
    for (int i = 0; i < 200; ++i) {
        PathDatabase::add_root(directory.path() + "/other" + std::to_string(i % 4));
        PathDatabase::remove_root(directory.path() + "/other" + std::to_string(i % 4));
    }
    EXPECT_TRUE(settle());
    PathDatabase::remove_root(directory.path());
    release(all);
}

TEST(TextureLoaderThread, DestroyingTheLoaderEndsLoadsItHadNotStarted) {
    LogCapture log;
    TemporaryDirectory directory;
    std::vector<std::string> paths;
    for (int i = 0; i < 32; ++i) paths.push_back(directory.write("d" + std::to_string(i) + ".png", seed_png()));
    std::vector<engine::core::Ref<TextureData>> all;
    {
        TextureLoader loader;
        all = load_all(paths);
    }
    // No loader runs any more: what it left is handed back at the next poll.
    TextureLoader::process_results();
    EXPECT_FALSE(TextureLoader::is_loading());
    for (TextureData* data : all) EXPECT_FALSE(data->is_pending());
    release(all);
}
