#pragma once
#include <QHash>
#include <QString>
#include <QStringList>

/// The machine's settings, paths, install descriptions and hub for the RPC service manager. GUI thread.
class CServiceManagerPrivate
{
public:
    void readLocalSettings();

    QString getTestRpcServiceIp() const;
    void getAllInstallCfgFiles(QStringList &files) const;
    QString getServiceInstallCfg() const; ///< description of the platform's services; empty if there is none
    QString getVtAssistantInstallCfg() const;
    /// Absolute path of the hub program; empty if no description names one. The descriptions are searched again only when
    /// the program found last is missing: the search walks the whole applications directory.
    QString findExePathByRegedit();

    /// The port that the hub publishes: in the user's runtime directory, else in the shared-memory segment, for which it
    /// waits a second at most: any user of the machine can hold the segment's lock.
    /// @param errorText receives the reason when the result is 0
    /// @return 1 to 65535, or 0 when no hub publishes one. A segment that a killed hub left behind counts as none and is
    ///         removed by the reading.
    static int readHubPort(QString &errorText);
    void fillSettings(); ///< reads the test address; all settings but the port

    QHash<QString, QString> settings; ///< for the RPC core
    QString errorText;                ///< for the user, when the start failed

private:
    QString descriptionOf(const QString &software) const; ///< empty if there is none

    QString m_hubProgram; ///< found last
};
