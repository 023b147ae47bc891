// From the request to the closed window, with real processes, a real mouse and a web server of the test's own.
#include "e2e/Popup.h"
#include "e2e/Session.h"
#include "support/HttpServer.h"
#include "support/Packages.h"
#include "support/XInput.h"
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <csignal>

namespace {

const QString Window = QStringLiteral("CUpgradeDialog");

QString name(int number)
{
    return QStringList{QStringLiteral("甲"), QStringLiteral("乙"), QStringLiteral("丙")}.at(number);
}

} // namespace

class TestOnlineUpgrade final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void killedServiceResumes();
    void hungServiceLeavesTheWindowUsable();

private:
    // Announces version 2.0 of a product whose package arrives at this speed.
    void offer(int product, const QByteArray &package, qint64 bytesPerSecond);
    void writeCatalogue() const;
    Session::Result upgrade(const QStringList &arguments) const
    {
        return m_session.tarnctl(QStringList{QStringLiteral("upgrade")} + arguments);
    }
    QJsonObject task(int product) const;
    int state(int product) const { return task(product).value(QStringLiteral("Status")).toInt(); }
    qint64 received(int product) const;
    QByteArray installedFile(int product, const QString &path) const
    {
        return packages::readFile(
            m_session.path(QStringLiteral("bin/apps/") + name(product) + QLatin1Char('/') + path));
    }

    Session m_session;
    HttpServer m_server;
    XInput m_input;
    QMap<int, QString> m_offers; // JSON, by product
};

void TestOnlineUpgrade::initTestCase()
{
    QVERIFY(m_input.isValid());
    for (int product = 0; product < 3; ++product)
        packages::install(m_session.path(QStringLiteral("bin/apps")), name(product), QStringLiteral("1.0"));
    const QString settings = QStringLiteral("[system]\napps_path=apps\n[upgrade]\ncatalogue=%1\n");
    QVERIFY(m_session.writeBinFile(QStringLiteral("cfg.ini"),
                                   settings.arg(m_session.path(QStringLiteral("catalogue.json"))).toUtf8()));
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
}

void TestOnlineUpgrade::cleanupTestCase()
{
    QCOMPARE(m_session.stopHost(), 0);
}

void TestOnlineUpgrade::offer(int product, const QByteArray &package, qint64 bytesPerSecond)
{
    HttpServer::File file;
    file.content = package;
    file.bytesPerSecond = bytesPerSecond;
    const QString path = QString::number(product);
    m_server.set(path, file);
    m_offers[product] =
        QStringLiteral(R"({"name":"%1","release":{"version":"2.0","date":"2026-11-01 10:00:00",)"
                       R"("package":{"url":"%2","size":%3,"sha256":"%4"}}})")
            .arg(name(product), m_server.url(path), QString::number(package.size()), packages::sha256(package));
    writeCatalogue();
}

void TestOnlineUpgrade::writeCatalogue() const
{
    const QString json = QStringLiteral(R"({"products":[%1]})").arg(m_offers.values().join(QLatin1Char(',')));
    QVERIFY(packages::writeFile(m_session.path(QStringLiteral("catalogue.json")), json.toUtf8()));
}

QJsonObject TestOnlineUpgrade::task(int product) const
{
    const Session::Result result = upgrade({QStringLiteral("tasks"), QStringLiteral("--json")});
    for (const QJsonValue &value : result.json().toArray()) {
        if (value.toObject().value(QStringLiteral("SoftName")).toString() == name(product))
            return value.toObject();
    }
    return {};
}

qint64 TestOnlineUpgrade::received(int product) const
{
    const QJsonObject item = task(product).value(QStringLiteral("WorkingItem")).toObject();
    return item.value(QStringLiteral("CurrentSize")).toVariant().toLongLong();
}

void TestOnlineUpgrade::killedServiceResumes()
{
    const QByteArray package = packages::archive({{QStringLiteral("bin/program"), "resumed 2.0"}});
    QByteArray padded = package + QByteArray(150000, '\0'); // a gzip stream may be followed by zeros
    offer(1, padded, 50000);
    const int before = m_server.requests().size();
    QCOMPARE(upgrade({QStringLiteral("start"), name(1)}).exitCode, 0);
    const XClient window = popup::waitForWindow(Window);
    QVERIFY(!window.isNull());
    QTRY_VERIFY_WITH_TIMEOUT(received(1) > 30000, 10000);
    QCOMPARE(m_session.signalAll(QStringLiteral("tarn-services"), SIGKILL), 1);
    QTRY_COMPARE_WITH_TIMEOUT(state(1), 13, 30000);
    QVERIFY(m_server.requests().size() >= before + 2);
    QVERIFY2(m_server.requests().constLast().range.mid(6).split('-').value(0).toInt() > 30000,
             m_server.requests().constLast().range.constData());
    QTRY_VERIFY_WITH_TIMEOUT(xclients::byRole(Window).isNull(), 20000);
    QCOMPARE(installedFile(1, QStringLiteral("bin/program")), QByteArray("resumed 2.0"));
}

void TestOnlineUpgrade::hungServiceLeavesTheWindowUsable()
{
    offer(2, QByteArray(200000, 'z'), 5000);
    QCOMPARE(upgrade({QStringLiteral("start"), name(2)}).exitCode, 0);
    XClient window = popup::waitForWindow(Window);
    QVERIFY(!window.isNull());
    QCOMPARE(m_session.signalAll(QStringLiteral("tarn-services"), SIGSTOP), 1);
    for (int round = 0; round < 3; ++round) { // each drag arrives within the poll's deadline and a second
        const QPoint from = window.geometry.topLeft() + QPoint(300, 20);
        QElapsedTimer timer;
        timer.start();
        m_input.move(from.x(), from.y());
        m_input.press();
        m_input.move(from.x() + 20, from.y() + 10);
        m_input.move(from.x() + 40, from.y() + 20);
        m_input.release();
        const QPoint wanted = window.geometry.topLeft() + QPoint(40, 20);
        QTRY_COMPARE_WITH_TIMEOUT(xclients::byRole(Window).geometry.topLeft(), wanted, 10000);
        QVERIFY2(timer.elapsed() < 3500, qPrintable(QString::number(timer.elapsed())));
        window = xclients::byRole(Window);
    }
    m_session.signalAll(QStringLiteral("tarn-services"), SIGCONT);
    QTRY_VERIFY(state(2) == 1);
    QCOMPARE(upgrade({QStringLiteral("stop"), name(2)}).exitCode, 0);
    QTRY_VERIFY_WITH_TIMEOUT(xclients::byRole(Window).isNull(), 20000);
}

QTEST_MAIN(TestOnlineUpgrade)
#include "tst_online_upgrade.moc"
