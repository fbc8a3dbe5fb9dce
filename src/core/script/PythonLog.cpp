#include <Python.h>

#include "engine/core/Log.h"
#include "engine/core/script/PythonLog.h"

#include <atomic>
#include <deque>
#include <map>
#include <mutex>

namespace engine::core::PythonLog {

namespace {

using Log::Level;

struct Message {
    Level level;
    std::string category;
    std::string text;
};

int python_level(Level level) {
    switch (level) {
        case Level::Info:
            return 20;
        case Level::Warning:
            return 30;
        case Level::Error:
            return 40;
    }
    return 40;
}

bool can_use_python() { return Py_IsInitialized() && !_Py_IsFinalizing(); }

// Hands the log's messages to Python's logging at the script thread's safe points.
class Bridge final : public Log::Bridge {
public:
    bool accept(Level level, const std::string& category, std::string&& text) override {
        if (!can_use_python()) return false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            queue_.push_back(Message{level, category, std::move(text)});
        }
        if (PyGILState_Check()) schedule_delivery();
        return true;
    }

    void flush() override {
        if (can_use_python() && PyGILState_Check()) deliver_queue();
    }

    void deliver_soon() override {
        if (!can_use_python() || !PyGILState_Check()) return;
        bool waiting;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            waiting = !queue_.empty();
        }
        if (waiting) schedule_delivery();
    }

private:
    static int pending_call(void* self) {
        if (can_use_python()) static_cast<Bridge*>(self)->deliver_queue();
        return 0;
    }

    // Script thread only. Another thread must not schedule pending calls: the
    // interpreter then recomputes its "something to do" flag from that thread's point
    // of view, where pending calls do not count, and a delivery scheduled by the script
    // thread would wait unnoticed. Messages of other threads wait in the queue for the
    // script thread's next delivery (deliver_soon() or a message of its own), so such a
    // thread never waits for the interpreter lock.
    void schedule_delivery() {
        if (!scheduled_.exchange(true) && Py_AddPendingCall(pending_call, this) != 0) scheduled_ = false;
    }

    // Caller holds the interpreter lock.
    void deliver_queue() {
        scheduled_ = false;
        std::deque<Message> pending;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            pending.swap(queue_);
        }
        for (const Message& m : pending) write(m);
    }

    // Caller holds the interpreter lock.
    void write(const Message& m) {
        PyObject *type, *value, *traceback;
        PyErr_Fetch(&type, &value, &traceback);  // logging must not disturb a pending error
        PyObject* logger = logger_for(m.category);
        PyObject* result =
            logger ? PyObject_CallMethod(logger, "log", "is", python_level(m.level), m.text.c_str()) : nullptr;
        if (!result) {
            PyErr_Clear();
            Log::write_to_sink(m.level, m.category, m.text);
        }
        Py_XDECREF(result);
        PyErr_Restore(type, value, traceback);
    }

    // Caller holds the interpreter lock.
    PyObject* logger_for(const std::string& category) {
        auto it = loggers_.find(category);
        if (it != loggers_.end()) return it->second;
        PyObject* logging = PyImport_ImportModule("logging");
        if (!logging) return nullptr;
        PyObject* logger = PyObject_CallMethod(logging, "getLogger", "s", ("engine." + category).c_str());
        Py_DECREF(logging);
        if (logger) loggers_[category] = logger;
        return logger;
    }

    std::mutex mutex_;                          // guards queue_
    std::deque<Message> queue_;                 // waiting for the script thread
    std::atomic<bool> scheduled_{false};        // a delivery waits in the pending calls
    std::map<std::string, PyObject*> loggers_;  // "engine.<category>" loggers, owned
};

}  // namespace

void enable() {
    static Bridge* bridge = new Bridge;  // never destroyed: threads may log during exit
    Log::set_bridge(bridge);
}

}  // namespace engine::core::PythonLog
