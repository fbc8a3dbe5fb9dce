#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace engine::core {

template <class T>
class Ref;

/// Intrusively counted base for shared resources that need not be script objects
/// (textures, shared definitions), held through `Ref<T>` like an `Object`. A new
/// instance has a count of 0: its first holder takes a reference, and the last to let
/// go deletes it. The count is atomic, so holders
/// on different threads may count at once; the thread of the last holder runs the
/// destructor, so a class whose destructor needs the script thread (TextureData) is
/// only let go there.
class SharedObject {
public:
    SharedObject() noexcept;
    SharedObject(const SharedObject&) = delete;
    SharedObject& operator=(const SharedObject&) = delete;
    virtual ~SharedObject();

    /// How many SharedObjects are alive: leak checks compare it before and after. Any thread.
    static std::size_t live_count() noexcept;

    std::int32_t get_ref_count() const { return count_; }

private:
    template <class>
    friend class Ref;

    void inc_ref() const { ++count_; }
    /// Deletes this object when the count reaches zero.
    void dec_ref() const {
        if (--count_ <= 0) delete this;
    }

    mutable std::atomic<std::int32_t> count_{0};  // holders of this object
};

}  // namespace engine::core
