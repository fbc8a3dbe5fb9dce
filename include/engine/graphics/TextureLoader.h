#pragma once

#include "engine/core/Object.h"

#include <memory>

namespace engine::core {
class Thread;
}

namespace engine::graphics {

class TextureData;

/// One background thread that decodes PNG files for asynchronous texture loads. The
/// decoded pixels wait until the script thread hands them to OpenGL: when a pending
/// texture is bound, when a script reads "loading", or on a purge. One instance exists
/// (the module's "texture_loader").
class TextureLoader : public core::Object {
public:
    /// Becomes the live loader and starts its thread.
    TextureLoader();
    /// Stops the thread (after its current decode or sleep) and waits for it; queued
    /// loads are dropped.
    ~TextureLoader() override;

    /// Queues a decode of the data's file. Script thread only.
    static void enqueue(TextureData* data);
    /// Uploads every finished decode. Script thread only.
    static void process_results();
    /// Whether loads are still pending, after uploading what is finished.
    static bool is_loading();
    /// Whether a loader thread is running to finish pending loads.
    static bool is_running();

    static void define_interface();

private:
    std::unique_ptr<core::Thread> thread_;  // runs the decode loop
};

}  // namespace engine::graphics
