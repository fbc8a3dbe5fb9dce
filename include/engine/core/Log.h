#pragma once

#include <functional>
#include <string>

namespace engine::core {

/// The engine's log. Any thread may log. Without a bridge, messages go to the sink
/// (standard error by default) on the thread that logs them. When `libcore` is
/// imported, the script part of core installs a bridge that hands every message to
/// Python's `logging` under "engine.<category>" ("engine.graphics") at the script
/// thread's next safe point (see core/script/PythonLog.h).
namespace Log {

enum class Level { Info, Warning, Error };

void info(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void warning(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));
void error(const char* category, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Where messages go while no bridge takes them (native tests, tools): standard error
/// by default. Passing an empty function restores that. Called on the logging thread.
using Sink = std::function<void(Level, const std::string& category, const std::string& message)>;
void set_sink(Sink sink);

/// Writes one message to the sink (or standard error), bypassing any bridge: the way
/// a bridge reports what it cannot deliver itself.
void write_to_sink(Level level, const std::string& category, const std::string& message);

/// Takes messages instead of the sink, for a destination that must receive them on
/// one particular thread. Any thread may call `accept`.
class Bridge {
public:
    virtual ~Bridge() = default;
    /// Takes a formatted message, or returns false to leave it to the sink.
    virtual bool accept(Level level, const std::string& category, std::string&& message) = 0;
    /// Delivers what waits now, where the destination's thread allows it.
    virtual void flush() = 0;
    /// Has what waits delivered at the destination's next safe point.
    virtual void deliver_soon() = 0;
};

/// Installs the bridge (not owned: it must outlive every later log call, so it is
/// never destroyed before exit), or removes it with null.
void set_bridge(Bridge* bridge);

/// Delivers queued messages now, through the bridge. Without one, messages are never
/// queued and this does nothing.
void flush();

/// Has queued messages delivered at the bridge's next safe point. Call it where the
/// script thread takes work back from another thread (whose messages wait queued).
void deliver_soon();

}  // namespace Log
}  // namespace engine::core
