"""A keyboard shortcut of the desktop reaches the newest notice."""
import signal

from Xlib import X

from desktop import Desktop, wait, x_server
from platformtest import PlatformTest, main


class NoticeFocus(PlatformTest):
    def test_notice_is_used_by_keyboard(self):
        application = self.desktop.open_window(100, 100, 300, 200).id
        for unread, button, opens in ((1, "消息中心，1条未读消息", True), (2, "关闭", False)):
            self.session.push("--unread", str(unread))
            notice = self.desktop.window("NotifyWnd")
            self.assertEqual(self.desktop.focused(), application)
            for _ in range(2):  # twice pressed is once pressed
                self.session.run("notice", "focus")
                wait(lambda: self.desktop.focused() == notice.id, "the notice has the focus")
            wait(self.ear.is_active, "the notice knows that it is active")
            self.press(button)
            if opens:
                self.desktop.window("CMsgCenterDlg")
                self.desktop.close("CMsgCenterDlg")
            self.desktop.wait_gone("NotifyWnd")
            self.desktop.activate("application")
        result = self.session.tarnctl("notice", "focus")
        self.assertEqual((result.returncode, result.stderr), (1, "tarnctl: no notice is shown\n"))
        self.assertEqual(self.desktop.focused(), application)
        both = [self.desktop.map_window(400, 100, 100, 50, "NotifyWnd") for _ in range(2)]
        wait(lambda: len(self.desktop.windows("NotifyWnd")) == 2, "notices of two hosts")
        self.desktop.activate("application")
        self.session.run("notice", "focus")
        wait(lambda: self.desktop.focused() == both[1].id, "the newer one has the focus")
        for window in both:
            window.destroy()
        self.desktop.wait_gone("NotifyWnd")

    def test_other_desktops(self):
        def focus():
            return self.session.tarnctl("notice", "focus").returncode
        self.addCleanup(self.session.environment.update, DISPLAY=self.session.environment["DISPLAY"])
        self.session.environment["DISPLAY"] = ":4711"
        self.assertEqual(focus(), 3)
        with x_server() as (server, display):
            self.session.environment["DISPLAY"] = display
            self.assertEqual(focus(), 1)
            desktop = Desktop(display)  # without a window manager
            frame = desktop.map_window(0, 0, 300, 200, "frame")
            older, newer, hidden = (desktop.map_window(10, 10, 100, 50, "NotifyWnd") for _ in range(3))
            newer.reparent(frame, 5, 5)  # as window managers do that know no hints
            older.configure(stack_mode=X.Below)
            hidden.unmap()
            desktop.display.sync()
            self.assertEqual(focus(), 0)
            self.assertEqual(desktop.focused(), newer.id)
            server.send_signal(signal.SIGSTOP)
            result = self.session.tarnctl("notice", "focus")
            server.send_signal(signal.SIGCONT)
            self.assertEqual((result.returncode, result.stderr), (3, "tarnctl: the X server does not answer\n"))


if __name__ == "__main__":
    main()
