"""Writes data/puppet.xml, the small articulated character of the actor tests and the
showcase, and data/dynamics.xml, two variants of it for the dynamics showcase, with
nothing but the standard library.

    python3 data/actors.py            # rewrites data/puppet.xml and data/dynamics.xml

The puppet stands on its root joint (the pelvis) with y growing downwards: a spine,
neck and head above, one arm hanging from the chest, two legs below. Its one mesh,
"body", is made of strips laid along the bones; each strip vertex is weighted to the
joint at its end of the bone, and half-and-half to both joints where two bones meet.
Two blend shapes ("bulge", driven by the forearm; "squash", driven by the spine) and a
jiggle region ("belly") are laid on the torso and the upper arm. Its skin is the
picture images.puppet_skin() draws.
"""
import math
import os
import sys

# name, parent, local position. Every bone points along its parent's (0, -1), the rest
# direction the IK solvers aim: the limbs hang down because their first joint is turned
# half a turn (HALF_TURN), so their children sit at negative y in its frame.
JOINTS = [
    ("root", None, (0, 0)),
    ("spine", "root", (0, -30)),
    ("neck", "spine", (0, -30)),
    ("head", "neck", (0, -16)),
    ("upper_arm", "spine", (14, -24)),
    ("forearm", "upper_arm", (0, -24)),
    ("hand", "forearm", (0, -20)),
    ("thigh", "root", (7, 4)),
    ("shin", "thigh", (0, -30)),
    ("foot", "shin", (0, -30)),
    ("thigh_back", "root", (-7, 4)),
    ("shin_back", "thigh_back", (0, -30)),
    ("foot_back", "shin_back", (0, -30)),
]
# Joints turned half a turn in the bind pose (the engine's half turn is 3.14159).
HALF_TURN = ("upper_arm", "thigh", "thigh_back")

# Strips: joints along the strip and half-width at each.
STRIPS = [
    (["root", "spine", "neck"], [14, 16, 9]),
    (["neck", "head"], [5, 12]),
    (["upper_arm", "forearm", "hand"], [5, 5, 3]),
    (["thigh", "shin", "foot"], [6, 5, 4]),
    (["thigh_back", "shin_back", "foot_back"], [6, 5, 4]),
]


def world_positions(joints=JOINTS, half_turn=HALF_TURN):
    index = {name: i for i, (name, _, _) in enumerate(joints)}
    world, turned = {}, {}
    for name, parent, (x, y) in joints:
        px, py = world[parent] if parent else (0, 0)
        flip = -1 if turned.get(parent, False) else 1
        world[name] = (px + flip * x, py + flip * y)
        turned[name] = turned.get(parent, False) != (name in half_turn)
    return index, world


def build(joints=JOINTS, strips=STRIPS, half_turn=HALF_TURN):
    index, world = world_positions(joints, half_turn)
    vertices, faces = [], []
    torso, arm = [], []  # vertex numbers that the blend shapes and jiggle move
    for joints, widths in strips:
        first = len(vertices)
        for k, (name, half) in enumerate(zip(joints, widths)):
            x, y = world[name]
            # Where two bones meet the vertex follows both; elsewhere the joint itself.
            if 0 < k < len(joints) - 1:
                influence = ([index[joints[k - 1]], index[name]], [0.5, 0.5])
            elif k == len(joints) - 1:
                influence = ([index[joints[k - 1]]], [1.0])
            else:
                influence = ([index[name]], [1.0])
            v = k / (len(joints) - 1)
            for side in (-1, 1):
                vertices.append(((x + side * half, y), ((side + 1) / 2, v), influence))
                if joints[0] == "root" and k < 2:
                    torso.append(len(vertices) - 1)
                if joints[0] == "upper_arm" and k == 1:
                    arm.append(len(vertices) - 1)
        for k in range(len(joints) - 1):
            a = first + 2 * k
            faces += [(a, a + 1, a + 2), (a + 1, a + 3, a + 2)]
    return vertices, faces, torso, arm


def fmt(x):
    return f"{x:g}"


def joint_lines(joints=JOINTS, half_turn=HALF_TURN):
    out = []
    for name, parent, (x, y) in joints:
        parent_attr = f' parent="{parent}"' if parent else ""
        limits = ' rotation_constraint="-2.5, 2.5"' if name in ("forearm", "shin", "shin_back") else ""
        turn = ' rotation="3.14159" bind_rotation="3.14159"' if name in half_turn else ""
        out.append(f'    <Joint id="{name}"{parent_attr} position="{fmt(x)}, {fmt(y)}"{turn}{limits}/>')
    return out


def vertex_lines(vertices, faces):
    out = []
    for (x, y), (u, v), (joints, weights) in vertices:
        out.append(f'      <Vertex position="{fmt(x)}, {fmt(y)}" tex_coord="{fmt(u)}, {fmt(v)}" '
                   f'joint_indices="{", ".join(map(str, joints))}" '
                   f'joint_weights="{", ".join(map(fmt, weights))}"/>')
    for a, b, c in faces:
        out.append(f'      <Face vertex_indices="{a}, {b}, {c}"/>')
    return out


def dynamics_rig(rig_id, bodies, hinges, pins, parents, damping=0.1):
    """A dynamics rig. bodies: {name: (x, y)}; hinges: (body_0, body_1, limits or None);
    pins: (body, joint) pairs, the body following the joint; parents: (body, joint)
    pairs, the joint turning towards the body's hinge partner."""
    out = [f'  <ActorRigDynamics id="{rig_id}">']
    for name, (x, y) in sorted(bodies.items()):
        out.append(f'    <RigidBody id="{name}" position="{fmt(x)}, {fmt(y)}" mass="1" damping="{fmt(damping)}"/>')
    for a, b, limits in hinges:
        limit_attr = f' rotation_constraint="{limits}"' if limits else ""
        out.append(f'    <ConstraintHinge body_0_id="{a}" body_1_id="{b}"{limit_attr}/>')
    for body, joint in pins:
        out.append(f'    <ConstraintJoint body_id="{body}" joint_id="{joint}"/>')
    for body, joint in parents:
        out.append(f'    <ConstraintParent body_id="{body}" joint_id="{joint}"/>')
    out.append("  </ActorRigDynamics>")
    return out


def ragdoll_rig():
    """The puppet as a ragdoll. A joint follows the body at the far end of its bone,
    hinged to the body at the joint itself: the joint turns to point along the bone as
    the bodies fall. Shoulder and hips are held rigidly to the chest and pelvis (limits
    of zero), so the limbs swing from where they hang. Nothing pins the pelvis: a script
    moves the root joint to the "pelvis" body each frame."""
    world = world_positions()[1]
    at = {"pelvis": "root", "belly": "spine", "chest": "neck", "head": "head",
          "shoulder": "upper_arm", "elbow": "forearm", "wrist": "hand",
          "hip": "thigh", "knee": "shin", "ankle": "foot",
          "hip_back": "thigh_back", "knee_back": "shin_back", "ankle_back": "foot_back"}
    bodies = {body: world[joint] for body, joint in at.items()}
    hinges = [("pelvis", "belly", "-0.4, 0.4"), ("belly", "chest", "-0.5, 0.5"), ("chest", "head", "-0.7, 0.7"),
              ("chest", "shoulder", "0, 0"), ("shoulder", "elbow", "-2.5, 2.5"), ("elbow", "wrist", "-2.4, 0"),
              ("pelvis", "hip", "0, 0"), ("hip", "knee", "-1.6, 1.6"), ("knee", "ankle", "0, 2.4"),
              ("pelvis", "hip_back", "0, 0"), ("hip_back", "knee_back", "-1.6, 1.6"),
              ("knee_back", "ankle_back", "0, 2.4")]
    parents = [("belly", "root"), ("chest", "spine"), ("head", "neck"), ("elbow", "upper_arm"),
               ("wrist", "forearm"), ("knee", "thigh"), ("ankle", "shin"), ("knee_back", "thigh_back"),
               ("ankle_back", "shin_back")]
    return dynamics_rig("puppet", bodies, hinges, [], parents)


# The puppet's clips: (name, duration, loops, tracks, events). A track is (joint,
# channel, keys), a key (time, value, easing); values are offsets from the setup pose
# (radians for rotations, x, y for positions). EASE is a gentle in-and-out bezier.
EASE = "bezier\" curve=\"0.42,0,0.58,1"
CLIPS = [
    ("idle", 2.0, 0, [
        ("spine", "rotation", [(0, 0, EASE), (1, 0.04, EASE), (2, 0, None)]),
        ("head", "rotation", [(0, -0.05, EASE), (1, 0.05, EASE), (2, -0.05, None)]),
        ("upper_arm", "rotation", [(0, 0, EASE), (1, 0.06, EASE), (2, 0, None)]),
        ("root", "position", [(0, "0, 0", EASE), (1, "0, 1", EASE), (2, "0, 0", None)]),
    ], []),
    ("walk", 1.0, 0, [
        ("thigh", "rotation", [(0, 0.45, EASE), (0.5, -0.45, EASE), (1, 0.45, None)]),
        ("thigh_back", "rotation", [(0, -0.45, EASE), (0.5, 0.45, EASE), (1, -0.45, None)]),
        ("shin", "rotation", [(0, 0, None), (0.25, -0.6, None), (0.5, 0, None), (1, 0, None)]),
        ("shin_back", "rotation", [(0, 0, None), (0.5, 0, None), (0.75, -0.6, None), (1, 0, None)]),
        ("upper_arm", "rotation", [(0, -0.35, EASE), (0.5, 0.35, EASE), (1, -0.35, None)]),
        ("forearm", "rotation", [(0, 0.2, None)]),
        ("spine", "rotation", [(0, 0.06, None)]),
        ("root", "position", [(0, "0, 0", EASE), (0.25, "0, -3", EASE), (0.5, "0, 0", EASE),
                              (0.75, "0, -3", EASE), (1, "0, 0", None)]),
    ], [(0, "step"), (0.5, "step")]),
    ("wave", 1.2, 2, [
        ("upper_arm", "rotation", [(0, 0, EASE), (0.3, 2.7, None), (0.9, 2.7, EASE), (1.2, 0, None)]),
        ("forearm", "rotation", [(0, 0, None), (0.3, 0, EASE), (0.45, 0.6, EASE), (0.6, -0.3, EASE),
                                 (0.75, 0.6, EASE), (0.9, 0, None)]),
        ("head", "rotation", [(0, 0, EASE), (0.3, 0.15, None), (0.9, 0.15, EASE), (1.2, 0, None)]),
    ], [(0.45, "wave"), (0.75, "wave")]),
]


def clip_lines(clips=CLIPS):
    out = []
    for name, duration, loops, tracks, events in clips:
        out.append(f'    <ActorClip id="{name}" duration="{fmt(duration)}" loops="{loops}">')
        for joint, channel, keys in tracks:
            out.append(f'      <ClipTrack joint="{joint}" channel="{channel}">')
            for time, value, easing in keys:
                value = value if isinstance(value, str) else fmt(value)
                easing = f' easing="{easing}"' if easing else ""
                out.append(f'        <ClipKey time="{fmt(time)}" value="{value}"{easing}/>')
            out.append("      </ClipTrack>")
        for time, event in events:
            out.append(f'      <ClipEvent time="{fmt(time)}" name="{event}"/>')
        out.append("    </ActorClip>")
    return out


def document():
    vertices, faces, torso, arm = build()
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           "<!-- The puppet: written by data/actors.py; edit that and run it again. -->",
           "<Actors>",
           '  <ActorData id="puppet" layer="world" z="0">']
    out += joint_lines()
    out.append('    <ActorMeshData id="body">')
    out += vertex_lines(vertices, faces)
    # "bulge": the upper arm swells as the forearm bends (1.5 rad: full).
    out.append('      <BlendShape joint_driver_id="forearm">')
    out.append('        <AnimCurve><Keyframe key="0" value="0"/><Keyframe key="1.5" value="1"/></AnimCurve>')
    for i, ((x, y), _, _) in enumerate(vertices):
        if i in arm:
            side = 1 if x > world_positions()[1]["upper_arm"][0] else -1
            out.append(f'        <Vertex offset="{fmt(4 * side)}, 0"/>')
        else:
            out.append("        <Vertex/>")
    out.append("      </BlendShape>")
    # "squash": the belly widens as the spine leans either way.
    out.append('      <BlendShape joint_driver_id="spine">')
    out.append('        <AnimCurve><Keyframe key="-1" value="1"/><Keyframe key="0" value="0"/>'
               '<Keyframe key="1" value="1"/></AnimCurve>')
    for i, ((x, y), _, _) in enumerate(vertices):
        if i in torso:
            out.append(f'        <Vertex offset="{fmt(math.copysign(5, x))}, 2"/>')
        else:
            out.append("        <Vertex/>")
    out.append("      </BlendShape>")
    # "belly": the torso's soft part trails its skinned place.
    out.append('      <Jiggle id="belly" stiffness="0.02" damping="0.15">')
    for i in range(len(vertices)):
        out.append(f'        <Vertex weight="{0.6 if i in torso else 0}"/>')
    out.append("      </Jiggle>")
    out.append("    </ActorMeshData>")
    out += clip_lines()
    out.append("  </ActorData>")
    # The rigs the IK and dynamics controllers find by the actor's id.
    out.append('  <ActorRigIK id="puppet">')
    out.append('    <IKHandleRotation joint_id="head"/>')
    out.append('    <IKHandlePosition effector_id="hand" type="chain" bind_position="14, -11"/>')
    out.append('    <IKHandlePosition effector_id="foot" type="chain" direction="-1" bind_position="7, 64"/>')
    out.append('    <IKHandlePosition effector_id="foot_back" type="chain" direction="-1" bind_position="-7, 64"/>')
    out.append('    <IKHandlePosition effector_id="neck" type="aim" bind_position="0, -60"/>')
    out.append("  </ActorRigIK>")
    out += ragdoll_rig()
    out.append("</Actors>")
    return "\n".join(out) + "\n"


# The ponytail: a chain hanging from the back of the puppet's head.
HAIR = [("hair_0", "head", (-13, 4)), ("hair_1", "hair_0", (0, -14)), ("hair_2", "hair_1", (0, -14)),
        ("hair_end", "hair_2", (0, -12))]
# The sleeper's spine carries the names a collision actor's spine has.
SLEEPER_NAMES = {"root": "lumbar", "spine": "thoracic", "neck": "collar"}


def renamed(joints, names):
    return [(names.get(n, n), names.get(p, p) if p else None, at) for n, p, at in joints]


def mesh_actor(actor_id, joints, strips, half_turn=HALF_TURN):
    vertices, faces, _, _ = build(joints, strips, half_turn)
    out = [f'  <ActorData id="{actor_id}" layer="world" z="0">']
    out += joint_lines(joints, half_turn)
    out.append('    <ActorMeshData id="body">')
    out += vertex_lines(vertices, faces)
    out.append("    </ActorMeshData>")
    out.append("  </ActorData>")
    return out


def ponytail_rig():
    """The hair's root is pinned to its joint on the head; each joint below follows the
    body at the far end of its bone, as in the ragdoll."""
    world = world_positions(JOINTS + HAIR, HALF_TURN + ("hair_0",))[1]
    at = {"hair_root": "hair_0", "hair_1": "hair_1", "hair_2": "hair_2", "hair_end": "hair_end"}
    bodies = {body: world[joint] for body, joint in at.items()}
    hinges = [("hair_root", "hair_1", "-1.3, 1.3"), ("hair_1", "hair_2", "-0.9, 0.9"),
              ("hair_2", "hair_end", "-0.9, 0.9")]
    parents = [("hair_1", "hair_0"), ("hair_2", "hair_1"), ("hair_end", "hair_2")]
    # Hair is light and the air slows it: well damped, it sways and settles.
    return dynamics_rig("ponytail", bodies, hinges, [("hair_root", "hair_0")], parents, damping=1.5)


def dynamics_document():
    """The actors of the dynamics showcase: "sleeper", the puppet with a collision
    actor's spine names (lumbar, thoracic, collar, head), and "ponytail", the puppet
    with hair that swings."""
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           "<!-- Written by data/actors.py; edit that and run it again. -->",
           "<Actors>"]
    sleeper_strips = [([SLEEPER_NAMES.get(j, j) for j in joints], widths) for joints, widths in STRIPS]
    out += mesh_actor("sleeper", renamed(JOINTS, SLEEPER_NAMES), sleeper_strips)
    out += mesh_actor("ponytail", JOINTS + HAIR, STRIPS + [(["hair_0", "hair_1", "hair_2", "hair_end"], [4, 4, 3, 1])],
                      HALF_TURN + ("hair_0",))
    out += ponytail_rig()
    out.append("</Actors>")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    here = os.path.dirname(__file__)
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "puppet.xml")
    with open(path, "w") as f:
        f.write(document())
    with open(os.path.join(os.path.dirname(path), "dynamics.xml"), "w") as f:
        f.write(dynamics_document())
