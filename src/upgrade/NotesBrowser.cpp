#include "upgrade/NotesBrowser.h"
#include "base/Log.h"
#include "base/WorkPool.h"
#include "upgrade/NotesFile.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include "widgets/WebLink.h"
#include <QAbstractEventDispatcher>
#include <QAbstractTextDocumentLayout>
#include <QDeadlineTimer>
#include <QKeyEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QThread>
#include <QUrl>
#include <algorithm>
#include <utility>

using namespace tarn::visualized;

namespace {
constexpr int MaxPages = 8; // that can be returned to
constexpr int StepMs = 8;
constexpr int LongPage = 5000; // characters, more than fit into the window

// The first paragraph whose lines are not laid out yet; an invalid one at the end. The layout proceeds from the top.
QTextBlock nextToLayOut(const QTextDocument &document)
{
    int laidOut = 0;
    for (int step = 1 << 24; step > 0; step /= 2) {
        const QTextBlock block = document.findBlockByNumber(laidOut + step - 1);
        if (block.isValid() && block.layout()->lineCount() > 0)
            laidOut += step;
    }
    return document.findBlockByNumber(laidOut);
}

// Whether the event is for the layout's next step; its other timer reports the new size at once.
bool isNextStep(const QEvent &event, QObject *layout)
{
    if (event.type() != QEvent::Timer)
        return false;
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(layout);
    return std::any_of(timers.cbegin(), timers.cend(), [&](const auto &timer) {
        return timer.timerId == static_cast<const QTimerEvent &>(event).timerId() && timer.interval > 0;
    });
}
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
    struct Loaded
    {
        std::shared_ptr<QTextDocument> document; // null when the file cannot be read
        QString wholeText;                       // when the document has the page's beginning only
    };
    const int asked = ++m_asked;
    const auto read = [path, pageFont = font(), owner = thread()](const WorkCancel &) -> Loaded {
        const std::optional<QString> text = notes::readFile(path);
        if (!text)
            return {};
        if (const auto beginning = notes::makeBeginning(*text, pageFont, owner))
            return {beginning, *text};
        return {notes::makeDocument(*text, pageFont, owner), {}};
    };
    outsideWork().run(this, read, [this, asked, path, anchor](const Loaded &loaded) {
        if (asked != m_asked)
            return;
        if (!loaded.document) {
            emit unreadable();
            return;
        }
        m_pages.append({path, loaded.document, loaded.wholeText.isEmpty()});
        if (m_pages.size() > MaxPages)
            m_pages.removeFirst();
        showPage(anchor);
        if (!loaded.wholeText.isEmpty())
            complete(loaded.document, loaded.wholeText);
    });
}

// Replaces the beginning of a page by the whole page, also when another page is shown by then.
void NotesBrowser::complete(const std::shared_ptr<QTextDocument> &beginning, const QString &text)
{
    const auto make = [text, pageFont = font(), owner = thread()](const WorkCancel &) {
        return notes::makeDocument(text, pageFont, owner);
    };
    outsideWork().run(this, make, [this, beginning](const std::shared_ptr<QTextDocument> &document) {
        const auto isBeginning = [&beginning](const Page &page) { return page.document == beginning; };
        const auto page = std::find_if(m_pages.begin(), m_pages.end(), isBeginning);
        if (page == m_pages.end())
            return;
        page->document = document;
        page->isWhole = true;
        if (page + 1 != m_pages.end())
            return;
        const QTextCursor before = textCursor();
        showPage(m_anchor, verticalScrollBar()->value());
        if (!before.hasSelection() || before.selectionEnd() >= document->characterCount())
            return;
        QTextCursor selection(document.get());
        selection.setPosition(before.anchor());
        selection.setPosition(before.position(), QTextCursor::KeepAnchor);
        setTextCursor(selection);
    });
}

// Shows the last page.
void NotesBrowser::showPage(const QString &anchor, int top)
{
    m_anchor = anchor;
    m_top = top;
    QTextDocument *document = m_pages.last().document.get();
    document->documentLayout()->installEventFilter(this);
    if (document->characterCount() > LongPage)
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // appearing later it would have the page laid out again
    setDocument(document);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setTextCursor(QTextCursor(document));
    goToPlace();
}

// Qt would lay the page out in steps that grow up to 200,000 characters, half a second of work.
bool NotesBrowser::eventFilter(QObject *watched, QEvent *event)
{
    const QAbstractTextDocumentLayout *layout = document()->documentLayout();
    if (watched != layout || !isNextStep(*event, watched))
        return QTextBrowser::eventFilter(watched, event);
    const QDeadlineTimer end(StepMs);
    bool proceeds = true;
    while (proceeds && !end.hasExpired()) {
        const QTextBlock block = nextToLayOut(*document());
        layout->blockBoundingRect(block);
        proceeds = nextToLayOut(*document()) != block;
    }
    goToPlace();
    return proceeds || QTextBrowser::eventFilter(watched, event); // at the end, or if a paragraph gets no lines
}

// An anchor not before the page is laid out: Qt would lay everything above it out in one go.
void NotesBrowser::goToPlace()
{
    const bool isLaidOut = !nextToLayOut(*document()).isValid();
    if (m_top > 0 && (isLaidOut || verticalScrollBar()->maximum() >= m_top))
        verticalScrollBar()->setValue(std::exchange(m_top, 0));
    if (!m_anchor.isEmpty() && m_pages.last().isWhole && isLaidOut)
        scrollToAnchor(std::exchange(m_anchor, QString()));
}

// QTextBrowser looks for the next link in the whole page, which would lay it out in one go.
bool NotesBrowser::focusNextPrevChild(bool next)
{
    return nextToLayOut(*document()).isValid() ? QWidget::focusNextPrevChild(next)
                                               : QTextBrowser::focusNextPrevChild(next);
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
    if (target.toLocalFile() != page)
        return load(target.toLocalFile(), target.fragment());
    m_anchor = target.fragment();
    goToPlace();
}

void NotesBrowser::keyPressEvent(QKeyEvent *event)
{
    if (!event->matches(QKeySequence::Back))
        return QTextBrowser::keyPressEvent(event);
    ++m_asked; // a page that is still loading is not wanted any more
    if (m_pages.size() < 2)
        return;
    const Page left = m_pages.takeLast(); // destroyed when its successor is shown
    showPage();
}
