#include "engine/graphics/Program.h"

#include "engine/core/Log.h"
#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/Texture.h"
#include "engine/window/Window.h"

#include <algorithm>
#include <vector>

#ifdef ENGINE_HAS_CG
#include <Cg/cg.h>
#include <Cg/cgGL.h>
#endif

namespace engine::graphics {

namespace {

constexpr unsigned int kVertexProfile = 6150;    // CG_PROFILE_ARBVP1
constexpr unsigned int kFragmentProfile = 7000;  // CG_PROFILE_ARBFP1


}  // namespace

#ifdef ENGINE_HAS_CG

namespace {

CGcontext context = nullptr;  // one for the process, made with the first GL context

const char* const kTransitionSource =
    "float transition_alpha(sampler2D texture, float2 texcoord, float t, float from, float to)\n"
    "{\n"
    "const float scale = 5;\n"
    "const float bias = -2;\n"
    "\n"
    "float transition = saturate(tex2D(texture, texcoord).r + t);\n"
    "transition = saturate(transition * scale + bias);\n"
    "return lerp(from, to, transition);\n"
    "}\n";

void report_error(CGcontext ctx, CGerror error, void*) {
    const char* text = cgGetLastErrorString(nullptr);
    core::Log::error("graphics", "Cg error: %s", text && *text ? text : "(unknown).");
    if (error == CG_COMPILER_ERROR) {
        const char* listing = cgGetLastListing(ctx);
        core::Log::error("graphics", "%s", listing && *listing ? listing : "(no listing).");
    }
}

}  // namespace

bool Program::is_supported() {
    return context && cgGLIsProfileSupported(CG_PROFILE_ARBVP1) && cgGLIsProfileSupported(CG_PROFILE_ARBFP1);
}

bool Program::set_source(const char* source, const char* entry) {
    if (!is_supported()) return false;
    destroy();
    program_ = cgCreateProgram(context, CG_SOURCE, source, CGprofile(profile_), entry, nullptr);
    parameters_.clear();
    if (!program_) return false;
    cgGLLoadProgram(program_);
    if (!cgGLIsProgramLoaded(program_)) {
        cgDestroyProgram(program_);
        program_ = nullptr;
        return false;
    }
    return true;
}

bool Program::reload() {
    if (!program_) return false;
    cgGLLoadProgram(program_);
    if (cgGLIsProgramLoaded(program_)) return true;
    cgDestroyProgram(program_);
    program_ = nullptr;
    parameters_.clear();
    return false;
}

void Program::release() {
    // The loaded flag stays: the next bind must not load again, reload does.
    if (program_) cgGLUnloadProgram(program_);
}

void Program::bind() {
    if (!program_) return;
    if (!loaded_) {
        loaded_ = true;
        cgGLLoadProgram(program_);
    }
    cgGLEnableProfile(CGprofile(profile_));
    cgGLBindProgram(program_);
}

void Program::unbind() {
    if (!program_) return;
    cgGLDisableProfile(CGprofile(profile_));
    for (CGparameter parameter : enabled_textures_) cgGLDisableTextureParameter(parameter);
    enabled_textures_.clear();
}

CGparameter Program::get_parameter(const std::string& name) {
    if (!program_) return nullptr;
    auto it = parameters_.find(name);
    if (it != parameters_.end()) return it->second;
    // Misses are not cached: looked up anew on every call.
    CGparameter parameter = cgGetNamedParameter(program_, name.c_str());
    if (parameter) parameters_[name] = parameter;
    return parameter;
}

void Program::set_parameter(const std::string& name, float value) {
    if (CGparameter p = get_parameter(name)) cgGLSetParameter1f(p, value);
}

void Program::set_parameter(const std::string& name, const float* values, unsigned int components) {
    CGparameter p = get_parameter(name);
    if (!p) return;
    switch (components) {
        case 1:
            cgGLSetParameter1fv(p, values);
            break;
        case 2:
            cgGLSetParameter2fv(p, values);
            break;
        case 3:
            cgGLSetParameter3fv(p, values);
            break;
        case 4:
            cgGLSetParameter4fv(p, values);
            break;
        default:
            break;
    }
}

void Program::set_parameter(const std::string& name, const float* values, unsigned int components, unsigned int count) {
    CGparameter p = get_parameter(name);
    if (!p) return;
    switch (components) {
        case 1:
            cgGLSetParameterArray1f(p, 0, long(count), values);
            break;
        case 2:
            cgGLSetParameterArray2f(p, 0, long(count), values);
            break;
        case 3:
            cgGLSetParameterArray3f(p, 0, long(count), values);
            break;
        case 4:
            cgGLSetParameterArray4f(p, 0, long(count), values);
            break;
        default:
            break;
    }
}

void Program::set_texture(const std::string& name, const Texture& texture) {
    CGparameter p = get_parameter(name);
    if (!p) return;
    texture.bind(p);
    cgGLEnableTextureParameter(p);
    enabled_textures_.insert(p);
}

void Program::set_texture(const std::string& name, const Framebuffer& framebuffer) {
    CGparameter p = get_parameter(name);
    if (!p) return;
    framebuffer.bind_as_texture(p);
    cgGLEnableTextureParameter(p);
    enabled_textures_.insert(p);
}

void Program::on_context_created() {
    if (!context) {
        context = cgCreateContext();
        if (context) {
            cgSetErrorHandler(report_error, nullptr);
            cgSetCompilerIncludeString(context, "Transition.cgh", kTransitionSource);
        }
    }
}

void Program::destroy() {
    if (program_) cgDestroyProgram(program_);
    program_ = nullptr;
    parameters_.clear();
    enabled_textures_.clear();
    loaded_ = false;
}

#else  // without the Cg toolkit: programs exist but never compile

bool Program::is_supported() { return false; }
bool Program::set_source(const char*, const char*) { return false; }
bool Program::reload() { return false; }
void Program::release() {}
void Program::bind() {}
void Program::unbind() {}
CGparameter Program::get_parameter(const std::string&) { return nullptr; }
void Program::set_parameter(const std::string&, float) {}
void Program::set_parameter(const std::string&, const float*, unsigned int) {}
void Program::set_parameter(const std::string&, const float*, unsigned int, unsigned int) {}
void Program::set_texture(const std::string&, const Texture&) {}
void Program::set_texture(const std::string&, const Framebuffer&) {}
void Program::on_context_created() {}
void Program::destroy() {}

#endif

Program::Program(unsigned int profile) : profile_(profile) {}

// Without a GL context (a program dropped between contexts or at exit) the Cg program
// is left to the Cg context, which unloading it would need a context for.
Program::~Program() {
    if (window::Window::get_current()) destroy();
}

VertexProgram::VertexProgram() : Program(kVertexProfile) {}
FragmentProgram::FragmentProgram() : Program(kFragmentProfile) {}

}  // namespace engine::graphics
