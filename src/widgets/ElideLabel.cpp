#include "widgets/ElideLabel.h"
#include <QHelpEvent>
#include <QTextLayout>
#include <QToolTip>

ElideLabel::ElideLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

ElideLabel::ElideLabel(const QString &text, QWidget *parent)
    : ElideLabel(parent)
{
    setFullText(text);
}

void ElideLabel::setMaximumLines(int lines)
{
    m_maximumLines = qMax(1, lines);
    fit();
}

void ElideLabel::setFullText(const QString &text)
{
    m_fullText = text;
    setAccessibleName(text);
    updateGeometry();
    fit();
}

void ElideLabel::setKeptEnd(const QString &end)
{
    m_keptEnd = end;
    fit();
}

QString ElideLabel::toolTipFor(const QString &text)
{
    return QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(text.toHtmlEscaped());
}

QSize ElideLabel::framed(const QSize &text) const
{
    const QMargins margins = contentsMargins();
    const int border = 2 * (margin() + frameWidth());
    return text + QSize(margins.left() + margins.right() + border, margins.top() + margins.bottom() + border);
}

QSize ElideLabel::sizeHint() const
{
    ensurePolished();
    const QRect bounds = fontMetrics().boundingRect(QRect(), Qt::AlignLeft, m_fullText);
    return framed(QSize(qMax(bounds.width(), fontMetrics().horizontalAdvance(m_fullText)) + 1,
                        qMax(bounds.height(), fontMetrics().height())));
}

QSize ElideLabel::minimumSizeHint() const
{
    ensurePolished();
    return framed(QSize(fontMetrics().horizontalAdvance(QStringLiteral("中…")), fontMetrics().height()));
}

bool ElideLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip || toolTip().isEmpty())
        return QLabel::event(event);
    // For no widget: the tool tip of one inherits its style sheet, a transparent ground for instance.
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), toolTip());
    return true;
}

void ElideLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    fit();
}

void ElideLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        fit();
}

void ElideLabel::fit()
{
    const QString shown = fitted(contentsRect().width() - 2 * margin());
    m_elided = shown != m_fullText && shown.contains(QChar(0x2026)) && !m_fullText.isEmpty();
    if (shown != text())
        setText(shown);
    setToolTip(m_elided ? toolTipFor(m_fullText) : QString());
}

// Lines are broken here rather than by the label, so that the last one can end in an ellipsis.
QString ElideLabel::fitted(int width) const
{
    QString flat = m_fullText;
    flat.replace(QLatin1Char('\n'), QLatin1Char(' ')).remove(QLatin1Char('\r'));
    if (m_maximumLines == 1 || fontMetrics().horizontalAdvance(flat) <= width)
        return fontMetrics().elidedText(flat, Qt::ElideRight, width);
    QStringList lines = broken(shortened(flat, width), width);
    if (lines.size() > m_maximumLines) {
        const QString rest = QStringList(lines.mid(m_maximumLines - 1)).join(QString());
        lines = lines.mid(0, m_maximumLines - 1);
        lines << fontMetrics().elidedText(rest, Qt::ElideRight, width);
    }
    return lines.join(QLatin1Char('\n'));
}

// The longest beginning that leaves room for the kept end.
QString ElideLabel::shortened(const QString &flat, int width) const
{
    if (m_keptEnd.isEmpty() || !flat.endsWith(m_keptEnd) || broken(flat, width).size() <= m_maximumLines)
        return flat;
    const auto shortenedTo = [&](int size) { return flat.left(size) + QChar(0x2026) + m_keptEnd; };
    int fits = 0;
    for (int beyond = flat.size() - m_keptEnd.size(); beyond - fits > 1;) {
        const int middle = (fits + beyond) / 2;
        (broken(shortenedTo(middle), width).size() <= m_maximumLines ? fits : beyond) = middle;
    }
    if (fits > 0 && flat.at(fits - 1).isHighSurrogate())
        --fits;
    return shortenedTo(fits);
}

// Into lines, of which the last may be too wide: beyond the permitted number, all is one.
QStringList ElideLabel::broken(const QString &flat, int width) const
{
    QTextLayout layout(flat, font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (lines.size() == m_maximumLines) {
            lines << flat.mid(line.textStart());
            break;
        }
        lines << flat.mid(line.textStart(), line.textLength());
    }
    layout.endLayout();
    return lines;
}
