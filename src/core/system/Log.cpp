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
    std::atomic<bool> flush_scheduled{false};
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
    s.flush_scheduled = false;
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

void deliver(Message m) {
    if (!can_use_python()) {
        write_native(m);
        return;
    }
    if (PyGILState_Check()) {
        flush_queue_locked_gil();
        write_python(m);
        return;
    }
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.queue.push_back(std::move(m));
    }
    // Ask the interpreter to flush on its own thread; safe without the lock.
    if (!s.flush_scheduled.exchange(true) && Py_AddPendingCall(pending_call, nullptr) != 0) s.flush_scheduled = false;
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

void set_sink(Sink sink) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().sink = std::move(sink);
}

void enable_python_logging() { state().python = true; }

}  // namespace engine::core::Log
