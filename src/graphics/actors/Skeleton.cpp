#include "engine/graphics/Skeleton.h"

#include "common/Prefetch.h"

#include "common/FactoryObjects.h"

#include "engine/core/Log.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

// A joint a script still holds lives on; destroying one unlinks it from the others.
Skeleton::~Skeleton() = default;

core::Ref<Transform> Skeleton::make_joint() { return create_through_factory<Transform>("Transform"); }

void Skeleton::prefetch(unsigned stage) const {
    if (stage == 0) {
        prefetch_table(joints_);
        return;
    }
    for (const Transform* joint : joints_) {
        if (!joint) continue;
        if (stage == 1)
            prefetch_bytes(joint, sizeof(Transform), true);  // a pose writes them
        else
            joint->prefetch_links();
    }
}

Transform* Skeleton::add_joint(const std::string& name) {
    if (!name.empty()) {
        auto it = names_.find(name);
        if (it != names_.end() && get_joint(it->second)) return nullptr;
        names_[name] = unsigned(joints_.size());  // replaces a name left on a null joint
    }
    joints_.push_back(make_joint());
    return joints_.back();
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
    // The copy takes the template's indices, which meshes, rigs and names refer to; the
    // joints already here (a factory subclass's own, made in its constructor) follow
    // them under their own names.
    std::vector<core::Ref<Transform>> own;
    own.swap(joints_);
    std::map<std::string, unsigned> own_names;
    own_names.swap(names_);
    // The template's joints and names as they stand now, held: the factory's script
    // classes run between the copies and may change or drop the template.
    const std::vector<core::Ref<Transform>> sources = other.joints_;
    const std::map<std::string, unsigned> source_names = other.names_;
    joints_.reserve(sources.size() + own.size());
    for (const Transform* source : sources) {
        core::Ref<Transform> joint = make_joint();
        if (joint && source) {
            *joint = *source;
            joint->set_rotation(joint->get_bind_rotation());
            // Scale, skew and inheritance are part of the template's shape (an imported
            // character's setup pose), which assignment alone leaves out.
            joint->set_scale(source->get_local_scale());
            joint->set_skew(source->get_skew());
            joint->set_inheritance(source->get_inheritance());
        }
        joints_.push_back(std::move(joint));
    }
    // Joints a factory class added to this skeleton meanwhile follow the copies too.
    for (std::size_t i = sources.size(); i < joints_.size(); ++i) own.push_back(joints_[i]);
    joints_.resize(sources.size());
    names_ = source_names;
    // Link each new joint to the new twin of its source's parent; a parent outside the
    // source skeleton (or a later joint) is not linked, and joint 0 never is.
    for (size_t i = 1; i < sources.size(); ++i) {
        const Transform* source = sources[i];
        if (!source || !source->get_parent()) continue;
        for (size_t j = 0; j < i; ++j) {
            if (sources[j] == source->get_parent()) {
                if (joints_[j] && joints_[i]) joints_[j]->attach(joints_[i]);
                break;
            }
        }
    }
    const unsigned first = unsigned(joints_.size());
    joints_.insert(joints_.end(), own.begin(), own.end());
    for (const auto& [name, index] : own_names) {
        if (!names_.emplace(name, first + index).second)
            core::Log::warning("graphics",
                               "Skeleton: the copied joints have a joint named '%s' already; the skeleton's own "
                               "joint of that name is left unnamed.",
                               name.c_str());
    }
    generate_bind_transforms();
    return *this;
}

}  // namespace engine::graphics
