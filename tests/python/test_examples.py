"""Every example runs a few frames without an error, in an interpreter of its own."""
import os
import subprocess
import sys

import pytest

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples")
NAMES = ["first_window.py", "layers.py", "sprites.py", "animators.py", "particles.py", "actors.py", "dynamics.py",
         "clips.py", "dragonbones.py"]


def run_example(*args, timeout):
    # The examples run from their own folder: module paths must not be relative.
    env = dict(os.environ)
    env["PYTHONPATH"] = os.pathsep.join(os.path.abspath(p) for p in env.get("PYTHONPATH", "").split(os.pathsep) if p)
    # Each example is held to the GL baseline: a departure is logged on stderr.
    env["ENGINE_GL_STATE_CHECK"] = "1"
    result = subprocess.run([sys.executable, *args], cwd=EXAMPLES, env=env, capture_output=True, text=True,
                            timeout=timeout)
    assert "GL state " not in result.stderr, result.stderr
    return result


@pytest.mark.parametrize("name", NAMES)
def test_example_runs(name):
    result = run_example(name, "--frames", "5", timeout=120)
    assert result.returncode == 0, result.stderr


@pytest.mark.parametrize("export", ["dragon", "effect", "floor_board", "bullet_01"])
def test_the_dragonbones_example_plays_any_export(export, tmp_path):
    folder = os.path.join("..", "data", "dragonbones", export)
    out = tmp_path / "last.png"
    result = run_example("dragonbones.py", folder, "--frames", "5", "--out", str(out), timeout=120)
    assert result.returncode == 0, result.stderr
    assert out.exists()


def test_showcase_writes_its_screenshots(tmp_path):
    out = tmp_path / "demo"
    result = run_example("showcase.py", "--frames", "240", "--out", str(out), timeout=600)
    assert result.returncode == 0, result.stderr
    assert sorted(os.listdir(out)) == ["scene-1.png", "scene-2.png", "scene-3.png"]


def test_the_shooter_plays_itself_and_writes_its_screenshots(tmp_path):
    out = tmp_path / "demo"
    result = run_example("shooter.py", "--frames", "60", "--autopilot", "--out", str(out), timeout=120)
    assert result.returncode == 0, result.stderr
    assert "score" in result.stdout
    assert sorted(os.listdir(out)) == ["shooter-1.png", "shooter-2.png"]
