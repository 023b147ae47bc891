"""Where the windows come up on two screens, the right one of which is the primary one."""
from platformtest import PlatformTest, main
from products import Products

LEFT, PRIMARY = (0, 0, 1024, 768), (1024, 0, 1280, 1000)  # x, y, width, height
NOTICE = ("message", "push", "--title", "标题", "--content", "正文")


class Screens(PlatformTest):
    @classmethod
    def prepare(cls):
        cls.products = Products(cls.session, "甲")
        cls.addClassCleanup(cls.products.close)
        cls.products.offer("甲")
        cls.application = cls.desktop.open_window(600, 200, 300, 400)  # on the left screen

    def check_inside(self, window, area):
        x, y, width, height = area
        self.assertTrue(x <= window.x and window.x + window.width <= x + width
                        and y <= window.y and window.y + window.height <= y + height, f"{window} is not in {area}")

    def check_centred(self, window, over):
        """As exactly as halves of pixels allow."""
        x, y, width, height = over
        off = (2 * window.x + window.width - 2 * x - width, 2 * window.y + window.height - 2 * y - height)
        self.assertLessEqual(max(map(abs, off)), 4, f"{window} is not over the middle of {over}")

    def shown(self, role, *command):
        """The window that the command brings, after it has been closed."""
        self.session.run(*command)
        window = self.desktop.window(role)
        self.desktop.close(role)
        return window

    def check_corner(self, window, right, bottom):
        self.assertEqual((window.x + window.width, window.y + window.height), (right - 11, bottom - 11))

    def test_corner_of_the_primary_screen(self):
        self.check_corner(self.shown("NotifyWnd", *NOTICE), 2304, 1000)
        self.check_corner(self.shown("CCheckUpdateDial", "upgrade", "check"), 2305, 1001)

    def test_middle_of_the_primary_screen(self):
        for role, *command in (("CMsgCenterDlg", "call", "ShowMessageCenter"),
                               ("CUpdateExplainDial", "upgrade", "notes", "甲"),
                               ("CYunLoginDialog", "call", "ShowCloudLogin")):
            with self.subTest(role):
                self.check_centred(self.shown(role, *command), PRIMARY)

    def test_over_a_window_of_the_other_screen(self):
        self.session.call("ShowCloudLogin", 父级窗口句柄={"$u64": str(self.application.id)})
        self.check_centred(self.desktop.window("CYunLoginDialog"), self.application[2:])
        self.desktop.close("CYunLoginDialog")

    def test_window_near_an_edge_stays_on_its_screen(self):
        for rect, screen in (([900, 10, 100, 60], LEFT), ([1050, 900, 100, 60], PRIMARY)):
            with self.subTest(rect):
                self.session.call("ShowMessageCenter", msg_center_rect={"$rect": rect})
                self.check_inside(self.desktop.window("CMsgCenterDlg"), screen)
                self.desktop.close("CMsgCenterDlg")


if __name__ == "__main__":
    main()
