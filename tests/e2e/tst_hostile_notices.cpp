#include "e2e/Popup.h"
#include "e2e/Session.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTest>

#include <sys/stat.h>

namespace {

constexpr int Accepted = 0;
constexpr int WrongUsage = 2;
constexpr qint64 MaxGrowthKiB = 100 * 1024;

QByteArray smallPng()
{
    QImage image(64, 64, QImage::Format_ARGB32);
    image.fill(Qt::darkGreen);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

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

QByteArray notice(QJsonObject values)
{
    for (const auto &[key, value] : {std::pair(QStringLiteral("MsgId"), QStringLiteral("id")),
                                     std::pair(QStringLiteral("MsgTitle"), QStringLiteral("标题")),
                                     std::pair(QStringLiteral("MsgContent"), QStringLiteral("正文"))}) {
        if (!values.contains(key))
            values.insert(key, value);
    }
    return QJsonDocument(values).toJson(QJsonDocument::Compact);
}

} // namespace

// Notices that no well-meaning service would send, through the real way: the host answers, shows what there is to show
// in a window of the usual size, fetches nothing, blocks nowhere and lives on.
class TestHostileNotices final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void notice_data();
    void notice();
    void cleanupTestCase();

private:
    QString file(const QString &name, const QByteArray &content) const;
    void pictureRows();
    void textRows();

    Session m_session;
    QTcpServer m_server; // counts who comes for remote pictures
    qint64 m_host = 0;
    qint64 m_peak = 0;
};

QString TestHostileNotices::file(const QString &name, const QByteArray &content) const
{
    const QString path = m_session.path(name);
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? path : QString();
}

void TestHostileNotices::initTestCase()
{
    QVERIFY(m_server.listen(QHostAddress::LocalHost));
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
    m_host = m_session.pids(QStringLiteral("visualized-host")).value(0);
}

void TestHostileNotices::pictureRows()
{
    const QString fifo = m_session.path(QStringLiteral("fifo.png"));
    QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const auto add = [](const char *name, const QString &path) {
        QTest::newRow(name) << ::notice({{QStringLiteral("PicFilePath"), path}}) << Accepted << true;
    };
    add("good picture", file(QStringLiteral("good.png"), smallPng())); // first: the peak is measured from here
    add("pipe as picture", fifo);
    add("endless device as picture", QStringLiteral("/dev/zero"));
    add("truncated picture", file(QStringLiteral("half.png"), smallPng().left(60)));
}

void TestHostileNotices::textRows()
{
    const auto add = [](const char *name, const QJsonObject &values, bool shown, int exitCode = Accepted) {
        QTest::newRow(name) << ::notice(values) << exitCode << shown;
    };
    const QString content = QStringLiteral("MsgContent");
    const QString remote = QStringLiteral("<img src=\"http://127.0.0.1:%1/x.png\">").arg(m_server.serverPort());
    add("remote picture in the text", {{content, remote}, {QStringLiteral("LinkText"), remote}}, true);
    add("wide table in the text", {{content, QStringLiteral("<table width=\"99999\"><tr><td>x</td></tr></table>")}},
        true);
    add("one word without end", {{content, QString(100000, QLatin1Char('W'))}}, true);
    add("1 MiB of text", {{content, QStringLiteral("正文 ").repeated(1 << 18)}}, true);
    add("unclosed markup", {{content, QStringLiteral("<p><b><i><table><tr><td>").repeated(500)}}, true);
    add("over 4 MiB", {{content, QString(5 << 20, QLatin1Char('x'))}}, false, WrongUsage);
}

void TestHostileNotices::notice_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<bool>("shown");
    pictureRows();
    textRows();
    QByteArray deep = "1";
    for (int i = 0; i < 10000; ++i)
        deep = "{\"a\":" + deep + '}';
    QTest::newRow("nested 10000 deep") << deep << WrongUsage << false;
    QTest::newRow("half of a surrogate pair")
        << QByteArray("{\"MsgId\":\"1\",\"MsgContent\":\"x\",\"MsgTitle\":\"\\ud800\"}") << WrongUsage << false;
    QTest::newRow("invalid UTF-8") << QByteArray("{\"MsgId\":\"1\",\"MsgTitle\":\"\xff\xfe\"}") << WrongUsage << false;
}

void TestHostileNotices::notice()
{
    QFETCH(QByteArray, json);
    QFETCH(int, exitCode);
    QFETCH(bool, shown);
    const QString input = file(QStringLiteral("notice.json"), json);
    const Session::Result result =
        m_session.tarnctl({QStringLiteral("call"), QStringLiteral("ShowNotifyMessage"), QLatin1Char('@') + input});
    QVERIFY2(result.exitCode == exitCode, result.output + result.errors + QByteArray::number(result.exitCode));

    const XClient window = shown ? popup::waitFor() : xclients::byRole(popup::Role);
    if (shown) {
        QVERIFY(!window.isNull());
        QCOMPARE(window.geometry.width(), 400);
        QVERIFY(window.geometry.height() <= 400);
        QVERIFY(xclients::workArea().contains(window.geometry));
    }
    if (!window.isNull()) {
        xclients::requestClose(window.id);
        QVERIFY(popup::waitGone(window.id));
    }
    QCOMPARE(m_session.tarnctl({QStringLiteral("status")}).exitCode, 0);
    QCOMPARE(m_session.pids(QStringLiteral("visualized-host")), QVector<qint64>{m_host});
    if (m_peak == 0)
        m_peak = peakKiB(m_host);
#ifndef TARN_SANITIZED
    const qint64 growth = peakKiB(m_host) - m_peak;
    QVERIFY2(growth < MaxGrowthKiB, QByteArray::number(growth) + " KiB more");
#endif
}

void TestHostileNotices::cleanupTestCase()
{
    QVERIFY(!m_server.hasPendingConnections());
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestHostileNotices)
#include "tst_hostile_notices.moc"
