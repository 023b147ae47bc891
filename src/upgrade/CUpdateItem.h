#pragma once
#include <QVariantMap>
#include <QWidget>

class QBoxLayout;
class QLabel;

/// The background of a row: an event filter on the row gives it a blue border while the row is the one clicked last. It
/// lies under the row's contents instead of around them, so that its sheets, which have no selector, reach nothing else.
class CSelectWidget final : public QWidget
{
    Q_OBJECT
public:
    explicit CSelectWidget(QWidget *row);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

/// One row of the check-update prompt: a product with something new. GUI thread.
class CUpdateItem final : public QWidget
{
    Q_OBJECT
public:
    /// @param record software update record of the product
    explicit CUpdateItem(QMap<QString, QVariant> record, QWidget *parent = nullptr);

    /// The red line under the name; empty when neither the product nor a patch nor a plug-in is new.
    QString GetTipsString() const;
    /// @param version always receives the empty string, deliberately: nothing fills the version, so "全部忽略" ignores
    ///        the empty version
    void GetUpdateInfo(QString &name, QString &version) const
    {
        name = m_name;
        version = m_version;
    }
    void SetContainPlus(bool containPlus) { m_containPlus = containPlus; }

    /// The rules of all rows, for the sheet of the window that holds them.
    static QString sheet();

signals:
    // The names are crossed on purpose and kept: "立即升级" raises the first, "更新说明" the second.
    void UpdateExplainClicked(QString strName);
    void DoNotPromptClicked(QString strName, QString strVersion);

public slots:
    void OnUpdateExplainClicked() { emit UpdateExplainClicked(m_name); }
    void OnDoNotPromptClicked() { emit DoNotPromptClicked(m_name, m_version); }

private:
    void InitUi();
    QBoxLayout *textColumn();
    void addButton(QBoxLayout *row, const QString &text, const char *objectName, void (CUpdateItem::*slot)());
    QLabel *line(const QString &text, const char *objectName, int fontPx);

    const QMap<QString, QVariant> m_record;
    const QString m_name;
    QString m_version;
    bool m_containPlus = false;
};
