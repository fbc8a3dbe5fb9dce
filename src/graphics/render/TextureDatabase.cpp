#include "engine/graphics/TextureDatabase.h"

#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureLoader.h"

#include <map>
#include <vector>

namespace engine::graphics {

namespace {

// Process-wide: one table, one switch, one live database.
std::map<std::string, TextureData*> table;  // one reference per entry
bool full_resolution = true;
TextureDatabase* instance = nullptr;

}  // namespace

TextureDatabase::TextureDatabase() { instance = this; }

TextureDatabase::~TextureDatabase() {
    if (instance != this) return;
    // Emptied first: each data leaves the table by name while being destroyed.
    std::map<std::string, TextureData*> entries;
    entries.swap(table);
    for (auto& [path, data] : entries) data->dec_ref();
    instance = nullptr;
}

TextureData* TextureDatabase::acquire(const std::string& path, bool asynchronous, bool force_full_resolution) {
    auto it = table.find(path);
    if (it != table.end()) {
        it->second->inc_ref();
        return it->second;
    }
    auto* data = new TextureData;
    data->inc_ref();  // the table's
    table[path] = data;
    data->load(path, asynchronous, full_resolution || force_full_resolution);
    data->inc_ref();  // the caller's
    return data;
}

bool TextureDatabase::add(const std::string& name, TextureData* data) {
    if (name.empty() || !data || !data->get_path().empty() || !data->has_pixels() || table.count(name)) return false;
    data->set_name(name);
    data->inc_ref();  // the table's
    table[name] = data;
    return true;
}

bool TextureDatabase::forget(const std::string& path) {
    auto it = table.find(path);
    if (it == table.end()) return false;
    TextureData* data = it->second;
    table.erase(it);
    data->dec_ref();  // may run its release, which finds the entry gone
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
    std::vector<TextureData*> unused;
    for (auto it = table.begin(); it != table.end();) {
        if (it->second->get_ref_count() == 1 && !it->second->has_pixels()) {
            unused.push_back(it->second);
            it = table.erase(it);
        } else {
            ++it;
        }
    }
    for (TextureData* data : unused) data->dec_ref();
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
