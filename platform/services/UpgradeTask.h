#pragma once
#include "tarn/keys/UpgradeKeys.h"
#include <QList>
#include <QVariantMap>

namespace tarn::services {

/// One package of a task.
struct UpgradeItem
{
    int type = 0; ///< UpgradeKeys.h, namespace item
    QString name;
    QString version;
    QString url;
    QString sha256;
    qint64 size = 0;
    qint64 received = 0; ///< bytes on the disk
};

/// The download and installation of the items that a user chose for one product.
struct UpgradeTask
{
    qint64 id = 0; ///< the store's, never given twice; 0 for a task that is not stored
    QString product;
    int state = 0; ///< UpgradeKeys.h, namespace state
    QString error;
    QString currentVersion;
    QString exePath;
    QVariantMap sections; ///< "软件", "补丁包", "插件", "旧版本补丁包" as they were requested
    QList<UpgradeItem> items;

    bool isActive() const ///< downloading, downloaded or installing
    {
        using namespace upgrade::state;
        return state == Downloading || state == Downloaded || state == Installing;
    }
};

} // namespace tarn::services
