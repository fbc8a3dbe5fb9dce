#include "engine/graphics/ActorController.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerSharedSkeleton.h"

namespace engine::graphics {

ActorController::~ActorController() = default;

bool ActorController::update(float) { return false; }
void ActorController::render() {}
void ActorController::on_actor(Actor*) {}

void ActorController::set_actor(Actor* actor) {
    actor_ = actor;
    on_actor(actor);
}

ActorControllerSharedSkeleton::ActorControllerSharedSkeleton(Actor* source) : source_(source) {}

ActorControllerSharedSkeleton::~ActorControllerSharedSkeleton() = default;

bool ActorControllerSharedSkeleton::update(float) {
    const Actor* source = source_;
    return source && source->transformed_vertices_this_frame();
}

}  // namespace engine::graphics
