#pragma once
#include <QFutureWatcher>
#include <QString>
#include <QWidget>
#include <memory>

class NotesBrowser;
class QLabel;
class QTextDocument;

/// What one tab of the update notes shows.
struct struUpgradeInfo
{
    QString name;
    QString installedVersion;
    QString notesFile; ///< local path
    QString newVersion;
};

/// One tab of the update notes: name, versions and the notes file. The file is read when the tab is first seen, and read
/// and formatted on a worker thread, so that a large one holds up nothing. GUI thread.
class CExplainItem final : public QWidget
{
    Q_OBJECT
public:
    explicit CExplainItem(const struUpgradeInfo &info, QWidget *parent = nullptr);
    ~CExplainItem() override;

    /// The rules of all tabs, for the sheet of the window that holds them.
    static QString sheet(const QWidget *w);

protected:
    void showEvent(QShowEvent *event) override;

private slots:
    void onNotesLoaded();

private:
    void InitUi();
    QWidget *headerLine();
    void startLoading();

    const struUpgradeInfo m_info;
    NotesBrowser *m_browser = nullptr;
    QFutureWatcher<std::shared_ptr<QTextDocument>> *m_loading = nullptr; ///< while the notes are being read
    bool m_started = false;
};
