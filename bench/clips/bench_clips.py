"""1,000 actors of 20 joints and 200 vertices, each playing two clips in a crossfade
(every joint keyed in both, bezier easing), per frame:

  update     scene.update(dt) as a whole (sampling, blending, writing joints, skinning), ms
  clips      ActorControllerAnimation.update for every actor (sampling, blending and
             writing the joints), less the same loop over a native ActorController, ms
  skinning   ActorMesh.transform_vertices for every actor, less the loop's cost, ms
  own curves scene.update again for 1,000 actors whose every joint track has a curve
             of its own: the player solves a bezier easing once for the tracks of a
             pose keyed alike (as in the first scene), so this is the case where every
             track pays its own solve, ms
and the same sampling and blending (both clips' rotation tracks at each actor's time,
mixed by the fade weight) written in numpy, vectorised over all actors, and in plain
Python, ms per frame. Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/clips/bench_clips.py
"""
import io
import math
import sys
import time

import numpy as np

import libgraphics
import libwindow
from libgraphics import Actor, ActorController, ActorControllerAnimation, SceneLayer, actor_database

ACTORS, JOINTS, VERTICES = 1000, 20, 200
DT = 1 / 60
FRAMES = 60
CURVE = (0.42, 0.0, 0.58, 1.0)
# Per clip, per joint: keys (time, value) at 0, half and the whole duration, each eased by CURVE.
CLIPS = {"a": (1.0, [(0.0, 0.1), (0.5, -0.1), (1.0, 0.1)]), "b": (1.6, [(0.0, -0.2), (0.8, 0.25), (1.6, -0.2)])}


def curve_text(curve):
    return ",".join(str(c) for c in curve)


def document(actor_id="worm", own_curves=False):
    """The actor and its two clips; with own_curves each joint's keys ease by a curve
    of their own (x1 differing by joint)."""
    out = ["<Actors>", f'  <ActorData id="{actor_id}">']
    for j in range(JOINTS):
        parent = f' parent="j{j - 1}"' if j else ""
        out.append(f'    <Joint id="j{j}"{parent} position="0, {-4 if j else 0}"/>')
    out.append('    <ActorMeshData id="body">')
    per_joint = VERTICES // JOINTS
    for v in range(VERTICES):
        j = v // per_joint
        side = -2 if v % 2 else 2
        k = min(j + 1, JOINTS - 1)
        out.append(f'      <Vertex position="{side}, {-4 * j - (v % per_joint) * 4 / per_joint:.3f}" '
                   f'joint_indices="{j},{k}" joint_weights="0.7,0.3"/>')
    for v in range(0, VERTICES - 2, 2):
        out.append(f'      <Face vertex_indices="{v},{v + 1},{v + 2}"/>')
    out.append("    </ActorMeshData>")
    for name, (duration, keys) in CLIPS.items():
        out.append(f'    <ActorClip id="{name}" duration="{duration}" loops="0">')
        for j in range(JOINTS):
            out.append(f'      <ClipTrack joint="j{j}" channel="rotation">')
            for t, value in keys:
                curve = (0.3 + 0.01 * j,) + CURVE[1:] if own_curves else CURVE
                out.append(f'        <ClipKey time="{t}" value="{value}" easing="bezier" '
                           f'curve="{curve_text(curve)}"/>')
            out.append("      </ClipTrack>")
        out.append("    </ActorClip>")
    out += ["  </ActorData>", "</Actors>"]
    return "\n".join(out)


def ease_python(x):
    x1, y1, x2, y2 = CURVE
    u = x
    for _ in range(8):  # Newton on x(u) = x
        v = 1 - u
        f = 3 * v * v * u * x1 + 3 * v * u * u * x2 + u * u * u - x
        d = 3 * v * v * x1 + 6 * v * u * (x2 - x1) + 3 * u * u * (1 - x2)
        if d > 1e-9:
            u = min(1.0, max(0.0, u - f / d))
    v = 1 - u
    return 3 * v * v * u * y1 + 3 * v * u * u * y2 + u * u * u


def sample_python(keys, t):
    for (t0, v0), (t1, v1) in zip(keys, keys[1:]):
        if t <= t1:
            return v0 + (v1 - v0) * ease_python((t - t0) / (t1 - t0))
    return keys[-1][1]


def frame_python(times_a, times_b, fade):
    poses = []
    keys_a, keys_b = CLIPS["a"][1], CLIPS["b"][1]
    for ta, tb in zip(times_a, times_b):
        poses.append([(1 - fade) * sample_python(keys_a, ta) + fade * sample_python(keys_b, tb)
                      for _ in range(JOINTS)])
    return poses


def ease_numpy(x):
    x1, y1, x2, y2 = CURVE
    u = x.copy()
    for _ in range(8):
        v = 1 - u
        f = 3 * v * v * u * x1 + 3 * v * u * u * x2 + u ** 3 - x
        d = 3 * v * v * x1 + 6 * v * u * (x2 - x1) + 3 * u * u * (1 - x2)
        u = np.clip(u - f / np.maximum(d, 1e-9), 0.0, 1.0)
    v = 1 - u
    return 3 * v * v * u * y1 + 3 * v * u * u * y2 + u ** 3


def sample_numpy(keys, t):
    times = np.array([k[0] for k in keys])
    values = np.array([k[1] for k in keys])
    i = np.clip(np.searchsorted(times, t, side="right"), 1, len(keys) - 1)
    f = (t - times[i - 1]) / (times[i] - times[i - 1])
    return values[i - 1] + (values[i] - values[i - 1]) * ease_numpy(np.clip(f, 0.0, 1.0))


def frame_numpy(times_a, times_b, fade):
    """Every joint of every actor sampled in both clips (one flat array each) and mixed."""
    a = sample_numpy(CLIPS["a"][1], times_a)
    b = sample_numpy(CLIPS["b"][1], times_b)
    return ((1 - fade) * a + fade * b).reshape(ACTORS, JOINTS)


def timed(function, frames):
    start = time.perf_counter()
    for _ in range(frames):
        function()
    return (time.perf_counter() - start) / frames


def crowd(scene, actor_id):
    """ACTORS actors of `actor_id` in the scene, crossfading from clip a to clip b."""
    actors, controllers = [], []
    for i in range(ACTORS):
        a = Actor(actor_id)
        a.position = (20 + (i % 40) * 19, 100 + (i // 40) * 18)
        c = ActorControllerAnimation()
        a.controller = c
        scene.add_object(a, "world")
        c.play("a", loops=0)
        scene.update(0.01 * (i % 7))  # actors at different times
        c.play("b", fade=1e6, loops=0)  # a crossfade that lasts the whole run
        actors.append(a)
        controllers.append(c)
    for _ in range(5):
        scene.update(DT)
    return actors, controllers


def main():
    window = libwindow.Window(800, 600, "bench clips")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    actor_database.load(io.StringIO(document()))
    actor_database.load(io.StringIO(document("worm_own_curves", own_curves=True)))
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    actors, controllers = crowd(scene, "worm")
    update = timed(lambda: scene.update(DT), FRAMES)
    idle = [ActorController() for _ in actors]
    base = timed(lambda: [c.update(DT) for c in idle], FRAMES)
    clips = timed(lambda: [c.update(DT) for c in controllers], FRAMES) - base
    meshes = [a.meshes[0] for a in actors]
    skeletons = [a.skeleton for a in actors]
    skin = timed(lambda: [m.transform_vertices(s) for m, s in zip(meshes, skeletons)], FRAMES) - base

    times_a = np.array([(0.01 * (i % 7) + 0.5) % 1.0 for i in range(ACTORS)])
    times_b = np.array([(0.3 + 0.01 * (i % 7)) % 1.6 for i in range(ACTORS)])
    numpy_ms = timed(lambda: frame_numpy(np.repeat(times_a, JOINTS), np.repeat(times_b, JOINTS), 0.4), FRAMES)
    python_ms = timed(lambda: frame_python(list(times_a), list(times_b), 0.4), 3)
    for a in actors:
        scene.remove_object(a)
    actors, controllers = crowd(scene, "worm_own_curves")
    own_curves = timed(lambda: scene.update(DT), FRAMES)
    print(f"{ACTORS} actors x {JOINTS} joints x {VERTICES} vertices, two clips crossfading, per frame:")
    print(f"  scene.update            {update * 1e3:8.3f} ms  (target: under 3 ms)")
    print(f"  clips (sample + blend)  {clips * 1e3:8.3f} ms")
    print(f"  skinning                {skin * 1e3:8.3f} ms")
    print(f"  update, own curves      {own_curves * 1e3:8.3f} ms  (every track solves its own easing)")
    print(f"  same sampling in numpy  {numpy_ms * 1e3:8.3f} ms")
    print(f"  same sampling in Python {python_ms * 1e3:8.3f} ms")
    for a in actors:
        scene.remove_object(a)
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
