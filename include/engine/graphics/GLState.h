#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace engine::graphics {

class SceneObject;

/// The one OpenGL state that every draw path of the engine finds when it starts and
/// leaves when it ends, so that no object can change how the next one draws:
///
/// - no buffer object bound to GL_ARRAY_BUFFER or GL_ELEMENT_ARRAY_BUFFER: vertex
///   pointers are client memory unless a path binds a buffer for its own draw;
/// - client arrays: GL_VERTEX_ARRAY and GL_TEXTURE_COORD_ARRAY (client unit 0) enabled,
///   GL_COLOR_ARRAY, GL_NORMAL_ARRAY and GL_SECONDARY_COLOR_ARRAY disabled;
/// - texture unit 0 active (server and client side); GL_TEXTURE_2D disabled on every
///   other unit; on unit 0 it is as the last path left it, since every path that
///   draws enables or disables it for itself (switching it off after each sprite would
///   make the driver rebuild its texture state for the next one);
/// - blending on, with glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA) and GL_FUNC_ADD;
/// - current colour opaque white (1, 1, 1, 1);
/// - matrix mode GL_MODELVIEW; the projection and texture stacks one deep; the
///   modelview stack as deep as the scene left it for the object;
/// - no vertex or fragment program enabled (ARB or GLSL);
/// - point size and line width 1;
/// - depth, stencil, scissor and alpha tests, face culling and lighting off;
/// - GL_UNPACK_ALIGNMENT 4 (GL's own default);
/// - the framebuffer bound is the scene's current render target.
///
/// `apply()` sets it; the module does so whenever a context is created. The check
/// (`set_checking(true)`, or ENGINE_GL_STATE_CHECK=1 in the environment) compares the
/// state with the baseline after every object's update and render, every listener hook
/// and the scene's own frame steps; a difference is logged as an error naming the
/// object's class and id and each state that differs, then the baseline is put back so
/// the rest of the frame draws right. Script code drawing with raw GL in "OnRender"
/// finds this state and must leave it.
///
/// Script thread only, with a context current.
class GLState {
public:
    /// The class name of an object in check reports, or "" for its C++ class name; the
    /// bindings install one that gives a script subclass's own class name.
    using ObjectNamer = std::string (*)(const SceneObject& object);

    /// Sets the baseline. Does nothing without a current context.
    static void apply();

    /// Every way in which the current state differs from the baseline, in words
    /// ("GL_ARRAY_BUFFER bound to buffer 3 (baseline: none)"); empty when it matches or
    /// no context is current. `modelview_depth` is the modelview stack depth expected,
    /// or -1 not to look at it.
    static std::vector<std::string> differences(int modelview_depth = -1);

    /// Whether the scene checks the state after each step (off unless switched on or
    /// ENGINE_GL_STATE_CHECK is set to a value other than "0" when the module loads).
    static bool is_checking() { return checking_; }
    static void set_checking(bool on) { checking_ = on; }

    /// When checking: compares the state with the baseline `when` ("after the render",
    /// with the object it names; "after a scene listener's hook" without one), logs one
    /// error "GL state <when> [of <object>] differs from the baseline: <differences>" and
    /// applies the baseline. Returns whether the state matched.
    /// Inline so that, with the check off, a frame pays one flag test per object.
    static bool check(const char* when, const SceneObject* object = nullptr, int modelview_depth = -1) {
        return !checking_ || compare(when, object, modelview_depth);
    }

    /// The modelview stack depth now (for the depth a later check expects).
    static int get_modelview_depth();

    /// How many checks found a difference since the process started (tests compare it).
    static std::size_t get_violation_count() { return violations_; }

    static void set_object_namer(ObjectNamer namer) { namer_ = namer; }
    /// "Sprite 'ship'", "Sprite (no id)": the class and id used in reports.
    static std::string describe(const SceneObject& object);

private:
    // The comparison behind `check`, run only while checking.
    static bool compare(const char* when, const SceneObject* object, int modelview_depth);

    static bool checking_;          // compare after every step
    static std::size_t violations_; // checks that found a difference
    static ObjectNamer namer_;      // class names in reports
};

}  // namespace engine::graphics
