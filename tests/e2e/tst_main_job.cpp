#include "e2e/Popup.h"
#include "e2e/Session.h"
#include "support/XInput.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <csignal>

namespace {

constexpr int PanelHeight = 40;
constexpr int Clicked = 3; // receipt
const QString Link = QStringLiteral("https://example.com/notice?id=7&x=%E5%80%BC");

QJsonObject message(const Session &session, const QString &id)
{
    const Session::Result list =
        session.tarnctl({QStringLiteral("message"), QStringLiteral("list"), QStringLiteral("--json")});
    for (const QJsonValue &value : list.json().toArray()) {
        if (value.toObject().value(QStringLiteral("MsgId")).toString() == id)
            return value.toObject();
    }
    return {};
}

// The kinds of receipt that the message service has for the message.
QVector<int> receipts(const Session &session, const QString &id)
{
    QVector<int> kinds;
    for (const QJsonValue &receipt : message(session, id).value(QStringLiteral("receipts")).toArray())
        kinds.append(receipt.toObject().value(QStringLiteral("MessageReceipt")).toInt());
    return kinds;
}

} // namespace

// The whole way with real processes and a real mouse: a message is pushed, the service has it shown, the user answers.
class TestMainJob final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void popupStandsInTheCorner();
    void linkIsOpenedAndReported();
    void killedServiceComesBackUnderAStandingPopup();
    void cleanupTestCase();

private:
    Session m_session;
    QProcess m_panel;
    XInput m_input;
};

void TestMainJob::initTestCase()
{
    m_panel.start(QStringLiteral("trayer"),
                  {QStringLiteral("--edge"), QStringLiteral("bottom"), QStringLiteral("--widthtype"),
                   QStringLiteral("percent"), QStringLiteral("--width"), QStringLiteral("100"),
                   QStringLiteral("--height"), QString::number(PanelHeight), QStringLiteral("--SetDockType"),
                   QStringLiteral("true"), QStringLiteral("--SetPartialStrut"), QStringLiteral("true")});
    QVERIFY(m_panel.waitForStarted());
    QTRY_COMPARE(xclients::workArea().height(), 1080 - PanelHeight);
    QVERIFY(m_input.isValid());
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
}

void TestMainJob::cleanup()
{
    const XClient left = xclients::byRole(popup::Role);
    if (left.isNull())
        return;
    xclients::requestClose(left.id);
    QVERIFY(popup::waitGone(left.id));
}

void TestMainJob::popupStandsInTheCorner()
{
    QVERIFY(!m_session.push({QStringLiteral("--unread"), QStringLiteral("3")}).isEmpty());
    const XClient window = popup::waitFor();
    QVERIFY(!window.isNull());
    const QRect area = xclients::workArea();
    QCOMPARE(window.geometry.left() + window.geometry.width(), area.right() - 10);
    QCOMPARE(window.geometry.top() + window.geometry.height(), area.bottom() - 10);
    QCOMPARE(window.geometry.width(), 400);
    QVERIFY(window.geometry.height() > 60 && window.geometry.height() <= 400);
    QVERIFY(!window.title.isEmpty());
    QCOMPARE(window.instance, QStringLiteral("visualized-host"));
    QCOMPARE(m_session.pids(QStringLiteral("visualized-host")), QVector<qint64>{window.pid});
}

void TestMainJob::linkIsOpenedAndReported()
{
    const QString id =
        m_session.push({QStringLiteral("--link"), Link, QStringLiteral("--link-text"), QStringLiteral("查看详情")});
    const XClient window = popup::waitFor();
    QVERIFY(!window.isNull());
    QCOMPARE(receipts(m_session, id), QVector<int>());
    const QPoint link = popup::linkAt(window);
    QVERIFY(!link.isNull());
    m_input.click(link.x(), link.y());
    QTRY_COMPARE_WITH_TIMEOUT(m_session.openedLinks(), QStringList{Link}, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(receipts(m_session, id), QVector<int>{Clicked}, 20000);
}

void TestMainJob::killedServiceComesBackUnderAStandingPopup()
{
    const QString id =
        m_session.push({QStringLiteral("--link"), Link, QStringLiteral("--link-text"), QStringLiteral("查看详情")});
    const XClient window = popup::waitFor();
    QVERIFY(!window.isNull());
    const QVector<qint64> killed = m_session.pids(QStringLiteral("tarn-services"));
    QCOMPARE(m_session.signalAll(QStringLiteral("tarn-services"), SIGKILL), 1);
    QTRY_VERIFY_WITH_TIMEOUT(!m_session.pids(QStringLiteral("tarn-services")).isEmpty() &&
                                 m_session.pids(QStringLiteral("tarn-services")) != killed,
                             20000);
    QVERIFY(m_session.waitReady());
    QVERIFY(!message(m_session, id).isEmpty()); // what was stored is still there

    const QPoint link = popup::linkAt(window);
    m_input.click(link.x(), link.y());
    QTRY_COMPARE_WITH_TIMEOUT(receipts(m_session, id), QVector<int>{Clicked}, 20000);
}

void TestMainJob::cleanupTestCase()
{
    m_panel.kill();
    m_panel.waitForFinished();
}

QTEST_GUILESS_MAIN(TestMainJob)
#include "tst_main_job.moc"
