"""N ragdoll puppets (13 bodies, 12 hinges, 9 parent constraints each, from
data/puppet.xml) falling onto a collision body, posed by ActorControllerDynamics, for
N = 1, 10, 100. Each frame is 1/60 s, so each update runs exactly one world step.
Prints, per frame and per actor:

  update      ActorControllerDynamics.update(dt): one step and the write-back, us per actor
  step        the Box2D step alone: update(dt) less update(0), us per actor
  write-back  update(0): the constraints writing bodies into joints, us per actor
  frame       scene.update(dt) as a whole (dynamics, skinning, jiggle), ms per frame

and, in the same run, the alternatives a script would write for the same figures
(13 points, 12 sticks, 10 relaxation passes, gravity, a floor): Verlet integration in
numpy over all ragdolls at once, and in pure Python per ragdoll. Both are cheaper
physics than Box2D's (no angle limits, no contacts between shapes) and do not pose a
skeleton. The Python loop's own cost (a native ActorController's update) is taken off
our figures. Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/dynamics/bench_dynamics.py
"""
import math
import os
import sys
import time

import numpy

import libgraphics
import libwindow
from libgraphics import Actor, ActorController, ActorControllerDynamics, SceneLayer, actor_database

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "data")
DT = 1 / 60 * 1.0001  # a hair over one step: exactly one step per frame
FRAMES = 120
COUNTS = (1, 10, 100)
ITERATIONS = 10


def per_frame(function, frames=FRAMES):
    start = time.perf_counter()
    for _ in range(frames):
        function()
    return (time.perf_counter() - start) / frames


def build(scene, count):
    sleeper = Actor("sleeper")
    sleeper.layer = "world"
    sleeper.position = (-20, 80)
    sleeper.rotation = math.pi / 2
    actors, controllers = [], []
    for i in range(count):
        actor = Actor("puppet")
        actor.layer = "world"
        controller = ActorControllerDynamics()
        actor.controller = controller
        controller.collision_space = "world"  # the sleeper lies where it stands in the layer
        controller.collision_actor = sleeper
        actors.append(actor)
        controllers.append(controller)
    return sleeper, actors, controllers


def ours(scene, count):
    sleeper, actors, controllers = build(scene, count)
    for c in controllers:  # the collision bodies are built on the first update
        c.update(0.0)

    def update():
        for c in controllers:
            c.update(DT)

    def write_back():
        for c in controllers:
            c.update(0.0)

    natives = [ActorController() for _ in range(count)]

    def loop():
        for c in natives:
            c.update(DT)

    total = per_frame(update) - per_frame(loop)
    back = per_frame(write_back) - per_frame(loop)
    frame = per_frame(lambda: scene.update(DT), 30)
    for actor in actors:
        actor.layer = ""
        actor.controller = None
    sleeper.layer = ""
    return total / count * 1e6, (total - back) / count * 1e6, back / count * 1e6, frame * 1e3


# The ragdoll as points and sticks, from the puppet's dynamics rig.
def ragdoll_shape():
    world = {}
    import xml.etree.ElementTree as ET
    rig = next(r for r in ET.parse(os.path.join(DATA, "puppet.xml")).getroot().iter("ActorRigDynamics"))
    names = sorted(b.get("id") for b in rig.iter("RigidBody"))
    for b in rig.iter("RigidBody"):
        world[b.get("id")] = tuple(float(v) for v in b.get("position").split(","))
    points = numpy.array([world[n] for n in names], dtype=numpy.float32)
    sticks = [(names.index(h.get("body_0_id")), names.index(h.get("body_1_id"))) for h in rig.iter("ConstraintHinge")]
    return points, numpy.array(sticks)


def numpy_verlet(count):
    points, sticks = ragdoll_shape()
    p = numpy.repeat(points[None], count, axis=0)
    previous = p.copy()
    a, b = sticks[:, 0], sticks[:, 1]
    rest = numpy.linalg.norm(points[b] - points[a], axis=1)
    gravity = numpy.array([0.0, 98.0], dtype=numpy.float32) * (1 / 60) ** 2

    def step():
        nonlocal p, previous
        velocity = (p - previous) * 0.998
        previous = p
        p = p + velocity + gravity
        for _ in range(ITERATIONS):
            d = p[:, b] - p[:, a]
            length = numpy.maximum(numpy.linalg.norm(d, axis=2), 1e-6)
            push = d * ((length - rest) / length * 0.5)[..., None]
            numpy.add.at(p, (slice(None), a), push)
            numpy.subtract.at(p, (slice(None), b), push)
            numpy.minimum(p[..., 1], 68.0, out=p[..., 1])

    return per_frame(step) / count * 1e6


def python_verlet(count):
    points, sticks = ragdoll_shape()
    shape = [list(map(float, q)) for q in points]
    pairs = [(int(i), int(j), math.dist(shape[i], shape[j])) for i, j in sticks]
    ragdolls = [([q[:] for q in shape], [q[:] for q in shape]) for _ in range(count)]
    g = 98.0 * (1 / 60) ** 2

    def step():
        for p, previous in ragdolls:
            for k, q in enumerate(p):
                old = previous[k]
                vx, vy = (q[0] - old[0]) * 0.998, (q[1] - old[1]) * 0.998
                old[0], old[1] = q[0], q[1]
                q[0] += vx
                q[1] += vy + g
            for _ in range(ITERATIONS):
                for i, j, rest in pairs:
                    pi, pj = p[i], p[j]
                    dx, dy = pj[0] - pi[0], pj[1] - pi[1]
                    length = math.hypot(dx, dy) or 1e-6
                    f = (length - rest) / length * 0.5
                    pi[0] += dx * f
                    pi[1] += dy * f
                    pj[0] -= dx * f
                    pj[1] -= dy * f
                for q in p:
                    if q[1] > 68.0:
                        q[1] = 68.0

    return per_frame(step, 30 if count >= 100 else FRAMES) / count * 1e6


def main():
    window = libwindow.Window(320, 240, "bench dynamics")
    libgraphics.set_window(window)
    for name in ("puppet.xml", "dynamics.xml"):
        actor_database.load(os.path.join(DATA, name))
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    print(f"{'ragdolls':>8} {'update us':>10} {'step us':>8} {'write-back us':>14} {'frame ms':>9}"
          f" {'numpy us':>9} {'python us':>10}   (per actor and frame)")
    for count in COUNTS:
        update, step, back, frame = ours(scene, count)
        print(f"{count:>8} {update:>10.1f} {step:>8.1f} {back:>14.2f} {frame:>9.3f}"
              f" {numpy_verlet(count):>9.1f} {python_verlet(count):>10.1f}")
        sys.stdout.flush()
    libgraphics.set_window(None)
    window.close()


if __name__ == "__main__":
    main()
