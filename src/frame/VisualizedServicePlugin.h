#pragma once
#include "tarn/osgi/IBundleActivator.h"
#include "tarn/plugin/IPlugin.h"

/// What the host loads. It does nothing itself: the service is set up and torn down by CVisualizedServiceCreator.
class CVisualizedServicePlugin final : public tarn::plugin::IPlugin, public tarn::osgi::IBundleActivator
{
    Q_OBJECT
    Q_INTERFACES(tarn::plugin::IPlugin)
    Q_PLUGIN_METADATA(IID TARN_PLUGIN_IID FILE "VisualizedServicePlugin.json")
public:
    bool initialize(const QStringList &, QString &) override { return true; }
    void start(QSharedPointer<tarn::osgi::IBundleContext>) override {}
    void stop(QSharedPointer<tarn::osgi::IBundleContext>) override {}
};
