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
/// (the module's "texture_loader"); scripts cannot make another.
///
/// Threads: every function is for the script thread; the loader's own thread only
/// decodes and never touches a TextureData or OpenGL.
class TextureLoader : public core::Object {
public:
    /// Becomes the live loader and starts its thread.
    TextureLoader();
    /// Stops the thread as stop() does.
    ~TextureLoader() override;

    /// Stops the thread (after its current decode or sleep) and waits for it; queued
    /// loads end as failed loads, and later loads decode on the script thread.
    void stop();
    /// Stops the live loader, if any. The module calls it when the interpreter exits,
    /// before the module's state goes, so no thread outlives what it uses.
    static void shutdown();
    /// Whether the one live loader exists.
    static bool exists();
    /// Blocks until the thread hands back a result, for at most a short interval.
    static void wait_for_result();

    /// Queues a decode of the data's file. Script thread only.
    static void enqueue(TextureData* data);
    /// Uploads every finished decode. Script thread only.
    static void process_results();
    /// Whether loads are still pending, after uploading what is finished.
    static bool is_loading();
    /// Whether a loader thread is running to finish pending loads.
    static bool is_running();

private:
    std::unique_ptr<core::Thread> thread_;  // runs the decode loop
};

}  // namespace engine::graphics
