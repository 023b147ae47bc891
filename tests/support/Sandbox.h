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

/// Private directories for one test's sockets, shared-memory keys and data, with a hub that has no services. While the
/// object lives, TMPDIR, XDG_RUNTIME_DIR and XDG_DATA_HOME of this process point there too. One at a time; main thread.
/// Knows the platform's programs only, so that a client without its libraries can use it.
class Sandbox
{
public:
    Sandbox();
    ~Sandbox(); ///< ends the hub
    Q_DISABLE_COPY(Sandbox)

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString runtimeDir() const { return path(QStringLiteral("run/tarn")); }
    static QString program(const QString &name); ///< absolute path; ctest sets TARN_BIN_DIR
    /// A script beside the hub program that the hub takes for its services.
    void writeServices(const QByteArray &script);

    ProcessPtr newHub(); ///< a copy of the program; not started
    /// @return false when the hub is not ready within ten seconds
    bool startHubAlone();
    void killHub(); ///< SIGKILL
    QProcess *hub() { return m_hub.get(); }
    quint16 hubPort() const { return m_port; } ///< of the last startHubAlone()

    /// Settings for Rpc::init() that lead to the hub.
    QHash<QString, QString> settings(const QHash<QString, QString> &more = {}) const;

    /// A rpcpeer process serving its object under tag; null when it does not become ready.
    ProcessPtr startPeer(const QString &tag);

protected:
    ProcessPtr m_hub;

private:
    QHash<QByteArray, QByteArray> m_outerEnvironment;
    QTemporaryDir m_dir;
    quint16 m_port = 0;
};

/// Reads lines of a process until one holds the text; the rest of that line, or a null string after ten seconds.
QString awaitLine(QProcess *process, const QByteArray &text);
