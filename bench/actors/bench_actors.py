"""N puppets (13 joints, 28 vertices, one jiggle) posed by IK controllers, every
handle constrained and the targets moving each frame (IKConstraintPositionHold on
transforms that move), for N = 10, 100, 1000. Prints, per frame and per actor:

  update    scene.update(dt) as a whole (IK, skinning, jiggle), ms per frame
  ik        ActorControllerIK.update for each actor, less the same loop over a native
            ActorController (the Python call itself), us per actor
  skinning  ActorMesh.transform_vertices, less the loop's cost, us per actor
  jiggle    ActorMesh.update, less the loop's cost, us per actor
  render    begin_frame/render/end_frame + glFinish, us per actor
and the cost of a Python subclass of IKConstraintPosition per get_position call (the
hand's target written in Python instead of a native hold), us per call.
Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/actors/bench_actors.py
"""
import math
import os
import sys
import time

from OpenGL import GL

import libgraphics
import libwindow
from libcore import Vector
from libgraphics import (Actor, ActorController, ActorControllerIK, IKConstraintPosition, IKConstraintPositionHold,
                         IKConstraintRotationFixed, SceneLayer, Transform, actor_database)

PUPPET = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "data", "puppet.xml")
DT = 1 / 60
FRAMES = 60


class ScriptTarget(IKConstraintPosition):
    def __init__(self, mover):
        super().__init__()
        self.mover = mover

    def get_position(self):
        return Vector(30, -50) + self.mover.position


def build(scene, count, mover, script_hand=False):
    actors = []
    for i in range(count):
        a = Actor("puppet")
        a.position = (20 + (i % 40) * 15, 60 + (i // 40) * 16)
        ik = ActorControllerIK()
        a.controller = ik
        hand = ScriptTarget(mover) if script_hand else IKConstraintPositionHold(mover, (30, -50), (0, 0))
        ik.set_position_constraint("hand", hand)
        ik.set_position_constraint("foot", IKConstraintPositionHold(mover, (7, 60), (0, 0)))
        ik.set_position_constraint("foot_back", IKConstraintPositionHold(mover, (-7, 60), (0, 0)))
        ik.set_position_constraint("neck", IKConstraintPositionHold(mover, (5, -60), (0, 0)))
        ik.set_rotation_constraint("head", IKConstraintRotationFixed(0.2))
        actors.append(a)
    return actors


def timed(function, frames, mover):
    start = time.perf_counter()
    for f in range(frames):
        mover.position = (4 * math.sin(f * 0.3), 3 * math.cos(f * 0.2))
        function()
    return (time.perf_counter() - start) / frames


def main():
    window = libwindow.Window(800, 600, "bench actors")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    actor_database.load(PUPPET)
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))  # the puppet record's layer: actors enter it
    mover = Transform()
    print(f"{'actors':>7} {'update ms/frame':>16} {'ik us':>8} {'skinning us':>12} {'jiggle us':>10} {'render us':>10}")
    for count in (10, 100, 1000):
        actors = build(scene, count, mover)
        for _ in range(5):
            scene.update(DT)
        update = timed(lambda: scene.update(DT), FRAMES, mover)
        controllers = [a.controller for a in actors]
        meshes = [a.meshes[0] for a in actors]
        skeletons = [a.skeleton for a in actors]
        idle = [ActorController() for _ in actors]
        base = timed(lambda: [c.update(DT) for c in idle], FRAMES, mover)
        ik = timed(lambda: [c.update(DT) for c in controllers], FRAMES, mover) - base
        skin = timed(lambda: [m.transform_vertices(s) for m, s in zip(meshes, skeletons)], FRAMES, mover) - base
        jiggle = timed(lambda: [m.update(DT) for m in meshes], FRAMES, mover) - base

        def render():
            scene.begin_frame()
            scene.render()
            scene.end_frame()
            GL.glFinish()
            window.swap_buffers()

        draw = timed(render, 20, mover)
        us = 1e6 / count
        print(f"{count:>7} {update * 1e3:>16.3f} {ik * us:>8.2f} {skin * us:>12.2f} {jiggle * us:>10.2f} "
              f"{draw * us:>10.2f}")
        for a in actors:
            scene.remove_object(a)
        del actors, controllers, meshes, skeletons

    count = 1000
    native = build(scene, count, mover)
    native_time = timed(lambda: scene.update(DT), FRAMES, mover)
    for a in native:
        scene.remove_object(a)
    scripted = build(scene, count, mover, script_hand=True)
    script_time = timed(lambda: scene.update(DT), FRAMES, mover)
    for a in scripted:
        scene.remove_object(a)
    print(f"Python subclass constraint: {(script_time - native_time) / count * 1e6:.2f} us per get_position call "
          f"(scene.update of {count} actors: {native_time * 1e3:.2f} ms native hand target, "
          f"{script_time * 1e3:.2f} ms Python hand target)")
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
