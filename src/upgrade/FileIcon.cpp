#include "upgrade/FileIcon.h"
#include "base/WorkPool.h"
#include "widgets/Look.h"
#include <QFileIconProvider>
#include <QFileInfo>
#include <QIcon>
#include <QMimeDatabase>
#include <QPainter>
#include <QStyle>

namespace tarn::visualized {
namespace {

constexpr int Side = 24; // design pixels

// Names of the icon in the theme, the better one first; empty without a file.
QStringList iconNames(const QString &path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return {};
    const QMimeType type = QMimeDatabase().mimeTypeForFile(file);
    return {type.iconName(), type.genericIconName()};
}

} // namespace

FileIcon::FileIcon(const QString &path, int width, QWidget *parent)
    : QWidget(parent)
    , m_path(path)
{
    setObjectName(QStringLiteral("productIcon"));
    setFixedWidth(width);
}

void FileIcon::find()
{
    m_asked = true;
    if (m_path.isEmpty())
        return;
    outsideWork().run(
        this, [path = m_path](const WorkCancel &) { return iconNames(path); },
        [this](const QStringList &names) {
            if (names.isEmpty())
                return;
            QIcon icon;
            for (int i = 0; i < names.size() && icon.isNull(); ++i)
                icon = QIcon::fromTheme(names.at(i));
            if (icon.isNull())
                icon = QFileIconProvider().icon(QFileIconProvider::File);
            m_icon = icon.pixmap(look::scaled(Side, this));
            update();
        });
}

void FileIcon::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    if (!m_asked)
        find();
    QPainter painter(this);
    style()->drawItemPixmap(&painter, rect(), Qt::AlignCenter, m_icon);
}

} // namespace tarn::visualized
