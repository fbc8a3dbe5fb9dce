#include "engine/core/PathDatabase.h"

#include "engine/core/Stream.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <sys/stat.h>

namespace engine::core::PathDatabase {

namespace {

struct Roots {
    std::mutex mutex;
    std::vector<std::string> directories;  // search order
};

Roots& roots_state() {
    static Roots* r = new Roots;  // the loader thread may still look paths up during exit
    return *r;
}

bool is_regular_file(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

class FileStream final : public Stream {
public:
    explicit FileStream(std::FILE* file) : file_(file) {}
    ~FileStream() override { std::fclose(file_); }

    std::size_t get_size() const override {
        struct stat info;
        return ::fstat(fileno(file_), &info) == 0 ? std::size_t(info.st_size) : 0;
    }
    std::size_t read(void* buffer, std::size_t length) override { return std::fread(buffer, 1, length, file_); }

private:
    std::FILE* file_;  // owned
};

}  // namespace

void add_root(const std::string& directory) {
    Roots& r = roots_state();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (std::find(r.directories.begin(), r.directories.end(), directory) == r.directories.end())
        r.directories.push_back(directory);
}

void remove_root(const std::string& directory) {
    Roots& r = roots_state();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.directories.erase(std::remove(r.directories.begin(), r.directories.end(), directory), r.directories.end());
}

std::vector<std::string> roots() {
    Roots& r = roots_state();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.directories;
}

std::string resolve(const std::string& path) {
    if (path.empty()) return {};
    if (path[0] == '/') return is_regular_file(path) ? path : std::string();
    for (const std::string& root : roots()) {
        std::string candidate = join(root, path);
        if (is_regular_file(candidate)) return candidate;
    }
    return is_regular_file(path) ? path : std::string();
}

bool exists(const std::string& path) { return !resolve(path).empty(); }

Stream* open(const std::string& path) {
    const std::string real = resolve(path);
    if (real.empty()) return nullptr;
    std::FILE* file = std::fopen(real.c_str(), "rb");
    return file ? new FileStream(file) : nullptr;
}

std::string join(const std::string& base, const std::string& path) {
    if (base.empty() || (!path.empty() && path[0] == '/')) return path;
    return base.back() == '/' ? base + path : base + "/" + path;
}

bool read(const std::string& path, std::string& content) {
    std::unique_ptr<Stream> stream(open(path));
    if (!stream) return false;
    content.resize(stream->get_size());
    content.resize(stream->read(content.data(), content.size()));
    return true;
}

}  // namespace engine::core::PathDatabase
