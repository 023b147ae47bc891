#pragma once
#include <QSharedPointer>

namespace tarn::osgi {

class IBundleContext;

/// Life cycle of a bundle: the host calls start() after all plug-ins are initialised and stop() before it unloads
/// them, both on the GUI thread.
class IBundleActivator
{
public:
    virtual ~IBundleActivator() = default;
    virtual void start(QSharedPointer<IBundleContext> context) = 0;
    virtual void stop(QSharedPointer<IBundleContext> context) = 0;
};

} // namespace tarn::osgi
