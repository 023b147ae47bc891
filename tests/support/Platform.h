#pragma once
#include "support/Sandbox.h"

namespace tarn::test {

/// A sandbox with the real services and the command line; a client inside the test meets the same hub. The programs
/// write to the test's standard error output.
class Platform : public Sandbox
{
public:
    ~Platform(); ///< ends the services gently

    struct Result
    {
        int exitCode = -1; ///< -1: could not be started, crashed or did not end in time
        QByteArray out;
        QByteArray err;
    };

    QString dataDirectory() const { return path(QStringLiteral("data/tarn")); }

    /// "ServiceHub quickboot"; returns when the message service answers.
    bool startHub();
    /// The services without a hub's care, for tests that kill them; needs a running hub to be of use.
    bool startServices();
    bool waitForTag(const QString &tag);

    QProcess *services() { return m_services.get(); }
    qint64 servicesOfHub() const; ///< process id of the tarn-services that the hub runs, 0 if none

    static bool terminate(QProcess *process, int timeoutMs = 10000); ///< SIGTERM; false when it does not end

    /// Runs it to its end.
    Result tarnctl(const QStringList &arguments, const QByteArray &input = {});

private:
    static ProcessPtr start(const QString &name, const QStringList &arguments);

    ProcessPtr m_services;
};

} // namespace tarn::test
