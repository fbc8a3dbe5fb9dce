#include "engine/graphics/GLState.h"

#include "engine/core/Log.h"
#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/Window.h"

#include <GL/gl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

namespace engine::graphics {

using namespace window;  // the GL entry points beyond 1.1

namespace {

bool checking_from_environment() {
    const char* value = std::getenv("ENGINE_GL_STATE_CHECK");
    return value && *value && std::strcmp(value, "0") != 0;
}

// The fixed-function texture units the baseline looks at: every unit a driver offers
// for fixed-function texturing, capped so a check stays cheap.
int texture_units() {
    if (!glActiveTexture) return 1;
    GLint units = 1;
    glGetIntegerv(GL_MAX_TEXTURE_UNITS, &units);
    return units < 1 ? 1 : (units > 8 ? 8 : units);
}

bool has_arb_programs() {
    static const Window* asked = nullptr;  // the answer holds for a context's lifetime
    static bool answer = false;
    if (asked != Window::get_current()) {
        asked = Window::get_current();
        answer = is_opengl_extension_supported("GL_ARB_vertex_program") &&
                 is_opengl_extension_supported("GL_ARB_fragment_program");
    }
    return answer;
}

std::string hex(GLint value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", unsigned(value));
    return text;
}

// Collects differences, in words, from a sequence of comparisons.
class Report {
public:
    explicit Report(std::vector<std::string>& out) : out_(out) {}

    void enabled(GLenum capability, const char* name, bool expected) {
        const bool actual = glIsEnabled(capability) == GL_TRUE;
        if (actual != expected)
            out_.push_back(std::string(name) + (actual ? " enabled" : " disabled") +
                           (expected ? " (baseline: enabled)" : " (baseline: disabled)"));
    }

    void integer(GLenum what, const char* name, GLint expected, bool as_enum = false) {
        GLint actual = 0;
        glGetIntegerv(what, &actual);
        if (actual != expected)
            out_.push_back(std::string(name) + " is " + (as_enum ? hex(actual) : std::to_string(actual)) +
                           " (baseline: " + (as_enum ? hex(expected) : std::to_string(expected)) + ")");
    }

    void binding(GLenum what, const char* name, GLint expected = 0) {
        GLint actual = 0;
        glGetIntegerv(what, &actual);
        if (actual != expected)
            out_.push_back(std::string(name) + " bound to " + std::to_string(actual) +
                           (expected ? " (baseline: " + std::to_string(expected) + ")" : " (baseline: none)"));
    }

    void number(GLenum what, const char* name, float expected) {
        GLfloat actual = 0.0f;
        glGetFloatv(what, &actual);
        if (actual != expected)
            out_.push_back(std::string(name) + " is " + std::to_string(actual) + " (baseline: " +
                           std::to_string(expected) + ")");
    }

    void colour() {
        GLfloat c[4] = {0, 0, 0, 0};
        glGetFloatv(GL_CURRENT_COLOR, c);
        if (c[0] != 1.0f || c[1] != 1.0f || c[2] != 1.0f || c[3] != 1.0f) {
            char text[128];
            std::snprintf(text, sizeof text, "current colour is (%g, %g, %g, %g) (baseline: opaque white)", c[0],
                          c[1], c[2], c[3]);
            out_.push_back(text);
        }
    }

private:
    std::vector<std::string>& out_;
};

GLint framebuffer_name() {
    const Framebuffer* current = Framebuffer::get_current_framebuffer();
    return current ? GLint(current->get_framebuffer_name()) : 0;
}

std::string default_name(const SceneObject& object) {
    const char* mangled = typeid(object).name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                     std::free);
    std::string name = status == 0 && demangled ? demangled.get() : mangled;
    const std::size_t template_start = name.find('<');
    const std::size_t colon = name.rfind("::", template_start);
    return colon == std::string::npos ? name : name.substr(colon + 2);
}

}  // namespace

bool GLState::checking_ = checking_from_environment();
std::size_t GLState::violations_ = 0;
GLState::ObjectNamer GLState::namer_ = nullptr;

void GLState::apply() {
    if (!Window::get_current()) return;
    if (glBindBuffer) {
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    }
    const int units = texture_units();
    for (int unit = units - 1; unit >= 0; --unit) {
        if (glActiveTexture) glActiveTexture(GLenum(GL_TEXTURE0 + unit));
        if (unit > 0) glDisable(GL_TEXTURE_2D);
        glMatrixMode(GL_TEXTURE);
        glLoadIdentity();
    }
    if (glClientActiveTexture) glClientActiveTexture(GL_TEXTURE0);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_COLOR_ARRAY);
    glDisableClientState(GL_NORMAL_ARRAY);
    glDisableClientState(GL_SECONDARY_COLOR_ARRAY);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (glBlendEquation) glBlendEquation(GL_FUNC_ADD);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    if (has_arb_programs()) {
        glDisable(GL_VERTEX_PROGRAM_ARB);
        glDisable(GL_FRAGMENT_PROGRAM_ARB);
    }
    glPointSize(1.0f);
    glLineWidth(1.0f);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_STENCIL_TEST);
    glDisable(GL_SCISSOR_TEST);
    glDisable(GL_ALPHA_TEST);
    glDisable(GL_CULL_FACE);
    glDisable(GL_LIGHTING);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    // Stacks deeper than the baseline are left alone: the scene pops what it pushed.
    glMatrixMode(GL_MODELVIEW);
    if (glBindFramebufferEXT) glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, GLuint(framebuffer_name()));
}

std::vector<std::string> GLState::differences(int modelview_depth) {
    std::vector<std::string> out;
    if (!Window::get_current()) return out;
    Report report(out);
    if (glBindBuffer) {
        report.binding(GL_ARRAY_BUFFER_BINDING, "GL_ARRAY_BUFFER");
        report.binding(GL_ELEMENT_ARRAY_BUFFER_BINDING, "GL_ELEMENT_ARRAY_BUFFER");
    }
    if (glActiveTexture) {
        report.integer(GL_ACTIVE_TEXTURE, "the active texture unit", GL_TEXTURE0, true);
        report.integer(GL_CLIENT_ACTIVE_TEXTURE, "the client active texture unit", GL_TEXTURE0, true);
        GLint active = GL_TEXTURE0;
        glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
        const int units = texture_units();
        for (int unit = 1; unit < units; ++unit) {
            glActiveTexture(GLenum(GL_TEXTURE0 + unit));
            if (glIsEnabled(GL_TEXTURE_2D))
                out.push_back("GL_TEXTURE_2D enabled on texture unit " + std::to_string(unit) +
                              " (baseline: disabled on every unit but 0)");
        }
        glActiveTexture(GLenum(active));
    }
    report.enabled(GL_VERTEX_ARRAY, "GL_VERTEX_ARRAY", true);
    report.enabled(GL_TEXTURE_COORD_ARRAY, "GL_TEXTURE_COORD_ARRAY", true);
    report.enabled(GL_COLOR_ARRAY, "GL_COLOR_ARRAY", false);
    report.enabled(GL_NORMAL_ARRAY, "GL_NORMAL_ARRAY", false);
    report.enabled(GL_SECONDARY_COLOR_ARRAY, "GL_SECONDARY_COLOR_ARRAY", false);
    report.enabled(GL_BLEND, "GL_BLEND", true);
    report.integer(GL_BLEND_SRC_RGB, "the blend source factor", GL_SRC_ALPHA, true);
    report.integer(GL_BLEND_DST_RGB, "the blend destination factor", GL_ONE_MINUS_SRC_ALPHA, true);
    report.integer(GL_BLEND_SRC_ALPHA, "the alpha blend source factor", GL_SRC_ALPHA, true);
    report.integer(GL_BLEND_DST_ALPHA, "the alpha blend destination factor", GL_ONE_MINUS_SRC_ALPHA, true);
    report.integer(GL_BLEND_EQUATION_RGB, "the blend equation", GL_FUNC_ADD, true);
    report.colour();
    report.integer(GL_MATRIX_MODE, "the matrix mode", GL_MODELVIEW, true);
    report.integer(GL_PROJECTION_STACK_DEPTH, "the projection stack depth", 1);
    report.integer(GL_TEXTURE_STACK_DEPTH, "the texture matrix stack depth", 1);
    if (modelview_depth >= 0) report.integer(GL_MODELVIEW_STACK_DEPTH, "the modelview stack depth", modelview_depth);
    if (has_arb_programs()) {
        report.enabled(GL_VERTEX_PROGRAM_ARB, "GL_VERTEX_PROGRAM_ARB", false);
        report.enabled(GL_FRAGMENT_PROGRAM_ARB, "GL_FRAGMENT_PROGRAM_ARB", false);
    }
    report.number(GL_POINT_SIZE, "the point size", 1.0f);
    report.number(GL_LINE_WIDTH, "the line width", 1.0f);
    report.enabled(GL_DEPTH_TEST, "GL_DEPTH_TEST", false);
    report.enabled(GL_STENCIL_TEST, "GL_STENCIL_TEST", false);
    report.enabled(GL_SCISSOR_TEST, "GL_SCISSOR_TEST", false);
    report.enabled(GL_ALPHA_TEST, "GL_ALPHA_TEST", false);
    report.enabled(GL_CULL_FACE, "GL_CULL_FACE", false);
    report.enabled(GL_LIGHTING, "GL_LIGHTING", false);
    report.integer(GL_UNPACK_ALIGNMENT, "GL_UNPACK_ALIGNMENT", 4);
    if (glBindFramebufferEXT) report.binding(GL_FRAMEBUFFER_BINDING_EXT, "the framebuffer", framebuffer_name());
    return out;
}

int GLState::get_modelview_depth() {
    if (!Window::get_current()) return -1;
    GLint depth = 0;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth);
    return int(depth);
}

std::string GLState::describe(const SceneObject& object) {
    std::string text = namer_ ? namer_(object) : std::string();
    if (text.empty()) text = default_name(object);
    const std::string& id = object.get_id();
    return text + (id.empty() ? std::string(" (no id)") : " '" + id + "'");
}

bool GLState::compare(const char* when, const SceneObject* object, int modelview_depth) {
    const std::vector<std::string> found = differences(modelview_depth);
    if (found.empty()) return true;
    ++violations_;
    const std::string subject = object ? std::string(" of ") + describe(*object) : std::string();
    std::string list;
    for (const std::string& difference : found) list += (list.empty() ? "" : "; ") + difference;
    core::Log::error("graphics", "GL state %s%s differs from the baseline: %s. The baseline is restored.", when,
                     subject.c_str(), list.c_str());
    apply();
    return false;
}

}  // namespace engine::graphics
