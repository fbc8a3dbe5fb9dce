#include "engine/graphics/ActorControllerStack.h"

#include <algorithm>

namespace engine::graphics {

ActorControllerStack::~ActorControllerStack() {
    for (ActorController* c : controllers_) c->dec_ref();
}

bool ActorControllerStack::update(float dt) {
    // A controller may change the stack from a script hook: step a snapshot, each
    // held for its step.
    stepping_.assign(controllers_.begin(), controllers_.end());
    bool changed = false;
    for (ActorController* c : stepping_) {
        c->inc_ref();
        changed = c->update(dt) || changed;
        c->dec_ref();
    }
    return changed;
}

void ActorControllerStack::render() {
    for (ActorController* c : controllers_) c->render();
}

bool ActorControllerStack::add(ActorController* controller) {
    if (!controller || controller == this ||
        std::find(controllers_.begin(), controllers_.end(), controller) != controllers_.end())
        return false;
    controller->inc_ref();
    controllers_.push_back(controller);
    controller->set_actor(get_actor());
    return true;
}

bool ActorControllerStack::remove(ActorController* controller) {
    auto it = std::find(controllers_.begin(), controllers_.end(), controller);
    if (it == controllers_.end()) return false;
    controllers_.erase(it);
    controller->set_actor(nullptr);
    controller->dec_ref();
    return true;
}

void ActorControllerStack::on_actor(Actor* actor) {
    for (ActorController* c : controllers_) c->set_actor(actor);
}

}  // namespace engine::graphics
