#include "widgets/QuestionMessageBox.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include <QPointer>

using namespace tarn::visualized;

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
