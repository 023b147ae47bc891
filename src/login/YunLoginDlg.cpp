#include "login/YunLoginDlg.h"
#include "base/Log.h"
#include "login/LoginForm.h"
#include "login/QueryQRCodeResult.h"
#include "login/SecretText.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/TypingGuard.h"
#include "widgets/WebLink.h"
#include <QBoxLayout>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFrame>
#include <QKeyEvent>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <utility>

namespace key = tarn::cloud::key;

namespace {
// Metrics (design pixels at 96 DPI)
constexpr int WindowWidth = 400;
constexpr int TitleHeight = 44;
constexpr int SideMargin = 36;
constexpr int BottomMargin = 28;
constexpr int BandGap = 22;
constexpr int TabPx = 15;

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#loginBody{background-color:white;border:1px solid #53B3EA;}"
                          "#quickRule{background-color:#E4E8EE;}"
                          "#quickTitle{color:#8A93A0;}") +
           look::titleBand(QStringLiteral("#f1f8fe")) + loginform::sheet(w) + look::blueButton() + look::whiteButton() +
           look::linkButton() +
           QStringLiteral("CCustomBtn[tone=\"Link\"]:disabled{background-color:transparent;border:none;}");
}

void wipeField(QLineEdit *edit)
{
    QString text = edit->text();
    edit->setText(QString()); // unlike clear() it leaves nothing to be undone
    SecretText::wipe(&text);
}
} // namespace

CYunLoginDialog::CYunLoginDialog(QWidget *parent)
    : QDialog(parent)
{
    InitDialog();
}

CYunLoginDialog::~CYunLoginDialog()
{
    leave();
}

void CYunLoginDialog::InitDialog()
{
    if (m_tabs)
        return;
    setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    look::prepareWindow(this, QStringLiteral("云账号登录"));
    setObjectName(QStringLiteral("CYunLoginDialog")); // also for a derived class
    setWindowRole(objectName());
    setWindowIcon(picture::windowIcon(QStringLiteral(":/images/images/logo3.ico")));

    auto *body = new QFrame(this);
    body->setObjectName(QStringLiteral("loginBody"));
    auto *column = new QVBoxLayout(body);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    auto *content = new QVBoxLayout;
    const int side = look::scaled(SideMargin, this);
    content->setContentsMargins(side, look::scaled(8, this), side, look::scaled(BottomMargin, this));
    content->setSpacing(look::scaled(BandGap, this));
    InitLoginTypeTab();
    content->addWidget(m_tabs);
    content->addWidget(InitQuickLogin());
    column->addWidget(InitTitleBar()); // made last: its close button is the last one that Tab reaches
    column->addLayout(content);
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(body);
    setStyleSheet(dialogSheet(this));
    setFixedSize(look::scaled(WindowWidth, this), sizeHint().height());
    new TypingGuard(this);

    if (FillMemoryLoginInfo()) // otherwise each further question could take as long
        InitCloudAddr();
}

CustomTitleBar *CYunLoginDialog::InitTitleBar()
{
    auto *bar = new CustomTitleBar(this);
    bar->setFixedHeight(look::scaled(TitleHeight, this));
    bar->SetLoginTitleLogo(QStringLiteral(":/images/images/logo3.ico"));
    bar->SetLoginTitleText(QStringLiteral("云账号登录"));
    bar->addStretch(1);
    bar->AddCloseButton();
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CYunLoginDialog::on_close_btn_clicked);
    connect(bar, &CustomTitleBar::CustomTitleBarPressed, this, [this](int x, int y) { m_drag.press({x, y}); });
    connect(bar, &CustomTitleBar::CustomTitleBarmoved, this, [this](int x, int y) { m_drag.move({x, y}); });
    return bar;
}

void CYunLoginDialog::InitLoginTypeTab()
{
    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("loginTabs"));
    m_tabs->tabBar()->setFont(look::yaHei(TabPx, QFont::Normal, this));
    m_tabs->tabBar()->setDrawBase(false);
    m_tabs->tabBar()->setAccessibleName(QStringLiteral("登录方式"));
    InitAccountLogin();
    InitVerificationTab();
}

bool CYunLoginDialog::FillMemoryLoginInfo()
{
    ICloudServiceAssistant *assistant = cloudcalls::assistant();
    if (!assistant)
        return true; // the next one logs it
    auto memory = cloudcalls::call(*assistant, &ICloudServiceAssistant::GetMemoryLoginInfo, {},
                                   {key::LoginModel, key::AutoLoginStored, key::RememberPassword, key::RememberPhone,
                                    key::StoredAccount, key::StoredPassword, key::StoredPhone});
    if (memory.ok()) {
        fillFrom(std::move(memory.values));
        return true;
    }
    const QString line =
        memory.transportFailed()
            ? QStringLiteral("【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
            : QStringLiteral("【获取记忆的云账号登录信息】获取失败，返回错误码为：%1，错误信息为：%2");
    VT_LOG(critical) << line.arg(QString::number(memory.code), memory.error);
    return !memory.transportFailed();
}

void CYunLoginDialog::fillFrom(QVariantMap memory)
{
    bool known = false;
    const int model = memory.value(key::LoginModel).toInt(&known);
    if (known)
        m_tabs->setCurrentIndex(model == 0 ? 1 : 0); // crossed, deliberately
    const bool automatic = memory.value(key::AutoLoginStored).toBool();
    const bool password = memory.value(key::RememberPassword).toBool();
    const bool phone = memory.value(key::RememberPhone).toBool();
    m_accountAuto->setChecked(automatic);
    m_phoneAuto->setChecked(automatic);
    m_rememberPassword->setChecked(automatic || password);
    m_rememberPhone->setChecked(automatic || phone);
    m_account->setText(memory.value(key::StoredAccount).toString());
    QString secret = memory.take(key::StoredPassword).toString();
    if (password)
        m_password->setText(secret);
    SecretText::wipe(&secret); // of one that the field has not taken
    if (phone)
        m_phone->setText(memory.value(key::StoredPhone).toString());
}

void CYunLoginDialog::InitCloudAddr()
{
    ICloudServiceAssistant *assistant = cloudcalls::assistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("【云登录窗口初始化跳转链接地址】失败，原因为获取云服务客户端接口对象失败");
        return;
    }
    const QPair<QString, QString *> links[] = {{key::LinkRegister, &m_registerAddress},
                                               {key::LinkForgetPassword, &m_forgetAddress},
                                               {key::LinkBindAccount, &m_bindingAddress}};
    for (const auto &link : links) {
        cloudcalls::Outcome outcome;
        *link.second = cloudcalls::linkAddress(*assistant, link.first, &outcome);
        if (outcome.transportFailed())
            return; // each further question could take as long as this one
    }
}

void CYunLoginDialog::onRegisterAccount()
{
    VT_LOG(info) << QStringLiteral("【立即注册】用户点击立即注册按钮。");
    followLink(QStringLiteral("【立即注册】"), m_registerAddress);
}

void CYunLoginDialog::onForgetPassword()
{
    VT_LOG(info) << QStringLiteral("【忘记密码】用户点击忘记密码。");
    followLink(QStringLiteral("【忘记密码】"), m_forgetAddress);
}

void CYunLoginDialog::followLink(const QString &where, const QString &address)
{
    if (!weblink::isPage(address)) {
        VT_LOG(warning) << where + QStringLiteral("获取的跳转地址为空。");
        showLoginTip(QStringLiteral("获取跳转链接失败"), eTipError);
        return;
    }
    VT_LOG(info) << where + QStringLiteral("获取的跳转链接地址为：%1，即将跳转。").arg(address);
    if (!weblink::open(address))
        VT_LOG(warning) << where + QStringLiteral("打开跳转链接地址失败。");
}

void CYunLoginDialog::showLoginTip(const QString &text, eTipStatus status)
{
    // The answer to a long call may find the user in another program.
    showTip(text, status, isActiveWindow() ? eBoxOrigin::AskedFor : eBoxOrigin::Unasked);
}

void CYunLoginDialog::showTip(const QString &text, eTipStatus status, eBoxOrigin origin)
{
    if (!m_closed)
        CstmMessageBox(QStringLiteral("提示"), text, status, this, nullptr, origin);
}

// Once the line edit is done with the key: a sign-in can outlive the dialog, and the line edit goes with it. Several keys
// in a row start one sign-in, and none once the dialog has been closed.
void CYunLoginDialog::startOnReturn(CCustomLineEdit *edit, void (CYunLoginDialog::*start)())
{
    auto *soon = new QTimer(edit);
    soon->setSingleShot(true);
    connect(edit, &QLineEdit::returnPressed, soon, qOverload<>(&QTimer::start));
    connect(soon, &QTimer::timeout, this, [this, start] {
        if (isVisible())
            (this->*start)();
    });
}

void CYunLoginDialog::refuse(const QString &tip, const QString &line)
{
    VT_LOG(critical) << line;
    showLoginTip(tip, eTipError);
}

void CYunLoginDialog::wipeSecrets()
{
    wipeField(m_password);
    wipeField(m_code);
}

// Whatever ends the window: nothing of it goes on behind its back.
void CYunLoginDialog::leave()
{
    stopPoller();
    stopCountdown();
    endWaiting();
    wipeSecrets();
}

void CYunLoginDialog::on_close_btn_clicked()
{
    close();
}

void CYunLoginDialog::reject()
{
    close(); // QDialog would only hide, and the creator would not hear of it
}

void CYunLoginDialog::closeEvent(QCloseEvent *event)
{
    event->accept();
    if (std::exchange(m_closed, true))
        return;
    const QPointer<CQueryQRCodeResult> poller = m_poller;
    leave();
    emit LoginDialogClosed();
    // The user is signed in, and the news of it would no longer reach this dialog.
    if (poller && poller->hasSucceeded())
        tellOfQuickLogin(m_notify);
}

// A Return that is held down would try the same password again and again, and close each tip in between.
bool CYunLoginDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto *press = static_cast<QKeyEvent *>(event);
        if (press->isAutoRepeat() && (press->key() == Qt::Key_Return || press->key() == Qt::Key_Enter))
            return true;
    }
    return QDialog::eventFilter(watched, event);
}

void CYunLoginDialog::mousePressEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event))
        QDialog::mousePressEvent(event);
}

void CYunLoginDialog::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event))
        QDialog::mouseMoveEvent(event);
}

void CYunLoginDialog::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event))
        QDialog::mouseReleaseEvent(event);
}
