#!/usr/bin/python3
"""alert_text.py SECONDS: waits for a message box of any program and prints its text, as a screen reader would speak it."""
import sys
import time

import pyatspi


def alerts():
    for application in pyatspi.Registry.getDesktop(0):
        for window in application or ():
            if window is not None and window.getRole() == pyatspi.ROLE_ALERT:
                yield window


def texts(node):
    for child in node:
        if child.getRole() == pyatspi.ROLE_LABEL and child.name:
            yield child.name
        yield from texts(child)


deadline = time.monotonic() + float(sys.argv[1])
while time.monotonic() < deadline:
    for alert in alerts():
        if alert.getState().contains(pyatspi.STATE_SHOWING):
            print("\n".join(text for text in texts(alert) if text != alert.name))  # without the title
            sys.exit(0)
    time.sleep(0.1)
sys.exit(1)
