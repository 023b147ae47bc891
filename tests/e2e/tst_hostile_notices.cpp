#include "e2e/Popup.h"
#include "e2e/Session.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTest>

namespace {

constexpr qint64 MaxGrowthKiB = 100 * 1024;

qint64 peakKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

} // namespace

// Notices that are larger and faster than any well-meaning service sends them, through the real processes: the host
// accepts them, fetches nothing and stays within its memory.
class TestHostileNotices final : public QObject
{
    Q_OBJECT
private slots:
    void memoryStaysBounded();

private:
    bool send(const QString &content);

    Session m_session;
};

bool TestHostileNotices::send(const QString &content)
{
    QFile file(m_session.path(QStringLiteral("notice.json")));
    const QJsonObject values{{QStringLiteral("MsgId"), QStringLiteral("id")},
                             {QStringLiteral("MsgContent"), content},
                             {QStringLiteral("PicFilePath"), QStringLiteral("/dev/zero")}};
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(values).toJson()) < content.size())
        return false;
    file.close();
    return m_session
               .tarnctl(
                   {QStringLiteral("call"), QStringLiteral("ShowNotifyMessage"), QLatin1Char('@') + file.fileName()})
               .exitCode == 0;
}

void TestHostileNotices::memoryStaysBounded()
{
    QTcpServer server; // counts clients that come for remote pictures
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
    const qint64 host = m_session.pids(QStringLiteral("visualized-host")).value(0);
    QVERIFY(send(QStringLiteral("<img src=\"http://127.0.0.1:%1/x.png\">").arg(server.serverPort())));
    QVERIFY(!popup::waitFor().isNull());
    [[maybe_unused]] const qint64 peak = peakKiB(host);
    for (int i = 0; i < 60; ++i) // 2 MiB each in memory, and two seconds for each on the screen
        QVERIFY(send(QString(1 << 20, QChar(0x6587))));
    QCOMPARE(m_session.tarnctl({QStringLiteral("status")}).exitCode, 0);
#ifndef TARN_SANITIZED
    const qint64 growth = peakKiB(host) - peak;
    QVERIFY2(growth < MaxGrowthKiB, QByteArray::number(growth) + " KiB more");
#endif
    QVERIFY(!server.hasPendingConnections());
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestHostileNotices)
#include "tst_hostile_notices.moc"
