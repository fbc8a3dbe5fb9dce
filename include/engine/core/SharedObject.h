#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace engine::core {

/// Intrusively counted base for shared resources that need not be script objects
/// (textures, shared definitions). A new instance has a count of 0: its first holder
/// calls `inc_ref`, and the last `dec_ref` deletes it. The count is atomic, so holders
/// on different threads may count at once; the thread of the last `dec_ref` runs the
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

    void inc_ref() { ++count_; }
    /// Deletes this object when the count reaches zero.
    void dec_ref() {
        if (--count_ <= 0) delete this;
    }
    std::int32_t get_ref_count() const { return count_; }

private:
    std::atomic<std::int32_t> count_{0};  // holders of this object
};

}  // namespace engine::core
