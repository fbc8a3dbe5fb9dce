"""Wrong arguments say what is wrong: the class and member, what it accepts and what it
got, for constructors, methods and property setters of the three modules; a script
subclass whose __init__ skipped its engine base's says so."""
import re

import pytest

import libcore
import libgraphics
import libwindow
from libcore import Colour, IntVector, Log, Matrix, PathDatabase, Vector
from libgraphics import (Framebuffer, FramebufferDisplay, ParticleSystem, SceneLayer, SceneListener,
                         SceneObject, SceneObjectAnimatorMove, SceneObjectAnimatorRotate, Skeleton, Sprite,
                         Text, Texture, Transform, scene, sprite_database, texture_database)
from libwindow import VideoMode, Window, WindowListener


def message(call):
    with pytest.raises(TypeError) as info:
        call()
    return str(info.value)


def expect(call, text):
    assert message(call) == text


# --- libcore ----------------------------------------------------------------------

def test_vector_members():
    expect(lambda: Vector(1, "a"), "Vector(): expected a number for y, got str")
    expect(lambda: Vector(1, 2).rotate("a"), "Vector.rotate: expected a number for angle, got str")
    expect(lambda: setattr(Vector(), "x", "a"), "Vector.x: expected a number, got str")
    expect(lambda: IntVector(1.5, 2), "IntVector(): expected an int for x, got float")


def test_colour_and_matrix_members():
    expect(lambda: Colour(1, 2, 3, None), "Colour(): expected a number for a, got None")
    expect(lambda: setattr(Colour(), "r", "a"), "Colour.r: expected a number, got str")
    expect(lambda: Matrix("a", 1),
           "Matrix(): expected a pair of numbers or a Vector for translation, got str")
    expect(lambda: Matrix().rotate_vector(3),
           "Matrix.rotate_vector: expected a pair of numbers or a Vector for v, got int")


def test_static_and_module_functions():
    expect(lambda: PathDatabase.add_root(3), "PathDatabase.add_root: expected a str for directory, got int")
    expect(lambda: libcore.normalise_angle("x"), "libcore.normalise_angle: expected a number for angle, got str")
    # A count that fits no signature lists them all.
    expect(lambda: Log.info(3), "Log.info: expected (category: a str, message: a str), got (int)")


def test_the_error_stays_boosts_argument_error_a_type_error():
    with pytest.raises(TypeError) as info:
        Vector("a")
    assert type(info.value).__name__ == "ArgumentError"


# --- libwindow --------------------------------------------------------------------

def test_window_members(window):
    expect(lambda: Window("a"), "Window(): expected an int for width, got str")
    expect(lambda: window.add_listener(3),
           "Window.add_listener: expected a WindowListener or None for listener, got int")
    expect(lambda: window.set_video_mode(3),
           "Window.set_video_mode: expected (width: an int, height: an int, fullscreen: a bool), got (int)")
    expect(lambda: VideoMode("a"),
           "VideoMode(): expected a pair of ints or an IntVector for resolution, got str")
    expect(lambda: WindowListener(1), "WindowListener(): expected (), got (int)")


# --- libgraphics ------------------------------------------------------------------

def test_transform_and_scene_object_members():
    expect(lambda: setattr(Transform(), "position", 5),
           "Transform.position: expected a pair of numbers or a Vector, got int")
    expect(lambda: Transform().attach(5), "Transform.attach: expected a Transform or None for child, got int")
    expect(lambda: Transform().set_rotation_constraint("a", 1),
           "Transform.set_rotation_constraint: expected a number for min, got str")
    expect(lambda: SceneObject(3), "SceneObject(): expected (), got (int)")
    expect(lambda: setattr(SceneObject(), "z", "a"), "SceneObject.z: expected a number, got str")
    expect(lambda: setattr(SceneObject(), "visible", []), "SceneObject.visible: expected a bool, got list")
    expect(lambda: SceneObject().add_animator(1, 2),
           "SceneObject.add_animator: expected a str for name, got int")
    expect(lambda: Skeleton().add_joint(3), "Skeleton.add_joint: expected a str for name, got int")


def test_the_member_is_named_after_the_objects_class(gl):
    sprite = Sprite("")
    expect(lambda: setattr(sprite, "position", 5), "Sprite.position: expected a pair of numbers or a Vector, got int")

    class Ship(Sprite):
        pass
    expect(lambda: setattr(Ship(""), "rotation", "a"), "Ship.rotation: expected a number, got str")


def test_sprite_members(gl):
    sprite = Sprite("")
    expect(lambda: Sprite(3), "Sprite(): expected a str for data_id, got int")
    expect(lambda: setattr(sprite, "colour", 5),
           "Sprite.colour: expected a Colour, a tuple of 3 or 4 numbers or a colour string, got int")
    expect(lambda: sprite.set_alpha_stop("a", 1), "Sprite.set_alpha_stop: expected a number for position, got str")
    expect(lambda: sprite.fade(0, 1, 0, "long"), "Sprite.fade: expected a number for duration, got str")
    expect(lambda: sprite_database.add(id=3), "sprite_database.add: expected a str for id, got int")


def test_scene_and_layer_members(gl):
    expect(lambda: scene.add_layer(3), "Scene.add_layer: expected a SceneLayer or None for layer, got int")
    expect(lambda: scene.get_layer(None), "Scene.get_layer: expected (index: an int) or (id: a str), got (NoneType)")
    expect(lambda: setattr(scene, "scale", "a"), "Scene.scale: expected a number, a pair of numbers or a Vector, got str")
    expect(lambda: SceneLayer(3), "SceneLayer(): expected a str for id, got int")
    expect(lambda: setattr(SceneLayer("errors"), "z", "a"), "SceneLayer.z: expected a number, got str")
    expect(lambda: SceneListener(3), "SceneListener(): expected (), got (int)")


def test_animator_members():
    expect(lambda: SceneObjectAnimatorRotate("a"),
           "SceneObjectAnimatorRotate(): expected (target_velocity: a number, acceleration: a number, "
           "duration: a number), got (str)")
    expect(lambda: SceneObjectAnimatorMove((1, 2), "fast", 3),
           "SceneObjectAnimatorMove(): expected a number for acceleration, got str")


def test_texture_framebuffer_text_particle_members(gl):
    expect(lambda: Texture(3), "Texture(): expected a str for path, got int")
    expect(lambda: setattr(texture_database, "full_resolution", "a"),
           "TextureDatabase.full_resolution: expected a bool, got str")
    expect(lambda: Framebuffer("a"), "Framebuffer(): expected (), got (str)")
    expect(lambda: FramebufferDisplay(3),
           "FramebufferDisplay(): expected a Framebuffer or None for framebuffer, got int")
    expect(lambda: Text(3), "Text(): expected a str for text, got int")
    expect(lambda: setattr(Text(), "size", "a"), "Text.size: expected an int, got str")
    expect(lambda: ParticleSystem(3), "ParticleSystem(): expected a str for data_id, got int")


def test_unknown_keyword_lists_the_signatures(gl):
    text = message(lambda: Texture("a", asyncronous=True))
    assert text.startswith("Texture(): expected (path: a str")
    assert text.endswith("got (str, asyncronous=bool)")


# --- a script subclass whose __init__ skipped its base's --------------------------

def test_window_listener_subclass_without_base_init(window):
    class MyListener(WindowListener):
        def __init__(self):
            self.count = 0
    expect(lambda: window.add_listener(MyListener()), "MyListener.__init__ must call WindowListener.__init__")


def test_scene_object_subclass_without_base_init(gl):
    class Marker(SceneObject):
        def __init__(self):
            pass
    marker = Marker()
    expect(lambda: marker.position, "Marker.__init__ must call SceneObject.__init__")
    expect(lambda: setattr(marker, "z", 1), "Marker.__init__ must call SceneObject.__init__")
    expect(lambda: scene.add_object(marker), "Marker.__init__ must call SceneObject.__init__")


def test_sprite_subclass_without_base_init(gl):
    class Ship(Sprite):
        def __init__(self, speed):
            self.speed = speed
    ship = Ship(3)
    expect(lambda: ship.fade(1, 0, 0, 1), "Ship.__init__ must call Sprite.__init__")
    expect(lambda: setattr(ship, "colour", (1, 0, 0)), "Ship.__init__ must call Sprite.__init__")
    # A further script class in between still names the engine class.
    class Flagship(Ship):
        pass
    expect(lambda: Flagship(1).position, "Flagship.__init__ must call Sprite.__init__")


def test_scene_listener_subclass_without_base_init(gl):
    class Counter(SceneListener):
        def __init__(self):
            self.frames = 0

        def OnPreUpdate(self, dt):
            self.frames += 1
    expect(lambda: scene.add_listener(Counter()), "Counter.__init__ must call SceneListener.__init__")
