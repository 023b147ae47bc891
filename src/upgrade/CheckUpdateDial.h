#pragma once
#include "widgets/WindowDrag.h"
#include <QDialog>
#include <QMap>
#include <QMutex>
#include <QSharedPointer>
#include <QVariantMap>
#include <optional>

class CUpdateItem;
class CustomTitleBar;
class IUpgaredSoftInfoService_InputParam;
class QVBoxLayout;
class TypingGuard;

/// The prompt in the lower right corner of the screen: one row per product with something new, the newest first. GUI
/// thread; the manager makes it with WA_DeleteOnClose and is told when it closes.
class CCheckUpdateDial : public QDialog
{
    Q_OBJECT
public:
    explicit CCheckUpdateDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent = nullptr);

    /// Where the user has put the window; nothing while it stands where it came up.
    std::optional<QPoint> userPlace() const;
    /// Takes a place that an earlier prompt had, as far as it is still on a screen.
    void setUserPlace(const QPoint &place);

    /// Asks, right before an update starts, whether the product still has a new version.
    bool CheckNewVersionAgain(const QString &name);
    /// Fills the request of that question. Deliberately always false: this system cannot describe a single installed
    /// product, so the check fails and the row goes with a log line.
    virtual bool InitInputParamByRegedit(const QString &name, QSharedPointer<IUpgaredSoftInfoService_InputParam> param);
    /// Asks the upgrade service not to offer the version again (the name is the system's own).
    void DoIgnreUpdate(QString name, QString version);

    void reject() override; ///< Escape closes like the close button

signals:
    void ShowExplain(QString strName);

public slots:
    void OnUpdateExplainClicked(QString strName); // a row's "立即升级"; the names are crossed, see CUpdateItem
    void OnDoNotPromptClicked(QString strName, QString strVersion); // a row's "更新说明"
    void OnNotUpdateTemporarily();                                  // "全部忽略": the slot's name is kept
    void OnUpdateImmediately();                                     // "软件管理": the slot's name is kept

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void InitDialog();
    QWidget *titleBand(QWidget *body);
    QWidget *adviceLine(QWidget *body);
    QWidget *rowArea(QWidget *body);
    void sortRecords();
    void addRows(int count);
    void addPendingRows();
    void addRow(const QVariantMap &record, QVBoxLayout *list);
    QWidget *bottomBand(QWidget *body);
    void placeInCorner();
    void startDownload(const QString &name);
    void removeProduct(const QString &name);

    const QSharedPointer<IUpgaredSoftInfoService_InputParam> m_param;
    QVBoxLayout *m_list = nullptr;
    QList<QVariant> m_pending;           ///< sorted records whose rows are still to be made
    QMap<QString, CUpdateItem *> m_rows; ///< by product name; the row area owns the rows
    QMap<QString, QMap<QString, QVariant>> m_records;
    QMap<QString, QString> m_bitness;
    QMutex m_noticeLock; ///< guards m_noticeShowing against re-entry from the notice's event loop
    bool m_noticeShowing = false;
    WindowDrag m_drag{this};
    QPoint m_place; ///< where it came up
};
