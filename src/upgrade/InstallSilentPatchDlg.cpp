#include "upgrade/InstallSilentPatchDlg.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/WindowHost.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "upgrade/SilentInstallThread.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/ShownText.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QMovie>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>
#include <csignal>
#include <unistd.h>
#include <utility>

namespace key = tarn::upgrade::key;
namespace silent = tarn::upgrade::silent;
using namespace tarn::visualized;

namespace {
constexpr int ForcedQuitTimeout = 30000;                    // ms
constexpr qint64 MaxSettingsSize = qint64(4) * 1024 * 1024; // bytes

// Look: the sheets have no selector, so each applies to the children as well
QString dialogSheet()
{
    return QStringLiteral("background-color:#F8F8F8;");
}

QString panelSheet()
{
    return QStringLiteral("border:1px solid #D9D9D9;background-color:transparent;");
}

QString contentSheet()
{
    return QStringLiteral("color:#454D5A;border:none;");
}

// The product's program, named by its settings store; empty when the store cannot be read.
QString readExeName(const QString &settingsPath)
{
    const QFileInfo info(settingsPath);
    if (!info.isFile() || info.size() > MaxSettingsSize)
        return {};
    QSettings settings(settingsPath, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    return settings.value(key::ExeName).toStringList().join(QLatin1Char(',')); // a comma makes a list
}

void killAll(const QString &fileName)
{
    int killed = 0;
    const QFileInfoList processes = QDir(QStringLiteral("/proc")).entryInfoList(QDir::Dirs);
    for (const QFileInfo &process : processes) {
        const int pid = process.fileName().toInt();
        if (pid <= 0 || pid == ::getpid() || process.ownerId() != ::geteuid())
            continue;
        const QFileInfo file(QFile::symLinkTarget(process.filePath() + QStringLiteral("/exe")));
        const bool wasReplaced = file.fileName() == fileName + QLatin1String(" (deleted)") && !file.exists();
        if (file.fileName() != fileName && !wasReplaced)
            continue;
        if (::kill(pid, SIGKILL) == 0)
            ++killed;
        else
            VT_LOG(warning)
                << QStringLiteral("强制退出进程%1失败：%2").arg(QString::number(pid), qt_error_string(errno));
    }
    VT_LOG(info) << QStringLiteral("强制退出软件进程：%1，数量：%2").arg(fileName, QString::number(killed));
}

void runTaskkill(const QString &program, const QString &fileName, int timeoutMs)
{
    VT_LOG(info) << QStringLiteral("执行taskkill强制退出软件进程：%1").arg(fileName);
    QEventLoop loop;
    auto *taskkill = new QProcess(QCoreApplication::instance());
    QObject::connect(taskkill, &QProcess::destroyed, &loop, &QEventLoop::quit);
    QObject::connect(taskkill, &QProcess::stateChanged, taskkill, [taskkill](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning) // it has ended, or could not be started
            taskkill->deleteLater();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    taskkill->setStandardInputFile(QProcess::nullDevice());
    taskkill->setStandardOutputFile(QProcess::nullDevice());
    taskkill->setStandardErrorFile(QProcess::nullDevice());
    taskkill->start(program, {QStringLiteral("/f"), QStringLiteral("/im"), fileName});
    if (taskkill->state() == QProcess::NotRunning) // it could not even be forked; nothing would end the loop
        taskkill->deleteLater();
    else
        loop.exec();
}
} // namespace

CInstallSilentPatchDlg::CInstallSilentPatchDlg(QSharedPointer<IUpgaredService_InputParam> param, WindowHost *manager,
                                               QWidget *parent)
    : ToolDialog(parent, Qt::Dialog)
    , m_param(std::move(param))
    , m_manager(manager)
{
    if (m_param) {
        m_softName = m_param->GetValue(key::SoftwareName).toString();
        m_settingsPath = m_param->GetValue(key::SettingsPath).toString();
    }
    installEventFilter(this);
    InitDialog();
}

void CInstallSilentPatchDlg::InitDialog()
{
    if (std::exchange(m_built, true))
        return;
    setAttribute(Qt::WA_ShowWithoutActivating);
    prepare(QStringLiteral("安装更新"));
    setFixedSize(look::scaled(QSize(400, 60), this));
    setStyleSheet(dialogSheet());

    auto *panel = look::named(new QFrame(this), "progressPanel");
    panel->setStyleSheet(panelSheet());
    panel->setGeometry(rect());
    fillPanel(panel);
    placement::centreOnPrimary(this);
    if (!m_softName.isEmpty()) // without a name it closes at once
        show();
    StartInstall();
}

void CInstallSilentPatchDlg::fillPanel(QWidget *panel)
{
    const QString sentence = QStringLiteral("正在安装更新，请稍候...");
    auto *label = look::named(new ElideLabel(text::brief(m_softName) + sentence, panel), "progressText", 12);
    label->setStyleSheet(contentSheet());
    label->setMaximumLines(2);
    label->setKeptEnd(sentence);

    auto *animation = look::named(new QLabel(panel), "progressAnimation");
    animation->setStyleSheet(contentSheet());
    animation->setFixedSize(look::scaled(QSize(36, 36), this));
    auto *movie = new QMovie(look::icon::Progress, QByteArray(), animation);
    movie->setScaledSize(animation->size());
    animation->setMovie(movie);
    movie->start();

    auto *row = new QHBoxLayout(panel);
    row->setContentsMargins(look::scaled(QMargins(20, 10, 20, 10), this));
    row->addWidget(label, 1);
    row->addWidget(animation);
}

void CInstallSilentPatchDlg::StartInstall()
{
    if (m_closed)
        return;
    if (m_softName.isEmpty()) {
        VT_LOG(critical) << QStringLiteral("静默补丁安装时获取软件名称失败");
        close();
        return;
    }
    forgetWorkers(); // a late failure of an earlier one must not replace the new state

    if (m_manager) // else the worker logs it
        m_manager->setSilentPatchInstallState(m_softName, silent::Installing);
    const QSharedPointer<CSilentInstallThread> worker(new CSilentInstallThread(m_param, m_manager),
                                                      &CSilentInstallThread::forget);
    connect(worker.data(), &CSilentInstallThread::checkExeTimeOut, this, &CInstallSilentPatchDlg::OnTimeOut);
    connect(worker.data(), &CSilentInstallThread::installFinished, this, &CInstallSilentPatchDlg::close);
    m_workers.append(worker);
    worker->start(QThread::InheritPriority);
    if (worker->isRunning() || worker->isFinished())
        return;
    VT_LOG(critical) << QStringLiteral("静默补丁安装线程启动失败");
    if (m_manager)
        m_manager->setSilentPatchInstallState(m_softName, silent::Failed);
    QMetaObject::invokeMethod(this, &CInstallSilentPatchDlg::close, Qt::QueuedConnection); // not within the constructor
}

void CInstallSilentPatchDlg::OnTimeOut()
{
    if (m_asking || m_closed)
        return;
    const QPointer<CInstallSilentPatchDlg> self(this);
    const QString question =
        QStringLiteral("检测到软件进程“") + text::literal(text::brief(m_softName)) +
        QStringLiteral("”仍在运行，您可点击“重试”等待程序退出，或选择“立即升级”强制退出软件并立即升级。");
    m_asking = true;
    if (CQuestionMessageBox(QStringLiteral("提示"), question, this, QStringLiteral("立即升级"),
                            QStringLiteral("重试")) == 1 &&
        self && !m_closed)
        endProgram(readExeName(m_settingsPath), ForcedQuitTimeout);
    if (!self || m_closed)
        return;
    m_asking = false;
    StartInstall();
}

void CInstallSilentPatchDlg::endProgram(const QString &exeName, int timeoutMs)
{
    const QString fileName = exeName.section(QRegularExpression(QStringLiteral("[/\\\\]")), -1);
    const QString program = QStandardPaths::findExecutable(QStringLiteral("taskkill"));
    if (fileName.isEmpty() || fileName.contains(QRegularExpression(QStringLiteral("[*?\\0]"))))
        VT_LOG(warning) << QStringLiteral("不强制退出软件进程，程序名称无效：“%1”").arg(text::brief(exeName));
    else if (program.isEmpty())
        killAll(fileName);
    else
        runTaskkill(program, fileName, timeoutMs);
}

void CInstallSilentPatchDlg::forgetWorkers()
{
    for (const auto &worker : qAsConst(m_workers)) {
        worker->disconnect(this);
        worker->InterruptTask();
    }
}

bool CInstallSilentPatchDlg::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape)
        return true;
    return ToolDialog::eventFilter(watched, event);
}

void CInstallSilentPatchDlg::closeEvent(QCloseEvent *event)
{
    if (!std::exchange(m_closed, true)) { // once: later the name can belong to another dialog
        const auto questions = findChildren<QDialog *>(QString(), Qt::FindDirectChildrenOnly);
        for (QDialog *question : questions)
            question->reject();
        forgetWorkers();
        const CManagerAccess access;
        if (WindowHost *host = access.host())
            host->RemoveSilentInstDlg(m_softName);
    }
    ToolDialog::closeEvent(event);
}
