#include "actors/FactoryObjects.h"

#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/IKConstraintPositionFixed.h"
#include "engine/graphics/IKConstraintRotationFixed.h"
#include "engine/graphics/ParticleEmitter.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

namespace {

ObjectMaker object_maker;  // installed by the graphics extension

// The instance the maker makes under `name`, or `native()` when no class is registered.
template <class T, class Native>
core::Ref<T> create_with(const char* name, const FactoryArguments& arguments, Native native) {
    if (!object_maker.has_class || !object_maker.has_class(name)) return native();
    const core::Ref<core::Object> made = object_maker.make(name, arguments, typeid(T));
    return core::Ref<T>(dynamic_cast<T*>(made.get()));  // the maker checked the type
}

}  // namespace

void set_object_maker(const ObjectMaker& maker) noexcept { object_maker = maker; }

template <class T>
core::Ref<T> create_through_factory(const char* name) {
    return create_with<T>(name, {}, [] { return core::make_ref<T>(); });
}

core::Ref<IKConstraintPosition> create_fixed_position_constraint(const core::Vector<float>& position) {
    return create_with<IKConstraintPosition>("IKConstraintPositionFixed", {position}, [&] {
        return core::Ref<IKConstraintPosition>(new IKConstraintPositionFixed(position));
    });
}

core::Ref<IKConstraintRotation> create_fixed_rotation_constraint(float rotation, bool in_world_space) {
    return create_with<IKConstraintRotation>("IKConstraintRotationFixed", {rotation, in_world_space}, [&] {
        return core::Ref<IKConstraintRotation>(new IKConstraintRotationFixed(rotation, in_world_space));
    });
}

template core::Ref<Transform> create_through_factory<Transform>(const char*);
template core::Ref<Skeleton> create_through_factory<Skeleton>(const char*);
template core::Ref<ActorMesh> create_through_factory<ActorMesh>(const char*);
template core::Ref<ParticleEmitter> create_through_factory<ParticleEmitter>(const char*);

}  // namespace engine::graphics
