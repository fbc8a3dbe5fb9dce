"""Skeletons, the actor database and skinned meshes as scripts see them: the joints
proxy, factory-made joints and skeletons, loading and unloading actor documents (bad
ones included), skinning checked against numpy, jiggle, and what a skinned mesh draws."""
import gc
import io
import logging
import math
import os
import weakref

import numpy as np
import pytest

import libcore
import libgraphics
from libcore import Colour, Factory, Matrix, Vector
from libgraphics import ActorMesh, SceneObject, Skeleton, Texture, Transform, actor_database

from memory import engine_counts, heap_bytes
from pictures import images, rendered, settle

PUPPET = os.path.join(os.path.dirname(__file__), "..", "..", "data", "puppet.xml")
F32 = np.float32


@pytest.fixture(autouse=True)
def empty_database():
    actor_database.unload()
    yield
    actor_database.unload()
    Factory.register_class("Skeleton", Skeleton)
    Factory.register_class("Transform", Transform)


def load(xml):
    return actor_database.load(io.StringIO(xml))


def warnings(caplog, logger="engine.graphics"):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == logger and r.levelno == logging.WARNING]


def skeleton_of(xml_joints):
    load(f'<ActorData id="s">{xml_joints}</ActorData>')
    return actor_database.get_skeleton("s")


# Skeleton -----------------------------------------------------------------------------

def test_joints_proxy_by_index_negative_index_and_name():
    s = skeleton_of('<Joint id="a"/><Joint id="b" parent="a"/><Joint id="c" parent="b"/>')
    joints = s.joints
    assert len(joints) == 3
    assert joints[0] is joints["a"]
    assert joints[-1] is joints["c"]
    assert joints["b"].parent is joints["a"]
    assert "b" in joints and "z" not in joints
    assert [j for j in joints] == [joints[0], joints[1], joints[2]]


def test_joints_proxy_raises_index_error_for_unknown_names():
    # Unlike a mapping, an unknown joint name is an IndexError whose message is the name.
    s = skeleton_of('<Joint id="a"/>')
    with pytest.raises(IndexError, match="^elbow$"):
        s.joints["elbow"]
    with pytest.raises(IndexError, match="^1$"):
        s.joints[1]
    with pytest.raises(IndexError, match="^-1$"):
        s.joints[-2]
    with pytest.raises(IndexError, match="^Unsupported key.$"):
        s.joints[0.5]


def test_empty_skeleton_negative_index_message_is_minus_one():
    with pytest.raises(IndexError, match="^-1$"):
        Skeleton().joints[-1]


def test_add_joint_refuses_a_taken_name():
    s = Skeleton()
    hip = s.add_joint("hip")
    assert isinstance(hip, Transform)
    assert s.add_joint("hip") is None
    assert len(s.joints) == 1
    assert s.joints["hip"] is hip


def test_clone_shares_nothing_and_resets_rotations_to_bind_rotations():
    s = skeleton_of('<Joint id="a"/><Joint id="b" parent="a" position="0, 10" rotation="1" bind_rotation="0.25"/>')
    copy = s.clone()
    assert len(copy.joints) == 2
    for i in range(2):
        assert copy.joints[i] is not s.joints[i]
    assert copy.joints["b"].parent is copy.joints["a"]
    assert copy.joints["b"].rotation == pytest.approx(0.25)
    copy.joints["b"].rotation = 2.0
    copy.joints["a"].position = (5, 5)
    assert s.joints["b"].rotation == 1.0
    assert tuple(s.joints["a"].position) == (0, 0)
    del s
    actor_database.unload()
    gc.collect()
    # The copy lives on without its template.
    assert copy.joints["b"].parent is copy.joints["a"]


def test_joints_and_skeletons_come_from_the_factory():
    made = []

    class Bone(Transform):
        def __init__(self):
            super().__init__()
            made.append(self)

    class Rig(Skeleton):
        pass

    Factory.register_class("Transform", Bone)
    Factory.register_class("Skeleton", Rig)
    s = skeleton_of('<Joint id="a"/><Joint id="b" parent="a"/>')
    assert type(s) is Rig
    assert all(type(j) is Bone for j in s.joints)
    assert type(s.clone().joints[0]) is Bone
    assert len(made) == 4


class WithHelper(Skeleton):
    """A game's skeleton that carries a helper joint of its own."""

    def __init__(self):
        super().__init__()
        self.add_joint("helper")


def test_joints_a_skeleton_class_adds_itself_follow_the_copied_ones_and_shift_no_name():
    skeleton_of('<Joint id="root"/><Joint id="arm" parent="root" position="0, -10"/>')
    Factory.register_class("Skeleton", WithHelper)
    for copy in (libgraphics.Actor("s").skeleton, actor_database.get_skeleton("s").clone()):
        assert type(copy) is WithHelper
        assert copy.joint_names == {"root": 0, "arm": 1, "helper": 2}
        assert tuple(copy.joints["arm"].position) == (0, -10)
        assert copy.joints["arm"].parent is copy.joints["root"]
        assert copy.joints["helper"] is copy.joints[2]


def test_a_name_both_the_copy_and_the_skeleton_class_use_goes_to_the_copied_joint(graphics_log):
    skeleton_of('<Joint id="helper" position="3, 4"/>')
    Factory.register_class("Skeleton", WithHelper)
    copy = actor_database.get_skeleton("s").clone()
    assert len(copy.joints) == 2 and copy.joint_names == {"helper": 0}
    assert tuple(copy.joints["helper"].position) == (3, 4)
    assert warnings(graphics_log) == ["Skeleton: the copied joints have a joint named 'helper' already; the "
                                      "skeleton's own joint of that name is left unnamed."]


def test_a_failing_joint_class_is_printed_and_leaves_a_null_joint(capsys):
    class Broken(Transform):
        def __init__(self):
            raise RuntimeError("no bones today")

    Factory.register_class("Transform", Broken)
    s = Skeleton()
    assert s.add_joint("a") is None
    assert len(s.joints) == 1
    assert s.joints[0] is None
    assert "no bones today" in capsys.readouterr().err


# Actor database -----------------------------------------------------------------------

def test_load_returns_true_and_fills_the_three_registries():
    assert actor_database.load(PUPPET) is True
    assert actor_database.actor_ids() == ["puppet"]
    assert actor_database.ik_rig_ids() == ["puppet"]
    assert actor_database.dynamics_rig_ids() == ["puppet"]
    assert actor_database.mesh_ids("puppet") == ["body"]
    s = actor_database.get_skeleton("puppet")
    assert len(s.joints) == 13
    assert s.joints["foot"].parent is s.joints["shin"]
    assert actor_database.get_skeleton("nobody") is None


def test_unload_forgets_everything_and_reload_registers_anew():
    actor_database.load(PUPPET)
    actor_database.unload()
    assert actor_database.actor_ids() == []
    assert actor_database.ik_rig_ids() == []
    assert actor_database.dynamics_rig_ids() == []
    assert actor_database.get_skeleton("puppet") is None
    actor_database.load(PUPPET)
    assert len(actor_database.get_skeleton("puppet").joints) == 13


def test_load_of_the_wrong_kind_of_source_is_a_type_error():
    with pytest.raises(TypeError):
        actor_database.load(42)


@pytest.mark.parametrize("xml, kept", [
    # missing attributes
    ('<r><ActorData id="a"/><ActorData><Joint id="x"/></ActorData></r>', ["a"]),
    # empty attributes: an empty id is still an id, an empty number reads as 0
    ('<r><ActorData id="" z=""/></r>', [""]),
    # numbers with trailing text
    ('<r><ActorData id="a" z="3 metres"/></r>', ["a"]),
    # out-of-place elements
    ('<r><Joint id="x"/><Vertex/><Keyframe key="0" value="1"/><ActorData id="a"/><Face vertex_indices="0,1,2"/></r>',
     ["a"]),
])
def test_bad_input_keeps_what_was_read_with_one_warning(graphics_log, xml, kept):
    assert load(xml) is True
    assert actor_database.actor_ids() == kept
    found = warnings(graphics_log)
    assert len(found) == 1, found
    assert found[0].startswith("Actor database <stream>:")


def test_malformed_xml_keeps_what_was_read_with_a_warning(caplog):
    caplog.set_level(logging.WARNING)
    assert load('<r><ActorData id="a"><Joint id="j"/></ActorData><ActorData id="b"><Joint') is True
    assert actor_database.actor_ids() == ["a", "b"]
    assert len(actor_database.get_skeleton("a").joints) == 1
    assert warnings(caplog, "engine.core")


def test_a_clean_document_logs_nothing(graphics_log):
    actor_database.load(PUPPET)
    assert warnings(graphics_log) == []


def test_trailing_text_number_reads_like_atof(graphics_log):
    load('<ActorData id="a"><Joint id="j" rotation="0.5rad"/></ActorData>')
    assert actor_database.get_skeleton("a").joints["j"].rotation == pytest.approx(0.5)
    assert "0.5rad" in warnings(graphics_log)[0]


def _counting_classes():
    live = {"skeletons": 0, "joints": 0}

    class CountedSkeleton(Skeleton):
        def __init__(self):
            super().__init__()
            live["skeletons"] += 1

        def __del__(self):
            live["skeletons"] -= 1

    class CountedJoint(Transform):
        def __init__(self):
            super().__init__()
            live["joints"] += 1

        def __del__(self):
            live["joints"] -= 1

    Factory.register_class("Skeleton", CountedSkeleton)
    Factory.register_class("Transform", CountedJoint)
    return live


def test_no_leak_after_loading_and_unloading_a_thousand_times():
    live = _counting_classes()
    with open(PUPPET, "rb") as f:
        document = f.read()
    for _ in range(100):  # warm up allocator pools
        actor_database.load(io.BytesIO(document))
        actor_database.unload()
    counts, heap = engine_counts(), heap_bytes()
    for _ in range(1000):
        actor_database.load(io.BytesIO(document))
        actor_database.unload()
    gc.collect()
    assert live == {"skeletons": 0, "joints": 0}
    assert engine_counts() == counts
    # A puppet's records take about 6 KiB of the heap: a twentieth of them kept at each
    # load would show.
    assert heap_bytes() - heap < 256 * 1024


# Skinning against numpy ---------------------------------------------------------------

SKIN_DOC = """<Actors><ActorData id="arm">
  <Joint id="j0" position="10, 20"/>
  <Joint id="j1" parent="j0" position="0, 30" bind_rotation="0.2" rotation="0.2"/>
  <Joint id="j2" parent="j1" position="5, 25"/>
  <Joint id="j3" parent="j2" position="0, 15" rotation_constraint="-1, 1"/>
  <Joint id="j4" parent="j0" position="-20, 5"/>
  <ActorMeshData id="m">
    {vertices}
    <BlendShape joint_driver_id="j1">
      <AnimCurve><Keyframe key="-1" value="-0.5"/><Keyframe key="0" value="0"/><Keyframe key="1" value="1"/></AnimCurve>
      {offsets_a}
    </BlendShape>
    <BlendShape joint_driver_id="j3">
      <AnimCurve><Keyframe key="0" value="0.25"/><Keyframe key="2" value="0.75"/></AnimCurve>
      {offsets_b}
    </BlendShape>
    <BlendShape joint_driver_id="missing">
      <AnimCurve><Keyframe key="0" value="1"/></AnimCurve>
      {offsets_c}
    </BlendShape>
  </ActorMeshData>
</ActorData></Actors>"""


def _skin_document(rng, count=64):
    positions = rng.uniform(-50, 50, (count, 2)).astype(F32)
    indices = rng.integers(0, 5, (count, 4))
    weights = rng.uniform(0.05, 0.6, (count, 4)).astype(F32)
    # Some vertices with fewer influences, one with a zero in the middle.
    weights[::5, 3] = 0
    weights[::7, 2:] = 0
    weights[3] = (0.5, 0, 0.5, 0)
    offsets = [rng.uniform(-5, 5, (count, 2)).astype(F32) for _ in range(3)]
    f = lambda x: repr(float(x))
    vertices = "\n".join(
        f'<Vertex position="{f(p[0])}, {f(p[1])}" joint_indices="{",".join(map(str, i))}" '
        f'joint_weights="{",".join(f(w) for w in ws)}"/>' for p, i, ws in zip(positions, indices, weights))
    offs = ["\n".join(f'<Vertex offset="{f(o[0])}, {f(o[1])}"/>' for o in off) for off in offsets]
    xml = SKIN_DOC.format(vertices=vertices, offsets_a=offs[0], offsets_b=offs[1], offsets_c=offs[2])
    return xml, positions, indices, weights, offsets


def _curve(keys, x):
    keys = [(F32(k), F32(v)) for k, v in keys]
    x = F32(x)
    for i, (k, v) in enumerate(keys):
        if k >= x:
            if i == 0:
                return v
            k0, v0 = keys[i - 1]
            t = F32((x - k0) / (k - k0))
            return F32(t * v + F32(F32(1) - t) * v0)
    return keys[-1][1]


def _matmul(a, b):
    """Two affine matrices (a, b, c, d, tx, ty), float32, as the engine composes them."""
    a, b = np.asarray(a, F32), np.asarray(b, F32)
    return np.array([a[0] * b[0] + a[2] * b[1], a[1] * b[0] + a[3] * b[1], a[0] * b[2] + a[2] * b[3],
                     a[1] * b[2] + a[3] * b[3], a[0] * b[4] + a[2] * b[5] + a[4],
                     a[1] * b[4] + a[3] * b[5] + a[5]], F32)


def _numpy_skin(skeleton, positions, indices, weights, offsets):
    joints = skeleton.joints
    w_a = _curve([(-1, -0.5), (0, 0), (1, 1)], joints["j1"].rotation)
    w_b = _curve([(0, 0.25), (2, 0.75)], joints["j3"].rotation)
    p = positions.copy()
    for w, off in ((w_a, offsets[0]), (w_b, offsets[1])):
        if w != 0:
            p = (p + off * F32(w)).astype(F32)
    mats = np.array([_matmul(tuple(j.world_transform), tuple(j.bind_transform)) for j in joints], F32)
    # Influences stop at the first zero weight.
    active = np.cumprod(weights != 0, axis=1).astype(bool)
    m = mats[indices]                      # (n, 4, 6)
    x, y = p[:, 0:1], p[:, 1:2]            # (n, 1)
    qx = m[..., 0] * x + m[..., 2] * y + m[..., 4]
    qy = m[..., 1] * x + m[..., 3] * y + m[..., 5]
    w = np.where(active, weights, F32(0))
    return np.stack([(qx * w).sum(axis=1, dtype=F32), (qy * w).sum(axis=1, dtype=F32)], axis=1)


def _mesh_positions(mesh):
    return np.array([(v.x, v.y) for v in mesh.positions], F32)


@pytest.mark.parametrize("seed", [1, 2, 3])
def test_skinning_matches_numpy_float32(seed):
    rng = np.random.default_rng(seed)
    xml, positions, indices, weights, offsets = _skin_document(rng)
    load(xml)
    skeleton = actor_database.get_skeleton("arm").clone()
    mesh = ActorMesh()
    assert mesh.set_data("arm", "m") is True
    for pose in range(4):
        for joint in skeleton.joints:
            joint.rotation = float(rng.uniform(-1.2, 1.2))
        skeleton.joints[0].position = tuple(rng.uniform(-30, 30, 2))
        mesh.transform_vertices(skeleton)
        expected = _numpy_skin(skeleton, positions, indices, weights, offsets)
        np.testing.assert_allclose(_mesh_positions(mesh), expected, rtol=2e-6, atol=2e-5)


def test_vertex_with_weights_half_zero_half_follows_its_first_joint_at_half_strength():
    load('<ActorData id="a"><Joint id="j0"/><Joint id="j1" parent="j0" position="0, 10"/>'
         '<ActorMeshData id="m"><Vertex position="4, 8" joint_indices="0, 1, 1" joint_weights="0.5, 0, 0.5"/>'
         '</ActorMeshData></ActorData>')
    mesh = ActorMesh()
    mesh.set_data("a", "m")
    mesh.transform_vertices(actor_database.get_skeleton("a").clone())
    assert tuple(mesh.positions[0]) == (2.0, 4.0)


def test_set_data_counts_once_and_needs_a_loaded_mesh():
    actor_database.load(PUPPET)
    mesh = ActorMesh()
    assert mesh.id == ""
    assert mesh.set_data("puppet", "nothing") is False
    assert mesh.set_data("puppet", "body") is True
    assert mesh.set_data("puppet", "body") is False
    assert mesh.id == "body"
    assert mesh.positions == []


def test_a_mesh_outliving_unload_keeps_its_record(gl):
    # Records are held by their users: the mesh draws on from the record it holds.
    actor_database.load(PUPPET)
    mesh = ActorMesh()
    mesh.set_data("puppet", "body")
    skeleton = actor_database.get_skeleton("puppet").clone()
    actor_database.unload()
    assert mesh.id == "body"
    mesh.transform_vertices(skeleton)
    mesh.update(0.1)
    mesh.render(Transform())
    assert len(mesh.positions) > 0


# Jiggle -------------------------------------------------------------------------------

def _puppet_mesh():
    actor_database.load(PUPPET)
    skeleton = actor_database.get_skeleton("puppet").clone()
    mesh = ActorMesh()
    mesh.set_data("puppet", "body")
    return skeleton, mesh


def test_jiggle_settles_on_the_skinned_positions():
    skeleton, mesh = _puppet_mesh()
    mesh.transform_vertices(skeleton)
    mesh.update(1 / 60)
    skeleton.joints["root"].position = (30, 0)
    skeleton.joints["spine"].rotation = 0.4
    mesh.transform_vertices(skeleton)
    mesh.update(1 / 60)
    rest = np.array([(v.x, v.y) for v in mesh.rest_positions], F32)
    assert np.abs(_mesh_positions(mesh) - rest).max() > 0.5  # the belly trails behind
    for _ in range(2000):
        if not mesh.update(1 / 60):
            break
    assert mesh.update(1 / 60) is False
    np.testing.assert_array_equal(_mesh_positions(mesh), rest)


def test_jiggle_with_a_long_frame_advances_springs_by_one_sixtieth_only():
    (skeleton, slow), fast = _puppet_mesh(), ActorMesh()
    fast.set_data("puppet", "body")
    for mesh in (slow, fast):
        mesh.transform_vertices(skeleton)
        mesh.update(1 / 60)
    skeleton.joints["root"].position = (20, 0)
    for mesh in (slow, fast):
        mesh.transform_vertices(skeleton)
    slow.update(1 / 60)
    fast.update(0.1)
    np.testing.assert_array_equal(_mesh_positions(slow), _mesh_positions(fast))


def test_jiggle_scale_zero_keeps_skinned_positions():
    skeleton, mesh = _puppet_mesh()
    assert mesh.jiggle_scales == {"belly": 1.0}
    mesh.set_jiggle_scale("belly", 0.0)
    mesh.transform_vertices(skeleton)
    mesh.update(1 / 60)
    skeleton.joints["root"].position = (30, 0)
    mesh.transform_vertices(skeleton)
    mesh.update(1 / 60)
    assert [tuple(v) for v in mesh.positions] == [tuple(v) for v in mesh.rest_positions]
    mesh.reset_jiggle_scales()
    assert mesh.jiggle_scales == {"belly": 1.0}


# Colours, textures, attached objects ------------------------------------------------

def test_set_colour_with_alpha_one_keeps_vertex_alphas():
    _, mesh = _puppet_mesh()
    mesh.set_vertex_colour(0, Colour(0, 0, 0, 0.25))
    mesh.set_vertex_colour(-1, (0, 0, 0, 0.75))
    mesh.set_colour(Colour(0.5, 0.5, 0.5, 1.0))
    colours = mesh.vertex_colours
    assert tuple(colours[0]) == (0.5, 0.5, 0.5, 0.25)
    assert tuple(colours[-1]) == (0.5, 0.5, 0.5, 0.75)
    assert tuple(colours[1]) == (0.5, 0.5, 0.5, 1.0)
    mesh.set_colour(Colour(0.5, 0.5, 0.5, 0.5))
    assert {c.a for c in mesh.vertex_colours} == {0.5}
    assert mesh.uniform_colour is False
    mesh.disable_vertex_colours()
    assert mesh.vertex_colours == []
    mesh.set_colour((1, 0, 0))
    assert mesh.uniform_colour is True


def test_set_vertex_colour_past_the_vertices_is_an_index_error():
    _, mesh = _puppet_mesh()
    with pytest.raises(IndexError):
        mesh.set_vertex_colour(10_000, Colour())
    with pytest.raises(IndexError):
        ActorMesh().set_vertex_colour(0, Colour())


def test_identity_texture_transform_reads_back_as_identity():
    mesh = ActorMesh()
    shifted = Matrix(Vector(2, 3), 0.5)
    mesh.texture_transform = shifted
    assert tuple(mesh.texture_transform) == pytest.approx(tuple(shifted))
    mesh.texture_transform = Matrix()
    assert mesh.texture_transform.is_identity()


def test_texture_layers_have_unique_names(pictures):
    mesh = ActorMesh()
    white = pictures.solid("white.png")
    mesh.set_texture("skin", white)
    mesh.set_texture("paint", Texture(white))
    mesh.set_texture("skin", Texture(white))
    assert mesh.texture_names == ["skin", "paint"]
    mesh.remove_texture("skin")
    mesh.remove_texture("nothing")
    assert mesh.texture_names == ["paint"]
    with pytest.raises(TypeError):
        mesh.set_texture("x", 5)


def test_attached_objects_stay_in_ascending_z_and_are_released():
    mesh = ActorMesh()
    made = []
    for name, z in (("a", 2.0), ("b", 1.0), ("c", 2.0)):
        o = SceneObject()
        o.z = z
        made.append(o)
        mesh.add_scene_object(name, o)
    assert [n for n, _ in mesh.scene_objects] == ["b", "c", "a"]  # a newcomer goes in front of its equals
    gone = weakref.ref(made[1])
    del made[:]
    gc.collect()
    assert gone() is not None
    mesh.remove_scene_objects("b")
    gc.collect()
    assert gone() is None
    mesh.remove_all_scene_objects()
    assert mesh.scene_objects == []
    with pytest.raises(TypeError):
        mesh.add_scene_object("x", None)


def test_attached_objects_update_with_the_mesh():
    steps = []

    class Ticker(SceneObject):
        def OnUpdate(self, dt):
            steps.append(dt)

    mesh = ActorMesh()
    mesh.add_scene_object("t", Ticker())
    mesh.update(0.25)
    assert steps == [0.25]


# Pixels -------------------------------------------------------------------------------

class MeshObject(SceneObject):
    """A scene object that draws one mesh in its own space."""

    def __init__(self, mesh):
        super().__init__()
        self.mesh = mesh

    def OnRender(self):
        self.mesh.render(self)


def _quad_actor(extra=""):
    """A 40 x 40 quad hanging 40 units below joint "hand", itself 0 below "root"."""
    load('<ActorData id="q"><Joint id="root"/><Joint id="hand" parent="root"/>'
         '<ActorMeshData id="quad">'
         '<Vertex position="-20, 0" tex_coord="0, 0" joint_indices="1" joint_weights="1"/>'
         '<Vertex position="20, 0" tex_coord="1, 0" joint_indices="1" joint_weights="1"/>'
         '<Vertex position="-20, 40" tex_coord="0, 1" joint_indices="1" joint_weights="1"/>'
         '<Vertex position="20, 40" tex_coord="1, 1" joint_indices="1" joint_weights="1"/>'
         f'<Face vertex_indices="0, 1, 2"/><Face vertex_indices="1, 3, 2"/>{extra}'
         '</ActorMeshData></ActorData>')
    mesh = ActorMesh()
    mesh.set_data("q", "quad")
    return actor_database.get_skeleton("q").clone(), mesh


def test_never_skinned_mesh_draws_its_bind_positions(window, scene, pictures):
    _, mesh = _quad_actor()
    mesh.set_texture("skin", pictures.solid("red.png", colour=(255, 0, 0, 255)))
    obj = MeshObject(mesh)
    obj.position = (100, 100)
    scene.add_object(obj, "main")
    settle()
    pixel = rendered(window, scene)
    assert pixel(100, 120)[:3] == (255, 0, 0)
    assert pixel(100, 90)[:3] == (0, 0, 0)


def test_skinned_textured_mesh_draws_where_its_joint_took_it(window, scene, pictures):
    skeleton, mesh = _quad_actor()
    # Left half red, right half green: the texture shows which way the quad turned.
    rows = [[255, 0, 0, 255] * 4 + [0, 255, 0, 255] * 4 for _ in range(8)]
    mesh.set_texture("skin", pictures.write("halves.png", 8, 8, rows))
    obj = MeshObject(mesh)
    obj.position = (200, 200)
    scene.add_object(obj, "main")
    # Turn the hand a half turn about the root: the quad now hangs above, mirrored.
    skeleton.joints["hand"].rotation = math.pi
    mesh.transform_vertices(skeleton)
    settle()
    pixel = rendered(window, scene)
    assert pixel(200 - 10, 200 + 20)[:3] == (0, 0, 0)      # where it was
    assert pixel(200 + 10, 200 - 20)[:3] == (255, 0, 0)    # texture's left is now on the right
    assert pixel(200 - 10, 200 - 20)[:3] == (0, 255, 0)
    # Moving the skeleton's root moves the mesh with it.
    skeleton.joints["root"].position = (100, 0)
    mesh.transform_vertices(skeleton)
    pixel = rendered(window, scene)
    assert pixel(300 + 10, 200 - 20)[:3] == (255, 0, 0)
    assert pixel(200 + 10, 200 - 20)[:3] == (0, 0, 0)


def test_two_texture_layers_draw_the_mesh_twice(window, scene, pictures):
    _, mesh = _quad_actor()
    half = pictures.solid("half.png", colour=(255, 255, 255, 128))
    mesh.set_texture("one", half)
    obj = MeshObject(mesh)
    obj.position = (300, 300)
    scene.add_object(obj, "main")
    settle()
    once = rendered(window, scene)(300, 320)[0]
    mesh.set_texture("two", half)
    twice = rendered(window, scene)(300, 320)[0]
    assert abs(once - 128) <= 2
    assert abs(twice - 191) <= 3


def test_uniform_colour_and_vertex_colours_draw(window, scene):
    _, mesh = _quad_actor()
    obj = MeshObject(mesh)
    obj.position = (400, 100)
    scene.add_object(obj, "main")
    assert rendered(window, scene)(400, 120)[:3] == (255, 255, 255)  # untextured, white vertices
    mesh.set_colour(Colour(0, 0, 1))
    assert rendered(window, scene)(400, 120)[:3] == (0, 0, 255)
    mesh.set_vertex_colour(0, Colour(0, 1, 0))
    for i in (1, 2, 3):
        mesh.set_vertex_colour(i, Colour(0, 1, 0))
    # With per-vertex colours set after the uniform colour, the uniform colour still wins.
    assert rendered(window, scene)(400, 120)[:3] == (0, 0, 255)


def test_puppet_draws_with_its_skin(window, scene, pictures):
    skeleton, mesh = _puppet_mesh()
    mesh.set_texture("skin", pictures.write("puppet.png", 64, 64, images.puppet_skin(64)))
    obj = MeshObject(mesh)
    obj.position = (320, 200)
    scene.add_object(obj, "main")
    skeleton.joints["upper_arm"].rotation = -1.2
    mesh.transform_vertices(skeleton)
    settle()
    pixel = rendered(window, scene)
    assert pixel(320, 185) != (0, 0, 0, 255)  # the belly
    assert pixel(320, 200 + 90)[:3] == (0, 0, 0)  # below the feet


def test_texture_transform_moves_the_texture_coordinates(window, scene, pictures):
    _, mesh = _quad_actor()
    rows = [[255, 0, 0, 255] * 4 + [0, 255, 0, 255] * 4 for _ in range(8)]
    mesh.set_texture("skin", pictures.write("shift.png", 8, 8, rows))
    obj = MeshObject(mesh)
    obj.position = (500, 300)
    scene.add_object(obj, "main")
    settle()
    assert rendered(window, scene)(500 - 10, 320)[:3] == (255, 0, 0)
    # Half a texture to the right: the left half now shows the green half.
    mesh.texture_transform = Matrix(Vector(0.5, 0), 0)
    assert rendered(window, scene)(500 - 10, 320)[:3] == (0, 255, 0)
    mesh.texture_transform = Matrix()
    assert rendered(window, scene)(500 - 10, 320)[:3] == (255, 0, 0)


def test_a_mesh_without_vertices_still_draws_nothing_and_keeps_going(window, scene):
    load('<ActorData id="e"><ActorMeshData id="empty"/></ActorData>')
    empty = ActorMesh()
    empty.set_data("e", "empty")
    empty.transform_vertices(Skeleton())
    empty.update(1 / 60)
    _, quad = _quad_actor()
    after = MeshObject(quad)  # drawn after the empty mesh, in the same frame
    after.position = (300, 100)
    after.z = 1
    scene.add_object(after, "main")

    def frame():
        rendered(window, scene)
        return window.read_pixels()[2]

    without = frame()
    assert rendered(window, scene)(300, 120)[:3] == (255, 255, 255)
    scene.add_object(MeshObject(empty), "main")
    assert frame() == without, "the empty mesh drew something, or broke what was drawn after it"
    # The next frame draws what changed.
    after.position = (500, 100)
    pixel = rendered(window, scene)
    assert pixel(500, 120)[:3] == (255, 255, 255)
    assert pixel(300, 120)[:3] == (0, 0, 0)


def test_weights_are_not_normalised():
    # Two full weights on one joint count twice: the vertex lands at twice its place.
    load('<ActorData id="a"><Joint id="j0"/><ActorMeshData id="m">'
         '<Vertex position="3, 4" joint_indices="0, 0" joint_weights="1, 1"/></ActorMeshData></ActorData>')
    mesh = ActorMesh()
    mesh.set_data("a", "m")
    mesh.transform_vertices(actor_database.get_skeleton("a").clone())
    assert tuple(mesh.positions[0]) == (6.0, 8.0)


def test_dynamics_rig_stays_open_after_its_end_tag(graphics_log):
    # A body after the rig's end tag still joins that rig, so the file loads cleanly.
    load('<r><ActorRigDynamics id="d"><RigidBody id="a"/></ActorRigDynamics><RigidBody id="late"/></r>')
    assert actor_database.dynamics_rig_ids() == ["d"]
    assert warnings(graphics_log) == []


def test_unload_from_inside_a_load_does_not_crash():
    # A skeleton class that empties the database while a document is being read: the
    # load lets go of the records it was filling.
    class Meddler(Skeleton):
        def __init__(self):
            super().__init__()
            actor_database.unload()

    load('<ActorData id="first"><ActorMeshData id="m"><Vertex/><Vertex/><Vertex/></ActorMeshData></ActorData>')
    Factory.register_class("Skeleton", Meddler)
    assert load('<r><ActorData id="a"><ActorMeshData id="m"><Vertex/><Face vertex_indices="0,0,0"/>'
                '</ActorMeshData></ActorData><ActorData id="b"/></r>') is True
    assert "first" not in actor_database.actor_ids()
