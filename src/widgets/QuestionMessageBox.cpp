#include "widgets/QuestionMessageBox.h"
#include "widgets/AlertRole.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/MessageBody.h"
#include "widgets/MessageText.h"
#include <QLabel>

namespace {
// Look
QString boxSheet()
{
    return QStringLiteral("#QuestionMessageBox{border:none;background-color:white;}");
}
} // namespace

QuestionMessageBox::QuestionMessageBox(const QString &title, const QString &text, QWidget *parent)
    : QDialog(parent)
{
    Init(title, text);
}

void QuestionMessageBox::Init(const QString &title, const QString &text)
{
    messagebody::makeColumn(this, title);

    QLabel *label =
        messagebody::addText(this, QStringLiteral(":/images/images/question.png"), QStringLiteral("询问"), text);
    connect(label, &QLabel::linkActivated, this, &QuestionMessageBox::onLinkClick);
    QWidget *band = messagebody::addButtonBand(this);
    m_okButton = messagebody::addButton(band, QStringLiteral("确定"), true);
    m_okButton->setObjectName(QStringLiteral("okButton"));
    m_cancelButton = messagebody::addButton(band, QStringLiteral("取消"), false);
    m_cancelButton->setObjectName(QStringLiteral("cancelButton"));
    connect(m_okButton, &CCustomBtn::clicked, this, &QuestionMessageBox::on_ok_btn_clicked);
    connect(m_cancelButton, &CCustomBtn::clicked, this, &QuestionMessageBox::on_concel_btn_clicked);

    CustomTitleBar *bar = messagebody::addTitleBar(this, title);
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QuestionMessageBox::on_close_btn_clicked);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, &QuestionMessageBox::OnCustomTitleBarPressed);
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, &QuestionMessageBox::OnCustomTitleBarmoved);

    setStyleSheet(boxSheet() + look::greyButton() + messagebody::sheet(this));
    messagebody::finish(this);
    alert::describe(this, messagetext::spoken(text));
    front::neutralFocus(this);
}

void QuestionMessageBox::SetButtonText(const QString &okText, const QString &cancelText)
{
    if (!okText.isEmpty())
        m_okButton->setText(okText);
    if (!cancelText.isEmpty())
        m_cancelButton->setText(cancelText);
}

void QuestionMessageBox::setOrigin(eBoxOrigin origin)
{
    const bool asked = origin == eBoxOrigin::AskedFor;
    m_okButton->setDefault(asked);
    if (asked)
        m_okButton->setFocus(Qt::OtherFocusReason);
    else
        front::neutralFocus(this);
}

void QuestionMessageBox::on_ok_btn_clicked()
{
    accept();
}

void QuestionMessageBox::on_concel_btn_clicked()
{
    reject();
}

void QuestionMessageBox::on_close_btn_clicked()
{
    reject();
}

void QuestionMessageBox::OnCustomTitleBarPressed(int nPosX, int nPosY)
{
    m_drag.press(QPoint(nPosX, nPosY));
}

void QuestionMessageBox::OnCustomTitleBarmoved(int nPosX, int nPosY)
{
    m_drag.move(QPoint(nPosX, nPosY));
}

void QuestionMessageBox::onLinkClick(const QString &link)
{
    messagebody::openLink(link);
}

void QuestionMessageBox::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    alert::announce(this);
}

int CQuestionMessageBox(const QString &title, const QString &text, QWidget *parent, QString okText, QString cancelText)
{
    return CQuestionMessageBox(title, text, parent, okText, cancelText, eBoxOrigin::Unasked);
}

int CQuestionMessageBox(const QString &title, const QString &text, QWidget *parent, QString okText, QString cancelText,
                        eBoxOrigin origin)
{
    const QPointer<QuestionMessageBox> box = new QuestionMessageBox(title, text, parent);
    box->SetButtonText(okText, cancelText);
    box->setOrigin(origin);
    box->setWindowModality(Qt::WindowModal);
    const int answer = box->exec();
    delete box;
    return answer;
}
