"""Sprites from a sheet, an alpha-stop gradient and a dissolve between two pictures."""
import io
import os
import tempfile

import libcore
import libgraphics
from libgraphics import SceneLayer, Sprite, Texture

from _common import frames, images, open_window, run

RECORDS = """<Sprites>
  <Sprite id="day" texture="day.png" dimensions="640 480" top_left="0 0" bottom_right="1 1" layer="back"/>
  <Sprite id="dusk" texture="dusk.png" dimensions="640 480" top_left="0 0" bottom_right="1 1" layer="back"/>
  <Sprite id="star" texture="sheet.png" dimensions="64 64" origin="32 32" top_left="0.25 0" bottom_right="0.5 0.5"
          layer="front"/>
  <Sprite id="bar" texture="white.png" dimensions="400 30" top_left="0 0" bottom_right="1 1" colour="#ff4060"
          layer="front"/>
</Sprites>"""


def main():
    assets = tempfile.mkdtemp(prefix="engine-sprites-")
    images.make_demo_assets(assets)
    libcore.PathDatabase.add_root(assets)
    window = open_window("sprites")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("back", 0))
    scene.add_layer(SceneLayer("front", 1))
    libgraphics.sprite_database.load(io.StringIO(RECORDS), "")
    dusk, day = Sprite("dusk"), Sprite("day")
    day.z = 1
    day.fade(1, 0, 0.5, 3, Texture("dissolve.png"))   # dissolves into the dusk picture
    star = Sprite("star")
    star.position = (320, 200)
    star.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(2.0, 0.0, 0.0))
    bar = Sprite("bar")
    bar.position = (120, 400)
    for position, alpha in ((0, 0), (0.5, 1), (1, 0)):
        bar.set_alpha_stop(position, alpha)
    run(window, scene, frames())


if __name__ == "__main__":
    main()
