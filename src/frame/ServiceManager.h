#pragma once
#include "frame/ServiceManagerPrivate.h"
#include "tarn/rpc/Rpc.h"
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

/// Connects the process to the platform's hub and owns its RPC core. GUI thread. Its creation reads the settings, starts
/// the hub if none runs (which takes up to 10 seconds when no hub comes up) and connects; a failure is logged and leaves
/// the core uninitialised, so that checkAndReinit() can try again.
class CServiceManager final : public QObject
{
    Q_OBJECT
public:
    static QSharedPointer<CServiceManager> getInstance(); ///< any thread
    static bool hasInstance();
    static void ReleaseInstance();
    ~CServiceManager() override { m_rpc->setHubLost({}); } ///< afterwards no call of it runs

    QSharedPointer<tarn::rpc::Rpc> getRpc() const { return m_rpc; }
    void unInitRpcCore() { m_rpc->shutdown(); }

    /// The proxy of a remote object, null when there is none.
    QSharedPointer<tarn::rpc::RpcProxy> stringToProxy(const QString &tag);
    QSharedPointer<tarn::rpc::RpcProxy> waitforHub();

    /// @param errorText receives a text for the user when the result is false
    bool checkHubExist(QString &errorText);
    /// Reads the hub's port again. @return false when the hub publishes none
    bool checkHubRst();
    /// Connects again with fresh settings if the hub cannot be reached.
    /// @param errorText receives a text for the user when the result is false; may be null
    bool checkAndReinit(QString *errorText = nullptr);
    /// Text for the user when the start failed, empty otherwise; rich text.
    QString startError() const { return d->errorText; }

    QString getTestRpcServiceIp() { return d->getTestRpcServiceIp(); }
    void getAllInstallCfgFiles(QStringList &files) { d->getAllInstallCfgFiles(files); }
    QString getServiceInstallCfg() { return d->getServiceInstallCfg(); }
    QString getVtAssistantInstallCfg() { return d->getVtAssistantInstallCfg(); }

private:
    CServiceManager();
    void start();
    bool initRpc(int port);

    QSharedPointer<CServiceManagerPrivate> d;
    QSharedPointer<tarn::rpc::Rpc> m_rpc;

    static QSharedPointer<CServiceManager> s_instance;
    static QMutex s_lock; ///< guards the creation of the instance
};
