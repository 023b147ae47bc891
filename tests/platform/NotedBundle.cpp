#include "tarn/osgi/IBundleActivator.h"
#include "tarn/osgi/IBundleContext.h"
#include "tarn/plugin/IPlugin.h"
#include <QCoreApplication>
#include <QVariant>

/// A bundle that notes in the application's properties "start" and "stop" the facts that its host passes to it.
class NotedBundle final : public tarn::plugin::IPlugin, public tarn::osgi::IBundleActivator
{
    Q_OBJECT
    Q_INTERFACES(tarn::plugin::IPlugin)
    Q_PLUGIN_METADATA(IID TARN_PLUGIN_IID FILE "../../src/frame/VisualizedServicePlugin.json")
public:
    bool initialize(const QStringList &, QString &) override { return true; }
    void start(QSharedPointer<tarn::osgi::IBundleContext> context) override { note("start", *context); }
    void stop(QSharedPointer<tarn::osgi::IBundleContext> context) override { note("stop", *context); }

private:
    static void note(const char *name, const tarn::osgi::IBundleContext &context)
    {
        qApp->setProperty(name, QStringList{context.bundleName(), context.property("plugin.path").toString(),
                                            context.property("other").toString()});
    }
};

#include "NotedBundle.moc"
