#!/usr/bin/python3
"""A tray for tests on a private session bus: sni_watcher.py [SECONDS]

Owns org.kde.StatusNotifierWatcher, says so ("tray up"), and takes orders on standard input, one a line:
  activate          left click on the last registered item
  menu              prints the entries of its menu, "entry ID LABEL"
  click LABEL       chooses that entry
  show              prints "item STATUS TOOLTIP ICON"
Every order is answered by a line that ends in "ok" or begins with "error". Ends at end of input or after SECONDS.
"""
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
loop = GLib.MainLoop()


def say(*words):
    print(*words, flush=True)


class Watcher(dbus.service.Object):
    def __init__(self):
        super().__init__(dbus.service.BusName(WATCHER, bus), "/StatusNotifierWatcher")
        self.items = []

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        self.items.append(str(service) if service.startswith(("org", ":")) else sender)
        say("registered", self.items[-1])

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.GetAll(interface)[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {
            "IsStatusNotifierHostRegistered": True,
            "ProtocolVersion": dbus.Int32(0),
            "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s"),
        }

    # Qt reads the property through the introspection data, which dbus-python writes without properties.
    @dbus.service.method(
        dbus.INTROSPECTABLE_IFACE, out_signature="s", path_keyword="path", connection_keyword="connection"
    )
    def Introspect(self, path, connection):
        text = dbus.service.Object.Introspect(self, path, connection)
        head = f'<interface name="{WATCHER}">'
        more = "".join(
            f'<property name="{name}" type="{kind}" access="read"/>'
            for name, kind in (("IsStatusNotifierHostRegistered", "b"), ("ProtocolVersion", "i"))
        )
        return text.replace(head, head + more)

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemRegistered(self, service):
        pass


watcher = Watcher()


def item():
    return bus.get_object(watcher.items[-1], "/StatusNotifierItem")


def prop(name):
    return item().Get(ITEM, name, dbus_interface=dbus.PROPERTIES_IFACE)


def menu():
    return bus.get_object(watcher.items[-1], prop("Menu"))


def entries():
    _, layout = menu().GetLayout(0, -1, [], dbus_interface=MENU)
    return [(int(entry[0]), str(entry[1].get("label", ""))) for entry in layout[2]]


def obey(order, argument):
    if not watcher.items:
        return say("error no item")
    if order == "activate":
        item().Activate(10, 10, dbus_interface=ITEM)
    elif order == "menu":
        for number, label in entries():
            say("entry", number, label)
    elif order == "click":
        numbers = [number for number, label in entries() if label == argument]
        if not numbers:
            return say("error no entry", argument)
        menu().Event(numbers[0], "clicked", "", dbus.UInt32(0), dbus_interface=MENU)
    elif order == "show":
        say("item", prop("Status"), prop("ToolTip")[2], prop("IconName"))
    else:
        return say("error unknown order", order)
    say(order, "ok")


def on_input(stream, condition):
    line = stream.readline()
    if not line:
        loop.quit()
        return False
    order, _, argument = line.strip().partition(" ")
    try:
        obey(order, argument)
    except dbus.DBusException as error:
        say("error", error.get_dbus_message())
    return True


GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, on_input)
if len(sys.argv) > 1:
    GLib.timeout_add_seconds(int(sys.argv[1]), loop.quit)
say("tray up")
loop.run()
