#pragma once

// What every fuzz target shares: a log that stays quiet (a malformed input is logged
// by design, and a warning per execution would drown libFuzzer's own report), and a
// stream over the fuzzer's bytes.
#include "engine/core/Log.h"
#include "engine/core/Stream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace engine::fuzz {

/// Sends the engine's log nowhere for the rest of the process. Call once, from
/// LLVMFuzzerInitialize.
inline void silence_log() {
    core::Log::set_sink([](core::Log::Level, const std::string&, const std::string&) {});
}

/// A read-only stream over bytes owned by the caller, which must outlive it.
class MemoryStream final : public core::Stream {
public:
    MemoryStream(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::size_t get_size() const override { return size_; }
    std::size_t read(void* buffer, std::size_t length) override {
        const std::size_t n = std::min(length, size_ - position_);
        if (n) std::memcpy(buffer, data_ + position_, n);
        position_ += n;
        return n;
    }

private:
    const std::uint8_t* data_;  // not owned
    std::size_t size_;          // bytes at data_
    std::size_t position_ = 0;  // next byte to read
};

}  // namespace engine::fuzz
