"""PNG textures: how fast the engine turns PNG files into GL textures, against pygame's
decoder on the same files, and how long the script thread stalls while textures load
in the background. Figures are printed, never checked.

Files: --files RGBA and --files RGB pictures of --size x --size pixels written with
data/images.py (smooth patterns with low-bit noise, so that inflate has real work)
into a temporary directory. Throughput is MB/s of decoded pixels (width x height x
channels), the best of --rounds rounds; the texture database is purged between rounds
so that every round decodes again.

  ours, synchronous   Texture(path, False, True): decode + GL upload (+ the driver's
                      mipmap chain), on the script thread
  ours, upload only   Texture(pixels, dimensions, channels) from bytes already in memory:
                      the GL share of the line above; "decode share" is the difference
  pygame decode       pygame.image.load(path)
  pygame + upload     pygame.image.load + tostring + glTexImage2D with GL_GENERATE_MIPMAP
                      (PyOpenGL): what a script would write to get the same GL texture
  ours, asynchronous  Texture(path) for every file, then poll texture_loader.loading until
                      it is False: total time until every texture is usable
  stall               the same asynchronous load while the script runs a loop of small
                      fixed work (scene.update of a tiny scene) polling "loading": the
                      longest gap between two iterations, against the same loop idle

    scripts/with-display /usr/bin/python3 bench/textures/bench_textures.py [--quick]
"""
import argparse
import math
import os
import random
import statistics
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
os.environ.setdefault("PYGAME_HIDE_SUPPORT_PROMPT", "1")

FORMATS = (("RGBA", 4), ("RGB", 3))
DISTINCT = 8  # distinct pictures per format; the other files are copies under new names


def picture_rows(size, channels, seed):
    """Rows of a smooth pattern that drifts from row to row, with noise in the low two
    bits of every sample: compressible, but not trivially."""
    rng = random.Random(seed)
    row_bytes = size * channels
    f1, f2 = 0.011 + 0.002 * seed, 0.0017 + 0.0003 * seed
    base = bytes(int(128 + 70 * math.sin(i * f1) + 50 * math.sin(i * f2 + seed)) & 0xFF
                 for i in range(row_bytes * 3))
    low_bits = bytes.maketrans(bytes(range(256)), bytes(b & 0x03 for b in range(256)))
    rows = []
    for y in range(size):
        offset = (y * 5 + int(60 * math.sin(y * 0.031 + seed))) % (row_bytes * 2)
        row = base[offset:offset + row_bytes]
        noise = rng.randbytes(row_bytes).translate(low_bits)
        mixed = int.from_bytes(row, "little") ^ int.from_bytes(noise, "little")
        rows.append(mixed.to_bytes(row_bytes, "little"))
    return rows


def make_files(directory, count, size):
    """{format name: [paths]}, and the compressed size of all files."""
    sys.path.insert(0, os.path.join(ROOT, "data"))
    import images  # data/images.py, the project's stdlib PNG writer

    paths, total = {}, 0
    for name, channels in FORMATS:
        colour_type = images.RGBA if channels == 4 else images.RGB
        blobs = [images.png_bytes(size, size, picture_rows(size, channels, seed), colour_type)
                 for seed in range(min(DISTINCT, count))]
        paths[name] = []
        for i in range(count):
            path = os.path.join(directory, f"{name.lower()}_{i:03d}.png")
            with open(path, "wb") as f:
                f.write(blobs[i % len(blobs)])
            total += len(blobs[i % len(blobs)])
            paths[name].append(path)
    return paths, total


def best_time(rounds, run, between=None):
    best = float("inf")
    for _ in range(rounds):
        start = time.perf_counter()
        run()
        best = min(best, time.perf_counter() - start)
        if between:
            between()
    return best


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--files", type=int, default=100, help="files per format (default 100)")
    parser.add_argument("--size", type=int, default=512, help="picture width and height (default 512)")
    parser.add_argument("--rounds", type=int, default=3, help="rounds per measurement, best counts (default 3)")
    parser.add_argument("--quick", action="store_true", help="20 files per format, 2 rounds")
    args = parser.parse_args()
    sys.stdout.reconfigure(line_buffering=True)
    if args.quick:
        args.files, args.rounds = 20, 2
    load_start = os.getloadavg()[0]

    import pygame
    from OpenGL import GL

    import libgraphics
    import libwindow
    from libgraphics import SceneLayer, SceneObject, Texture

    window = libwindow.Window(320, 240, "bench_textures")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    database, loader = libgraphics.texture_database, libgraphics.texture_loader
    database.full_resolution = True

    with tempfile.TemporaryDirectory(prefix="bench_textures_") as directory:
        started = time.perf_counter()
        paths, compressed = make_files(directory, args.files, args.size)
        made_s = time.perf_counter() - started
        print(f"{args.files} RGBA and {args.files} RGB PNG files of {args.size}x{args.size} "
              f"({compressed / 2**20:.1f} MB compressed, written in {made_s:.1f} s; "
              f"{min(DISTINCT, args.files)} distinct pictures per format), best of {args.rounds} rounds; "
              f"GL renderer {GL.glGetString(GL.GL_RENDERER).decode()}")

        def purge():
            loader.loading  # uploads whatever is finished; purge waits for nothing
            try:
                database.purge()
            except Exception:  # Boost.Python.ArgumentError: bound without staticmethod
                type(database).purge()
            if len(database):
                print(f"  (note: {len(database)} textures stayed in the database after purge)")

        rows, first_texture_ms = [], {}
        for name, channels in FORMATS:
            files = paths[name]
            megabytes = args.size * args.size * channels * len(files) / 1e6

            def ours_sync():
                textures = [Texture(p, False, True) for p in files]
                assert all(t.gl_name for t in textures), "a texture failed to load"
                del textures

            pixels = pygame.image.tostring(pygame.image.load(files[0]), name, False)

            def ours_upload():
                textures = [Texture(pixels, (args.size, args.size), channels) for _ in files]
                GL.glFinish()
                del textures

            def pygame_decode():
                for p in files:
                    pygame.image.load(p)

            gl_format = GL.GL_RGBA if channels == 4 else GL.GL_RGB

            def pygame_upload():
                names = []
                for p in files:
                    data = pygame.image.tostring(pygame.image.load(p), name, False)
                    texture = GL.glGenTextures(1)
                    GL.glBindTexture(GL.GL_TEXTURE_2D, texture)
                    GL.glPixelStorei(GL.GL_UNPACK_ALIGNMENT, 1)
                    GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_GENERATE_MIPMAP, GL.GL_TRUE)
                    GL.glTexImage2D(GL.GL_TEXTURE_2D, 0, gl_format, args.size, args.size, 0, gl_format,
                                    GL.GL_UNSIGNED_BYTE, data)
                    GL.glTexParameteri(GL.GL_TEXTURE_2D, GL.GL_TEXTURE_MIN_FILTER, GL.GL_LINEAR_MIPMAP_LINEAR)
                    names.append(texture)
                GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
                GL.glFinish()
                GL.glDeleteTextures(names)

            first_ms = []  # per round: when the first file's texture became usable

            def ours_async():
                start = time.perf_counter()
                textures = [Texture(p) for p in files]
                first, first_at = textures[0], None
                while loader.loading:
                    if first_at is None and first.gl_name:
                        first_at = time.perf_counter()
                first_ms.append(((first_at or time.perf_counter()) - start) * 1e3)
                assert all(t.gl_name for t in textures), "a texture failed to load"
                del textures

            sync_s = best_time(args.rounds, ours_sync, purge)
            upload_s = best_time(args.rounds, ours_upload)
            pygame_s = best_time(args.rounds, pygame_decode)
            pygame_upload_s = best_time(args.rounds, pygame_upload)
            async_s = best_time(args.rounds, ours_async, purge)
            decode_s = max(sync_s - upload_s, 1e-9)
            rows.append((name, megabytes, len(files), sync_s, upload_s, decode_s, pygame_s, pygame_upload_s, async_s))
            first_texture_ms[name] = min(first_ms)

        print()
        print("MB/s of decoded pixels (ms per file); higher MB/s is faster")
        header = (f"{'format':<6} | {'ours sync':>17} | {'ours upload':>17} | {'ours decode share':>17} | "
                  f"{'pygame decode':>17} | {'pygame + upload':>17} | {'ours async total':>17}")
        print(header)
        print("-" * len(header))
        for name, mb, n, *times in rows:
            cells = " | ".join(f"{mb / t:8.1f} ({t * 1e3 / n:5.2f})" for t in times)
            print(f"{name:<6} | {cells}")
        print()
        for name, mb, n, sync_s, upload_s, decode_s, pygame_s, pygame_upload_s, async_s in rows:
            print(f"{name}: ours' decode share runs at {pygame_s / decode_s:4.2f}x pygame's decode speed; "
                  f"ours sync at {pygame_upload_s / sync_s:4.2f}x the speed of pygame + upload; "
                  f"async takes {async_s / sync_s:4.2f}x the sync time "
                  f"(first texture usable after {first_texture_ms[name]:.1f} ms)")

        # Stalls of the script thread while textures load in the background.
        scene = libgraphics.scene
        scene.add_layer(SceneLayer("tiny", 0))
        keep = []
        for i in range(8):
            o = SceneObject()
            o.position = (i * 10, 0)
            if hasattr(libgraphics, "SceneObjectAnimatorRotate"):
                o.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(1.0, 0.0, 0.0))
            o.layer = "tiny"
            keep.append(o)
        dt = 1.0 / 60.0

        def loop(until_loaded, seconds=None):
            """Gaps between iterations (ms) of update + poll."""
            gaps, clock = [], time.perf_counter
            start = last = clock()
            while True:
                scene.update(dt)
                loading = loader.loading
                now = clock()
                gaps.append((now - last) * 1e3)
                last = now
                if until_loaded and not loading:
                    break
                if seconds is not None and now - start >= seconds:
                    break
            return gaps, clock() - start

        print()
        print("Script thread while textures load in the background: a loop of scene.update "
              "(8 objects) + a poll of texture_loader.loading")
        print(f"{'what':<34} | {'iterations':>10} | {'mean gap ms':>11} | {'p99 gap ms':>10} | "
              f"{'max gap ms':>10} | {'gaps > 2 ms':>11} | {'total s':>7}")
        idle, idle_s = loop(False, seconds=1.0)

        def report(label, gaps, total):
            p99 = statistics.quantiles(gaps, n=100)[98] if len(gaps) >= 100 else max(gaps)
            print(f"{label:<34} | {len(gaps):>10} | {statistics.fmean(gaps):11.4f} | {p99:10.3f} | "
                  f"{max(gaps):10.3f} | {sum(g > 2.0 for g in gaps):>11} | {total:7.2f}")

        report("idle (nothing loading), 1 s", idle, idle_s)
        for name, channels in FORMATS:
            files = paths[name]
            start = time.perf_counter()
            textures = [Texture(p) for p in files]
            enqueue_s = time.perf_counter() - start
            gaps, total = loop(True)
            report(f"{len(files)} {name} loading asynchronously", gaps, total + enqueue_s)
            sync_ms = next(r[3] for r in rows if r[0] == name) * 1e3 / len(files)
            print(f"{'':<34}   (creating the {len(files)} Texture handles took {enqueue_s * 1e3:.1f} ms; "
                  f"a synchronous load blocks {sync_ms:.1f} ms per file)")
            del textures
            purge()
        for o in keep:
            scene.remove_object(o)

    print(f"load average {os.getloadavg()[0]:.1f} on {os.cpu_count()} CPUs at the end "
          f"({load_start:.1f} at the start)")
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
