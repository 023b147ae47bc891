#include "host/PluginHost.h"
#include "host/SessionBus.h"
#include "support/LogCatcher.h"
#include "tarn/core/Program.h"
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QPluginLoader>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {
QString pluginFile()
{
    return qEnvironmentVariable("TARN_BIN_DIR") + "/plugins/libTARN.VisualizedService.so";
}

QJsonObject realMetadata()
{
    return QPluginLoader(pluginFile()).metaData();
}

// The real metadata with one key changed, of the inner map or of the outer one; an undefined value removes it.
QJsonObject changed(const QString &key, const QJsonValue &value, bool outer = false)
{
    QJsonObject all = realMetadata();
    QJsonObject map = outer ? all : all.value("MetaData").toObject();
    if (value.isUndefined())
        map.remove(key);
    else
        map.insert(key, value);
    if (outer)
        return map;
    all.insert("MetaData", map);
    return all;
}
} // namespace

// The host: its plug-in manager against the real plug-in file, its start and its log.
class TestPluginHost final : public QObject
{
    Q_OBJECT
private slots:
    void metadataIsAsAgreed()
    {
        const QJsonObject all = realMetadata();
        QCOMPARE(all.value("IID").toString(), QString("com.veltro.TARNPlugin"));
        QCOMPARE(all.value("className").toString(), QString("CVisualizedServicePlugin"));
        const QJsonObject map = all.value("MetaData").toObject();
        QCOMPARE(map.value("Description").toString(), QString("软件升级服务"));
        QCOMPARE(map.value("Category").toString(), QString("产品平台"));
        QCOMPARE(pluginRefusal(all), QString());
        QCOMPARE(map.value("Name").toString(), QString("TARN.Service.Upgrade"));
    }

    void wrongByOneIsRefused()
    {
        const auto isRefused = [](const QJsonObject &metadata, const QString &named) {
            return pluginRefusal(metadata).contains(named);
        };
        QVERIFY(isRefused({}, "no Qt plug-in"));
        QVERIFY(isRefused(changed("IID", "com.veltro.TARNPlugin2", true), "com.veltro.TARNPlugin2"));
        QVERIFY(isRefused(changed("className", "", true), "class"));
        QVERIFY(isRefused(changed("MetaData", "x", true), "MetaData"));
        for (const QString &key : realMetadata().value("MetaData").toObject().keys()) {
            QVERIFY2(isRefused(changed(key, QJsonValue::Undefined), key), qPrintable(key));
            QVERIFY2(isRefused(changed(key, 5), key), qPrintable(key));
        }
        QVERIFY(isRefused(changed("Name", ""), "Name"));
        QVERIFY(isRefused(changed("License", QJsonArray{"", 1}), "License"));
        QVERIFY(isRefused(changed("Version", "one"), "Version"));
        for (const QString &version : QStringList{"1.0", "1.0.0.0", "1.0.x", "2.0.0", "0.9.0", "1.1.0", "1.0.1"})
            QVERIFY2(isRefused(changed("CompatVersion", version), version), qPrintable(version));
    }

    void otherFilesAreRefused()
    {
        const QTemporaryDir dir;
        QFile text(dir.filePath("text.so"));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("no library");
        text.close();
        QVERIFY(QFile::copy(qEnvironmentVariable("TARN_BIN_DIR") + "/libtarn-core.so", dir.filePath("core.so")));
        QVERIFY(QFile::copy(pluginFile(), dir.filePath("cut.so")));
        QVERIFY(QFile::resize(dir.filePath("cut.so"), 4096));
        QVERIFY(QDir().mkpath(dir.filePath("folder.so")));
        const LogCatcher log;
        PluginHost host;
        QCOMPARE(host.load(dir.path()), 0);
        QCOMPARE(log.texts().filter("is refused: ").size(), 3);
        QCOMPARE(host.load(dir.filePath("nowhere")), 0);
    }

    void factsForBundles()
    {
        const QTemporaryDir dir;
        const QString file = dir.filePath("bundle.so");
        QVERIFY(QFile::copy(qEnvironmentVariable("TARN_NOTED_BUNDLE"), file));
        const QStringList facts{"TARN.Service.Upgrade", file, QString()};
        const LogCatcher log; // without a service
        {
            PluginHost host;
            QCOMPARE(host.load(dir.path()), 1);
            host.start();
            QCOMPARE(qApp->property("start").toStringList(), facts);
            QVERIFY(!qApp->property("stop").isValid());
        }
        QCOMPARE(qApp->property("stop").toStringList(), facts);
    }

    void sessionBus()
    {
        const QTemporaryDir dir;
        const QByteArray path = QFile::encodeName(dir.filePath("bus"));
        const QByteArray before = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path + ",guid=0");
        const auto restore = qScopeGuard([&] { qputenv("DBUS_SESSION_BUS_ADDRESS", before); });
        QVERIFY(!sessionBusHangs(200)); // none is there

        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(::bind(server, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
                ::listen(server, 2) == 0);
        QVERIFY(sessionBusHangs(200)); // takes the connection and does not answer
        std::thread bus([&] {
            for (int i = 0; i < 2; ++i) { // the first is the one of above
                const int client = ::accept(server, nullptr, nullptr);
                static_cast<void>(::send(client, "OK 1234\r\n", 9, MSG_NOSIGNAL));
                ::close(client);
            }
        });
        QVERIFY(!sessionBusHangs(20000));
        bus.join();
        ::close(server);
    }

    void logLines()
    {
        qputenv("TZ", "UTC-5");
        const auto hour = [] { return QDateTime::currentDateTimeUtc().addSecs(5 * 3600).toString("hh"); };
        const QString before = hour();
        QTemporaryFile log;
        QVERIFY(log.open());
        const int kept = ::dup(STDERR_FILENO);
        ::dup2(log.handle(), STDERR_FILENO);
        for (const QString &text : {QString("短"), QString(2000, QChar(0x4e00))}) // the cut would be inside a character
            tarn::core::writeLog(QtWarningMsg, {"lib.so", 1, "void Class::name(int)", "default"}, text);
        ::dup2(kept, STDERR_FILENO);
        ::close(kept);
        log.seek(0);
        const QStringList lines = QString::fromUtf8(log.readAll()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        const QString head = QString(R"(^\d{4}-\d\d-\d\d (%1|%2):\d\d:\d\d\.\d{3} tst_PluginHost\[%3\] warning: )");
        const QString start = head.arg(before, hour()).arg(::getpid());
        QVERIFY2(lines.at(0).contains(QRegularExpression(start + "短$")), qPrintable(lines.at(0)));
        QVERIFY(lines.at(1).contains(QRegularExpression(start + R"(一{1365}\.\.\. \(6000 bytes\)$)")));
    }

    void mainThreadThatHangs()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const tarn::core::UnixSignals signalSource(1);
            int ends[2];
            if (::pipe2(ends, O_NONBLOCK) != 0)
                ::_exit(2);
            while (::write(ends[1], "x", 1) == 1) { // a full pipe that is not read
            }
            ::fcntl(ends[1], F_SETFL, 0);
            ::dup2(ends[1], STDERR_FILENO);
            ::raise(SIGTERM);
            for (;;)
                ::pause();
        }
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 1);
    }

    void commandLines()
    {
        const QTemporaryDir dir;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_RUNTIME_DIR", dir.path());
        const auto run = [&](const QString &name, const QStringList &arguments) {
            QProcess program;
            program.setProcessEnvironment(environment);
            program.setProcessChannelMode(QProcess::MergedChannels);
            program.start(qEnvironmentVariable("TARN_BIN_DIR") + '/' + name, arguments);
            const bool ended = program.waitForFinished(20000) && program.exitStatus() == QProcess::NormalExit;
            return QString("%1: ").arg(ended ? program.exitCode() : -1) +
                   QString::fromUtf8(program.readAll()).trimmed();
        };
        for (const QString &name :
             {QStringLiteral("visualized-host"), QStringLiteral("ServiceHub"), QStringLiteral("tarn-services")}) {
            QVERIFY(run(name, {"--version"}).contains(QRegularExpression("^0: " + name + " \\d")));
            for (const QString &wrong : {QStringLiteral("--tea"), QStringLiteral("tea")}) {
                const QString answer = run(name, {wrong});
                QVERIFY2(answer.startsWith("2: " + name + ": ") && answer.contains("tea") && !answer.contains('\n'),
                         qPrintable(answer));
            }
        }
        QVERIFY(run("ServiceHub", {"tea", "quickboot"}).contains("\"tea\""));
        QVERIFY(run("ServiceHub", {"quickboot", "tea", "b"}).contains("\"tea\""));
        QCOMPARE(run("ServiceHub", {}),
                 QString("2: ServiceHub: the argument quickboot is missing (see \"ServiceHub --help\")"));
        environment.insert("QT_QPA_PLATFORM", "xcb");
        environment.insert("DISPLAY", ":4711");
        QVERIFY(run("visualized-host", {"--help"}).startsWith("0: Usage: "));
        QCOMPARE(run("visualized-host", {}),
                 QStringLiteral("1: visualized-host: the X display \":4711\" (environment variable DISPLAY) cannot be "
                                "opened"));
    }
};

QTEST_MAIN(TestPluginHost)
#include "tst_PluginHost.moc"
