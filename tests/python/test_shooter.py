"""The shooter example played by its autopilot for 600 frames (fixed steps, seeded
randomness): the score goes up, and frames read back show the ship, the crabs, the
score, the sky and the explosions where the game's state says they are."""
import gc
import math
import os
import random
import sys

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import texture_database

from pictures import settle

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "examples"))
import shooter  # noqa: E402

FRAMES = 600
DT = 1 / 60
CLEAR = 40   # pixels between an object checked in a picture and anything drawn near it


# What the colours of the game's pictures look like once drawn -------------------------

def green(r, g, b):        # the ship
    return g > 150 and g > r + 60 and g > b + 40


def magenta(r, g, b):      # a crab's body
    return r > 120 and b > 100 and g < 90


def yellow(r, g, b):       # a crab's eyes in its first frame
    return r > 200 and g > 180 and b < 150


def orange(r, g, b):       # young sparks of an explosion
    return r > 180 and 80 < g < 220 and b < 100


def white(r, g, b):        # the score
    return min(r, g, b) > 180


def sky(r, g, b):          # the tiles: dark blue with pale stars
    return r < 160 and g < 170 and b < 190 and b >= r


# Playing ------------------------------------------------------------------------------

class Frame:
    """A frame read back, with the game's state when it was drawn."""

    def __init__(self, window, game, number):
        self.number = number
        self.width, self.height, self.pixels = window.read_pixels()
        state = game.state()
        self.player, self.shots = state["player"], state["shots"]
        self.enemies = [(x, y, e.frame) for (x, y), e in zip(state["enemies"], game.enemies)]
        self.explosions = [(x, y, e.age) for (x, y), e in zip(state["explosions"], game.explosions)]
        self.text_box = (*game.score_text.position, *game.score_text.dimensions)
        # What a click on each crab's centre picks: whether the crab comes first, and the
        # records of what lies under it (values only: a frame keeps no scene object alive).
        self.picked = [((x, y), picked[0] is e, [o.data_id for o in picked[1:]])
                       for (x, y), e in zip(state["enemies"], game.enemies)
                       for picked in [game.scene.objects_at((x, y))]]

    def rgb(self, x, y):
        i = (int(y) * self.width + int(x)) * 4
        return tuple(self.pixels[i:i + 3])

    def share(self, centre, test, half=2):
        """The share of the (2 half + 1)^2 pixels around `centre` that pass `test`."""
        x0, y0 = int(centre[0]), int(centre[1])
        block = [self.rgb(x, y) for y in range(y0 - half, y0 + half + 1) for x in range(x0 - half, x0 + half + 1)]
        return sum(test(*c) for c in block) / len(block)

    def others(self, point=None):
        """Where everything drawn in this frame is, but for what is at `point` itself."""
        things = [self.player] + [e[:2] for e in self.enemies] + self.shots + [e[:2] for e in self.explosions]
        return [t for t in things if point is None or t != tuple(point)]

    def clear(self, point):
        return all(math.dist(point, other) >= CLEAR for other in self.others(point))

    def clear_enemies(self):
        return [e for e in self.enemies if self.clear(e[:2])]


@pytest.fixture(scope="module")
def played(window, tmp_path_factory):
    """Plays 600 frames and keeps the score after each and a few frames read back:
    a quiet one (no explosion alive) for each frame of the crabs' animation, and one
    with a young explosion clear of everything else."""
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    assets = str(tmp_path_factory.mktemp("shooter"))
    random.seed(20)
    libcore.seed_random(20)
    scene = libgraphics.Scene()
    game = shooter.Game(window, assets, scene)
    pilot = shooter.Autopilot(game)
    scores, quiet, explosion = [], {}, None
    for number in range(FRAMES):
        pilot.step()
        window.process_events()
        game.update(DT)
        scene.update(DT)
        # Olive, a colour none of the game's pictures has: whatever the game leaves
        # undrawn shows.
        GL.glClearColor(0.5, 0.5, 0, 1)
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        scores.append(game.state()["score"])
        young = any(abs(e.age - 3 * DT) < 1e-9 for e in game.explosions)
        showing = {e.frame for e in game.enemies}
        if not game.explosions and number >= 60 and showing - set(quiet):
            frame = Frame(window, game, number)
            for shown in {e[2] for e in frame.clear_enemies()} - set(quiet):
                quiet[shown] = frame
        elif explosion is None and young:
            frame = Frame(window, game, number)
            if any(frame.clear(e[:2]) for e in frame.explosions if abs(e[2] - 3 * DT) < 1e-9):
                explosion = frame
        window.swap_buffers()
    gl_error = GL.glGetError()
    for k in shooter.Autopilot.KEYS:   # the session window keeps no key held
        window.post_event("key", key=k, pressed=False)
    window.process_events()
    result = {"game": game, "scores": scores, "quiet": quiet, "explosion": explosion, "gl_error": gl_error}
    yield result
    # The game's scene goes now: collected during a later test, it would leave that
    # test's scene no longer current.
    result.clear()
    del game, pilot, scene
    gc.collect()
    settle()
    texture_database.purge()
    libcore.PathDatabase.remove_root(assets)


def assert_scene_shows(frame):
    """The ship, every crab clear of other things and the score are drawn where the state says."""
    assert frame.share(frame.player, green) >= 0.8, f"frame {frame.number}: no ship at {frame.player}"
    for x, y, _ in frame.clear_enemies():
        assert frame.share((x, y), magenta) >= 0.8, f"frame {frame.number}: no crab at {(x, y)}"
    x, y, w, h = frame.text_box
    ink = [(px, py) for py in range(0, 80) for px in range(0, 400)
           if white(*frame.rgb(px, py)) and all(math.dist((px, py), t) >= CLEAR for t in frame.others())]
    assert len(ink) > 50, f"frame {frame.number}: no score drawn"
    assert all(x - 2 <= px <= x + w + 2 and y - 2 <= py <= y + h + 2 for px, py in ink), \
        f"frame {frame.number}: score ink outside the text's box {frame.text_box}"


def assert_sky_covers_the_rest(frame):
    """Every sampled pixel away from the objects and the score is sky."""
    x, y, w, h = frame.text_box
    checked = 0
    for py in range(4, frame.height, 12):
        for px in range(4, frame.width, 12):
            near_text = x - 8 <= px <= x + w + 8 and y - 8 <= py <= y + h + 8
            if near_text or not all(math.dist((px, py), t) >= CLEAR for t in frame.others()):
                continue
            assert sky(*frame.rgb(px, py)), f"frame {frame.number}: {frame.rgb(px, py)} at {(px, py)} is not sky"
            checked += 1
    assert checked > 1000


# Tests ---------------------------------------------------------------------------------

def test_the_autopilot_scores(played):
    scores = played["scores"]
    assert scores[-1] >= 50, "the autopilot should hit at least five crabs in ten seconds"
    assert all(a <= b for a, b in zip(scores, scores[1:]))
    assert f"SCORE {scores[-1]} " in played["game"].score_text.text


def test_drawing_leaves_no_gl_error(played):
    assert played["gl_error"] == GL.GL_NO_ERROR


def test_ship_crabs_and_score_show_where_the_game_says(played):
    assert set(played["quiet"]) == {0, 1}, "both frames of the crabs' animation should have been seen"
    for frame in played["quiet"].values():
        assert frame.clear_enemies()
        assert_scene_shows(frame)


def test_crabs_show_the_frame_of_their_animation_the_game_says(played):
    # The eyes are lit in the first frame only: 6 texels left of the body's centre and
    # 3 up, in a 32-texel cell drawn 40 pixels wide.
    for shown, frame in played["quiet"].items():
        for x, y, f in frame.clear_enemies():
            eye = (x - 7.5, y - 3.75)
            assert (frame.share(eye, yellow, half=0) == 1) == (f == 0), \
                f"frame {frame.number}: the crab at {(x, y)} shows frame {1 - f}, the game says {f}"


def test_a_click_on_a_crab_picks_it_over_the_sky(played):
    for frame in played["quiet"].values():
        for centre, crab_on_top, under in frame.picked:
            if frame.clear(centre):
                assert crab_on_top
                assert under == ["shooter.tile"]


def test_the_sky_covers_the_window(played):
    for frame in played["quiet"].values():
        assert_sky_covers_the_rest(frame)


def test_an_explosion_shows_where_the_game_says(played):
    frame = played["explosion"]
    assert frame is not None, "no explosion clear of the other objects was seen"
    x, y, _ = next(e for e in frame.explosions if abs(e[2] - 3 * DT) < 1e-9 and frame.clear(e[:2]))
    assert frame.share((x, y), orange, half=4) >= 0.6
    sparks = [(px, py) for py in range(int(y) - 20, int(y) + 21) for px in range(int(x) - 20, int(x) + 21)
              if orange(*frame.rgb(px, py))]
    cx, cy = (sum(p[0] for p in sparks) / len(sparks), sum(p[1] for p in sparks) / len(sparks))
    assert math.dist((cx, cy), (x, y)) < 4


def test_everything_else_still_shows_in_a_frame_with_an_explosion(played):
    frame = played["explosion"]
    assert frame is not None
    assert_scene_shows(frame)
    assert_sky_covers_the_rest(frame)

