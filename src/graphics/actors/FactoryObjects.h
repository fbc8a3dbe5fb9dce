#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/Vector.h"

#include <typeinfo>
#include <variant>
#include <vector>

namespace engine::graphics {

class IKConstraintPosition;
class IKConstraintRotation;

/// The constructor arguments of a factory-made object.
using FactoryArgument = std::variant<float, bool, core::Vector<float>>;
using FactoryArguments = std::vector<FactoryArgument>;

/// What makes the objects that data files and the engine create by class name, so that
/// a script class registered under that name is used. Installed by the graphics
/// extension; without it (a native program) every class is the native one.
struct ObjectMaker {
    /// Whether a script class is registered under `name`.
    bool (*has_class)(const char* name) = nullptr;
    /// A new instance of the class registered under `name`, made with `arguments`,
    /// whose native type must be `type`; null after reporting why (the script's
    /// exception, or an object of another kind).
    core::Ref<core::Object> (*make)(const char* name, const FactoryArguments& arguments,
                                    const std::type_info& type) = nullptr;
};

void set_object_maker(const ObjectMaker& maker) noexcept;

/// A new instance of the class registered under `name` (`T` is its native type), or a
/// plain native T when no class is registered. Null after a reported failure. Script
/// thread only.
template <class T>
core::Ref<T> create_through_factory(const char* name);

/// The fixed IK targets of a bind pose, made the same way under
/// "IKConstraintPositionFixed" and "IKConstraintRotationFixed" with their constructor
/// arguments; natively a plain object. Null after a reported failure.
core::Ref<IKConstraintPosition> create_fixed_position_constraint(const core::Vector<float>& position);
core::Ref<IKConstraintRotation> create_fixed_rotation_constraint(float rotation, bool in_world_space);

}  // namespace engine::graphics
