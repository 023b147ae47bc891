#include "upgrade/SilentInstallThread.h"
#include "base/Log.h"
#include "frame/VisualizedManager.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "widgets/MessageText.h"
#include <QFile>
#include <QFileInfo>
#include <utility>

namespace key = tarn::upgrade::key;

namespace {
constexpr int StateFailed = 99;
} // namespace

CSilentInstallThread::CSilentInstallThread(QSharedPointer<IUpgaredService_InputParam> param,
                                           CVisualizedManager *manager)
    : m_param(std::move(param))
    , m_manager(manager)
{
}

CSilentInstallThread::~CSilentInstallThread()
{
    InterruptTask();
    wait(); // the announcement comes from inside run(), and whoever hears it may drop the thread at once
}

void CSilentInstallThread::InterruptTask()
{
    m_interrupted = true;
}

bool CSilentInstallThread::IsExeFileUsing(const QString &path)
{
    QFile file(path);
    return file.exists() && !file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly);
}

void CSilentInstallThread::run()
{
    const QString failure = m_interrupted ? QString() : judge();
    if (!failure.isEmpty())
        VT_LOG(critical) << failure;
    emit installFinished();
}

// What is wrong with the request, empty when nothing is.
QString CSilentInstallThread::judge()
{
    if (!m_param || !m_manager)
        return QStringLiteral("静默补丁安装线程获取参数失败");
    const QString name = m_param->GetValue(key::SoftwareName).toString();
    const QString settingsPath = m_param->GetValue(key::SettingsPath).toString();
    const QString patch = m_param->GetValue(key::LocalFile).toString();
    const QString directory = m_param->GetValue(key::InstallDir).toString();
    const bool restart = m_param->GetValue(key::Restart).toBool();
    VT_LOG(debug) << QStringLiteral(
                         "静默补丁安装：软件名称：%1，软件注册表路径：%2，补丁包：%3，软件路径：%4，重启：%5")
                         .arg(messagetext::brief(name), messagetext::brief(settingsPath), messagetext::brief(patch),
                              messagetext::brief(directory),
                              restart ? QStringLiteral("true") : QStringLiteral("false"));
    if (name.isEmpty()) {
        m_manager->setSilentPatchInstallState(name, StateFailed);
        return QStringLiteral("静默补丁安装线程获取软件名称为空");
    }
    if (!QFileInfo(patch).isFile()) { // never opened: a FIFO would hold the thread for ever
        m_manager->setSilentPatchInstallState(name, StateFailed);
        return QStringLiteral("静默补丁安装线程未找到补丁包文件");
    }
    return {};
}
