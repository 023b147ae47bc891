#pragma once
#include "tarn/rpc/Rpc.h"
#include <QProcess>
#include <QTemporaryDir>
#include <memory>

/// A platform of its own for one test: runtime directory, temporary directory and, when asked for, a hub. Ends what it
/// started.
class Sandbox
{
public:
    Sandbox();
    ~Sandbox();

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString runtimeDir() const { return path(QStringLiteral("run/tarn")); }

    /// @return false when the hub is not ready within ten seconds
    bool startHub();
    void killHub(); ///< SIGKILL
    QProcess &hub() { return *m_hub; }
    quint16 hubPort() const { return m_port; } ///< of the last start
    QString hubLog();

    /// Settings for Rpc::init() that lead to the hub.
    QHash<QString, QString> settings(const QHash<QString, QString> &more = {}) const;

    /// A rpcpeer process serving its object under tag; null when it does not become ready.
    std::unique_ptr<QProcess> startPeer(const QString &tag, const QStringList &more = {});

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_hub;
    quint16 m_port = 0;
};

/// Reads lines of a process until one begins with the text; the rest of that line, or a null string after ten seconds.
QString awaitLine(QProcess &process, const QByteArray &beginning);
