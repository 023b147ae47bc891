"""Every window and every task of the user by keyboard and by ear: no mouse event at all."""
import os

from desktop import Node, tree, wait
from platformtest import PlatformTest, main
from products import Products, archive

DOWNLOADING, CANCELLED, INSTALLED = 1, 4, 13  # states of a task
CLICKED = 3  # receipt
LINK = "https://example.com/notice?id=7&x=%E5%80%BC"
DESCRIPTION = "object:property-change:accessible-description"
ACTIVATED = "window:activate"


def button(name, description=""):
    return Node("push button", name, description)


CLOSE = button("关闭", "关闭")  # of a title bar


class Keyboard(PlatformTest):
    NAMES = ("甲", "乙", "丙", "丁")  # one more than the prompt shows without scrolling
    RUNNING = ("戊", "己", "庚")

    @classmethod
    def prepare(cls):
        cls.products = Products(cls.session, *cls.NAMES, *cls.RUNNING)
        cls.addClassCleanup(cls.products.close)

    def setUp(self):
        self.products.offers.clear()
        self.since = self.ear.catch_up()

    def tearDown(self):
        wait(lambda: not self.ear.windows(), lambda: f"{[window.name for window in self.ear.windows()]} are closed")

    def announced(self, kind, role, name, description=""):
        """A screen reader gets this event in this test."""
        return self.ear.wait_heard(kind, lambda one: one == Node(role, name, description), self.since)

    def opened(self, role, name, description=""):
        self.announced("object:state-changed:showing", "dialog", name, description)
        self.activate(role)

    def asked(self, role, text, about=""):
        """A box with this text and description has come and has the focus."""
        self.assertEqual(self.ear.alert(), text)
        self.announced(ACTIVATED, "alert", "提示", about)
        self.activate(role)

    def check_stops(self, *expected):
        """The tab stops from the next one on, until the first comes again; backwards the last one follows."""
        stops = [self.tab()]
        while (stop := self.tab()) != stops[0]:
            self.assertNotIn(stop, stops)
            stops.append(stop)
        self.assertEqual(stops, list(expected))
        self.assertEqual(self.tab("Shift_L"), stops[-1])

    def test_notice_is_read(self):
        message = self.session.push("--link", LINK, "--link-text", "查看详情")
        self.announced("object:state-changed:showing", "notification", "消息通知：标题")
        self.ear.find(role="label", name="正文")  # read with the labels, once
        self.activate("NotifyWnd")
        # A screen reader takes a frame for a window, and says nothing of the focus in one that is not active.
        self.assertNotIn("frame", [one.getRoleName() for window in self.ear.windows() for one in tree(window)])
        self.tab_to("查看详情")
        self.desktop.key("Return")
        wait(lambda: self.session.opened_links() == [LINK], "the link is opened")
        wait(lambda: [one["MessageReceipt"] for one in self.session.messages()[message]["receipts"]] == [CLICKED],
             "the receipt")
        self.press("关闭")

    def test_message_center_is_cleaned(self):
        self.session.run("message", "clear", "--yes")
        for name in ("oldest", "middle", "newest"):
            self.session.push("--id", name, "--title", name, "--link", LINK, "--link-text", "详情", "--unread", "3")
            self.desktop.window("NotifyWnd")
            if name != "newest":
                self.desktop.close("NotifyWnd")
        self.activate("NotifyWnd")
        self.press("消息中心，3条未读消息")
        self.opened("CMsgCenterDlg", "消息中心")
        self.tab_to("newest")
        self.desktop.key("Return")
        self.announced(DESCRIPTION, "list item", "newest", "已展开 正文")
        self.check_stops(button("收起", "newest"), Node("text", "newest", ""), Node("label", "详情", LINK),
                         button("删除", "newest"), CLOSE, button("全部已读"), Node("list item", "newest", "已展开 正文"))
        unread = {name: message["unRead"] for name, message in self.session.messages().items()}
        self.assertEqual(unread, {"newest": False, "middle": True, "oldest": True})
        self.tab_to("newest", "已展开 正文")
        self.desktop.key("Down")
        self.desktop.key("Delete")
        wait(lambda: list(self.session.messages()) == ["newest", "oldest"], "the middle one is deleted")
        self.desktop.key("Escape")
        self.press("全部已读")
        wait(lambda: not self.session.messages()["oldest"]["unRead"], "all are read")
        self.assertEqual(list(self.session.messages()), ["newest", "oldest"])
        self.press("关闭")
        self.desktop.wait_gone("CMsgCenterDlg")

    def test_update_is_chosen_after_its_notes(self):
        for day, name in enumerate(self.NAMES):
            self.products.offer(name, day=9 - day)
        self.session.run("upgrade", "check")
        self.opened("CCheckUpdateDial", "在线升级：软件存在新版本", "您安装的岚川软件存在新版本，建议您立即升级。")
        self.press("更新说明", "乙")
        self.opened("CUpdateExplainDial", "在线升级：乙 更新说明", "存在新版本，建议您立即更新。")
        self.check_stops(Node("page tab list", "乙", ""), Node("label", "更新说明", ""), button("暂不更新"),
                         button("立即更新"), CLOSE)
        self.press("立即更新")
        self.desktop.wait_gone("CUpdateExplainDial")
        wait(lambda: self.products.status("乙") == DOWNLOADING, "the task")
        self.desktop.window("CUpgradeDialog")
        self.session.run("upgrade", "stop", "乙")
        self.desktop.wait_gone("CUpgradeDialog")
        self.activate("CCheckUpdateDial")
        self.desktop.key("Escape")

    def test_second_of_three_downloads_is_cancelled(self):
        good = archive({"bin/program": b"new 2.0", "data/big": os.urandom(200000)})
        self.products.offer("戊", good)
        self.products.offer("己")
        self.products.offer("庚", checksum="1" * 64)
        for name in self.RUNNING:
            self.session.run("upgrade", "start", name)
        self.opened("CUpgradeDialog", "在线升级")
        self.ear.find(role="table", name="正在升级的软件")
        self.press("取消升级", "己")
        self.asked("QuestionMessageBox", "确定要取消升级吗？", "己")
        self.check_stops(button("否"), CLOSE, button("是"))
        self.press("是")
        wait(lambda: self.products.status("己") == CANCELLED, "己 is cancelled")
        self.products.server.released.set()
        self.desktop.window("CustomMessageBox")
        self.assertIn("庚", self.ear.alert())
        self.assertIn("checksum", self.products.task("庚")["ErrMsg"])
        self.activate("CustomMessageBox")
        self.press("确定")
        wait(lambda: self.products.status("戊") == INSTALLED, "戊 is installed")
        self.desktop.wait_gone("CUpgradeDialog")  # by itself
        self.assertEqual(self.products.file("戊", "bin/program"), b"new 2.0")
        self.assertIn(b"Version=2.0", self.products.file("戊", "installation.ini"))
        self.assertEqual(self.products.file("己", "bin/program"), b"old 1.0")

    def test_sign_in_by_phone(self):
        self.session.run("cloud", "account", "add", "zhang", "--phone", "13800000001", stdin="geheim\n")
        self.session.call("ShowCloudLogin", 软件标识="e2e")
        self.opened("CYunLoginDialog", "云账号登录")
        others = button("微信登录"), button("QQ登录"), CLOSE
        self.check_stops(
            Node("page tab list", "账号登录", ""), Node("text", "请输入账号", "请输入账号"),
            Node("password text", "请输入密码", "请输入密码"), button("显示密码", "显示密码"), Node("check box", "记住密码", ""),
            Node("check box", "自动登录", ""), button("立即登录"), button("注册账号"), button("忘记密码"), *others)
        self.press("微信登录")
        self.opened("WaitNotice", "云账号登录", self.ear.find(role="dialog").description)
        self.check_stops(button("取消"), CLOSE)
        self.desktop.key("Escape")
        self.activate("CYunLoginDialog")
        self.tab_to("账号登录")
        self.desktop.key("Right")
        self.announced("object:state-changed:focused", "page tab", "短信登录")
        self.check_stops(
            Node("text", "请输入手机号", "请输入手机号"), Node("text", "请输入动态密码", "请输入动态密码"), button("获取动态密码"),
            Node("check box", "记住手机号", ""), Node("check box", "自动登录", ""), button("立即登录"), *others,
            Node("page tab list", "短信登录", ""))
        self.tab_to("请输入手机号")
        self.desktop.type("13800000001")
        self.press("获取动态密码")
        self.asked("CustomMessageBox", "发送成功，请查收!")
        self.desktop.key("Return")
        self.activate("CYunLoginDialog")  # with the focus in the field of the code
        self.desktop.type(self.session.json("cloud", "outbox")[0]["code"])
        self.desktop.key("Return")
        self.desktop.wait_gone("CYunLoginDialog")
        state = self.session.json("cloud", "state")
        self.assertEqual((state["user"], state["Way"]), ("zhang", "phone"))


if __name__ == "__main__":
    main()
