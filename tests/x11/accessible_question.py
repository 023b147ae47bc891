#!/usr/bin/python3
"""accessible_question.py PROGRAM: starts PROGRAM, which asks a question, and reads and answers it as a screen reader would.

Passes when the box is announced as an alert with its title and text, its controls have names and roles, "是" can be
pressed through its action, and the program gets that answer.
"""
import subprocess
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import GLib
import pyatspi

DEADLINE_SECONDS = 30
failures = []


def check(what, actual, expected):
    if actual != expected:
        failures.append(f"{what}: {actual!r} instead of {expected!r}")


def descendants(node):
    for child in node:
        if child is not None:
            yield child
            yield from descendants(child)


def on_showing(event):
    """The box has come up: its role tells a screen reader to speak it at once."""
    if event.detail1 and event.source.getRole() == pyatspi.ROLE_ALERT:
        pyatspi.Registry.stop()
        inspect(event.source)


def inspect(alert):
    check("title", alert.name, "提示")
    check("text", alert.description, "确定要取消升级吗？")
    parts = list(descendants(alert))
    buttons = {p.name: p for p in parts if p.getRole() == pyatspi.ROLE_PUSH_BUTTON}
    check("buttons", sorted(buttons), sorted(["是", "否", "关闭"]))
    texts = [p.name for p in parts if p.getRole() == pyatspi.ROLE_LABEL]
    check("text is a label", "确定要取消升级吗？" in texts, True)
    for name, button in buttons.items():
        states = button.getState()
        check(f"{name} is focusable", states.contains(pyatspi.STATE_FOCUSABLE), True)
        check(f"{name} is not focused unasked", states.contains(pyatspi.STATE_FOCUSED), False)
    if "是" in buttons:
        action = buttons["是"].queryAction()
        names = [action.getName(i) for i in range(action.nActions)]
        check("action of 是", "Press" in names, True)
        action.doAction(names.index("Press"))


def on_deadline():
    failures.append("no alert was announced")
    pyatspi.Registry.stop()
    return False


pyatspi.Registry.registerEventListener(on_showing, "object:state-changed:showing")
GLib.timeout_add_seconds(DEADLINE_SECONDS, on_deadline)
program = subprocess.Popen([sys.argv[1]], stdout=subprocess.PIPE, text=True)
pyatspi.Registry.start()
try:
    out, _ = program.communicate(timeout=DEADLINE_SECONDS)
    check("answer", out.strip(), "answer 1")
except subprocess.TimeoutExpired:
    failures.append("the program did not end")
    program.kill()
for failure in failures:
    print("FAIL", failure)
sys.exit(1 if failures else 0)
