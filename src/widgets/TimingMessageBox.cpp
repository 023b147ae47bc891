#include "widgets/TimingMessageBox.h"
#include "widgets/AccessibleRole.h"
#include "widgets/BoxContent.h"
#include "widgets/Compositor.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include <QGraphicsDropShadowEffect>
#include <QHBoxLayout>
#include <QPointer>
#include <QTimer>

using namespace tarn::visualized;

namespace {
constexpr int ShadowMargin = 10; // design pixels at 96 DPI

// Look
QString panelSheet()
{
    return QStringLiteral("#CTimingMessageBox{border:none;background-color:#F8F8F8;}"
                          "#messageText{color:%1;border:none;background-color:transparent;}")
        .arg(look::TextDark);
}
} // namespace

CTimingMessageBox::CTimingMessageBox(const QString &text, int msecs, QWidget *parent)
    : QDialog(parent)
{
    look::prepareWindow(this, QStringLiteral("提示"));
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedHeight(look::scaled(90, this));
    setMaximumWidth(look::scaled(860, this));
    auto *column = look::space(new QHBoxLayout(this), QMargins() + ShadowMargin, 0, this);
    column->addWidget(textPanel(text));
    accessible::setRole(this, QAccessible::AlertMessage);
    resize(qMin(layout()->sizeHint().width(), maximumWidth()), height());

    connect(Compositor::instance(), &Compositor::changed, this, &CTimingMessageBox::updateShape);
    QTimer::singleShot(qMax(0, msecs), this, &CTimingMessageBox::CloseDialog);
}

QWidget *CTimingMessageBox::textPanel(const QString &text)
{
    auto *panel = look::named(new QWidget(this), "CTimingMessageBox");
    panel->setAttribute(Qt::WA_StyledBackground);
    auto *shadow = new QGraphicsDropShadowEffect(panel);
    shadow->setBlurRadius(look::scaled(ShadowMargin, this));
    shadow->setOffset(0, look::scaled(2, this));
    shadow->setColor(QColor(0, 0, 0, 90));
    panel->setGraphicsEffect(shadow);

    auto *label = look::named(new ElideLabel(panel), "messageText", 14);
    label->setAlignment(Qt::AlignCenter);
    label->setMaximumLines(3);
    label->setFullText(text);
    auto *row = look::space(new QHBoxLayout(panel), {24, 0, 24, 0}, 0, this);
    row->addWidget(label);
    panel->setStyleSheet(panelSheet());
    return panel;
}

void CTimingMessageBox::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    updateShape();
    centreOverParent(this);
    accessible::announce(this);
}

// Without a compositor the margin of the shadow would be black.
void CTimingMessageBox::updateShape()
{
    if (Compositor::instance()->isRunning())
        clearMask();
    else
        setMask(contentsRect().marginsRemoved(layout()->contentsMargins()));
}

void CstmTimingMessageBox(const QString &text, int msecs, QWidget *parent)
{
    const QPointer<CTimingMessageBox> box = new CTimingMessageBox(text, msecs, parent);
    box->setWindowModality(Qt::WindowModal);
    box->exec();
    delete box;
}
