#include "widgets/CustomMessageBox.h"
#include "widgets/AlertRole.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/MessageBody.h"
#include "widgets/MessageText.h"
#include <QHBoxLayout>
#include <QLabel>

namespace {

// Look
QString boxSheet()
{
    return QStringLiteral("#CustomMessageBox{border:none;background-color:white;}");
}

QString statusIcon(eTipStatus status)
{
    switch (status) {
    case eTipError:
        return QStringLiteral(":/images/images/error.png");
    case eTipWarning:
        return QStringLiteral(":/images/images/warning.png");
    case eTipSuccess:
        return QStringLiteral(":/images/images/success.png");
    case eTipNormal:
        break;
    }
    return QStringLiteral(":/images/images/normal.png");
}

QString statusName(eTipStatus status)
{
    switch (status) {
    case eTipError:
        return QStringLiteral("错误");
    case eTipWarning:
        return QStringLiteral("警告");
    case eTipSuccess:
        return QStringLiteral("成功");
    case eTipNormal:
        break;
    }
    return QStringLiteral("提示");
}

} // namespace

CustomMessageBox::CustomMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent)
    : QDialog(parent)
{
    Init(title, text, status);
}

void CustomMessageBox::Init(const QString &title, const QString &text, eTipStatus status)
{
    messagebody::makeColumn(this, title);

    QLabel *label = messagebody::addText(this, statusIcon(status), statusName(status), text);
    connect(label, &QLabel::linkActivated, this, &CustomMessageBox::onLinkClick);
    QWidget *band = messagebody::addButtonBand(this);
    m_okButton = messagebody::addButton(band, QStringLiteral("确定"), true);
    m_okButton->setObjectName(QStringLiteral("okButton"));
    static_cast<QHBoxLayout *>(band->layout())->addStretch(1);
    connect(m_okButton, &CCustomBtn::clicked, this, &CustomMessageBox::on_close_btn_clicked);

    CustomTitleBar *bar = messagebody::addTitleBar(this, title);
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CustomMessageBox::on_close_btn_clicked);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, &CustomMessageBox::OnCustomTitleBarPressed);
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, &CustomMessageBox::OnCustomTitleBarmoved);

    setStyleSheet(boxSheet() + messagebody::sheet(this));
    messagebody::finish(this);
    alert::describe(this, messagetext::spoken(text));
    front::neutralFocus(this);
}

void CustomMessageBox::setOrigin(eBoxOrigin origin)
{
    const bool asked = origin == eBoxOrigin::AskedFor;
    m_okButton->setDefault(asked);
    if (asked)
        m_okButton->setFocus(Qt::OtherFocusReason);
    else
        front::neutralFocus(this);
}

void CustomMessageBox::on_close_btn_clicked()
{
    close();
}

void CustomMessageBox::OnCustomTitleBarPressed(int nPosX, int nPosY)
{
    m_drag.press(QPoint(nPosX, nPosY));
}

void CustomMessageBox::OnCustomTitleBarmoved(int nPosX, int nPosY)
{
    m_drag.move(QPoint(nPosX, nPosY));
}

void CustomMessageBox::onLinkClick(const QString &link)
{
    m_linkClicked = true;
    messagebody::openLink(link);
}

void CustomMessageBox::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    alert::announce(this);
}

void CstmMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent, bool *linkClicked)
{
    CstmMessageBox(title, text, status, parent, linkClicked, eBoxOrigin::Unasked);
}

void CstmMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent, bool *linkClicked,
                    eBoxOrigin origin)
{
    // On the heap and watched: the parent, and the box with it, can die while the box runs.
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
