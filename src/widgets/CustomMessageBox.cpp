#include "widgets/CustomMessageBox.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include <QPointer>
#include <utility>

using namespace tarn::visualized;

namespace {

// The icon and its name for screen readers.
std::pair<QString, QString> toneOf(eTipStatus status)
{
    switch (status) {
    case eTipError:
        return {look::icon::Error, QStringLiteral("错误")};
    case eTipWarning:
        return {look::icon::Warning, QStringLiteral("警告")};
    case eTipSuccess:
        return {look::icon::Success, QStringLiteral("成功")};
    case eTipNormal:
        break;
    }
    return {look::icon::Normal, QStringLiteral("提示")};
}

} // namespace

CustomMessageBox::CustomMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent)
    : QDialog(parent)
{
    Init(title, text, status);
}

void CustomMessageBox::Init(const QString &title, const QString &text, eTipStatus status)
{
    const auto [icon, iconName] = toneOf(status);
    m_content = new BoxContent(this, title, icon, iconName, text);
    connect(m_content, &BoxContent::linkFollowed, this, &CustomMessageBox::onLinkClick);
    CCustomBtn *ok = m_content->addButton(QStringLiteral("确定"), QStringLiteral("okButton"), true);
    connect(ok, &CCustomBtn::clicked, this, &CustomMessageBox::on_close_btn_clicked);
    const CustomTitleBar *bar = m_content->finish();
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
