#pragma once
#include "tarn/factory/IServiceObjectCreator.h"
#include "tarn/rpc/RpcAdapter.h"
#include <QObject>
#include <QSharedPointer>

class CVisualizedService;
class IVisualizedService;

/// Binds the visualized service to the RPC layer under a tag and tears the service down again. Created by the host
/// through the object factory and driven on its main thread.
class CVisualizedServiceCreator final : public QObject, public IServiceObjectCreator
{
    Q_OBJECT
    Q_INTERFACES(IServiceObjectCreator)
    Q_PROPERTY(QString startError READ startError)
public:
    explicit CVisualizedServiceCreator(QObject *parent = nullptr);
    ~CVisualizedServiceCreator() override;

    bool create(const QString &tag) override;
    void destroy(const QString &tag) override;
    /// Text for the user when the hub could not be started or reached, empty otherwise; rich text, which the host shows.
    QString startError() const;

private:
    /// @param added set when the object must be removed after a failure
    /// @param opened set when operations were refused before
    /// @return the reason of a failure, empty when the object is bound
    QString bind(const QString &tag, bool &added, bool &opened);
    void closeService();
    void endRpc();
    void loadFonts();

    bool m_fontsLoaded = false;
    QSharedPointer<tarn::rpc::RpcAdapter> m_adapter;
    QSharedPointer<IVisualizedService> m_service;
};
