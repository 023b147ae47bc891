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
    QString findExePathByRegedit() const; ///< absolute path of the hub program; empty if no description names one

    void fillSettings(); ///< reads the test address; all settings but the port

    QHash<QString, QString> settings; ///< for the RPC core
    QString errorText;                ///< for the user, when the start failed
};
