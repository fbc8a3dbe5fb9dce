"""python -m engine_examples [NAME] [ARGUMENTS...]: runs the showcase, or the example
NAME with its own arguments (`--frames 60`); `--list` names them."""
import os
import runpy
import sys

from engine_examples import EXAMPLES, names


def main(argv):
    if argv[:1] in (["--list"], ["-l"]):
        print("\n".join(names()))
        return 0
    if argv[:1] in (["--help"], ["-h"]):
        print(__doc__.strip())
        print("Examples: " + ", ".join(names()))
        return 0
    name, arguments = ("showcase", argv) if not argv or argv[0].startswith("-") else (argv[0], argv[1:])
    name = name[:-3] if name.endswith(".py") else name
    if name not in names():
        print(f"engine_examples: no example '{name}' (there are: {', '.join(names())})", file=sys.stderr)
        return 2
    path = os.path.join(EXAMPLES, name + ".py")
    # As `python examples/NAME.py` would: the examples import each other by name.
    sys.path.insert(0, EXAMPLES)
    sys.argv = [path, *arguments]
    runpy.run_path(path, run_name="__main__")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
