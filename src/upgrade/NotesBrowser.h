#pragma once
#include <QTextBrowser>
#include <QVector>
#include <memory>

/// Shows release notes. Links to other local notes files are followed here (Alt+Left returns), relative ones from the
/// folder of the page; web and mail addresses are opened by the desktop, every other address is ignored. A file that
/// cannot be read leaves the page as it is. A long page is shown by its beginning first, and laid out in steps of some
/// milliseconds. GUI thread.
class NotesBrowser final : public QTextBrowser
{
    Q_OBJECT
public:
    explicit NotesBrowser(QWidget *parent);
    ~NotesBrowser() override;

    /// Loads a page on a worker thread and shows it, unless another one was asked for meanwhile.
    /// @param path a local file
    /// @param anchor scrolls there; may be empty
    void load(const QString &path, const QString &anchor = QString());

    QVariant loadResource(int, const QUrl &) override { return {}; } // pages fetch nothing

signals:
    void unreadable(); ///< the file that was asked for last cannot be shown

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private slots:
    void follow(const QUrl &address);

private:
    struct Page
    {
        QString path;
        std::shared_ptr<QTextDocument> document;
        bool isWhole = true; ///< else the document has the beginning only
    };

    void complete(const std::shared_ptr<QTextDocument> &beginning, const QString &text);
    void showPage(const QString &anchor = QString(), int top = 0);
    void goToPlace();

    QVector<Page> m_pages; ///< the shown one last, before it those to return to
    QString m_anchor;      ///< to scroll to as soon as the whole page is laid out
    int m_top = 0;         ///< to scroll to as soon as the page is laid out that far
    int m_asked = 0;       ///< number of the last load
};
