"""Transform hierarchies as scripts build them."""
import gc
import weakref
import math

import numpy as np
import pytest

import libcore
import libgraphics
from libcore import Matrix, Vector
from libgraphics import Transform

F = np.float32
PI = F(math.pi)


def f32(x):
    return float(F(x))


def test_defaults():
    t = Transform()
    assert t.position == Vector(0, 0)
    assert t.rotation == 0.0
    assert t.scale == Vector(1, 1)
    assert t.parent is None
    assert t.transform.is_identity()
    assert t.world_transform.is_identity()
    assert t.min_rotation == f32(-3.14159)
    assert t.max_rotation == f32(3.14159)


def test_properties_accept_tuples_and_vectors():
    t = Transform()
    t.position = (3, 4)
    t.scale = Vector(2, 0.5)
    assert t.position == Vector(3, 4)
    assert t.scale == Vector(2, 0.5)


def test_rotation_four_is_normalised():
    t = Transform()
    t.rotation = 4.0
    assert t.rotation == float(F(4.0) - F(2) * PI)
    assert t.rotation == pytest.approx(-2.2831853)


def test_rotation_of_pi_is_clamped_to_limit():
    t = Transform()
    t.rotation = 3.1415927
    assert t.rotation == f32(3.14159)


def test_constraint_applies_from_next_set():
    t = Transform()
    t.rotation = -1.0
    t.set_rotation_constraint(0, 1)
    assert t.rotation == -1.0
    t.rotation = -1.0
    assert t.rotation == 0.0
    t.rotation = 2.0
    assert t.rotation == 1.0


def test_local_matrix_with_unit_scale_is_rotation_plus_translation():
    t = Transform()
    t.rotation = 0.5
    t.position = (10, 20)
    assert tuple(t.transform) == tuple(Matrix((10, 20), 0.5))


def test_local_matrix_scale_on_the_right():
    t = Transform()
    t.rotation = 0.5
    t.scale = (1, 0.5)
    c, s = F(math.cos(F(0.5))), F(math.sin(F(0.5)))
    a, b, cc, d, tx, ty = tuple(t.transform)
    # R * S: the second column of R is halved.
    assert (a, b) == pytest.approx((c, -s), rel=1e-6)
    assert (cc, d) == pytest.approx((s * F(0.5), c * F(0.5)), rel=1e-6)
    assert (tx, ty) == (0, 0)


def test_rotation_sense_matches_matrix():
    t = Transform()
    t.rotation = math.pi / 2
    p = Vector(1, 0) * t.world_transform
    assert (p.x, p.y) == pytest.approx((0, -1), abs=1e-6)


def test_world_position_follows_parent_chain():
    root, arm, hand = Transform(), Transform(), Transform()
    root.attach(arm)
    arm.attach(hand)
    root.position = (100, 100)
    arm.rotation = math.pi / 2
    hand.position = (10, 0)
    wp = hand.world_position
    assert (wp.x, wp.y) == pytest.approx((100, 90), abs=1e-4)
    root.position = (0, 0)
    wp = hand.world_position
    assert (wp.x, wp.y) == pytest.approx((0, -10), abs=1e-4)


def test_root_world_rotation_is_not_renormalised_but_child_is():
    root, child = Transform(), Transform()
    root.attach(child)
    root.set_rotation_constraint(-10, 10)
    root.rotation = 3.0
    child.rotation = 3.0
    assert root.world_rotation == f32(3.0)
    expected = F(6.0) - F(2) * PI
    assert child.world_rotation == float(expected)


def test_parent_property_returns_the_same_script_object():
    class Bone(Transform):
        pass

    parent, child = Bone(), Transform()
    parent.label = "shoulder"
    parent.attach(child)
    assert child.parent is parent
    assert child.parent.label == "shoulder"
    assert child in parent.children


def test_attach_moves_between_parents_and_to_the_end():
    a, b, x, y = Transform(), Transform(), Transform(), Transform()
    a.attach(x)
    a.attach(y)
    a.attach(x)
    assert a.children == [y, x]
    b.attach(x)
    assert x.parent is b
    assert a.children == [y]


def test_detach_of_a_stranger_does_nothing():
    a, b, x = Transform(), Transform(), Transform()
    b.attach(x)
    a.detach(x)
    assert x.parent is b
    b.detach(x)
    assert x.parent is None
    assert b.children == []


def test_attach_refuses_cycles_and_none():
    a, b = Transform(), Transform()
    a.attach(b)
    with pytest.raises(ValueError):
        b.attach(a)
    with pytest.raises(ValueError):
        a.attach(a)
    with pytest.raises(TypeError):
        a.attach(None)
    with pytest.raises(TypeError):
        a.detach(None)


def test_dropping_the_parent_leaves_children_parentless():
    parent, child = Transform(), Transform()
    parent.attach(child)
    parent.position = (5, 5)
    assert child.world_position == Vector(5, 5)
    del parent
    gc.collect()
    assert child.parent is None
    assert child.world_position == Vector(0, 0)


def test_dropping_a_child_removes_it_from_its_parent():
    parent, kept = Transform(), Transform()
    child = Transform()
    parent.attach(child)
    parent.attach(kept)
    del child
    gc.collect()
    assert parent.children == [kept]


def test_root_bind_transform_ignores_position():
    t = Transform()
    t.position = (40, 50)
    t.bind_rotation = 0.5
    assert t.bind_transform.is_identity()  # not recomputed by the setter
    t.generate_bind_transform()
    assert tuple(t.bind_transform) == tuple(Matrix((0, 0), -0.5))


def test_wrong_argument_types_raise_type_error():
    t = Transform()
    with pytest.raises(TypeError):
        t.position = "10, 20"
    with pytest.raises(TypeError):
        t.position = (1, 2, 3)
    with pytest.raises(TypeError):
        t.rotation = "a"
    with pytest.raises(TypeError):
        t.attach(5)
    with pytest.raises(AttributeError):
        t.world_position = (1, 2)


def test_script_subclass_registered_in_the_factory_is_created_by_name():
    class Joint(Transform):
        pass

    native_class = libcore.Factory.get_class("Transform")
    assert native_class is Transform
    try:
        libcore.Factory.register_class("Transform", Joint)
        made = libcore.Factory.new_object("Transform")
        assert type(made) is Joint
        made.position = (1, 2)
        assert made.world_position == Vector(1, 2)
    finally:
        libcore.Factory.register_class("Transform", native_class)


def test_no_script_object_leaks_from_a_hierarchy():
    root = Transform()
    nodes = [Transform() for _ in range(100)]
    for n in nodes:
        root.attach(n)
        n.attach(Transform())  # a grandchild nobody names dies at once
    refs = [weakref.ref(o) for o in [root] + nodes]
    del root, nodes, n
    gc.collect()
    assert all(r() is None for r in refs)
