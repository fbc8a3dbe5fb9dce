#include "engine/graphics/TextureLoader.h"

#include "engine/core/Log.h"
#include "engine/core/Mutex.h"
#include "engine/core/Ref.h"
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
    core::Ref<TextureData> data;  // held while queued; only moved on the loading thread
    std::string path;   // copied, so the thread never reads the data itself
    bool full_resolution;
};

struct Result {
    core::Ref<TextureData> data;          // the request's
    std::unique_ptr<ImageBuffer> buffer;  // null when the decode failed
};

// The loader's process-wide state. It is never destroyed: a loader thread still
// finishing a decode while the process exits must find it intact.
struct State {
    core::Mutex lock;              // guards the two lists
    std::deque<Request> requests;  // waiting for the thread
    std::deque<Result> results;    // waiting for the script thread
    std::mutex wake_mutex;         // guards the two flags below and the conditions
    std::condition_variable wake;  // the thread waits here for work
    std::condition_variable done;  // the script thread waits here for a result
    bool work_arrived = false;
    bool result_arrived = false;
};

State& state() {
    static State* s = new State;
    return *s;
}

int pending = 0;                   // queued and not yet handed back; script thread only
std::atomic<bool> running{false};  // read by the thread without the lock
TextureLoader* instance = nullptr;

// The idle thread sleeps at most 100 ms, and wakes at once when work arrives, so the
// first asynchronous texture does not wait for the end of a sleep.
void sleep_until_work() {
    State& s = state();
    std::unique_lock<std::mutex> hold(s.wake_mutex);
    s.wake.wait_for(hold, std::chrono::milliseconds(100), [&s] { return s.work_arrived || !running; });
    s.work_arrived = false;
}

void wake_up() {
    State& s = state();
    {
        std::lock_guard<std::mutex> hold(s.wake_mutex);
        s.work_arrived = true;
    }
    s.wake.notify_one();
}

void announce_result() {
    State& s = state();
    {
        std::lock_guard<std::mutex> hold(s.wake_mutex);
        s.result_arrived = true;
    }
    s.done.notify_all();
}

void loop() {
    State& s = state();
    while (running) {
        Request request{nullptr, {}, true};
        {
            core::MutexLock hold(s.lock);
            if (!s.requests.empty()) {
                request = std::move(s.requests.front());
                s.requests.pop_front();
            }
        }
        if (!request.data) {
            sleep_until_work();
            continue;
        }
        // Decoded outside the lock: the script thread never waits for a decode here.
        std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(request.path, request.full_resolution);
        {
            core::MutexLock hold(s.lock);
            s.results.push_back(Result{std::move(request.data), std::move(buffer)});
        }
        announce_result();
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
    stop();
    if (instance == this) instance = nullptr;
}

void TextureLoader::stop() {
    if (!thread_) return;
    running = false;
    wake_up();
    thread_->join();
    thread_.reset();
    // Loads still queued will never be decoded: they end as failed loads.
    State& s = state();
    {
        core::MutexLock hold(s.lock);
        for (Request& r : s.requests) s.results.push_back(Result{std::move(r.data), nullptr});
        s.requests.clear();
    }
    announce_result();
}

void TextureLoader::shutdown() {
    if (instance) instance->stop();
}

bool TextureLoader::is_running() { return running; }
bool TextureLoader::exists() { return instance != nullptr; }

void TextureLoader::enqueue(TextureData* data) {
    {
        State& s = state();
        core::MutexLock hold(s.lock);
        s.requests.push_back(Request{core::Ref<TextureData>(data), data->get_path(), data->is_full_resolution()});
    }
    ++pending;  // outside the lock: only the script thread reads or changes it
    wake_up();
}

void TextureLoader::process_results() {
    if (pending < 1) return;
    std::deque<Result> finished;
    {
        State& s = state();
        core::MutexLock hold(s.lock);
        finished.swap(s.results);
    }
    pending -= int(finished.size());
    if (!finished.empty()) core::Log::deliver_soon();  // the thread's decode warnings
    for (Result& r : finished) r.data->accept(r.buffer.get());
}

void TextureLoader::wait_for_result() {
    State& s = state();
    std::unique_lock<std::mutex> hold(s.wake_mutex);
    // Bounded, so that a result announced just before this wait began costs at most
    // one interval rather than a hang.
    s.done.wait_for(hold, std::chrono::milliseconds(50), [&s] { return s.result_arrived || !running; });
    s.result_arrived = false;
}

bool TextureLoader::is_loading() {
    if (pending < 1) return false;
    process_results();
    return pending > 0;
}

}  // namespace engine::graphics
