#include "widgets/CustomMessageBox.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include <QMap>
#include <QPointer>

using namespace tarn::visualized;

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
