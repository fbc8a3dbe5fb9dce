"""The engine's examples and their data, installed with the engine.

    python -m engine_examples                  # the showcase
    python -m engine_examples shooter          # one example, by name
    python -m engine_examples sprites --frames 60
    python -m engine_examples --list           # what there is

The examples run from here as they do from the repository (`examples/` beside `data/`);
whatever they write (the showcase's screenshots in out/demo/) goes below the
working directory.
"""
import os

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "examples")
DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")


def names():
    """The examples one can run: every script of examples/ but the shared helpers."""
    return sorted(name[:-3] for name in os.listdir(EXAMPLES)
                  if name.endswith(".py") and not name.startswith("_") and is_runnable(name))


def is_runnable(name):
    with open(os.path.join(EXAMPLES, name), encoding="utf-8") as f:
        return 'if __name__ == "__main__":' in f.read()
