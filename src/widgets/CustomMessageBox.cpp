#include "widgets/CustomMessageBox.h"
#include "widgets/AccessibleRole.h"
#include "widgets/Compositor.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/ElideLabel.h"
#include <QGraphicsDropShadowEffect>
#include <QMap>
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

CustomMessageBox::CustomMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent)
    : QDialog(parent)
{
    Init(title, text, status);
}

void CustomMessageBox::Init(const QString &title, const QString &text, eTipStatus status)
{
    const QMap<eTipStatus, QPair<QString, QString>> tones = {
        {eTipError, {look::icon::Error, QStringLiteral("错误")}},
        {eTipWarning, {look::icon::Warning, QStringLiteral("警告")}},
        {eTipSuccess, {look::icon::Success, QStringLiteral("成功")}}};
    const auto icon = tones.value(status, {look::icon::Normal, QStringLiteral("提示")});
    m_content = new BoxContent(this, title, icon, text, {QStringLiteral("确定")});
    connect(m_content, &BoxContent::linkFollowed, this, &CustomMessageBox::onLinkClick);
    connect(m_content->button(0), &CCustomBtn::clicked, this, &CustomMessageBox::on_close_btn_clicked);
    const CustomTitleBar *bar = m_content->titleBar();
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CustomMessageBox::on_close_btn_clicked);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, &CustomMessageBox::OnCustomTitleBarPressed);
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, &CustomMessageBox::OnCustomTitleBarmoved);
}

void CstmMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent, bool *linkClicked,
                    eBoxOrigin origin)
{
    // On the heap and watched: the parent, and the box with it, can be destroyed while the box runs.
    const QPointer<CustomMessageBox> box = new CustomMessageBox(title, text, status, parent);
    box->setOrigin(origin);
    box->setWindowModality(Qt::WindowModal);
    box->exec();
    if (!box)
        return;
    if (linkClicked && box->isLinkClick())
        *linkClicked = true;
    delete box;
}

QuestionMessageBox::QuestionMessageBox(const QString &title, const QString &text, QWidget *parent)
    : QDialog(parent)
{
    Init(title, text);
}

void QuestionMessageBox::Init(const QString &title, const QString &text)
{
    m_content = new BoxContent(this, title, {look::icon::Question, QStringLiteral("询问")}, text,
                               {QStringLiteral("确定"), QStringLiteral("取消")});
    connect(m_content->button(0), &CCustomBtn::clicked, this, &QuestionMessageBox::on_ok_btn_clicked);
    connect(m_content->button(1), &CCustomBtn::clicked, this, &QuestionMessageBox::on_concel_btn_clicked);
    const CustomTitleBar *bar = m_content->titleBar();
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QuestionMessageBox::on_concel_btn_clicked);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, &QuestionMessageBox::OnCustomTitleBarPressed);
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, &QuestionMessageBox::OnCustomTitleBarmoved);
}

void QuestionMessageBox::SetButtonText(const QString &okText, const QString &cancelText)
{
    m_content->button(0)->setText(okText);
    m_content->button(1)->setText(cancelText);
}

int CQuestionMessageBox(const QString &title, const QString &text, QWidget *parent, QString okText, QString cancelText,
                        eBoxOrigin origin, const QString &about)
{
    const QPointer<QuestionMessageBox> box = new QuestionMessageBox(title, text, parent);
    box->setAccessibleDescription(about);
    box->SetButtonText(okText, cancelText);
    box->setOrigin(origin);
    box->setWindowModality(Qt::WindowModal);
    const int answer = box->exec();
    delete box;
    return answer;
}

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
