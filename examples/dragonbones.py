"""A character exported by DragonBones, playing its animations: give the export's
folder or its *_ske.json on the command line (the mecha by default). The right and
left arrows play the next and the previous animation, space pauses, escape quits.
Joints named by --aim (the mecha's weapons by default, where the character has them)
aim at the mouse while the clips play: each gets an aim handle in the character's IK
rig and a target that the mouse moves.

    python3 dragonbones.py ../data/dragonbones/dragon
"""
import argparse
import glob
import os

import libgraphics
from libcore import Vector
from libgraphics import (Actor, ActorControllerAnimation, IKConstraintPositionFixed, SceneLayer, Text,
                         actor_database)
from libwindow import key

from _common import open_window

EXPORTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "dragonbones")
WIDTH, HEIGHT = 640, 480


def skeleton_file(path):
    """The *_ske.json of an export folder, or the path itself."""
    if os.path.isdir(path):
        found = sorted(glob.glob(os.path.join(path, "*_ske.json")))
        if not found:
            raise SystemExit(f"{path}: no *_ske.json in this folder")
        return found[0]
    return path


def main_armature(ids):
    """The armature with the most joints: the character, not its props."""
    return max(ids, key=lambda i: len(actor_database.get_skeleton(i).joints))


def fit(actor):
    """Places and scales the actor so that its skeleton fills most of the window."""
    points = [joint.world_position for joint in actor.skeleton.joints]
    xs, ys = [p.x for p in points], [p.y for p in points]
    span = max(max(xs) - min(xs), max(ys) - min(ys), 1.0)
    scale = min(0.5 * min(WIDTH, HEIGHT) / span, 2.0)
    actor.scale = (scale, scale)
    actor.position = (WIDTH / 2 - scale * (min(xs) + max(xs)) / 2, HEIGHT / 2 - scale * (min(ys) + max(ys)) / 2)


class Player(libgraphics.SceneObject):
    """Reads the keys each frame and plays the chosen animation; aims the joints in
    `aims` at the mouse."""

    def __init__(self, window, actor, label, aims=()):
        super().__init__()
        self.window, self.actor, self.label = window, actor, label
        self.clips = actor_database.clip_ids(actor.data_id)
        self.anim = ActorControllerAnimation()
        actor.controller = self.anim
        # The character's own IK (its legs) comes with the player; each aiming joint
        # gets a handle that turns it to point at a target, and the target follows the mouse.
        self.mouse = IKConstraintPositionFixed((0, 0))
        ik = self.anim.ik
        if aims and (ik is None or ik.rig is None):
            print(f"{actor.data_id} has no IK rig: --aim is ignored")
            aims = ()
        for joint in aims:
            if joint not in ik.rig.position_handles:
                ik.rig.position_handles.add(joint, "aim", bone_length=0)
            ik.set_position_constraint(joint, self.mouse)
        self.aims = aims
        # The usual resting animation first, when there is one.
        rest = [i for i, name in enumerate(self.clips) if name in ("idle", "stand", "walk")]
        self.index, self.paused, self.held = (rest[0] if rest else 0), False, set()
        self.play()

    def play(self):
        if not self.clips:
            self.label.text = f"{self.actor.data_id}: no animations"
            return
        name = self.clips[self.index]
        self.anim.play(name, fade=0.2, loops=0)
        self.label.text = f"{self.actor.data_id}: {name} ({self.index + 1}/{len(self.clips)})  <- ->  space"

    def pressed(self, k):
        """True once per press of `k`."""
        down = self.window.is_key_down(k)
        was = k in self.held
        if down:
            self.held.add(k)
        else:
            self.held.discard(k)
        return down and not was

    def OnUpdate(self, dt):
        if self.aims:
            # The mouse in the actor's own space, where its joints are.
            m = self.window.mouse_position
            self.mouse.position = Vector(m.x, m.y) * self.actor.world_transform.inverse()
        if self.pressed(key.RIGHT) and self.clips:
            self.index = (self.index + 1) % len(self.clips)
            self.play()
        if self.pressed(key.LEFT) and self.clips:
            self.index = (self.index - 1) % len(self.clips)
            self.play()
        if self.pressed(key.SPACE):
            self.paused = not self.paused
            self.anim.set_speed(0, 0.0 if self.paused else 1.0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("export", nargs="?", default=os.path.join(EXPORTS, "mecha_1502b"))
    parser.add_argument("--frames", type=int, default=0)
    parser.add_argument("--out", default="", help="a PNG of the last frame")
    parser.add_argument("--aim", default="weapon_l,weapon_r", help="joints that aim at the mouse")
    parser.add_argument("--mouse", default="", help="x,y: where the mouse is put first (for screenshots)")
    args = parser.parse_args()

    window = open_window("DragonBones", WIDTH, HEIGHT)
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("main", 0, 0, True))
    ids = actor_database.load_dragonbones(skeleton_file(args.export))
    if not ids:
        raise SystemExit(f"{args.export}: no armature could be loaded")
    character = main_armature(ids)
    joints = actor_database.get_skeleton(character).joints
    aims = [joint for joint in filter(None, args.aim.split(",")) if joint in joints]
    if args.mouse:
        x, y = (int(v) for v in args.mouse.split(","))
        window.post_event("mouse_move", position=(x, y))
    actor = Actor(character)
    fit(actor)
    scene.add_object(actor, "main")
    label = Text("", size=16)
    label.position = (10, 10)
    scene.add_object(label, "main")
    player = Player(window, actor, label, aims)
    scene.add_object(player, "main")

    scene.clear_colour = (0.15, 0.15, 0.2)
    frame = 0
    while window.process_events() and not window.is_key_down(key.ESCAPE):
        scene.update(1.0 / 60.0)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        frame += 1
        if args.frames and frame >= args.frames:
            if args.out:
                window.save_screenshot(args.out)
            break
        window.swap_buffers()
    for item in (player, label, actor):
        scene.remove_object(item)
    actor_database.unload()
    libgraphics.set_window(None)
    window.close()


if __name__ == "__main__":
    main()
