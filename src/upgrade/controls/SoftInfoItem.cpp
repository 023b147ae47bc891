#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/ProductIcon.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/ShownText.h"
#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>

using namespace tarn::visualized;

namespace upgrade::controls {

namespace {
// Metrics (design pixels at 96 DPI)
constexpr int IconColumn = 48;
constexpr int LeftMargin = 8;
constexpr int Gap = 4;
// Look
QString cellSheet()
{
    return QStringLiteral("QLabel{background-color:transparent;border:none;}"
                          "QPushButton{background-color:transparent;border:none;padding:0px;margin:0px;text-align:left;"
                          "color:#333333;}"
                          "#softVersion{color:#7F7F7F;}"
                          "QToolTip{background-color:white;border:1px solid black;color:black;}");
}
} // namespace

CSoftInfoItem::CSoftInfoItem(const QVariant &info, QWidget *parent)
    : LazyCell(parent)
    , m_info(info.toMap().value(row::SoftInfoCtrl).toMap())
    , m_name(text::brief(m_info.value(row::CtrlSoftName).toString()))
{
}

// Not kept: thousands of rows can be there.
QString CSoftInfoItem::versionText() const
{
    return QStringLiteral("当前版本：%1").arg(text::brief(m_info.value(row::SoftVersion).toString()));
}

void CSoftInfoItem::InitUi()
{
    setStyleSheet(cellSheet());
    auto *columns = look::space(new QHBoxLayout(this), {LeftMargin, 0, Gap, 0}, Gap, this);
    columns->addWidget(InitLeftWidget());
    columns->addWidget(InitRightWidget(), 1);
}

void CSoftInfoItem::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), Qt::white);
}

QWidget *CSoftInfoItem::InitLeftWidget()
{
    auto *icon = new ProductIcon(m_info.value(row::IconPath).toString(), look::scaled(32, this), this);
    look::named(icon, "softIcon")->setFixedWidth(look::scaled(IconColumn, this));
    return icon;
}

QWidget *CSoftInfoItem::InitRightWidget()
{
    auto *right = new QWidget(this);
    auto *button = look::named(new QPushButton(right), "softName", 15, QFont::Bold);
    button->setFlat(true);
    button->setAutoDefault(false);
    button->setFocusPolicy(Qt::NoFocus); // shows the name, has no action
    button->setToolTip(text::toolTip(m_name));
    button->setAccessibleName(m_name);
    button->setAccessibleDescription(m_name);                                 // else the markup of the tool tip
    const int others = look::scaled(LeftMargin + IconColumn + 2 * Gap, this); // the columns keep their widths
    const int most = qBound(1, width() - others, look::scaled(400, this));
    button->setMinimumWidth(1);
    button->setMaximumWidth(most);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    QString shown = text::elided(m_name.simplified(), button->font(), most);
    button->setText(shown.replace(QLatin1Char('&'), QStringLiteral("&&")));

    auto *lines = look::space(new QVBoxLayout(right), {}, Gap, this);
    lines->addStretch();
    lines->addWidget(button);
    lines->addWidget(look::named(new ElideLabel(versionText(), right), "softVersion", 11));
    lines->addStretch();
    return right;
}

} // namespace upgrade::controls
