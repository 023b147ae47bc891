#pragma once
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtPlugin>

namespace tarn::plugin {

/// What every plug-in of a host process is. The plug-in manager loads the library, compares its metadata with what it
/// expects (see docs/embedding.md), and then calls initialize() once, on the GUI thread.
class IPlugin : public QObject
{
public:
    explicit IPlugin(QObject *parent = nullptr)
        : QObject(parent)
    {
    }
    ~IPlugin() override = default;

    /// @param arguments the host's arguments for this plug-in, possibly empty
    /// @param errorText receives the reason when the result is false
    /// @return false refuses the plug-in; the host logs errorText and runs without it
    virtual bool initialize(const QStringList &arguments, QString &errorText) = 0;
};

} // namespace tarn::plugin

#define TARN_PLUGIN_IID "com.veltro.TARNPlugin"
Q_DECLARE_INTERFACE(tarn::plugin::IPlugin, TARN_PLUGIN_IID)
