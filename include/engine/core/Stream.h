#pragma once

#include <cstddef>

namespace engine::core {

/// A readable byte stream, as `PathDatabase::open` hands them out. Owned by whoever
/// opened it; may be used from any one thread at a time.
class Stream {
public:
    virtual ~Stream() = default;

    /// Total size in bytes.
    virtual std::size_t get_size() const = 0;

    /// Fills `buffer` with the next `length` bytes; returns how many were read (fewer
    /// only at the end of the stream).
    virtual std::size_t read(void* buffer, std::size_t length) = 0;
};

}  // namespace engine::core
