#pragma once
#include <QTextBrowser>
#include <memory>

/// Shows release notes. Links are followed: web links in the system's browser, links to other local notes files here.
/// Like the notes themselves, such files are read only if they are regular ones, and nothing they refer to is fetched.
/// GUI thread.
class NotesBrowser final : public QTextBrowser
{
    Q_OBJECT
public:
    explicit NotesBrowser(QWidget *parent);
    ~NotesBrowser() override;

    void setNotes(std::shared_ptr<QTextDocument> document);

    QVariant loadResource(int type, const QUrl &name) override;

private:
    std::shared_ptr<QTextDocument> m_notes;
};
