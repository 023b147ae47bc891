#include "message/RichText.h"
#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QTextBlock>
#include <QTextLayout>
#include <QtMath>

namespace {
// More than any text shows in few lines, and little enough to be laid out at once.
constexpr int MaxPlainChars = 500;
constexpr int MaxAccessibleChars = 2000;
} // namespace

QVariant CRichText::Document::loadResource(int type, const QUrl &)
{
    return type == ImageResource ? QVariant(QImage()) : QVariant(QString());
}

CRichText::CRichText(int width, QWidget *parent)
    : QWidget(parent)
    , m_width(width)
{
    m_document.setDocumentMargin(0);
    m_document.setUndoRedoEnabled(false);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    m_document.setDefaultTextOption(option);
    setFixedWidth(width);
}

int CRichText::heightOfWholeLines(int height) const
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

void CRichText::showHtml(const QString &html, const QFont &font)
{
    m_document.setDefaultFont(font); // for what stands outside of the paragraph that was meant to hold it
    m_document.setHtml(html);
    fitHeight();
    setAccessibleName(m_document.toPlainText().left(MaxAccessibleChars));
}

void CRichText::showPlain(const QString &text, const QFont &font, int maxLines)
{
    const QString line = text.left(MaxPlainChars).simplified();
    m_document.setDefaultFont(font);
    m_document.setPlainText(line);
    fitHeight();
    int end = lastVisibleChar(maxLines);
    const bool cut = end > 0;
    while (end > 0) {
        --end;
        m_document.setPlainText(line.left(end).trimmed() + QStringLiteral("…"));
        fitHeight();
        if (lastVisibleChar(maxLines) < 0)
            break;
    }
    setAccessibleName(text.left(MaxAccessibleChars));
    setToolTip(cut ? line.toHtmlEscaped() : QString());
}

void CRichText::paintEvent(QPaintEvent *e)
{
    QPainter painter(this);
    QAbstractTextDocumentLayout::PaintContext context;
    context.clip = e->rect();
    context.palette = palette();
    context.palette.setColor(QPalette::Text, Qt::black);
    painter.setClipRect(e->rect());
    m_document.documentLayout()->draw(&painter, context);
}

void CRichText::fitHeight()
{
    m_document.setTextWidth(m_width);
    setFixedHeight(qBound(0, qCeil(m_document.size().height()), QWIDGETSIZE_MAX));
}

int CRichText::lastVisibleChar(int maxLines) const
{
    const QTextLayout *layout = m_document.firstBlock().layout();
    if (layout->lineCount() <= maxLines)
        return -1;
    const QTextLine line = layout->lineAt(maxLines - 1);
    return line.textStart() + line.textLength();
}
