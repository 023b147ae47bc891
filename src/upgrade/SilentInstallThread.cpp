#include "upgrade/SilentInstallThread.h"
#include "base/Log.h"
#include "frame/WindowHost.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "widgets/ShownText.h"
#include <QFile>
#include <QFileInfo>
#include <utility>

using namespace tarn::upgrade;
using namespace tarn::visualized;

CSilentInstallThread::CSilentInstallThread(QSharedPointer<IUpgaredService_InputParam> param, WindowHost *manager)
    : m_param(std::move(param))
    , m_manager(manager)
{
}

CSilentInstallThread::~CSilentInstallThread()
{
    InterruptTask();
    wait();
}

void CSilentInstallThread::forget(CSilentInstallThread *worker)
{
    worker->InterruptTask();
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    if (!worker->isRunning()) // else the signal is still to come
        delete worker;
}

void CSilentInstallThread::InterruptTask()
{
    const QMutexLocker locker(&m_failing);
    m_interrupted = true;
}

bool CSilentInstallThread::IsExeFileUsing(const QString &path)
{
    QFile file(path);
    return file.exists() && !file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly);
}

void CSilentInstallThread::run()
{
    if (!m_interrupted)
        check();
    emit installFinished();
}

void CSilentInstallThread::check()
{
    if (!m_param || !m_manager)
        return fail(QString(), QStringLiteral("静默补丁安装线程获取参数失败"));
    const QString name = m_param->GetValue(key::SoftwareName).toString();
    const QString patch = m_param->GetValue(key::LocalFile).toString();
    const auto shown = [this](const QString &wanted) { return text::brief(m_param->GetValue(wanted).toString()); };
    VT_LOG(debug) << QStringLiteral(
                         "静默补丁安装：软件名称：%1，软件注册表路径：%2，补丁包：%3，软件路径：%4，重启：%5")
                         .arg(text::brief(name), shown(key::SettingsPath), text::brief(patch), shown(key::InstallDir),
                              QVariant(m_param->GetValue(key::Restart).toBool()).toString());
    if (name.isEmpty())
        fail(name, QStringLiteral("静默补丁安装线程获取软件名称为空"));
    else if (!QFileInfo(patch).isFile()) // a directory or a FIFO is not a package
        fail(name, QStringLiteral("静默补丁安装线程未找到补丁包文件"));
}

void CSilentInstallThread::fail(const QString &softName, const QString &reason)
{
    {
        const QMutexLocker locker(&m_failing);
        if (m_interrupted)
            return;
        if (m_manager && m_param)
            m_manager->setSilentPatchInstallState(softName, silent::Failed);
    }
    // Outside the lock: a host's log may wait for the GUI thread, which may wait in InterruptTask().
    VT_LOG_AS(critical, "run") << reason;
}
