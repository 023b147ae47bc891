#include "login/WaitNotice.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QLabel>
#include <QScreen>

namespace tarn::visualized {
namespace {
// Metrics (design pixels at 96 DPI)
constexpr int Width = 300;
constexpr int TitleHeight = 36;
constexpr int Margin = 20;
constexpr int EdgeGap = 24;
constexpr int TextPx = 13;
constexpr QSize ButtonSize(88, 32);

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
    auto *label = new QLabel(text, this);
    label->setFont(look::yaHei(TextPx, QFont::Normal, this));
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    auto *cancel = new CCustomBtn(QStringLiteral("取消"), CCustomBtn::Grey, "cancelButton", ButtonSize, this);
    auto *content = new QVBoxLayout;
    const int margin = look::scaled(Margin, this);
    content->setContentsMargins(margin, margin, margin, margin);
    content->setSpacing(margin);
    content->addWidget(label);
    content->addWidget(cancel, 0, Qt::AlignHCenter);
    column->addLayout(content);
    CustomTitleBar *bar = addTitleBar(column, TitleHeight);
    bar->SetLoginTitleText(QStringLiteral("云账号登录"));
    bar->addStretch(1);
    bar->AddCloseButton();
    setStyleSheet(noticeSheet());
    setFixedWidth(look::scaled(Width, this));
    setAccessibleDescription(text);
    expectUnasked(); // keys meant for the password field or for the browser must not cancel
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QWidget::close);
}

void WaitNotice::showOverParent()
{
    adjustSize();
    QRect place(QPoint(), size());
    place.moveCenter(parentWidget()->window()->geometry().center());
    move(place.topLeft());
    show();
}

void WaitNotice::showOnScreenOf(const QWidget *beside)
{
    adjustSize();
    if (const QScreen *screen = placement::screenOf(beside)) {
        const QRect area = screen->availableGeometry();
        move(area.center().x() - width() / 2, area.bottom() - height() - look::scaled(EdgeGap, this));
    }
    setAttribute(Qt::WA_ShowWithoutActivating);
    setWindowFlag(Qt::WindowStaysOnTopHint);
    show();
}

void WaitNotice::closeEvent(QCloseEvent *event)
{
    event->accept();
    emit cancelled();
}

} // namespace tarn::visualized
