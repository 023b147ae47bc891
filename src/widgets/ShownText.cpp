#include "widgets/ShownText.h"
#include <QFontMetrics>
#include <QTextDocument>
#include <QTextLayout>

namespace tarn::visualized::text {
namespace {

constexpr QChar Ellipsis(0x2026);
constexpr QChar BreakHere(0x200B);

// Up to `most` lines; the last one holds all the rest of the text.
QStringList broken(const QString &text, const QFont &font, int width, int most)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (lines.size() == most - 1) {
            lines << text.mid(line.textStart());
            break;
        }
        lines << text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return lines;
}

} // namespace

QString beginning(const QString &text, int most)
{
    const bool splitsPair = most > 0 && most < text.size() && text.at(most - 1).isHighSurrogate();
    return text.left(splitsPair ? most - 1 : most);
}

QString brief(const QString &text, int most)
{
    return text.size() > most ? beginning(text, most) + Ellipsis : text;
}

QString elided(const QString &text, const QFont &font, int width, int lines)
{
    QString flat = brief(text);
    flat.replace(QLatin1Char('\n'), QLatin1Char(' ')).remove(QLatin1Char('\r'));
    const QFontMetrics metrics(font);
    if (lines <= 1 || flat.isEmpty())
        return metrics.elidedText(flat, Qt::ElideRight, width);
    QStringList result = broken(flat, font, width, lines);
    if (result.size() <= 1)
        return flat;
    result.last() = metrics.elidedText(result.last(), Qt::ElideRight, width);
    return result.join(QLatin1Char('\n'));
}

// Not escaped: a text without any other markup is shown as plain text.
QString literal(const QString &words)
{
    return QString(words)
        .replace(QLatin1Char('<'), QLatin1Char('<') + QString(BreakHere))
        .replace(QLatin1Char('&'), QLatin1Char('&') + QString(BreakHere));
}

QString toolTip(const QString &text)
{
    constexpr int OneLine = 200; // characters; Qt does not wrap plain text
    if (text.size() <= OneLine && !Qt::mightBeRichText(text))
        return text;
    return QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(brief(text).toHtmlEscaped());
}

} // namespace tarn::visualized::text
