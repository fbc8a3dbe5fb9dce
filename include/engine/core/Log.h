#pragma once

#include <functional>
#include <string>

namespace engine::core {

/// The engine's log. Every message reaches Python's `logging` under the logger
/// "engine.<category>" ("engine.graphics"). Any thread may log, and logging never
/// calls Python: messages are queued, in order, and handed to `logging` on the script
/// thread as soon as control is back in script code (the interpreter's next
/// pending-call check), or at `flush()`. So a handler may call back into the engine
/// without pulling anything from under a native loop, and the texture loader cannot
/// deadlock against a script thread that waits for it.
namespace Log {

enum class Level { Info, Warning, Error };

void info(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void warning(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void error(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Delivers queued messages now. Script thread only (holding the interpreter lock),
/// at a point where a handler may safely call into the engine.
void flush();

/// Has messages queued by other threads delivered at the script's next safe point.
/// Script thread only; call it where the script thread takes work back from another
/// thread (the interpreter may notice their own scheduling late).
void deliver_soon();

/// Where messages go while Python logging is not in use (native tests, tools):
/// standard error by default. Passing an empty function restores that.
using Sink = std::function<void(Level, const std::string& category, const std::string& message)>;
void set_sink(Sink sink);

/// Routes messages into Python's logging from now on; called when `libcore` is imported.
void enable_python_logging();

}  // namespace Log
}  // namespace engine::core
