"""A fountain of N live particles (3x3 px quads of one texture, a colour fade, under
gravity): ms per frame of the engine's update and render against the same effect
written the two ways a Python user would, in the same run:

  ours    a ParticleSystem from an XML definition; all N particles are emitted in
          the first frame and live through the run. "update" times scene.update(dt)
          (emission, particle steps, curves, vertex writing), "render" times
          begin_frame/render/end_frame + glFinish (the buffer upload and the draw).
  python  a pure-Python update over lists of particles feeding a pyglet vertex list
          of quads (pyglet 1.5, 'v2f/stream' and 'c4f/stream'); "render" is
          batch.draw() + glFinish.
  numpy   a numpy-vectorised update filling one (N x 4 x 8) float32 quad array,
          uploaded with glBufferData and drawn with glDrawArrays(GL_QUADS) through
          PyOpenGL in an engine window, its texture sampled like the engine's
          (trilinear); "render" is upload + draw + glFinish. The engine uploads its
          buffer at the end of its update, so its upload counts as update time.

Each case runs in its own process and window. A case stops after --frames frames or
--budget seconds, whichever comes first. Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/particles/bench_particles.py
    ... bench_particles.py --counts 10000 --frames 60 --quick
"""
import argparse
import io
import json
import math
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "sprites"))
from bench_sprites import RESULT_TAG, WIDTH, HEIGHT, DT, make_image, run_frames, run_scene_frames  # noqa: E402

GRAVITY = 98.0
LIFE = (6.0, 8.0)          # longer than the run: every particle stays live
SPEED = (150.0, 300.0)
SPREAD = 0.35
HALF = 1.5                 # 3 x 3 pixel quads
START = (1.0, 0.85, 0.3, 1.0)
END = (0.2, 0.4, 1.0, 0.2)
ORIGIN = (WIDTH / 2, HEIGHT - 20)


def definition(count, image):
    c0, c1 = " ".join(map(str, START)), " ".join(map(str, END))
    return (f'<Particles><ParticleSystemData id="fountain" layer="fx" gravity="0 {GRAVITY}">'
            f'<ParticleEmitterData emission_rate="{count * 60}" emission_limit="{count}" spread="{SPREAD}" '
            f'speed="{SPEED[0]} {SPEED[1]}"><ParticleData life="{LIFE[0]} {LIFE[1]}" size="{HALF} {HALF}" '
            f'texture="{os.path.basename(image)}"><ColourCurve><Keyframe key="0" value="{c0}"/>'
            f'<Keyframe key="1" value="{c1}"/></ColourCurve></ParticleData></ParticleEmitterData>'
            f'</ParticleSystemData></Particles>')


def launches(count, seed=3):
    """Velocity and life per particle, the same law as the engine's emitter."""
    import random
    rng = random.Random(seed)
    out = []
    for _ in range(count):
        u = 1.0 - rng.random()
        a = u * u * SPREAD * (1 if rng.random() < 0.5 else -1)
        speed = rng.uniform(*SPEED)
        out.append((-math.sin(a) * speed, -math.cos(a) * speed, rng.uniform(*LIFE)))
    return out


# The engine -------------------------------------------------------------------------

def worker_ours(args):
    from OpenGL import GL
    import libcore
    import libgraphics
    import libwindow
    from libgraphics import ParticleSystem, SceneLayer

    window = libwindow.Window(WIDTH, HEIGHT, "bench_particles: engine")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("fx", 0))
    libcore.PathDatabase.add_root(os.path.dirname(args.image))
    libgraphics.particle_database.load(io.StringIO(definition(args.count, args.image)), "")
    fountain = ParticleSystem("fountain")
    fountain.position = ORIGIN
    scene.update(DT)  # every particle is emitted here
    assert fountain.particle_count == args.count, fountain.particle_count

    result = run_scene_frames(window, scene, lambda: scene.update(DT), args.frames, args.budget)
    result.update(renderer=GL.glGetString(GL.GL_RENDERER).decode())
    print(RESULT_TAG + json.dumps(result), flush=True)
    os._exit(0)


# Pure Python + pyglet ------------------------------------------------------------------

def worker_python(args):
    import pyglet
    pyglet.options["debug_gl"] = False
    from pyglet import gl

    window = pyglet.window.Window(WIDTH, HEIGHT, caption="bench_particles: pyglet", vsync=False)
    gl.glEnable(gl.GL_BLEND)
    gl.glBlendFunc(gl.GL_SRC_ALPHA, gl.GL_ONE_MINUS_SRC_ALPHA)
    texture = pyglet.image.load(args.image).get_texture()
    n = args.count
    batch = pyglet.graphics.Batch()
    group = pyglet.graphics.TextureGroup(texture)
    uv = [0, 0, 1, 0, 1, 1, 0, 1] * n
    vlist = batch.add(4 * n, gl.GL_QUADS, group, "v2f/stream", "c4f/stream", ("t2f/static", uv))
    ox, oy = ORIGIN[0], HEIGHT - ORIGIN[1]  # pyglet's y grows upwards
    particles = [[ox, oy, vx, -vy, life, life] for vx, vy, life in launches(n)]
    s0, s1 = START, END
    gdt = GRAVITY * DT

    def update():
        positions = [0.0] * (8 * n)
        colours = [0.0] * (16 * n)
        i = j = 0
        for p in particles:
            p[5] -= DT
            if p[5] > 0:
                p[3] -= gdt
                p[0] += p[2] * DT
                p[1] += p[3] * DT
                t = 1.0 - p[5] / p[4]
                c = (s0[0] + (s1[0] - s0[0]) * t, s0[1] + (s1[1] - s0[1]) * t,
                     s0[2] + (s1[2] - s0[2]) * t, s0[3] + (s1[3] - s0[3]) * t)
            else:
                c = (0.0, 0.0, 0.0, 0.0)
            x, y = p[0], p[1]
            positions[i:i + 8] = (x - HALF, y - HALF, x + HALF, y - HALF, x + HALF, y + HALF, x - HALF, y + HALF)
            colours[j:j + 16] = c * 4
            i += 8
            j += 16
        vlist.vertices[:] = positions
        vlist.colors[:] = colours

    def clear():
        window.dispatch_events()
        window.clear()
        gl.glFinish()

    def render():
        batch.draw()
        gl.glFinish()

    result = run_frames(args.frames, args.budget, update, clear, render, window.flip)
    result.update(renderer=gl.gl_info.get_renderer(), pyglet=pyglet.version)
    print(RESULT_TAG + json.dumps(result), flush=True)
    os._exit(0)


# numpy -----------------------------------------------------------------------------------

def worker_numpy(args):
    import numpy as np
    from OpenGL import GL
    import libwindow

    window = libwindow.Window(WIDTH, HEIGHT, "bench_particles: numpy")
    GL.glMatrixMode(GL.GL_PROJECTION)
    GL.glLoadIdentity()
    GL.glOrtho(0, WIDTH, HEIGHT, 0, -1, 1)
    GL.glMatrixMode(GL.GL_MODELVIEW)
    GL.glLoadIdentity()
    GL.glEnable(GL.GL_BLEND)
    GL.glBlendFunc(GL.GL_SRC_ALPHA, GL.GL_ONE_MINUS_SRC_ALPHA)
    texture = GL.glGenTextures(1)
    GL.glBindTexture(GL.GL_TEXTURE_2D, texture)
    # Sampled as the engine samples its textures (trilinear, mipmapped), so both draw
    # the same quads the same way; the drawing cost, not the picture, is measured.
    GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_TEXTURE_MIN_FILTER, GL.GL_LINEAR_MIPMAP_LINEAR)
    GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_TEXTURE_MAG_FILTER, GL.GL_LINEAR)
    pixels = np.full((32, 32, 4), 255, np.uint8)
    GL.glTexImage2D(GL.GL_TEXTURE_2D, 0, GL.GL_RGBA, 32, 32, 0, GL.GL_RGBA, GL.GL_UNSIGNED_BYTE, pixels)
    GL.glGenerateMipmap(GL.GL_TEXTURE_2D)
    GL.glEnable(GL.GL_TEXTURE_2D)

    n = args.count
    launch = np.array(launches(n), np.float32)
    pos = np.tile(np.array(ORIGIN, np.float32), (n, 1))
    vel = launch[:, :2].copy()
    life = launch[:, 2].copy()
    remaining = life.copy()
    start, delta = np.array(START, np.float32), np.array(END, np.float32) - np.array(START, np.float32)
    quads = np.zeros((n, 4, 8), np.float32)
    quads[:, :, 6:8] = np.array([[0, 0], [1, 0], [1, 1], [0, 1]], np.float32)
    corner = np.array([[-1, -1], [1, -1], [1, 1], [-1, 1]], np.float32) * HALF
    dt, g = np.float32(DT), np.float32(GRAVITY)
    buffer = GL.glGenBuffers(1)

    def update():
        nonlocal remaining
        remaining -= dt
        alive = remaining > 0
        vel[:, 1] += np.where(alive, g * dt, 0)
        pos[alive] += vel[alive] * dt
        t = 1 - remaining / life
        colour = start + t[:, None] * delta
        colour[~alive] = 0
        quads[:, :, 0:2] = pos[:, None, :] + corner
        quads[:, :, 2:6] = colour[:, None, :]

    def clear():
        window.process_events()
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        GL.glFinish()

    def render():
        GL.glBindBuffer(GL.GL_ARRAY_BUFFER, buffer)
        GL.glBufferData(GL.GL_ARRAY_BUFFER, quads.nbytes, quads, GL.GL_DYNAMIC_DRAW)
        GL.glEnableClientState(GL.GL_VERTEX_ARRAY)
        GL.glEnableClientState(GL.GL_COLOR_ARRAY)
        GL.glEnableClientState(GL.GL_TEXTURE_COORD_ARRAY)
        GL.glVertexPointer(2, GL.GL_FLOAT, 32, GL.GLvoidp(0))
        GL.glColorPointer(4, GL.GL_FLOAT, 32, GL.GLvoidp(8))
        GL.glTexCoordPointer(2, GL.GL_FLOAT, 32, GL.GLvoidp(24))
        GL.glDrawArrays(GL.GL_QUADS, 0, 4 * n)
        GL.glBindBuffer(GL.GL_ARRAY_BUFFER, 0)
        GL.glFinish()

    result = run_frames(args.frames, args.budget, update, clear, render, window.swap_buffers)
    result.update(renderer=GL.glGetString(GL.GL_RENDERER).decode(), numpy=np.__version__)
    print(RESULT_TAG + json.dumps(result), flush=True)
    os._exit(0)


# The driver ------------------------------------------------------------------------------

def run_case(kind, count, image, args):
    command = [sys.executable, os.path.abspath(__file__), "--worker", kind, "--count", str(count),
               "--image", image, "--frames", str(args.frames), "--budget", str(args.budget)]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    for line in done.stdout.splitlines():
        if line.startswith(RESULT_TAG):
            return json.loads(line[len(RESULT_TAG):])
    print(f"{kind} N={count} failed (exit {done.returncode}):\n{done.stdout[-2000:]}{done.stderr[-4000:]}")
    return None


def available(module):
    try:
        __import__(module)
        return True
    except ImportError:
        return False


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--frames", type=int, default=300, help="timed frames per case (default 300)")
    parser.add_argument("--counts", default="10000,100000", help="live particles, comma-separated")
    parser.add_argument("--budget", type=float, default=20.0,
                        help="seconds of timed frames per case at most (default 20); 0: no limit")
    parser.add_argument("--quick", action="store_true", help="30 frames, 5 s budget")
    parser.add_argument("--worker", choices=("ours", "python", "numpy"), help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, help=argparse.SUPPRESS)
    parser.add_argument("--image", help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.budget <= 0:
        args.budget = float("inf")
    if args.worker:
        return {"ours": worker_ours, "python": worker_python, "numpy": worker_numpy}[args.worker](args)

    sys.stdout.reconfigure(line_buffering=True)
    if args.quick:
        args.frames, args.budget = 30, 5.0
    counts = [int(c) for c in args.counts.split(",") if c]
    kinds = ["ours"]
    kinds += ["python"] if available("pyglet") else []
    kinds += ["numpy"] if available("numpy") else []
    missing = {"python": "pyglet", "numpy": "numpy"}
    for kind, module in missing.items():
        if kind not in kinds:
            print(f"note: {module} is not installed; the {kind} version is left out.")
    print(f"Fountain of N live particles in an {WIDTH}x{HEIGHT} window: 3x3 px quads of one texture, "
          f"colour fade, gravity {GRAVITY}; dt 1/60, up to {args.frames} timed frames per case "
          f"(at most {args.budget:g} s each). ms per frame, mean of the timed frames.")
    results = {}
    with tempfile.TemporaryDirectory(prefix="bench_particles_") as directory:
        image = make_image(directory)
        for count in counts:
            for kind in kinds:
                results[kind, count] = run_case(kind, count, image, args)
    some = next((r for r in results.values() if r), None)
    if some:
        print(f"GL renderer: {some['renderer']}")
    header = f"{'N':>7} {'version':<8} | {'update':>9} {'render':>9} | {'upd cpu':>8} {'rnd cpu':>8} | frames"
    print(header)
    print("-" * len(header))
    for count in counts:
        for kind in kinds:
            r = results.get((kind, count))
            if not r:
                print(f"{count:>7} {kind:<8} | failed")
                continue
            print(f"{count:>7} {kind:<8} | {r['update_ms']:9.2f} {r['render_ms']:9.2f} | "
                  f"{r['update_cpu_ms']:8.2f} {r['render_cpu_ms']:8.2f} | {r['frames']}")
        ours = results.get(("ours", count))
        for kind in kinds[1:]:
            other = results.get((kind, count))
            if ours and other:
                print(f"{'':>7} ours vs {kind}: update {other['update_ms'] / ours['update_ms']:.1f}x faster, "
                      f"render {other['render_ms'] / ours['render_ms']:.2f}x")
    return 0


if __name__ == "__main__":
    sys.exit(main())
