"""The engine's showcase: one window, one scene per feature, growing with the engine.

With a display it runs until the window is closed (Escape also quits). Without one
(ENGINE_HEADLESS=1, as `make demo` sets under Xvfb) it runs a fixed number of frames
and writes screenshots to out/demo/.
"""
import argparse
import io
import math
import os
import sys

from OpenGL import GL

import libcore
import libgraphics
import libwindow
from libgraphics import (Actor, ActorControllerAnimation, ActorControllerSharedSkeleton, Framebuffer, FramebufferDisplay,
                         IKConstraintPositionFixed, ParticleSystem, Scene, SceneLayer, SceneObject, Sprite, Texture,
                         Transform, actor_database)

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
import images  # noqa: E402  (the project's own picture generator)
from layers import Box  # noqa: E402  (a square drawn in its own space)
from puppets import Path, walking_puppet  # noqa: E402  (the IK-posed puppet)
from ragdolls import ponytail_walker, ragdoll  # noqa: E402  (the puppets posed by rigid bodies)
from clips import Director, Routine  # noqa: E402  (the puppet played by its clips)

WIDTH, HEIGHT = 800, 600


class ArticulatedArm(SceneObject):
    """A chain of transforms posed by the script. The arm is a scene object: the scene
    loads its layer matrix, then each segment is drawn in its own local space after
    its world matrix is loaded into OpenGL."""

    SEGMENTS = 6
    LENGTH = 50.0

    def __init__(self, base, phase):
        super().__init__()
        self.position = base
        self.joints = []
        parent = self
        for i in range(self.SEGMENTS):
            joint = Transform()
            joint.position = (0, 0) if i == 0 else (0, -self.LENGTH)
            joint.set_rotation_constraint(-1.2, 1.2)
            parent.attach(joint)
            self.joints.append(joint)
            parent = joint
        self.hand = Transform()
        self.hand.position = (0, -self.LENGTH)
        parent.attach(self.hand)
        self.time = phase
        self.trail = []

    def OnUpdate(self, dt):
        self.time += dt
        for i, joint in enumerate(self.joints):
            # Each joint sways with its own phase; the limits clamp the larger swings.
            joint.rotation = 0.9 * math.sin(self.time * 1.3 + i * 0.6) * (1.0 + 0.15 * i)
        self.rotation = 0.3 * math.sin(self.time * 0.5)
        hand = self.hand.world_position
        self.trail.append((hand.x, hand.y))
        del self.trail[:-90]

    def OnRender(self):
        GL.glDisable(GL.GL_TEXTURE_2D)  # sprites leave texturing on
        GL.glLineWidth(2.0)
        GL.glBegin(GL.GL_LINE_STRIP)
        for i, (x, y) in enumerate(self.trail):
            GL.glColor4f(1.0, 0.4, 0.4, i / max(1, len(self.trail)))
            GL.glVertex2f(x, y)
        GL.glEnd()
        GL.glLineWidth(6.0)
        for i, joint in enumerate(self.joints):
            GL.glPushMatrix()
            joint.load_into_opengl()
            shade = 0.4 + 0.6 * i / self.SEGMENTS
            GL.glColor4f(0.2, shade, 1.0 - 0.5 * shade, 1.0)
            GL.glBegin(GL.GL_LINES)
            GL.glVertex2f(0, 0)
            GL.glVertex2f(0, -self.LENGTH)
            GL.glEnd()
            GL.glColor4f(1.0, 0.9, 0.3, 1.0)
            draw_square(5)
            GL.glPopMatrix()
        GL.glPushMatrix()
        self.hand.load_into_opengl()
        GL.glColor4f(1.0, 0.3, 0.3, 1.0)
        draw_square(8)
        GL.glPopMatrix()
        # Back to what every draw path expects (docs/guide.md, "Drawing with OpenGL").
        GL.glLineWidth(1.0)
        GL.glColor4f(1, 1, 1, 1)


class Backdrop(SceneObject):
    """A grid over the whole window, in a layer with no scale flags: it never moves."""

    def OnRender(self):
        GL.glLineWidth(1.0)
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(1.0, 1.0, 1.0, 0.12)
        GL.glBegin(GL.GL_LINES)
        for x in range(0, WIDTH + 1, 40):
            GL.glVertex2f(x, 0)
            GL.glVertex2f(x, HEIGHT)
        for y in range(0, HEIGHT + 1, 40):
            GL.glVertex2f(0, y)
            GL.glVertex2f(WIDTH, y)
        GL.glEnd()
        GL.glColor4f(1, 1, 1, 1)


class Frame(SceneObject):
    """An outline around the picture-in-picture."""

    def __init__(self, position, size):
        super().__init__()
        self.position, self.size = position, size

    def OnRender(self):
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glLineWidth(3.0)
        GL.glColor4f(1, 1, 1, 1)
        w, h = self.size
        GL.glBegin(GL.GL_LINE_LOOP)
        for x, y in ((0, 0), (w, 0), (w, h), (0, h)):
            GL.glVertex2f(x, y)
        GL.glEnd()
        GL.glLineWidth(1.0)
        GL.glPopMatrix()


def draw_square(half):
    GL.glBegin(GL.GL_QUADS)
    GL.glVertex2f(-half, -half)
    GL.glVertex2f(half, -half)
    GL.glVertex2f(half, half)
    GL.glVertex2f(-half, half)
    GL.glEnd()


class Quit(libwindow.WindowListener):
    def __init__(self):
        super().__init__()
        self.requested = False

    def on_key(self, window, key, pressed, repeat):
        if key == libwindow.key.ESCAPE and pressed:
            self.requested = True


SPRITES = """
<Sprites>
  <Sprite id="day" texture="day.png" dimensions="800, 600" top_left="0 0" bottom_right="1 1" layer="backdrop"/>
  <Sprite id="dusk" texture="dusk.png" dimensions="800, 600" top_left="0 0" bottom_right="1 1" layer="backdrop"/>
  <Sprite id="gradient" texture="white.png" dimensions="300, 24" colour="#ffd24a" top_left="0 0" bottom_right="1 1"
          layer="hud"/>
  <Sprite id="title" texture="title.png" dimensions="364 36" origin="182 18" top_left="0 0" bottom_right="1 1"
          colour="#fff4d0" layer="hud"/>
  <Sprite id="ball" texture="sheet.png" dimensions="40 40" origin="20 20" top_left="0.75 0.5" bottom_right="1 1"
          layer="hud"/>
  <Sprite id="bird" texture="sheet.png" dimensions="36 36" origin="18 18" top_left="0 0" bottom_right="0.25 0.5"
          layer="hud"/>
  <Sprite id="postcard" texture="dusk.png" dimensions="128 96" top_left="0 0" bottom_right="1 1" layer="hud"/>
  {shapes}
  {tiles}
</Sprites>
"""


def sprite_records():
    """Eight shapes cut from one sprite sheet by their atlas coordinates, and twelve
    tiles that load in the background."""
    shapes = "\n  ".join(
        f'<Sprite id="shape{i}" texture="sheet.png" dimensions="48 48" origin="24 24" layer="world" '
        f'top_left="{(i % 4) / 4} {(i // 4) / 2}" bottom_right="{(i % 4 + 1) / 4} {(i // 4 + 1) / 2}"/>'
        for i in range(8))
    tiles = "\n  ".join(
        f'<Sprite id="tile{i}" texture="tile{i}.png" dimensions="40 40" layer="hud" top_left="0 0" '
        f'bottom_right="1 1"/>' for i in range(12))
    return SPRITES.format(shapes=shapes, tiles=tiles)


class Orbit(SceneObject):
    """Sprites from the sheet, circling a centre: the script only turns the centre;
    the sprites follow as children of its transform."""

    def __init__(self, centre, radius):
        super().__init__()
        self.position = centre
        self.shapes = []
        for i in range(8):
            shape = Sprite(f"shape{i}")
            angle = i / 8 * 2 * math.pi
            shape.position = (centre[0] + radius * math.cos(angle), centre[1] + radius * math.sin(angle))
            shape.z = 1
            self.shapes.append(shape)
        self.time = 0.0

    def OnUpdate(self, dt):
        self.time += dt
        for i, shape in enumerate(self.shapes):
            angle = i / 8 * 2 * math.pi + self.time * 0.6
            r = 70 + 15 * math.sin(self.time * 2 + i)
            shape.position = (self.position.x + r * math.cos(angle), self.position.y + r * math.sin(angle))
            shape.rotation = self.time * (1 + i * 0.2)


class AnimatorShow(SceneObject):
    """Animators at work: a title that slides in, a bouncing ball, a sprite following
    a spline, a picture revealed by a wipe, and pulsing, rotating shapes. The script
    only starts animators; they step in C++ and remove themselves when done."""

    def __init__(self, orbit):
        super().__init__()
        self.title = Sprite("title")
        self.title.position = (WIDTH / 2, -40)
        self.title.add_animator("in", libgraphics.SceneObjectAnimatorSlide((WIDTH / 2, 36), 1.2, False))
        self.ball = Sprite("ball")
        self.bird = Sprite("bird")
        self.postcard = Sprite("postcard")
        self.postcard.position = (WIDTH - 150, 250)
        for i, shape in enumerate(orbit.shapes):
            if i % 2:
                shape.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(3.0, 2.0, 0.0))
            else:
                shape.add_animator("glow", libgraphics.SceneObjectAnimatorAlphaPulse(0.3, 1.0, 1.5))
        self.shapes = orbit.shapes
        self.time = 0.0
        self.next_pulse = 0.0

    def OnUpdate(self, dt):
        self.time += dt
        if self.ball.get_animator("throw") is None:
            # Thrown again whenever the last throw has come to rest on the floor.
            self.ball.position = (WIDTH - 240, HEIGHT - 160)
            throw = libgraphics.SceneObjectAnimatorMoveNewtonian((60, -420))
            throw.bounce_target = HEIGHT - 120
            throw.num_bounces = 3
            throw.bounce_damping = 0.6
            self.ball.add_animator("throw", throw)
        if self.bird.get_animator("path") is None or self.time % 3.0 < dt:
            path = libgraphics.SceneObjectAnimatorMoveSpline(3.0)
            for point in ((40, 300), (200, 80), (420, 520), (640, 120)):
                path.add_control_point(point)
            self.bird.add_animator("path", path)  # replaces the finished one
        if self.postcard.get_animator("wipe") is None and self.time % 4.0 < dt:
            self.postcard.add_animator("wipe", libgraphics.SceneObjectAnimatorSpriteWipe(True, 1.5))
        if self.time >= self.next_pulse:
            self.next_pulse = self.time + 1.0
            for shape in self.shapes[::3]:
                shape.add_animator("pop", libgraphics.SceneObjectAnimatorPulse(1.0, 1.5, 0.4))


class LoadingIndicator(SceneObject):
    """A bar that fills while the tiles' textures load on the loader thread, then
    shows the tiles."""

    def __init__(self, tiles):
        super().__init__()
        self.tiles = tiles
        self.elapsed = 0.0
        self.done = False
        for tile in tiles:
            tile.visible = False

    def OnUpdate(self, dt):
        self.elapsed += dt
        if not self.done and not libgraphics.texture_loader.loading:
            self.done = True
            for tile in self.tiles:
                tile.visible = True

    def OnRender(self):
        if self.done:
            return
        x, y, w, h = 20, HEIGHT - 50, 200, 12
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(1, 1, 1, 0.3)
        GL.glRectf(x, y, x + w, y + h)
        GL.glColor4f(1, 1, 1, 0.9)
        GL.glRectf(x, y, x + w * (0.5 + 0.5 * math.sin(self.elapsed * 6)) , y + h)
        GL.glColor4f(1, 1, 1, 1)


# Particle systems: sizes are half extents in pixels, curves run over each particle's
# life (key 0 at birth, 1 at death), gravity is in pixels per second squared.
PARTICLES = """
<Particles>
  <ParticleSystemData id="campfire" layer="world" gravity="0 -30">
    <ParticleEmitterData emission_rate="200" emission_limit="60000" spread="0.4" speed="30 70">
      <ParticleData frequency="0.75" life="0.5 0.9" size="6 6" texture="dot.png">
        <SizeCurve><Keyframe key="0" value="11"/><Keyframe key="1" value="3"/></SizeCurve>
        <ColourCurve>
          <Keyframe key="0" value="1 0.95 0.6 1"/>
          <Keyframe key="0.4" value="1 0.5 0.1 0.9"/>
          <Keyframe key="1" value="0.6 0.1 0 0"/>
        </ColourCurve>
      </ParticleData>
      <ParticleData frequency="0.25" life="1 1.6" size="3 3" texture="dot.png">
        <ColourCurve><Keyframe key="0" value="1 0.8 0.3 1"/><Keyframe key="1" value="1 0.3 0 0"/></ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
    <ParticleEmitterData emission_rate="25" emission_limit="10000" spread="0.3" speed="25 45">
      <ParticleData life="2.5 3.5" size="8 8" texture="puff.png">
        <SizeCurve><Keyframe key="0" value="6"/><Keyframe key="1" value="26"/></SizeCurve>
        <ColourCurve>
          <Keyframe key="0" value="0.4 0.4 0.4 0"/>
          <Keyframe key="0.15" value="0.45 0.45 0.45 0.45"/>
          <Keyframe key="1" value="0.6 0.6 0.65 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
  <ParticleSystemData id="sparks" layer="world" gravity="0 120">
    <ParticleEmitterData emission_rate="400" emission_limit="100000" spread="3.14159" speed="10 60">
      <ParticleData life="0.4 0.9" size="3 3" texture="dot.png">
        <ColourCurve>
          <Keyframe key="0" value="1 1 0.9 1"/>
          <Keyframe key="0.5" value="1 0.7 0.2 1"/>
          <Keyframe key="1" value="1 0.2 0 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
  <ParticleSystemData id="fountain" layer="world" gravity="0 260">
    <ParticleEmitterData emission_rate="300" emission_limit="80000" spread="0.18" speed="250 300">
      <ParticleData life="1.3 1.6" size="2.5 2.5" texture="dot.png">
        <ColourCurve>
          <Keyframe key="0" value="0.7 0.9 1 0.9"/>
          <Keyframe key="1" value="0.2 0.4 1 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
</Particles>
"""


def build_particles():
    """A campfire with smoke, sparks trailing from an emitter carried round by a
    rotate animator, and a fountain under gravity. Everything per particle runs in C++."""
    libgraphics.particle_database.load(io.StringIO(PARTICLES), "")
    campfire = ParticleSystem("campfire")
    campfire.position = (110, HEIGHT - 130)
    fountain = ParticleSystem("fountain")
    fountain.position = (WIDTH - 240, HEIGHT - 70)
    # The carrier turns by an animator; the sparks' system sits on its arm, so its
    # emitter moves and the sparks of each frame spread along the arc it swept.
    carrier = SceneObject()
    carrier.position = (WIDTH - 330, HEIGHT - 190)
    carrier.layer = "world"
    carrier.add_animator("turn", libgraphics.SceneObjectAnimatorRotate(2.5, 0.0, 0.0))
    sparks = ParticleSystem("sparks")
    sparks.position = (0, -70)
    carrier.attach(sparks)
    return [campfire, fountain, carrier, sparks]


def build_actors():
    """The puppet walking in place on an uneven floor (IK feet), reaching for a point
    that moves along a spline and looking at it, its belly swelling (a blend shape
    driven by the spine) and jiggling; a second puppet shares its skeleton and shows
    the debug view."""
    path = Path([(WIDTH * 0.08, HEIGHT * 0.35), (WIDTH * 0.22, HEIGHT * 0.3), (WIDTH * 0.24, HEIGHT * 0.5),
                 (WIDTH * 0.1, HEIGHT * 0.5)])
    path.layer = "world"
    walker, _ = walking_puppet((WIDTH * 0.12, HEIGHT * 0.45), "world", path, scale=1.6)
    twin, _ = walking_puppet((WIDTH * 0.84, HEIGHT * 0.45), "world", scale=1.6)
    twin.skeleton = walker.skeleton
    twin.controller = ActorControllerSharedSkeleton(walker)
    twin.z = 1
    twin.debug = True
    twin.set_colour((0.6, 0.8, 1.0, 1.0))
    return [path, walker, twin]


def build_dynamics():
    """A puppet collapsing as a ragdoll onto another lying on the floor (the sleeper's
    spine is its collision body), standing up to fall again every four seconds, and a
    puppet walking in place whose ponytail swings after its head."""
    falling, sleeper, _ = ragdoll((WIDTH * 0.54, HEIGHT * 0.66), "world", (WIDTH * 0.525, HEIGHT * 0.74), scale=0.6)
    walker, _ = ponytail_walker((WIDTH * 0.3, HEIGHT * 0.33), "world", scale=0.9)
    walker.set_colour((1.0, 0.85, 0.7, 1.0))
    return [falling, sleeper, walker]


def build_clips():
    """A puppet played by its clips (data/puppet.xml): walking, waving on an arm layer
    over the walk, idling, crossfading at each change; sampling, blending and skinning
    run in C++."""
    from puppets import load
    load()
    actor = Actor("puppet")
    actor.layer = "world"
    actor.position = (WIDTH * 0.06, HEIGHT * 0.74)
    actor.scale = (0.8, 0.8)
    actor.z = 1
    actor.set_colour((1.0, 0.95, 0.6, 1.0))
    anim = ActorControllerAnimation()
    actor.controller = anim
    routine = Routine(anim)
    routine.step, routine.left = 1, 2.0  # walking from the first frame, the wave next
    anim.play("walk", loops=0)
    director = Director(routine)
    director.layer = "world"
    return [actor, director]


DRAGONBONES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "dragonbones")


class Gunner(SceneObject):
    """Points the mecha's guns at the mouse once it moves in the window, at the orbiting
    box until then, and fires them every few seconds: an attack clip on a second layer
    masked to the guns, whose keys make the carried weapons play their own fire clips,
    while the walk goes on below."""

    def __init__(self, window, mecha, walk, orbit):
        super().__init__()
        self.window, self.mecha, self.walk, self.orbit = window, mecha, walk, orbit
        self.target, self.clock = IKConstraintPositionFixed((0, 0)), 0.0
        for gun in ("weapon_l", "weapon_r"):
            # Once for the armature (every mecha shares its rig), then this mecha's target.
            if gun not in walk.ik.rig.position_handles:
                walk.ik.rig.position_handles.add(gun, "aim", bone_length=0)
            walk.ik.set_position_constraint(gun, self.target)
        walk.set_mask(1, ["weapon_l", "weapon_r"])

    def OnUpdate(self, dt):
        m = self.window.mouse_position
        point = libcore.Vector(m.x, m.y) if (m.x, m.y) != (0, 0) else self.orbit.world_position
        self.target.position = point * self.mecha.world_transform.inverse()
        self.clock += dt
        if self.clock >= 3.0:
            self.clock = 0.0
            self.walk.play("attack_01", fade=0.1, loops=1, layer=1)


class Cycler(SceneObject):
    """Plays each of an actor's clips in turn, crossfading every few seconds."""

    def __init__(self, player, clips, seconds):
        super().__init__()
        self.player, self.clips, self.seconds, self.clock, self.index = player, clips, seconds, 0.0, 0
        player.play(clips[0], loops=0)

    def OnUpdate(self, dt):
        self.clock += dt
        if self.clock >= self.seconds:
            self.clock, self.index = 0.0, (self.index + 1) % len(self.clips)
            self.player.play(self.clips[self.index], fade=0.25, loops=0)


def build_dragonbones(window, orbit):
    """Characters exported by DragonBones: the mecha walking on its imported leg IK,
    aiming its guns and firing its carried weapons; the dragon cycling its animations;
    the effect's meshes bending."""
    for name in ("mecha_1502b/mecha_1502b_ske.json", "dragon/Dragon_ske.json", "effect/effect_ske.json"):
        actor_database.load_dragonbones(os.path.join(DRAGONBONES, name))
    objects = []
    mecha = Actor("mecha_1502b")
    mecha.layer, mecha.position, mecha.scale = "world", (WIDTH * 0.8, HEIGHT * 0.86), (0.45, 0.45)
    walk = ActorControllerAnimation()
    mecha.controller = walk
    walk.play("walk", loops=0)
    gunner = Gunner(window, mecha, walk, orbit)
    gunner.layer = "world"
    dragon = Actor("Dragon")
    dragon.layer, dragon.position, dragon.scale = "world", (WIDTH * 0.46, HEIGHT * 0.78), (0.2, 0.2)
    dragon.controller = ActorControllerAnimation()
    cycler = Cycler(dragon.controller, ["walk", "stand", "jump", "fall"], 2.0)
    cycler.layer = "world"
    flower = Actor("flower")
    flower.layer, flower.position, flower.scale = "world", (WIDTH * 0.7, HEIGHT * 0.5), (0.3, 0.3)
    flower.controller = ActorControllerAnimation()
    flower.controller.play("skill", loops=0)
    objects += [mecha, gunner, dragon, cycler, flower]
    return objects


def build_scene(scene, assets, window=None):
    """Layers with different scale flags, and a picture-in-picture made with a
    framebuffer redirection. Returns the objects so that the script keeps them."""
    F = Scene.ScaleFlag
    scene.add_layer(SceneLayer("backdrop", 0, 0, True))
    scene.add_layer(SceneLayer("world", 1, F.SCALE_MIN | F.TRANSLATE, True))
    scene.add_layer(SceneLayer("markers", 2, F.SCALE_MAX | F.TRANSLATE_UNIFORM, True))
    scene.add_layer(SceneLayer("overlay", 3, 0, True))
    scene.add_layer(SceneLayer("hud", 4, 0, True))

    # Pictures: a dissolve between two landscapes through a screen-space transition
    # texture, sprites cut from one sheet, an alpha-stop gradient, tiles loading in
    # the background behind a loading indicator.
    libcore.PathDatabase.add_root(assets)
    libgraphics.sprite_database.load(io.StringIO(sprite_records()), "")
    dusk, day = Sprite("dusk"), Sprite("day")
    day.z = 1
    transition = Texture("dissolve.png")
    for cycle in range(20):
        day.fade(1, 0, 1.0, 2.5, transition)
        day.fade(0, 1, 1.0, 2.5, transition)
    objects = [dusk, day, transition, Backdrop()]
    objects[-1].layer = "backdrop"
    objects[-1].z = 2
    orbit = Orbit((WIDTH * 0.46, HEIGHT * 0.42), 80)
    orbit.layer = "world"
    gradient = Sprite("gradient")
    gradient.position = (WIDTH - 330, HEIGHT - 50)
    for position, alpha in ((0, 0), (0.5, 1), (1, 0.2)):
        gradient.set_alpha_stop(position, alpha)
    tiles = []
    for i in range(12):
        tile = Sprite(f"tile{i}")
        tile.position = (20 + i * 44, HEIGHT - 100)
        tiles.append(tile)
    indicator = LoadingIndicator(tiles)
    indicator.layer = "hud"
    show = AnimatorShow(orbit)
    show.layer = "hud"
    objects += [orbit, gradient, indicator, show] + tiles
    for base, phase in (((WIDTH * 0.3, HEIGHT * 0.8), 0.0), ((WIDTH * 0.62, HEIGHT * 0.8), 2.0)):
        arm = ArticulatedArm(base, phase)
        arm.layer = "world"
        objects.append(arm)
    objects += build_particles()
    objects += build_actors()
    objects += build_dynamics()
    objects += build_clips()
    if window is not None:
        objects += build_dragonbones(window, orbit)
    for i in range(5):
        marker = Box((60 + 70 * i, 60), (0.3 + 0.15 * i, 0.8, 0.4, 1.0), 14)
        marker.layer = "markers"
        objects.append(marker)

    # Everything drawn before `full` is captured into the framebuffer; `full` shows it
    # at window size and `mini` shows it again, small, in the corner.
    framebuffer = Framebuffer()
    framebuffer.create()
    full = FramebufferDisplay(framebuffer)
    full.layer = "overlay"
    scene.register_framebuffer(full, framebuffer)
    mini = FramebufferDisplay(framebuffer)
    mini.dimensions = (WIDTH / 4, HEIGHT / 4)
    mini.position = (WIDTH - WIDTH / 4 - 20, 70)
    mini.colour = (0.8, 0.9, 1.0, 0.9)
    mini.z = 1
    mini.layer = "overlay"
    frame = Frame(mini.position, mini.dimensions)
    frame.z = 2
    frame.layer = "overlay"
    return objects + [framebuffer, full, mini, frame]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    headless = os.environ.get("ENGINE_HEADLESS") == "1"
    parser.add_argument("--frames", type=int, default=240 if headless else 0,
                        help="stop after this many frames (0: run until closed)")
    parser.add_argument("--out", default="out/demo", help="where screenshots go")
    args = parser.parse_args()

    window = libwindow.Window(WIDTH, HEIGHT, "Engine showcase")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    quit_listener = Quit()
    libwindow.Window.add_listener(quit_listener)

    assets = os.path.join(args.out, "..", "assets")
    images.make_demo_assets(assets)
    scene = libgraphics.scene
    objects = build_scene(scene, os.path.abspath(assets), window)
    screenshots = {45: "scene-1.png", 150: "scene-2.png", 239: "scene-3.png"} if args.frames else {}
    os.makedirs(args.out, exist_ok=True)

    dt = 1.0 / 60.0
    frame, time = 0, 0.0
    while window.process_events() and not quit_listener.requested:
        time += dt
        # A non-uniform scene scale: each layer's flags decide what it does to objects.
        scene.scale = (1.0 + 0.2 * math.sin(time * 0.7), 1.0 - 0.15 * math.sin(time * 0.7))
        scene.update(dt)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        if frame in screenshots:
            path = os.path.join(args.out, screenshots[frame])
            window.save_screenshot(path)
            print("wrote", path)
        window.swap_buffers()
        frame += 1
        if args.frames and frame >= args.frames:
            break

    libwindow.Window.remove_listener(quit_listener)
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
