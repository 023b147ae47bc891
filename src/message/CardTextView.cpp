#include "message/CardTextView.h"

#include "message/CardText.h"
#include "message/MessageCard.h"
#include "widgets/Look.h"
#include "widgets/SafeDocument.h"
#include "widgets/TextMenu.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QtMath>

namespace {
// Metrics
constexpr int MaxLines = 20;
constexpr int LongContent = 8192; // characters; more is taken for long without measuring
constexpr int BarWidth = 6;
// Look
constexpr QRgb TextColor = 0xff4a4a4a;

QString barSheet(const QWidget *w)
{
    return look::thinScrollBars(QString(), BarWidth, QStringLiteral("transparent"), look::BorderGrey, w);
}
} // namespace

CardTextView::CardTextView(const MessageCard &card, QWidget *parent)
    : QTextEdit(parent)
    , m_document(new tarn::visualized::SafeDocument(this))
    , m_lineHeight(card.lineHeight())
{
    setDocument(m_document);
    tarn::visualized::addTextMenu(this);
    connect(m_document, &tarn::visualized::SafeDocument::pictureRead, this, &CardTextView::grown);
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
    m_document->showPictures(pictureBox, devicePixelRatioF());
    cardtext::setBody(m_document, content, font(), m_lineHeight);
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
