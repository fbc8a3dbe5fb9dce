#pragma once

// Helpers shared by the core tests: a temporary directory that removes itself, a
// working-directory switch, and a Log sink that records what it receives.
#include "engine/core/Log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace engine::core::test {

/// A fresh directory under the system's temporary directory, removed with its
/// content when this object goes.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "engine-core-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) ADD_FAILURE() << "cannot create a temporary directory";
        path_ = pattern;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::string& path() const { return path_; }

    /// Writes `content` to `relative` (creating folders on the way); returns the full path.
    std::string write(const std::string& relative, const std::string& content) const {
        const std::filesystem::path full = std::filesystem::path(path_) / relative;
        std::filesystem::create_directories(full.parent_path());
        std::ofstream(full, std::ios::binary) << content;
        return full.string();
    }

private:
    std::string path_;  // absolute
};

/// Makes `directory` the working directory for the lifetime of this object.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& directory) : previous_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory() { std::filesystem::current_path(previous_); }

private:
    std::filesystem::path previous_;  // restored on destruction
};

/// Records every native log message while it exists, then restores the default sink.
class LogCapture {
public:
    struct Entry {
        Log::Level level;
        std::string category;
        std::string message;
    };

    LogCapture() {
        Log::set_sink([this](Log::Level level, const std::string& category, const std::string& message) {
            std::lock_guard<std::mutex> lock(mutex_);
            entries_.push_back({level, category, message});
        });
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() { Log::set_sink({}); }

    std::vector<Entry> entries() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

private:
    mutable std::mutex mutex_;    // the sink may be called from any thread
    std::vector<Entry> entries_;  // in arrival order
};

}  // namespace engine::core::test
