#include "frame/HubSegment.h"
#include "frame/ServiceManager.h"
#include "frame/VisualizedServiceCreator.h"
#include "support/FakeRpc.h"
#include "support/LogCatcher.h"
#include "support/OwnProcess.h"
#include "support/Packages.h"
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <atomic>
#include <ctime>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static std::atomic<time_t> secondsAhead{0};

/// Replaces the C library's, so that a limit of ten seconds can pass at once.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    time->tv_sec += secondsAhead;
    return int(result);
}

using packages::writeFile;

namespace {
constexpr const char *HubDescription = "[General]\nSoftwareName=TARN5Service\n[ServiceHub]\nInstallPath=hub\n";

QString besideProgram(const QString &name)
{
    return QCoreApplication::applicationDirPath() + '/' + name;
}

/// A hub program that the description names.
void writeHub(const QByteArray &script)
{
    writeFile(besideProgram("apps/s/installation.ini"), HubDescription);
    writeFile(besideProgram("apps/s/hub"), script);
    if (!QFile(besideProgram("apps/s/hub")).setPermissions(QFile::ReadOwner | QFile::ExeOwner))
        qFatal("the hub program cannot be made");
}

class HubProxy final : public tarn::rpc::RpcProxy
{
public:
    tarn::rpc::CallResult call(const QString &, const tarn::rpc::Bag &, int) override { return {}; }
};

void letHubAnswer()
{
    fakerpc::behaviour.proxies.insert(QStringLiteral("IServiceHub"), QSharedPointer<HubProxy>::create());
}
} // namespace

// The connection to the hub. The program's directory holds cfg.ini and the apps; no other run uses it, nor the segment.
class TestServiceManager final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        fakerpc::reset();
        writeFile(besideProgram("cfg.ini"), "[system]\napps_path=apps\nmachine_id=id-1\n[config]\nRpcLog=true\n");
        QDir().mkpath(besideProgram("apps"));
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup()
    {
        CServiceManager::ReleaseInstance();
        m_log.reset();
        QDir(besideProgram("apps")).removeRecursively();
        QFile::remove(besideProgram("cfg.ini"));
        QFile::remove(besideProgram("RpcTestIp.ini"));
    }

    void connectsToARunningHub()
    {
        const HubSegment hub("40123");
        const QStringList lines = start();
        QVERIFY(CServiceManager::getInstance()->getRpc()->isInitialized());
        QVERIFY(lines.contains("【客户端初始化】连接注册中心成功"));
        QVERIFY(tarn::rpc::RpcLog::print()); // as the settings say
        QVERIFY(!lines.contains("【客户端初始化】启动统一服务进程成功"));
        const QHash<QString, QString> settings = fakerpc::record.settings;
        QCOMPARE(settings.value("IP"), QString("127.0.0.1"));
        QCOMPARE(settings.value("SvrIP"), QString("127.0.0.1"));
        QCOMPARE(settings.value("Port"), QString("40123"));
        QCOMPARE(settings.value("Timeout"), QString("30000"));
        QVERIFY(settings.value("ThreadNum").toInt() > 0);
        QCOMPARE(CServiceManager::getInstance()->startError(), QString());
        CServiceManager::getInstance()->unInitRpcCore();
        QVERIFY(!CServiceManager::getInstance()->getRpc()->isInitialized());
    }

    void brokenSettings()
    {
        const HubSegment hub("40123");
        QFile id("/etc/machine-id");
        const bool readable = id.open(QIODevice::ReadOnly);
        const QString machine = QString::fromUtf8(id.readAll()).remove('\n');
        for (const QByteArray &text : {QByteArray("\0\xff[[[=\n%%%\n[system", 18), QByteArray(8 << 20, 'x')}) {
            writeFile(besideProgram("cfg.ini"), text);
            QVERIFY(start().contains(QStringLiteral("path=/opt/apps machineid=") + machine));
            QCOMPARE(m_log->has("获取MachineId失败"), !readable);
            QVERIFY(CServiceManager::getInstance()->getRpc()->isInitialized());
        }
    }

    void testAddress()
    {
        const HubSegment hub("40123");
        int size = 0;
        const auto addressUsed = [&](const QString &address, const QString &line) {
            // QSettings compares size and time (in milliseconds) to notice a change.
            const QByteArray filling(100 * ++size, '-');
            writeFile(besideProgram("RpcTestIp.ini"), "[config]\nTestIp=" + address.toUtf8() + "\n;" + filling + "\n");
            const bool told = start().contains(line + address);
            return told ? fakerpc::record.settings.value("IP") : QString("another line");
        };
        for (const QString &good : QStringList{"10.0.0.1", "255.255.255.255"})
            QCOMPARE(addressUsed(good, "RPC测试IP地址:"), good);
        for (const QString &bad :
             QStringList{"256.1.1.1", "1.2.3", "1.2.3.4.5", "1.2.3.4 or so", "localhost", "::1", ""})
            QCOMPARE(addressUsed(bad, "RPC测试IP非法:"), QString("127.0.0.1"));
    }

    void noHubProgram()
    {
        writeFile(besideProgram("apps/Other/installation.ini"),
                  "[General]\nSoftwareName=Other\n[ServiceHub]\nInstallPath=/x\n");
        QCOMPARE(::mkfifo(QFile::encodeName(besideProgram("apps/pipe")).constData(), 0600), 0);
        const QStringList lines = start();
        QVERIFY(m_log->has(QtWarningMsg, "[startServiceHub]统一服务注册中心应用程序路径查找失败！"));
        QVERIFY(!CServiceManager::getInstance()->getRpc()->isInitialized());
        QVERIFY(!fakerpc::record.calls.contains("init"));
        QVERIFY(lines.filter("RPC测试IP").isEmpty()); // the address is read for a hub that exists
        QVERIFY(lines.last() == "[start]岚川服务初始化失败！");
        QVERIFY(lines.filter(QRegularExpression("^获取注册中心端口失败，.+")).size() == 1);
        const QString text = CServiceManager::getInstance()->startError();
        QVERIFY(text.startsWith("缺少岚川关键服务，请<a style=\"color: #0C64EB;\" href=\""));
        QVERIFY(text.endsWith("\">下载</a>并重新安装软件！"));
    }

    void programCannotStart()
    {
        writeFile(besideProgram("apps/s/installation.ini"), HubDescription);
        start();
        QVERIFY(m_log->has(QtInfoMsg, "[startServiceHub]统一服务应用程序文件不存在"));
        writeFile(besideProgram("apps/s/hub"), "no program");
        start();
        const QStringList warnings = m_log->texts(QtWarningMsg);
        QVERIFY(warnings.value(0).startsWith("岚川服务程序启动失败，QProcess错误码："));
        QVERIFY(warnings.value(1).startsWith("岚川服务程序启动失败，错误码："));
        QVERIFY(!CServiceManager::getInstance()->getRpc()->isInitialized());
        // The path may name the directory of the program instead of the program.
        writeFile(besideProgram("apps/s/installation.ini"), QByteArray(HubDescription).replace("=hub", "=./"));
        QVERIFY(start().contains("exes:" + besideProgram("apps/s/ServiceHub")));
        writeFile(besideProgram("apps/a/installation.ini"), "[General]\nSoftwareName=岚川软件助手\n");
        QCOMPARE(CServiceManager::getInstance()->getVtAssistantInstallCfg(), besideProgram("apps/a/installation.ini"));
    }

    void publishedHubThatDoesNotAnswer()
    {
        // Another process holds the segment of a hub that has died; a hub that is only slow is not started again.
        const HubSegment hub("40126");
        for (const auto code : {tarn::rpc::RpcError::NoHub, tarn::rpc::RpcError::Timeout}) {
            fakerpc::behaviour.failing = QStringList{"init"};
            fakerpc::behaviour.error.code = code;
            const QStringList lines = start();
            QCOMPARE(lines.contains("[startServiceHub]统一服务注册中心应用程序路径查找失败！"),
                     code == tarn::rpc::RpcError::NoHub);
            QVERIFY(lines.contains("【客户端初始化】连接注册中心失败"));
            QVERIFY(lines.contains("通信机制初始化失败"));
            QCOMPARE(CServiceManager::getInstance()->startError(), QString("通信机制初始化失败，请稍后再试！"));
        }
    }

    void noApplicationForWindows()
    {
        const HubSegment hub("40134");
        CVisualizedServiceCreator creator;
        QVERIFY(!creator.create("tag"));
        QVERIFY(m_log->has(QtInfoMsg, "[CVisualizedServiceCreator::create]没有QApplication，无法显示窗口"));
        creator.destroy("tag");
    }

    void badPort()
    {
        for (const char *port : {"", "0", "65536", "-1", "9999999999999999"}) { // the last without an end
            const HubSegment hub(port);
            start();
            QVERIFY2(!fakerpc::record.calls.contains("init"), port);
        }
    }

    void runtimeDirectoryBeforeSegment()
    {
        const HubSegment hub("40130"); // of another user, or of a dead hub
        fakerpc::behaviour.hubPort = 40131;
        start();
        QCOMPARE(fakerpc::record.settings.value("Port"), QString("40131"));
    }

    void lostHubIsStartedAgain()
    {
        fakerpc::behaviour.hubPort = 40132;
        start();
        writeHub("#!/bin/sh\necho \"$@\" > started.part && mv started.part started\n");
        fakerpc::loseHub();
        QFile started(besideProgram("apps/s/started"));
        QTRY_VERIFY(started.exists());
        QVERIFY(started.open(QIODevice::ReadOnly));
        QCOMPARE(started.readAll(), QByteArray("quickboot\n"));
        QVERIFY(!m_log->has("【客户端初始化】启动统一服务进程成功")); // whether it came up is not known

        // The program is remembered, and searched for again when it is missing.
        const auto searches = [this] { return m_log->texts().filter(QRegularExpression("^ini files:")).size(); };
        QVERIFY(started.remove());
        fakerpc::loseHub();
        QTRY_VERIFY(started.exists());
        QCOMPARE(searches(), 1);
        QVERIFY(QFile::remove(besideProgram("apps/s/hub")));
        fakerpc::loseHub();
        QTRY_COMPARE(searches(), 2);

        fakerpc::loseHub(); // queued when the manager ends
        CServiceManager::ReleaseInstance();
        fakerpc::loseHub();
        QCoreApplication::processEvents();
    }

    // Any user of the machine can hold the segment's lock.
    void lockedSegment()
    {
        HubSegment hub("40128");
        const int before = own::threads();
        QString reason;
        QElapsedTimer clock;
        QVERIFY(hub.segment().lock());
        clock.start();
        QCOMPARE(CServiceManagerPrivate::readHubPort(reason), 0);
        QCOMPARE(CServiceManagerPrivate::readHubPort(reason), 0);
        QVERIFY(clock.elapsed() < 5000);
        QCOMPARE(own::threads(), before + 1); // a second waiting thread would be one too many
        QVERIFY(!reason.isEmpty());
        QVERIFY(hub.segment().unlock());
        QTRY_COMPARE(own::threads(), before);
        qstrcpy(static_cast<char *>(hub.segment().data()), "40133"); // the late answer is not that of the next call
        QCOMPARE(CServiceManagerPrivate::readHubPort(reason), 40133);
    }

    // The limit is one of time, also when every try takes long; the reason is logged.
    void hubThatNeverComesUp()
    {
        writeHub("#!/bin/sh\nexit 0\n");
        const HubSegment hub("40129");
        fakerpc::behaviour.failing = QStringList{"init"};
        fakerpc::behaviour.onCall = [](const QString &call) { secondsAhead += call == "init" ? 2 : 0; };
        start();
        const auto waited = secondsAhead.exchange(0);
        QVERIFY2(waited >= 10 && waited < 18, qPrintable(QString::number(waited)));
        QVERIFY(m_log->has(QtWarningMsg, "岚川服务程序启动超时"));
        QCOMPARE(m_log->texts().filter("RPC测试IP").size(), 1); // the address is read once
    }

    void checks()
    {
        letHubAnswer();
        auto hub = std::make_unique<HubSegment>("40123");
        start();
        const auto manager = CServiceManager::getInstance();
        QString error;
        QVERIFY(manager->checkHubExist(error));
        QVERIFY(m_log->has("【获取ServiceHub服务】成功"));
        QVERIFY(manager->checkHubRst());
        QVERIFY(!manager->stringToProxy("nobody"));
        QVERIFY(m_log->has("[CServiceManager::stringToProxy]无法获取代理指针，标签[nobody]"));

        fakerpc::behaviour.proxies.clear();
        fakerpc::behaviour.error.code = tarn::rpc::RpcError::Timeout;
        QVERIFY(!manager->checkHubExist(error));
        QCOMPARE(error, QString("获取岚川服务超时"));
        QVERIFY(m_log->has("【获取ServiceHub服务】获取ServiceHub服务超时"));
        QVERIFY(m_log->has("[waitforHub]获取hub指针失败"));
        fakerpc::behaviour = {};
        QVERIFY(!manager->checkHubExist(error));
        QCOMPARE(error, QString("岚川服务初始化失败，请稍后再试！"));

        hub.reset();
        QVERIFY(!manager->checkHubExist(error));
        QCOMPARE(error, QString("系统关键服务初始化失败，请稍后再试！"));
        QVERIFY(!manager->checkHubRst());
        QVERIFY(m_log->texts().filter(QRegularExpression("^获取系统关键服务端口不存在：.+")).size() == 1);
        QVERIFY(m_log->texts().filter(QRegularExpression("^获取注册中心端口失败，.+")).size() == 1);
    }

    void comesBackOnDemand()
    {
        start(); // no hub at all
        const auto manager = CServiceManager::getInstance();
        QString error;
        QVERIFY(!manager->checkAndReinit(&error));
        QCOMPARE(error, QString("通信机制初始化失败，请稍后再试！"));
        QVERIFY(m_log->has("[checkAndReinit]无法连接上注册中心"));
        QVERIFY(!manager->checkAndReinit());

        const HubSegment hub("40127");
        letHubAnswer();
        QVERIFY(manager->checkAndReinit());
        QVERIFY(m_log->has("[checkAndReinit]重新连接成功"));
        QCOMPARE(fakerpc::record.settings.value("Port"), QString("40127"));
        QVERIFY(manager->startError().isEmpty());
        fakerpc::record.calls.clear();
        QVERIFY(manager->checkAndReinit()); // reachable: nothing is done
        QVERIFY(!fakerpc::record.calls.contains("init"));
    }

private:
    /// Replaces the service manager by a new one. @return the log lines of its start
    QStringList start()
    {
        CServiceManager::ReleaseInstance();
        m_log->clear();
        CServiceManager::getInstance();
        return m_log->texts();
    }
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_GUILESS_MAIN(TestServiceManager)
#include "tst_servicemanager.moc"
