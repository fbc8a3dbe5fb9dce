#pragma once

namespace engine::core {

/// What the engine libraries ask of the script side without linking to it. The core
/// extension installs the hooks when it is imported; a program with no interpreter (the
/// C++ tests, a native game) keeps the defaults. Script thread only.
struct ScriptHooks {
    /// Whether a hook's exception waits to leave the engine call under way (see
    /// `call_method`); loops that run hooks stop early while it does. Null: never.
    bool (*error_held)() = nullptr;
};

void set_script_hooks(const ScriptHooks& hooks) noexcept;

/// Whether a script hook's exception waits to leave the engine call under way; false
/// without an interpreter.
bool script_error_held() noexcept;

}  // namespace engine::core
