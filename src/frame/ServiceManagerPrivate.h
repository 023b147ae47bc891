#pragma once
#include <QHash>
#include <QString>
#include <QStringList>

/// The machine's settings, paths and install descriptions for the RPC service manager. GUI thread.
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

    void fillSettings(); ///< reads the test address; all settings but the port

    QHash<QString, QString> settings; ///< for the RPC core
    QString errorText;                ///< for the user, when the start failed

private:
    QString descriptionOf(const QString &software) const; ///< empty if there is none

    QString m_hubProgram; ///< found last
};
