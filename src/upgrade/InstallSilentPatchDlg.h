#pragma once
#include "widgets/ToolDialog.h"
#include <QList>
#include <QSharedPointer>

class CSilentInstallThread;
class IUpgaredService_InputParam;
class WindowHost;

/// The small window of a silent patch installation of one product. It shows itself, checks the request on a thread and
/// closes when that is done; the upgrade service does the installation. It notifies the manager when it closes. GUI
/// thread; it never waits for its thread.
class CInstallSilentPatchDlg final : public tarn::visualized::ToolDialog
{
    Q_OBJECT
public:
    /// Starts the installation.
    /// @param manager must outlive the dialog; stores the state of the installation. Without one the dialog logs an error
    /// and closes.
    CInstallSilentPatchDlg(QSharedPointer<IUpgaredService_InputParam> param, WindowHost *manager, QWidget *parent);

    void InitDialog(); ///< does nothing once the window is built
    void StartInstall();

    /// Ends a program by the name of its executable file: with "taskkill" where that command exists, else by killing every
    /// other process of this user that runs a file of this name (a script is not found: its process runs the interpreter).
    /// The result is logged. An event loop runs while "taskkill" runs.
    /// @param exeName a file name; directories in front of it are ignored
    /// @param timeoutMs limit of the wait for "taskkill", which continues afterwards
    static void endProgram(const QString &exeName, int timeoutMs);

public slots:
    /// The product's program still runs: asks whether to end it by force, then starts again. The dialog can be deleted
    /// meanwhile.
    void OnTimeOut();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void fillPanel(QWidget *panel);
    void forgetWorkers();

    const QSharedPointer<IUpgaredService_InputParam> m_param;
    WindowHost *const m_manager;
    QString m_softName;
    QString m_settingsPath;
    QList<QSharedPointer<CSilentInstallThread>> m_workers; ///< also those that have ended
    bool m_built = false;
    bool m_asking = false;
    bool m_closed = false;
};
