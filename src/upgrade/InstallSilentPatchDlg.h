#pragma once
#include <QDialog>
#include <QList>
#include <QSharedPointer>

class CSilentInstallThread;
class CVisualizedManager;
class IUpgaredService_InputParam;

/// The small window that shows while a patch of one product is installed silently. It shows itself, judges the request on
/// a thread of its own and closes when that is done; the installation proper is the upgrade service's. GUI thread. The
/// manager is told when it closes.
class CInstallSilentPatchDlg final : public QDialog
{
    Q_OBJECT
public:
    /// Begins at once.
    /// @param manager is to outlive the dialog; it gets the state of the installation
    CInstallSilentPatchDlg(QSharedPointer<IUpgaredService_InputParam> param, CVisualizedManager *manager,
                           QWidget *parent);
    ~CInstallSilentPatchDlg() override; ///< waits for the workers

    void InitDialog(); ///< does nothing once the window is built
    void StartInstall();

public slots:
    /// The product's program still runs: asks whether to end it by force, then starts again. The dialog can be gone when
    /// it returns.
    void OnTimeOut();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void fillPanel(QWidget *panel);
    bool askToForceQuit();

    const QSharedPointer<IUpgaredService_InputParam> m_param; ///< a running worker's alone
    CVisualizedManager *const m_manager;
    QString m_softName;
    QString m_settingsPath;
    QList<QSharedPointer<CSilentInstallThread>> m_workers; ///< ended ones too
    bool m_built = false;
    bool m_asking = false;
    bool m_closed = false;
};
