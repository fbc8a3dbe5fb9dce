#include "engine/graphics/ActorControllerStack.h"

#include <algorithm>

namespace engine::graphics {

ActorControllerStack::~ActorControllerStack() = default;

bool ActorControllerStack::update(float dt) {
    // A controller may change the stack from a script hook: step a snapshot, held
    // until the step ends.
    stepping_.assign(controllers_.begin(), controllers_.end());
    bool changed = false;
    for (ActorController* c : stepping_) changed = c->update(dt) || changed;
    stepping_.clear();  // keeps its capacity
    return changed;
}

void ActorControllerStack::render() {
    // A script's drawing may change the stack too.
    rendering_.assign(controllers_.begin(), controllers_.end());
    for (ActorController* c : rendering_) c->render();
    rendering_.clear();
}

bool ActorControllerStack::add(ActorController* controller) {
    if (!controller || controller == this ||
        std::find(controllers_.begin(), controllers_.end(), controller) != controllers_.end())
        return false;
    controllers_.push_back(controller);
    controller->set_actor(get_actor());
    return true;
}

bool ActorControllerStack::remove(ActorController* controller) {
    auto it = std::find(controllers_.begin(), controllers_.end(), controller);
    if (it == controllers_.end()) return false;
    const core::Ref<ActorController> held = std::move(*it);
    controllers_.erase(it);
    controller->set_actor(nullptr);
    return true;
}

void ActorControllerStack::on_actor(Actor* actor) {
    for (ActorController* c : controllers_) c->set_actor(actor);
}

}  // namespace engine::graphics
