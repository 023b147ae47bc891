#pragma once
#include "upgrade/controls/LazyCell.h"
#include <QVariant>

class ElideLabel;
class QLabel;
class QProgressBar;
class QPushButton;

namespace upgrade::controls {

/// Second cell of an upgrade row: shows the task's progress, starts the installation when the download is finished,
/// offers to cancel. GUI thread; the service calls block it. The cell can be deleted while its question is open.
class CUpgradeProgress final : public LazyCell
{
    Q_OBJECT
public:
    /// @param info a display row. Starts nothing.
    explicit CUpgradeProgress(const QVariant &info, QWidget *parent = nullptr);

    bool hasEnded = false; ///< kept by the table: reported as ended, and not as running since

    QString spokenText() const override;
    bool canBeCancelled() const;
    int status() const { return m_status; } ///< as last shown, see UpgradeKeys.h

    /// Keeps and shows the row's values; starts nothing.
    void setUpgradeInfo(const QVariant &info);
    /// The same, and starts the installation when the download is finished. There is deliberately no guard against
    /// repetition: the service leaves that state with the call. `this` can be deleted during the call.
    void updateUpgradeInfo(const QVariant &info);
    void focusCancelButton();

    void dealWithDownloading(const QMap<QString, QVariant> &downloadCtrl);
    void dealWithDownloadFinished(const QMap<QString, QVariant> &downloadCtrl);
    void dealWithInstalling(const QMap<QString, QVariant> &downloadCtrl);
    // The table handles these three states: it removes the row, after a report for the errors.
    void dealWithInstallFinished(const QMap<QString, QVariant> &) {}
    void dealWithDownloadError(const QMap<QString, QVariant> &) {}
    void dealWithInstallError(const QMap<QString, QVariant> &) {}

    /// Asks the service to stop the task, without asking the user.
    void cancelDownloadTask();

public slots:
    void onCancelDownloadClicked() { emit cancelDownload(QVariantMap(m_downloadCtrl)); }

signals:
    void cancelDownload(QVariant info); // the current "downloadCtrl" map; the receiver may delete this cell

protected:
    void build() override;

private:
    QString softName() const;
    void initWidgetUI();
    void initTopWidget(QWidget *top);
    void initBottomWidget(QWidget *bottom);
    QPushButton *cancelButton(QWidget *parent);

    void showInfo();
    void showState(int status, const QMap<QString, QVariant> &downloadCtrl);
    void showBar(int maximum, int value);
    void showCancel(bool shown);
    bool waitForProgramEnd();

    QMap<QString, QVariant> m_downloadCtrl;
    QMap<QString, QVariant> m_installParam;
    QString m_programPath; ///< known when the download is finished
    int m_status = 0;
    bool m_asking = false; ///< the close-the-program question is open

    ElideLabel *m_tip = nullptr; ///< the inner widgets are null until the cell is built
    QLabel *m_percent = nullptr;
    QProgressBar *m_bar = nullptr;
    QPushButton *m_cancel = nullptr;
};

} // namespace upgrade::controls
