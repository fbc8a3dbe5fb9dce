"""Installing: `make install PREFIX=...` (cmake --install) and `pip install .` into a
virtual environment put the three modules where an interpreter outside the repository
imports them, with their type stubs and py.typed beside them. Both install the modules this test session runs against (their build
directory is reused, not rebuilt)."""
import os
import subprocess
import sys

import pytest

import libgraphics
from builds import HAS_STUBS

BUILD = os.path.dirname(os.path.dirname(os.path.abspath(libgraphics.__file__)))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

IMPORT = ("import libcore, libwindow, libgraphics, os; "
          "print(all(not m.__file__.startswith(os.environ['REPO']) for m in (libcore, libwindow, libgraphics)), "
          "libgraphics.Text.__name__, libgraphics.sprite_database.add.__name__)")


def clean_env(**extra):
    env = {k: v for k, v in os.environ.items() if k not in ("PYTHONPATH", "PYTHONHOME", "VIRTUAL_ENV")}
    env.update(REPO=ROOT, **extra)
    return env


def check_import(python, cwd, env):
    out = subprocess.run([python, "-c", IMPORT], cwd=cwd, env=env, capture_output=True, text=True, timeout=60)
    assert out.returncode == 0, out.stderr
    assert out.stdout.split() == ["True", "Text", "add"]


def check_stubs(site):
    """The stubs of the three modules and the py.typed marker sit beside the modules
    (when the build makes them)."""
    if not HAS_STUBS:
        return
    for name in ("libcore.pyi", "libwindow.pyi", "libgraphics.pyi"):
        assert (site / name).read_text().startswith("# The types of " + name[:-4])
    assert (site / "py.typed").is_file()


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


@pytest.mark.slow
def test_pip_install_into_a_venv(tmp_path):
    venv = tmp_path / "venv"
    subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", str(venv)], check=True, timeout=120)
    pip = subprocess.run(
        [str(venv / "bin" / "pip"), "install", "--no-build-isolation", "--no-index", "--no-deps", "-q", ROOT],
        cwd=tmp_path, env=clean_env(ENGINE_BUILD=BUILD, PIP_DISABLE_PIP_VERSION_CHECK="1"),
        capture_output=True, text=True, timeout=300)
    assert pip.returncode == 0, pip.stdout + pip.stderr
    check_import(str(venv / "bin" / "python"), tmp_path, clean_env())
    check_stubs(venv / "lib" / "python3.11" / "site-packages")
