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


deadline = time.monotonic() + float(sys.argv[1])
while time.monotonic() < deadline:
    for alert in alerts():
        if alert.getState().contains(pyatspi.STATE_SHOWING):
            print(alert.description)
            sys.exit(0)
    time.sleep(0.1)
sys.exit(1)
