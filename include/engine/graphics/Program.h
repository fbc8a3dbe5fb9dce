#pragma once

#include "engine/window/GpuResource.h"

#include <map>
#include <set>
#include <string>

struct _CGprogram;
typedef struct _CGprogram* CGprogram;
struct _CGparameter;
typedef struct _CGparameter* CGparameter;

namespace engine::graphics {

class Framebuffer;
class Texture;

/// One Cg program compiled at run time for an ARB assembly profile, with a cache of
/// its named parameters and the texture parameters it has enabled. One Cg context
/// serves the process: it is made with the first GL context, knows the include file
/// "Transition.cgh", and logs every Cg error. As a GpuResource a program is unloaded
/// with the GL context and reloaded with the next one. It owns its Cg program and
/// cannot be copied. Without the Cg toolkit at build time programs exist but are never
/// supported. Script thread only (the thread that imported libgraphics and owns the GL context); Cg uses that context.
class Program : public window::GpuResource {
public:
    /// `profile` is a Cg profile value (CG_PROFILE_ARBVP1, CG_PROFILE_ARBFP1).
    explicit Program(unsigned int profile);
    /// Destroys its Cg program while a GL context exists (otherwise the Cg context,
    /// which lives as long as the process, keeps it).
    ~Program() override;

    /// A Cg context exists and both ARB profiles are supported.
    static bool is_supported();

    /// Compiles and loads `source` with its entry point, replacing (and destroying) the
    /// program compiled before; false (errors logged by the Cg error handler) when
    /// unsupported or on a compile or load failure.
    bool set_source(const char* source, const char* entry);
    /// Loads the compiled program into the new GL context; a failure empties the program.
    bool reload();
    /// Unloads the program from the GL context that is going away.
    void release();

    void bind();
    /// Disables the profile and every texture parameter enabled by set_texture.
    void unbind();

    bool is_compiled() const { return program_ != nullptr; }

    /// Setters do nothing for a parameter the program lacks.
    void set_parameter(const std::string& name, float value);
    /// 1 to 4 components; any other count does nothing.
    void set_parameter(const std::string& name, const float* values, unsigned int components);
    void set_parameter(const std::string& name, const float* values, unsigned int components, unsigned int count);
    void set_texture(const std::string& name, const Texture& texture);
    void set_texture(const std::string& name, const Framebuffer& framebuffer);

    /// Makes the process's Cg context with the first GL context: called by the module's
    /// window listener on each new context.
    static void on_context_created();

    void release_gpu() override { release(); }
    void restore_gpu() override { reload(); }

    /// The cached handle, else a lookup (cached when found); null when absent.
    CGparameter get_parameter(const std::string& name);

    /// How many parameters are cached and how many texture parameters are enabled.
    std::size_t get_cached_parameter_count() const { return parameters_.size(); }
    std::size_t get_enabled_texture_count() const { return enabled_textures_.size(); }

private:
    /// Destroys the Cg program and forgets what was cached about it.
    void destroy();

    CGprogram program_ = nullptr;                    // null when not compiled
    unsigned int profile_;                           // fixed at construction
    std::map<std::string, CGparameter> parameters_;  // found parameters only
    std::set<CGparameter> enabled_textures_;         // enabled by set_texture
    bool loaded_ = false;                            // bound at least once
};

/// A program for the ARB vertex profile.
class VertexProgram : public Program {
public:
    VertexProgram();
};

/// A program for the ARB fragment profile.
class FragmentProgram : public Program {
public:
    FragmentProgram();
};

}  // namespace engine::graphics
