#include "widgets/CustomBtn.h"
#include "widgets/Look.h"
#include <QKeyEvent>
#include <QMetaEnum>

using namespace tarn::visualized;

CCustomBtn::CCustomBtn(const QString &text, Tone tone, QWidget *parent)
    : QPushButton(text, parent)
{
    // For selectors, which know no enumerators.
    setProperty("tone", QString::fromLatin1(QMetaEnum::fromType<Tone>().valueToKey(tone)));
    setFont(look::yaHei(12, QFont::Normal, parent));
    setCursor(Qt::PointingHandCursor);
    // A default button is pressed by a Return that was meant for another program when the window comes unasked.
    setAutoDefault(false);
}

CCustomBtn::CCustomBtn(const QString &text, Tone tone, const char *objectName, QSize size, QWidget *parent)
    : CCustomBtn(text, tone, parent)
{
    setObjectName(QLatin1String(objectName));
    setFixedSize(look::scaled(size, parent));
}

void CCustomBtn::keyPressEvent(QKeyEvent *event)
{
    if (!clickByReturn(this, event))
        QPushButton::keyPressEvent(event);
}

bool clickByReturn(QAbstractButton *button, const QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && !event->isAutoRepeat())
        button->click();
    return isReturn;
}
