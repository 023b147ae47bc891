#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/ProductIcon.h"
#include "upgrade/operate/RowKeys.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/ShownText.h"
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>

using namespace tarn::visualized;

namespace upgrade::controls {

namespace {
// Metrics (design pixels at 96 DPI)
constexpr int IconSide = 32;
constexpr int IconColumn = 48;
constexpr int NameWidth = 400;
// Look
QString cellSheet()
{
    return QStringLiteral("QLabel{background-color:transparent;border:none;}"
                          "QPushButton{background-color:transparent;border:none;text-align:left;color:#333333;}"
                          "#softVersion{color:#7F7F7F;}"
                          "QToolTip{background-color:white;border:1px solid black;color:black;}");
}

QString versionText(const QVariantMap &info)
{
    return QStringLiteral("当前版本：%1").arg(text::brief(info.value(row::SoftVersion).toString()));
}

QLabel *versionLabel(const QVariantMap &info, QWidget *parent)
{
    auto *label = new ElideLabel(versionText(info), parent);
    label->setObjectName(QStringLiteral("softVersion"));
    label->setFont(look::yaHei(11, QFont::Normal, parent));
    return label;
}
} // namespace

CSoftInfoItem::CSoftInfoItem(const QVariant &info, QWidget *parent)
    : LazyCell(parent)
    , m_info(info.toMap().value(row::SoftInfoCtrl).toMap())
{
}

QString CSoftInfoItem::spokenText() const
{
    return text::brief(m_info.value(row::CtrlSoftName).toString()) + QStringLiteral("，") + versionText(m_info);
}

void CSoftInfoItem::InitUi()
{
    setStyleSheet(cellSheet());
    auto *columns = new QHBoxLayout(this);
    columns->setContentsMargins(look::scaled(8, this), 0, look::scaled(4, this), 0);
    columns->setSpacing(look::scaled(4, this));
    columns->addWidget(InitLeftWidget());
    columns->addWidget(InitRightWidget(), 1);
}

void CSoftInfoItem::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(rect(), Qt::white);
    LazyCell::paintEvent(event);
}

QWidget *CSoftInfoItem::InitLeftWidget()
{
    auto *icon = new ProductIcon(m_info.value(row::IconPath).toString(), look::scaled(IconSide, this), this);
    icon->setObjectName(QStringLiteral("softIcon"));
    icon->setFixedWidth(look::scaled(IconColumn, this));
    return icon;
}

QWidget *CSoftInfoItem::InitRightWidget()
{
    const QString name = text::brief(m_info.value(row::CtrlSoftName).toString());
    auto *right = new QWidget(this);
    m_name = new QPushButton(right);
    m_name->setObjectName(QStringLiteral("softName"));
    m_name->setFlat(true);
    m_name->setAutoDefault(false);
    m_name->setFocusPolicy(Qt::NoFocus); // shows the name, has no action
    m_name->setFont(look::yaHei(15, QFont::Bold, this));
    m_name->setMinimumWidth(1);
    m_name->setMaximumWidth(look::scaled(NameWidth, this)); // the name is elided in the narrower column
    m_name->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_name->setToolTip(text::toolTip(name));
    m_name->setAccessibleName(name);
    m_name->setAccessibleDescription(name); // else the markup of the tool tip
    m_name->installEventFilter(this);

    auto *lines = new QVBoxLayout(right);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(look::scaled(4, this));
    lines->addStretch();
    lines->addWidget(m_name);
    lines->addWidget(versionLabel(m_info, right));
    lines->addStretch();
    elideName();
    return right;
}

bool CSoftInfoItem::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_name && event->type() == QEvent::Resize)
        elideName();
    return LazyCell::eventFilter(watched, event);
}

void CSoftInfoItem::elideName()
{
    const int width = isVisible() ? m_name->width() : m_name->maximumWidth();
    QString shown =
        text::elided(text::brief(m_info.value(row::CtrlSoftName).toString()).simplified(), m_name->font(), width);
    m_name->setText(shown.replace(QLatin1Char('&'), QStringLiteral("&&")));
}

} // namespace upgrade::controls
