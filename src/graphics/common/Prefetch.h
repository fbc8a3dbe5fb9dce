#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace engine::graphics {

/// Asks for `size` bytes from `object` ahead of their use, into the second-level cache:
/// what a crowd's update asks for a few objects ahead would push itself out of the
/// first level before its turn. `write` when the bytes will be written. A prefetch never
/// faults, so any address will do; callers skip null objects only to save the asking.
/// (No null test in here: GCC 12 at -O2 then drops a fixed-size loop of prefetches.)
inline void prefetch_bytes(const void* object, std::size_t size, bool write = false) {
    // Every cache line the bytes touch, the first and last ones too when the object
    // does not start on a line.
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(object) & ~std::uintptr_t(63);
    const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(object) + size;
    for (std::uintptr_t line = first; line < end; line += 64) {
        const char* address = reinterpret_cast<const char*>(line);
        if (write)
            __builtin_prefetch(address, 1, 2);
        else
            __builtin_prefetch(address, 0, 2);
    }
}

/// The whole of a table's elements.
template <class T>
void prefetch_table(const std::vector<T>& table) {
    prefetch_bytes(table.data(), table.size() * sizeof(T));
}

}  // namespace engine::graphics
