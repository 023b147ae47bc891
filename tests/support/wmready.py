#!/usr/bin/python3
"""Succeeds once the window manager really manages windows, within 60 seconds. Waiting for _NET_SUPPORTING_WM_CHECK is not
enough: openbox sets it before it has taken over, and a window mapped in that gap stays unmapped for ever."""
import select
import sys
import time

from Xlib import X, display

server = display.Display()
state = server.intern_atom("WM_STATE")
end = time.monotonic() + 60
while time.monotonic() < end:
    window = server.screen().root.create_window(0, 0, 10, 10, 0, X.CopyFromParent, event_mask=X.PropertyChangeMask)
    window.map()
    again = time.monotonic() + 0.1
    while (left := again - time.monotonic()) > 0:
        if window.get_full_property(state, X.AnyPropertyType):
            sys.exit(0)
        if server.pending_events():
            server.next_event()
        else:
            select.select([server], [], [], left)
    window.destroy()
sys.exit(1)
