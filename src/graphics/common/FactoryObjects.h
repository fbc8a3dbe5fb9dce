#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/Vector.h"

#include <typeinfo>
#include <variant>
#include <vector>

namespace engine::graphics {

/// The constructor arguments of a factory-made object (an engine object goes as its
/// script object, or None when it has none).
using FactoryArgument = std::variant<float, bool, core::Vector<float>, core::Object*>;
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
const ObjectMaker& get_object_maker() noexcept;

/// A new instance of the class registered under `name` (`T` is its native type), made
/// with `arguments`, or `native()` when no class is registered. Null after a reported
/// failure. Script thread only.
///
///     core::Ref<Transform> joint = create_through_factory<Transform>("Transform");
template <class T, class Native>
core::Ref<T> create_through_factory(const char* name, const FactoryArguments& arguments, Native native) {
    const ObjectMaker& maker = get_object_maker();
    if (!maker.has_class || !maker.has_class(name)) return native();
    const core::Ref<core::Object> made = maker.make(name, arguments, typeid(T));
    return core::Ref<T>(dynamic_cast<T*>(made.get()));  // the maker checked the type
}

/// The same for a class made without arguments, natively a plain T.
template <class T>
core::Ref<T> create_through_factory(const char* name) {
    return create_through_factory<T>(name, {}, [] { return core::make_ref<T>(); });
}

}  // namespace engine::graphics
