#include "message/RichTextLabel.h"

#include "widgets/ShownText.h"

#include <QAbstractTextDocumentLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QTextBlock>
#include <QTextLayout>
#include <QtMath>

namespace tarn::visualized {
namespace {
constexpr int MaxAccessibleChars = 2000;
} // namespace

RichTextLabel::RichTextLabel(int width, int maxPictureHeight, QWidget *parent)
    : QLabel(parent)
    , m_width(width)
{
    setFixedWidth(width);
    m_document.showPictures(QSize(width, maxPictureHeight), devicePixelRatioF());
    connect(&m_document, &SafeDocument::pictureRead, this, [this] {
        fitHeight();
        emit heightChanged();
    });
}

int RichTextLabel::heightOfWholeLines(int height) const
{
    if (height >= this->height())
        return this->height();
    qreal bottom = 0;
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        const QTextLayout *layout = block.layout();
        for (int i = 0; i < layout->lineCount(); ++i) {
            const qreal lineBottom = layout->position().y() + layout->lineAt(i).rect().bottom();
            if (lineBottom > height)
                return bottom > 0 ? qCeil(bottom) : height;
            bottom = lineBottom;
        }
    }
    return height;
}

void RichTextLabel::showHtml(const QString &html)
{
    ensurePolished();
    m_document.setDefaultFont(font()); // for text outside of the paragraph that was meant to hold it
    m_document.setHtml(html);
    fitHeight();
    setAccessibleName(text::beginning(m_document.toPlainText(), MaxAccessibleChars));
}

void RichTextLabel::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    drawFrame(&painter); // the ground and the border of a style sheet
    QAbstractTextDocumentLayout::PaintContext context;
    context.clip = event->rect();
    context.palette = palette();
    context.palette.setColor(QPalette::Text, palette().color(foregroundRole()));
    painter.setClipRect(event->rect());
    m_document.documentLayout()->draw(&painter, context);
}

void RichTextLabel::fitHeight()
{
    m_document.setTextWidth(m_width);
    setFixedHeight(qBound(0, qCeil(m_document.size().height()), QWIDGETSIZE_MAX));
}

} // namespace tarn::visualized
