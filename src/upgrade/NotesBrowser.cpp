#include "upgrade/NotesBrowser.h"
#include "upgrade/NotesFile.h"
#include <QTextDocument>
#include <QUrl>
#include <utility>

NotesBrowser::NotesBrowser(QWidget *parent)
    : QTextBrowser(parent)
{
    setOpenLinks(true);
    setOpenExternalLinks(true);
}

NotesBrowser::~NotesBrowser()
{
    setDocument(nullptr); // before the document goes
}

void NotesBrowser::setNotes(std::shared_ptr<QTextDocument> document)
{
    setDocument(document.get());
    m_notes = std::move(document);
}

QVariant NotesBrowser::loadResource(int type, const QUrl &name)
{
    if (type != QTextDocument::HtmlResource || !name.isLocalFile())
        return {};
    return notes::readFile(name.toLocalFile()).value_or(QString());
}
