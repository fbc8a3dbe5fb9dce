"""Writes data/puppet.xml, the small articulated character of the actor tests and the
showcase, with nothing but the standard library.

    python3 data/actors.py            # rewrites data/puppet.xml

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


def world_positions():
    index = {name: i for i, (name, _, _) in enumerate(JOINTS)}
    world, turned = {}, {}
    for name, parent, (x, y) in JOINTS:
        px, py = world[parent] if parent else (0, 0)
        flip = -1 if turned.get(parent, False) else 1
        world[name] = (px + flip * x, py + flip * y)
        turned[name] = turned.get(parent, False) != (name in HALF_TURN)
    return index, world


def build():
    index, world = world_positions()
    vertices, faces = [], []
    torso, arm = [], []  # vertex numbers that the blend shapes and jiggle move
    for joints, widths in STRIPS:
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


def document():
    vertices, faces, torso, arm = build()
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           "<!-- The puppet: written by data/actors.py; edit that and run it again. -->",
           "<Actors>",
           '  <ActorData id="puppet" layer="world" z="0">']
    for name, parent, (x, y) in JOINTS:
        parent_attr = f' parent="{parent}"' if parent else ""
        limits = ' rotation_constraint="-2.5, 2.5"' if name in ("forearm", "shin", "shin_back") else ""
        turn = ' rotation="3.14159" bind_rotation="3.14159"' if name in HALF_TURN else ""
        out.append(f'    <Joint id="{name}"{parent_attr} position="{fmt(x)}, {fmt(y)}"{turn}{limits}/>')
    out.append('    <ActorMeshData id="body">')
    for (x, y), (u, v), (joints, weights) in vertices:
        out.append(f'      <Vertex position="{fmt(x)}, {fmt(y)}" tex_coord="{fmt(u)}, {fmt(v)}" '
                   f'joint_indices="{", ".join(map(str, joints))}" '
                   f'joint_weights="{", ".join(map(fmt, weights))}"/>')
    for a, b, c in faces:
        out.append(f'      <Face vertex_indices="{a}, {b}, {c}"/>')
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
    out.append("  </ActorData>")
    # The rigs the IK and dynamics controllers find by the actor's id.
    out.append('  <ActorRigIK id="puppet">')
    out.append('    <IKHandleRotation joint_id="head"/>')
    out.append('    <IKHandlePosition effector_id="hand" type="chain" bind_position="14, -11"/>')
    out.append('    <IKHandlePosition effector_id="foot" type="chain" direction="-1" bind_position="7, 64"/>')
    out.append('    <IKHandlePosition effector_id="foot_back" type="chain" direction="-1" bind_position="-7, 64"/>')
    out.append('    <IKHandlePosition effector_id="neck" type="aim" bind_position="0, -60"/>')
    out.append("  </ActorRigIK>")
    out.append('  <ActorRigDynamics id="puppet">')
    for name in ("root", "spine", "head", "upper_arm", "forearm", "thigh", "shin"):
        x, y = world_positions()[1][name]
        out.append(f'    <RigidBody id="{name}" position="{fmt(x)}, {fmt(y)}" mass="1" damping="0.1"/>')
    for a, b, limits in (("root", "spine", "-0.5, 0.5"), ("spine", "head", "-0.8, 0.8"),
                         ("spine", "upper_arm", "-2, 2"), ("upper_arm", "forearm", "0, 2.5"),
                         ("root", "thigh", "-1.2, 1.2"), ("thigh", "shin", "-2.5, 0")):
        out.append(f'    <ConstraintHinge body_0_id="{a}" body_1_id="{b}" rotation_constraint="{limits}"/>')
    out.append('    <ConstraintJoint body_id="root" joint_id="root"/>')
    for name in ("spine", "upper_arm", "forearm", "thigh", "shin"):
        out.append(f'    <ConstraintParent body_id="{name}" joint_id="{name}"/>')
    out.append("  </ActorRigDynamics>")
    out.append("</Actors>")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "puppet.xml")
    with open(path, "w") as f:
        f.write(document())
