"""The scripts of the third outside attack (tests/reliability/round3/), each of which
exits non-zero while its defect exists and 0 once it is fixed. Each runs in a child
interpreter from the repository root (they load files under data/) with a deadline, so
a crash, an exit or a hang fails the test instead of the run. The closer tests of each
behaviour live in the feature's own file (test_particles, test_dynamics, test_ik, ...)."""
import gc
import io
import logging
import os
import subprocess
import sys

import pytest

import libcore
import libgraphics
from libgraphics import Actor, ActorControllerDynamics, SceneLayer, actor_database

from builds import HAS_STUBS, UNDER_SANITIZERS

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPTS = os.path.join(ROOT, "tests", "reliability", "round3")

release_only = pytest.mark.skipif(UNDER_SANITIZERS, reason="an address-space limit stops ASan itself")
needs_stubs = pytest.mark.skipif(not HAS_STUBS, reason="this build makes no type stubs (a sanitizer build)")

# (script, its argument or None)
REPRODUCERS = [
    ("actor_attached_to_own_mesh_stack_overflow.py", "self"),
    ("actor_attached_to_own_mesh_stack_overflow.py", "pair"),
    ("actor_attached_to_own_mesh_stack_overflow.py", "jiggle"),
    ("window_size_65536_kills_process.py", None),
    ("window_size_65536_kills_process.py", "post"),
    pytest.param("particle_unbounded_emission_in_one_update.py", "inf", marks=release_only),
    pytest.param("particle_unbounded_emission_in_one_update.py", "1e12", marks=release_only),
    pytest.param("particle_unbounded_emission_in_one_update.py", "dt", marks=release_only),
    ("particle_emitter_stopped_by_one_bad_dt.py", "nan"),
    ("particle_emitter_stopped_by_one_bad_dt.py", "negative"),
    ("dynamics_negative_dt_freezes_world.py", None),
    ("ik_handle_direction_any_int.py", "scale"),
    ("ik_handle_direction_any_int.py", "intmin"),
    ("ik_spine_handle_poisoned_by_one_nan_frame.py", None),
    ("run_tiny_fps_chrono_overflow.py", None),
    ("skeleton_copy_names_shifted_by_factory_joints.py", None),
    pytest.param("stubs_disagree_with_runtime.py", None, marks=needs_stubs),
    # Script code freeing what native code was using: a factory class that unloads the
    # database, IK targets that unload it or swap the skeleton, a debug drawing that
    # drops its controller, a level change that replaces the scene under run, and a
    # mesh record seen before its faces were checked.
    ("actor_factory_hook_unload_uaf.py", "load"),
    ("actor_factory_hook_unload_uaf.py", "skeleton"),
    ("actor_factory_hook_unload_uaf.py", "joint"),
    ("actor_factory_hook_unload_uaf.py", "mesh"),
    ("actor_factory_hook_unload_uaf.py", "bind_pose"),
    ("ik_target_hook_frees_rig_or_skeleton_uaf.py", "unload"),
    ("ik_target_hook_frees_rig_or_skeleton_uaf.py", "skeleton"),
    ("actor_debug_render_controller_dropped_uaf.py", None),
    ("run_scene_dropped_by_hook_uaf.py", None),
    ("actor_mesh_drawn_before_faces_checked_oob.py", None),
]


@pytest.mark.parametrize("script, argument", REPRODUCERS)
def test_the_reproducer_exits_0(script, argument):
    command = [sys.executable, os.path.join(SCRIPTS, script)] + ([argument] if argument else [])
    result = subprocess.run(command, cwd=ROOT, env=os.environ.copy(), capture_output=True, text=True, timeout=120)
    assert result.returncode == 0, result.stdout + result.stderr


# dynamics_catch_up_freezes_for_minutes.py measures the wall clock, which no test does:
# its scene runs here with a time budget every step overspends, so the bound shows in
# the step count alone.

def big_rig(bodies):
    rig = "".join(f'<RigidBody id="b{i}" position="0, 0" mass="1"/>' for i in range(bodies))
    actor_database.load(io.StringIO(
        f'<Actors><ActorData id="blob" layer="world"><Joint id="root"/></ActorData>'
        f'<ActorData id="floor" layer="world"><Joint id="lumbar"/>'
        f'<Joint id="thoracic" parent="lumbar" position="0, -10"/>'
        f'<Joint id="collar" parent="thoracic" position="0, -10"/><Joint id="head" parent="collar" position="0, -10"/>'
        f'</ActorData><ActorRigDynamics id="blob">{rig}</ActorRigDynamics></Actors>'))


@pytest.fixture
def world_scene(gl):
    """A fresh scene, current from now on, with the layer "world"; the actor database is
    empty before and after."""
    gc.collect()
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("world", 0))
    actor_database.unload()
    yield scene
    actor_database.unload()
    del scene
    gc.collect()


def test_a_long_frame_of_a_big_rig_stops_catching_up_when_the_time_budget_is_spent(world_scene, graphics_log):
    big_rig(300)
    blob = Actor("blob")
    blob.controller = ActorControllerDynamics()
    floor = Actor("floor")
    floor.position = (0, 20)
    blob.controller.collision_actor = floor
    blob.controller.time_budget = 0.0        # spent by the first step of each update
    world_scene.update(1 / 30)
    world_scene.update(20.0)                 # a stall: 1200 steps owed
    assert blob.controller.steps == 2 and blob.controller.accumulator == 0.0
    libcore.Log.flush()
    dropped = [r.getMessage() for r in graphics_log.records
               if r.levelno == logging.WARNING and "dropped" in r.getMessage()]
    assert len(dropped) == 1 and dropped[0].startswith("ActorControllerDynamics: catching up took 1 steps")
