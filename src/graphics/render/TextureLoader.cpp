#include "engine/graphics/TextureLoader.h"

#include "engine/core/Mutex.h"
#include "engine/core/Thread.h"
#include "engine/graphics/TextureData.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <deque>
#include <string>
#include <utility>

namespace engine::graphics {

namespace {

struct Request {
    TextureData* data;  // one reference held while queued
    std::string path;   // copied, so the thread never reads the data itself
    bool full_resolution;
};

struct Result {
    TextureData* data;                    // the request's reference
    std::unique_ptr<ImageBuffer> buffer;  // null when the decode failed
};

// The loader's process-wide state. The lock guards the two lists only.
core::Mutex lock;
std::deque<Request> requests;
std::deque<Result> results;
int pending = 0;                   // queued and not yet handed back; script thread only
std::atomic<bool> running{false};  // read by the thread without the lock
TextureLoader* instance = nullptr;

// The idle thread sleeps at most 100 ms, and wakes at once when work arrives, so the
// first asynchronous texture does not wait for the end of a sleep.
std::mutex wake_mutex;
std::condition_variable wake;
bool work_arrived = false;  // guarded by wake_mutex

void sleep_until_work() {
    std::unique_lock<std::mutex> hold(wake_mutex);
    wake.wait_for(hold, std::chrono::milliseconds(100), [] { return work_arrived || !running; });
    work_arrived = false;
}

void wake_up() {
    {
        std::lock_guard<std::mutex> hold(wake_mutex);
        work_arrived = true;
    }
    wake.notify_one();
}

void loop() {
    while (running) {
        Request request{nullptr, {}, true};
        {
            core::MutexLock hold(lock);
            if (!requests.empty()) {
                request = std::move(requests.front());
                requests.pop_front();
            }
        }
        if (!request.data) {
            sleep_until_work();
            continue;
        }
        // Decoded outside the lock: the script thread never waits for a decode here.
        std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(request.path, request.full_resolution);
        core::MutexLock hold(lock);
        results.push_back(Result{request.data, std::move(buffer)});
    }
}

}  // namespace

TextureLoader::TextureLoader() {
    instance = this;
    thread_ = std::make_unique<core::Thread>(&loop);
    running = true;
    if (!thread_->start()) running = false;
}

TextureLoader::~TextureLoader() {
    running = false;
    wake_up();
    thread_->join();
    if (instance == this) instance = nullptr;
    // Loads still queued will never be decoded: they end as failed loads.
    core::MutexLock hold(lock);
    for (Request& r : requests) results.push_back(Result{r.data, nullptr});
    requests.clear();
}

bool TextureLoader::is_running() { return running; }

void TextureLoader::enqueue(TextureData* data) {
    data->inc_ref();
    {
        core::MutexLock hold(lock);
        requests.push_back(Request{data, data->get_path(), data->is_full_resolution()});
    }
    ++pending;  // after the lock, on purpose: only the script thread changes it
    wake_up();
}

void TextureLoader::process_results() {
    if (pending < 1) return;
    std::deque<Result> finished;
    {
        core::MutexLock hold(lock);
        finished.swap(results);
    }
    pending -= int(finished.size());
    for (Result& r : finished) {
        r.data->accept(r.buffer.get());
        r.data->dec_ref();
    }
}

bool TextureLoader::is_loading() {
    if (pending < 1) return false;
    process_results();
    return pending > 0;
}

}  // namespace engine::graphics
