#include "engine/graphics/ActorController.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerSharedSkeleton.h"

namespace engine::graphics {

ActorController::~ActorController() {
    if (actor_) actor_->unwatch(this);
}

bool ActorController::update(float) { return false; }
void ActorController::render() {}
void ActorController::on_actor(Actor*) {}

void ActorController::set_actor(Actor* actor) {
    if (actor != actor_) {
        if (actor_) actor_->unwatch(this);
        if (actor) actor->watch(this);
        actor_ = actor;
    }
    on_actor(actor);
}

void ActorController::forget_actor(const Actor* actor) {
    if (actor_ == actor) actor_ = nullptr;
}

ActorControllerSharedSkeleton::ActorControllerSharedSkeleton(Actor* source) : source_(source) {
    if (source_) source_->watch(this);
}

ActorControllerSharedSkeleton::~ActorControllerSharedSkeleton() {
    if (source_) source_->unwatch(this);
}

bool ActorControllerSharedSkeleton::update(float) { return source_ && source_->transformed_vertices_this_frame(); }

void ActorControllerSharedSkeleton::forget_actor(const Actor* actor) {
    ActorController::forget_actor(actor);
    if (source_ == actor) source_ = nullptr;
}

}  // namespace engine::graphics
