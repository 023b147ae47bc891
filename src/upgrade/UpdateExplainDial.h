#pragma once
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "widgets/ToolDialog.h"
#include <QSharedPointer>
#include <QVariantMap>

class QPushButton;
class QTabWidget;

/// The release notes of everything that is new for one product, one tab each, and the decision to update or not. GUI
/// thread; the manager creates it with WA_DeleteOnClose, calls InitDialog() and is notified when it closes.
class CUpdateExplainDial : public tarn::visualized::ToolDialog
{
    Q_OBJECT
public:
    /// @param param its list must hold exactly one update record
    explicit CUpdateExplainDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent = nullptr);

    virtual void InitDialog();
    /// False: closing asks nothing. A question that is open is withdrawn, since the dialog is about to be replaced.
    void SetTipFlag(bool flag);
    /// Whether closing asks about the patch of the installed version.
    bool NeedUpdateCurPatch() const;
    QString GetSoftIconPath(const QString &name) const;

    // Steps in which the notes of the installed version's patch differ.
    virtual void InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record);
    virtual int CalTabbarWidth() const; ///< pixels
    virtual void connectUpdateBtn(QPushButton *button);

public slots:
    void OnUpdateAhead();             // "立即更新"
    void OnDoNotUpdate() { close(); } // "暂不更新"

protected:
    void closeEvent(QCloseEvent *event) override;

    /// Whether the request has exactly one record; when it has not, logs an error under the name of the calling function.
    bool hasRecord(const char *function) const;
    /// That record; empty, with the same log line, when there is not exactly one.
    QVariantMap record(const char *function) const { return hasRecord(function) ? m_record : QVariantMap(); }
    // Empty sections have no tab.
    void addExplainItems(QTabWidget *tabs, QList<QVariantMap> sections);
    int tabbarWidth(QList<QVariantMap> sections) const; ///< pixels
    /// Whether the window can appear while the user works elsewhere.
    virtual bool isUnasked() const;
    void tellManagerClosed() const;

private:
    QWidget *tabArea();
    QWidget *bottomBand();
    QString productName() const;

    const QSharedPointer<IUpgaredSoftInfoService_InputParam> m_param;
    QVariantMap m_record; ///< the one of the request; empty when there is not exactly one
    bool m_tipFlag = true;
    bool m_asking = false;   ///< the patch question is open
    bool m_replaced = false; ///< meanwhile the manager has registered another dialog for the product
};
