// Files with update notes: read on a worker thread, laid out on the GUI thread.
#include "fuzz/Target.h"
#include "upgrade/NotesFile.h"
#include <QAbstractTextDocumentLayout>
#include <QFont>
#include <QTextDocument>
#include <QThread>

using namespace tarn::visualized;

TARN_FUZZ_TARGET("notes")
{
    const tarn::fuzz::Scratch scratch;
    const auto text = notes::readFile(scratch.file("notes.html", input));
    if (!text)
        return;
    notes::makeBeginning(*text, QFont(), QThread::currentThread());
    const auto document = notes::makeDocument(*text, QFont(), QThread::currentThread());
    document->setTextWidth(600);
    document->documentLayout()->hitTest(QPointF(0, 400), Qt::FuzzyHit); // the rest is laid out in steps
}
