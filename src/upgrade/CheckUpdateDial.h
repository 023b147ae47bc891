#pragma once
#include "widgets/ToolDialog.h"
#include <QMutex>
#include <QSharedPointer>
#include <QVariantMap>
#include <optional>

class CUpdateItem;
class IUpgaredSoftInfoService_InputParam;
class QScrollArea;
class QVBoxLayout;

/// The prompt in the lower right corner of the screen: one row per product with something new, the newest first. GUI
/// thread; the manager creates it with WA_DeleteOnClose and is notified when it closes.
class CCheckUpdateDial : public tarn::visualized::ToolDialog
{
    Q_OBJECT
public:
    explicit CCheckUpdateDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent = nullptr);

    /// The place to which the user has moved the window; nothing while it is where it came up.
    std::optional<QPoint> userPlace() const;
    /// Takes a place that an earlier prompt had, as far as it is still on a screen.
    void setUserPlace(const QPoint &place);

    /// Asks, right before an update starts, whether the product still has a new version.
    bool CheckNewVersionAgain(const QString &name);
    /// Fills the request of that question. Deliberately always false: the check fails, and the row is removed.
    bool InitInputParamByRegedit(const QString &name, QSharedPointer<IUpgaredSoftInfoService_InputParam> param);
    /// Asks the upgrade service not to offer the version again (the name is the system's own).
    void DoIgnreUpdate(QString name, QString version);

signals:
    void ShowExplain(QString strName);

public slots:
    void OnUpdateExplainClicked(QString strName); // a row's "立即升级"; the names are crossed, see CUpdateItem
    void OnDoNotPromptClicked(QString strName, QString strVersion); // a row's "更新说明"
    void OnNotUpdateTemporarily();                                  // "全部忽略": the slot's name is kept
    void OnUpdateImmediately();                                     // "软件管理": the slot's name is kept

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void InitDialog();
    QWidget *adviceLine(QWidget *body);
    QWidget *rowArea(QWidget *body);
    void takeRecords();
    void addRows(int most);
    QWidget *addRow(const QVariantMap &record);
    QWidget *bottomBand(QWidget *body);
    void startDownload(const char *function, const QString &name);
    void removeProduct(const QString &name);

    const QSharedPointer<IUpgaredSoftInfoService_InputParam> m_param;
    QScrollArea *m_rowArea = nullptr;
    QVBoxLayout *m_list = nullptr;
    QWidget *m_lastStop = nullptr;       ///< of Tab among the rows
    QStringList m_pending;               ///< names in the order of the list whose rows are not created yet
    QMap<QString, CUpdateItem *> m_rows; ///< by product name, null while pending; the row area owns the rows
    QMap<QString, QMap<QString, QVariant>> m_records;
    QMutex m_noticeLock; ///< guards m_noticeShowing against re-entry from the notice's event loop
    bool m_noticeShowing = false;
    QPoint m_place; ///< where it came up
};
