#include "frame/ServiceManagerPrivate.h"
#include "base/Log.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/RpcKeys.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/RpcLog.h"
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QSharedMemory>
#include <algorithm>
#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

namespace {
constexpr qint64 MaxConfigBytes = 1 << 20;
constexpr auto SegmentLimit = std::chrono::seconds(1);
const QString LocalAddress = QStringLiteral("127.0.0.1");
const QString CallTimeoutMs = QStringLiteral("30000");
const QString WorkerThreads = QStringLiteral("4");
const QString PlatformServices = QStringLiteral("TARN5Service");

QString _apps_path;
QString _machine_id;

QString besideProgram(const QString &fileName)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + fileName;
}

/// One value of an INI file as text. A missing file, or one that cannot be a settings file, has no values.
QString iniValue(const QString &file, const QString &key)
{
    const QFileInfo info(file);
    if (!info.isFile() || info.size() > MaxConfigBytes)
        return QString();
    QSettings settings(file, QSettings::IniFormat);
    settings.setIniCodec("utf-8");
    // QSettings reads a value with commas as a list.
    return settings.value(key).toStringList().join(QLatin1Char(',')).trimmed();
}

QString appsPath(const QString &configured)
{
    // Relative to the program, so that a copied installation stays whole.
    const QString path = QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(configured);
    return configured.isEmpty() || !QDir(path).exists() ? QStringLiteral("/opt/apps") : QDir::cleanPath(path);
}

QString machineId()
{
    QFile file(QStringLiteral("/etc/machine-id"));
    if (!file.open(QIODevice::ReadOnly)) {
        VT_LOG(critical) << QStringLiteral("获取MachineId失败");
        return QString();
    }
    return QString::fromUtf8(file.read(MaxConfigBytes));
}

using Answer = std::pair<int, QString>; // the port, 0 for none, and the reason

Answer readSegment()
{
    QSharedMemory segment(tarn::hub::PortSegmentKey);
    if (!segment.attach(QSharedMemory::ReadOnly))
        return {0, segment.errorString()};
    const int size = qMin(segment.size(), tarn::hub::PortSegmentSize);
    const auto *text = static_cast<const char *>(segment.constData());
    const int port = QByteArray(text, int(qstrnlen(text, uint(size)))).trimmed().toUShort(); // 0 for no port
    // The last process to detach removes the segment: when the hub has died, that was this one.
    segment.detach();
    if (!segment.attach(QSharedMemory::ReadOnly))
        return {0, segment.errorString()};
    segment.detach();
    return {port, port == 0 ? QStringLiteral("共享内存中的端口无效") : QString()};
}

/// Another user can hold the segment's lock for ever, so that it is read on a thread that may be left to itself. One such
/// thread is enough: the next one would wait for the same lock. An answer that comes after the limit is dropped, since the
/// hub may have ended by the time of the next call.
Answer readSegmentWithLimit()
{
    static std::future<Answer> reading;
    const Answer occupied{0, QStringLiteral("共享内存被其他程序占用")};
    if (reading.valid() && reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return occupied;
    std::packaged_task<Answer()> task(readSegment);
    reading = task.get_future();
    std::thread(std::move(task)).detach();
    return reading.wait_for(SegmentLimit) == std::future_status::ready ? reading.get() : occupied;
}
} // namespace

void CServiceManagerPrivate::readLocalSettings()
{
    const QString file = besideProgram(QStringLiteral("cfg.ini"));
    if (QVariant(iniValue(file, QStringLiteral("config/RpcLog"))).toBool())
        tarn::rpc::RpcLog::set_print(true);
    _apps_path = appsPath(iniValue(file, QStringLiteral("system/apps_path")));
    _machine_id = iniValue(file, QStringLiteral("system/machine_id"));
    if (_machine_id.isEmpty())
        _machine_id = machineId();
    _machine_id.remove(QLatin1Char('\n'));
    VT_LOG(info) << QStringLiteral("path=%1 machineid=%2").arg(_apps_path, _machine_id);
}

QString CServiceManagerPrivate::getTestRpcServiceIp() const
{
    QString address = iniValue(besideProgram(QStringLiteral("RpcTestIp.ini")), QStringLiteral("config/TestIp"));
    static const QRegularExpression ipv4(QRegularExpression::anchoredPattern(
        QStringLiteral("\\b(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\\.){3}(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)"
                       "\\b")));
    if (!ipv4.match(address).hasMatch()) {
        VT_LOG(info) << QStringLiteral("RPC测试IP非法:") + address;
        return QString();
    }
    VT_LOG(info) << QStringLiteral("RPC测试IP地址:") + address;
    return address;
}

void CServiceManagerPrivate::getAllInstallCfgFiles(QStringList &files) const
{
    QDirIterator it(_apps_path, {QStringLiteral("installation.ini")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(it.next());
    files.sort();
    VT_LOG(debug) << QStringLiteral("ini files:") + files.join(QLatin1Char(','));
}

QString CServiceManagerPrivate::descriptionOf(const QString &software) const
{
    QStringList files;
    getAllInstallCfgFiles(files);
    const auto it = std::find_if(files.cbegin(), files.cend(), [&software](const QString &file) {
        return iniValue(file, QStringLiteral("SoftwareName")) == software;
    });
    return it == files.cend() ? QString() : *it;
}

QString CServiceManagerPrivate::getServiceInstallCfg() const
{
    QString description = descriptionOf(PlatformServices);
    VT_LOG(debug) << QStringLiteral("software:") + PlatformServices;
    VT_LOG(debug) << QStringLiteral("service install:") + description;
    return description;
}

QString CServiceManagerPrivate::getVtAssistantInstallCfg() const
{
    return descriptionOf(tarn::upgrade::OwnAssistant);
}

QString CServiceManagerPrivate::findExePathByRegedit()
{
    if (QFileInfo(m_hubProgram).isFile()) {
        VT_LOG(debug) << QStringLiteral("exes:") + m_hubProgram;
        return m_hubProgram;
    }
    const QString description = getServiceInstallCfg();
    QString program = description.isEmpty()
                          ? QString()
                          : iniValue(description, tarn::hub::HubProgram + QStringLiteral("/InstallPath"));
    if (!program.isEmpty()) {
        // Relative to the description; a directory holds the program under its own name.
        program = QDir::cleanPath(QFileInfo(description).dir().absoluteFilePath(program));
        if (QFileInfo(program).isDir())
            program += QLatin1Char('/') + tarn::hub::HubProgram;
    }
    VT_LOG(debug) << QStringLiteral("exes:") + program;
    m_hubProgram = program;
    return program;
}

int CServiceManagerPrivate::readHubPort(QString &errorText)
{
    QString reason;
    if (const int port = tarn::rpc::hubPort(&reason))
        return port;
    try {
        const auto [port, error] = readSegmentWithLimit();
        errorText = QStringLiteral("%1；%2").arg(reason, error);
        return port;
    } catch (const std::system_error &error) { // no thread
        errorText = QString::fromLocal8Bit(error.what());
        return 0;
    }
}

void CServiceManagerPrivate::fillSettings()
{
    namespace keys = tarn::rpc::keys;
    QString address = getTestRpcServiceIp();
    if (address.isEmpty())
        address = LocalAddress;
    settings.insert(keys::SvrIP, address);
    settings.insert(keys::IP, address);
    settings.insert(keys::Timeout, CallTimeoutMs);
    settings.insert(keys::ThreadNum, WorkerThreads);
}
