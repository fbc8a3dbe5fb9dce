#include "engine/core/ScriptHooks.h"

namespace engine::core {

namespace {
ScriptHooks hooks;  // installed by the core extension
}  // namespace

void set_script_hooks(const ScriptHooks& installed) noexcept { hooks = installed; }

bool script_error_held() noexcept { return hooks.error_held && hooks.error_held(); }

}  // namespace engine::core
