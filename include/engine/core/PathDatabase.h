#pragma once

#include <string>
#include <vector>

namespace engine::core {

class Stream;

/// The engine's small virtual file system. A relative path is looked up under each
/// root in the order the roots were added, then under the working directory; an
/// absolute path is used as it is. Thread-safe: the texture loader opens files while
/// the script adds roots.
namespace PathDatabase {

/// Adds a root directory at the end of the search order (a root already present is
/// not added twice).
void add_root(const std::string& directory);
/// Removes a root; nothing when it is not present.
void remove_root(const std::string& directory);
/// The roots, in search order.
std::vector<std::string> roots();

/// The real file a path resolves to, or an empty string when there is none.
std::string resolve(const std::string& path);
bool exists(const std::string& path);

/// Opens a path for reading. Returns a new stream owned by the caller, or null when
/// the file cannot be opened.
Stream* open(const std::string& path);

/// The whole content of a file; false when it cannot be read.
bool read(const std::string& path, std::string& content);

/// Joins like Python's os.path.join: a separator when missing, an absolute `path`
/// alone. Data files name their pictures relative to the base path given to `load`.
std::string join(const std::string& base, const std::string& path);

}  // namespace PathDatabase
}  // namespace engine::core
