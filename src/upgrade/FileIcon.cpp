#include "upgrade/FileIcon.h"
#include "base/WorkPool.h"
#include "upgrade/ProductIcon.h"
#include "widgets/Look.h"
#include <QPainter>
#include <QStyle>

namespace tarn::visualized {
namespace {

constexpr int Side = 24; // design pixels

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
    const int side = look::scaled(Side, this);
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = QSize(side, side) * ratio;
    outsideWork().run(
        this, [path = m_path, pixels](const WorkCancel &) { return findProductIcon(path, pixels); },
        [this, side, ratio](const ProductIcon &icon) {
            if (icon.isEmpty())
                return;
            m_icon = icon.pixmap(side, ratio);
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
