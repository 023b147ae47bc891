#pragma once
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "widgets/WindowDrag.h"
#include <QDialog>
#include <QSharedPointer>
#include <QVariantMap>
#include <optional>

class IUpgradeServiceAssistant;
class QPushButton;
class QTabWidget;

/// The release notes of everything that is new for one product, one tab each, and the decision to update or not. GUI
/// thread; the manager makes it with WA_DeleteOnClose, calls InitDialog() and is told when it closes.
class CUpdateExplainDial : public QDialog
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

    // The three steps in which the notes of the installed version's patch differ.
    virtual void InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record);
    virtual int CalTabbarWidth() const; ///< pixels
    virtual void connectUpdateBtn(QPushButton *button);

    void reject() override; ///< Escape closes like the close button

public slots:
    void OnUpdateAhead(); // "立即更新"
    void OnDoNotUpdate(); // "暂不更新"

protected:
    void closeEvent(QCloseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

    /// The one record of the request; nothing, with a log line, when there is not exactly one.
    std::optional<QVariantMap> record() const;
    QString productName() const; ///< empty without a valid record; logs nothing
    void addExplainItem(QTabWidget *tabs, const QVariantMap &section);
    int tabbarWidth(const QStringList &titles) const;
    /// Has the service start the download of these parts of the record.
    void download(const QVariantMap &values, const QStringList &keys) const;
    void tellManagerClosed() const;

private:
    QWidget *titleBand();
    QWidget *tabArea();
    QWidget *bottomBand();
    bool askForPatch();

    const QSharedPointer<IUpgaredSoftInfoService_InputParam> m_param;
    QTabWidget *m_tabs = nullptr;
    WindowDrag m_drag{this};
    bool m_tipFlag = true;
    bool m_asking = false;   ///< the patch question is open
    bool m_replaced = false; ///< while it was, another dialog has taken this one's place with the manager
};
