#include "login/LoginPage.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <QCheckBox>
#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionButton>
#include <QTimer>

namespace tarn::visualized {
namespace {
/// Measured and drawn by the style alone: rules of the host for check boxes change neither its size nor its mark.
class PlainCheckBox final : public QCheckBox
{
public:
    using QCheckBox::QCheckBox;
    QSize sizeHint() const override
    {
        QStyleOptionButton option;
        initStyleOption(&option);
        const QRect text = look::style()->itemTextRect(fontMetrics(), {}, Qt::TextShowMnemonic, false, option.text);
        return look::style()->sizeFromContents(QStyle::CT_CheckBox, &option, text.size(), this);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QStyleOptionButton option;
        initStyleOption(&option);
        const QPalette::ColorGroup group = option.palette.currentColorGroup();
        option.palette = look::palette();
        option.palette.setColor(QPalette::WindowText, QColor(look::TextDark));
        option.palette.setCurrentColorGroup(group);
        QPainter painter(this);
        look::style()->drawControl(QStyle::CE_CheckBox, &option, &painter, this);
    }
};
} // namespace

LoginPage::LoginPage(const Field &user, const Field &secret, const Names &names, QWidget *parent)
    : QWidget(parent)
    , m_userRow(new QHBoxLayout)
    , m_secretRow(new QHBoxLayout)
{
    m_user = makeField(user, m_userRow)->lineEdit();
    m_secretField = makeField(secret, m_secretRow);
    m_secret = m_secretField->lineEdit();
    m_remember = makeCheckBox(names.remember, names.rememberText);
    m_automatic = makeCheckBox(names.automatic, QStringLiteral("自动登录"));
    m_login = look::named(new CCustomBtn(QStringLiteral("立即登录"), CCustomBtn::Blue, this), names.login, 15);
    m_login->setFixedHeight(look::scaled(40, this));

    auto *boxes = new QHBoxLayout;
    boxes->addWidget(m_remember);
    boxes->addStretch(1);
    boxes->addWidget(m_automatic);
    auto *column = look::space(new QVBoxLayout(this), {0, 20, 0, 0}, 14, this);
    column->addLayout(m_userRow);
    column->addLayout(m_secretRow);
    column->addLayout(boxes);
    column->addWidget(m_login);
    wire();
}

CIconEditWidget *LoginPage::makeField(const Field &field, QHBoxLayout *row)
{
    auto *widget = new CIconEditWidget(this);
    widget->setPrefixIcon(field.icon);
    CCustomLineEdit *edit = look::named(widget->lineEdit(), field.name, look::TextPx);
    edit->setPlaceholderText(field.placeholder);
    edit->setAccessibleName(field.placeholder);
    row->setSpacing(look::scaled(8, this));
    row->addWidget(widget, 1);
    return widget;
}

QCheckBox *LoginPage::makeCheckBox(const char *name, const QString &text)
{
    return look::named(new PlainCheckBox(text, this), name, look::TextPx);
}

CCustomBtn *LoginPage::addSideButton(QHBoxLayout *row, const char *name, const QString &text, CCustomBtn::Tone tone)
{
    auto *button = new CCustomBtn(text, tone, name, {104, 36}, this);
    button->setAccessibleName(text.trimmed());
    row->addWidget(button);
    return button;
}

void LoginPage::wire()
{
    auto *soon = new QTimer(this); // several keys in a row give one sign-in
    soon->setSingleShot(true);
    m_secret->installEventFilter(this);
    connect(m_user, &QLineEdit::returnPressed, m_secret, [this] { m_secret->setFocus(Qt::TabFocusReason); });
    connect(m_secret, &QLineEdit::returnPressed, soon, qOverload<>(&QTimer::start));
    connect(soon, &QTimer::timeout, this, [this] {
        if (m_secret->isVisible()) // the window can have been closed or hidden meanwhile
            emit signInRequested();
    });
    connect(m_login, &QPushButton::clicked, this, &LoginPage::signInRequested);
    connect(m_automatic, &QCheckBox::stateChanged, this, &LoginPage::automaticChanged);
}

// A Return key that is held down would try the same password again and again.
bool LoginPage::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto *press = static_cast<QKeyEvent *>(event);
    return press->isAutoRepeat() && (press->key() == Qt::Key_Return || press->key() == Qt::Key_Enter);
}

SignInRequest LoginPage::request(bool lockTip) const
{
    return {m_user->text(), servicecall::ownCopy(m_secret->text()), m_automatic->isChecked(), m_remember->isChecked(),
            lockTip};
}

void LoginPage::fill(const SignInRequest &remembered)
{
    m_automatic->setChecked(remembered.automatic); // before the remember box, which follows it
    m_remember->setChecked(remembered.remember);
    m_user->setText(remembered.user);
    m_secret->setText(remembered.secret);
}

void LoginPage::followAutomatic(int state)
{
    if (state != Qt::PartiallyChecked)
        m_remember->setChecked(state == Qt::Checked);
}

void LoginPage::focusEmptyField()
{
    CCustomLineEdit *field = m_user->text().isEmpty() ? m_user : m_secret;
    if (field->text().isEmpty())
        field->setFocus(Qt::OtherFocusReason);
}

void LoginPage::wipe()
{
    for (CCustomLineEdit *edit : {m_user, m_secret}) {
        QString text = edit->text();
        edit->setText(QString()); // clear() would keep the text for an undo
        wipeText(&text);
    }
}

} // namespace tarn::visualized
