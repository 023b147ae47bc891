#include "widgets/TitleButton.h"
#include "widgets/CustomBtn.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include <QKeyEvent>
#include <QPainter>

using namespace tarn::visualized;

TitleButton::TitleButton(const QString &name, const QString &path, QWidget *parent)
    : QPushButton(parent)
{
    setAccessibleName(name);
    setToolTip(name);
    setFlat(true);
    setAutoDefault(false);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    setIconSize(look::scaled(QSize(14, 14), parent));
    setIcon(picture::load(path, iconSize(), devicePixelRatioF())); // the pixmap: a vector icon is parsed each time
}

QSize TitleButton::sizeHint() const
{
    return look::scaled(QSize(36, 30), this);
}

void TitleButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (isDown())
        painter.fillRect(rect(), QColor(0xD9, 0xE6, 0xF2));
    else if (underMouse())
        painter.fillRect(rect(), Qt::white);
    QRect picture(QPoint(0, 0), iconSize());
    picture.moveCenter(rect().center());
    icon().paint(&painter, picture, Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);
    if (hasFocus()) {
        painter.setPen(QPen(QColor(look::Blue), 2));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

void TitleButton::keyPressEvent(QKeyEvent *event)
{
    if (!clickByReturn(this, event))
        QPushButton::keyPressEvent(event);
}
