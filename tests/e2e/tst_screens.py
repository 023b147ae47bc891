"""Where the windows come up, and how large, on two screens, the right one of which is the primary one."""
import subprocess

from desktop import wait
from platformtest import PlatformTest, main
from products import Products

LEFT, PRIMARY = (0, 0, 1024, 768), (1024, 0, 1280, 1000)  # x, y, width, height, in pixels
NOTICE = ("message", "push", "--title", "标题", "--content", "正文")
CENTER, SIGN_IN = ("CMsgCenterDlg", 760, 600), ("CYunLoginDialog", 400, 424)


class Screens(PlatformTest):
    scales = {LEFT: 1, PRIMARY: 1}

    @classmethod
    def prepare(cls):
        cls.session.environment.update(
            QT_ENABLE_HIGHDPI_SCALING="1",
            QT_SCREEN_SCALE_FACTORS=f"DUMMY0={cls.scales[LEFT]};DUMMY1={cls.scales[PRIMARY]}")
        cls.products = Products(cls.session, "甲")
        cls.addClassCleanup(cls.products.close)
        cls.products.offer("甲")

    def sized(self, kind, *screens):
        """The visible window once it is on one of the screens, whose scaled size Qt rounds, with its size there."""
        role, width, height = kind

        def fits(window, screen):
            x, y, right, bottom = screen
            wide, high = width * self.scales[screen], height * self.scales[screen]
            return (window[4:] == (wide, high)
                    and x <= window.x <= x + right - wide + 1 and y <= window.y <= y + bottom - high + 1)

        def arrived():
            found = self.desktop.windows(role)
            return next((window for window in found if any(fits(window, screen) for screen in screens)), None)
        return wait(arrived, lambda: f"{kind} on {screens}: {self.desktop.windows(role)}")

    def shown(self, role, *command):
        """The window that the command brings, after it has been closed."""
        self.session.run(*command)
        window = self.desktop.window(role)
        self.desktop.close(role)
        return window

    def test_corner_of_the_primary_screen(self):
        for (right, bottom), role, *command in (((2304, 1000), "NotifyWnd", *NOTICE),
                                                ((2305, 1001), "CCheckUpdateDial", "upgrade", "check")):
            with self.subTest(role):
                window, margin = self.shown(role, *command), 11 * self.scales[PRIMARY]
                self.check_near((window.x + window.width, window.y + window.height), (right - margin, bottom - margin),
                                3 * (self.scales[PRIMARY] - 1))

    def test_notice_follows_the_primary_screen(self):
        """To the left screen when that is the only one, and back."""
        def at_corner(right, bottom, scale):
            def near():
                gaps = [(right - window.x - window.width, bottom - window.y - window.height)
                        for window in self.desktop.windows("NotifyWnd")]
                return gaps and all(abs(gap - 11 * scale) <= 3 * (scale - 1) for gap in gaps[0])
            wait(near, lambda: f"the notice in the corner: {self.desktop.windows('NotifyWnd')}")
        back = ("xrandr", "--output", "DUMMY1", "--mode", "1280x1000", "--pos", "1024x0", "--primary")
        self.session.run(*NOTICE)
        self.addCleanup(self.desktop.close, "NotifyWnd")
        at_corner(2304, 1000, self.scales[PRIMARY])
        self.addCleanup(subprocess.run, back, check=True)
        subprocess.run(("xrandr", "--output", "DUMMY1", "--off"), check=True)
        at_corner(1024, 768, self.scales[LEFT])
        subprocess.run(back, check=True)
        at_corner(2304, 1000, self.scales[PRIMARY])

    def test_middle_of_the_primary_screen(self):
        for role, *command in (("CMsgCenterDlg", "call", "ShowMessageCenter"),
                               ("CUpdateExplainDial", "upgrade", "notes", "甲"),
                               ("CYunLoginDialog", "call", "ShowCloudLogin")):
            with self.subTest(role):
                self.check_centred(self.shown(role, *command), PRIMARY)

    def test_over_a_window_of_either_screen(self):
        number = self.desktop.open_window(300, 200, 300, 400).id
        application = self.desktop.resource(number)
        for screen, x, y in ((LEFT, 320, 200), (PRIMARY, 1500, 300), (LEFT, 350, 210)):
            with self.subTest(x=x):
                application.configure(x=x, y=y)
                wait(lambda: abs(self.desktop.place(application).x - x) < 5, "the window is moved")  # its frame is there
                self.session.call("ShowCloudLogin", 父级窗口句柄={"$u64": str(number)})
                self.check_centred(self.sized(SIGN_IN, screen), self.desktop.place(application)[2:])
        self.desktop.close("CYunLoginDialog")

    def test_window_near_an_edge_stays_on_its_screen(self):
        edge = round(LEFT[2] / self.scales[LEFT])
        for left, top, screen in ((edge - 124, 10, LEFT), (1050, 620, PRIMARY), (edge - 124, 10, LEFT)):
            with self.subTest(left=left):
                self.session.call("ShowMessageCenter", msg_center_rect={"$rect": [left, top, 100, 60]})
                self.sized(CENTER, screen)
        self.desktop.close("CMsgCenterDlg")


class ScaledPrimary(Screens):
    scales = {LEFT: 1, PRIMARY: 1.5}


class ScaledBoth(Screens):
    scales = {LEFT: 1.25, PRIMARY: 1.25}


class ScaledLeft(Screens):
    scales = {LEFT: 1.25, PRIMARY: 1}

    def test_left_between_the_screens(self):
        """Its centre is on the right screen with the size of the left one, and the other way round: either will do."""
        self.session.call("ShowMessageCenter", msg_center_rect={"$rect": [100, 100, 100, 60]})
        window = self.sized(CENTER, LEFT)
        self.desktop.resource(window.id).configure(x=600, y=10)
        wait(lambda: self.desktop.place(self.desktop.resource(window.id)).x != window.x, "the window is moved")
        self.sized(CENTER, LEFT, PRIMARY)
        self.desktop.close("CMsgCenterDlg")


if __name__ == "__main__":
    main()
