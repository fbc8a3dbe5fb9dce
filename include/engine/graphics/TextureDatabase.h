#pragma once

#include "engine/window/WindowListener.h"

#include <string>

namespace engine::graphics {

class TextureData;

/// Shares one TextureData per file path among all Texture handles, deletes their GL
/// objects when the context goes and reloads them when it comes back, frees unused
/// ones on request, and holds the process-wide "full_resolution" switch. One instance
/// exists (the module's "texture_database"); the table is process-wide.
class TextureDatabase : public window::WindowListener {
public:
    /// Becomes the live database and listens to the window.
    TextureDatabase();
    /// Drops every entry and stops listening.
    ~TextureDatabase() override;

    /// The data of `path` with one reference for the caller, loaded on its first
    /// acquire (at full resolution when the switch is on or `force_full_resolution`).
    /// Later acquires of the same exact path share it and ignore both choices.
    static TextureData* acquire(const std::string& path, bool asynchronous, bool force_full_resolution);
    /// Forgets the entry of `path` if it is `data`, without touching references (data
    /// being destroyed).
    static void remove(const std::string& path, const TextureData* data);

    /// Frees every texture only the database still holds; nothing while loads are pending.
    static void purge();
    /// Deletes and reloads every texture synchronously.
    static void reload();

    static bool is_full_resolution();
    /// Affects textures loaded from now on; reloads keep each texture's own choice.
    static void set_full_resolution(bool full_resolution);

    /// Number of textures in the table.
    static std::size_t size();
    /// Whether the one live database exists.
    static bool exists();

    void on_create(window::Window* window) override;
    void on_destroy(window::Window* window) override;
};

}  // namespace engine::graphics
