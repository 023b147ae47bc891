#pragma once
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include <QObject>
#include <QSharedPointer>
#include <QTimer>
#include <vector>

namespace tarn::services {

/// Serves the background services: waits for a hub and registers them there. Lives on the main thread.
class ServiceRunner final : public QObject
{
    Q_OBJECT
public:
    explicit ServiceRunner(QObject *parent = nullptr);
    ~ServiceRunner() override; ///< withdraws the services; calls that run end first

    /// @param name interface name and tag
    void addService(const QString &name, const QSharedPointer<rpc::IInvocable> &service);
    void start();

private:
    void connectToHub();
    bool serve(quint16 port);

    struct Service
    {
        QString name;
        QSharedPointer<rpc::IInvocable> object;
    };
    std::vector<Service> m_services;
    rpc::Rpc m_rpc;
    QSharedPointer<rpc::RpcAdapter> m_adapter;
    QTimer m_hubPoll;
    QString m_lastTrouble; ///< logged once, not with every attempt
};

} // namespace tarn::services
