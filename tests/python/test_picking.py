"""Picking: obj.contains(point) in layer coordinates and scene.objects_at(point) in
window coordinates, against what each kind of object draws (sprites under rotation,
scale, flips and parents, text boxes, actor triangles and outlines, framebuffer
displays), read back in pixels where the point is a drawn pixel."""
import io
import math

import pytest

import libcore
from libcore import Vector
from libgraphics import (Actor, Framebuffer, FramebufferDisplay, ParticleSystem, Scene, SceneLayer, SceneObject,
                         Sprite, Text, Texture, Transform, actor_database, sprite_database)

from pictures import images, rendered

from boxes import box, box_scene

INF, NAN = float("inf"), float("nan")


@pytest.fixture
def scene(gl, pictures):
    yield from box_scene("top")


# Sprites -------------------------------------------------------------------------------

def test_contains_is_the_sprite_rectangle_edges_included(scene):
    sprite = Sprite("box")
    sprite.position = (100, 100)
    assert sprite.contains((100, 100))
    assert sprite.contains((110, 90))     # a corner
    assert not sprite.contains((110.5, 100))
    assert not sprite.contains((100, 89))


def test_contains_follows_rotation_scale_and_flips(scene):
    bar = box((200, 200), dimensions=(40, 4), origin=(0, 2))   # reaches right of its position
    assert bar.contains((235, 200)) and not bar.contains((165, 200))
    bar.flip_x = True                                            # now reaches left
    assert bar.contains((165, 200)) and not bar.contains((235, 200))
    bar.flip_x = False
    bar.rotation = math.pi / 2                                   # turned a quarter: along y
    assert not bar.contains((235, 200))
    assert bar.contains((200, 165)) or bar.contains((200, 235))
    bar.rotation = 0
    bar.scale = 2                                                # 80 long now
    assert bar.contains((275, 200)) and not bar.contains((285, 200))


def test_contains_follows_the_parents_transform(scene):
    parent = Transform()
    parent.position = (300, 300)
    parent.rotation = math.pi
    child = box((50, 0))
    parent.attach(child)
    # Half a turn about (300, 300): the child stands at (250, 300).
    assert child.contains((250, 300))
    assert not child.contains((350, 300))
    parent.position = (310, 300)
    assert child.contains((260, 300)) and not child.contains((245, 300))


def test_a_diamond_is_not_its_box(scene):
    diamond = box((100, 100), rotation=math.pi / 4)
    assert diamond.contains((113, 100))     # the corner reaches 14.1 along x
    assert not diamond.contains((108, 108))  # inside the unturned square, outside the diamond


def test_objects_at_finds_the_object_under_a_drawn_pixel(window, scene):
    a = box((100, 120))
    b = box((300, 200), rotation=0.6)
    pixel = rendered(window, scene)
    lit = [(x, y) for x in range(270, 330) for y in range(170, 230) if pixel(x, y)[0] > 200]
    dark = [(x, y) for x in range(270, 330) for y in range(170, 230) if pixel(x, y)[0] < 50]
    assert lit and dark
    # Pixel (x, y) covers the square from (x, y) to (x + 1, y + 1): its centre is drawn.
    for x, y in lit[::7]:
        assert scene.objects_at((x + 0.5, y + 0.5)) == [b]
    for x, y in dark[::7]:
        assert b not in scene.objects_at((x + 0.5, y + 0.5))
    assert scene.objects_at((100.5, 120.5)) == [a]


def test_objects_at_lists_the_top_most_first(scene):
    low = box((100, 100), z=0)
    high = box((105, 105), z=1)
    over = box((108, 108), layer="top")
    assert scene.objects_at((106, 106)) == [over, high, low]
    high.z = -1
    assert scene.objects_at((106, 106)) == [over, low, high]
    assert scene.objects_at((106, 106), layer="main") == [low, high]
    assert scene.objects_at((106, 106), layer=scene.get_layer("top")) == [over]


def test_invisible_objects_are_never_hit(scene):
    sprite = box((100, 100), visible=False)
    assert not sprite.contains((100, 100))
    assert scene.objects_at((100, 100)) == []
    sprite.visible = True
    assert scene.objects_at((100, 100)) == [sprite]


def test_points_at_infinity_or_nan_hit_nothing(scene):
    sprite = box((100, 100), dimensions=(1e30, 1e30), origin=(5e29, 5e29))
    for point in [(INF, 100), (100, -INF), (NAN, 100), (100, NAN), (INF, INF)]:
        assert not sprite.contains(point)
        assert scene.objects_at(point) == []
    assert scene.objects_at((100, 100)) == [sprite]


def test_an_object_at_nan_or_infinity_covers_nothing(scene):
    lost = box((NAN, 100))
    far = box((INF, 0))
    near = box((100, 100))
    assert not lost.contains((100, 100))
    assert scene.objects_at((100, 100)) == [near]
    assert not far.overlaps(near)


def test_a_sprite_without_size_or_record_covers_nothing(scene, graphics_log):
    flat = box((100, 100), dimensions=(0, 20))
    empty = Sprite("no such record")
    empty.position = (100, 100)
    assert not flat.contains((100, 100))
    assert not empty.contains((100, 100))


# Layer matrices -------------------------------------------------------------------------

def test_objects_at_maps_window_points_through_the_layer_matrix(window, gl, pictures):
    s = Scene()
    s.add_layer(SceneLayer("scaled", 0, Scene.ScaleFlag.SCALE_MIN | Scene.ScaleFlag.TRANSLATE, True))
    sprite_database.unload()
    sprite_database.add("box", dimensions=(20, 20), origin=(10, 10), layer="scaled")
    s.scale = (2, 1)
    sprite = box((100, 100), layer="scaled")
    try:
        # Drawn at (200, 100), its size kept: the layer moves positions with the wide scale.
        pixel = rendered(window, s)
        assert pixel(200, 100)[0] > 200 and pixel(100, 100)[0] < 50
        assert s.objects_at((200.5, 100.5)) == [sprite]
        assert s.objects_at((100.5, 100.5)) == []
        # contains takes layer coordinates: the sprite's own position.
        assert sprite.contains((100, 100)) and not sprite.contains((200, 100))
    finally:
        s.remove_object(sprite)
        sprite_database.unload()


# Alpha ---------------------------------------------------------------------------------

def half_clear(pictures, name="half.png"):
    """4 x 4: the left half fully transparent red, the right half opaque green."""
    rows = [[c for x in range(4) for c in ((255, 0, 0, 0) if x < 2 else (0, 255, 0, 255))] for _ in range(4)]
    return pictures.write(name, 4, 4, rows, images.RGBA)


def test_alpha_threshold_reads_the_texture_where_the_point_falls(scene, pictures):
    sprite_database.add("half", texture=half_clear(pictures), dimensions=(40, 40), layer="main")
    sprite = Sprite("half")
    sprite.position = (100, 100)          # covers (100, 100) to (140, 140), origin at its corner
    assert sprite.contains((110, 120)) and sprite.contains((130, 120))
    assert not sprite.contains((110, 120), alpha_threshold=0)
    assert sprite.contains((130, 120), alpha_threshold=0)
    assert sprite.contains((130, 120), alpha_threshold=0.99)
    assert not sprite.contains((130, 120), alpha_threshold=1)
    sprite.flip_x = True                  # mirrored about its origin: now (60, 100) to (100, 140)
    assert sprite.contains((70, 120), alpha_threshold=0)
    assert not sprite.contains((90, 120), alpha_threshold=0)
    assert scene.objects_at((70, 120), alpha_threshold=0.5) == [sprite]
    assert scene.objects_at((90, 120), alpha_threshold=0.5) == []
    assert scene.objects_at((90, 120)) == [sprite]


def test_alpha_threshold_follows_pixels_updated_in_place(scene):
    clear = bytes([0, 0, 0, 0] * 4)
    texture = Texture.from_pixels(2, 2, clear, name="picking-clear")
    sprite_database.add("clear", texture="picking-clear", dimensions=(20, 20), layer="main")
    sprite = Sprite("clear")
    sprite.position = (50, 50)
    assert not sprite.contains((55, 55), alpha_threshold=0)
    texture.update_pixels(bytes([255, 255, 255, 255] * 4))
    assert sprite.contains((55, 55), alpha_threshold=0)


def test_an_rgb_texture_and_a_missing_one_are_opaque(scene, pictures, graphics_log):
    sprite_database.add("rgb", texture=pictures.solid("rgb.png", colour=(9, 9, 9)), dimensions=(20, 20))
    sprite_database.add("lost", texture=pictures.missing("lost.png"), dimensions=(20, 20))
    for record in ("rgb", "lost"):
        sprite = Sprite(record)
        sprite.position = (50, 50)
        assert sprite.contains((55, 55), alpha_threshold=0.99)


def test_alpha_threshold_must_be_a_number(scene):
    sprite = box((0, 0))
    with pytest.raises(TypeError, match="alpha_threshold"):
        sprite.contains((0, 0), alpha_threshold="high")
    with pytest.raises(TypeError, match="alpha_threshold"):
        sprite.contains((0, 0), alpha_threshold=True)
    with pytest.raises(ValueError, match="NaN"):
        scene.objects_at((0, 0), alpha_threshold=NAN)


# Other kinds ---------------------------------------------------------------------------

def test_text_is_hit_inside_its_laid_out_box(scene):
    text = Text("Hello", "", 20)
    text.layer = "main"
    text.position = (300, 50)
    width, height = text.dimensions.x, text.dimensions.y
    assert width > 20 and height > 10
    assert text.contains((302, 52)) and text.contains((300 + width - 1, 50 + height - 1))
    assert not text.contains((298, 52)) and not text.contains((302, 48))
    text.align = "right"
    assert text.contains((298, 52)) and not text.contains((302, 52))
    assert scene.objects_at((298, 52)) == [text]
    text.text = ""
    assert not text.contains((298, 52))


def test_framebuffer_display_is_hit_on_its_rectangle(scene):
    framebuffer = Framebuffer()
    framebuffer.create((64, 32))
    display = FramebufferDisplay(framebuffer)
    display.layer = "main"
    display.position = (400, 300)
    display.origin = (32, 16)
    assert display.contains((370, 290)) and not display.contains((370, 280))
    assert scene.objects_at((430, 310)) == [display]


ACTOR = """<ActorData id="flag" layer="main">
  <Joint id="root"/>
  <Joint id="arm" parent="root" position="0, -10"/>
  <ActorMeshData id="body">
    <Vertex position="0, 0" joint_indices="0" joint_weights="1"/>
    <Vertex position="40, 0" joint_indices="0" joint_weights="1"/>
    <Vertex position="0, 40" joint_indices="0" joint_weights="1"/>
  </ActorMeshData>
</ActorData>"""


def flag_actor():
    xml = ACTOR.replace("</ActorMeshData>", '<Face vertex_indices="0,1,2"/></ActorMeshData>')
    assert actor_database.load(io.StringIO(xml))
    actor = Actor("flag")
    actor.layer = "main"
    actor.position = (100, 300)
    return actor


def test_an_actor_is_hit_on_its_triangles(scene):
    actor = flag_actor()
    assert actor.contains((105, 305))
    assert not actor.contains((135, 335))   # beyond the triangle's long side, inside its box
    assert scene.objects_at((105, 305)) == [actor]
    actor.meshes[0].visible = False
    assert not actor.contains((105, 305))


def test_an_actors_bounding_polygons_replace_its_triangles(scene):
    actor = flag_actor()
    # A concave outline: an L round the arm joint's bind position (0, -10).
    actor.set_bounding_polygon("arm", [(0, -20), (20, -20), (20, -10), (10, -10), (10, 0), (0, 0)], joint="arm")
    assert list(actor.bounding_polygons) == ["arm"]
    assert not actor.contains((105, 305))   # the triangles count no more
    assert actor.contains((105, 285)) and actor.contains((115, 285))
    assert not actor.contains((115, 295))    # the notch of the L
    # Turning the joint a half turn about (0, -10) swings the outline below it.
    actor.skeleton.joints["arm"].rotation = math.pi
    assert actor.contains((95, 295)) and not actor.contains((105, 285))
    assert actor.remove_bounding_polygon("arm") and not actor.remove_bounding_polygon("arm")
    assert actor.contains((105, 305))


def test_bounding_polygons_come_from_the_actor_file(scene, graphics_log):
    outline = '<BoundingPolygon id="arm" joint="arm" points="0, -20; 20, -20; 20, -10; 10, -10; 10, 0; 0, 0"/>'
    bad = ('<BoundingPolygon id="thin" points="0, 0; 1, 1; 2, 2"/>'               # no area
           '<BoundingPolygon id="lost" joint="leg" points="0, 0; 1, 0; 0, 1"/>'   # no such joint
           '<BoundingPolygon id="arm" points="0, 0; 1, 0; 0, 1"/>')               # the name is taken
    xml = ACTOR.replace("</ActorMeshData>", '<Face vertex_indices="0,1,2"/></ActorMeshData>' + outline + bad)
    assert actor_database.load(io.StringIO(xml))
    libcore.Log.flush()
    warned = " ".join(r.getMessage() for r in graphics_log.records if r.levelname == "WARNING")
    # One warning for the file: the count and the first problem.
    assert "3 element(s) or value(s) skipped" in warned
    assert '"BoundingPolygon" "thin" needs three or more corners' in warned
    actor = Actor("flag")
    actor.layer = "main"
    actor.position = (100, 300)
    assert actor.bounding_polygons == {"arm": ([Vector(0, -20), Vector(20, -20), Vector(20, -10), Vector(10, -10),
                                                Vector(10, 0), Vector(0, 0)], "arm")}
    assert actor.contains((105, 285)) and not actor.contains((115, 295)) and not actor.contains((105, 305))


def test_bad_bounding_polygons_say_why(scene):
    actor = flag_actor()
    with pytest.raises(ValueError, match="three corners"):
        actor.set_bounding_polygon("a", [(0, 0), (1, 1)])
    with pytest.raises(ValueError, match="no joint 'leg'"):
        actor.set_bounding_polygon("a", [(0, 0), (1, 0), (0, 1)], joint="leg")
    with pytest.raises(ValueError, match="not finite"):
        actor.set_bounding_polygon("a", [(0, 0), (INF, 0), (0, 1)])
    with pytest.raises(ValueError, match="no area"):
        actor.set_bounding_polygon("a", [(0, 0), (1, 1), (2, 2)])
    with pytest.raises(TypeError, match="pair of numbers"):
        actor.set_bounding_polygon("a", [(0, 0), "x", (0, 1)])
    assert actor.bounding_polygons == {}


def test_particles_and_plain_scene_objects_are_not_picked(scene):
    plain = SceneObject()
    plain.layer = "main"
    system = ParticleSystem("nothing")
    system.layer = "main"
    assert not plain.contains((0, 0)) and not system.contains((0, 0))
    assert scene.objects_at((0, 0)) == []


def test_mixed_scene_lists_every_kind_under_the_point(scene):
    actor = flag_actor()                      # triangle from (100, 300)
    sprite = box((110, 310), z=1)
    text = Text("X", "", 30)
    text.layer = "top"
    text.position = (105, 305)
    system = ParticleSystem("nothing")
    system.layer = "top"
    system.position = (110, 310)
    assert scene.objects_at((110, 310)) == [text, sprite, actor]


def test_a_mouse_position_is_a_window_point(window, scene):
    sprite = box((100, 120))
    window.post_event("mouse_move", position=(104, 117))
    window.process_events()
    assert isinstance(window.mouse_position, libcore.IntVector)
    assert scene.objects_at(window.mouse_position) == [sprite]
    assert sprite.contains(window.mouse_position)


# Wrong arguments -----------------------------------------------------------------------

def test_wrong_arguments_are_type_and_value_errors(scene):
    sprite = box((0, 0))
    with pytest.raises(TypeError, match="Sprite.contains: point: expected a pair of numbers"):
        sprite.contains("here")
    with pytest.raises(TypeError, match="got NoneType"):
        scene.objects_at(None)
    with pytest.raises(TypeError):
        SceneObject().contains((1, 2, 3))
    with pytest.raises(TypeError, match="layer must be"):
        scene.objects_at((0, 0), layer=3)
    with pytest.raises(ValueError, match="no layer 'nowhere'"):
        scene.objects_at((0, 0), layer="nowhere")
    with pytest.raises(ValueError, match="not in the scene"):
        scene.objects_at((0, 0), layer=SceneLayer("stray"))
