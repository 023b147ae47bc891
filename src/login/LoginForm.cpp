#include "login/LoginForm.h"
#include "login/WipeText.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <QCheckBox>

namespace tarn::visualized::loginform {
namespace {
// Metrics (design pixels at 96 DPI)
constexpr int TopMargin = 20;
constexpr int Spacing = 14;
constexpr int Gap = 8;
constexpr int SideButtonWidth = 104;
constexpr int FieldHeight = 36;
constexpr int LoginButtonHeight = 40;
constexpr int TabHeight = 40;
constexpr int TabWidth = 150;
constexpr int TextPx = 13;
constexpr int LoginPx = 15;
} // namespace

QString sheet(const QWidget *w)
{
    return QStringLiteral("QTabWidget::pane{border:none;border-top:1px solid %3;background-color:white;}"
                          "QTabWidget::tab-bar{alignment:center;}"
                          "QTabBar::tab{background-color:white;border:none;border-bottom:2px solid transparent;"
                          "color:#636D7E;height:%1;width:%2;padding:0px;margin:0px;}"
                          "QTabBar::tab:hover{color:%4;}"
                          "QTabBar::tab:selected{color:%4;border-bottom-color:%5;}"
                          "QTabBar::tab:focus{background-color:%6;}")
        .arg(look::px(TabHeight, w), look::px(TabWidth, w), look::RuleGrey, look::TextBlue, look::Blue, look::PaleBlue);
}

QVBoxLayout *makeColumn(QWidget *page)
{
    auto *column = new QVBoxLayout(page);
    column->setContentsMargins(0, look::scaled(TopMargin, page), 0, 0);
    column->setSpacing(look::scaled(Spacing, page));
    return column;
}

CIconEditWidget *makeField(const char *name, const QString &icon, const QString &placeholder, QWidget *page)
{
    auto *field = new CIconEditWidget(page);
    field->setPrefixIcon(icon);
    CCustomLineEdit *edit = field->lineEdit();
    edit->setObjectName(QLatin1String(name));
    edit->setPlaceholderText(placeholder);
    edit->setFont(look::yaHei(TextPx, QFont::Normal, page));
    return field;
}

CCustomBtn *makeSideButton(const char *name, const QString &text, bool link, QWidget *page)
{
    auto *button = new CCustomBtn(text, link ? CCustomBtn::Link : CCustomBtn::Blue, page);
    button->setObjectName(QLatin1String(name));
    button->setAccessibleName(text.trimmed());
    button->setFixedSize(look::scaled(SideButtonWidth, page), look::scaled(FieldHeight, page));
    return button;
}

QCheckBox *makeCheckBox(const char *name, const QString &text, QWidget *page)
{
    auto *box = new QCheckBox(text, page);
    box->setObjectName(QLatin1String(name));
    box->setFont(look::yaHei(TextPx, QFont::Normal, page));
    QPalette palette = box->palette(); // cheaper than a rule
    palette.setColor(QPalette::WindowText, QColor(QLatin1String(look::TextDark)));
    box->setPalette(palette);
    return box;
}

CCustomBtn *makeLoginButton(const char *name, QWidget *page)
{
    auto *button = new CCustomBtn(QStringLiteral("立即登录"), CCustomBtn::Blue, page);
    button->setObjectName(QLatin1String(name));
    button->setFont(look::yaHei(LoginPx, QFont::Normal, page));
    button->setFixedHeight(look::scaled(LoginButtonHeight, page));
    return button;
}

void addRow(QVBoxLayout *column, QWidget *left, QWidget *right)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(look::scaled(Gap, column->parentWidget()));
    if (left)
        row->addWidget(left, 1);
    if (right)
        row->addWidget(right);
    column->addLayout(row);
}

void addCheckBoxes(QVBoxLayout *column, QCheckBox *remember, QCheckBox *autoLogin)
{
    auto *row = new QHBoxLayout;
    row->addWidget(remember);
    row->addStretch(1);
    row->addWidget(autoLogin);
    column->addLayout(row);
}

void wipeFields(const QWidget *window)
{
    for (auto *edit : window->findChildren<CCustomLineEdit *>()) {
        QString text = edit->text();
        edit->setText(QString()); // clear() would keep the text for an undo
        wipeText(&text);
    }
}

void focusEmptyField(const QWidget *page)
{
    const auto fields = page->findChildren<CCustomLineEdit *>(); // in the order of creation
    const auto empty = std::find_if(fields.begin(), fields.end(), [](auto *edit) { return edit->text().isEmpty(); });
    if (empty != fields.end())
        (*empty)->setFocus(Qt::OtherFocusReason);
}

} // namespace tarn::visualized::loginform
