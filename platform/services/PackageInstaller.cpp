#include "services/PackageInstaller.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QSettings>
#include <QStandardPaths>
#include <algorithm>
#include <limits>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace tarn::services {

namespace item = upgrade::item;

namespace {

constexpr qint64 MaxMembers = 1000000;
constexpr int MaxLine = 16 * 1024;                // bytes of a listed member
constexpr qint64 SpaceReserve = 64 * 1024 * 1024; // bytes that stay free
const char *const DescriptionFile = "installation.ini";

// Asked of the file system itself: QStorageInfo goes by the mount table, which does not name the root of a chroot.
qint64 freeBytes(const QString &directory)
{
    struct statvfs info = {};
    if (::statvfs(QFile::encodeName(directory).constData(), &info) != 0)
        return std::numeric_limits<qint64>::max(); // writing will tell
    return qint64(info.f_bavail) * qint64(info.f_frsize);
}

QString tarProgram()
{
    return QStandardPaths::findExecutable(QStringLiteral("tar"), {QStringLiteral("/usr/bin"), QStringLiteral("/bin")});
}

QString descriptionIn(const QString &directory)
{
    return QDir(directory).filePath(QLatin1String(DescriptionFile));
}

void setPlugin(QSettings &settings, const QString &name, const QString &version)
{
    const QString array = QStringLiteral("Plugins");
    int position = 0;
    const int count = settings.beginReadArray(array);
    for (; position < count; ++position) {
        settings.setArrayIndex(position);
        if (settings.value(QStringLiteral("Name")).toString() == name)
            break;
    }
    settings.endArray();
    settings.beginWriteArray(array, std::max(count, position + 1));
    settings.setArrayIndex(position);
    settings.setValue(QStringLiteral("Name"), name);
    settings.setValue(QStringLiteral("Version"), version);
    settings.endArray();
}

void writeItem(QSettings &settings, const UpgradeItem &entry)
{
    if (entry.type == item::Named) {
        setPlugin(settings, entry.name, entry.version);
    } else if (entry.type == item::Main) {
        settings.setValue(QStringLiteral("Version"), entry.version);
        settings.remove(QStringLiteral("PatchVersion")); // it was one of the version before
    } else {
        settings.setValue(QStringLiteral("PatchVersion"), entry.version);
    }
}
} // namespace

void PackageInstaller::Tar::setupChildProcess()
{
    ::umask(022);
}

PackageInstaller::PackageInstaller(const UpgradeTask &task, const QStringList &files, const QString &directory,
                                   QObject *parent)
    : QObject(parent)
    , m_task(task)
    , m_files(files)
    , m_directory(directory)
    , m_swap(directory)
{
}

PackageInstaller::~PackageInstaller()
{
    if (m_ended)
        return;
    m_ended = true;
    if (m_tar) {
        m_tar->disconnect(this);
        m_tar->kill();
        m_tar->waitForFinished(3000);
    }
    m_swap.rollBack();
}

QString PackageInstaller::recover(const QString &directory)
{
    return FileSwap(directory).rollBack();
}

void PackageInstaller::start()
{
    const QString error = m_swap.prepare();
    if (error.isEmpty())
        next();
    else
        end(error);
}

void PackageInstaller::next()
{
    if (m_item == m_files.size()) {
        const QString error = updateDescription();
        return end(error.isEmpty() ? m_swap.apply() : error);
    }
    const QString &file = m_files.at(m_item);
    if (m_listing)
        return runTar({QStringLiteral("--list"), QStringLiteral("--verbose"), QStringLiteral("--numeric-owner"),
                       QStringLiteral("--quoting-style=escape"), QStringLiteral("--file=") + file});
    runTar({QStringLiteral("--extract"), QStringLiteral("--no-same-owner"), QStringLiteral("--no-same-permissions"),
            QStringLiteral("--directory=") + m_swap.staging(), QStringLiteral("--file=") + file});
}

void PackageInstaller::runTar(const QStringList &arguments)
{
    delete m_tar;
    m_tar = new Tar(this);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    environment.remove(QStringLiteral("TAR_OPTIONS"));
    m_tar->setProcessEnvironment(environment);
    connect(m_tar, &QProcess::readyReadStandardOutput, this, &PackageInstaller::readListing);
    connect(m_tar, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this, &PackageInstaller::tarEnded);
    connect(m_tar, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(QStringLiteral("the program \"tar\" cannot be started"));
    });
    m_tar->start(tarProgram(), QStringList{QStringLiteral("--force-local")} + arguments, QIODevice::ReadOnly);
}

void PackageInstaller::readListing()
{
    while (m_reason.isEmpty() && (m_tar->canReadLine() || m_tar->bytesAvailable() > MaxLine)) {
        if (!m_tar->canReadLine())
            m_reason = QStringLiteral("the package has a name that is too long");
        else
            m_reason = judgeLine(m_tar->readLine());
    }
    if (!m_reason.isEmpty())
        m_tar->kill();
}

// "-rw-r--r-- 0/0   1234 2026-01-31 12:00 path/of/the/member"
QString PackageInstaller::judgeLine(const QByteArray &line)
{
    const QList<QByteArray> fields = line.simplified().split(' ');
    const char type = line.isEmpty() ? '?' : line.at(0);
    const QByteArray name = fields.size() > 5 ? QByteArray(fields.at(5)) : QByteArray();
    if (!QByteArray("-dlh").contains(type))
        return QStringLiteral("the package has a member that is neither a file nor a directory: %1")
            .arg(QString::fromUtf8(name).left(300));
    if (name.startsWith('/') || name.split('/').contains(".."))
        return QStringLiteral("the package has a path outside of its folder: %1")
            .arg(QString::fromUtf8(name).left(300));
    m_bytes += fields.at(2).toLongLong();
    if (++m_members > MaxMembers)
        return QStringLiteral("the package has more than %1 members").arg(MaxMembers);
    if (m_bytes > freeBytes(m_directory) - SpaceReserve && m_bytes > 0)
        return QStringLiteral("there is not enough space for what the package holds");
    return {};
}

void PackageInstaller::tarEnded()
{
    readListing();
    if (m_reason.isEmpty() && (m_tar->exitStatus() != QProcess::NormalExit || m_tar->exitCode() != 0)) {
        const QString complaint = QString::fromUtf8(m_tar->readAllStandardError().right(300)).simplified();
        m_reason = QStringLiteral("the package cannot be unpacked: %1").arg(complaint);
    }
    if (m_reason.isEmpty() && !m_listing)
        m_reason = m_swap.checkStaged(); // before the next package could go through a link of this one
    if (!m_reason.isEmpty())
        return end(m_reason);
    m_item += m_listing ? 0 : 1;
    m_listing = !m_listing;
    next();
}

// The description is ours: a package brings files only.
QString PackageInstaller::updateDescription()
{
    const QString staged = descriptionIn(m_swap.staging());
    QFile::remove(staged);
    if (!QFile::copy(descriptionIn(m_directory), staged))
        return QStringLiteral("%1 cannot be copied").arg(descriptionIn(m_directory));
    QSettings settings(staged, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    for (const UpgradeItem &entry : m_task.items)
        writeItem(settings, entry);
    settings.sync();
    return settings.status() == QSettings::NoError ? QString() : QStringLiteral("%1 cannot be written").arg(staged);
}

void PackageInstaller::end(const QString &error)
{
    if (m_ended)
        return;
    m_ended = true;
    const QString worse = error.isEmpty() ? QString() : m_swap.rollBack();
    emit finished(worse.isEmpty() ? error : QStringLiteral("%1; rolling back: %2").arg(error, worse));
}

} // namespace tarn::services
