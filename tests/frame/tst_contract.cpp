#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/factory/IServiceObjectCreator.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/osgi/IBundleActivator.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include <QTest>
#include <algorithm>
#include <cstring>

namespace {
/// Whether virtual functions follow one another in their table: a pointer to one holds its place there (Itanium ABI).
template <class... Members>
bool inOrder(Members... members)
{
    std::ptrdiff_t places[sizeof...(members)];
    std::ptrdiff_t *place = places;
    (memcpy(place++, &members, sizeof *place), ...);
    const auto isApart = [](auto one, auto other) { return other - one != std::ptrdiff_t(sizeof(void *)); };
    return std::adjacent_find(std::begin(places), std::end(places), isApart) == std::end(places);
}
} // namespace

// What binaries of other makers rely on: places in virtual tables.
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
        QVERIFY(inOrder(&MessageIn::SetValue, &MessageIn::GetValue, &MessageIn::SetError, &MessageIn::GetError));
        QVERIFY(inOrder(&MessageOut::SetValue, &MessageOut::GetValue, &MessageOut::GetValueList,
                        &MessageOut::SetValueList, &MessageOut::SetError, &MessageOut::GetError,
                        &MessageOut::SetRetCode, &MessageOut::GetRetCode));
        QVERIFY(inOrder(&SoftIn::SetValue, &SoftIn::GetValue, &SoftIn::GetValueList, &SoftIn::SetValueList,
                        &SoftIn::SetError, &SoftIn::GetError));
        QVERIFY(inOrder(&Message::Initialize, &Message::UnInitialize, &Message::AddMessageReceipt,
                        &Message::UpdateMessageStatus, &Message::GetAllMessageRecords, &Message::GetMessageRecord,
                        &Message::CreateInputArgs, &Message::CreateOutputArgs, &Message::IgnoreMessage));
        QVERIFY(inOrder(&Cloud::Initialize, &Cloud::UnInitialize, &Cloud::CreateInputArgs, &Cloud::CreateOutputArgs,
                        &Cloud::GetLoginState, &Cloud::GetMemoryLoginInfo, &Cloud::SendVerificationCode,
                        &Cloud::LoginByPhone, &Cloud::LoginByAccount, &Cloud::GetQRCodeUrl, &Cloud::QueryQRCodeResult,
                        &Cloud::GetLinkAddress, &Cloud::Logout));
        QVERIFY(inOrder(&Upgrade::Initialize, &Upgrade::UnInitialize, &Upgrade::CreateSoftInfoInputParam,
                        &Upgrade::CreateSoftInfoOutputParam, &Upgrade::CreateInputParam, &Upgrade::CreateOutputParam,
                        &Upgrade::CheckNewVersion, &Upgrade::IgnoreUpgrade, &Upgrade::StartDownload,
                        &Upgrade::QueryTaskInfos, &Upgrade::StopUpgrade, &Upgrade::InstallSoftware));
        QVERIFY(inOrder(&Manager::GetLicenseServiceAssistant, &Manager::GetCloudServiceAssistant,
                        &Manager::GetMessageServiceAssistant, &Manager::GetUpgradeServiceAssistant,
                        &Manager::UnInitialize));
        QVERIFY(inOrder(&IServiceObjectCreator::create, &IServiceObjectCreator::destroy));
        QVERIFY(inOrder(&tarn::osgi::IBundleActivator::start, &tarn::osgi::IBundleActivator::stop));
        QVERIFY(inOrder(&Operations::QueryYunLoginDialogState, &Operations::ShowCloudLogin,
                        &Operations::NotifyCloudParentFinish, &Operations::showAutoCheckUpdateDialog,
                        &Operations::showUpgradeExplainDialog, &Operations::showUpgradeDownloadDialog,
                        &Operations::showSilentPatchInstallDialog, &Operations::ShowMessageCenter,
                        &Operations::ShowNotifyMessage, &Operations::ShowNetLockLogin,
                        &Operations::NotifyLicParentFinish));
    }
};

QTEST_GUILESS_MAIN(TestContract)
#include "tst_contract.moc"
