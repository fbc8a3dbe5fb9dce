"""Characters from DragonBones exports as scripts see them: load_dragonbones making one
actor per armature with its clips, every armature and animation of the shared exports
posed as the tool's own player poses them (bone world matrices, slot visibility and
colour, draw order at frames 0, 1, 5, 15, 30 and the last, from
tests/data/dragonbones/expected_*.json, which tests/tools/dragonbones_expected.mjs
wrote), bad input, and one pose drawn beside a sprite and a text."""
import gc
import io
import json
import logging
import math
import os

import pytest

import libcore
from libgraphics import Actor, ActorControllerAnimation, actor_database

HERE = os.path.dirname(__file__)
EXPORTS = os.path.join(HERE, "..", "..", "data", "dragonbones")
EXPECTED = os.path.join(HERE, "..", "data", "dragonbones")
FILES = {
    "bullet_01": "bullet_01/bullet_01_ske.json",
    "dragon": "dragon/Dragon_ske.json",
    "effect": "effect/effect_ske.json",
    "floor_board": "floor_board/floor_board_ske.json",
    "mecha_1502b": "mecha_1502b/mecha_1502b_ske.json",
}
TOLERANCE = 1e-3


@pytest.fixture(autouse=True)
def empty_database():
    actor_database.unload()
    yield
    gc.collect()
    actor_database.unload()


def warnings(caplog):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == "engine.graphics" and r.levelno == logging.WARNING]


def expected(key):
    with open(os.path.join(EXPECTED, "expected_%s.json" % key)) as f:
        return json.load(f)


def cases():
    for key in FILES:
        for armature, e in expected(key)["armatures"].items():
            for animation, a in e["animations"].items():
                yield pytest.param(key, armature, animation, id="%s-%s-%s" % (key, armature, animation))


def posed(armature, animation, seconds):
    """An actor of `armature` playing `animation` (None: none, the setup pose with its
    IK solved), `seconds` into it."""
    actor, player = Actor(armature), ActorControllerAnimation()
    actor.controller = player
    assert animation is None or player.play(animation) is None
    player.update(0.0)
    if seconds > 0:
        player.update(seconds)
    return actor


def slots_of(actor):
    """Per slot: the shown display index (-1: none) and that part's colour (r, g, b, a),
    from the parts named "slot/index"; and the slots in draw order."""
    shown, order = {}, []
    for mesh in sorted(actor.meshes, key=lambda m: m.draw_order):  # a stable sort: ties in mesh order
        slot, index = mesh.id.rsplit("/", 1)
        if slot not in order:
            order.append(slot)
        if mesh.visible:
            c = mesh.colour
            shown[slot] = (int(index), (c.r, c.g, c.b, c.a))
    return shown, order


def bone_errors(actor, sample):
    joints = actor.skeleton.joints
    return {name: max(abs(a - b) for a, b in zip(list(joints[name].world_transform), m))
            for name, m in sample["bones"].items()}


def test_every_shared_export_loads_one_actor_per_armature_with_its_clips():
    made = {}
    for key, path in FILES.items():
        ids = actor_database.load_dragonbones(os.path.join(EXPORTS, path))
        made[key] = sorted(ids)
        actor_database.unload()
    # Armatures of the same name in two files are two loads of the same id: each file
    # is loaded alone here.
    assert made == {key: sorted(expected(key)["armatures"]) for key in FILES}
    actor_database.load_dragonbones(os.path.join(EXPORTS, FILES["mecha_1502b"]))
    assert sorted(actor_database.clip_ids("mecha_1502b")) == sorted(
        expected("mecha_1502b")["armatures"]["mecha_1502b"]["animations"])


def mismatch(actor, sample):
    """What differs from the tool's sample, or None."""
    bad = {n: round(v, 5) for n, v in bone_errors(actor, sample).items() if v > TOLERANCE}
    if bad:
        return "bones off by more than %g: %s" % (TOLERANCE, bad)
    shown, order = slots_of(actor)
    if order != [s for s in sample["order"] if s in order]:
        return "draw order %s" % order
    for slot, s in sample["slots"].items():
        if slot not in order:
            continue  # a slot whose displays are not drawn (nested armatures)
        index, colour = shown.get(slot, (-1, None))
        if index != s["display"]:
            return "slot %s shows display %d, not %d" % (slot, index, s["display"])
        if index >= 0 and colour != pytest.approx(s["colour"], abs=TOLERANCE):
            return "slot %s colour %s, not %s" % (slot, colour, s["colour"])
    return None


@pytest.mark.parametrize("key,armature,animation", list(cases()))
def test_every_animation_poses_bones_and_slots_as_the_tool_does(key, armature, animation):
    assert armature in actor_database.load_dragonbones(os.path.join(EXPORTS, FILES[key]))
    e = expected(key)["armatures"][armature]
    a = e["animations"][animation]
    fps = e["frameRate"]
    for frame, sample in a["samples"].items():
        frame = int(frame)
        seconds = frame / fps
        times = [seconds]
        if a["playTimes"] != 1 and a["duration"] and frame and frame % a["duration"] == 0:
            # At the very end of a loop whose last key does not repeat the first, the
            # pose jumps: either side of the seam is the pose at that instant, depending
            # on the last bit of the time's rounding.
            times += [seconds - 1e-6, seconds + 1e-6]
        problems = [mismatch(posed(armature, animation, t), sample) for t in times]
        assert None in problems, "frame %d: %s" % (frame, problems[0])


def test_setup_pose_is_the_armature_without_animation():
    for key, path in FILES.items():
        actor_database.unload()
        actor_database.load_dragonbones(os.path.join(EXPORTS, path))
        for armature, e in expected(key)["armatures"].items():
            actor = posed(armature, None, 0.0)
            errors = bone_errors(actor, e["setup"])
            assert max(errors.values(), default=0.0) <= TOLERANCE, (armature, errors)


def test_sources_may_be_file_like_with_the_atlas_said(tmp_path):
    folder = os.path.join(EXPORTS, "bullet_01")
    with open(os.path.join(folder, "bullet_01_ske.json"), "rb") as skeleton, \
            open(os.path.join(folder, "bullet_01_tex.json")) as atlas:
        assert actor_database.load_dragonbones(skeleton, atlas, base_path=folder) == ["bullet_01"]
    assert actor_database.mesh_ids("bullet_01") == ["b/0"]
    assert actor_database.clip_ids("bullet_01") == ["idle"]
    actor_database.unload()
    assert actor_database.actor_ids() == []


def test_bad_sources_raise_or_warn_and_load_what_they_can(tmp_path, caplog):
    with pytest.raises(TypeError, match="path or a file-like object"):
        actor_database.load_dragonbones(42)
    assert actor_database.load_dragonbones(str(tmp_path / "nothing_ske.json")) == []
    assert actor_database.load_dragonbones(io.StringIO("{not json")) == []
    # No atlas beside it: the bones load, the images are skipped, and one warning says so.
    skeleton = tmp_path / "lonely_ske.json"
    with open(os.path.join(EXPORTS, FILES["dragon"])) as f:
        skeleton.write_text(f.read())
    assert actor_database.load_dragonbones(str(skeleton)) == ["Dragon"]
    assert actor_database.mesh_ids("Dragon") == []
    assert len(Actor("Dragon").skeleton.joints) == 1 + 19  # the armature, then its bones
    said = warnings(caplog)
    assert len(said) == 3
    assert "cannot be read" in said[0] and "not a JSON object" in said[1]
    assert "lonely_ske.json" in said[2] and "no atlas" in said[2]


def test_a_pose_draws_with_a_sprite_and_a_text_in_the_same_frame(window, scene, pictures):
    from libgraphics import Sprite, Text, sprite_database
    from pictures import rendered, settle

    actor_database.load_dragonbones(os.path.join(EXPORTS, FILES["dragon"]))
    dragon = Actor("Dragon")
    dragon.position = (160, 400)
    dragon.scale = (0.4, 0.4)
    scene.add_object(dragon, "main")
    dragon.controller = ActorControllerAnimation()
    dragon.controller.play("walk")
    scene.update(0.25)
    settle()

    def left_half(pixel):
        return [pixel(x, y) for y in range(200, 420, 4) for x in range(40, 300, 4)]

    alone = left_half(rendered(window, scene))
    assert sum(1 for p in alone if p[:3] != (0, 0, 0)) > 200  # the dragon's parts are drawn

    picture = pictures.solid("db_white.png")
    assert sprite_database.load(io.StringIO(
        '<Sprites><Sprite id="db-white" texture="%s" layer="main" dimensions="40 40" bottom_right="1 1"/></Sprites>' % picture))
    sprite = Sprite("db-white")
    sprite.position = (480, 120)
    text = Text("Dragon", size=28)
    text.position = (420, 380)
    scene.add_object(text, "main")
    settle()
    pixel = rendered(window, scene)
    assert left_half(pixel) == alone
    assert any(pixel(x, y)[:3] == (255, 255, 255) for y in range(80, 160, 2) for x in range(440, 520, 2))
    assert any(pixel(x, y)[:3] != (0, 0, 0) for y in range(360, 420) for x in range(420, 560))
    scene.remove_object(text)
    scene.remove_object(dragon)
    sprite_database.unload()


def test_bounding_boxes_are_outlines_a_script_can_read():
    from libcore import Vector
    skeleton = json.dumps({"armature": [{"name": "crate", "bone": [{"name": "lid", "transform": {"y": -5}}],
                                         "slot": [{"name": "s", "parent": "lid"}],
                                         "skin": [{"slot": [{"name": "s", "display": [
                                             {"type": "boundingBox", "name": "hit", "width": 4, "height": 2}]}]}]}]})
    assert actor_database.load_dragonbones(io.StringIO(skeleton), io.StringIO('{"width": 8, "height": 8}')) == \
        ["crate"]
    [(name, joint, points)] = actor_database.polygons("crate")
    assert (name, joint) == ("hit", "lid")
    assert points == [Vector(-2, -1), Vector(2, -1), Vector(2, 1), Vector(-2, 1)]
    # In the armature's space through the joint's world transform.
    lid = Actor("crate").skeleton.joints[joint]
    assert points[0] * lid.world_transform == Vector(-2, -6)
    assert actor_database.polygons("nobody") == []


def skinned(actor, part=0):
    """A mesh's vertices skinned to the actor's pose, rounded."""
    actor.meshes[part].transform_vertices(actor.skeleton)
    return [(round(p.x, 3), round(p.y, 3)) for p in actor.meshes[part].positions]


def test_deform_timelines_bend_a_mesh_between_their_keys():
    mesh = {"type": "mesh", "name": "m", "vertices": [0, 0, 10, 0, 0, 10], "uvs": [0, 0, 1, 0, 0, 1],
            "triangles": [0, 1, 2]}
    skeleton = {"frameRate": 10, "armature": [{
        "name": "jelly", "bone": [{"name": "b", "transform": {"x": 100}}], "slot": [{"name": "s", "parent": "b"}],
        "skin": [{"slot": [{"name": "s", "display": [mesh]}]}],
        "animation": [{"name": "wobble", "duration": 10, "playTimes": 0, "ffd": [{
            "name": "m", "slot": "s", "frame": [{"duration": 5, "tweenEasing": 0, "offset": 3, "vertices": [8]},
                                                {"duration": 5, "tweenEasing": 0, "offset": 2, "vertices": [4]}]}]}]}]}
    atlas = {"width": 8, "height": 8, "SubTexture": [{"name": "m", "width": 8, "height": 8}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["jelly"]
    for seconds, expected in [(0.0, [(100, 0), (110, 8), (100, 10)]), (0.25, [(100, 0), (112, 4), (100, 10)]),
                              (0.5, [(100, 0), (114, 0), (100, 10)]), (0.75, [(100, 0), (112, 4), (100, 10)])]:
        assert skinned(posed("jelly", "wobble", seconds)) == [pytest.approx(e, abs=1e-3) for e in expected], seconds
    # Without the clip, no deform.
    assert skinned(posed("jelly", None, 0.0)) == [(100, 0), (110, 0), (100, 10)]


def walking_mecha(seconds=0.25):
    actor_database.load_dragonbones(os.path.join(EXPORTS, FILES["mecha_1502b"]))
    return posed("mecha_1502b", "walk", seconds)


def pose_of(actor, joints):
    """The joints' world matrices, one flat list."""
    return [v for j in joints for v in actor.skeleton.joints[j].world_transform]


def test_ik_constraints_are_an_ik_rig_whose_handles_follow_their_target_joints():
    from libgraphics import ActorControllerIK, IKConstraintPositionHold
    mecha = walking_mecha()
    ik = mecha.controller.ik
    assert isinstance(ik, ActorControllerIK) and ik.actor is mecha
    handles = [ik.rig.position_handles[i] for i in range(len(ik.rig.position_handles))]
    assert len(handles) == 2  # the mecha's two leg constraints
    for handle in handles:
        assert handle.type == "chain" and handle.bone_length > 0 and handle.weight == 1.0
        assert handle.driver_id == "" or handle.driver_id.startswith("~ik")
        constraint = ik.get_position_constraint(handle.effector_id)
        assert isinstance(constraint, IKConstraintPositionHold)
        assert constraint.transform is mecha.skeleton.joints[handle.target_id]
        assert constraint.weight == 1.0
    # Its rig is the database's, under the armature's id, like any IK rig.
    assert "mecha_1502b" in actor_database.ik_rig_ids()


def test_without_its_ik_controller_the_legs_follow_the_clip_alone():
    from libgraphics import ActorControllerIK
    with_ik = walking_mecha()
    legs = [h.effector_id for h in (with_ik.controller.ik.rig.position_handles[i] for i in range(2))]
    plain = posed("mecha_1502b", "walk", 0.0)
    plain.controller.ik = None
    plain.controller.update(0.25)
    assert pose_of(plain, legs) != pytest.approx(pose_of(with_ik, legs), abs=1e-3)
    # A new controller finds the rig; following the targets is the character's own IK again.
    again = posed("mecha_1502b", "walk", 0.0)
    again.controller.ik = ActorControllerIK()
    again.controller.ik.follow_targets()
    again.controller.update(0.25)
    assert pose_of(again, legs) == pytest.approx(pose_of(with_ik, legs), abs=1e-4)
    with pytest.raises(TypeError, match="ActorControllerIK or None"):
        again.controller.ik = 5


def test_a_constraint_at_weight_zero_leaves_its_limb_to_the_clip():
    with_ik = walking_mecha(0.0)
    handle = with_ik.controller.ik.rig.position_handles[0]
    limb = [handle.effector_id]
    with_ik.controller.ik.get_position_constraint(handle.effector_id).weight = 0.0
    with_ik.controller.update(0.25)
    plain = posed("mecha_1502b", "walk", 0.0)
    plain.controller.ik = None
    plain.controller.update(0.25)
    assert pose_of(with_ik, limb) == pytest.approx(pose_of(plain, limb), abs=1e-4)
    with pytest.raises(ValueError, match="within 0..1"):
        with_ik.controller.ik.get_position_constraint(handle.effector_id).weight = float("nan")


def test_a_script_adds_an_aim_handle_and_points_the_gun_with_a_constraint():
    from libgraphics import IKConstraintPositionFixed
    mecha = walking_mecha()
    ik = mecha.controller.ik
    gun = ik.rig.position_handles.add("weapon_r", "aim", bone_length=0)
    assert (gun.effector_id, gun.type, gun.bone_length, gun.target_id) == ("weapon_r", "aim", 0.0, "")
    assert "weapon_r" in ik.rig.position_handles and "weapon_l" not in ik.rig.position_handles
    assert 3 not in ik.rig.position_handles
    with pytest.raises(ValueError, match="has a handle already"):
        ik.rig.position_handles.add("weapon_r", "aim")
    with pytest.raises(ValueError, match="not point, aim, chain or spine"):
        ik.rig.position_handles.add("weapon_l", "wave")
    with pytest.raises(ValueError, match="bone_length"):
        ik.rig.position_handles.add("weapon_l", "aim", bone_length=float("inf"))
    target = IKConstraintPositionFixed((0, 0))
    ik.set_position_constraint("weapon_r", target)
    for point in [(300, -400), (-250, 100)]:
        target.position = point
        mecha.controller.update(1 / 60)
        m = list(mecha.skeleton.joints["weapon_r"].world_transform)
        assert math.atan2(m[1], m[0]) == pytest.approx(math.atan2(point[1] - m[5], point[0] - m[4]), abs=1e-4)
    # Without its constraint the handle is not solved: the clip's pose stays. Another
    # mecha made now shares the rig, and its new handle has no constraint either.
    ik.remove_position_constraint("weapon_r")
    mecha.controller.update(1 / 60)
    still = posed("mecha_1502b", "walk", 0.25 + 3 / 60)
    assert still.controller.ik.get_position_constraint("weapon_r") is None
    assert pose_of(mecha, ["weapon_r"]) == pytest.approx(pose_of(still, ["weapon_r"]), abs=1e-3)


def test_a_target_that_drops_its_controller_while_asked_breaks_nothing():
    from libgraphics import IKConstraintPosition
    mecha = walking_mecha()
    walk = mecha.controller
    leg = walk.ik.rig.position_handles[0].effector_id

    class Leaving(IKConstraintPosition):
        def get_position(self):
            walk.ik.remove_position_constraint(leg)
            walk.ik = None
            mecha.controller = None
            return (10, 10)

    walk.ik.set_position_constraint(leg, Leaving())
    walk.update(1 / 60)
    assert walk.ik is None and mecha.controller is None
    gc.collect()
    walk.update(1 / 60)  # an actor-less player does nothing


def tool_matrix(x, y, rotation, skew, sx=1.0, sy=1.0):
    """A bone's matrix as the format defines it, from degrees."""
    r, k = math.radians(rotation), math.radians(rotation + skew)
    return [sx * math.cos(r), sx * math.sin(r), -sy * math.sin(k), sy * math.cos(k), x, y]


@pytest.mark.parametrize("form", ["rotateFrame", "frame"])
def test_animated_skew_turns_the_y_axis_beyond_the_x_axis(form):
    if form == "rotateFrame":
        timeline = {"name": "b", "rotateFrame": [{"duration": 10, "tweenEasing": 0, "rotate": 0, "skew": 0},
                                                  {"duration": 0, "rotate": 20, "skew": 40}]}
    else:  # the older combined form: skX turns the y axis, skY the x axis
        timeline = {"name": "b", "frame": [{"duration": 10, "tweenEasing": 0, "transform": {}},
                                           {"duration": 0, "transform": {"skX": 60, "skY": 20}}]}
    skeleton = {"frameRate": 10, "armature": [{
        "name": "leaning", "bone": [{"name": "b", "transform": {"x": 5, "y": 7, "skX": 40, "skY": 30,
                                                                "scX": 2, "scY": 0.5}}],
        "animation": [{"name": "lean", "duration": 10, "playTimes": 1, "bone": [timeline]}]}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO("{}")) == ["leaning"]
    for seconds, rotation, skew in [(0.0, 30, 10), (0.5, 40, 30), (1.0, 50, 50)]:
        bone = posed("leaning", "lean", seconds).skeleton.joints["b"]
        assert list(bone.world_transform) == pytest.approx(tool_matrix(5, 7, rotation, skew, 2, 0.5), abs=1e-4), \
            seconds
    actor = posed("leaning", "lean", 0.0)  # held: the player's actor is a weak link
    assert actor.controller.sample("lean", 0.5)["b"]["skew"] == pytest.approx(math.radians(-20), abs=1e-6)


def test_linked_meshes_reuse_their_sources_geometry_and_deform_with_it_unless_told(caplog):
    source = {"type": "mesh", "name": "m", "vertices": [0, 0, 10, 0, 0, 10], "uvs": [0, 0, 1, 0, 0, 1],
              "triangles": [0, 1, 2]}
    skeleton = {"frameRate": 10, "armature": [{
        "name": "twins", "bone": [{"name": "b", "transform": {"x": 100}}],
        "slot": [{"name": "s", "parent": "b"}, {"name": "t", "parent": "b"}, {"name": "u", "parent": "b"},
                 {"name": "v", "parent": "b"}],
        "skin": [{"slot": [{"name": "s", "display": [source]},
                           {"name": "t", "display": [{"type": "mesh", "name": "n", "share": "m"}]},
                           {"name": "u", "display": [{"type": "mesh", "name": "o", "share": "m",
                                                      "inheritDeform": False}]},
                           {"name": "v", "display": [{"type": "mesh", "name": "p", "share": "nothing"}]}]}],
        "animation": [{"name": "wobble", "duration": 10, "playTimes": 0, "ffd": [{
            "name": "m", "slot": "s", "frame": [{"duration": 10, "tweenEasing": 0, "offset": 3, "vertices": [8]},
                                                {"duration": 0}]}]}]}]}
    atlas = {"width": 8, "height": 8, "SubTexture": [{"name": n, "width": 8, "height": 8} for n in "mnop"]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["twins"]
    assert actor_database.mesh_ids("twins") == ["s/0", "t/0", "u/0"]  # the link to nothing is skipped
    said = warnings(caplog)
    assert len(said) == 1 and "linked mesh 'p' shares 'nothing'" in said[0]
    actor = posed("twins", "wobble", 0.0)
    assert skinned(actor, 0) == skinned(actor, 1) == [(100, 0), (110, 8), (100, 10)]
    assert skinned(actor, 2) == [(100, 0), (110, 0), (100, 10)]  # it does not inherit the deform


def test_draw_order_timelines_move_slots_as_the_keys_say():
    slots = ["s%d" % i for i in range(5)]
    skeleton = {"frameRate": 24, "armature": [{
        "name": "deck", "bone": [{"name": "b"}], "slot": [{"name": s, "parent": "b"} for s in slots],
        "skin": [{"slot": [{"name": s, "display": [{"name": "box"}]} for s in slots]}],
        "animation": [{"name": "shuffle", "duration": 10, "zOrder": {"frame": [
            {"duration": 4, "zOrder": [0, 2, 3, -2]}, {"duration": 4, "zOrder": [4, -4]}, {"duration": 2}]}}]}]}
    atlas = {"width": 8, "height": 8, "SubTexture": [{"name": "box", "width": 8, "height": 8}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["deck"]
    for frame, expected in [(0, "s1 s3 s0 s2 s4"), (5, "s4 s0 s1 s2 s3"), (9, "s0 s1 s2 s3 s4")]:
        assert slots_of(posed("deck", "shuffle", frame / 24))[1] == expected.split(), frame
    assert slots_of(posed("deck", None, 0.0))[1] == slots


def test_the_drawing_follows_the_draw_order_and_additive_parts_add(window, scene, pictures):
    from pictures import images, rendered, settle

    # A picture of two 4x4 squares, red then green; each part shows the middle of one.
    rows = [[255, 0, 0, 255] * 4 + [0, 255, 0, 255] * 4 for _ in range(4)]
    picture = pictures.write("db_squares.png", 8, 4, rows, images.RGBA)
    skeleton = {"frameRate": 24, "armature": [{
        "name": "cards", "bone": [{"name": "b"}],
        "slot": [{"name": "red", "parent": "b"}, {"name": "green", "parent": "b", "blendMode": "add"}],
        "skin": [{"slot": [{"name": "red", "display": [{"name": "r"}]},
                           {"name": "green", "display": [{"name": "g", "transform": {"x": 1}}]}]}],
        "animation": [{"name": "swap", "duration": 2, "zOrder": {"frame": [{"duration": 2, "zOrder": [0, 1]}]}}]}]}
    atlas = {"imagePath": picture, "width": 8, "height": 4, "SubTexture": [
        {"name": "r", "x": 1, "y": 1, "width": 2, "height": 2}, {"name": "g", "x": 5, "y": 1, "width": 2, "height": 2}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["cards"]
    cards = Actor("cards")
    cards.position, cards.scale = (320, 240), (40, 40)
    scene.add_object(cards, "main")
    cards.controller = ActorControllerAnimation()
    scene.update(0.0)
    settle()
    pixel = rendered(window, scene)
    # Green over red where they overlap, added: yellow; red alone on the left, green on the right.
    assert pixel(300, 240)[:3] == (255, 0, 0)
    assert pixel(340, 240)[:3] == (255, 255, 0)
    assert pixel(380, 240)[:3] == (0, 255, 0)
    # Drawn in the other order, the red part covers the green one where they overlap.
    cards.controller.play("swap")
    scene.update(0.0)
    pixel = rendered(window, scene)
    assert pixel(340, 240)[:3] == (255, 0, 0)
    scene.remove_object(cards)


def test_colour_offsets_tint_parts_after_their_multipliers(window, scene, pictures):
    from libgraphics import Sprite, Text, sprite_database
    from pictures import images, rendered, settle

    rows = [[200, 200, 200, 255] * 4 for _ in range(4)]
    picture = pictures.write("db_grey.png", 4, 4, rows, images.RGBA)
    skeleton = {"frameRate": 10, "armature": [{
        "name": "tints", "bone": [{"name": "b"}],
        "slot": [{"name": "up", "parent": "b", "color": {"rM": 50, "gM": 50, "bM": 50, "rO": 64, "gO": -64}},
                 {"name": "plain", "parent": "b"}],
        "skin": [{"slot": [{"name": "up", "display": [{"name": "g"}]},
                           {"name": "plain", "display": [{"name": "g", "transform": {"x": 2}}]}]}],
        "animation": [{"name": "flash", "duration": 10, "slot": [{"name": "plain", "colorFrame": [
            {"duration": 10, "tweenEasing": 0, "value": {"bO": 255}}, {"duration": 0}]}]}]}]}
    atlas = {"imagePath": picture, "width": 4, "height": 4,
             "SubTexture": [{"name": "g", "x": 1, "y": 1, "width": 2, "height": 2}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["tints"]
    tints = Actor("tints")
    tints.position, tints.scale = (200, 240), (40, 40)
    scene.add_object(tints, "main")
    assert tuple(tints.meshes[0].colour_offset) == pytest.approx((64 / 255, -64 / 255, 0, 0))
    # Beside them, a sprite and a text: the tint stays on its part.
    assert sprite_database.load(io.StringIO(
        '<Sprites><Sprite id="db-white" texture="%s" layer="main" dimensions="40 40" bottom_right="1 1"/></Sprites>'
        % pictures.solid("db_white.png")))
    sprite = Sprite("db-white")
    sprite.position = (480, 120)
    text = Text("tint", size=28)
    text.position = (420, 380)
    scene.add_object(text, "main")
    tints.controller = ActorControllerAnimation()
    scene.update(0.0)
    settle()
    pixel = rendered(window, scene)
    # 200 * 0.5 = 100, then +64 red and -64 green, blue as multiplied.
    assert pixel(200, 240)[:3] == pytest.approx((164, 36, 100), abs=2)
    assert pixel(300, 240)[:3] == pytest.approx((200, 200, 200), abs=2)
    assert any(pixel(x, y)[:3] == (255, 255, 255) for y in range(80, 160, 2) for x in range(440, 520, 2))
    # A colour key's offset: blue saturates at the first key, then fades back.
    tints.controller.play("flash")
    scene.update(0.0)
    pixel = rendered(window, scene)
    assert pixel(300, 240)[:3] == pytest.approx((200, 200, 255), abs=2)
    scene.update(0.5)
    pixel = rendered(window, scene)
    assert pixel(300, 240)[:3] == pytest.approx((200, 200, 255), abs=2)  # 200 + 127 saturates too
    scene.update(0.5)
    pixel = rendered(window, scene)
    assert pixel(300, 240)[:3] == pytest.approx((200, 200, 200), abs=2)
    assert tints.controller.sample("flash", 0.5)["plain/0"]["offset"] == pytest.approx((0, 0, 0.5, 0), abs=1e-3)
    with pytest.raises(ValueError, match="is not a colour"):
        tints.meshes[0].colour_offset = "red"
    tints.meshes[0].colour_offset = (2, -2, float("nan"), 0)  # clamped; not a number adds nothing
    assert tuple(tints.meshes[0].colour_offset) == (1, -1, 0, 0)
    for item in (tints, text):
        scene.remove_object(item)
    sprite_database.unload()


BELOW, ABOVE = (100, 150, 200), (200, 100, 50)


def blended(mode, d, s):
    """What a fully opaque `s` of that mode leaves over `d`, 0..255."""
    return {"normal": s, "add": [min(255, a + b) for a, b in zip(d, s)],
            "multiply": [a * b / 255 for a, b in zip(d, s)],
            "screen": [255 - (255 - a) * (255 - b) / 255 for a, b in zip(d, s)],
            "darken": [min(a, b) for a, b in zip(d, s)], "lighten": [max(a, b) for a, b in zip(d, s)],
            "subtract": [max(0, a - b) for a, b in zip(d, s)]}[mode]


@pytest.mark.parametrize("mode", ["normal", "add", "multiply", "screen", "darken", "lighten", "subtract"])
def test_blend_modes_meet_what_lies_below_weighed_by_alpha(window, scene, pictures, mode):
    from pictures import images, rendered, settle

    rows = [list(BELOW) + [255] for _ in range(4)] + [list(ABOVE) + [255] for _ in range(4)] + \
        [[255, 255, 255, 0] for _ in range(4)]
    picture = pictures.write("db_blends.png", 12, 4, [sum(rows, [])] * 4, images.RGBA)
    skeleton = {"armature": [{
        "name": "blends", "bone": [{"name": "b"}],
        "slot": [{"name": "below", "parent": "b"}, {"name": "above", "parent": "b"}, {"name": "clear", "parent": "b"}],
        "skin": [{"slot": [{"name": "below", "display": [{"name": "d", "transform": {"scX": 3, "scY": 3}}]},
                           {"name": "above", "display": [{"name": "s", "transform": {"x": -1}}]},
                           {"name": "clear", "display": [{"name": "c", "transform": {"x": 1}}]}]}]}]}
    atlas = {"imagePath": picture, "width": 12, "height": 4, "SubTexture": [
        {"name": n, "x": 1 + 4 * i, "y": 1, "width": 2, "height": 2} for i, n in enumerate("dsc")]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO(json.dumps(atlas))) == \
        ["blends"]
    actor = Actor("blends")
    actor.position, actor.scale = (320, 240), (40, 40)
    scene.add_object(actor, "main")
    for part in (actor.meshes[1], actor.meshes[2]):
        part.blend = mode
    assert actor.meshes[1].blend == mode
    settle()
    pixel = rendered(window, scene)
    assert pixel(320, 150)[:3] == BELOW
    assert pixel(280, 240)[:3] == pytest.approx(blended(mode, BELOW, ABOVE), abs=2)
    assert pixel(360, 240)[:3] == pytest.approx(BELOW, abs=2)  # a clear picture changes nothing
    with pytest.raises(ValueError, match="is not 'normal'"):
        actor.meshes[1].blend = "overlay"
    scene.remove_object(actor)


def test_atlas_pages_are_searched_in_turn_and_found_beside_the_skeleton(window, scene, pictures, caplog):
    from pictures import rendered, settle

    red = pictures.solid("db_page_red.png", colour=(255, 0, 0, 255))
    green = pictures.solid("db_page_green.png", colour=(0, 255, 0, 255))
    skeleton = {"armature": [{
        "name": "paged", "bone": [{"name": "b"}],
        "slot": [{"name": "one", "parent": "b"}, {"name": "two", "parent": "b"}],
        "skin": [{"slot": [{"name": "one", "display": [{"name": "both", "transform": {"x": -1}}]},
                           {"name": "two", "display": [{"name": "second", "transform": {"x": 1}}]}]}]}]}

    def page(picture, names):
        return {"imagePath": picture, "width": 4, "height": 4,
                "SubTexture": [{"name": n, "x": 1, "y": 1, "width": 2, "height": 2} for n in names]}

    def draws_red_then_green():
        actor = Actor("paged")
        actor.position, actor.scale = (320, 240), (40, 40)
        scene.add_object(actor, "main")
        settle()
        pixel = rendered(window, scene)
        scene.remove_object(actor)
        return pixel(280, 240)[:3] == (255, 0, 0) and pixel(360, 240)[:3] == (0, 255, 0)

    # Given as a list: "both" is on each page, and the first page's wins.
    pages = [io.StringIO(json.dumps(page(red, ["both"]))), io.StringIO(json.dumps(page(green, ["both", "second"])))]
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), pages) == ["paged"]
    assert draws_red_then_green()
    # Found beside the skeleton file as X_tex_0.json, X_tex_1.json when there is no X_tex.json.
    actor_database.unload()
    stem = pictures.full_path("paged")
    for name, content in [("_ske.json", skeleton), ("_tex_0.json", page(red, ["both"])),
                          ("_tex_1.json", page(green, ["second"]))]:
        with open(stem + name, "w") as f:
            json.dump(content, f)
    assert actor_database.load_dragonbones(stem + "_ske.json") == ["paged"]
    assert draws_red_then_green()
    # A page that cannot be read is said; the others are used.
    actor_database.unload()
    caplog.clear()
    assert actor_database.load_dragonbones(stem + "_ske.json", [stem + "_tex_0.json", stem + "_nothing.json"]) == \
        ["paged"]
    said = warnings(caplog)
    assert any("atlas page 1 cannot be read" in w for w in said)
    assert any("no atlas region 'second'" in w for w in said)


def test_ik_timelines_hold_each_keys_weight_and_bend():
    skeleton = {"frameRate": 24, "armature": [{
        "name": "leg", "bone": [{"name": "thigh", "length": 50}, {"name": "calf", "parent": "thigh", "length": 40,
                                                                "transform": {"x": 50}},
                                {"name": "goal", "transform": {"x": 60, "y": 30}}],
        "ik": [{"name": "knee", "bone": "calf", "target": "goal", "chain": 1}],
        "animation": [{"name": "relax", "duration": 4, "ik": [{"name": "knee", "frame": [
            {"duration": 2, "weight": 0}, {"duration": 2, "tweenEasing": 0, "weight": 1, "bendPositive": False}]}]},
            {"name": "still", "duration": 4}]}]}
    assert actor_database.load_dragonbones(io.StringIO(json.dumps(skeleton)), io.StringIO("{}")) == ["leg"]

    def tip_and_bend(actor):
        joints = actor.skeleton.joints
        t, c = list(joints["thigh"].world_transform), list(joints["calf"].world_transform)
        bend = math.remainder(math.atan2(c[1], c[0]) - math.atan2(t[1], t[0]), 2 * math.pi)
        return (round(c[4] + 40 * c[0], 3), round(c[5] + 40 * c[1], 3)), bend

    tip, _ = tip_and_bend(posed("leg", "relax", 1 / 24))  # weight 0: the leg lies straight
    assert tip == pytest.approx((90, 0), abs=1e-3)
    tip, bend = tip_and_bend(posed("leg", "relax", 3 / 24))  # weight 1, bending the other way
    assert tip == pytest.approx((60, 30), abs=1e-3) and bend < 0
    tip, bend = tip_and_bend(posed("leg", "still", 0.0))  # the constraint's own: weight 1, bending positively
    assert tip == pytest.approx((60, 30), abs=1e-3) and bend > 0


def test_the_old_combined_frame_lists_play_as_the_separate_channels():
    def export(name, bone_timeline, slot_timeline):
        return {"frameRate": 24, "armature": [{
            "name": name, "bone": [{"name": "b", "transform": {"x": 3}}], "slot": [{"name": "s", "parent": "b"}],
            "skin": [{"slot": [{"name": "s", "display": [{"name": "box"}, {"name": "box"}]}]}],
            "animation": [{"name": "go", "duration": 8, "playTimes": 0, "bone": [dict(name="b", **bone_timeline)],
                           "slot": [dict(name="s", **slot_timeline)]}]}]}
    new = export("new", {"translateFrame": [{"duration": 4, "tweenEasing": 0, "x": 10}, {"duration": 4, "y": 5}],
                         "rotateFrame": [{"duration": 4, "tweenEasing": 0, "rotate": 30}, {"duration": 4}],
                         "scaleFrame": [{"duration": 4, "tweenEasing": 0, "x": 2}, {"duration": 4}]},
                 {"displayFrame": [{"duration": 4}, {"duration": 4, "value": 1}],
                  "colorFrame": [{"duration": 4, "tweenEasing": 0, "value": {"aM": 50}}, {"duration": 4}]})
    old = export("old", {"frame": [
        {"duration": 4, "tweenEasing": 0, "transform": {"x": 10, "skX": 30, "skY": 30, "scX": 2}},
        {"duration": 4, "transform": {"y": 5}, "event": "half"}]},
        {"frame": [{"duration": 4, "tweenEasing": 0, "displayIndex": 0, "color": {"aM": 50}},
                   {"duration": 4, "displayIndex": 1}]})
    atlas = json.dumps({"width": 8, "height": 8, "SubTexture": [{"name": "box", "width": 8, "height": 8}]})
    for export_ in (new, old):
        actor_database.load_dragonbones(io.StringIO(json.dumps(export_)), io.StringIO(atlas))
    for frame in (0, 2, 5):
        a, b = posed("new", "go", frame / 24), posed("old", "go", frame / 24)
        assert list(b.skeleton.joints["b"].world_transform) == pytest.approx(
            list(a.skeleton.joints["b"].world_transform), abs=1e-5), frame
        assert slots_of(b) == slots_of(a), frame
    events = []
    actor = posed("old", "go", 0.0)
    player = actor.controller
    player.on_event(lambda event, clip, layer: events.append(event))
    player.update(5 / 24)
    assert events == ["half"]
