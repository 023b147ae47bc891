#include "login/WaitNotice.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include <QBoxLayout>
#include <QLabel>

namespace tarn::visualized {
namespace {
// Look
QString noticeSheet()
{
    return QStringLiteral("#waitBody{background-color:white;border:1px solid %1;}").arg(look::FrameBlue) +
           look::titleBand(look::BandBlue) + look::greyButton();
}
} // namespace

WaitNotice::WaitNotice(const QString &text, QWidget *parent)
    : ToolDialog(parent, Qt::Dialog)
{
    prepare(QStringLiteral("云账号登录"));
    QVBoxLayout *column = addBody(QStringLiteral("waitBody"));
    auto *label = look::named(new QLabel(text, this), "waitText", look::TextPx);
    look::setTextColor(label, Qt::black);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    auto *cancel = new CCustomBtn(QStringLiteral("取消"), CCustomBtn::Grey, "cancelButton", {88, 32}, this);
    auto *content = look::space(new QVBoxLayout, {20, 20, 20, 20}, 20, this);
    content->addWidget(label);
    content->addWidget(cancel, 0, Qt::AlignHCenter);
    column->addLayout(content);
    CustomTitleBar *bar = addTitleBar(column, 36);
    bar->SetLoginTitleText(windowTitle());
    setStyleSheet(noticeSheet());
    setFixedWidth(look::scaled(300, this));
    setAccessibleDescription(text);
    expectUnasked(); // keys meant for the password field or for the browser must not cancel
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QWidget::close);
}

void WaitNotice::showFor(const QWidget *dialog)
{
    adjustSize();
    if (parentWidget()) {
        QRect place(QPoint(), size());
        place.moveCenter(dialog->geometry().center());
        move(place.topLeft());
    } else {
        const QRect area = placement::availableFor(dialog);
        move(area.center().x() - width() / 2, area.bottom() - height() - look::scaled(24, this));
        setAttribute(Qt::WA_ShowWithoutActivating);
        setWindowFlag(Qt::WindowStaysOnTopHint);
    }
    show();
}

} // namespace tarn::visualized
