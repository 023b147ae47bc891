#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include "support/FakeClient.h"
#include "support/XClients.h"
#include "support/XReply.h"
#include "support/Xdotool.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/Requests.h"
#include "upgrade/UpdateExplainDial.h"
#include "upgrade/UpgradeDialog.h"
#include "widgets/CustomMessageBox.h"
#include <QTest>
#include <QWindow>

using namespace request;

namespace {

// A window of another program, in which the user types.
class Other final
{
public:
    bool hasFocus()
    {
        if (m_server.focus() == m_window)
            return true;
        xcb_set_input_focus(m_server.connection(), XCB_INPUT_FOCUS_PARENT, m_window, XCB_CURRENT_TIME); // once mapped
        xcb_flush(m_server.connection());
        return false;
    }

    int keys()
    {
        while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(m_server.connection())})
            m_keys += (event->response_type & 0x7f) == XCB_KEY_PRESS ? 1 : 0;
        return m_keys;
    }

private:
    const XServer m_server;
    const xcb_window_t m_window = m_server.open(QRect(50, 50, 300, 200), true);
    int m_keys = 0;
};

// The window that comes when its service asks for it.
QDialog *openWindow(const QString &name)
{
    QVariantMap record = released("甲");
    record.insert("旧版本补丁包", section("甲", "1.0.1"));
    if (name == "silent installation") {
        sendPatch(patch("甲"));
        return onlyWindow<CInstallSilentPatchDlg>();
    }
    if (name == "online upgrade") { // with a download that a stray Escape and Return must not cancel
        FakeClient::fake().queue("QueryTaskInfos", {1000, {}, {{"taskInfoList", QVariantList{task("甲", 1)}}}});
        CVisualizedManager::GetInstance()->showUpgradeDialog();
        return onlyWindow<CUpgradeDialog>();
    }
    if (name == "sign-in") {
        login::ask({});
        FakeClient::fake().reset(); // opening it asks for the remembered account
        return onlyWindow<CYunLoginDialog>();
    }
    if (name == "update notes") {
        sendNotes(record);
        return onlyWindow<CUpdateExplainDial>();
    }
    sendCheck({record, released("乙")});
    return onlyWindow<CCheckUpdateDial>();
}

} // namespace

// Windows that come while the user types into another program: wherever the window manager puts the keyboard, nothing is
// pressed, nothing closed and nothing asked of a service.
class TestTyping final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void nothingIsPressed_data()
    {
        QTest::addColumn<QString>("window");
        for (const char *window :
             {"check-update prompt", "update notes", "silent installation", "sign-in", "online upgrade"})
            QTest::newRow(window) << QString::fromLatin1(window);
    }
    void nothingIsPressed()
    {
        QFETCH(QString, window);
        CVtServiceClient::GetInstance();
        FakeClient::fake().reset();
        const LogCatcher log;
        const LongWork longWork;
        Other other;
        QTRY_VERIFY(other.hasFocus());
        QPointer<QDialog> opened;
        for (int round = 0; round < 33; ++round) {
            QVERIFY(
                xdotool({"key", "--delay", "0", "space", "Return", "Tab", "space", "a", "Tab", "Return", "Escape"}));
            if (round == 2) {
                QTRY_COMPARE(other.keys(), 24); // they really go there
                opened = openWindow(window);
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        QTRY_VERIFY(opened && opened->windowHandle() && opened->windowHandle()->isExposed());
        QVERIFY(opened->isVisible());
        QVERIFY(!opened->focusWidget() || opened->focusWidget() == opened);
        QVERIFY(windows<QuestionMessageBox>().isEmpty());
        QStringList calls = FakeClient::fake().operations();
        calls.removeAll("QueryTaskInfos"); // asked every second by the window itself
        QVERIFY2(calls.isEmpty(), qPrintable(calls.join(' ')));
        for (const QString &line : log.texts(QtInfoMsg))
            QVERIFY2(!line.contains("用户点击"), qPrintable(line));
        CVisualizedManager::FreeInstance();
    }
};

QTEST_MAIN(TestTyping)
#include "tst_typing.moc"
