"""The scene of the picking and overlap tests: a "main" layer under a second common
layer, and "box" sprites (20 x 20, centred on their position)."""
import gc

from libgraphics import Scene, SceneLayer, Sprite, actor_database, sprite_database


def box_scene(second_layer):
    """A generator for a fixture: yields the scene, then empties it and the databases."""
    gc.collect()  # an earlier test's scene destroyed later would leave none current
    s = Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    s.add_layer(SceneLayer(second_layer, 1, 0, True))
    sprite_database.unload()
    sprite_database.add("box", dimensions=(20, 20), origin=(10, 10), layer="main")
    yield s
    for i in range(s.get_num_layers()):
        for o in list(s.get_layer(i).objects):
            s.remove_object(o)
    sprite_database.unload()
    actor_database.unload()


def box(position, layer="main", **properties):
    """A "box" sprite in `layer` at `position`, with any other properties set."""
    sprite = Sprite("box")
    sprite.layer = layer
    sprite.position = position
    for name, value in properties.items():
        setattr(sprite, name, value)
    return sprite
