#include <Python.h>

#include "engine/core/Log.h"
#include "engine/core/script/PythonLog.h"

#include <algorithm>
#include <atomic>
#include <cstring>
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

// A level above every message's: nothing is printed.
constexpr int kNothing = 100;

// Caller holds the interpreter lock. A new reference, or null with the error cleared.
PyObject* get_attr(PyObject* object, const char* name) {
    PyObject* value = PyObject_GetAttrString(object, name);
    if (!value) PyErr_Clear();
    return value;
}

// Caller holds the interpreter lock.
bool is_true(PyObject* value) {
    const int truth = value ? PyObject_IsTrue(value) : 0;
    if (truth < 0) PyErr_Clear();
    return truth == 1;
}

// Caller holds the interpreter lock. A handler's (or a logger's) `level`; 0 if unreadable.
long level_of(PyObject* object) {
    PyObject* value = get_attr(object, "level");
    long level = value ? PyLong_AsLong(value) : 0;
    if (level == -1 && PyErr_Occurred()) {
        PyErr_Clear();
        level = 0;
    }
    Py_XDECREF(value);
    return level;
}

// Caller holds the interpreter lock. The lowest level at which `logger` prints, as
// Logger.callHandlers decides it: the logger must be enabled for the level, and a
// handler on the way up its parents (while they propagate), or logging.lastResort when
// there is none, must take it. Handler filters are not looked at.
int printed_from(PyObject* logging, PyObject* logger) {
    int enabled = kNothing;
    for (int level : {python_level(Level::Info), python_level(Level::Warning), python_level(Level::Error)}) {
        PyObject* result = PyObject_CallMethod(logger, "isEnabledFor", "i", level);
        if (!result) PyErr_Clear();
        const bool yes = is_true(result);
        Py_XDECREF(result);
        if (yes) {
            enabled = level;
            break;
        }
    }
    if (enabled == kNothing) return kNothing;

    bool found = false;
    long handled_from = kNothing;
    Py_INCREF(logger);
    for (PyObject* current = logger; current;) {
        if (PyObject* handlers = get_attr(current, "handlers")) {
            for (Py_ssize_t i = 0; PyList_Check(handlers) && i < PyList_GET_SIZE(handlers); ++i) {
                found = true;
                handled_from = std::min(handled_from, level_of(PyList_GET_ITEM(handlers, i)));
            }
            Py_DECREF(handlers);
        }
        PyObject* propagate = get_attr(current, "propagate");
        PyObject* parent = is_true(propagate) ? get_attr(current, "parent") : nullptr;
        Py_XDECREF(propagate);
        Py_DECREF(current);
        if (parent == Py_None) {
            Py_DECREF(parent);
            parent = nullptr;
        }
        current = parent;
    }
    if (!found) {
        PyObject* last_resort = get_attr(logging, "lastResort");
        handled_from = last_resort && last_resort != Py_None ? level_of(last_resort) : kNothing;
        Py_XDECREF(last_resort);
    }
    return int(std::max<long>(enabled, handled_from));
}

// Hands the log's messages to Python's logging at the script thread's safe points.
class Bridge final : public Log::Bridge {
public:
    bool accept(Level level, const std::string& category, std::string&& text) override {
        // Once the interpreter finalizes, logging is gone: the sink takes what logging
        // would have printed, judged by the levels it had when the script ended.
        if (!can_use_python()) {
            write_leftovers();
            return !prints_at_exit(level, category);
        }
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

    // Script thread, at the interpreter's exit (atexit), while logging still works:
    // delivers what waits and remembers, for every "engine.<category>" logger, the
    // lowest level it prints, for the messages of the rest of the exit.
    void remember_exit_levels() {
        deliver_queue();
        PyObject* logging = PyImport_ImportModule("logging");
        if (!logging) {
            PyErr_Clear();
            return;
        }
        std::map<std::string, int> levels;
        int fallback = python_level(Level::Warning);
        // Categories without a logger of their own print as "engine" does.
        if (PyObject* engine = PyObject_CallMethod(logging, "getLogger", "s", "engine")) {
            fallback = printed_from(logging, engine);
            Py_DECREF(engine);
        } else {
            PyErr_Clear();
        }
        PyObject* logger_class = get_attr(logging, "Logger");
        PyObject* manager = logger_class ? get_attr(logger_class, "manager") : nullptr;
        PyObject* all = manager ? get_attr(manager, "loggerDict") : nullptr;
        PyObject *name, *logger;
        for (Py_ssize_t i = 0; all && PyDict_Check(all) && PyDict_Next(all, &i, &name, &logger);) {
            const char* text = PyUnicode_Check(name) ? PyUnicode_AsUTF8(name) : nullptr;
            if (!text) PyErr_Clear();
            // Placeholders (a parent made only by its children's names) log nothing.
            if (!text || std::strncmp(text, "engine.", 7) != 0 || !PyObject_HasAttrString(logger, "isEnabledFor"))
                continue;
            levels[text + 7] = printed_from(logging, logger);
        }
        Py_XDECREF(all);
        Py_XDECREF(manager);
        Py_XDECREF(logger_class);
        Py_DECREF(logging);
        std::lock_guard<std::mutex> lock(mutex_);
        exit_levels_.swap(levels);
        exit_fallback_ = fallback;
    }

private:
    bool prints_at_exit(Level level, const std::string& category) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = exit_levels_.find(category);
        return python_level(level) >= (it == exit_levels_.end() ? exit_fallback_ : it->second);
    }

    // Messages queued before the interpreter began to finalize, never delivered.
    void write_leftovers() {
        std::deque<Message> pending;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            pending.swap(queue_);
        }
        for (const Message& m : pending)
            if (prints_at_exit(m.level, m.category)) Log::write_to_sink(m.level, m.category, m.text);
    }

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

    std::mutex mutex_;                          // guards queue_ and the exit levels
    std::deque<Message> queue_;                 // waiting for the script thread
    std::map<std::string, int> exit_levels_;    // category -> lowest level printed at exit
    int exit_fallback_ = 30;                    // for other categories: Python's default, WARNING
    std::atomic<bool> scheduled_{false};        // a delivery waits in the pending calls
    std::map<std::string, PyObject*> loggers_;  // "engine.<category>" loggers, owned
};

}  // namespace

namespace {

Bridge* the_bridge = nullptr;  // set by enable(), never destroyed

PyObject* remember_exit_levels(PyObject*, PyObject*) {
    if (the_bridge) the_bridge->remember_exit_levels();
    Py_RETURN_NONE;
}

PyMethodDef remember_exit_levels_def = {"remember_engine_log_levels", remember_exit_levels, METH_NOARGS,
                                        "Delivers the engine's log and keeps its loggers' levels for the exit."};

// Caller holds the interpreter lock.
void register_at_exit() {
    PyObject* function = PyCFunction_New(&remember_exit_levels_def, nullptr);
    PyObject* atexit = PyImport_ImportModule("atexit");
    PyObject* result = function && atexit ? PyObject_CallMethod(atexit, "register", "O", function) : nullptr;
    if (!result) PyErr_Clear();
    Py_XDECREF(result);
    Py_XDECREF(atexit);
    Py_XDECREF(function);
}

}  // namespace

void enable() {
    static Bridge* bridge = new Bridge;  // never destroyed: threads may log during exit
    if (!the_bridge) register_at_exit();
    the_bridge = bridge;
    Log::set_bridge(bridge);
}

}  // namespace engine::core::PythonLog
