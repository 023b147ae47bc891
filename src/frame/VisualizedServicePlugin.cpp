#include "frame/VisualizedServicePlugin.h"
#include "tarn/osgi/IBundleContext.h"

bool CVisualizedServicePlugin::initialize(const QStringList &, QString &)
{
    return true;
}

void CVisualizedServicePlugin::start(QSharedPointer<tarn::osgi::IBundleContext>) {}

void CVisualizedServicePlugin::stop(QSharedPointer<tarn::osgi::IBundleContext>) {}
