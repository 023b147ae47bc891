#include "e2e/Session.h"
#include "support/ChildLeaks.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

constexpr int EndMs = 15000;

// Programs and libraries are linked, since they are large; what a test may change is copied.
void takeOver(const QString &from, const QString &to)
{
    const QString suffix = QFileInfo(from).suffix();
    const bool change = suffix == QLatin1String("ini") || suffix == QLatin1String("json");
    if (!change && ::link(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return;
    if (!QFile::copy(from, to))
        qFatal("cannot copy %s", qUtf8Printable(from));
}

} // namespace

QJsonValue Session::Result::json() const
{
    // A bare value is no document in Qt 5: wrap it.
    const QJsonDocument document = QJsonDocument::fromJson("{\"value\":" + output + "}");
    return document.object().value(QStringLiteral("value"));
}

Session::Session()
    : m_folder(QDir::tempPath() + QStringLiteral("/s.XXXXXX")) // short: socket paths are limited
    , m_environment(QProcessEnvironment::systemEnvironment())
{
    checkNoLeaksInChildren();
    m_environment.insert(QStringLiteral("ASAN_OPTIONS"), qEnvironmentVariable("ASAN_OPTIONS"));
    for (const char *name : {"run", "data", "tmp", "path"}) {
        QDir().mkdir(path(QLatin1String(name)));
        QFile::setPermissions(path(QLatin1String(name)), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    m_environment.remove(QStringLiteral("QT_XCB_GL_INTEGRATION")); // the host makes this choice itself
    m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir());
    m_environment.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data")));
    m_environment.insert(QStringLiteral("TMPDIR"), path(QStringLiteral("tmp")));
    copyPrograms();
    installOpener();
}

Session::~Session()
{
    if (QTest::currentTestFailed())
        qWarning("log of the host:\n%s", qUtf8Printable(hostLog()));
    endAll();
}

void Session::copyPrograms() const
{
    const QString from = QString::fromLocal8Bit(qgetenv("TARN_BIN_DIR"));
    QDir().mkdir(bin());
    QDirIterator all(from, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (all.hasNext()) {
        const QString source = all.next();
        const QString target = bin() + source.mid(from.size());
        if (all.fileInfo().isDir())
            QDir().mkpath(target);
        else
            takeOver(source, target);
    }
}

void Session::installOpener()
{
    const QString file = path(QStringLiteral("path/xdg-open"));
    QFile script(file);
    if (!script.open(QIODevice::WriteOnly))
        qFatal("cannot write the opener");
    script.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >>'" + QFile::encodeName(path(QStringLiteral("opened"))) + "'\n");
    script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    m_environment.insert(QStringLiteral("PATH"),
                         path(QStringLiteral("path")) + QLatin1Char(':') + m_environment.value(QStringLiteral("PATH")));
}

bool Session::writeBinFile(const QString &name, const QByteArray &content) const
{
    QFile file(bin() + QLatin1Char('/') + name);
    file.remove();
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

bool Session::startHost()
{
    m_host.setProcessEnvironment(m_environment);
    m_host.setWorkingDirectory(bin());
    m_host.setProcessChannelMode(QProcess::MergedChannels);
    // To a file: the hub and the services, which the host starts, outlive it and must not hold a pipe open.
    m_host.setStandardOutputFile(path(QStringLiteral("host.log")), QIODevice::Append);
    m_host.start(bin() + QStringLiteral("/visualized-host"), {QStringLiteral("--verbose")});
    return m_host.waitForStarted();
}

bool Session::startSecondHost(QProcess *host) const
{
    host->setProcessEnvironment(m_environment);
    host->setProcessChannelMode(QProcess::MergedChannels);
    host->setStandardOutputFile(path(QStringLiteral("host.log")), QIODevice::Append);
    host->start(bin() + QStringLiteral("/visualized-host"), QStringList());
    return host->waitForStarted();
}

bool Session::startHub(QProcess *hub) const
{
    hub->setProcessEnvironment(m_environment);
    hub->setWorkingDirectory(bin());
    hub->setProcessChannelMode(QProcess::MergedChannels);
    hub->setStandardOutputFile(path(QStringLiteral("hub.log")), QIODevice::Append);
    hub->start(bin() + QStringLiteral("/ServiceHub"), {QStringLiteral("quickboot")});
    return hub->waitForStarted();
}

bool Session::waitReady()
{
    bool ready = false;
    const auto isOver = [&] {
        ready = tarnctl({QStringLiteral("status")}).exitCode == 0;
        return ready || !hostRuns();
    };
    return QTest::qWaitFor(isOver, 2 * EndMs) && ready;
}

int Session::stopHost()
{
    m_host.terminate();
    if (!m_host.waitForFinished(EndMs) || m_host.exitStatus() != QProcess::NormalExit)
        return -1;
    return m_host.exitCode();
}

bool Session::hostRuns() const
{
    return m_host.state() == QProcess::Running;
}

QString Session::hostLog() const
{
    QFile file(path(QStringLiteral("host.log")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

Session::Result Session::tarnctl(const QStringList &arguments, int timeoutMs, const QByteArray &input) const
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(bin() + QStringLiteral("/tarnctl"), arguments);
    process.write(input);
    process.closeWriteChannel();
    Result result;
    if (process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    else
        process.kill();
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

QString Session::push(const QStringList &options) const
{
    const Result result =
        tarnctl(QStringList{QStringLiteral("message"), QStringLiteral("push"), QStringLiteral("--json"),
                            QStringLiteral("--title"), QStringLiteral("标题"), QStringLiteral("--content"),
                            QStringLiteral("正文")} +
                options);
    const QJsonObject answer = result.json().toObject();
    if (result.exitCode != 0 || !answer.value(QStringLiteral("Shown")).toBool())
        qWarning("push: %s%s", result.output.constData(), result.errors.constData());
    return answer.value(QStringLiteral("MsgId")).toString();
}

/// Host and services hide their memory from other processes of their user, and with it the paths of their programs; only
/// root sees those. They are known by their name and their parent, the test or its hub.
static bool isHidden(qint64 pid, const QString &program, const QString &hub)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (::geteuid() == 0 || !stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll(); // pid (name) state parent ...
    const int end = line.lastIndexOf(')');
    const qint64 parent = line.mid(end + 2).split(' ').value(1).toLongLong();
    return line.left(end).endsWith('(' + program.left(15).toLatin1()) &&
           (parent == QCoreApplication::applicationPid() ||
            QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(parent)) == hub);
}

QVector<qint64> Session::pids(const QString &program) const
{
    const QString file = bin() + QLatin1Char('/') + program;
    QVector<qint64> found;
    for (const QString &name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool isNumber = false;
        const qint64 pid = name.toLongLong(&isNumber);
        if (isNumber && (QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid)) == file ||
                         isHidden(pid, program, bin() + QStringLiteral("/ServiceHub"))))
            found.append(pid);
    }
    return found;
}

int Session::signalAll(const QString &program, int signal) const
{
    const QVector<qint64> all = pids(program);
    for (const qint64 pid : all)
        ::kill(static_cast<pid_t>(pid), signal);
    return all.size();
}

QStringList Session::openedLinks() const
{
    QFile file(path(QStringLiteral("opened")));
    return file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)
               : QStringList();
}

// The hub first, so that it does not bring the services back.
void Session::endAll()
{
    const QStringList programs = {QStringLiteral("visualized-host"), QStringLiteral("ServiceHub"),
                                  QStringLiteral("tarn-services"), QStringLiteral("tarnctl")};
    for (const int signal : {SIGTERM, SIGKILL}) {
        for (const QString &program : programs)
            signalAll(program, signal);
        const auto gone = [&] {
            return std::all_of(programs.begin(), programs.end(),
                               [this](const QString &p) { return pids(p).isEmpty(); });
        };
        if (QTest::qWaitFor(gone, EndMs / 3))
            break;
    }
    m_host.waitForFinished();
}
