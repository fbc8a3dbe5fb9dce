#include <Python.h>

#include "engine/core/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>

namespace engine::core::Log {

namespace {

struct Message {
    Level level;
    std::string category;
    std::string text;
};

// The log's state is process-wide by nature: one queue, one sink, one switch.
struct State {
    std::mutex mutex;                 // guards queue and sink
    std::deque<Message> queue;        // waiting for the script thread
    Sink sink;                        // native destination when Python is not used
    std::atomic<bool> python{false};  // deliver into Python's logging
    std::atomic<bool> scheduled{false};  // a delivery waits in the interpreter's pending calls
    std::map<std::string, PyObject*> loggers;  // "engine.<category>" loggers, owned
};

State& state() {
    static State* s = new State;  // never destroyed: threads may log during exit
    return *s;
}

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

void write_native(const Message& m) {
    State& s = state();
    Sink sink;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        sink = s.sink;
    }
    if (sink) {
        sink(m.level, m.category, m.text);
        return;
    }
    static const char* names[] = {"INFO", "WARNING", "ERROR"};
    std::fprintf(stderr, "%s:engine.%s:%s\n", names[int(m.level)], m.category.c_str(), m.text.c_str());
}

PyObject* logger_for(const std::string& category) {
    State& s = state();
    auto it = s.loggers.find(category);
    if (it != s.loggers.end()) return it->second;
    PyObject* logging = PyImport_ImportModule("logging");
    if (!logging) return nullptr;
    PyObject* logger = PyObject_CallMethod(logging, "getLogger", "s", ("engine." + category).c_str());
    Py_DECREF(logging);
    if (logger) s.loggers[category] = logger;
    return logger;
}

// Caller holds the interpreter lock.
void write_python(const Message& m) {
    PyObject *type, *value, *traceback;
    PyErr_Fetch(&type, &value, &traceback);  // logging must not disturb a pending error
    PyObject* logger = logger_for(m.category);
    PyObject* result =
        logger ? PyObject_CallMethod(logger, "log", "is", python_level(m.level), m.text.c_str()) : nullptr;
    if (!result) {
        PyErr_Clear();
        write_native(m);
    }
    Py_XDECREF(result);
    PyErr_Restore(type, value, traceback);
}

bool can_use_python() { return state().python.load() && Py_IsInitialized() && !_Py_IsFinalizing(); }

void flush_queue_locked_gil() {
    State& s = state();
    s.scheduled = false;
    std::deque<Message> pending;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        pending.swap(s.queue);
    }
    for (const Message& m : pending) write_python(m);
}

int pending_call(void*) {
    if (can_use_python()) flush_queue_locked_gil();
    return 0;
}

// Script thread only. Another thread must not schedule pending calls: the interpreter
// then recomputes its "something to do" flag from that thread's point of view, where
// pending calls do not count, and a delivery scheduled by the script thread would wait
// unnoticed.
void schedule_delivery() {
    State& s = state();
    if (!s.scheduled.exchange(true) && Py_AddPendingCall(pending_call, nullptr) != 0) s.scheduled = false;
}

// Every message reaches Python's logging at a safe point: queued here and handed over
// when the interpreter next runs its pending calls, which happens once control is back
// in script code. A handler may then call anything in the engine, since no native loop
// is standing on what it changes. Messages of other threads wait in the queue for the
// script thread's next delivery (deliver_soon() or a message of its own), so such a
// thread never waits for the interpreter lock.
void deliver(Message m) {
    if (!can_use_python()) {
        write_native(m);
        return;
    }
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.queue.push_back(std::move(m));
    }
    if (PyGILState_Check()) schedule_delivery();
}

void log(Level level, const char* category, const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char small[256];
    const int n = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    std::string text;
    if (n < 0) {
        text = format;
    } else if (size_t(n) < sizeof small) {
        text.assign(small, size_t(n));
    } else {
        text.resize(size_t(n) + 1);
        std::vsnprintf(text.data(), text.size(), format, args);
        text.resize(size_t(n));
    }
    deliver(Message{level, category ? category : "", std::move(text)});
}

}  // namespace

void info(const char* category, const char* format, ...) {
    va_list args;
    va_start(args, format);
    log(Level::Info, category, format, args);
    va_end(args);
}

void warning(const char* category, const char* format, ...) {
    va_list args;
    va_start(args, format);
    log(Level::Warning, category, format, args);
    va_end(args);
}

void error(const char* category, const char* format, ...) {
    va_list args;
    va_start(args, format);
    log(Level::Error, category, format, args);
    va_end(args);
}

void flush() {
    if (can_use_python() && PyGILState_Check()) flush_queue_locked_gil();
}

void deliver_soon() {
    if (!can_use_python() || !PyGILState_Check()) return;
    bool waiting;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        waiting = !state().queue.empty();
    }
    if (waiting) schedule_delivery();
}

void set_sink(Sink sink) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().sink = std::move(sink);
}

void enable_python_logging() { state().python = true; }

}  // namespace engine::core::Log
