#pragma once
#include "tarn/rpc/Rpc.h"
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class CServiceManagerPrivate;

/// Connects the process to the platform's hub and owns its RPC core. GUI thread. Making it reads the settings, starts
/// the hub if it does not run (which takes up to 10 seconds when the hub does not come up) and connects; a failure is
/// logged and leaves the core uninitialised, so that checkAndReinit() can try again.
class CServiceManager final : public QObject
{
    Q_OBJECT
public:
    static QSharedPointer<CServiceManager> getInstance();
    static bool hasInstance();
    static void ReleaseInstance();
    ~CServiceManager() override;

    QSharedPointer<tarn::rpc::Rpc> getRpc() const;
    void unInitRpcCore();

    /// The proxy of a remote object, null when there is none.
    QSharedPointer<tarn::rpc::RpcProxy> stringToProxy(const QString &tag);
    QSharedPointer<tarn::rpc::RpcProxy> waitforHub();

    /// @param errorText receives a text for the user when the result is false
    bool checkHubExist(QString &errorText);
    /// Reads the hub's port anew. @return false when the hub publishes none
    bool checkHubRst();
    /// Connects again with fresh settings if the hub cannot be reached.
    /// @param errorText receives a text for the user when the result is false; may be null
    bool checkAndReinit(QString *errorText = nullptr);
    /// Text for the user when the start failed, empty otherwise; rich text.
    QString startError() const;

    QString getTestRpcServiceIp();
    void getAllInstallCfgFiles(QStringList &files);
    QString getServiceInstallCfg();
    QString getVtAssistantInstallCfg();
    QString findExePathByRegedit();

private:
    CServiceManager();
    void start();
    bool initRpc(int port);
    void logConnected(bool connected);

    QSharedPointer<CServiceManagerPrivate> d;
    QSharedPointer<tarn::rpc::Rpc> m_rpc;
};
