"""The common ground of the tests with real processes."""
import os
import signal
import sys
import time
import unittest

from pyatspi import DESKTOP_COORDS

from desktop import Desktop, Ear, wait
from session import Session


class PlatformTest(unittest.TestCase):
    """One session, desktop and ear for the tests of a class; prepare() runs before the host starts."""

    @classmethod
    def setUpClass(cls):
        cls.session, cls.desktop, cls.ear = Session(), Desktop(), Ear()
        cls.addClassCleanup(cls.session.close)
        cls.prepare()
        cls.session.start_host()

    @classmethod
    def prepare(cls):
        pass

    @classmethod
    def tearDownClass(cls):
        assert cls.session.stop_host() == 0, "the host ended badly"

    def check_near(self, found, expected, pixels):
        self.assertLessEqual(max(abs(a - b) for a, b in zip(found, expected)), pixels, f"{found}, not {expected}")

    def check_centred(self, window, over):
        """As exactly as halves of pixels allow, also of scaled ones."""
        x, y, width, height = over
        self.check_near((2 * window.x + window.width, 2 * window.y + window.height), (2 * x + width, 2 * y + height), 6)

    def activate(self, role):
        self.desktop.activate(role)
        wait(self.ear.is_active, f"{role} knows that it is active")
        pause = time.monotonic() + 1.1  # an unasked window takes no key before the user has paused for a second
        wait(lambda: time.monotonic() > pause, "the user's pause")

    def tab(self, *held):
        """The node that has the focus after Tab."""
        since = self.ear.catch_up()
        self.desktop.key(*held, "Tab")
        windows = ("dialog", "alert", "notification")
        return self.ear.wait_heard("object:state-changed:focused", lambda one: one.role not in windows, since)

    def tab_to(self, name, description=None):
        """Tabs to the stop of this name; fails where the focus comes back to where it was."""
        passed = []
        while True:
            stop = self.tab()
            if stop.name == name and description in (None, stop.description):
                return
            self.assertNotIn(stop, passed, f"no stop {name}")
            passed.append(stop)

    def press(self, name, description=None):
        self.tab_to(name, description)
        self.desktop.key("space")

    def click(self, name, role=None):
        """Clicks the middle of what has this name, and this role where it is given."""
        place = self.ear.find(name=name, **({"role": role} if role else {})).queryComponent().getExtents(DESKTOP_COORDS)
        self.desktop.do("mousemove", place.x + place.width // 2, place.y + place.height // 2, "click", 1)


class TooLate(BaseException):
    """No error that a caller could expect and suppress."""


def too_late(*_):
    raise TooLate("ctest would soon end this program")


def main():
    signal.signal(signal.SIGALRM, too_late)  # a call without a limit does not return: its place is shown, and all is ended
    signal.setitimer(signal.ITIMER_REAL, 420 if "TARN_SANITIZED" in os.environ else 100, 15)
    program = unittest.main(exit=False, failfast=True, verbosity=2, warnings="ignore")
    if not program.result.wasSuccessful():
        print(*Session.logs, sep="\n-- log of the host:\n", file=sys.stderr)
    sys.exit(not program.result.wasSuccessful())
