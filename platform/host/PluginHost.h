#pragma once
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>
#include <QTimer>

class IServiceObjectCreator;

namespace tarn::osgi {
class IBundleActivator;
class IBundleContext;
} // namespace tarn::osgi

/// The plug-in manager of a host process: loads plug-ins, constructs the creators of their services and drives them.
/// GUI thread.
class PluginHost final : public QObject
{
    Q_OBJECT
public:
    explicit PluginHost(QObject *parent = nullptr);
    ~PluginHost() override;

    /// Loads every plug-in of the directory that passes the metadata check; what is refused is logged with the reason.
    /// @return number of plug-ins loaded
    int load(const QString &directory);
    /// Starts the bundles, then constructs and creates their services. A service that cannot be bound yet, because
    /// the hub does not run, is tried again until it can.
    void start();
    /// Destroys the services and stops the bundles.
    void stop();

private:
    struct Bundle
    {
        tarn::osgi::IBundleActivator *activator; ///< null for a plug-in that is no bundle
        QSharedPointer<tarn::osgi::IBundleContext> context;
    };
    struct Service
    {
        QSharedPointer<QObject> owner;
        IServiceObjectCreator *creator;
        QString tag;
        bool bound;
    };

    bool loadFile(const QString &file);
    void constructServices();
    void createServices();

    QList<Bundle> m_bundles;
    QList<Service> m_services;
    QTimer m_retry;
};
