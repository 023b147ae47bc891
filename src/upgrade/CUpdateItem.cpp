#include "upgrade/CUpdateItem.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/ProductIcon.h"
#include "widgets/AccessibleRole.h"
#include "widgets/CustomBtn.h"
#include "widgets/Look.h"
#include "widgets/ShownText.h"
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <utility>

using namespace tarn::upgrade;
using namespace tarn::visualized;

namespace {
QString rowSheet()
{
    return QStringLiteral("background-color:#fbfdff;border:none;border-radius:5px;");
}

QString rowSelectedSheet()
{
    return QStringLiteral("background-color:#F7F8FC;border:1px solid rgb(48,134,213);border-radius:5px;");
}
} // namespace

CSelectWidget::CSelectWidget(QWidget *row)
    : QWidget(row)
{
    setAttribute(Qt::WA_StyledBackground); // a plain widget paints no sheet
    setAttribute(Qt::WA_TransparentForMouseEvents);
    row->installEventFilter(this);
}

bool CSelectWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress)
        setStyleSheet(rowSelectedSheet());
    else if (event->type() == QEvent::FocusOut)
        setStyleSheet(rowSheet());
    return QWidget::eventFilter(watched, event);
}

CUpdateItem::CUpdateItem(QMap<QString, QVariant> record, QWidget *parent)
    : QWidget(parent)
    , m_record(std::move(record))
    , m_name(m_record.value(key::SoftwareName).toString())
{
    InitUi();
}

QString CUpdateItem::GetTipsString() const
{
    const QString software = m_record.value(key::Software).toMap().value(key::NewVersion).toString();
    const QString patch = m_record.value(key::Patch).toMap().value(key::NewVersion).toString();
    const QString version = patch.isEmpty() ? software : patch;
    const int plugins = m_record.value(key::Plugins).toList().size();
    if (plugins == 0)
        return version.isEmpty() ? QString() : QStringLiteral("软件存在新版本：V%1").arg(version);
    return version.isEmpty() ? QStringLiteral("%1个插件存在新版本").arg(plugins)
                             : QStringLiteral("软件和%1个插件存在新版本").arg(plugins);
}

// One rule for the ground of all rows: a sheet on each of them costs more than the rest of the row.
QString CUpdateItem::sheet()
{
    return QStringLiteral("CSelectWidget{%1} #productName{color:#444545;} #updateTips{color:red;}").arg(rowSheet()) +
           look::whiteButton(QStringLiteral("CUpdateItem CCustomBtn")) +
           QStringLiteral("CUpdateItem CCustomBtn{padding:0px;}"); // four characters just fit
}

void CUpdateItem::InitUi()
{
    accessible::setRole(this, QAccessible::ListItem);
    setAccessibleName(text::brief(m_name));
    setFocusPolicy(Qt::ClickFocus);
    setFixedHeight(look::scaled(58, this));

    auto *columns = look::space(new QHBoxLayout, {6, 0, 6, 0}, 2, this);
    auto *layers = look::space(new QGridLayout(this), {6, 2, 6, 2}, 0, this);
    layers->addWidget(new CSelectWidget(this), 0, 0);
    layers->addLayout(columns, 0, 0);
    auto *icon = new ProductIcon(m_record.value(key::ExePath).toString(), look::scaled(24, this), this);
    look::named(icon, "productIcon")->setFixedWidth(look::scaled(35, this));
    columns->addWidget(icon);
    columns->addLayout(textColumn());
    columns->addStretch();
    addButton(columns, QStringLiteral("立即升级"), "updateButton", &CUpdateItem::OnUpdateExplainClicked);
    columns->addSpacing(look::scaled(3, this));
    addButton(columns, QStringLiteral("更新说明"), "notesButton", &CUpdateItem::OnDoNotPromptClicked);
}

QBoxLayout *CUpdateItem::textColumn()
{
    auto *column = new QVBoxLayout;
    column->setSpacing(look::scaled(3, this));
    column->addStretch();
    column->addWidget(line(m_name, "productName", look::TextPx));
    column->addWidget(line(GetTipsString(), "updateTips", 11));
    column->addStretch();
    return column;
}

void CUpdateItem::addButton(QBoxLayout *row, const QString &text, const char *objectName, void (CUpdateItem::*slot)())
{
    auto *button = new CCustomBtn(text, CCustomBtn::White, objectName, {55, 25}, this);
    button->setAccessibleDescription(text::brief(m_name)); // the texts are the same in every row
    connect(button, &QPushButton::clicked, this, slot);
    row->addWidget(button);
}

QLabel *CUpdateItem::line(const QString &text, const char *objectName, int fontPx)
{
    auto *label = look::named(new QLabel(this), objectName, fontPx);
    label->setFixedWidth(look::scaled(218, this));
    label->setTextFormat(Qt::PlainText);
    // Elided here and not by an ElideLabel: the width is fixed, and there may be hundreds of rows.
    const QString shown = text::elided(text, label->font(), label->maximumWidth());
    label->setText(shown);
    label->setAccessibleName(text::brief(text));
    if (label->objectName() == QLatin1String("productName") || shown != text)
        label->setToolTip(text::toolTip(text));
    label->setAccessibleDescription(label->accessibleName()); // else the tool tip's markup
    return label;
}
