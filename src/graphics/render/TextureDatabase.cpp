#include "engine/graphics/TextureDatabase.h"

#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureLoader.h"

#include <map>
#include <vector>

namespace engine::graphics {

namespace {

// Process-wide: one table, one switch, one live database.
// Never destroyed: what is still in it at exit is not released after the GL context
// and the interpreter have gone.
std::map<std::string, core::Ref<TextureData>>& table = *new std::map<std::string, core::Ref<TextureData>>;
bool full_resolution = true;
TextureDatabase* instance = nullptr;

}  // namespace

TextureDatabase::TextureDatabase() { instance = this; }

TextureDatabase::~TextureDatabase() {
    if (instance != this) return;
    // Emptied first: each data leaves the table by name while being destroyed.
    std::map<std::string, core::Ref<TextureData>> entries;
    entries.swap(table);
    entries.clear();
    instance = nullptr;
}

core::Ref<TextureData> TextureDatabase::acquire(const std::string& path, bool asynchronous,
                                               bool force_full_resolution) {
    auto it = table.find(path);
    if (it != table.end()) return it->second;
    const core::Ref<TextureData> data = core::make_ref<TextureData>();
    table[path] = data;
    data->load(path, asynchronous, full_resolution || force_full_resolution);
    return data;
}

bool TextureDatabase::add(const std::string& name, TextureData* data) {
    if (name.empty() || !data || !data->get_path().empty() || !data->has_pixels() || table.count(name)) return false;
    data->set_name(name);
    table[name] = data;
    return true;
}

bool TextureDatabase::forget(const std::string& path) {
    auto it = table.find(path);
    if (it == table.end()) return false;
    const core::Ref<TextureData> data = std::move(it->second);
    table.erase(it);  // released on leaving: its release finds the entry gone
    return true;
}

bool TextureDatabase::contains(const std::string& path) { return table.count(path) != 0; }

void TextureDatabase::remove(const std::string& path, const TextureData* data) {
    auto it = table.find(path);
    if (it != table.end() && it->second == data) table.erase(it);
}

void TextureDatabase::purge() {
    if (TextureLoader::is_loading()) return;
    // Taken out of the table first and released afterwards: a release runs code (its
    // log line, a script's handler) that may use the table again.
    std::vector<core::Ref<TextureData>> unused;
    for (auto it = table.begin(); it != table.end();) {
        if (it->second->get_ref_count() == 1 && !it->second->has_pixels()) {
            unused.push_back(std::move(it->second));
            it = table.erase(it);
        } else {
            ++it;
        }
    }
    unused.clear();
}

void TextureDatabase::reload() {
    for (auto& [path, data] : table) {
        data->delete_texture();
        data->reload();
    }
}

bool TextureDatabase::is_full_resolution() { return full_resolution; }
void TextureDatabase::set_full_resolution(bool value) { full_resolution = value; }
std::size_t TextureDatabase::size() { return table.size(); }
bool TextureDatabase::exists() { return instance != nullptr; }

}  // namespace engine::graphics
