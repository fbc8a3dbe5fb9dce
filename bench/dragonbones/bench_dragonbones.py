"""DragonBones characters: the load time of each shared export, and 1,000 instances
of mecha_1502b playing "walk" with its leg IK on (each carrying its two weapons and
two flames, nested armatures with clips of their own), per frame:

  update     scene.update(dt) as a whole, ms (target: under 5 ms)
  clips+IK   ActorControllerAnimation.update of every mecha (sampling, blending,
             writing joints, solving the two leg chains), less the same loop over a
             native ActorController, ms
  skinning   ActorMesh.transform_vertices of every mecha part, less the loop's cost, ms

With DRAGONBONES_JS naming the DragonBones JavaScript runtime as an ES module (see
tests/tools/dragonbones_expected.mjs) and node on the PATH, the runtime's own
per-frame figure for the same 1,000 armatures (advanceTime, no drawing) is printed
beside ours, from bench_dragonbones.mjs. Figures are printed, never checked.

    DRAGONBONES_JS=/somewhere/dragonBones.mjs scripts/with-display /usr/bin/python3 bench/dragonbones/bench_dragonbones.py
"""
import os
import shutil
import subprocess
import sys
import time

import libgraphics
import libwindow
from libgraphics import Actor, ActorController, ActorControllerAnimation, SceneLayer, actor_database

HERE = os.path.dirname(os.path.abspath(__file__))
EXPORTS = os.path.join(HERE, "..", "..", "data", "dragonbones")
FILES = ["bullet_01/bullet_01_ske.json", "dragon/Dragon_ske.json", "effect/effect_ske.json",
         "floor_board/floor_board_ske.json", "mecha_1502b/mecha_1502b_ske.json"]
ACTORS = 1000
DT = 1 / 60
FRAMES = 60


def timed(function, frames):
    start = time.perf_counter()
    for _ in range(frames):
        function()
    return (time.perf_counter() - start) / frames


def load_times():
    """Milliseconds to load each export (records and clips; the atlas picture loads in
    the background and is not counted), best of five."""
    times = {}
    for path in FILES:
        best = float("inf")
        for _ in range(5):
            actor_database.unload()
            start = time.perf_counter()
            actor_database.load_dragonbones(os.path.join(EXPORTS, path))
            best = min(best, time.perf_counter() - start)
        times[path.split("/")[0]] = best * 1e3
    actor_database.unload()
    return times


def javascript_figure():
    runtime = os.environ.get("DRAGONBONES_JS")
    node = shutil.which("node")
    if not runtime or not node:
        return None
    result = subprocess.run([node, os.path.join(HERE, "bench_dragonbones.mjs"), runtime, EXPORTS, str(ACTORS),
                             str(FRAMES)], capture_output=True, text=True, timeout=600)
    lines = [line for line in result.stdout.splitlines() if line.startswith("ms per frame")]
    return float(lines[-1].split()[-1]) if result.returncode == 0 and lines else None


def main():
    window = libwindow.Window(800, 600, "bench dragonbones")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    loads = load_times()
    actor_database.load_dragonbones(os.path.join(EXPORTS, FILES[-1]))
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    actors, controllers = [], []
    for i in range(ACTORS):
        a = Actor("mecha_1502b")
        a.position = (20 + (i % 40) * 19, 100 + (i // 40) * 18)
        a.scale = (0.1, 0.1)
        c = ActorControllerAnimation()
        a.controller = c
        scene.add_object(a, "world")
        c.play("walk", loops=0)
        c.update(0.01 * (i % 7))  # mechas at different times
        actors.append(a)
        controllers.append(c)
    for _ in range(5):
        scene.update(DT)
    update = timed(lambda: scene.update(DT), FRAMES)
    idle = [ActorController() for _ in actors]
    base = timed(lambda: [c.update(DT) for c in idle], FRAMES)
    clips = timed(lambda: [c.update(DT) for c in controllers], FRAMES) - base
    parts = [(m, a.skeleton) for a in actors for m in a.meshes]
    skin = timed(lambda: [m.transform_vertices(s) for m, s in parts], FRAMES) - base * len(parts) / ACTORS
    js = javascript_figure()
    print("load_dragonbones, best of five:")
    for name, ms in loads.items():
        print(f"  {name:12s} {ms:8.3f} ms")
    print(f"{ACTORS} x mecha_1502b playing walk with leg IK (and 4 nested actors each), per frame:")
    print(f"  scene.update            {update * 1e3:8.3f} ms  (target: under 5 ms)")
    print(f"  clips + IK              {clips * 1e3:8.3f} ms")
    print(f"  skinning ({len(parts) // ACTORS} parts each) {skin * 1e3:8.3f} ms")
    if js is None:
        print("  DragonBones JS runtime  (not run: set DRAGONBONES_JS and have node)")
    else:
        print(f"  DragonBones JS runtime  {js:8.3f} ms  (advanceTime of the same {ACTORS} armatures, no drawing)")
    for a in actors:
        scene.remove_object(a)
    actor_database.unload()
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
