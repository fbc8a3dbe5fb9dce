#pragma once

#include <functional>
#include <string>

namespace engine::core {

/// The engine's log. Every message reaches Python's `logging` under the logger
/// "engine.<category>" ("engine.graphics"). Any thread may log: a thread that does not
/// hold the interpreter lock never waits for it; its messages are queued and delivered
/// on the script thread (at the next message logged there, or as soon as the
/// interpreter runs its pending calls), so the texture loader cannot deadlock against
/// a script thread that waits for it.
namespace Log {

enum class Level { Info, Warning, Error };

void info(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void warning(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void error(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Delivers queued messages now. Script thread only (holding the interpreter lock).
void flush();

/// Where messages go while Python logging is not in use (native tests, tools):
/// standard error by default. Passing an empty function restores that.
using Sink = std::function<void(Level, const std::string& category, const std::string& message)>;
void set_sink(Sink sink);

/// Routes messages into Python's logging from now on; called when `libcore` is imported.
void enable_python_logging();

}  // namespace Log
}  // namespace engine::core
