#include "login/QuickBand.h"
#include "widgets/CustomBtn.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include <QBoxLayout>
#include <QLabel>

namespace tarn::visualized {
namespace {
constexpr int Gap = 14; // design pixels at 96 DPI

CCustomBtn *quickButton(const char *name, const QString &text, const QString &icon, QWidget *parent)
{
    auto *button = new CCustomBtn(text, CCustomBtn::White, parent);
    button->setObjectName(QLatin1String(name));
    button->setFont(look::yaHei(look::TextPx, QFont::Normal, parent));
    button->setFixedHeight(look::scaled(38, parent));
    button->setIconSize(look::scaled(QSize(20, 20), parent));
    button->setIcon(picture::load(icon, button->iconSize(), parent->devicePixelRatioF()));
    return button;
}

QWidget *rule(QWidget *parent)
{
    auto *line = new QWidget(parent);
    line->setObjectName(QStringLiteral("quickRule"));
    line->setAttribute(Qt::WA_StyledBackground);
    line->setFixedHeight(1);
    return line;
}

QLayout *titleLine(QWidget *parent)
{
    auto *title = new QLabel(QStringLiteral("其他登录方式"), parent);
    title->setObjectName(QStringLiteral("quickTitle"));
    title->setFont(look::yaHei(look::TextPx, QFont::Normal, parent));
    auto *line = new QHBoxLayout;
    line->setSpacing(look::scaled(Gap, parent));
    line->addWidget(rule(parent), 1);
    line->addWidget(title);
    line->addWidget(rule(parent), 1);
    return line;
}
} // namespace

QuickBand::QuickBand(QWidget *parent)
    : QWidget(parent)
{
    CCustomBtn *weixin = quickButton("weixinButton", QStringLiteral("微信登录"), look::icon::Weixin, this);
    CCustomBtn *qq = quickButton("qqButton", QStringLiteral("QQ登录"), look::icon::QQ, this);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(look::scaled(Gap, this));
    buttons->addWidget(weixin, 1);
    buttons->addWidget(qq, 1);
    auto *column = new QVBoxLayout(this);
    look::space(column, {}, Gap, this);
    column->addLayout(titleLine(this));
    column->addLayout(buttons);
    connect(weixin, &QPushButton::clicked, this, &QuickBand::weixinRequested);
    connect(qq, &QPushButton::clicked, this, &QuickBand::qqRequested);
}

} // namespace tarn::visualized
