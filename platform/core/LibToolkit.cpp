#include "tarn/commkit/LibToolkit.h"
#include <QCoreApplication>
#include <QDir>

namespace tarn::commkit {

QString LibToolkit::getAppModulePath()
{
    const QString configured = qEnvironmentVariable("TARN_MODULE_PATH");
    if (!configured.isEmpty() && QDir(configured).exists())
        return QDir(configured).absolutePath();
    return QCoreApplication::applicationDirPath();
}

} // namespace tarn::commkit
