"""Moving, rotating sprites: ms per frame of the engine's update and render against
pyglet 1.5's Batch of Sprites, the same scenes in the same run.

Each case (N sprites of one on-screen size) runs in its own process with its own
800x600 window, so the engine and pyglet never share a GL context:

  ours    a sprite database record loaded from XML, N Sprite objects in a layer, each
          moved and turned by a SceneObjectAnimatorMoveFixed and a
          SceneObjectAnimatorRotate (the engine's per-frame C++ work); "update" times
          scene.update(dt), "render" times begin_frame/render/end_frame + glFinish.
          Without those animator classes the sprites are moved from a Python loop.
          "ours unbatched" is the same with scene.batching = False (every sprite its
          own draw call).
  floor   the fastest this renderer draws these pixels: all N sprites as one vertex
          array of triangles, computed once in numpy (positions, colours, texture
          coordinates), drawn with one glDrawArrays through the engine's window, GL
          state and texture (same filtering and blending). No update.
  pyglet  a pyglet.graphics.Batch of pyglet.sprite.Sprite, moved and turned from
          Python with sprite.update(x=, y=, rotation=) every frame; "update" times
          that loop, "render" times batch.draw() + glFinish. pyglet's debug_gl is off
          (its documented setting for speed).

The screen is cleared and the frame presented outside the timed parts. A case stops
after --frames frames or once it has run --budget seconds, whichever comes first; the
table shows how many frames each side measured. Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/sprites/bench_sprites.py --quick
    ... bench_sprites.py --frames 300 --counts 1000,10000,50000 --sizes 32,2
    ... bench_sprites.py --ours-mode both     # also time the engine moved from Python

The largest count that keeps 60 frames per second (update + render within 16.7 ms) is
estimated per side from the measured counts at 32 px, assuming cost grows linearly
between them.
"""
import argparse
import io
import json
import math
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
WIDTH, HEIGHT = 800, 600
DT = 1.0 / 60.0
IMAGE_SIZE = 32
WARMUP_FRAMES = 2
RESULT_TAG = "RESULT "


# Scene content, the same for both sides -----------------------------------------------

def make_image(directory):
    """A 32x32 RGBA disc with a soft edge and a stripe, so rotation shows."""
    sys.path.insert(0, os.path.join(ROOT, "data"))
    import images  # data/images.py, the project's stdlib PNG writer

    rows = []
    c = (IMAGE_SIZE - 1) / 2.0
    for y in range(IMAGE_SIZE):
        row = []
        for x in range(IMAGE_SIZE):
            d = math.hypot(x - c, y - c)
            alpha = max(0.0, min(1.0, IMAGE_SIZE / 2.0 - d))
            stripe = abs(y - c) < 3
            r, g, b = (255, 230, 90) if stripe else (90, 170, 255)
            row += [r, g, b, int(255 * alpha)]
        rows.append(row)
    path = os.path.join(directory, "sprite.png")
    images.write_png(path, IMAGE_SIZE, IMAGE_SIZE, rows, images.RGBA)
    return path


def motion(count, seed=1):
    """Start position (pixels), velocity (pixels/s), angle (rad) and spin (rad/s) per sprite."""
    rng = random.Random(seed)
    out = []
    for _ in range(count):
        x, y = rng.uniform(0, WIDTH), rng.uniform(0, HEIGHT)
        speed, heading = rng.uniform(5, 30), rng.uniform(0, 2 * math.pi)
        out.append((x, y, speed * math.cos(heading), speed * math.sin(heading),
                    rng.uniform(-math.pi, math.pi), rng.uniform(-3.0, 3.0)))
    return out


def run_frames(frames, budget, update, clear, render, present):
    """Warm-up frames, then up to `frames` timed frames or `budget` seconds."""
    for _ in range(WARMUP_FRAMES):
        update()
        clear()
        render()
        present()
    updates, renders, update_cpu, render_cpu = [], [], 0.0, 0.0
    clock, cpu = time.perf_counter, time.process_time  # process CPU: every thread, GL's too
    start = clock()
    while len(updates) < frames and clock() - start < budget:
        t0, c0 = clock(), cpu()
        update()
        t1, c1 = clock(), cpu()
        clear()  # includes a glFinish: the render starts on an idle pipeline
        t2, c2 = clock(), cpu()
        render()  # ends with a glFinish
        t3, c3 = clock(), cpu()
        present()
        updates.append((t1 - t0) * 1e3)
        renders.append((t3 - t2) * 1e3)
        update_cpu += c1 - c0
        render_cpu += c3 - c2
    n = len(updates)
    return {
        "frames": n,
        "update_ms": sum(updates) / n,
        "render_ms": sum(renders) / n,
        "update_median_ms": statistics.median(updates),
        "render_median_ms": statistics.median(renders),
        "update_cpu_ms": update_cpu * 1e3 / n,
        "render_cpu_ms": render_cpu * 1e3 / n,
    }


# The engine ---------------------------------------------------------------------------

def run_scene_frames(window, scene, update, frames, budget):
    """run_frames for an engine scene: events and a cleared screen untimed, then the
    scene's whole frame drawn and finished."""
    from OpenGL import GL

    def clear():
        window.process_events()
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        GL.glFinish()

    def render():
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        GL.glFinish()

    return run_frames(frames, budget, update, clear, render, window.swap_buffers)


def worker_ours(args, python_loop, batching=True):
    from OpenGL import GL

    import libgraphics
    import libwindow
    from libgraphics import SceneLayer, Sprite

    window = libwindow.Window(WIDTH, HEIGHT, "bench_sprites: engine")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    GL.glClearColor(0.1, 0.1, 0.15, 1.0)
    scene = libgraphics.scene
    scene.batching = batching
    scene.add_layer(SceneLayer("sprites", 0))

    s, half = args.size, args.size / 2.0
    record = (f'<Sprites><Sprite id="bench" texture="{os.path.basename(args.image)}" '
              f'dimensions="{s} {s}" origin="{half} {half}" top_left="0 0" bottom_right="1 1" '
              f'layer="sprites"/></Sprites>')
    libgraphics.sprite_database.load(io.StringIO(record), os.path.dirname(args.image))

    have_animators = (hasattr(libgraphics, "SceneObjectAnimatorMoveFixed")
                      and hasattr(libgraphics, "SceneObjectAnimatorRotate"))
    python_loop = python_loop or not have_animators
    setup_start = time.perf_counter()
    sprites, velocities = [], []
    for x, y, vx, vy, angle, spin in motion(args.count):
        sprite = Sprite("bench")
        sprite.position = (x, y)
        sprite.rotation = angle
        if python_loop:
            velocities.append((vx, vy, spin))
        else:
            sprite.add_animator("move", libgraphics.SceneObjectAnimatorMoveFixed((vx, vy)))
            sprite.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(spin, 0.0, 0.0))
        sprites.append(sprite)
    setup_s = time.perf_counter() - setup_start
    assert len(scene.layers["sprites"].objects) == args.count

    if python_loop:
        pairs = list(zip(sprites, velocities))

        def update():
            for sprite, (vx, vy, spin) in pairs:
                p = sprite.position
                sprite.position = (p.x + vx * DT, p.y + vy * DT)
                sprite.rotation = sprite.rotation + spin * DT
            scene.update(DT)
    else:
        def update():
            scene.update(DT)

    result = run_scene_frames(window, scene, update, args.frames, args.budget)
    result.update(setup_s=setup_s, python_loop=python_loop,
                  renderer=GL.glGetString(GL.GL_RENDERER).decode())
    print(RESULT_TAG + json.dumps(result), flush=True)
    # The process ends here; tearing down N sprites one by one is not part of the figures.
    os._exit(0)


# The one-draw floor -------------------------------------------------------------------

def worker_floor(args):
    import ctypes

    import numpy as np
    from OpenGL import GL

    import libgraphics
    import libwindow
    from libgraphics import Texture

    window = libwindow.Window(WIDTH, HEIGHT, "bench_sprites: floor")
    libgraphics.set_window(window)  # the engine's GL state: blending, projection
    libgraphics.set_ortho()
    GL.glClearColor(0.1, 0.1, 0.15, 1.0)
    texture = Texture(args.image, False, True)  # loaded now: an empty texture would skip sampling

    setup_start = time.perf_counter()
    m = np.array(motion(args.count), dtype=np.float32)
    x, y, angle = m[:, 0:1], m[:, 1:2], m[:, 4:5]
    half = np.float32(args.size / 2.0)
    corners = np.array([[-1, -1], [1, -1], [1, 1], [-1, 1]], dtype=np.float32) * half
    cos, sin = np.cos(angle), np.sin(angle)
    px = x + corners[:, 0] * cos - corners[:, 1] * sin
    py = y + corners[:, 0] * sin + corners[:, 1] * cos
    uv = np.array([[0, 0], [1, 0], [1, 1], [0, 1]], dtype=np.float32)
    order = [0, 1, 2, 0, 2, 3]
    vertices = np.empty((args.count, 6, 8), dtype=np.float32)  # position, colour, texcoord
    vertices[:, :, 0] = px[:, order]
    vertices[:, :, 1] = py[:, order]
    vertices[:, :, 2:6] = 1.0
    vertices[:, :, 6:8] = uv[order]
    vertices = np.ascontiguousarray(vertices.reshape(-1, 8))
    setup_s = time.perf_counter() - setup_start
    base = vertices.ctypes.data
    stride = 32

    def clear():
        window.process_events()
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        GL.glFinish()

    def render():
        GL.glEnable(GL.GL_TEXTURE_2D)
        GL.glBindTexture(GL.GL_TEXTURE_2D, texture.gl_name)
        GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_TEXTURE_MIN_FILTER, GL.GL_LINEAR_MIPMAP_LINEAR)
        GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_TEXTURE_MAG_FILTER, GL.GL_LINEAR)
        GL.glEnableClientState(GL.GL_VERTEX_ARRAY)
        GL.glEnableClientState(GL.GL_COLOR_ARRAY)
        GL.glEnableClientState(GL.GL_TEXTURE_COORD_ARRAY)
        GL.glVertexPointer(2, GL.GL_FLOAT, stride, ctypes.c_void_p(base))
        GL.glColorPointer(4, GL.GL_FLOAT, stride, ctypes.c_void_p(base + 8))
        GL.glTexCoordPointer(2, GL.GL_FLOAT, stride, ctypes.c_void_p(base + 24))
        GL.glDrawArrays(GL.GL_TRIANGLES, 0, 6 * args.count)
        GL.glDisableClientState(GL.GL_COLOR_ARRAY)
        GL.glFinish()

    result = run_frames(args.frames, args.budget, lambda: None, clear, render, window.swap_buffers)
    result.update(setup_s=setup_s, renderer=GL.glGetString(GL.GL_RENDERER).decode())
    print(RESULT_TAG + json.dumps(result), flush=True)
    os._exit(0)


# pyglet -------------------------------------------------------------------------------

def worker_pyglet(args):
    import pyglet
    pyglet.options["debug_gl"] = False
    from pyglet import gl

    window = pyglet.window.Window(WIDTH, HEIGHT, caption="bench_sprites: pyglet", visible=True, vsync=False)
    gl.glClearColor(0.1, 0.1, 0.15, 1.0)
    image = pyglet.image.load(args.image)
    image.anchor_x, image.anchor_y = image.width // 2, image.height // 2
    batch = pyglet.graphics.Batch()
    scale = args.size / float(IMAGE_SIZE)

    setup_start = time.perf_counter()
    sprites, velocities = [], []
    for x, y, vx, vy, angle, spin in motion(args.count):
        sprite = pyglet.sprite.Sprite(image, x=x, y=y, batch=batch)
        # pyglet turns clockwise in degrees; the speed is what matters here.
        sprite.update(rotation=math.degrees(angle), scale=scale)
        sprites.append(sprite)
        velocities.append((vx * DT, vy * DT, math.degrees(spin) * DT))
    setup_s = time.perf_counter() - setup_start
    pairs = list(zip(sprites, velocities))

    def update():
        for sprite, (dx, dy, dr) in pairs:
            sprite.update(x=sprite.x + dx, y=sprite.y + dy, rotation=sprite.rotation + dr)

    def clear():
        window.dispatch_events()
        window.clear()
        gl.glFinish()

    def render():
        batch.draw()
        gl.glFinish()

    result = run_frames(args.frames, args.budget, update, clear, render, window.flip)
    result.update(setup_s=setup_s, renderer=gl.gl_info.get_renderer(),
                  pyglet=pyglet.version)
    print(RESULT_TAG + json.dumps(result), flush=True)
    os._exit(0)


# The driver ---------------------------------------------------------------------------

def run_case(kind, count, size, image, args):
    command = [sys.executable, os.path.abspath(__file__), "--worker", kind, "--count", str(count),
               "--size", str(size), "--image", image, "--frames", str(args.frames),
               "--budget", str(args.budget)]
    started = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    wall = time.perf_counter() - started
    for line in done.stdout.splitlines():
        if line.startswith(RESULT_TAG):
            result = json.loads(line[len(RESULT_TAG):])
            result["wall_s"] = wall
            return result
    print(f"{kind} N={count} size={size} failed (exit {done.returncode}):\n"
          f"{done.stdout[-2000:]}{done.stderr[-4000:]}")
    return None


def fmt(value, width=8, digits=2):
    return f"{value:{width}.{digits}f}" if value is not None else " " * (width - 3) + "n/a"


def ratio(a, b):
    return a / b if a is not None and b else None


def print_table(title, results, kind, counts, sizes, update_key, render_key):
    print()
    print(f"{title}; 'x' columns are pyglet / ours (above 1: ours is faster)")
    header = (f"{'N':>6} {'size':>4} | {'ours upd':>8} {'ours rnd':>8} | {'pyg upd':>8} {'pyg rnd':>8} | "
              f"{'upd x':>6} {'rnd x':>6} {'total x':>7} | frames ours/pyglet")
    print(header)
    print("-" * len(header))
    for count in counts:
        for size in sizes:
            ours, pyg = results.get((kind, count, size)), results.get(("pyglet", count, size))
            ou, orr = (ours[update_key], ours[render_key]) if ours else (None, None)
            pu, pr = (pyg[update_key], pyg[render_key]) if pyg else (None, None)
            total = ratio(pu + pr, ou + orr) if ours and pyg else None
            frames = f"{ours['frames'] if ours else '-'}/{pyg['frames'] if pyg else '-'}"
            print(f"{count:>6} {size:>4} | {fmt(ou)} {fmt(orr)} | {fmt(pu)} {fmt(pr)} | "
                  f"{fmt(ratio(pu, ou), 6)} {fmt(ratio(pr, orr), 6)} {fmt(total, 7)} | {frames}")


def print_render_table(results, counts, sizes):
    print()
    print("render ms per frame, wall-clock: the engine batched and unbatched, pyglet, and the one-draw floor")
    header = (f"{'N':>6} {'size':>4} | {'batched':>8} {'unbatch':>8} {'pyglet':>8} {'floor':>8} | "
              f"{'b/floor':>7} {'pyg/b':>6} | {'frame pyg/b':>11}")
    print(header)
    print("-" * len(header))
    for count in counts:
        for size in sizes:
            get = lambda kind, key="render_ms": (results.get((kind, count, size)) or {}).get(key)
            b, u, p, f = get("ours"), get("ours-unbatched"), get("pyglet"), get("floor")
            whole = ratio((get("pyglet", "update_ms") or 0) + (p or 0), (get("ours", "update_ms") or 0) + (b or 0)) \
                if b is not None and p is not None else None
            print(f"{count:>6} {size:>4} | {fmt(b)} {fmt(u)} {fmt(p)} {fmt(f)} | "
                  f"{fmt(ratio(b, f), 7)} {fmt(ratio(p, b), 6)} | {fmt(whole, 11)}")


def sixty_fps_count(results, kind, counts, size):
    """The largest N whose update + render stays within 1/60 s, by linear interpolation
    (or extrapolation from the last two) over the measured counts."""
    points = [(n, r["update_ms"] + r["render_ms"]) for n in counts
              if (r := results.get((kind, n, size)))]
    if len(points) < 2:
        return None
    budget = 1000.0 / 60.0
    for (n0, t0), (n1, t1) in zip(points, points[1:]):
        if t0 <= budget <= t1 or (n1, t1) == points[-1]:
            slope = (t1 - t0) / (n1 - n0)
            return int(n0 + (budget - t0) / slope) if slope > 0 else None
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--frames", type=int, default=300, help="timed frames per case (default 300)")
    parser.add_argument("--counts", default="1000,10000,50000", help="sprite counts, comma-separated")
    parser.add_argument("--sizes", default="32,2", help="on-screen sprite sizes in pixels, comma-separated")
    parser.add_argument("--budget", type=float, default=6.0,
                        help="seconds of timed frames per case at most (default 6); 0: no limit")
    parser.add_argument("--quick", action="store_true", help="30 frames, counts 1000,10000 (overrides both)")
    parser.add_argument("--ours-mode", choices=("animators", "python", "both"), default="animators",
                        help="move the engine's sprites with animators (default), from Python, or both")
    parser.add_argument("--no-pyglet", action="store_true", help="time the engine only")
    # Internal: one case in this process.
    parser.add_argument("--no-floor", action="store_true", help="leave out the unbatched engine and the floor")
    parser.add_argument("--worker", choices=("ours", "ours-python", "ours-unbatched", "floor", "pyglet"),
                        help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, help=argparse.SUPPRESS)
    parser.add_argument("--size", type=float, help=argparse.SUPPRESS)
    parser.add_argument("--image", help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.budget <= 0:
        args.budget = float("inf")

    if args.worker == "ours":
        return worker_ours(args, python_loop=False)
    if args.worker == "ours-python":
        return worker_ours(args, python_loop=True)
    if args.worker == "ours-unbatched":
        return worker_ours(args, python_loop=False, batching=False)
    if args.worker == "floor":
        return worker_floor(args)
    if args.worker == "pyglet":
        return worker_pyglet(args)

    sys.stdout.reconfigure(line_buffering=True)  # progress and failures in order
    if args.quick:
        args.frames, args.counts = 30, "1000,10000"
    counts = [int(c) for c in args.counts.split(",") if c]
    sizes = [int(s) if float(s).is_integer() else float(s) for s in args.sizes.split(",") if s]
    kinds = {"animators": ["ours"], "python": ["ours-python"], "both": ["ours", "ours-python"]}[args.ours_mode]
    if not args.no_floor:
        kinds += ["ours-unbatched", "floor"]
    if not args.no_pyglet:
        kinds.append("pyglet")

    print(f"Sprites in an {WIDTH}x{HEIGHT} window, {IMAGE_SIZE}x{IMAGE_SIZE} RGBA texture, dt 1/60: "
          f"up to {args.frames} timed frames per case (after {WARMUP_FRAMES} warm-up frames), "
          f"at most {args.budget:g} s of timed frames per case; counts {counts}, sizes {sizes} px.")
    print("update = moving and turning every sprite; render = drawing the frame + glFinish "
          "(ms per frame, mean of the timed frames).")
    results = {}
    load_start = os.getloadavg()[0]
    total_start = time.perf_counter()
    with tempfile.TemporaryDirectory(prefix="bench_sprites_") as directory:
        image = make_image(directory)
        for count in counts:
            for size in sizes:
                for kind in kinds:
                    results[kind, count, size] = run_case(kind, count, size, image, args)

    some = next((r for r in results.values() if r), None)
    if some:
        print(f"GL renderer: {some['renderer']}")
    pyg = next((r for k, r in results.items() if k[0] == "pyglet" and r), None)
    if pyg:
        print(f"pyglet {pyg['pyglet']} with debug_gl off. Texture sampling differs by default: the engine "
              f"uses trilinear mipmapping, pyglet bilinear.")
    mode = next((r["python_loop"] for k, r in results.items() if k[0] == "ours" and r), None)
    if mode:
        print("note: the animator classes are missing from libgraphics; 'ours' moved its sprites from Python.")

    names = {"ours": "ours (animators)", "ours-python": "ours (Python loop)",
             "ours-unbatched": "ours (animators, unbatched)"}
    for kind in [k for k in kinds if k in names]:
        print_table(f"{names[kind]} against pyglet, wall-clock ms per frame",
                    results, kind, counts, sizes, "update_ms", "render_ms")
        print_table(f"{names[kind]} against pyglet, process CPU ms per frame (all threads; "
                    f"steadier than wall-clock on a shared machine)",
                    results, kind, counts, sizes, "update_cpu_ms", "render_cpu_ms")
    if "ours-unbatched" in kinds:
        print_render_table(results, counts, sizes)
    size = 32 if 32 in sizes else sizes[0]
    print()
    print(f"largest N at 60 frames per second ({size} px, estimated from the measured counts):")
    for kind in [k for k in kinds if k != "floor"]:
        n = sixty_fps_count(results, kind, counts, size)
        print(f"  {kind:<15} {n if n is not None else 'n/a'}")
    print()
    print("set-up seconds (creating the sprites):")
    for (kind, count, size), r in results.items():
        if r:
            print(f"  {kind:<12} N={count:<6} size={size:<3} {r['setup_s']:7.2f} s "
                  f"(process wall {r['wall_s']:6.1f} s)")
    print(f"total {time.perf_counter() - total_start:.1f} s; load average {os.getloadavg()[0]:.1f} "
          f"at the end ({load_start:.1f} at the start) on {os.cpu_count()} CPUs")
    return 0


if __name__ == "__main__":
    sys.exit(main())
