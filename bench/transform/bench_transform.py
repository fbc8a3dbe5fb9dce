"""ns per world_transform read on the leaf of a 16-deep chain, through Python: clean
caches and after a root change; a plain-Python transform chain as the comparison a
script author would otherwise write."""
import math
import time

from libgraphics import Transform

DEPTH = 16


def best_ns(fn, n, rounds=5):
    best = float("inf")
    for _ in range(rounds):
        start = time.perf_counter_ns()
        fn(n)
        best = min(best, (time.perf_counter_ns() - start) / n)
    return best


class PyTransform:
    """What a script would write without the engine: 2D affine tuples, recomputed on read."""

    def __init__(self, parent=None):
        self.parent, self.position, self.rotation = parent, (0.0, 0.0), 0.0

    def world(self):
        c, s = math.cos(self.rotation), math.sin(self.rotation)
        local = (c, -s, s, c, self.position[0], self.position[1])
        if self.parent is None:
            return local
        a, b, cc, d, tx, ty = self.parent.world()
        la, lb, lc, ld, ltx, lty = local
        return (a * la + cc * lb, b * la + d * lb, a * lc + cc * ld, b * lc + d * ld,
                a * ltx + cc * lty + tx, b * ltx + d * lty + ty)


def main():
    chain = [Transform() for _ in range(DEPTH)]
    for parent, child in zip(chain, chain[1:]):
        parent.attach(child)
        child.position = (10, 0)
        child.rotation = 0.1
    leaf, root = chain[-1], chain[0]

    def clean(n):
        for _ in range(n):
            leaf.world_transform

    def dirty(n):
        for i in range(n):
            root.position = (i & 1, 0)
            leaf.world_transform

    py_chain = [PyTransform()]
    for _ in range(DEPTH - 1):
        py_chain.append(PyTransform(py_chain[-1]))
    py_leaf = py_chain[-1]

    def pure_python(n):
        for _ in range(n):
            py_leaf.world()

    print(f"Python world_transform, 16-deep leaf, clean caches:    {best_ns(clean, 200_000):8.1f} ns")
    print(f"Python world_transform, 16-deep leaf, after root move: {best_ns(dirty, 100_000):8.1f} ns")
    print(f"pure-Python chain of 16 recomputed on read:            {best_ns(pure_python, 20_000):8.1f} ns")


if __name__ == "__main__":
    main()
