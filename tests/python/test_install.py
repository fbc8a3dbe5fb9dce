"""Installing: `make install PREFIX=...` (cmake --install) and `pip install .` into a
virtual environment put the three modules where an interpreter outside the repository
imports them, with stub packages that type checkers find there (libcore-stubs, ...) and
the examples as engine_examples. Both install the modules this test session runs
against (their build directory is reused, not rebuilt); pip leaves nothing in the
source tree, and says what is missing when the Python lacks the `wheel` package."""
import os
import shutil
import subprocess
import sys

import pytest

import libgraphics
from builds import HAS_STUBS

BUILD = os.path.dirname(os.path.dirname(os.path.abspath(libgraphics.__file__)))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HERE = os.path.dirname(os.path.abspath(__file__))
MODULES = ("libcore", "libwindow", "libgraphics")

IMPORT = ("import libcore, libwindow, libgraphics, os; "
          "print(all(not m.__file__.startswith(os.environ['REPO']) for m in (libcore, libwindow, libgraphics)), "
          "libgraphics.Text.__name__, libgraphics.sprite_database.add.__name__)")

needs_stubs = pytest.mark.skipif(not HAS_STUBS, reason="this build makes no type stubs")


def clean_env(**extra):
    env = {k: v for k, v in os.environ.items() if k not in ("PYTHONPATH", "PYTHONHOME", "VIRTUAL_ENV", "MYPYPATH")}
    env.update(REPO=ROOT, **extra)
    return env


def check_import(python, cwd, env):
    out = subprocess.run([python, "-c", IMPORT], cwd=cwd, env=env, capture_output=True, text=True, timeout=60)
    assert out.returncode == 0, out.stderr
    assert out.stdout.split() == ["True", "Text", "add"]


def check_stubs(site):
    """Each module's stubs are a PEP 561 stub package beside the modules (when the build
    makes them)."""
    if not HAS_STUBS:
        return
    for name in MODULES:
        assert (site / f"{name}-stubs" / "__init__.pyi").read_text().startswith("# The types of " + name)


def check_examples(site):
    package = site / "engine_examples"
    assert (package / "__main__.py").is_file()
    assert (package / "data" / "puppet.xml").is_file() and (package / "data" / "images.py").is_file()
    assert {"showcase.py", "shooter.py", "_common.py"} <= {p.name for p in (package / "examples").iterdir()}


def mypy(python, cwd, script, env):
    """mypy --strict, run by `python`, on a copy of `script` in `cwd` (outside the
    repository): the stubs come from wherever that interpreter finds them."""
    shutil.copy(os.path.join(HERE, script), cwd / script)
    return subprocess.run(
        [python, "-m", "mypy", "--strict", "--no-error-summary", "--cache-dir", str(cwd / ".mypy_cache"), script],
        cwd=cwd, env=env, capture_output=True, text=True, timeout=300)


def check_typing(python, cwd, env):
    accepted = mypy(python, cwd, "typing_events.py", env)
    assert accepted.returncode == 0, accepted.stdout + accepted.stderr
    flagged = mypy(python, cwd, "typing_events_wrong.py", env)
    errors = [line for line in flagged.stdout.splitlines() if ": error:" in line]
    assert [line.split(":")[1] for line in errors] == ["6", "7", "8"], flagged.stdout + flagged.stderr
    assert 'No overload variant of "post_event" of "Window"' in errors[0]
    assert 'Argument "name" to "from_pixels" of "Texture" has incompatible type "int"' in errors[2]


def source_tree():
    """What is at the top of the source tree."""
    return sorted(os.listdir(ROOT))


@needs_stubs
def test_the_stubs_accept_what_the_modules_accept(tmp_path):
    check_typing("/usr/bin/python3", tmp_path, clean_env(MYPYPATH=os.path.join(BUILD, "python")))


@pytest.mark.slow
def test_make_install_into_a_prefix(tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run(["cmake", "--install", BUILD, "--prefix", str(prefix), "--component", "python"],
                   check=True, capture_output=True, timeout=120)
    site = prefix / "lib" / "python3.11" / "site-packages"
    assert sorted(p.name.split(".")[0] for p in site.iterdir() if p.name.startswith("lib") and ".cpython" in p.name) \
        == ["libcore", "libgraphics", "libwindow"]
    check_import(sys.executable, tmp_path, clean_env(PYTHONPATH=str(site)))
    check_stubs(site)
    check_examples(site)


@pytest.fixture(scope="module")
def venv(tmp_path_factory):
    """A venv (seeing the system's packages: mypy, numpy, PyOpenGL) with the engine
    installed by `pip install .`, and the source tree's top before and after."""
    root = tmp_path_factory.mktemp("pip")
    venv = root / "venv"
    subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", str(venv)], check=True, timeout=120)
    before = source_tree()
    pip = subprocess.run(
        [str(venv / "bin" / "pip"), "install", "-v", "--no-build-isolation", "--no-index", "--no-deps", ROOT],
        cwd=root, env=clean_env(ENGINE_BUILD=BUILD, PIP_DISABLE_PIP_VERSION_CHECK="1"),
        capture_output=True, text=True, timeout=600)
    assert pip.returncode == 0, pip.stdout + pip.stderr
    return venv, before, source_tree(), pip.stdout + pip.stderr


@pytest.mark.slow
def test_pip_install_into_a_venv(venv, tmp_path):
    path, _, _, _ = venv
    check_import(str(path / "bin" / "python"), tmp_path, clean_env())
    check_stubs(path / "lib" / "python3.11" / "site-packages")
    check_examples(path / "lib" / "python3.11" / "site-packages")


@pytest.mark.slow
def test_pip_install_leaves_nothing_in_the_source_tree(venv):
    _, before, after, output = venv
    assert after == before
    assert not [name for name in after if name.endswith(".egg-info")]
    # pip -v shows what the build does, CMake's own lines included.
    assert "engine: building with CMake in " + BUILD in output
    assert "engine: cmake --build " + BUILD in output


@pytest.mark.slow
@needs_stubs
def test_mypy_in_the_venv_finds_the_installed_stubs(venv, tmp_path):
    path, _, _, _ = venv
    check_typing(str(path / "bin" / "python"), tmp_path, clean_env())


@pytest.mark.slow
def test_the_examples_run_from_anywhere(venv, tmp_path):
    path, _, _, _ = venv
    python = str(path / "bin" / "python")
    listed = subprocess.run([python, "-m", "engine_examples", "--list"], cwd=tmp_path, env=clean_env(),
                            capture_output=True, text=True, timeout=60)
    assert listed.returncode == 0, listed.stderr
    assert {"showcase", "shooter", "sprites", "actors"} <= set(listed.stdout.split())
    assert "_common" not in listed.stdout and "puppets" not in listed.stdout  # helpers, not examples
    for name in ("sprites", "actors"):  # pictures made on the fly; data/puppet.xml
        run = subprocess.run([python, "-m", "engine_examples", name, "--frames", "3"], cwd=tmp_path,
                             env=clean_env(), capture_output=True, text=True, timeout=120)
        assert run.returncode == 0, run.stderr
    unknown = subprocess.run([python, "-m", "engine_examples", "nothing"], cwd=tmp_path, env=clean_env(),
                             capture_output=True, text=True, timeout=60)
    assert unknown.returncode == 2 and "no example 'nothing' (there are: actors," in unknown.stderr


@pytest.mark.slow
def test_pip_says_what_is_missing_without_wheel(tmp_path):
    venv = tmp_path / "bare"
    subprocess.run(["/usr/bin/python3", "-m", "venv", str(venv)], check=True, timeout=120)
    has_wheel = subprocess.run([str(venv / "bin" / "python"), "-c", "import wheel"], capture_output=True)
    if has_wheel.returncode == 0:
        pytest.skip("this Python's fresh venvs come with wheel")
    pip = subprocess.run(
        [str(venv / "bin" / "pip"), "install", "--no-build-isolation", "--no-index", "--no-deps", ROOT],
        cwd=tmp_path, env=clean_env(ENGINE_BUILD=BUILD, PIP_DISABLE_PIP_VERSION_CHECK="1"),
        capture_output=True, text=True, timeout=300)
    assert pip.returncode != 0
    output = pip.stdout + pip.stderr
    assert "building the wheel needs the 'wheel' package" in output
    assert "-m pip install wheel" in output
    assert "invalid command 'bdist_wheel'" not in output
