"""10,000 moving 16 x 16 sprites in a 1920 x 1080 world, and the question a game asks of
each one every frame: what does it overlap? Per frame, after every object has moved:

  engine loop    for s in sprites: scene.overlapping(s)    (the first question builds the
                 scene's index; the other 9,999 reuse it), ms
  engine pairs   scene.overlapping_pairs("main"): the same answers in one call (index
                 build included), ms
  index build    the first question alone, ms
  python lists   the same loop over plain Python rectangles [x, y, w, h] in a list,
                 each question testing every other rectangle, ms (measured on 200
                 questions and scaled to 10,000)
  pygame         pygame.sprite.spritecollide(s, group, False) for each sprite of a Group
                 of 10,000 pygame sprites with Rects, ms (200 questions, scaled likewise)

The moves themselves (a script setting 10,000 positions) are timed apart and left out.
Hits are counted so that every variant is seen to answer the same questions; the
engine's rectangles are closed on neither side (a touch is no overlap), pygame's Rects
are the same. Figures are printed, never checked. bench_overlap (C++, built beside it)
gives the native cost without the script calls.

    scripts/with-display /usr/bin/python3 bench/overlap/bench_overlap.py
"""
import argparse
import os
import random
import time

os.environ.setdefault("PYGAME_HIDE_SUPPORT_PROMPT", "1")
import pygame  # noqa: E402  (only Rects and sprite groups: no picture is read with it)

import libgraphics  # noqa: E402
import libwindow  # noqa: E402
from libgraphics import SceneLayer, Sprite, sprite_database  # noqa: E402

COUNT, SIZE = 10000, 16
WIDTH, HEIGHT = 1920, 1080
SAMPLE = 200  # questions asked of the brute-force variants, scaled to COUNT


def world(seed=1):
    rng = random.Random(seed)
    return [[rng.uniform(0, WIDTH), rng.uniform(0, HEIGHT), rng.uniform(-2, 2), rng.uniform(-2, 2)]
            for _ in range(COUNT)]


def step(bodies):
    for b in bodies:
        b[0] += b[2]
        b[1] += b[3]
        if not 0 <= b[0] <= WIDTH:
            b[2] = -b[2]
        if not 0 <= b[1] <= HEIGHT:
            b[3] = -b[3]


def engine(frames):
    window = libwindow.Window(320, 240, "bench_overlap")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.add("dot", dimensions=(SIZE, SIZE), origin=(SIZE / 2, SIZE / 2), layer="main")
    bodies = world()
    sprites = [Sprite("dot") for _ in bodies]
    best = {"move": 1e9, "loop": 1e9, "pairs": 1e9, "build": 1e9}
    hits = pairs = 0
    for _ in range(frames):
        start = time.perf_counter()
        step(bodies)
        for s, b in zip(sprites, bodies):
            s.position = (b[0], b[1])
        best["move"] = min(best["move"], time.perf_counter() - start)

        start = time.perf_counter()
        overlapping = scene.overlapping
        hits = 0
        for s in sprites:
            hits += len(overlapping(s))
        best["loop"] = min(best["loop"], time.perf_counter() - start)

        sprites[0].position = (bodies[0][0] + 0.5, bodies[0][1])  # one move: the next question rebuilds
        start = time.perf_counter()
        pairs = len(scene.overlapping_pairs("main"))
        best["pairs"] = min(best["pairs"], time.perf_counter() - start)

        sprites[0].position = (bodies[0][0], bodies[0][1])
        start = time.perf_counter()
        overlapping(sprites[0])
        best["build"] = min(best["build"], time.perf_counter() - start)
    for s in sprites:
        scene.remove_object(s)
    window.close()
    return best, hits, pairs


def python_lists(frames):
    bodies = world()
    rects = [[b[0] - SIZE / 2, b[1] - SIZE / 2, SIZE, SIZE] for b in bodies]
    best, hits = 1e9, 0
    for _ in range(frames):
        step(bodies)
        for r, b in zip(rects, bodies):
            r[0], r[1] = b[0] - SIZE / 2, b[1] - SIZE / 2
        start = time.perf_counter()
        hits = 0
        for a in rects[:SAMPLE]:
            ax, ay, aw, ah = a
            for o in rects:
                if o is not a and ax < o[0] + o[2] and o[0] < ax + aw and ay < o[1] + o[3] and o[1] < ay + ah:
                    hits += 1
        best = min(best, time.perf_counter() - start)
    return best * COUNT / SAMPLE, hits


def with_pygame(frames):
    bodies = world()
    group = pygame.sprite.Group()
    sprites = []
    for _ in bodies:
        s = pygame.sprite.Sprite()
        s.rect = pygame.Rect(0, 0, SIZE, SIZE)
        sprites.append(s)
        group.add(s)
    best, hits = 1e9, 0
    for _ in range(frames):
        step(bodies)
        for s, b in zip(sprites, bodies):
            s.rect.center = (round(b[0]), round(b[1]))  # Rects hold whole pixels
        start = time.perf_counter()
        hits = 0
        for s in sprites[:SAMPLE]:
            hits += len(pygame.sprite.spritecollide(s, group, False)) - 1  # itself included
        best = min(best, time.perf_counter() - start)
    return best * COUNT / SAMPLE, hits


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--frames", type=int, default=30)
    args = parser.parse_args()
    best, hits, pairs = engine(args.frames)
    lists, list_hits = python_lists(3)
    collide, pygame_hits = with_pygame(3)
    print(f"{COUNT} moving {SIZE} x {SIZE} sprites in {WIDTH} x {HEIGHT}, one question per sprite per frame,"
          f" best of {args.frames} frames:")
    print(f"  moving them (script, left out)   {best['move'] * 1e3:9.3f} ms")
    print(f"  engine loop: overlapping(s)      {best['loop'] * 1e3:9.3f} ms  ({hits} hits; target: under 2 ms)")
    print(f"  engine pairs: overlapping_pairs  {best['pairs'] * 1e3:9.3f} ms  ({pairs} pairs, build included)")
    print(f"  index build (first question)     {best['build'] * 1e3:9.3f} ms")
    print(f"  python lists, same loop          {lists * 1e3:9.1f} ms  ({list_hits} hits in {SAMPLE} questions)")
    print(f"  pygame spritecollide             {collide * 1e3:9.1f} ms  ({pygame_hits} hits in {SAMPLE} questions)")
    print(f"# load: {open('/proc/loadavg').read().split()[:3]}")


if __name__ == "__main__":
    main()
