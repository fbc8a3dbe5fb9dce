#include "engine/graphics/Skeleton.h"

#include "actors/FactoryObjects.h"

#include "engine/graphics/Transform.h"

namespace engine::graphics {

Skeleton::~Skeleton() {
    // A joint a script still holds lives on; destroying one unlinks it from the others.
    for (Transform* joint : joints_) release_created(joint);
    joints_.clear();
    names_.clear();
}

Transform* Skeleton::make_joint() { return create_through_factory<Transform>("Transform"); }

Transform* Skeleton::add_joint(const std::string& name) {
    if (!name.empty()) {
        auto it = names_.find(name);
        if (it != names_.end() && get_joint(it->second)) return nullptr;
        names_[name] = unsigned(joints_.size());  // replaces a name left on a null joint
    }
    Transform* joint = make_joint();
    joints_.push_back(joint);
    return joint;
}

Transform* Skeleton::get_joint(const std::string& name) const {
    auto it = names_.find(name);
    return it == names_.end() ? nullptr : get_joint(it->second);
}

int Skeleton::get_joint_index(const std::string& name) const {
    auto it = names_.find(name);
    return it == names_.end() ? -1 : int(it->second);
}

void Skeleton::generate_bind_transforms() {
    for (Transform* joint : joints_)
        if (joint) joint->generate_bind_transform();
}

Skeleton& Skeleton::operator=(const Skeleton& other) {
    if (this == &other) return *this;
    const size_t first = joints_.size();
    joints_.reserve(first + other.joints_.size());
    for (const Transform* source : other.joints_) {
        Transform* joint = make_joint();
        if (joint && source) {
            *joint = *source;
            joint->set_rotation(joint->get_bind_rotation());
        }
        joints_.push_back(joint);
    }
    names_ = other.names_;
    // Link each new joint to the new twin of its source's parent; a parent outside the
    // source skeleton (or a later joint) is not linked, and joint 0 never is.
    for (size_t i = 1; i < other.joints_.size(); ++i) {
        const Transform* source = other.joints_[i];
        if (!source || !source->get_parent()) continue;
        for (size_t j = 0; j < i; ++j) {
            if (other.joints_[j] == source->get_parent()) {
                if (joints_[first + j] && joints_[first + i]) joints_[first + j]->attach(joints_[first + i]);
                break;
            }
        }
    }
    generate_bind_transforms();
    return *this;
}

}  // namespace engine::graphics
