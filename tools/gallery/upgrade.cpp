#include "gallery/Gallery.h"
#include "tarn/core/BagArgs.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/UpdateExplainDial.h"
#include <QApplication>
#include <QTabWidget>
#include <QTextBrowser>

using namespace tarn::upgrade;

namespace {

QString sampleFile(const QString &name)
{
    return QStringLiteral(GALLERY_SAMPLE "/catalogue/") + name;
}

QVariantMap section(const QString &name, const QString &version, const QString &installed, const QString &date,
                    const QString &notes = {})
{
    return {{key::SoftwareName, name},        {key::NewVersion, version},
            {key::CurrentVersion, installed}, {key::InstalledVersion, installed},
            {key::ReleaseDate, date},         {key::NotesFile, notes.isEmpty() ? notes : sampleFile(notes)}};
}

QVariantMap product(const QString &name, const QString &slug)
{
    return {{key::SoftwareName, name},
            {key::ExePath, QStringLiteral(GALLERY_APPS "/%1/%1.sh").arg(slug)},
            {key::IconPath, sampleFile(QStringLiteral("icons/%1.png").arg(slug))}};
}

QVariantMap released(const QString &name, const QString &slug, const QString &version, const QString &date)
{
    QVariantMap record = product(name, slug);
    record.insert(key::Software, section(name, version, QStringLiteral("1.0.0"), date));
    return record;
}

QVariantMap drawing()
{
    QVariantMap record = product(QStringLiteral("云杉绘图"), QStringLiteral("spruce"));
    record.insert(key::Software,
                  section(QStringLiteral("云杉绘图"), QStringLiteral("5.2.0"), QStringLiteral("5.1.0"),
                          QStringLiteral("2026-10-28 09:30:00"), QStringLiteral("notes/spruce-5.2.0.html")));
    return record;
}

// A patch and two plug-ins.
QVariantMap typesetting()
{
    QVariantMap record = product(QStringLiteral("青石排版"), QStringLiteral("bluestone"));
    record.insert(key::Patch,
                  section(QStringLiteral("青石排版"), QStringLiteral("3.1.0.2"), QStringLiteral("3.1.0"),
                          QStringLiteral("2026-10-15 16:20:00"), QStringLiteral("notes/bluestone-3.1.0.2.html")));
    record.insert(key::Plugins, QVariantList{section(QStringLiteral("公式助手"), QStringLiteral("1.3.0"),
                                                     QStringLiteral("1.2.0"), QStringLiteral("2026-10-10 11:00:00"),
                                                     QStringLiteral("notes/formula-1.3.0.html")),
                                             section(QStringLiteral("参考文献"), QStringLiteral("2.1.0"),
                                                     QStringLiteral("2.0.1"), QStringLiteral("2026-10-20 08:45:00"))});
    return record;
}

QVariantMap longName()
{
    return released(QStringLiteral("面向多学科协同设计的结构与流体联合分析平台（教学版）"), QStringLiteral("jointlab"),
                    QStringLiteral("2026.2.0.11871-preview+build.20261028"), QStringLiteral("2026-11-01 09:00:00"));
}

QSharedPointer<IUpgaredSoftInfoService_InputParam> request(const QVariantList &records)
{
    auto input = QSharedPointer<tarn::core::InputListArgs<IUpgaredSoftInfoService_InputParam>>::create();
    input->SetValueList(records);
    return input;
}

QVariantList twelve()
{
    QVariantList records{drawing(), typesetting(), longName()};
    for (const QString &slug : {QStringLiteral("farsail"), QStringLiteral("whitedew"), QStringLiteral("pinenote"),
                                QStringLiteral("morningstar"), QStringLiteral("peony"), QStringLiteral("goosegate"),
                                QStringLiteral("homebound"), QStringLiteral("leafview"), QStringLiteral("quicksand")})
        records << released(slug, slug, QStringLiteral("2.0.%1").arg(records.size()),
                            QStringLiteral("2026-07-%1 10:00:00").arg(records.size() + 10));
    return records;
}

// The notes are read on another thread once they are seen, so the window is shown out of sight until they are there.
QWidget *notes(const QVariantMap &record)
{
    auto *dialog = new CUpdateExplainDial(request({record}));
    dialog->InitDialog();
    dialog->setAttribute(Qt::WA_DontShowOnScreen);
    dialog->show();
    auto *tabs = dialog->findChild<QTabWidget *>();
    const auto *browser = tabs->currentWidget()->findChild<QTextBrowser *>();
    gallery::waitFor([browser] { return !browser->document()->isEmpty(); });
    dialog->hide();
    dialog->setAttribute(Qt::WA_DontShowOnScreen, false);
    return dialog;
}

} // namespace

GALLERY_SCENE(upgrade, Prompt03, "Three products: a new version, a patch with plug-ins, a name that is too long")
{
    return new CCheckUpdateDial(request({drawing(), typesetting(), longName()}));
}

GALLERY_SCENE(upgrade, Prompt12, "Twelve products, the newest first; the list scrolls")
{
    return new CCheckUpdateDial(request(twelve()));
}

GALLERY_SCENE(upgrade, Notes, "The update notes of a new version")
{
    return notes(drawing());
}

GALLERY_SCENE(upgrade, NotesTabs, "Notes of a patch (read from a GBK file) and two plug-ins")
{
    return notes(typesetting());
}
