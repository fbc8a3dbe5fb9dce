#pragma once

namespace engine::core::PythonLog {

/// Routes the engine's log into Python's `logging` from now on; called when `libcore`
/// is imported. Messages are queued, in order, and handed to `logging` on the script
/// thread as soon as control is back in script code (the interpreter's next
/// pending-call check), or at `Log::flush()`. So a handler may call back into the
/// engine without pulling anything from under a native loop, and the texture loader
/// cannot deadlock against a script thread that waits for it. At the interpreter's
/// exit (atexit) what waits is delivered and the levels of the "engine.*" loggers are
/// remembered; once the interpreter is finalizing, logging is gone and messages go to
/// the log's sink again, but only those that logging would have printed (the levels
/// enabled and a handler, or logging's last resort, taking them).
void enable();

}  // namespace engine::core::PythonLog
