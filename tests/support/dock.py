#!/usr/bin/python3
"""A panel that reserves space on one edge: dock.py left|right|top|bottom PIXELS. Prints "dock up"; runs until ended."""
import sys

from Xlib import X, Xatom, display


def main():
    edge, size = sys.argv[1], int(sys.argv[2])
    connection = display.Display()
    screen = connection.screen()
    width, height = screen.width_in_pixels, screen.height_in_pixels
    x, y, w, h = {
        "left": (0, 0, size, height),
        "right": (width - size, 0, size, height),
        "top": (0, 0, width, size),
        "bottom": (0, height - size, width, size),
    }[edge]
    window = screen.root.create_window(
        x, y, w, h, 0, screen.root_depth, X.InputOutput, background_pixel=0x303030
    )

    def set_property(name, kind, values):
        window.change_property(connection.intern_atom(name), kind, 32, values)

    set_property("_NET_WM_WINDOW_TYPE", Xatom.ATOM, [connection.intern_atom("_NET_WM_WINDOW_TYPE_DOCK")])
    side = ["left", "right", "top", "bottom"].index(edge)
    strut = [0] * 12
    strut[side] = size
    strut[4 + 2 * side + 1] = (height if side < 2 else width) - 1
    set_property("_NET_WM_STRUT", Xatom.CARDINAL, strut[:4])
    set_property("_NET_WM_STRUT_PARTIAL", Xatom.CARDINAL, strut)
    window.set_wm_class("test-dock", "TestDock")
    window.map()
    connection.sync()
    print("dock up", flush=True)
    while True:
        connection.next_event()


main()
