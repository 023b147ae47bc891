// The band of the sign-in dialog below the pages: signing in by a QR code that the browser shows.
#include "base/Log.h"
#include "login/QueryQRCodeResult.h"
#include "login/YunLoginDlg.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/WebLink.h"
#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>
#include <QTabWidget>
#include <QUuid>

namespace key = tarn::cloud::key;

namespace {
// Metrics (design pixels at 96 DPI)
constexpr int ButtonHeight = 38;
constexpr int IconSide = 20;
constexpr int Gap = 14;
constexpr int TextPx = 13;

CCustomBtn *quickButton(const char *name, const QString &text, const QString &icon, QWidget *parent)
{
    auto *button = new CCustomBtn(text, CCustomBtn::White, parent);
    button->setObjectName(QLatin1String(name));
    button->setFont(look::yaHei(TextPx, QFont::Normal, parent));
    button->setFixedHeight(look::scaled(ButtonHeight, parent));
    const int side = look::scaled(IconSide, parent);
    button->setIconSize(QSize(side, side));
    button->setIcon(picture::load(icon, button->iconSize(), parent->devicePixelRatioF()));
    return button;
}

QWidget *rule(QWidget *parent)
{
    auto *line = new QWidget(parent);
    line->setObjectName(QStringLiteral("quickRule"));
    line->setAttribute(Qt::WA_StyledBackground);
    line->setFixedHeight(1);
    return line;
}

QLayout *titleLine(QWidget *parent)
{
    auto *title = new QLabel(QStringLiteral("其他登录方式"), parent);
    title->setObjectName(QStringLiteral("quickTitle"));
    title->setFont(look::yaHei(TextPx, QFont::Normal, parent));
    auto *line = new QHBoxLayout;
    line->setSpacing(look::scaled(Gap, parent));
    line->addWidget(rule(parent), 1);
    line->addWidget(title);
    line->addWidget(rule(parent), 1);
    return line;
}
} // namespace

QWidget *CYunLoginDialog::InitQuickLogin()
{
    auto *band = new QWidget(this);
    CCustomBtn *weixin =
        quickButton("weixinButton", QStringLiteral("微信登录"), QStringLiteral(":/images/images/weixin.svg"), band);
    CCustomBtn *qq = quickButton("qqButton", QStringLiteral("QQ登录"), QStringLiteral(":/images/images/qq.svg"), band);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(look::scaled(Gap, this));
    buttons->addWidget(weixin, 1);
    buttons->addWidget(qq, 1);
    auto *column = new QVBoxLayout(band);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(look::scaled(Gap, this));
    column->addLayout(titleLine(band));
    column->addLayout(buttons);
    connect(weixin, &QPushButton::clicked, this, &CYunLoginDialog::onWeixinLogin);
    connect(qq, &QPushButton::clicked, this, &CYunLoginDialog::onQQLogin);
    return band;
}

void CYunLoginDialog::onWeixinLogin()
{
    quickLogin(QStringLiteral("weixindenglu"), QStringLiteral("点击微信扫码登录。"));
}

void CYunLoginDialog::onQQLogin()
{
    quickLogin(QStringLiteral("qqdenglu"), QStringLiteral("点击QQ扫码登录。"));
}

void CYunLoginDialog::quickLogin(const QString &type, const QString &clickLine)
{
    if (!mayStart())
        return;
    stopPoller();
    const QString randomCode = QUuid::createUuid().toString().mid(1, 8);
    ICloudServiceAssistant *assistant = cloudcalls::assistant();
    if (!assistant) {
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【扫码登录】获取云服务失败"));
        return;
    }
    VT_LOG(info) << clickLine;
    if (!openQRCode(*assistant, type, randomCode)) {
        showLoginTip(QStringLiteral("获取扫码登录地址失败"), eTipError);
        return;
    }
    showPassword(false); // whoever sees this dialog next
    hide();              // the browser shows the QR code
    startPoller(randomCode);
}

// The address is never logged: whoever has it takes part in the sign-in.
bool CYunLoginDialog::openQRCode(ICloudServiceAssistant &assistant, const QString &type, const QString &randomCode)
{
    const auto outcome = cloudcalls::call(assistant, &ICloudServiceAssistant::GetQRCodeUrl,
                                          {{key::QrType, type}, {key::RandomCode, randomCode}}, {key::QrUrl});
    if (!outcome.ok()) {
        VT_LOG(critical) << vtlog::callFailed(QStringLiteral("【扫码登录】获取扫码登录地址"), outcome.transportFailed(),
                                              outcome.code, outcome.error);
        return false;
    }
    const QString page = outcome.values.value(key::QrUrl).toString();
    if (!weblink::isPage(page)) {
        VT_LOG(critical) << QStringLiteral("【扫码登录】获取的扫码登录地址不是网页地址。");
        return false;
    }
    if (weblink::open(page))
        return true;
    VT_LOG(critical) << QStringLiteral("【扫码登录】打开扫码登录地址失败。");
    return false;
}

void CYunLoginDialog::startPoller(const QString &randomCode)
{
    const QCheckBox *autoLogin = m_tabs->currentIndex() == 0 ? m_accountAuto : m_phoneAuto;
    m_poller = makePoller(autoLogin->isChecked(), randomCode);
    m_poller->setBindingAddress(m_bindingAddress);
    onResult(&CQueryQRCodeResult::loginSuccess, &CYunLoginDialog::QuickLoginSuccess);
    onResult(&CQueryQRCodeResult::loginFail, &CYunLoginDialog::QuickLoginFail);
    onResult(&CQueryQRCodeResult::loginTimeout, &CYunLoginDialog::QuickLoginTimerOut);
    onResult(&CQueryQRCodeResult::yunlockFail, &CYunLoginDialog::YunLockLoginFail);
    m_poller->start();
}

// A result that is under way when its poller is stopped arrives all the same, maybe in the time of the next one.
template <class... Args>
void CYunLoginDialog::onResult(void (CQueryQRCodeResult::*signal)(Args...), void (CYunLoginDialog::*slot)(Args...))
{
    connect(m_poller.data(), signal, this, [this, slot, attempt = m_quickAttempt](Args... args) {
        if (attempt == m_quickAttempt)
            (this->*slot)(args...);
    });
}

CQueryQRCodeResult *CYunLoginDialog::makePoller(bool autoLogin, const QString &randomCode) const
{
    return new CQueryQRCodeResult(autoLogin, m_yunLockErrorTip, randomCode);
}

// Not waited for, since it may hang in a call; it deletes itself when it has come back.
void CYunLoginDialog::stopPoller()
{
    if (m_poller)
        m_poller->stop();
    m_poller.clear();
    ++m_quickAttempt;
}

void CYunLoginDialog::QuickLoginSuccess(QString)
{
    stopPoller();
    const QSharedPointer<ICloudLoginNotify> notify = m_notify;
    close();
    tellOfQuickLogin(notify);
}

void CYunLoginDialog::tellOfQuickLogin(const QSharedPointer<ICloudLoginNotify> &notify)
{
    if (notify) {
        VT_LOG(info) << QStringLiteral("扫码登录：开始通知云登录后事件");
        cloudcalls::tellCaller(notify);
    }
    VT_LOG(info) << QStringLiteral("快捷登录成功。");
}

void CYunLoginDialog::QuickLoginFail(QString strError)
{
    stopPoller();
    VT_LOG(critical) << QStringLiteral("快捷登录失败，") + strError;
    showAgain(strError.isEmpty() ? QStringLiteral("快捷登录失败") : strError);
}

void CYunLoginDialog::QuickLoginTimerOut()
{
    stopPoller();
    const QString tip = QStringLiteral("扫码登录超时，请重新扫码。");
    VT_LOG(warning) << QStringLiteral("快捷登录失败，") + tip;
    showAgain(tip);
}

void CYunLoginDialog::YunLockLoginFail(QString strError)
{
    stopPoller();
    VT_LOG(critical) << QStringLiteral("快捷登录：云锁登录失败，") + strError;
    showAgain(strError.isEmpty() ? QStringLiteral("云锁登录失败。") : strError);
}

void CYunLoginDialog::showAgain(const QString &tip)
{
    front::raiseOnce(this);
    setWindowRole(windowRole());                  // the X plug-in drops the role of a window that was hidden
    showTip(tip, eTipError, eBoxOrigin::Unasked); // the user is in the browser, or somewhere else
}
