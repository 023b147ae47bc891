"""The desktop as its user meets it: windows by the X server, keys and mouse by XTEST, what a screen reader gets by AT-SPI."""
import os
import subprocess
import time
from collections import namedtuple
from contextlib import contextmanager, suppress

import gi
import pyatspi
from Xlib import X, Xatom, display, error
from Xlib.protocol import event

gi.require_version("GLib", "2.0")
from gi.repository import GLib  # noqa: E402

# x, y, width, height: in pixels of the root window, without a frame.
Window = namedtuple("Window", "id role x y width height")
Node = namedtuple("Node", "role name description")
GONE = (GLib.Error, error.BadWindow, error.BadDrawable)  # a window or widget has just been destroyed


def wait(condition, what, seconds=30):
    """The first true result of the condition; events are delivered meanwhile. what: a text, or a function that returns it."""
    end = time.monotonic() + seconds
    tick = GLib.timeout_add(20, lambda: True)
    try:
        while True:
            with suppress(*GONE):
                if result := condition():
                    return result
            assert time.monotonic() < end, f"not within {seconds} s: {what() if callable(what) else what}"
            GLib.MainContext.default().iteration(True)
    finally:
        GLib.source_remove(tick)


@contextmanager
def x_server():
    """A further X server without a window manager: its process and its display's name."""
    reader, writer = os.pipe()
    # In a new session, since tests stop it: the kernel hangs up a group that is orphaned with a stopped process in it.
    with subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-nolisten", "tcp", "-noreset"], pass_fds=[writer],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True) as server:
        os.close(writer)
        try:
            with open(reader, encoding="ascii") as name:
                yield server, ":" + name.readline().strip()
        finally:
            server.kill()


class Desktop:
    """Windows, keyboard and mouse."""

    def __init__(self, name=None):
        self.display = display.Display(name)
        self.root = self.display.screen().root

    def resource(self, number):
        return self.display.create_resource_object("window", number)

    def property(self, window, name):
        """None without it."""
        found = window.get_full_property(self.display.intern_atom(name), X.AnyPropertyType)
        return found.value if found else None

    def role(self, window):
        return (self.property(window, "WM_WINDOW_ROLE") or b"").decode()

    def place(self, window):
        origin, size = self.root.translate_coords(window, 0, 0), window.get_geometry()
        return Window(window.id, self.role(window), origin.x, origin.y, size.width, size.height)

    def windows(self, role):
        """The visible windows with this role, of any process."""
        found = []
        for number in self.property(self.root, "_NET_CLIENT_LIST") or ():
            window = self.resource(number)
            with suppress(*GONE):
                if self.role(window) == role and window.get_attributes().map_state == X.IsViewable:
                    found.append(self.place(window))
        return found

    def window(self, role):
        """The visible window with this role, once there is one."""
        return wait(lambda: self.windows(role), f"window {role}")[0]

    def wait_gone(self, role):
        wait(lambda: not self.windows(role), f"no window {role}")

    def focused(self):
        """The id of the window that gets the keys; of Qt's window where a helper of it has the focus. 0 without one."""
        focus = self.display.get_input_focus().focus
        with suppress(*GONE):
            while not isinstance(focus, int) and focus != self.root and not self.role(focus):
                focus = focus.query_tree().parent
            return 0 if isinstance(focus, int) else focus.id
        return 0

    def client_message(self, target, window, kind, *data):
        message = event.ClientMessage(window=window, client_type=self.display.intern_atom(kind),
                                      data=(32, [*data, *[0] * (5 - len(data))]))
        mask = X.SubstructureRedirectMask | X.SubstructureNotifyMask if target == self.root else 0
        target.send_event(message, event_mask=mask)
        self.display.sync()

    def activate(self, role):
        """As the window switcher of the desktop does."""
        found = self.window(role)
        self.client_message(self.root, self.resource(found.id), "_NET_ACTIVE_WINDOW", 2, X.CurrentTime)
        wait(lambda: self.focused() == found.id, f"{role} is active")
        return found

    def close(self, role):
        """As the close button of a window manager does."""
        for found in self.windows(role):
            window = self.resource(found.id)
            self.client_message(window, window, "WM_PROTOCOLS", self.display.intern_atom("WM_DELETE_WINDOW"))
        self.wait_gone(role)

    def open_window(self, x, y, width, height):
        """A window of another program, active; its place is the window manager's."""
        window = self.map_window(x, y, width, height, "application")
        self.activate("application")
        return self.place(window)

    def map_window(self, x, y, width, height, role):
        window = self.root.create_window(x, y, width, height, 0, X.CopyFromParent)
        window.set_wm_name(role)
        window.set_wm_normal_hints(flags=3, x=x, y=y)  # the user's place
        window.change_property(self.display.intern_atom("WM_WINDOW_ROLE"), Xatom.STRING, 8, role.encode())
        window.map()
        self.display.sync()
        return window

    def open_panel(self, strut):
        """A panel of the desktop, which keeps this space free (_NET_WM_STRUT_PARTIAL)."""
        window = self.root.create_window(0, 0, 10, 10, 0, X.CopyFromParent)
        window.change_property(self.display.intern_atom("_NET_WM_WINDOW_TYPE"), Xatom.ATOM, 32,
                               [self.display.intern_atom("_NET_WM_WINDOW_TYPE_DOCK")])
        window.change_property(self.display.intern_atom("_NET_WM_STRUT_PARTIAL"), Xatom.CARDINAL, 32, strut)
        before = self.property(self.root, "_NET_WORKAREA")
        window.map()
        wait(lambda: self.property(self.root, "_NET_WORKAREA") != before, "the panel has its space")

    def do(self, *commands):
        """Real events through the X server, as xdotool(1) makes them."""
        subprocess.run(["xdotool", *map(str, commands)], check=True)

    def key(self, *names):
        """Presses the keys, each while the ones before it are held: key("Shift_L", "Tab")."""
        self.do("key", "--delay", 0, "+".join(names))

    def type(self, text):
        self.do("type", "--delay", 1, text)


def node(accessible):
    return Node(accessible.getRoleName(), accessible.name, accessible.description)


def tree(accessible):
    yield accessible
    for child in accessible:
        if child is not None:
            yield from tree(child)


class Ear:
    """What a screen reader gets to know of the host."""

    KINDS = ("object:state-changed:focused", "object:state-changed:showing", "window:activate",
             "object:property-change:accessible-description")

    def __init__(self):
        self.heard = []  # (kind, node), in order
        pyatspi.Registry.registerEventListener(self.take, *self.KINDS)

    def take(self, heard):
        with suppress(GLib.Error):
            if heard.detail1 or "state-changed" not in str(heard.type):
                self.heard.append((str(heard.type), node(heard.source)))

    def wait_heard(self, kind, wanted, since=0):
        """The node of the first event of this kind since then whose node is wanted."""
        return wait(lambda: next((one for what, one in self.heard[since:] if what == kind and wanted(one)), None),
                    lambda: f"{kind}; heard: {self.heard[since:]}")

    def windows(self):
        return [window for application in pyatspi.Registry.getDesktop(0) if application
                for window in application if window and window.getState().contains(pyatspi.STATE_SHOWING)]

    def find(self, **wanted):
        """The first visible accessible object with this role, name or description, once there is one."""
        def found():
            return next((one for window in self.windows() for one in tree(window)
                         if one.getState().contains(pyatspi.STATE_SHOWING)
                         and wanted.items() <= node(one)._asdict().items()), None)
        return wait(found, f"accessible object {wanted}")

    def catch_up(self):
        """Hears what the host has said so far. The number of events heard."""
        wait(lambda: [self.windows()], "the accessible windows")  # the answer comes after the events before it
        while GLib.MainContext.default().iteration(False):
            pass
        return len(self.heard)

    def is_active(self):
        """Whether a window has learnt that it is the active one."""
        return any(window.getState().contains(pyatspi.STATE_ACTIVE) for window in self.windows())

    def alert(self):
        """The text of the message box that is open, without its title, once there is one."""
        box = self.find(role="alert")
        labels = [one.name for one in tree(box) if one.getRoleName() == "label" and one.name]
        return "\n".join(label for label in labels if label != box.name)
