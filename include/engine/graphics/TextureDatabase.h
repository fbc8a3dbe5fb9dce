#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"

#include <string>

namespace engine::graphics {

class TextureData;

/// Shares one TextureData per file path (or name, for pictures made from bytes) among
/// all Texture handles, frees unused ones on request, and holds the process-wide
/// "full_resolution" switch. (Each TextureData goes and comes back with the GL context
/// by itself, as a GpuResource.) One instance exists (the module's "texture_database");
/// the table is process-wide.
///
/// Script thread only (the thread that imported libgraphics and owns the GL context).
class TextureDatabase : public core::Object {
public:
    /// Becomes the live database.
    TextureDatabase();
    /// Drops every entry.
    ~TextureDatabase() override;

    /// The data of `path` with one reference for the caller, loaded on its first
    /// acquire (at full resolution when the switch is on or `force_full_resolution`).
    /// Later acquires of the same exact path share it and ignore both choices.
    static core::Ref<TextureData> acquire(const std::string& path, bool asynchronous, bool force_full_resolution);
    /// Enters pictures made from bytes under `name`, in the table of paths: a later
    /// acquire of that exact string (a Texture path, a sprite record's texture) shares
    /// them. The table takes a reference. False, changing nothing, when the name is
    /// empty or already in the table (a file's path or another name), or the data has a
    /// file or a name already.
    static bool add(const std::string& name, TextureData* data);
    /// Drops the table's entry of `path` (a file or a name); handles holding it keep
    /// their picture. False when there is none.
    static bool forget(const std::string& path);
    /// Whether `path` (a file or a name) is in the table.
    static bool contains(const std::string& path);
    /// Forgets the entry of `path` if it is `data`, without touching references (data
    /// being destroyed).
    static void remove(const std::string& path, const TextureData* data);

    /// Frees every texture from a file that only the database still holds; nothing while
    /// loads are pending. Named pictures made from bytes stay until forgotten: nothing
    /// could bring them back.
    static void purge();
    /// Deletes and reloads every texture synchronously (pictures made from bytes from
    /// their kept copy).
    static void reload();

    static bool is_full_resolution();
    /// Affects textures loaded from now on; reloads keep each texture's own choice.
    static void set_full_resolution(bool full_resolution);

    /// Number of textures in the table.
    static std::size_t size();
    /// Whether the one live database exists.
    static bool exists();
};

}  // namespace engine::graphics
