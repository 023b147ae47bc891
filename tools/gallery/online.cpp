#include "gallery/Gallery.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>
#include <algorithm>

namespace {
namespace key = tarn::upgrade::key;
namespace state = tarn::upgrade::state;
using upgrade::controls::CUpgradeTableWidget;

// A program with one of the sample icons beside it.
QString program(const QString &slug)
{
    static const QTemporaryDir folder;
    const QString path = folder.filePath(slug);
    QFile(path).open(QIODevice::WriteOnly);
    QFile::copy(QStringLiteral(GALLERY_SAMPLE "/catalogue/icons/%1.png").arg(slug), path + QStringLiteral(".png"));
    return path;
}

QVariantMap task(const QString &name, const QString &slug, int status, qint64 current = 0, qint64 total = 0)
{
    return {{key::SoftName, name},
            {key::Status, status},
            {key::CurrentVersion, QStringLiteral("3.2.0.1045")},
            {key::ExeFilePath, program(slug)},
            {key::WorkingItem, QVariantMap{{key::ItemType, 1},
                                           {key::UpdateVersion, QStringLiteral("3.3.0.1120")},
                                           {key::CurrentSize, current},
                                           {key::TotalSize, total}}}};
}

QWidget *window(const QVariantList &tasks)
{
    auto *dialog = new CUpgradeDialog;
    auto *table = dialog->findChild<CUpgradeTableWidget *>();
    table->onRefreshUpgradeDtats(upgrade::operate::queryDataInfos(tasks));
    dialog->grab(); // the first paint starts the search for the icons
    gallery::waitFor([dialog] {
        const auto icons = dialog->findChildren<QLabel *>(QStringLiteral("softIcon"));
        return std::none_of(icons.cbegin(), icons.cend(),
                            [](const QLabel *icon) { return icon->pixmap(Qt::ReturnByValue).isNull(); });
    });
    return dialog;
}

QVariantList everyState()
{
    return {task(QStringLiteral("岚川设计"), QStringLiteral("spruce"), state::Downloading, 37'200'000, 100'000'000),
            task(QStringLiteral("岚川计价"), QStringLiteral("jointlab"), state::Downloading, 0, 80'000'000),
            task(QStringLiteral("岚川算量"), QStringLiteral("bluestone"), state::Downloaded),
            task(QStringLiteral("岚川审图"), QStringLiteral("leafview"), state::Installing)};
}
} // namespace

GALLERY_SCENE(online, Empty, "Nothing is running.")
{
    return window({});
}

GALLERY_SCENE(online, States, "Downloading, just begun, downloaded, installing.")
{
    return window(everyState());
}

GALLERY_SCENE(online, Hovered, "The second row under the cursor, the first one selected.")
{
    QWidget *dialog = window(everyState());
    auto *table = dialog->findChild<CUpgradeTableWidget *>();
    table->onCellEntered(1, 0);
    table->selectRow(0);
    return dialog;
}
