#pragma once
#include <QElapsedTimer>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QTimer>

class IServiceObjectCreator;
class QWidget;

namespace tarn::osgi {
class IBundleActivator;
class IBundleContext;
} // namespace tarn::osgi

/// Compares a plug-in's metadata with what this host expects, before any of its code runs.
/// @param metadata as QPluginLoader::metaData() gives it; empty for a file that is no Qt plug-in
/// @return why the plug-in is refused, naming the key; empty when it may be loaded
QString pluginRefusal(const QJsonObject &metadata);

/// The plug-in manager of a host process: loads plug-ins, constructs the creators of their services and drives them.
/// GUI thread.
class PluginHost final : public QObject
{
    Q_OBJECT
public:
    explicit PluginHost(QObject *parent = nullptr);
    ~PluginHost() override; ///< destroys the service and stops the bundles

    /// Loads every plug-in of the directory that passes the metadata check; the reason for each refusal is logged.
    /// @return number of plug-ins loaded
    int load(const QString &directory);
    /// Starts the bundles, then constructs the creator of the visualized service and has it create the service. When that
    /// fails, because no hub runs yet, it is tried again until it succeeds. After ten seconds a notice tells the user.
    void start();

private:
    struct Bundle
    {
        tarn::osgi::IBundleActivator *activator;
        QSharedPointer<tarn::osgi::IBundleContext> context;
    };
    bool loadFile(const QString &file);
    void constructCreator();
    void createService();
    void tellUser();

    QList<Bundle> m_bundles;
    QSharedPointer<QObject> m_owner; ///< of the creator
    IServiceObjectCreator *m_creator = nullptr;
    QTimer m_retry;
    QElapsedTimer m_sinceStart;
    QPointer<QWidget> m_notice; ///< that the service cannot be created
    bool m_told = false;        ///< the user may have closed the notice
};
