#include "gallery/Gallery.h"
#include "login/WaitNotice.h"
#include "login/YunLoginDlg.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/CustomMessageBox.h"
#include <QCheckBox>
#include <QPushButton>
#include <QTabWidget>

namespace {
void type(QWidget *dialog, const char *name, const QString &text)
{
    dialog->findChild<CCustomLineEdit *>(QLatin1String(name))->setText(text);
}

CYunLoginDialog *onPage(int page)
{
    auto *dialog = new CYunLoginDialog;
    dialog->findChild<QTabWidget *>()->setCurrentIndex(page);
    return dialog;
}
} // namespace

GALLERY_SCENE(login, Account, "Signing in by account and password.")
{
    return onPage(0);
}

GALLERY_SCENE(login, AccountFilled, "With remembered data; the password field has the focus.")
{
    auto *dialog = onPage(0);
    type(dialog, "accountEdit", QStringLiteral("zhang.san@example.com"));
    type(dialog, "passwordEdit", QStringLiteral("correct horse"));
    dialog->findChild<QCheckBox *>(QStringLiteral("accountAutoLogin"))->setChecked(true);
    dialog->findChild<QWidget *>(QStringLiteral("passwordEdit"))->setFocus();
    return dialog;
}

GALLERY_SCENE(login, Phone, "Signing in by phone and one-time code.")
{
    return onPage(1);
}

GALLERY_SCENE(login, Countdown, "A code has been sent.")
{
    auto *dialog = onPage(1);
    type(dialog, "phoneEdit", QStringLiteral("13800138000"));
    dialog->OnTimeOut();
    return dialog;
}

GALLERY_SCENE(login, Waiting, "While the service checks the password.")
{
    auto *dialog = onPage(0);
    type(dialog, "accountEdit", QStringLiteral("zhang.san@example.com"));
    type(dialog, "passwordEdit", QStringLiteral("correct horse"));
    dialog->setEnabled(false);
    return dialog;
}

GALLERY_SCENE(login, WrongPassword, "The tip after a refused sign-in.")
{
    return new CustomMessageBox(QStringLiteral("提示"), QStringLiteral("账号或密码不正确。"), eTipError, onPage(0));
}

GALLERY_SCENE(login, BindFirst, "A WeChat account that is not bound to a user yet.")
{
    return new CustomMessageBox(
        QStringLiteral("提示"),
        QStringLiteral("检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                       "href=\"https://example.com/bind\">岚川用户中心</a>绑定后再登录。"),
        eTipError, onPage(0));
}

GALLERY_SCENE(login, WaitForScan, "While the browser shows the QR code, the user can cancel.")
{
    return new tarn::visualized::WaitNotice(QStringLiteral("请在浏览器中扫描二维码完成登录。"), nullptr);
}
