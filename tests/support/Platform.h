#pragma once
#include <QByteArray>
#include <QHash>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

namespace tarn::test {

/// A platform of a test's own: private directories for shared-memory keys, sockets and data, with a hub and its services in
/// them. While the object lives, TMPDIR, XDG_RUNTIME_DIR and XDG_DATA_HOME of this process point there
/// too, so that a client inside the test meets the same hub. One at a time; main thread.
///
/// Programs come from TARN_BIN_DIR (set by ctest). What they write goes to the test's standard error output.
class Platform
{
public:
    Platform();
    ~Platform(); ///< ends what was started, gently first
    Platform(const Platform &) = delete;
    Platform &operator=(const Platform &) = delete;

    struct Result
    {
        int exitCode = -1; ///< -1: could not be started, crashed or did not end in time
        QByteArray out;
        QByteArray err;
    };

    QString directory() const { return m_directory.path(); }
    QString dataDirectory() const { return directory() + QStringLiteral("/d/tarn"); }
    static QString program(const QString &name); ///< absolute path

    /// "ServiceHub quickboot"; returns when the hub has published its port and its message service answers.
    bool startHub();
    /// The hub without its services, so that a test can serve under their names.
    bool startHubAlone();
    /// The services without a hub's care, for tests that kill them; needs a running hub to be of use.
    bool startServices();
    bool waitForTag(const QString &tag);

    QProcess *hub() { return m_hub.get(); }
    QProcess *services() { return m_services.get(); }
    qint64 servicesOfHub() const; ///< process id of the tarn-services that the hub runs, 0 if none

    static bool terminate(QProcess *process, int timeoutMs = 10000); ///< SIGTERM; false when it had to be killed
    static void kill(QProcess *process);                             ///< SIGKILL

    /// Runs it to its end.
    Result tarnctl(const QStringList &arguments, const QByteArray &input = {});

private:
    std::unique_ptr<QProcess> start(const QString &name, const QStringList &arguments);
    void setVariable(const char *name, const QString &value);

    QTemporaryDir m_directory;
    QHash<QByteArray, QByteArray> m_outerEnvironment;
    std::unique_ptr<QProcess> m_hub;
    std::unique_ptr<QProcess> m_services;
};

} // namespace tarn::test
