"""`pip install .`: builds the engine with CMake and puts into the wheel the three modules,
the engine's libraries beside them (the modules find them there), the type stub packages
(libcore-stubs, ...) and the examples with their data (engine_examples).

Nothing is written into the source tree. CMake builds in ENGINE_BUILD when it is set (an
existing build directory, such as the repository's build/ after `make build`, is reused
and only brought up to date), else in a temporary directory removed afterwards; ccache,
when installed, keeps such fresh builds short. setuptools' own build and egg-info
directories are temporary too. CMake's progress goes to the output (`pip install -v .`
shows it all) and, while pip hides the output, one line of it to the terminal.
"""
import atexit
import glob
import os
import shutil
import subprocess
import sys
import tempfile

from distutils.errors import DistutilsModuleError

from setuptools import Distribution, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
# This process's scratch space, outside the source tree (pip runs each build step in a
# process of its own).
SCRATCH = tempfile.mkdtemp(prefix="engine-setup-")
atexit.register(shutil.rmtree, SCRATCH, ignore_errors=True)
TARGETS = ["libcore_extension", "libwindow_extension", "libgraphics_extension", "python_stubs"]


def fail(message):
    """Stops the build with a message that says what to do (pip shows it)."""
    raise SystemExit("\nengine: " + message + "\n")


def require_wheel():
    """A wheel is built by `bdist_wheel`, which the `wheel` package adds to setuptools;
    without it setuptools only says "invalid command 'bdist_wheel'"."""
    try:
        # Where setuptools itself looks: the commands that installed packages announce.
        Distribution().get_command_class("bdist_wheel")
    except DistutilsModuleError:
        fail("building the wheel needs the 'wheel' package, which " + sys.executable + " lacks.\n"
             "  Install it into this environment:  " + sys.executable + " -m pip install wheel\n"
             "  (Debian: apt install python3-wheel for the system's Python), or let pip fetch it by\n"
             "  installing without --no-build-isolation.")


def require_tools():
    missing = [tool for tool in ("cmake", "c++") if shutil.which(tool) is None]
    if missing:
        fail("building needs " + " and ".join(missing) + " on the PATH. On Debian, scripts/bootstrap (or\n"
             "  `make bootstrap`) installs every package the build needs.")


class ProgressLine:
    """Mirrors build output lines to the terminal as one line rewritten in place, when
    the output itself goes elsewhere (pip captures it) and there is a terminal."""

    def __init__(self):
        self.tty = None
        if not sys.stdout.isatty() and os.environ.get("ENGINE_QUIET_BUILD") != "1":
            try:
                self.tty = open("/dev/tty", "w")
            except OSError:
                pass

    def show(self, line):
        if self.tty:
            width = shutil.get_terminal_size((100, 20)).columns - 1
            self.tty.write("\r\033[K" + ("engine: " + line)[:width])
            self.tty.flush()

    def close(self):
        if self.tty:
            self.tty.write("\r\033[K")
            self.tty.close()


def run(command, progress):
    """Runs a command, passing its output on line by line; fails with its last lines."""
    print("engine: " + " ".join(command), flush=True)
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               env=dict(os.environ, CCACHE_BASEDIR=HERE, CCACHE_NOHASHDIR="1"))
    tail = []
    for line in process.stdout:
        sys.stdout.write(line)
        sys.stdout.flush()
        progress.show(line.rstrip())
        tail = (tail + [line])[-30:]
    if process.wait() != 0:
        progress.close()
        fail(command[0] + " failed:\n" + "".join(tail))


class BuildWithCMake(build_ext):
    def run(self):
        require_tools()
        build = os.environ.get("ENGINE_BUILD") or os.path.join(SCRATCH, "cmake")
        print(f"engine: building with CMake in {build}"
              + ("" if os.environ.get("ENGINE_BUILD") else " (set ENGINE_BUILD to a directory to keep the build)"),
              flush=True)
        progress = ProgressLine()
        if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
            generator = ["-G", "Ninja"] if shutil.which("ninja") else []
            run(["cmake", "-S", HERE, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                 "-DENGINE_BUILD_TESTS=OFF", "-DENGINE_BUILD_BENCH=OFF", f"-DPython3_EXECUTABLE={sys.executable}"],
                progress)
        run(["cmake", "--build", build, "-j", str(os.cpu_count() or 2), "--target", *TARGETS], progress)
        staging = os.path.join(SCRATCH, "staging")
        # cmake --install gives the files their installed run path ($ORIGIN).
        run(["cmake", "--install", build, "--prefix", staging, "--component", "python", "--config",
             "RelWithDebInfo"], progress)
        progress.close()
        os.makedirs(self.build_lib, exist_ok=True)
        for path in glob.glob(os.path.join(staging, "lib", "python3.11", "site-packages", "*")):
            target = os.path.join(self.build_lib, os.path.basename(path))
            if os.path.isdir(path) and not os.path.islink(path):
                shutil.copytree(path, target, dirs_exist_ok=True, ignore=shutil.ignore_patterns("__pycache__"))
            else:
                shutil.copy2(path, target, follow_symlinks=False)


class BinaryDistribution(Distribution):
    """Native modules: the wheel is for this platform and interpreter."""

    def has_ext_modules(self):
        return True


# pip asks for the metadata first (dist_info), which needs bdist_wheel already.
if {"bdist_wheel", "dist_info", "editable_wheel"} & set(sys.argv):
    require_wheel()

setup(cmdclass={"build_ext": BuildWithCMake}, distclass=BinaryDistribution, py_modules=[],
      options={"build": {"build_base": os.path.join(SCRATCH, "setuptools")},
               "egg_info": {"egg_base": SCRATCH}})
