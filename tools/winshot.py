#!/usr/bin/python3 -B
"""winshot.py ROLE FILE.png [OTHER_ID]: waits for a visible window with this role, other than OTHER_ID, until it is drawn and
its picture rests, saves the picture and prints the window's id. Fails when there is none within 15 seconds."""
import os
import struct
import sys
import zlib

from Xlib import X, error

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../tests/e2e"))
from desktop import Desktop, wait  # noqa: E402


def chunk(kind, content):
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))


def png(width, height, pixels):
    """From 32-bit pixels as X has them: blue, green, red and a byte without meaning."""
    rgb = bytearray(3 * width * height)
    rgb[0::3], rgb[1::3], rgb[2::3] = pixels[2::4], pixels[1::4], pixels[0::4]
    lines = b"".join(b"\0" + rgb[3 * width * y:3 * width * (y + 1)] for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(lines)) + chunk(b"IEND", b""))


class Look:
    """The window and its picture, as the user sees it; complete once two looks in a row agree and show something."""

    def __init__(self, role, other):
        self.role, self.other, self.last, self.desktop = role, other, None, Desktop()

    def resting(self):
        before, self.last = self.last, self.take()
        return self.last if self.last and self.last == before else None

    def take(self):
        screen = self.desktop.root.get_geometry()
        for window in self.desktop.windows(self.role):
            left, top = max(window.x, 0), max(window.y, 0)
            width = min(window.x + window.width, screen.width) - left
            height = min(window.y + window.height, screen.height) - top
            if window.id == self.other or width <= 0 or height <= 0:
                continue
            try:
                pixels = self.desktop.root.get_image(left, top, width, height, X.ZPixmap, 0xffffffff).data
            except error.XError:
                continue
            if pixels != pixels[:4] * (width * height):
                return window.id, width, height, pixels
        return None


def main():
    role, path = sys.argv[1:3]
    look = Look(role, int(sys.argv[3]) if len(sys.argv) > 3 else 0)
    number, *picture = wait(look.resting, f"a picture of a window {role}", 15)
    with open(path, "wb") as file:
        file.write(png(*picture))
    print(number)


if __name__ == "__main__":
    main()
