"""The README's first script: a window, the pixel projection and two transforms."""
import libgraphics
from libgraphics import Transform

from _common import frames, open_window


def main():
    window = open_window("first")
    arm, hand = Transform(), Transform()
    arm.attach(hand)
    arm.position, hand.position = (320, 240), (0, -100)
    count, frame = frames(), 0
    while window.process_events():   # False once the window is closed
        arm.rotation += 0.01         # the hand's world matrix follows
        print(hand.world_position)
        window.clear()               # opaque black: nothing clears the window by itself
        window.swap_buffers()
        frame += 1
        if count and frame >= count:
            break
    libgraphics.set_window(None)
    window.close()


if __name__ == "__main__":
    main()
