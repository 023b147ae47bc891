#pragma once
#include "services/FileSwap.h"
#include "services/UpgradeTask.h"
#include <QObject>
#include <QProcess>

namespace tarn::services {

/// Installs the downloaded packages of a task: the system's tar unpacks them beside the product's files, what came out
/// is checked, the install description is updated, and all files are exchanged together. One thread.
class PackageInstaller final : public QObject
{
    Q_OBJECT
public:
    /// @param files one for each of the task's items
    PackageInstaller(const UpgradeTask &task, const QStringList &files, const QString &directory, QObject *parent);
    ~PackageInstaller() override; ///< an installation that has not finished is undone

    void start();

    /// Undoes what an earlier process left unfinished in a product's directory.
    /// @return what went wrong, empty when all is well
    static QString recover(const QString &directory);

signals:
    void finished(QString error); ///< empty when it is installed; else the product is as it was

private:
    /// Unpacked files get the usual permissions, while what the service itself writes is for the user only.
    class Tar final : public QProcess
    {
    public:
        using QProcess::QProcess;

    protected:
        void setupChildProcess() override;
    };

    void next();
    void runTar(const QStringList &arguments);
    void readListing();
    QString judgeLine(const QByteArray &line);
    void tarEnded();
    QString updateDescription();
    void end(const QString &error);

    const UpgradeTask m_task;
    const QStringList m_files;
    const QString m_directory;
    FileSwap m_swap;
    Tar *m_tar = nullptr;
    QString m_reason; ///< why a package is refused
    int m_item = 0;
    bool m_listing = true; ///< tar lists the package, next it unpacks it
    qint64 m_bytes = 0;    ///< of all members so far
    qint64 m_members = 0;
    bool m_ended = false;
};

} // namespace tarn::services
