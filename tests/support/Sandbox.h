#pragma once
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <memory>

/// Kills a process that still runs; Qt's destructor would warn of it.
struct EndProcess
{
    void operator()(QProcess *process) const
    {
        process->kill();
        process->waitForFinished();
        delete process;
    }
};
using ProcessPtr = std::unique_ptr<QProcess, EndProcess>;

/// Private directories for one test's sockets, shared-memory keys and data, and the platform's programs in them. While the
/// object lives, TMPDIR, XDG_RUNTIME_DIR and XDG_DATA_HOME of this process point there too, so that a client inside the
/// test meets the same hub. One at a time; main thread. Needs no library of the platform.
class Sandbox
{
public:
    struct Result
    {
        int exitCode = -1; ///< -1: could not be started, crashed or did not end in time
        QByteArray out;
        QByteArray err;
    };

    Sandbox();
    ~Sandbox(); ///< ends the hub, and its services with it
    Q_DISABLE_COPY(Sandbox)

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString runtimeDir() const { return path(QStringLiteral("run/tarn")); }
    static QString program(const QString &name); ///< absolute path; ctest sets TARN_BIN_DIR
    /// A script beside the copy of the hub program, which takes it for its services.
    void writeServices(const QByteArray &script);

    ProcessPtr newHub(); ///< a copy of the program, without services; not started
    /// @return false when the hub is not ready within 30 seconds
    bool startHubAlone();
    bool startHub(); ///< with the real services; returns when the message service answers
    bool waitForServices();
    void killHub(); ///< SIGKILL
    QProcess *hub() { return m_hub.get(); }
    quint16 hubPort() const { return m_port; } ///< of the last startHubAlone()
    pid_t services() const;                    ///< the process that the hub runs, 0 if none

    /// A program that writes to the test's standard error output.
    static ProcessPtr start(const QString &name, const QStringList &arguments = {});
    static bool terminate(QProcess *process, int timeoutMs = 30000); ///< SIGTERM; false when it does not end
    static Result tarnctl(const QStringList &arguments, const QByteArray &input = {});

    /// Settings for Rpc::init() that lead to the hub.
    QHash<QString, QString> settings(const QHash<QString, QString> &more = {}) const;

    /// A rpcpeer process serving its object under tag; null when it does not become ready.
    ProcessPtr startPeer(const QString &tag);

private:
    ProcessPtr m_hub;
    QHash<QByteArray, QByteArray> m_outerEnvironment;
    QTemporaryDir m_dir;
    quint16 m_port = 0;
};

/// Reads lines of a process until one holds the text; the rest of that line, or null after 30 seconds.
QByteArray awaitLine(QProcess *process, const QByteArray &text);

/// Stops a process (SIGSTOP) and waits until each of its threads has stopped: the signal alone leaves them time to answer
/// one more call. SIGCONT wakes it.
bool freeze(pid_t pid);
