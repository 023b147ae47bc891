#include "frame/VisualizedManager.h"
#include "login/QueryQRCodeResult.h"
#include "login/YunLoginDlg.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDlg.h"
#include "message/NotifyWnd.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/factory/IServiceObjectCreator.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/osgi/IBundleActivator.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/InstallSilentPatchDlg.h"
#include "upgrade/ProcessChecker.h"
#include "upgrade/SilentInstallThread.h"
#include "upgrade/UpdateCurExplainDialog.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/IconEditWidget.h"
#include "widgets/QuestionMessageBox.h"
#include "widgets/TimingMessageBox.h"
#include <QMetaMethod>
#include <QTest>
#include <cstring>

namespace {
/// The place in the virtual table, as a pointer to a virtual member function holds it (Itanium ABI).
template <class Member>
int slotOf(Member member)
{
    std::ptrdiff_t raw = 0;
    memcpy(&raw, &member, sizeof raw);
    return int(raw / std::ptrdiff_t(sizeof(void *)));
}

template <class... Members>
QVector<int> slotsOf(Members... members)
{
    return {slotOf(members)...};
}

/// The signatures of a class: with the names of the parameters and without.
QStringList methodsOf(const QMetaObject &meta)
{
    QStringList found;
    for (int i = 0; i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const QByteArray kind = method.methodType() == QMetaMethod::Signal ? "signal " : "slot ";
        QByteArrayList named;
        for (int p = 0; p < method.parameterCount(); ++p)
            named << method.parameterTypes().at(p) + ' ' + method.parameterNames().at(p);
        found << QString::fromLatin1(kind + method.methodSignature())
              << QString::fromLatin1(kind + method.name() + '(' + named.join(", ") + ')');
    }
    return found;
}
} // namespace

// What other binaries and log readers rely on: places in virtual tables, names of signals and slots.
class TestContract final : public QObject
{
    Q_OBJECT
private slots:
    void virtualTables()
    {
        using Message = IMessageServiceAssistant;
        using Cloud = ICloudServiceAssistant;
        using Upgrade = IUpgradeServiceAssistant;
        using Manager = IServiceAssistantManager;
        using Operations = IVisulizedOperateManager;
        using MessageIn = IMessageService_InputArgs;
        using MessageOut = IMessageService_OutputArgs;
        using SoftIn = IUpgaredSoftInfoService_InputParam;
        const QVector<QPair<const char *, QVector<int>>> tables{
            {"message input",
             slotsOf(&MessageIn::SetValue, &MessageIn::GetValue, &MessageIn::SetError, &MessageIn::GetError)},
            {"message output",
             slotsOf(&MessageOut::SetValue, &MessageOut::GetValue, &MessageOut::GetValueList, &MessageOut::SetValueList,
                     &MessageOut::SetError, &MessageOut::GetError, &MessageOut::SetRetCode, &MessageOut::GetRetCode)},
            {"soft info input", slotsOf(&SoftIn::SetValue, &SoftIn::GetValue, &SoftIn::GetValueList,
                                        &SoftIn::SetValueList, &SoftIn::SetError, &SoftIn::GetError)},
            {"message",
             slotsOf(&Message::Initialize, &Message::UnInitialize, &Message::AddMessageReceipt,
                     &Message::UpdateMessageStatus, &Message::GetAllMessageRecords, &Message::GetMessageRecord,
                     &Message::CreateInputArgs, &Message::CreateOutputArgs, &Message::IgnoreMessage)},
            {"cloud", slotsOf(&Cloud::Initialize, &Cloud::UnInitialize, &Cloud::CreateInputArgs,
                              &Cloud::CreateOutputArgs, &Cloud::GetLoginState, &Cloud::GetMemoryLoginInfo,
                              &Cloud::SendVerificationCode, &Cloud::LoginByPhone, &Cloud::LoginByAccount,
                              &Cloud::GetQRCodeUrl, &Cloud::QueryQRCodeResult, &Cloud::GetLinkAddress, &Cloud::Logout)},
            {"upgrade",
             slotsOf(&Upgrade::Initialize, &Upgrade::UnInitialize, &Upgrade::CreateSoftInfoInputParam,
                     &Upgrade::CreateSoftInfoOutputParam, &Upgrade::CreateInputParam, &Upgrade::CreateOutputParam,
                     &Upgrade::CheckNewVersion, &Upgrade::IgnoreUpgrade, &Upgrade::StartDownload,
                     &Upgrade::QueryTaskInfos, &Upgrade::StopUpgrade, &Upgrade::InstallSoftware)},
            {"manager", slotsOf(&Manager::GetLicenseServiceAssistant, &Manager::GetCloudServiceAssistant,
                                &Manager::GetMessageServiceAssistant, &Manager::GetUpgradeServiceAssistant,
                                &Manager::UnInitialize)},
            {"creator", slotsOf(&IServiceObjectCreator::create, &IServiceObjectCreator::destroy)},
            {"activator", slotsOf(&tarn::osgi::IBundleActivator::start, &tarn::osgi::IBundleActivator::stop)},
            {"operations", slotsOf(&Operations::QueryYunLoginDialogState, &Operations::ShowCloudLogin,
                                   &Operations::NotifyCloudParentFinish, &Operations::showAutoCheckUpdateDialog,
                                   &Operations::showUpgradeExplainDialog, &Operations::showUpgradeDownloadDialog,
                                   &Operations::showSilentPatchInstallDialog, &Operations::ShowMessageCenter,
                                   &Operations::ShowNotifyMessage, &Operations::ShowNetLockLogin,
                                   &Operations::NotifyLicParentFinish)},
        };
        for (const auto &table : tables) {
            for (int i = 1; i < table.second.size(); ++i)
                QVERIFY2(table.second.at(i) == table.second.at(i - 1) + 1, table.first);
        }
    }

    void signalsAndSlots()
    {
        const QStringList titleBar{"slot OnCustomTitleBarPressed(int,int)", "slot OnCustomTitleBarmoved(int,int)"};
        const auto row = [](const QMetaObject &meta, const QStringList &expected) {
            const QStringList found = methodsOf(meta);
            for (const QString &method : expected)
                QVERIFY2(found.contains(method), qPrintable(method));
        };
        row(CVisualizedManager::staticMetaObject, {"slot onShowExplain(QString softName)"});
        row(CUpdateItem::staticMetaObject, {"signal UpdateExplainClicked(QString strName)",
                                            "signal DoNotPromptClicked(QString strName, QString strVersion)",
                                            "slot OnUpdateExplainClicked()", "slot OnDoNotPromptClicked()"});
        row(CCheckUpdateDial::staticMetaObject,
            {"signal ShowExplain(QString strName)", "slot OnUpdateExplainClicked(QString strName)",
             "slot OnDoNotPromptClicked(QString strName, QString strVersion)", "slot OnNotUpdateTemporarily()",
             "slot OnUpdateImmediately()"});
        row(CUpdateExplainDial::staticMetaObject, {"slot OnUpdateAhead()", "slot OnDoNotUpdate()"});
        row(CUpdateCurExplainDialog::staticMetaObject, {"slot OnUpdateAhead()"});
        row(upgrade::operate::CUpgradeDataRefresher::staticMetaObject,
            {"slot onTimeout()", "signal refreshUpgradeDtats(QVariant datas)"});
        row(upgrade::controls::CUpgradeTableWidget::staticMetaObject,
            {"slot onRefreshUpgradeDtats(QVariant datas)", "slot onCellEntered(int row, int column)",
             "slot onCancelDownload(QVariant info)", "signal sigCellLeave(int row, int column)",
             "signal sigCloseDialog()"});
        row(upgrade::controls::CUpgradeProgress::staticMetaObject,
            {"slot onCancelDownloadClicked()", "signal cancelDownload(QVariant info)"});
        row(CUpgradeDialog::staticMetaObject,
            {"slot onOpenTriggered()", "slot onActivated(QSystemTrayIcon::ActivationReason)",
             "slot onMinumBtnClicked()", "slot onCloseBtnClicked()", "slot onClose()"});
        row(CSilentInstallThread::staticMetaObject, {"signal installFinished()", "signal checkExeTimeOut()"});
        row(CProcessChecker::staticMetaObject, {"signal processNoFind(QString strCheckFileDir)"});
        row(CInstallSilentPatchDlg::staticMetaObject, {"slot OnTimeOut()"});
        row(CYunLoginDialog::staticMetaObject,
            {"slot on_close_btn_clicked()", "slot onRegisterAccount()", "slot OnAccountAutoLoginChkChanged(int state)",
             "slot onForgetPassword()", "slot onAccountLoginBtn()", "slot onGetVerificationCodeBtn()",
             "slot onVerificationCodeLoginBtn()", "slot OnVerifCodeAutoLogin(int)", "slot PasswordStateChanged()",
             "slot onWeixinLogin()", "slot onQQLogin()", "slot OnTimeOut()", "slot QuickLoginSuccess(QString strToken)",
             "slot QuickLoginTimerOut()", "slot QuickLoginFail(QString strError)", "slot YunLockLoginFail(QString)"});
        row(CQueryQRCodeResult::staticMetaObject,
            {"signal loginSuccess(QString strToken)", "signal loginFail(QString strError)", "signal loginTimeout()",
             "signal yunlockFail(QString)"});
        row(CMsgCenterDlg::staticMetaObject,
            titleBar + QStringList{"signal MsgHasBeReadSignal()", "signal MsgHasBeClickSignal()",
                                   "signal MsgCenterClosed()", "slot MsgReadSlots(QString strMsgId)",
                                   "slot MsgHasBeClickSlots(QString strMsgId)",
                                   "slot OnMessageSelected(QString strMessageId)",
                                   "slot OnMessageDeleted(QString strMessageId)", "slot OnCloseBtnClicked()"});
        row(CMessageListItem::staticMetaObject,
            {"signal MessageRead(QString strMessageId)", "signal MessageClicked(QString)",
             "signal MessageSelected(QString)", "signal MessageDeleted(QString)", "slot OnArrowBtnClicked()",
             "slot OnlinkActivated(QString strLink)", "slot OnDeleteMessage()"});
        row(NotifyWnd::staticMetaObject,
            {"slot MsgBtnClick()", "slot OnlinkActivated(QString)", "slot DpiChanged(double)"});
        row(CustomTitleBar::staticMetaObject,
            {"signal CustomTitleBarClose()", "signal CustomTitleBarMinum()", "signal CustomTitleBarMaxum()",
             "signal CustomTitleBarPressed(int nPosX, int nPosY)", "signal CustomTitleBarmoved(int nPosX, int nPosY)",
             "slot OnCloseBtnClicked()", "slot OnMinumBtnClicked()", "slot OnMaxumBtnClicked()"});
        row(CustomMessageBox::staticMetaObject,
            titleBar + QStringList{"slot on_close_btn_clicked()", "slot onLinkClick(QString)"});
        row(QuestionMessageBox::staticMetaObject,
            titleBar + QStringList{"slot on_ok_btn_clicked()", "slot on_concel_btn_clicked()"});
        row(CTimingMessageBox::staticMetaObject, {"slot CloseDialog()"});
        row(CIconEditWidget::staticMetaObject, {"signal SuffixBtnClickedSignal()", "slot SuffixBtnClicked()"});
    }
};

QTEST_GUILESS_MAIN(TestContract)
#include "tst_contract.moc"
