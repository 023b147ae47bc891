#pragma once
#include <QString>
#include <QWidget>

class NotesBrowser;

/// The contents of one tab of the update notes.
struct struUpgradeInfo
{
    QString name;
    QString installedVersion;
    QString notesFile; ///< local path
    QString newVersion;
};

/// One tab of the update notes: name, versions and the notes file, which is read when the tab is first shown. GUI thread.
class CExplainItem final : public QWidget
{
    Q_OBJECT
public:
    explicit CExplainItem(const struUpgradeInfo &info, QWidget *parent = nullptr);

    /// The rules of all tabs, for the sheet of the window that holds them.
    static QString sheet(const QWidget *w);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void InitUi();
    QWidget *headerLine();

    const struUpgradeInfo m_info;
    NotesBrowser *m_browser = nullptr;
    bool m_started = false;
};
