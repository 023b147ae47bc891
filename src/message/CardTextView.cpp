#include "message/CardTextView.h"

#include "message/MessageCard.h"
#include "widgets/Look.h"
#include "widgets/SafeDocument.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
#include <QtMath>

using namespace tarn::visualized;

namespace {
// Metrics
constexpr int CollapsedLines = 2;
constexpr int MaxLines = 20;
constexpr int LongContent = 8192; // characters; more is taken for long without measuring
constexpr int BarWidth = 6;
// Look
constexpr QRgb TextColor = 0xff4a4a4a;

QString barSheet(const QWidget *w)
{
    return look::thinScrollBars(QString(), BarWidth, QStringLiteral("transparent"), look::BorderGrey, w);
}
void setBody(SafeDocument *document, const QString &content, const QFont &font, int lineHeight)
{
    document->setDefaultFont(font);
    document->setHtml(
        QStringLiteral("<p style='line-height:%1px; width: 100%; white-space: pre-wrap;' >").arg(lineHeight) +
        safehtml::reduce(content, safehtml::card()).text + QStringLiteral("</p>"));
}
} // namespace

int GetLineCount(const QString &text, QTextEdit *edit)
{
    if (!edit)
        return 0;
    SafeDocument other;
    QTextDocument *document = edit->document();
    if (!text.isEmpty()) {
        document = &other;
        setBody(&other, text, edit->font(), QFontMetrics(edit->font()).lineSpacing());
    }
    if (document->isEmpty())
        return 0;
    document->setTextWidth(edit->contentsRect().width()); // the viewport follows only when shown
    document->size();                                     // lays everything out
    int lines = 0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next())
        lines += block.layout()->lineCount();
    return lines;
}

QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label)
{
    return text::elided(text.simplified(), font, label ? label->width() : 0, CollapsedLines);
}

CardTextView::CardTextView(const MessageCard &card, QWidget *parent)
    : QTextEdit(parent)
    , m_document(new SafeDocument(this))
    , m_lineHeight(card.lineHeight())
{
    setDocument(m_document);
    addTextMenu(this);
    connect(m_document, &SafeDocument::pictureRead, this, &CardTextView::grown);
    setObjectName(QStringLiteral("messageView"));
    setFrameShape(QFrame::NoFrame);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFont(card.bodyFont());
    viewport()->setAutoFillBackground(false);
    QPalette colors = palette();
    colors.setColor(QPalette::Text, QColor(TextColor));
    setPalette(colors);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // until it is needed: its sheet costs more than the rest
}

void CardTextView::setContent(const QString &content, const QSize &pictureBox)
{
    m_isLong = content.size() > LongContent;
    if (m_isLong) { // laying it out again for another size would hold the window
        resize(pictureBox.width(), MaxLines * m_lineHeight);
        makeScrollable();
    }
    m_document->showPictures(pictureBox, devicePixelRatioF());
    setBody(m_document, content, font(), m_lineHeight);
}

int CardTextView::fitToWidth(int width)
{
    if (width != this->width())
        resize(width, height());
    if (m_isLong || GetLineCount(QString(), this) > MaxLines) {
        makeScrollable();
        return MaxLines * m_lineHeight;
    }
    return qCeil(document()->size().height());
}

void CardTextView::makeScrollable()
{
    if (verticalScrollBarPolicy() == Qt::ScrollBarAsNeeded)
        return;
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    verticalScrollBar()->setStyleSheet(barSheet(this));
}

void CardTextView::mousePressEvent(QMouseEvent *event)
{
    emit pressed();
    QTextEdit::mousePressEvent(event);
}

void CardTextView::keyPressEvent(QKeyEvent *event)
{
    // Keys that can do nothing here belong to the list; the base class would swallow them.
    const bool movesUpOrDown = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down ||
                               event->key() == Qt::Key_PageUp || event->key() == Qt::Key_PageDown;
    if (movesUpOrDown && verticalScrollBar()->maximum() == 0)
        event->ignore();
    else
        QTextEdit::keyPressEvent(event);
}

// Without the marks that let long words break.
QMimeData *CardTextView::createMimeDataFromSelection() const
{
    auto *copied = new QMimeData;
    copied->setText(textCursor()
                        .selectedText()
                        .replace(QChar::ParagraphSeparator, QLatin1Char('\n'))
                        .replace(QChar::LineSeparator, QLatin1Char('\n'))
                        .remove(QChar(0x200B)));
    return copied;
}
