#include "hub/ChildKeeper.h"
#include "tarn/core/Program.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubServer.h"
#include "tarn/rpc/RpcLog.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSharedMemory>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <future>
#include <memory>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {
/// What makes this hub the only one of its runtime directory: a lock file, which also remembers the port for the next
/// start, and a port that is bound but never listened on. The kernel releases the lock with the process, whatever pid
/// namespace it lived in; QLockFile judges by the pid.
class PortReservation
{
public:
    PortReservation() = default;
    ~PortReservation() ///< frees port and lock
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }
    Q_DISABLE_COPY(PortReservation)

    /// Takes lock and port; the last hub's port when it is free.
    bool reserve(QString *error)
    {
        if (!lock(error))
            return false;
        const quint16 last = m_lock.read(16).trimmed().toUShort(); // 0 where none is remembered
        if ((last == 0 || !bindPort(last)) && !bindPort(0)) {
            *error = QStringLiteral("no port can be reserved: %1").arg(qt_error_string(errno));
            return false;
        }
        const QByteArray text = QByteArray::number(m_port) + '\n';
        if (!m_lock.seek(0) || !m_lock.resize(0) || m_lock.write(text) < 0 || !m_lock.flush())
            qWarning("the port cannot be remembered: %s", qUtf8Printable(m_lock.errorString()));
        return true;
    }

    quint16 port() const { return m_port; }
    QString lockFile() const { return m_lockFile; }

    /// Whether the lock file still has its path; otherwise another hub can start beside this one.
    bool isInPlace() const
    {
        struct stat held = {};
        struct stat found = {};
        return ::fstat(m_lock.handle(), &held) == 0 &&
               ::lstat(QFile::encodeName(m_lockFile).constData(), &found) == 0 && held.st_ino == found.st_ino &&
               held.st_dev == found.st_dev;
    }

private:
    bool lock(QString *error)
    {
        const QString dir = tarn::rpc::runtimeDir(error);
        if (dir.isEmpty())
            return false;
        m_lockFile = dir + QStringLiteral("/hub.lock");
        // By the system call: QFile would follow a link and let others read the file.
        const int fd =
            ::open(QFile::encodeName(m_lockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0 || !m_lock.open(fd, QIODevice::ReadWrite, QFileDevice::AutoCloseHandle)) {
            *error = QStringLiteral("%1 cannot be opened: %2").arg(m_lockFile, qt_error_string(errno));
            return false;
        }
        if (::flock(m_lock.handle(), LOCK_EX | LOCK_NB) != 0) {
            *error = errno == EWOULDBLOCK
                         ? QStringLiteral("another hub runs in %1").arg(dir)
                         : QStringLiteral("%1 cannot be locked: %2").arg(m_lockFile, qt_error_string(errno));
            return false;
        }
        return true;
    }

    /// Binds without listening: no program can connect, and no other gets the number.
    bool bindPort(quint16 wanted)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(wanted);
        socklen_t size = sizeof(address);
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return false;
        if (::bind(fd, generic, size) != 0 || ::getsockname(fd, generic, &size) != 0) {
            ::close(fd);
            return false;
        }
        m_socket = fd;
        m_port = ntohs(address.sin_port);
        return true;
    }

    QString m_lockFile;
    QFile m_lock;
    int m_socket = -1;
    quint16 m_port = 0;
};

/// Ends the hub when the runtime directory was removed or replaced: callers do not find this hub any more, and another one
/// can start.
void watchLock(QFileSystemWatcher *watcher, const PortReservation &reservation)
{
    const auto check = [watcher, &reservation] {
        if (reservation.isInPlace())
            return;
        qCritical("%s is not this hub's any more, the hub ends", qUtf8Printable(reservation.lockFile()));
        watcher->blockSignals(true);
        QCoreApplication::exit(1);
    };
    watcher->addPaths({reservation.lockFile(), QFileInfo(reservation.lockFile()).path()});
    QObject::connect(watcher, &QFileSystemWatcher::fileChanged, watcher, check);
    QObject::connect(watcher, &QFileSystemWatcher::directoryChanged, watcher, check);
}

bool write(QSharedMemory &segment, const QByteArray &text)
{
    if (!segment.lock())
        return false;
    auto *bytes = static_cast<char *>(segment.data());
    std::memset(bytes, 0, tarn::hub::PortSegmentSize);
    std::memcpy(bytes, text.constData(), static_cast<size_t>(text.size()));
    return segment.unlock();
}

QString publishIn(QSharedMemory &segment, quint16 port)
{
    const bool created = segment.create(tarn::hub::PortSegmentSize);
    const bool taken = !created && segment.error() == QSharedMemory::AlreadyExists && segment.attach();
    if ((created || taken) && segment.size() < tarn::hub::PortSegmentSize)
        return QStringLiteral("it is too small");
    return (created || taken) && write(segment, QByteArray::number(port)) ? QString() : segment.errorString();
}

/// Runs the work in a new thread. @return its answer, or that it has not ended yet
QString within(std::chrono::milliseconds limit, std::function<QString()> work)
{
    std::packaged_task<QString()> task(std::move(work));
    auto answer = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error &e) {
        return QString::fromLocal8Bit(e.what());
    }
    return answer.wait_for(limit) == std::future_status::ready ? answer.get()
                                                               : QStringLiteral("another process holds its lock");
}

/// The shared-memory segment that tells the port to programs that do not know the runtime directory. Its key is common to
/// all users of the machine, and any of them can hold its lock without a limit: threads work on it, which the main thread
/// waits for only a moment. Main thread.
class PortSegment
{
public:
    /// Writes the port, also into a segment that a killed hub left. A segment that is another user's, or whose lock is
    /// held, is a warning.
    explicit PortSegment(quint16 port)
    {
        const auto segment = std::make_shared<QSharedMemory>(tarn::hub::PortSegmentKey);
        const QString trouble = within(std::chrono::seconds(2), [segment, port] { return publishIn(*segment, port); });
        if (trouble.isEmpty())
            m_segment = segment;
        else
            qWarning("the port is not published in shared memory, programs find this hub by its socket alone: %s",
                     qUtf8Printable(trouble));
    }
    ~PortSegment() ///< withdraws the port
    {
        if (m_segment)
            within(std::chrono::milliseconds(500), [segment = m_segment] {
                write(*segment, QByteArray()); // for programs that keep it attached
                segment->detach();
                return QString();
            });
    }
    Q_DISABLE_COPY(PortSegment)

private:
    std::shared_ptr<QSharedMemory> m_segment; ///< null unless published
};

/// The registry, its published port, and the services beside it, which end first. @return the exit code
int runHub()
{
    PortReservation reservation;
    std::shared_ptr<void> hub;
    QString error;
    if (!reservation.reserve(&error) || !(hub = tarn::rpc::startHub(reservation.port(), &error))) {
        qCritical("%s", qUtf8Printable(error));
        return 1;
    }
    QFileSystemWatcher watcher;
    watchLock(&watcher, reservation);
    const PortSegment segment(reservation.port()); // the hub listens already: a program that reads the port can connect
    qInfo("hub ready on port %d", reservation.port());
    const ChildKeeper services(QCoreApplication::applicationDirPath() + QStringLiteral("/tarn-services"));
    return QCoreApplication::exec();
}
} // namespace

int main(int argc, char *argv[])
{
    tarn::core::prepareProgram(false, tarn::core::hasArgument(argc, argv, "--verbose"));
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(tarn::hub::HubProgram);
    QCommandLineParser parser;
    parser.addPositionalArgument(tarn::hub::StartArgument, QStringLiteral("Run in the foreground."));
    tarn::core::readArguments(
        &parser,
        QStringLiteral(
            "Registry of the platform's services: callers find them through it. It starts tarn-services and\n"
            "starts it again when it ends. SIGTERM ends both."),
        {tarn::hub::StartArgument});
    tarn::rpc::RpcLog::set_print(qEnvironmentVariableIsSet("TARN_RPC_LOG"));
    const tarn::core::UnixSignals signalSource;
    return runHub();
}
