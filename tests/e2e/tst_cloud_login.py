"""From an application's request to its notification, with real processes, mouse, keyboard and browser."""
import os
import re
import signal
import subprocess

from pyatspi import STATE_FOCUSED
from selenium import webdriver
from selenium.webdriver.common.by import By

from desktop import wait
from platformtest import PlatformTest, main

DIALOG, TIP, SERVICES = "CYunLoginDialog", "CustomMessageBox", "tarn-services"
PASSWORD, WRONG_PASSWORD = "geheimeswort", "falscheswort"


class CloudLogin(PlatformTest):
    @classmethod
    def prepare(cls):
        # With the RPC core's log lines: they are searched for secrets too.
        cls.session.write("bin/cfg.ini", "[config]\nRpcLog=true\n[system]\napps_path=apps\n")
        cls.application = cls.desktop.open_window(300, 200, 800, 600)
        cls.secrets = [PASSWORD, WRONG_PASSWORD]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.session.run("cloud", "account", "add", "zhang", "--phone", "13800000001", "--weixin", "wx1",
                        stdin=PASSWORD + "\n")

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        log = cls.session.log()
        assert "zhang" in log  # the lines that name the account are there
        assert not [secret for secret in cls.secrets if secret in log]
        # Tokens and random codes: hex of 64 and of 8 digits.
        found = re.search(r"\b(?<!-)([0-9a-f]{64}|(?=[0-9]*[a-f])[0-9a-f]{8})\b", log)
        assert not found, log[max(0, found.start() - 100):found.end() + 100]

    def setUp(self):
        self.session.run("cloud", "logout")
        self.caller = self.dialog = None

    def tearDown(self):
        self.session.signal(SERVICES, signal.SIGCONT)
        self.desktop.close(TIP)
        self.desktop.close(DIALOG)
        if self.caller:
            self.caller.kill()
            self.caller.communicate()

    def ask(self):
        """An application asks for a sign-in, and the dialog comes in the middle of its window, with the focus."""
        arguments = ["call", "ShowCloudLogin", '{"软件标识":"e2e"}', "--wait", "--parent", str(self.application.id)]
        self.caller = subprocess.Popen([f"{self.session.bin}/tarnctl", *arguments], env=self.session.environment,
                                       stdout=subprocess.PIPE, text=True)
        wait(lambda: self.desktop.focused() == self.desktop.window(DIALOG).id, "the dialog has the focus")
        self.check_centred(self.desktop.window(DIALOG), self.application[2:])
        self.activate(DIALOG)

    def notified(self):
        """The caller got its notification."""
        self.assertEqual(self.caller.communicate(timeout=20)[0].split("\n")[-2], "AfterLogin")
        self.desktop.wait_gone(DIALOG)

    def fill(self, name, text):
        """Waits for the text: Qt passes each key to the accessibility bus first, so that a later click can overtake it."""
        self.click(name)
        wait(lambda: self.ear.find(name=name).getState().contains(STATE_FOCUSED), name)
        self.desktop.key("Control_L", "a")
        self.desktop.key("Delete")
        wait(lambda: self.length(name) == 0, f"{name} is empty")
        self.desktop.type(text)
        wait(lambda: self.length(name) == len(text), f"{name} has the text")

    def length(self, name):
        return self.ear.find(name=name).queryText().characterCount

    def sign_in(self, password):
        self.click("账号登录", "page tab")  # the dialog opens at the way used last
        self.fill("请输入账号", "zhang")
        self.fill("请输入密码", password)
        self.desktop.key("Return")

    def tip(self):
        text = self.ear.alert()
        self.desktop.window(TIP)
        self.desktop.close(TIP)
        return text

    def test_by_qr_code(self):
        profile = self.session.path("browser")
        options = webdriver.ChromeOptions()
        for argument in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--no-proxy-server", "--disable-background-networking", "--disable-component-update",
                         "--disable-sync", f"--user-data-dir={profile}/profile"):
            options.add_argument(argument)
        os.environ["no_proxy"] = "localhost,127.0.0.1"
        environment = dict(os.environ, HOME=profile, TMPDIR=self.session.path("tmp"))
        service = webdriver.chrome.service.Service("/usr/bin/chromedriver", env=environment)
        self.ask()
        self.click("微信登录")
        page = wait(self.session.opened_links, "the page")[-1]
        self.secrets.append(page.rsplit("/", 1)[1])
        self.desktop.wait_gone(DIALOG)  # hidden, not closed
        self.assertTrue(self.session.call("QueryYunLoginDialogState")["queryYunDiaResult"])
        with webdriver.Chrome(service=service, options=options) as browser:
            def says(text):
                wait(lambda: browser.find_element(By.ID, "state").text == text, text)
            browser.get(page)
            says("请使用微信扫描二维码")
            phone = browser.find_element(By.ID, "phone").get_attribute("href")
            computer = browser.current_window_handle
            browser.switch_to.new_window("tab")
            browser.get(phone)
            browser.find_element(By.ID, "identity").send_keys("wx1")
            browser.find_element(By.ID, "confirm").click()
            self.notified()
            browser.switch_to.window(computer)
            says("登录成功，可以关闭此页面")
        self.assertEqual(self.session.json("cloud", "state")["Way"], "weixin")

    def test_by_account_while_the_service_hangs_and_dies(self):
        self.ask()
        self.sign_in(WRONG_PASSWORD)
        self.assertEqual(self.tip(), "账号或密码错误")
        self.session.freeze(SERVICES)
        before = self.session.log().count("开始登录云账号")
        self.sign_in(PASSWORD)
        wait(lambda: self.session.log().count("开始登录云账号") > before, "the sign-in has begun")
        self.assertEqual(self.desktop.windows(TIP), [])
        self.session.signal(SERVICES, signal.SIGKILL)
        self.assertEqual(self.tip(), "发生通信错误")
        wait(lambda: self.session.tarnctl("cloud", "state").returncode == 0, "the hub has restarted it")
        self.sign_in(PASSWORD)
        self.notified()
        self.assertEqual(self.session.json("cloud", "state")["user"], "zhang")


if __name__ == "__main__":
    main()
