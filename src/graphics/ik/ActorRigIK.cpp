#include "engine/graphics/ActorRigIK.h"

namespace engine::graphics {

bool IKHandlePosition::parse_type(const std::string& text, Type& type) {
    static const char* const names[] = {"point", "aim", "chain", "spine"};
    for (int i = 0; i < 4; ++i) {
        if (text == names[i]) {
            type = Type(i);
            return true;
        }
    }
    return false;
}

IKHandlePosition* ActorRigIK::add_position_handle(const std::string& effector_id, const std::string& type) {
    IKHandlePosition::Type kind;
    if (!IKHandlePosition::parse_type(type, kind) || get_position_handle(effector_id)) return nullptr;
    position_handles_.push_back(std::make_unique<IKHandlePosition>(effector_id, kind));
    return position_handles_.back().get();
}

IKHandleRotation* ActorRigIK::add_rotation_handle(const std::string& joint_id) {
    if (get_rotation_handle(joint_id)) return nullptr;
    rotation_handles_.push_back(std::make_unique<IKHandleRotation>(joint_id));
    return rotation_handles_.back().get();
}

IKHandlePosition* ActorRigIK::get_position_handle(unsigned index) const {
    return index < position_handles_.size() ? position_handles_[index].get() : nullptr;
}

IKHandlePosition* ActorRigIK::get_position_handle(const std::string& effector_id) const {
    for (const auto& handle : position_handles_)
        if (handle->get_effector_id() == effector_id) return handle.get();
    return nullptr;
}

IKHandleRotation* ActorRigIK::get_rotation_handle(unsigned index) const {
    return index < rotation_handles_.size() ? rotation_handles_[index].get() : nullptr;
}

IKHandleRotation* ActorRigIK::get_rotation_handle(const std::string& joint_id) const {
    for (const auto& handle : rotation_handles_)
        if (handle->get_joint_id() == joint_id) return handle.get();
    return nullptr;
}

}  // namespace engine::graphics
