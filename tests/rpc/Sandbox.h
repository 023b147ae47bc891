#pragma once
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <memory>

/// Kills what still runs.
struct EndProcess
{
    void operator()(QProcess *process) const;
};
using ProcessPtr = std::unique_ptr<QProcess, EndProcess>;

/// A platform of its own for one test: runtime directory, temporary directory, a copy of the hub program and, when
/// asked for, a running hub. Ends what it started.
class Sandbox
{
public:
    Sandbox();
    ~Sandbox();

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString runtimeDir() const { return path(QStringLiteral("run/tarn")); }
    /// A script beside the hub program that the hub takes for its services.
    void writeServices(const QByteArray &script);

    ProcessPtr newHub(); ///< not started
    /// @return false when the hub is not ready within ten seconds
    bool startHub();
    void killHub(); ///< SIGKILL
    QProcess &hub() { return *m_hub; }
    quint16 hubPort() const { return m_port; } ///< of the last start

    /// Settings for Rpc::init() that lead to the hub.
    QHash<QString, QString> settings(const QHash<QString, QString> &more = {}) const;

    /// A rpcpeer process serving its object under tag; null when it does not become ready.
    ProcessPtr startPeer(const QString &tag);

private:
    const QByteArray m_tmpDir = qgetenv("TMPDIR");
    QTemporaryDir m_dir;
    ProcessPtr m_hub;
    quint16 m_port = 0;
};

/// Reads lines of a process until one holds the text; the rest of that line, or a null string after ten seconds.
QString awaitLine(QProcess &process, const QByteArray &text);
/// A number of /proc/<pid>/status in KiB, e.g. "VmHWM".
qint64 memoryKiB(qint64 pid, const QByteArray &field);
