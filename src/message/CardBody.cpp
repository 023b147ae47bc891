#include "message/CardBody.h"

#include "message/LinkLabel.h"
#include "message/MessageCard.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/SafeDocument.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"

#include <QAbstractTextDocumentLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTextBlock>
#include <QTextEdit>
#include <QtMath>

using namespace tarn::visualized;

namespace {
constexpr int MaxLines = 20;
constexpr int LongContent = 8192; // characters; more is taken for long without measuring

QString barSheet(const QWidget *w)
{
    return look::thinScrollBars(QString(), 6, QStringLiteral("transparent"), look::BorderGrey, w);
}

QString linkLook()
{
    return QStringLiteral("color:%1;text-decoration:underline;").arg(look::TextBlue);
}

void setBody(SafeDocument *document, const QString &content, const QFont &font, int lineHeight)
{
    document->setDefaultFont(font);
    document->setHtml(
        QStringLiteral("<p style='line-height:%1px; width: 100%; white-space: pre-wrap;' >").arg(lineHeight) +
        safehtml::reduce(content, safehtml::card()).text + QStringLiteral("</p>"));
}

int linesOf(QTextDocument *document, int width)
{
    if (document->isEmpty())
        return 0;
    if (document->textWidth() != width)
        document->setTextWidth(width);
    document->size(); // lays everything out
    int lines = 0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next())
        lines += block.layout()->lineCount();
    return lines;
}
} // namespace

int GetLineCount(const QString &text, QTextEdit *edit)
{
    if (!edit)
        return 0;
    const int width = edit->contentsRect().width(); // the viewport follows only when shown
    if (text.isEmpty())
        return linesOf(edit->document(), width);
    SafeDocument other;
    setBody(&other, text, edit->font(), QFontMetrics(edit->font()).lineSpacing());
    return linesOf(&other, width);
}

QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label)
{
    constexpr int Lines = 2;
    return text::elided(text.simplified(), font, label ? label->width() : 0, Lines);
}

/// Shows a message's text, to be read, selected and copied; a long one scrolls inside.
class CardTextView final : public QTextEdit
{
public:
    CardTextView(CMessageListItem *item, const MessageCard &card, const QSize &pictureBox, QWidget *parent)
        : QTextEdit(parent)
        , m_item(item)
        , m_document(new SafeDocument(this))
        , m_isLong(item->message().MsgContent.size() > LongContent)
        , m_lineHeight(card.lineHeight())
    {
        addTextMenu(this);
        setObjectName(QStringLiteral("messageView"));
        setAccessibleName(text::brief(item->message().MsgTitle));
        setFrameShape(QFrame::NoFrame);
        setReadOnly(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // until it is needed: its sheet costs more than the rest
        setFont(card.bodyFont());
        viewport()->setAutoFillBackground(false);
        QPalette colors = look::palette();
        colors.setColor(QPalette::Text, QColor(0x4A4A4A));
        setPalette(colors);
        resize(pictureBox.width(), MaxLines * m_lineHeight);
        setDocument(m_document);
        setLineWrapMode(FixedPixelWidth); // in the other modes each resizing lays the text out again
        wrap();
        if (m_isLong)
            makeScrollable();
        m_document->showPictures(pictureBox, devicePixelRatioF());
        const QSignalBlocker quiet(m_document->documentLayout()); // the edit would answer by laying it out again
        setBody(m_document, item->message().MsgContent, font(), m_lineHeight);
    }

    const SafeDocument *safeDocument() const { return m_document; }

    /// Takes the width. @return pixels that the text wants then, at most those of twenty lines
    int fitToWidth(int width)
    {
        if (width != this->width()) {
            resize(width, height());
            wrap();
        }
        // To count the lines again would lay the text out below its scroll bar.
        const bool scrolls = verticalScrollBarPolicy() == Qt::ScrollBarAsNeeded;
        if (scrolls || m_isLong || GetLineCount(QString(), this) > MaxLines) {
            makeScrollable();
            return MaxLines * m_lineHeight;
        }
        return qCeil(document()->size().height());
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        m_item->select();
        QTextEdit::mousePressEvent(event);
    }

    void keyPressEvent(QKeyEvent *event) override
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
    QMimeData *createMimeDataFromSelection() const override
    {
        auto *copied = new QMimeData;
        copied->setText(textCursor()
                            .selectedText()
                            .replace(QChar::ParagraphSeparator, QLatin1Char('\n'))
                            .replace(QChar::LineSeparator, QLatin1Char('\n'))
                            .remove(QChar(0x200B)));
        return copied;
    }

private:
    void makeScrollable()
    {
        if (verticalScrollBarPolicy() == Qt::ScrollBarAsNeeded)
            return;
        setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        verticalScrollBar()->setStyleSheet(barSheet(this));
        wrap();
    }

    void wrap()
    {
        const bool hasBar = verticalScrollBarPolicy() == Qt::ScrollBarAsNeeded;
        setLineWrapColumnOrWidth(width() - (hasBar ? verticalScrollBar()->sizeHint().width() : 0));
    }

    CMessageListItem *m_item;
    SafeDocument *m_document;
    const bool m_isLong; // too long to be measured
    const int m_lineHeight;
};

CardBody::CardBody(CMessageListItem *item, const MessageCard &card, int width)
    : QWidget(item)
    , m_item(item)
    , m_card(card)
    , m_view(new CardTextView(item, card, QSize(width, card.maxPictureHeight()), this))
{
    setObjectName(QStringLiteral("messageBody"));
    connect(m_view->safeDocument(), &SafeDocument::pictureRead, this, &CardBody::grow);
    buildLink();
    readPicture(width);
}

int CardBody::fitToWidth(int width)
{
    if (width == m_fittedWidth)
        return height();
    int bottom = 0;
    const auto place = [this, &bottom](QWidget *part, const QSize &size) {
        const int top = bottom > 0 ? bottom + m_card.gap() : 0;
        part->setGeometry(QRect(QPoint(0, top), size));
        bottom = top + size.height();
    };
    place(m_view, QSize(width, m_view->fitToWidth(width)));
    if (m_picture) {
        const QPixmap pixmap = m_picture->pixmap(Qt::ReturnByValue);
        const QSize size = pixmap.size() / pixmap.devicePixelRatio();
        place(m_picture, size.width() > width ? size.scaled(width, size.height(), Qt::KeepAspectRatio) : size);
    }
    if (m_link) {
        m_link->setFixedWidth(width);
        m_link->showLink(CreateAbbreviationString(m_link->accessibleName(), m_link->font(), m_link),
                         m_item->message().LinkAdress, linkLook());
        place(m_link, QSize(width, m_link->heightForWidth(width)));
    }
    resize(width, bottom);
    m_fittedWidth = width;
    return bottom;
}

QWidgetList CardBody::tabStops() const
{
    QWidgetList stops{m_view};
    if (m_link)
        stops.append(m_link);
    return stops;
}

void CardBody::buildLink()
{
    const sMsgData &message = m_item->message();
    if (message.LinkAdress.isEmpty() && message.LinkText.isEmpty())
        return;
    m_link = look::named(new LinkLabel(this), "messageLink");
    m_link->setFont(m_card.bodyFont());
    look::setTextColor(m_link, Qt::black); // of an address that is not a link
    m_link->setAccessibleName(text::brief(message.LinkText.isEmpty() ? message.LinkAdress : message.LinkText));
    m_link->setAccessibleDescription(text::brief(message.LinkAdress));
    m_link->setToolTip(text::toolTip(message.LinkAdress));
    connect(m_link, &QLabel::linkActivated, m_item, &CMessageListItem::OnlinkActivated);
}

void CardBody::readPicture(int width)
{
    const sMsgData &message = m_item->message();
    if (message.PicFilePath.isEmpty())
        return;
    QSize box(width, m_card.maxPictureHeight());
    if (message.PhotoWidth > 0)
        box.setWidth(qMin(box.width(), message.PhotoWidth));
    if (message.PhotoHight > 0)
        box.setHeight(qMin(box.height(), message.PhotoHight));
    picture::readLater(this, message.PicFilePath, box, devicePixelRatioF(),
                       [this](const QImage &image) { showPicture(image); });
}

void CardBody::showPicture(const QImage &image)
{
    if (image.isNull())
        return;
    m_picture = look::named(new QLabel(this), "messagePicture");
    m_picture->setAccessibleName(QStringLiteral("图片"));
    m_picture->setPixmap(QPixmap::fromImage(image));
    m_picture->setScaledContents(true);
    m_picture->show();
    grow();
}

void CardBody::grow()
{
    m_fittedWidth = -1;
    m_item->rearrange();
}
