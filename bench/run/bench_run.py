"""The real pace of libgraphics.run on this machine's steady clock: how far apart frames
start against the period asked for, and how close the dt handed to update is to the
gap a script measures itself. The tests check the pacing logic with a clock they drive;
this shows what the operating system's sleeps make of it.

For each fps (30, 60, 120) and each kind of frame:

  idle     update does nothing
  busy     update spins for a third of the period (work that fits in a frame)
  late     as busy, but every 10th frame spins for two periods (a frame that misses
           its start: the schedule moves instead of the next frames hurrying)

two loops run the same frames against an empty scene in one 320x240 window:

  run      libgraphics.run(window, update, fps)
  python   the loop a script would write without run: process_events, update, the
           scene's update and drawing, swap_buffers, then time.sleep until the next
           period (time.perf_counter), moving the schedule on a frame later than a period

Figures per case: mean and median gap between frame starts (ms), the 95th percentile
and the largest gap, the frames that started more than half a period late, and for run
the mean |dt - measured gap| in microseconds. Figures are printed, never checked.

    scripts/with-display /usr/bin/python3 bench/run/bench_run.py
    ... bench_run.py --frames 240
"""
import argparse
import statistics
import time

import libgraphics
import libwindow
from libgraphics import SceneLayer

RATES = (30, 60, 120)
KINDS = ("idle", "busy", "late")


def spin(seconds):
    """Busy work for `seconds` (a sleep would hand the processor back)."""
    end = time.perf_counter() + seconds
    while time.perf_counter() < end:
        pass


def work_of(kind, period, frame):
    if kind == "idle":
        return 0.0
    if kind == "late" and frame % 10 == 9:
        return 2 * period
    return period / 3


def with_run(window, fps, kind, frames):
    """(frame start times, dt handed to each frame) under libgraphics.run."""
    period = 1.0 / fps
    starts, dts = [], []

    def update(dt):
        starts.append(time.perf_counter())
        dts.append(dt)
        if len(starts) > frames:
            return False
        spin(work_of(kind, period, len(starts) - 1))

    libgraphics.run(window, update, fps)
    return starts[:frames], dts[:frames]


def with_python(window, scene, fps, kind, frames):
    """Frame start times of the same frames paced from Python with time.sleep."""
    period = 1.0 / fps
    starts = []
    due = time.perf_counter()
    while len(starts) < frames and window.process_events():
        starts.append(time.perf_counter())
        spin(work_of(kind, period, len(starts) - 1))
        scene.update(period)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        window.swap_buffers()
        now = time.perf_counter()
        due = now if now - (due + period) > period else due + period
        if now < due:
            time.sleep(due - now)
    return starts


def figures(starts, period):
    gaps = [b - a for a, b in zip(starts, starts[1:])]
    ordered = sorted(gaps)
    return gaps, {
        "mean": 1e3 * statistics.fmean(gaps),
        "median": 1e3 * statistics.median(gaps),
        "p95": 1e3 * ordered[int(0.95 * (len(ordered) - 1))],
        "max": 1e3 * ordered[-1],
        "late": sum(gap > 1.5 * period for gap in gaps),
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--frames", type=int, default=90, help="frames per case (default 90)")
    args = parser.parse_args()

    window = libwindow.Window(320, 240, "bench run")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("main", 0, 0, True))

    print(f"{args.frames} frames per case; gaps between frame starts in ms")
    print(f"{'fps':>4} {'kind':>6} {'loop':>7} {'period':>7} {'mean':>7} {'median':>7} {'p95':>7} {'max':>7}"
          f" {'late':>5} {'|dt-gap| us':>12}")
    for fps in RATES:
        period = 1.0 / fps
        for kind in KINDS:
            starts, dts = with_run(window, fps, kind, args.frames)
            gaps, ours = figures(starts, period)
            dt_error = 1e6 * statistics.fmean(abs(dt - gap) for dt, gap in zip(dts[1:], gaps))
            theirs = figures(with_python(window, scene, fps, kind, args.frames), period)[1]
            for loop, f, error in (("run", ours, f"{dt_error:12.1f}"), ("python", theirs, f"{'':>12}")):
                print(f"{fps:>4} {kind:>6} {loop:>7} {1e3 * period:7.2f} {f['mean']:7.2f} {f['median']:7.2f}"
                      f" {f['p95']:7.2f} {f['max']:7.2f} {f['late']:5d} {error}")

    libgraphics.set_window(None)
    window.close()


if __name__ == "__main__":
    main()
