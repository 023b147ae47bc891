#include "frame/VisualizedOperateManager.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "widgets/ShownText.h"
#include <optional>

using namespace tarn::visualized;

namespace {
constexpr int MaxNameSize = 256;  // characters of a product's name or a message's id
constexpr int MaxTextSize = 4096; // characters of a title, a link or a path
constexpr int MaxContentSize = 1 << 20;

/// What distinguishes the operations.
struct Operation
{
    const char *function; ///< the operation's name, also the log's function field
    QString action;       ///< what it does, in the words of its log lines
    int okCode;           ///< success code of the caller's service family

    /// @param ending what follows the action in its brackets
    bool refuse(const QString &ending) const
    {
        VT_LOG_AS(critical, function) << QStringLiteral("【%1】%2").arg(action, ending);
        return false;
    }
    bool refuseNull() const { return refuse(QStringLiteral("时传入参数为空，操作失败")); }
    bool refuseStopping() const { return refuse(QStringLiteral("时服务正在停止，操作失败")); }
    bool refuseTooLong() const { return refuse(QStringLiteral("时传入的名称或地址过长，操作失败")); }
};

/// The start of every operation: the debug line, then the check for null arguments.
template <class Input, class Output>
bool begin(const Operation &op, const QSharedPointer<Input> &input, const QSharedPointer<Output> &output)
{
    VT_LOG_AS(debug, op.function) << QStringLiteral("[%1]%2。").arg(QLatin1String(op.function), op.action);
    return (input && output) || op.refuseNull();
}

/// The middle: hands the data to the GUI thread.
bool post(const Operation &op, QEvent::Type type, std::unique_ptr<IVisualizedEventData> data)
{
    using Posted = CManagerAccess::Posted;
    const Posted posted = CManagerAccess::post(type, std::move(data));
    if (posted == Posted::TooMany)
        return op.refuse(QStringLiteral("时等待处理的请求过多，操作失败"));
    return posted == Posted::Yes || op.refuseStopping();
}

/// The end: the family's success code and no error.
template <class Output>
bool accept(const Operation &op, const QSharedPointer<Output> &output)
{
    output->SetRetCode(op.okCode);
    output->SetError(QLatin1String(""));
    return true;
}

/// An operation that only passes its input on.
template <class Data, class Input, class Output>
bool passOn(const Operation &op, const QSharedPointer<Input> &input, const QSharedPointer<Output> &output)
{
    return begin(op, input, output) && post(op, Data::EventType, std::make_unique<Data>(input)) && accept(op, output);
}

/// An operation of the network-licence sign-in.
template <class Input, class Output>
bool refuseLicence(const Operation &op, const QSharedPointer<Input> &input, const QSharedPointer<Output> &output)
{
    return begin(op, input, output) && op.refuse(QStringLiteral("时不支持网络锁登录，操作失败"));
}

quint64 windowHandle(const QVariant &value)
{
    bool ok = false;
    const quint64 handle = value.toULongLong(&ok);
    return ok ? handle : 0;
}

/// The seven values of a notice, over-long texts cut. Empty when an over-long one cannot be cut: it would name
/// another thing.
std::optional<QMap<QString, QVariant>> noticeValues(IMessageService_InputArgs &input)
{
    using namespace tarn::message;
    struct Limit
    {
        QString key;
        int size; // characters
        bool cut;
    };
    QMap<QString, QVariant> values;
    for (const Limit &limit : {Limit{key::MsgId, MaxNameSize, false}, Limit{key::MsgTitle, MaxTextSize, true},
                               Limit{key::MsgContent, MaxContentSize, true}, Limit{key::LinkText, MaxTextSize, true},
                               Limit{key::LinkAdress, MaxTextSize, false}, Limit{key::PicFilePath, MaxTextSize, false},
                               Limit{key::unReadNum, MaxNameSize, false}}) {
        const QString text = input.GetValue(limit.key).toString();
        if (text.size() > limit.size && !limit.cut)
            return std::nullopt;
        if (text.size() > limit.size)
            VT_LOG(warning)
                << QStringLiteral("通知栏消息：%1过长，只保留前%2个字符。").arg(limit.key, QString::number(limit.size));
        values.insert(limit.key, tarn::visualized::text::beginning(text, limit.size));
    }
    return values;
}

/// The manager's answer to a question, on the calling thread; empty when the service is stopping. Callers log after this
/// has returned: a host's log may wait for the GUI thread, which may wait for the access.
template <class Question>
auto ask(Question question)
{
    const CManagerAccess access;
    CVisualizedManager *manager = access.manager();
    return manager ? std::optional(question(*manager)) : std::nullopt;
}

} // namespace

bool CVisualizedOperateManager::QueryYunLoginDialogState(CloudIn, CloudOut output)
{
    const Operation op{__func__, QStringLiteral("查询云账号登录对话框状态"), tarn::cloud::code::Ok};
    if (!output)
        return op.refuseNull();
    const auto exists = ask([](const CVisualizedManager &manager) { return manager.YunDiaIsExist(); });
    if (!exists)
        return op.refuseStopping();
    output->SetValue(tarn::cloud::key::DialogExists, *exists);
    return true;
}

bool CVisualizedOperateManager::ShowCloudLogin(CloudIn input, CloudOut output, QSharedPointer<ICloudLoginNotify> notify)
{
    const Operation op{__func__, QStringLiteral("显示云账号登录对话框"), tarn::cloud::code::Ok};
    if (!begin(op, input, output))
        return false;
    const bool errorTip = input->GetValue(tarn::cloud::key::YunLockErrorTip).toBool();
    const quint64 parent = windowHandle(input->GetValue(tarn::cloud::key::ParentWindow));
    return post(op, CVisualizedEvents::eShowCloudLoginDialog,
                std::make_unique<CCloudLoginEventData>(input, std::move(notify), errorTip, parent)) &&
           accept(op, output);
}

bool CVisualizedOperateManager::NotifyCloudParentFinish(CloudIn input, CloudOut output)
{
    return passOn<CNotifyCloudEventData>({__func__, QStringLiteral("通知云登录父级窗口结束"), tarn::cloud::code::Ok},
                                         input, output);
}

bool CVisualizedOperateManager::showAutoCheckUpdateDialog(SoftIn input, SoftOut output)
{
    // The words of the update-notes dialog are deliberate: log readers search for them.
    return passOn<CAutoCheckUpdateEveData>({__func__, QStringLiteral("展现更新说明对话框"), tarn::upgrade::code::Ok},
                                           input, output);
}

bool CVisualizedOperateManager::showUpgradeExplainDialog(SoftIn input, SoftOut output)
{
    return passOn<CUpgradeExplainEveData>({__func__, QStringLiteral("展现更新说明"), tarn::upgrade::code::Ok}, input,
                                          output);
}

bool CVisualizedOperateManager::showUpgradeDownloadDialog(SoftIn input, SoftOut output)
{
    return passOn<CUpgradeDownloadEveData>(
        {__func__, QStringLiteral("显示在线升级下载对话框"), tarn::upgrade::code::Ok}, input, output);
}

bool CVisualizedOperateManager::showSilentPatchInstallDialog(PatchIn input, PatchOut output)
{
    const Operation op{__func__, QStringLiteral("显示静默安装补丁进度对话框"), tarn::upgrade::code::Ok};
    if (!begin(op, input, output))
        return false;
    const QString softName = input->GetValue(tarn::upgrade::key::SoftwareName).toString();
    if (softName.isEmpty())
        return op.refuse(QStringLiteral("时获取软件名称失败"));
    if (softName.size() > MaxNameSize)
        return op.refuseTooLong();
    const bool queryOnly = input->GetValue(tarn::upgrade::key::QueryOnly).toBool();
    if (!queryOnly && !post(op, CVisualizedEvents::eShowSilentPatchInstallDialog,
                            std::make_unique<CSilentPatchInstallEveData>(input)))
        return false;

    const auto state =
        ask([&softName](CVisualizedManager &manager) { return manager.getSilentPatchInstallState(softName); });
    if (!state)
        return op.refuseStopping();
    output->SetRetCode(op.okCode);
    output->SetValue(tarn::upgrade::key::SilentState, *state);
    output->SetError(QLatin1String(""));
    return true;
}

bool CVisualizedOperateManager::ShowMessageCenter(MessageIn input, MessageOut output)
{
    return passOn<CMsgCenterEventData>({__func__, QStringLiteral("显示消息中心对话框"), tarn::message::code::Ok}, input,
                                       output);
}

bool CVisualizedOperateManager::ShowNotifyMessage(MessageIn input, MessageOut output)
{
    const Operation op{__func__, QStringLiteral("显示通知栏消息对话框"), tarn::message::code::Ok};
    if (!begin(op, input, output))
        return false;
    const auto values = noticeValues(*input);
    if (!values)
        return op.refuseTooLong();
    VT_LOG(debug) << QStringLiteral("通知栏消息：未读数量") + values->value(tarn::message::key::unReadNum).toString();
    if (!post(op, CVisualizedEvents::eShowNotifyMsgDialog, std::make_unique<CNotifyMsgEventData>(*values)))
        return false;
    VT_LOG(debug) << QStringLiteral("服务调用助手通知栏消息：结束");
    return accept(op, output);
}

bool CVisualizedOperateManager::ShowNetLockLogin(LicenseIn input, LicenseOut output)
{
    return refuseLicence({__func__, QStringLiteral("显示网络锁登录对话框"), 0}, input, output);
}

bool CVisualizedOperateManager::NotifyLicParentFinish(LicenseIn input, LicenseOut output)
{
    return refuseLicence({__func__, QStringLiteral("通知网络锁登录父级窗口结束"), 0}, input, output);
}
