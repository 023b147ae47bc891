#pragma once
#include <QHash>
#include <QString>
#include <QStringList>

/// What the RPC service manager finds on this machine: settings, paths, install descriptions. GUI thread.
class CServiceManagerPrivate
{
public:
    void readLocalSettings();

    QString getTestRpcServiceIp() const;
    void getAllInstallCfgFiles(QStringList &files) const;
    QString getServiceInstallCfg() const; ///< description of the platform's services; empty if there is none
    QString getVtAssistantInstallCfg() const;
    QString findExePathByRegedit() const; ///< absolute path of the hub program; empty if no description names one

    void fillSettings(int port);

    QHash<QString, QString> settings; ///< for the RPC core
    QString errorText;                ///< for the user, when the start failed
};
