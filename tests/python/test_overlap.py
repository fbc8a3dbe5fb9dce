"""Overlap: a.overlaps(b) between drawn shapes (exact for rotated rectangles and
polygons, a touch is no overlap), scene.overlapping(obj) and scene.overlapping_pairs()
through the scene's index, which must see every move, removal and change made between
questions."""
import gc
import io
import math
import random
import sys

import pytest

from libgraphics import Actor, Scene, SceneLayer, SceneObject, Sprite, Text, Transform, actor_database, sprite_database

from boxes import box, box_scene

INF, NAN = float("inf"), float("nan")


@pytest.fixture
def scene(gl):
    yield from box_scene("shots")


# a.overlaps(b) -----------------------------------------------------------------------

def test_overlapping_rectangles_overlap_and_touching_ones_do_not(scene):
    a = box((100, 100))
    b = box((119, 100))
    assert a.overlaps(b) and b.overlaps(a)
    b.position = (120, 100)               # edges meet: a touch
    assert not a.overlaps(b)
    b.position = (120, 120)               # corners meet
    assert not a.overlaps(b)
    b.position = (100, 100)               # the same place
    assert a.overlaps(b)
    assert not a.overlaps(a)


def test_rotated_rectangles_are_exact_not_their_boxes(scene):
    a = box((100, 100), rotation=math.pi / 4)
    b = box((124, 124), rotation=math.pi / 4)   # boxes overlap (14.1 + 14.1 > 24); sides do not meet
    assert not a.overlaps(b)
    b.position = (113, 113)
    assert a.overlaps(b)
    thin = box((100, 130), dimensions=(60, 2), origin=(30, 1))
    assert not thin.overlaps(a)
    thin.rotation = math.pi / 2                 # stands up through the diamond
    assert thin.overlaps(a)


def test_scale_and_parents_count(scene):
    a = box((100, 100))
    b = box((128, 100))
    assert not a.overlaps(b)
    a.scale = 2                                  # 40 wide now: reaches 120, b starts at 118
    assert a.overlaps(b)
    a.scale = 1
    parent = Transform()
    parent.attach(b)
    parent.position = (-20, 0)
    assert a.overlaps(b)


def test_a_rectangle_inside_another_overlaps_it(scene):
    big = box((100, 100), scale=10)
    small = box((120, 80))
    assert big.overlaps(small) and small.overlaps(big)


def test_invisible_or_lost_objects_overlap_nothing(scene):
    a = box((100, 100))
    b = box((105, 100), visible=False)
    assert not a.overlaps(b) and scene.overlapping(a) == []
    b.visible = True
    assert scene.overlapping(a) == [b]
    b.position = (NAN, 100)
    assert not a.overlaps(b) and scene.overlapping(a) == []
    b.position = (INF, 100)
    assert not a.overlaps(b)
    assert scene.overlapping(b) == []


def test_text_and_actors_overlap_by_their_shapes(scene):
    text = Text("Wide text", "", 20)
    text.layer = "main"
    text.position = (300, 300)
    sprite = box((310, 310))
    assert text.overlaps(sprite)
    assert actor_database.load(io.StringIO(
        '<ActorData id="tri"><Joint id="root"/><ActorMeshData id="m">'
        '<Vertex position="0, 0" joint_indices="0" joint_weights="1"/>'
        '<Vertex position="40, 0" joint_indices="0" joint_weights="1"/>'
        '<Vertex position="0, 40" joint_indices="0" joint_weights="1"/>'
        '<Face vertex_indices="0,1,2"/></ActorMeshData></ActorData>'))
    actor = Actor("tri")
    actor.layer = "main"
    actor.position = (500, 100)
    corner = box((535, 135))                     # in the triangle's box, beyond its long side
    assert not actor.overlaps(corner)
    corner.position = (515, 115)
    assert actor.overlaps(corner)
    assert scene.overlapping(corner) == [actor]
    actor.meshes[0].visible = False              # hidden between two questions
    assert scene.overlapping(corner) == []


def test_overlap_is_as_drawn_under_layer_matrices(gl):
    s = Scene()
    s.add_layer(SceneLayer("wide", 0, Scene.ScaleFlag.SCALE_MIN | Scene.ScaleFlag.TRANSLATE, True))
    sprite_database.unload()
    sprite_database.add("box", dimensions=(20, 20), origin=(10, 10))
    a, b = box((100, 100), layer="wide"), box((110, 100), layer="wide")
    try:
        assert a.overlaps(b)
        s.scale = (2, 1)                         # positions follow the wide scale, sizes do not
        assert not a.overlaps(b)                 # drawn at x = 200 and 220
        assert s.overlapping(a) == []
        assert s.objects_at((210, 100)) == [b, a] or s.objects_at((210, 100)) == []
    finally:
        s.remove_object(a)
        s.remove_object(b)
        sprite_database.unload()


# scene.overlapping -------------------------------------------------------------------

def test_overlapping_lists_others_top_most_first_and_one_layer_on_request(scene):
    a = box((100, 100))
    low = box((105, 100), z=-1)
    high = box((95, 100), z=1)
    shot = box((100, 105), layer="shots")
    far = box((300, 300))
    assert scene.overlapping(a) == [shot, high, low]
    assert scene.overlapping(a, layer="main") == [high, low]
    assert scene.overlapping(a, layer=scene.get_layer("shots")) == [shot]
    assert scene.overlapping(far) == []


def test_overlapping_sees_every_move_between_questions(scene):
    a = box((100, 100))
    b = box((200, 100))
    assert scene.overlapping(a) == []
    b.position = (115, 100)                      # moved after the index was built
    assert scene.overlapping(a) == [b]
    b.dimensions, b.origin = (2, 2), (1, 1)      # shrunk about its position: 9 clear of a
    assert scene.overlapping(a) == []
    b.dimensions, b.origin = (20, 20), (10, 10)
    parent = Transform()
    parent.attach(a)
    parent.position = (500, 0)                   # a parent's move moves a
    assert scene.overlapping(b) == []
    parent.position = (0, 0)
    assert scene.overlapping(b) == [a]
    scene.get_layer("main").scale_flags = Scene.ScaleFlag.SCALE_MIN | Scene.ScaleFlag.TRANSLATE
    scene.scale = (3, 1)                         # positions spread three times wider
    assert scene.overlapping(b) == []
    scene.scale = (1, 1)
    assert scene.overlapping(b) == [a]


def test_an_object_outside_the_scene_can_ask(scene):
    inside = box((100, 100))
    sprite_database.add("probe", dimensions=(20, 20), origin=(10, 10))   # in no layer
    probe = Sprite("probe")
    probe.position = (105, 105)
    assert probe.layer == ""
    assert scene.overlapping(probe) == [inside]


def test_objects_removed_during_a_loop_over_the_answers(scene):
    player = box((100, 100))
    others = [box((100 + dx, 100)) for dx in (-5, 0, 5)]
    hits = scene.overlapping(player)
    assert sorted(map(id, hits)) == sorted(map(id, others))
    for other in hits:
        scene.remove_object(other)
        assert scene.overlapping(player) == [o for o in hits if o.layer == "main"]
    del others, hits, other
    gc.collect()
    assert scene.overlapping(player) == []
    newcomer = box((102, 100))
    assert scene.overlapping(player) == [newcomer]


def test_objects_destroyed_between_questions_are_gone_from_the_answers(scene):
    player = box((100, 100))
    for _ in range(50):
        box((101, 100))                          # dropped: the layer holds them
    assert len(scene.overlapping(player)) == 50
    for o in scene.overlapping(player):
        scene.remove_object(o)
    gc.collect()
    assert scene.overlapping(player) == []


def test_overlapping_agrees_with_overlaps_for_many_moving_objects(scene):
    rng = random.Random(7)
    objects = [box((rng.uniform(0, 400), rng.uniform(0, 300)), rotation=rng.uniform(-3, 3),
                   scale=rng.uniform(0.2, 3)) for _ in range(150)]
    objects[0].dimensions = (2000, 10)           # one too large to file in cells
    for frame in range(3):
        for o in objects:
            o.position = (o.position.x + rng.uniform(-20, 20), o.position.y + rng.uniform(-20, 20))
        for o in objects:
            expected = {id(p) for p in objects if p is not o and o.overlaps(p)}
            assert {id(p) for p in scene.overlapping(o)} == expected
        pairs = scene.overlapping_pairs()
        assert len(pairs) == sum(len(scene.overlapping(o)) for o in objects) // 2
        assert all(a.overlaps(b) for a, b in pairs)


# scene.overlapping_pairs -------------------------------------------------------------

def test_overlapping_pairs_within_and_across_layers(scene):
    a = box((100, 100))
    b = box((110, 100))
    c = box((300, 300))
    shot = box((300, 305), layer="shots")
    other_shot = box((305, 305), layer="shots")
    assert scene.overlapping_pairs("main") == [(b, a)]
    assert scene.overlapping_pairs("main", "shots") == [(c, other_shot), (c, shot)]
    assert scene.overlapping_pairs("shots", "main") == [(other_shot, c), (shot, c)]
    assert scene.overlapping_pairs("shots", "shots") == [(other_shot, shot)]
    assert len(scene.overlapping_pairs()) == 4


# Wrong arguments ---------------------------------------------------------------------

def test_wrong_arguments_say_what_was_expected(scene):
    a = box((0, 0))
    with pytest.raises(TypeError):
        a.overlaps(None)
    with pytest.raises(TypeError):
        a.overlaps("b")
    with pytest.raises(TypeError):
        scene.overlapping(None)
    with pytest.raises(TypeError):
        scene.overlapping((0, 0))
    with pytest.raises(TypeError, match="layer must be"):
        scene.overlapping(a, layer=1.5)
    with pytest.raises(ValueError, match="no layer 'ghosts'"):
        scene.overlapping(a, layer="ghosts")
    with pytest.raises(ValueError, match="needs layer"):
        scene.overlapping_pairs(None, "main")


def test_plain_scene_objects_overlap_nothing(scene):
    plain = SceneObject()
    plain.layer = "main"
    a = box((0, 0))
    assert not plain.overlaps(a)
    assert scene.overlapping(plain) == []
    assert scene.overlapping(a) == []


def test_questions_take_no_reference_they_keep(scene):
    a = box((100, 100))
    b = box((105, 100))
    before = sys.getrefcount(a), sys.getrefcount(b)
    for _ in range(200):
        scene.overlapping(a)
        scene.objects_at((100, 100))
        scene.overlapping_pairs()
        a.overlaps(b)
    assert (sys.getrefcount(a), sys.getrefcount(b)) == before
