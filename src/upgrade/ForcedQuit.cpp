#include "upgrade/ForcedQuit.h"
#include "base/Log.h"
#include "widgets/ShownText.h"
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>
#include <csignal>
#include <unistd.h>

namespace tarn::visualized::forcedquit {

namespace {
void killAll(const QString &fileName)
{
    int killed = 0;
    const QFileInfoList processes = QDir(QStringLiteral("/proc")).entryInfoList(QDir::Dirs);
    for (const QFileInfo &process : processes) {
        const int pid = process.fileName().toInt();
        if (pid <= 0 || pid == ::getpid() || process.ownerId() != ::geteuid())
            continue;
        QString file = QFile::symLinkTarget(process.filePath() + QStringLiteral("/exe"));
        if (file.endsWith(QLatin1String(" (deleted)")) && !QFile::exists(file)) // replaced by an update
            file.chop(10);
        if (QFileInfo(file).fileName() != fileName)
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

void endProgram(const QString &exeName, int timeoutMs)
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

} // namespace tarn::visualized::forcedquit
