#!/usr/bin/python3
"""Succeeds once the window manager really manages windows, within 20 seconds. Waiting for _NET_SUPPORTING_WM_CHECK is not
enough: openbox sets it before it has taken over, and a window mapped in that gap stays unmapped for ever."""
import sys
import time

from Xlib import X, display

server = display.Display()
state = server.intern_atom("WM_STATE")
end = time.monotonic() + 20
while time.monotonic() < end:
    window = server.screen().root.create_window(0, 0, 10, 10, 0, X.CopyFromParent)
    window.map()
    for _ in range(10):
        if window.get_full_property(state, X.AnyPropertyType):
            sys.exit(0)
        time.sleep(0.01)
    window.destroy()
sys.exit(1)
