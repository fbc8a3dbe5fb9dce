#include "engine/core/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace engine::core::Log {

namespace {

// The log's state is process-wide by nature: one sink and one bridge for every thread.
struct State {
    std::mutex mutex;               // guards sink
    Sink sink;                      // destination while no bridge takes a message
    std::atomic<Bridge*> bridge{nullptr};
};

State& state() {
    static State* s = new State;  // never destroyed: threads may log during exit
    return *s;
}

std::string format_message(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char small[256];
    const int n = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) return format;
    if (size_t(n) < sizeof small) return std::string(small, size_t(n));
    std::string text(size_t(n) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.resize(size_t(n));
    return text;
}

void log(Level level, const char* category, const char* format, va_list args) {
    std::string text = format_message(format, args);
    const std::string name = category ? category : "";
    Bridge* bridge = state().bridge.load();
    if (bridge && bridge->accept(level, name, std::move(text))) return;
    write_to_sink(level, name, text);
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

void set_sink(Sink sink) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().sink = std::move(sink);
}

void write_to_sink(Level level, const std::string& category, const std::string& message) {
    Sink sink;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        sink = state().sink;
    }
    if (sink) {
        sink(level, category, message);
        return;
    }
    static const char* names[] = {"INFO", "WARNING", "ERROR"};
    std::fprintf(stderr, "%s:engine.%s:%s\n", names[int(level)], category.c_str(), message.c_str());
}

void set_bridge(Bridge* bridge) { state().bridge = bridge; }

void flush() {
    if (Bridge* bridge = state().bridge.load()) bridge->flush();
}

void deliver_soon() {
    if (Bridge* bridge = state().bridge.load()) bridge->deliver_soon();
}

}  // namespace engine::core::Log
