"""A small shooter: move the ship with the arrow keys, shoot with space, and stop the
crabs before they land. Escape quits.

    PYTHONPATH=build/python /usr/bin/python3 examples/shooter.py [--autopilot]

With a display it runs until the window is closed. Without one (ENGINE_HEADLESS=1, as
`make demo` sets under Xvfb) the autopilot plays 600 frames and the game writes two
screenshots to out/demo/.
"""
import argparse
import io
import os
import random
import sys
import tempfile

import libcore
import libgraphics
import libwindow
from libgraphics import ParticleSystem, SceneLayer, SceneObjectAnimatorFrames, Sprite, Text, Transform
from libwindow import key

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
import shooter_art  # noqa: E402  (the game's own pictures)

WIDTH, HEIGHT = 640, 480
PLAYER_Y = HEIGHT - 40          # the ship's centre line
GROUND = HEIGHT - 90            # a crab that comes down this far has landed
PLAYER_SPEED = 300.0            # pixels per second
SHOT_SPEED = 480.0
RELOAD = 0.3                    # seconds between shots while space is held
FRAME_TIME = 0.2                # seconds each frame of a crab's animation shows
SPAWN_TIME = (0.5, 1.5)         # seconds between new crabs, at random in this range
MAX_ENEMIES = 5

# An explosion: a burst of 48 sparks in every direction, yellow turning to dark red.
PARTICLES = f"""<Particles>
  <ParticleSystemData id="shooter.explosion" layer="fx" gravity="0 60">
    <ParticleEmitterData emission_rate="3000" emission_limit="48" spread="3.14159" speed="20 160">
      <ParticleData life="0.4 0.8" texture="{shooter_art.SPARK}">
        <SizeCurve><Keyframe key="0" value="7"/><Keyframe key="1" value="2"/></SizeCurve>
        <ColourCurve>
          <Keyframe key="0" value="1 0.8 0.25 1"/>
          <Keyframe key="0.5" value="1 0.45 0.05 0.9"/>
          <Keyframe key="1" value="0.7 0.1 0 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
</Particles>"""


def load_assets(folder):
    """Draws the pictures into `folder`, makes it a root of the path database and
    describes the sprites (cells of the sheet), the crab's walk and the explosion."""
    shooter_art.write_all(folder)
    libcore.PathDatabase.add_root(folder)
    cell = 1 / 4   # the sheet's cells, as texture coordinates
    sprites = libgraphics.sprite_database
    sprites.add("shooter.tile", texture=shooter_art.TILE, dimensions=(64, 64), bottom_right=(1, 1), layer="back")
    sprites.add("shooter.player", texture=shooter_art.SHEET, dimensions=(40, 40), origin=(20, 20),
                top_left=(0, 0), bottom_right=(cell, 1), layer="world")
    # The sheet's cells as a grid: "shooter.crab" shows cell 1 and walks through cells 1 and 2.
    sprites.load_grid("shooter.crab", shooter_art.SHEET, columns=4, rows=1, animations={"walk": [1, 2]},
                      layer="world", pivot=(0.5, 0.5), frame_duration=FRAME_TIME)
    # The bolt is the middle eight of the last cell's 32 columns, rows 4 to 28.
    sprites.add("shooter.shot", texture=shooter_art.SHEET, dimensions=(8, 24), origin=(4, 12),
                top_left=(3 * cell + 12 / 128, 4 / 32), bottom_right=(3 * cell + 20 / 128, 28 / 32), layer="shots")
    libgraphics.particle_database.load(io.StringIO(PARTICLES), "")


class Enemy(Sprite):
    """A crab: a sprite whose walk (two frames of the sheet) plays by itself."""

    def __init__(self, position, speed):
        super().__init__("shooter.crab")
        self.position = position
        self.scale = (40 / shooter_art.CELL, 40 / shooter_art.CELL)   # cells drawn 40 pixels wide
        self.walk = SceneObjectAnimatorFrames("walk")
        self.add_animator("walk", self.walk)
        self.speed = speed              # pixels per second, negative to the left

    @property
    def frame(self):
        return max(self.walk.frame, 0)  # the walk's first frame until its first step

    def walk_on(self, dt):
        x, y = self.position.x + self.speed * dt, self.position.y
        if not 20 <= x <= WIDTH - 20:   # at an edge: turn round and come down a row
            x, y, self.speed = min(max(x, 20), WIDTH - 20), y + 32, -self.speed
        self.position = (x, y)


class Explosion:
    """A burst of sparks, taken out of the scene once every spark has died."""

    LIFE = 1.0   # seconds: longer than the longest spark's life

    def __init__(self, position):
        self.system = ParticleSystem("shooter.explosion")   # joins the "fx" layer
        self.system.position = position
        self.age = 0.0

    @property
    def position(self):
        return self.system.position


class Game:
    """The game's state and rules. `update(dt)` plays one step, reading the keyboard
    through the window; the scene draws what the state says."""

    def __init__(self, window, assets, scene=None):
        self.window = window
        load_assets(assets)
        # Sprites join the current scene: the module's, unless a newer one was made.
        self.scene = libgraphics.scene if scene is None else scene
        for z, layer in enumerate(("back", "world", "shots", "fx", "hud")):
            self.scene.add_layer(SceneLayer(layer, z))
        # The sky: tiles on one anchor, one row more than the window holds, scrolling down.
        self.sky = Transform()
        for row in range(-1, HEIGHT // 64 + 1):
            for column in range(WIDTH // 64):
                tile = Sprite("shooter.tile")
                tile.position = (column * 64, row * 64)
                self.sky.attach(tile)
        self.player = Sprite("shooter.player")
        self.player.position = (WIDTH / 2, PLAYER_Y)
        self.score_text = Text("", size=24)
        self.score_text.position = (14, 10)
        self.scene.add_object(self.score_text, "hud")
        self.enemies, self.shots, self.explosions = [], [], []
        self.score, self.lives, self.reload = 0, 3, 0.0
        self.show_score()
        self.spawn()

    # What a test or an autopilot reads ----------------------------------------------

    @property
    def over(self):
        return self.lives == 0

    def state(self):
        """Where everything is, and the score: the picture in numbers."""
        def where(things):
            return [(thing.position.x, thing.position.y) for thing in things]
        return {"player": where([self.player])[0], "enemies": where(self.enemies), "shots": where(self.shots),
                "explosions": where(self.explosions), "score": self.score}

    def nearest_enemy(self):
        player = self.player.position
        return min(self.enemies, key=lambda e: (e.position - player).length(), default=None)

    # One step ----------------------------------------------------------------------

    def update(self, dt):
        self.sky.position = (0, (self.sky.position.y + 20 * dt) % 64)
        self.age_explosions(dt)
        if self.over:
            return
        self.move_player(dt)
        for shot in list(self.shots):
            shot.position = (shot.position.x, shot.position.y - SHOT_SPEED * dt)
            if shot.position.y < -20:
                self.scene.remove_object(shot)
                self.shots.remove(shot)
        for enemy in list(self.enemies):
            enemy.walk_on(dt)
            if enemy.position.y > GROUND:
                self.destroy(enemy)
                self.lives -= 1
        self.hit_enemies()
        self.next_spawn -= dt
        if self.next_spawn <= 0 and len(self.enemies) < MAX_ENEMIES:
            self.spawn()
        if self.over:
            self.player.visible = False
            self.explosions.append(Explosion(self.player.position))
        self.show_score()

    def move_player(self, dt):
        direction = self.window.is_key_down(key.RIGHT) - self.window.is_key_down(key.LEFT)
        x = min(max(self.player.position.x + direction * PLAYER_SPEED * dt, 20), WIDTH - 20)
        self.player.position = (x, PLAYER_Y)
        self.reload -= dt
        if self.window.is_key_down(key.SPACE) and self.reload <= 0:
            self.reload = RELOAD
            shot = Sprite("shooter.shot")
            shot.position = (x, PLAYER_Y - 24)
            self.shots.append(shot)

    def hit_enemies(self):
        # Shots against crabs as drawn; a shot that hits two at once takes the top one.
        for shot, enemy in self.scene.overlapping_pairs("shots", "world"):
            if shot in self.shots and enemy in self.enemies:
                self.scene.remove_object(shot)
                self.shots.remove(shot)
                self.destroy(enemy)
                self.score += 10

    def spawn(self):
        speed = random.uniform(90, 150) * random.choice((-1, 1))
        x = 20 if speed > 0 else WIDTH - 20
        self.next_spawn = random.uniform(*SPAWN_TIME)
        self.enemies.append(Enemy((x, 60 + 40 * random.randrange(4)), speed))

    def destroy(self, enemy):
        self.explosions.append(Explosion(enemy.position))
        self.scene.remove_object(enemy)
        self.enemies.remove(enemy)

    def age_explosions(self, dt):
        for explosion in list(self.explosions):
            explosion.age += dt
            if explosion.age > Explosion.LIFE:
                self.scene.remove_object(explosion.system)
                self.explosions.remove(explosion)

    def show_score(self):
        text = f"SCORE {self.score}   LIVES {self.lives}" + ("   GAME OVER" if self.over else "")
        if self.score_text.text != text:
            self.score_text.text = text


class Autopilot:
    """Plays by posting key events, as a keyboard would: it holds an arrow towards the
    point under the nearest crab (where the crab will be when a shot gets there) and
    space while it is under it."""

    KEYS = (key.LEFT, key.RIGHT, key.SPACE)

    def __init__(self, game):
        self.game = game

    def step(self):
        game, held = self.game, set()
        target = game.nearest_enemy()
        if target is not None:
            x = game.player.position.x
            flight = (PLAYER_Y - target.position.y) / SHOT_SPEED
            aim = min(max(target.position.x + target.speed * flight, 20), WIDTH - 20)
            if aim < x - 6:
                held.add(key.LEFT)
            elif aim > x + 6:
                held.add(key.RIGHT)
            if abs(aim - x) < 16:
                held.add(key.SPACE)
        for k in self.KEYS:
            if (k in held) != game.window.is_key_down(k):
                game.window.post_event("key", key=k, pressed=k in held)


class Screenshots(libgraphics.SceneListener):
    """Saves the frames named in `shots` ({frame: file}) once they are drawn."""

    def __init__(self, window, shots):
        super().__init__()
        self.window, self.shots, self.frame = window, shots, 0

    def OnPostRender(self):
        if self.frame in self.shots:
            self.window.save_screenshot(self.shots[self.frame])
        self.frame += 1


def main():
    headless = os.environ.get("ENGINE_HEADLESS") == "1"
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--frames", type=int, default=600 if headless else 0,
                        help="stop after this many frames and write two screenshots (0: run until closed)")
    parser.add_argument("--autopilot", action="store_true", default=headless, help="let the computer play")
    parser.add_argument("--out", default="out/demo", help="where screenshots go")
    args = parser.parse_args()

    window = libwindow.Window(WIDTH, HEIGHT, "Shooter")
    game = Game(window, tempfile.mkdtemp(prefix="engine-shooter-"))
    autopilot = Autopilot(game) if args.autopilot else None
    if args.frames:
        os.makedirs(args.out, exist_ok=True)
        shots = {args.frames // 2: "shooter-1.png", args.frames - 1: "shooter-2.png"}
        game.scene.add_listener(Screenshots(window, {f: os.path.join(args.out, n) for f, n in shots.items()}))
    frames = 0

    def update(dt):
        nonlocal frames
        if window.is_key_down(key.ESCAPE) or frames == args.frames:
            return False   # run() stops before drawing
        if autopilot:
            autopilot.step()   # handled by the next frame's events
        game.update(dt)
        frames += 1

    libgraphics.run(window, update)
    print(f"score {game.score} after {frames} frames")
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
