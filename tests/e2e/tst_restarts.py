"""Processes that are killed, frozen, flooded or started twice; no test restarts the host to make it callable."""
import json
import os
import re
import shutil
import signal
import subprocess
import unittest

from desktop import Desktop, Ear, wait, x_server
from platformtest import PlatformTest, main
from products import Products
from session import Session

HOST, HUB, SERVICES = "visualized-host", "ServiceHub", "tarn-services"
DOWNLOADING = 1  # state of a task


class Programs(unittest.TestCase):
    """Programs that lack a file or a service, are killed, terminated or updated; each test with a fresh session."""

    def setUp(self):
        self.session = Session()
        self.addCleanup(self.session.close)

    def test_missing_hub_is_told(self):
        desktop, ear = Desktop(), Ear()
        program = f"{self.session.bin}/{HUB}"
        os.rename(program, program + ".away")
        focused = desktop.open_window(100, 100, 300, 200).id
        self.session.host = self.session.start(HOST)
        notice = desktop.window("MissingHubNotice")
        self.assertEqual((notice.x + notice.width, notice.y + notice.height), (1920 - 11, 1080 - 11))
        self.assertEqual(desktop.focused(), focused)
        ear.find(role="notification", name="岚川软件平台", description="缺少岚川关键服务，请下载并重新安装软件！")
        ear.find(role="push button", name="关闭", description="")
        os.rename(program + ".away", program)
        hub = self.session.start(HUB, "quickboot")
        desktop.wait_gone("MissingHubNotice")
        self.session.wait_ready()
        self.assertEqual(self.session.stop_host(), 0)
        hub.terminate()
        hub.wait(30)

    def test_host_ends_although_its_display_hangs(self):
        with x_server() as (server, display):
            self.session.environment["DISPLAY"] = display
            self.session.start_host()
            self.session.push()
            self.session.call("ShowMessageCenter")
            server.send_signal(signal.SIGSTOP)
            self.session.stop_host()

    def test_everything_is_killed_and_started_again(self):
        """The port segment, sockets and database of killed processes mislead no program."""
        self.session.start_host()
        self.session.push()
        before = self.session.messages()
        for program in (HOST, HUB, SERVICES):
            self.session.signal(program, signal.SIGKILL)
        self.session.host.wait(30)
        wait(lambda: not self.session.pids(HUB) + self.session.pids(SERVICES), "all are dead")
        self.session.start_host()
        self.assertEqual(self.session.messages(), before)

    def test_terminated_host_leaves_nothing(self):
        self.session.start_host()
        self.session.push()

        def sockets():
            return [name for name in os.listdir(self.session.path("run/tarn")) if name.endswith(".sock")]
        with_host = len(sockets())
        self.assertEqual(self.session.stop_host(), 0)
        self.assertLess(len(sockets()), with_host)
        self.assertEqual(self.session.tarnctl("call", "QueryYunLoginDialogState").returncode, 3)
        # Hub and services belong to the platform and stay; terminated, they leave nothing either.
        self.assertEqual(len(self.session.pids(SERVICES)), 1)
        # The host chooses its GL for itself alone.
        self.assertNotIn(b"QT_XCB_GL_INTEGRATION", self.session.read(f"/proc/{self.session.pids(HUB)[0]}/environ"))
        self.session.signal(HUB, signal.SIGTERM)
        wait(lambda: not self.session.pids(HUB) + self.session.pids(SERVICES) and not sockets(), "nothing is left")

    def test_running_product_is_refused_or_ended(self):
        product, folder = "青石排版", "bin/apps/bluestone/"  # its patch is 3.1.0.2
        self.session.write(folder + "installation.ini",
                           f"[General]\nSoftwareName={product}\nVersion=3.1.0\nExeName=bluestone-sample\n")
        path = self.session.path(folder + "bluestone-sample")
        shutil.copy("/bin/sleep", path)
        program = subprocess.Popen([path, "600"])
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        self.session.start_host()
        result = self.session.tarnctl("upgrade", "silent", product)
        self.assertEqual(result.returncode, 1)
        self.assertIn("the product is running", result.stderr)
        # The online-upgrade window, which installs finished downloads, is open meanwhile.
        self.session.run("upgrade", "start", "远帆仿真")
        self.assertNotIn(b"3.1.0.2", self.session.read(folder + "installation.ini"))
        self.assertIsNone(program.poll())
        # 99 when that window has installed the package, and removed it, before the silent one looked for it.
        self.assertRegex(self.session.run("upgrade", "silent", "--kill-running", product),
                         r"\Ashown: yes\nstate of the window: (1|99)\ninstalled: 3\.1\.0\.2\n\Z")
        program.wait(30)
        self.assertIn(b"PatchVersion=3.1.0.2", self.session.read(folder + "installation.ini"))
        self.assertTrue(self.session.read(folder + "bluestone-patch-3.1.0.2.version"))
        self.session.run("status")  # though its only window has closed


class Windows(PlatformTest):
    """Windows that stay usable while their service is away, and a host that stays within its memory."""

    @classmethod
    def prepare(cls):
        cls.desktop.open_panel([0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 1919])  # 40 pixels at the lower edge
        cls.products = Products(cls.session, "乙")
        cls.addClassCleanup(cls.products.close)

    def test_notice_outlives_its_service(self):
        self.session.push()
        window = self.desktop.window("NotifyWnd")
        self.assertEqual((window.x + window.width, window.y + window.height), (1920 - 11, 1080 - 40 - 11))
        killed = self.session.pids(SERVICES)
        self.assertEqual(self.session.signal(SERVICES, signal.SIGKILL), 1)
        wait(lambda: self.session.pids(SERVICES) not in ([], killed), "other services")
        self.session.wait_ready()
        self.assertEqual(self.desktop.windows("NotifyWnd"), [window])
        self.desktop.close("NotifyWnd")

    def test_window_of_a_hung_service_is_dragged(self):
        self.products.offer("乙")
        self.session.run("upgrade", "start", "乙")
        window = self.desktop.window("CUpgradeDialog")
        self.session.freeze(SERVICES)
        for _ in range(3):  # the window asks the service meanwhile
            wanted = window._replace(x=window.x + 40, y=window.y + 20)
            self.desktop.do("mousemove", window.x + 300, window.y + 20, "mousedown", 1,
                            "mousemove", window.x + 320, window.y + 30, "mousemove", window.x + 340, window.y + 40,
                            "mouseup", 1)
            wait(lambda: self.desktop.windows("CUpgradeDialog") == [wanted], f"{wanted}", 10)
            window = wanted
        self.session.signal(SERVICES, signal.SIGCONT)
        wait(lambda: self.products.status("乙") == DOWNLOADING, "the service answers again")
        self.session.run("upgrade", "stop", "乙")
        self.desktop.wait_gone("CUpgradeDialog")

    def test_notices_stay_within_memory(self):
        """Larger and faster than a well-meaning service sends them."""
        def peak():
            status = self.session.read(f"/proc/{self.session.pids(HOST)[0]}/status")
            return int(re.search(rb"VmHWM:\s*(\d+)", status)[1])
        self.session.call("ShowNotifyMessage", MsgId="id", MsgContent="first")
        self.desktop.window("NotifyWnd")
        before = peak()
        self.session.write("notice.json", json.dumps({"MsgId": "id", "MsgContent": "文" * (1 << 20)}))
        for _ in range(60):  # 2 MiB each in memory, and two seconds for each on the screen
            self.session.run("call", "ShowNotifyMessage", "@" + self.session.path("notice.json"))
        self.session.run("status")
        if "TARN_SANITIZED" not in os.environ:
            self.assertLess(peak() - before, 100 * 1024)


if __name__ == "__main__":
    main()
