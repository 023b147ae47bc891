#include "upgrade/NotesBrowser.h"
#include "base/Log.h"
#include "base/WorkPool.h"
#include "upgrade/NotesFile.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include "widgets/WebLink.h"
#include <QKeyEvent>
#include <QTextDocument>
#include <QThread>
#include <QUrl>

using namespace tarn::visualized;

namespace {
constexpr int MaxPages = 8; // that can be returned to
} // namespace

NotesBrowser::NotesBrowser(QWidget *parent)
    : QTextBrowser(parent)
{
    setOpenLinks(false); // the base class would read local pages on this thread and start a program for any scheme
    addTextMenu(this);
    connect(this, &QTextBrowser::anchorClicked, this, &NotesBrowser::follow);
}

NotesBrowser::~NotesBrowser()
{
    setDocument(nullptr); // before the document is destroyed
}

void NotesBrowser::load(const QString &path, const QString &anchor)
{
    using Document = std::shared_ptr<QTextDocument>;
    const int asked = ++m_asked;
    const auto read = [path, pageFont = font(), owner = thread()](const WorkCancel &) {
        return notes::load(path, pageFont, owner);
    };
    outsideWork().run(this, read, [this, asked, path, anchor](const Document &document) {
        if (asked != m_asked)
            return;
        if (!document) {
            emit unreadable();
            return;
        }
        m_pages.append({path, document});
        if (m_pages.size() > MaxPages)
            m_pages.removeFirst();
        showPage(m_pages.last());
        scrollToAnchor(anchor);
    });
}

void NotesBrowser::showPage(const Page &page)
{
    setDocument(page.document.get());
    setTextCursor(QTextCursor(page.document.get()));
}

void NotesBrowser::follow(const QUrl &address)
{
    if (!address.scheme().isEmpty() && !address.isLocalFile()) {
        if (!weblink::open(address.toString()))
            VT_LOG(warning) << QStringLiteral("更新说明中的链接未打开：%1").arg(text::brief(address.toString()));
        return;
    }
    const QString page = m_pages.isEmpty() ? QString() : m_pages.last().path;
    const QUrl target = QUrl::fromLocalFile(page).resolved(address);
    if (target.toLocalFile() == page)
        scrollToAnchor(target.fragment());
    else
        load(target.toLocalFile(), target.fragment());
}

void NotesBrowser::keyPressEvent(QKeyEvent *event)
{
    if (!event->matches(QKeySequence::Back))
        return QTextBrowser::keyPressEvent(event);
    ++m_asked; // a page that is still loading is not wanted any more
    if (m_pages.size() < 2)
        return;
    const Page left = m_pages.takeLast(); // destroyed when its successor is shown
    showPage(m_pages.last());
}
