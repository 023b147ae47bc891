#include "widgets/ElideLabel.h"
#include "widgets/ShownText.h"
#include <QHelpEvent>
#include <QToolTip>

namespace text = tarn::visualized::text;

namespace {
constexpr QChar Ellipsis(0x2026);
}

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
    setAccessibleName(text::brief(text));
    updateGeometry();
    fit();
}

void ElideLabel::setKeptEnd(const QString &end)
{
    m_keptEnd = end;
    fit();
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
    QString whole = measured();
    if (m_maximumLines == 1)
        whole = text::elided(whole, font(), QWIDGETSIZE_MAX); // without its line ends
    const QRect bounds = fontMetrics().boundingRect(QRect(), Qt::AlignLeft, whole);
    return framed(QSize(qMax(bounds.width(), fontMetrics().horizontalAdvance(whole)) + 1,
                        qMax(bounds.height(), fontMetrics().height())));
}

QSize ElideLabel::minimumSizeHint() const
{
    ensurePolished();
    return framed(QSize(fontMetrics().horizontalAdvance(QStringLiteral("中…")), fontMetrics().height()));
}

bool ElideLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && !toolTip().isEmpty()) {
        // For no widget: the tool tip of one inherits its style sheet, a transparent ground for instance.
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), toolTip());
        return true;
    }
    const bool isTaken = QLabel::event(event);
    if (event->type() == QEvent::Resize || event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        fit();
    return isTaken;
}

void ElideLabel::fit()
{
    const QString shown = fitted(contentsRect().width() - 2 * margin());
    const bool isElided = shown != m_fullText && shown.contains(Ellipsis);
    if (shown != text())
        setText(shown);
    setToolTip(isElided ? text::toolTip(m_fullText) : QString());
}

// The text as far as it is measured, with the kept end.
QString ElideLabel::measured() const
{
    if (m_keptEnd.isEmpty() || !m_fullText.endsWith(m_keptEnd))
        return text::brief(m_fullText);
    return text::brief(m_fullText.left(m_fullText.size() - m_keptEnd.size())) + m_keptEnd;
}

QString ElideLabel::fitted(int width) const
{
    const QString whole = measured();
    const auto shown = [&](const QString &part) { return text::elided(part, font(), width, m_maximumLines); };
    QString result = shown(whole);
    if (m_keptEnd.isEmpty() || !whole.endsWith(m_keptEnd) || !result.endsWith(Ellipsis))
        return result;
    // The longest beginning that leaves room for the kept end.
    const auto shortenedTo = [&](int size) { return shown(text::beginning(whole, size) + Ellipsis + m_keptEnd); };
    int fits = 0;
    for (int beyond = whole.size() - m_keptEnd.size(); beyond - fits > 1;) {
        const int middle = (fits + beyond) / 2;
        (shortenedTo(middle).endsWith(Ellipsis) ? beyond : fits) = middle;
    }
    return shortenedTo(fits);
}
