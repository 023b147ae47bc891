#include "upgrade/ProductIcon.h"
#include "base/RegularFile.h"
#include "base/WorkPool.h"
#include "widgets/Picture.h"
#include <QDir>
#include <QFile>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QIcon>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <utility>

namespace tarn::visualized {

namespace {
constexpr int MostEntries = 2000;          // desktop entries in a folder
constexpr qint64 MostEntryBytes = 1 << 18; // of a desktop entry

/// The "Icon" of a desktop entry that starts the executable; empty for every other file.
QString iconOfEntry(const QString &path, const QFileInfo &executable)
{
    QFile file;
    if (!openRegular(file, path))
        return {};
    QString icon;
    QString program; // the first word of "Exec", which may be quoted
    bool inMainGroup = false;
    const QStringList lines = QString::fromUtf8(file.read(MostEntryBytes)).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString key = line.section(QLatin1Char('='), 0, 0).trimmed();
        const QString value = line.section(QLatin1Char('='), 1).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inMainGroup = line.startsWith(QLatin1String("[Desktop Entry]"));
        else if (inMainGroup && key == QLatin1String("Exec"))
            program = value.startsWith(QLatin1Char('"')) ? value.section(QLatin1Char('"'), 1, 1)
                                                         : value.section(QLatin1Char(' '), 0, 0);
        else if (inMainGroup && key == QLatin1String("Icon"))
            icon = value;
    }
    const bool starts =
        QDir::isAbsolutePath(program) && QDir::cleanPath(program) == QDir::cleanPath(executable.filePath());
    return starts ? icon : QString();
}

QString iconOfDesktopEntry(const QFileInfo &executable)
{
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    folders.prepend(executable.path());
    for (const QString &folder : qAsConst(folders)) {
        const QStringList entries = QDir(folder).entryList({QStringLiteral("*.desktop")}, QDir::Files);
        for (const QString &entry : entries.mid(0, MostEntries)) {
            const QString icon = iconOfEntry(folder + QLatin1Char('/') + entry, executable);
            if (!icon.isEmpty())
                return icon;
        }
    }
    return {};
}
} // namespace

FoundIcon findProductIcon(const QString &executable, const QSize &pixels)
{
    const QFileInfo file(executable);
    FoundIcon found;
    if (executable.isEmpty() || !file.exists())
        return found;
    for (const char *suffix : {".png", ".svg", ".ico"}) {
        found.picture =
            picture::read(file.path() + QLatin1Char('/') + file.completeBaseName() + QLatin1String(suffix), pixels);
        if (!found.picture.isNull())
            return found;
    }
    const QString icon = iconOfDesktopEntry(file);
    if (QDir::isAbsolutePath(icon))
        found.picture = picture::read(icon, pixels);
    else if (!icon.isEmpty() && !icon.contains(QLatin1Char('/'))) // a path would leave the theme's folders
        found.themeNames.append(icon);
    const QMimeType type = QMimeDatabase().mimeTypeForFile(file);
    found.themeNames << type.iconName() << type.genericIconName();
    return found;
}

ProductIcon::ProductIcon(const QString &executable, int side, QWidget *parent)
    : QLabel(parent)
    , m_executable(executable)
    , m_side(side)
{
    setAlignment(Qt::AlignCenter);
}

void ProductIcon::paintEvent(QPaintEvent *event)
{
    if (!std::exchange(m_searched, true)) {
        const auto search = [executable = m_executable, pixels = QSize(m_side, m_side) * devicePixelRatioF()](
                                const WorkCancel &) { return findProductIcon(executable, pixels); };
        outsideWork().run(this, search, [this](const FoundIcon &found) { showFound(found); });
    }
    QLabel::paintEvent(event);
}

void ProductIcon::showFound(const FoundIcon &found)
{
    if (found.picture.isNull() && found.themeNames.isEmpty())
        return;
    QIcon icon(QPixmap::fromImage(found.picture));
    for (const QString &name : found.themeNames) {
        if (icon.isNull())
            icon = QIcon::fromTheme(name);
    }
    if (icon.isNull())
        icon = QFileIconProvider().icon(QFileIconProvider::File);
    QPixmap shown = picture::ofIcon(icon, QSize(m_side, m_side) * devicePixelRatioF());
    shown.setDevicePixelRatio(devicePixelRatioF());
    setPixmap(shown);
}

} // namespace tarn::visualized
