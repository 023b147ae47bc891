#include "widgets/MessageText.h"
#include <QRegularExpression>
#include <QTextDocumentFragment>
#include <limits>

namespace messagetext {
namespace {

constexpr int MaxShown = 10000; // characters; beyond, laying out takes seconds
constexpr int LongWord = 24;    // a run without a place to break is given one after as many characters
constexpr int LongEntity = 12;  // "&thetasym;" and the like
constexpr QChar BreakHere(0x200B);

const QString LineEnd = QStringLiteral("\r\n");

QString attribute(const QString &attributes, const QString &name)
{
    const QRegularExpression pattern(QStringLiteral("\\b%1\\s*=\\s*(\"([^\"]*)\"|'([^']*)'|([^\\s\"'>]+))").arg(name),
                                     QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(attributes);
    return match.captured(2) + match.captured(3) + match.captured(4);
}

// "color" of a font tag or of a style, as long as it is a plain colour.
QString colourOf(const QString &attributes)
{
    static const QRegularExpression inStyle(QStringLiteral("(?:^|;)\\s*color\\s*:\\s*([^;]+)"));
    static const QRegularExpression plain(QStringLiteral("^(#[0-9A-Fa-f]{3,8}|[A-Za-z]+)$"));
    const QString style = inStyle.match(attribute(attributes, QStringLiteral("style"))).captured(1).trimmed();
    const QString colour = style.isEmpty() ? attribute(attributes, QStringLiteral("color")) : style;
    return plain.match(colour).hasMatch() ? colour : QString();
}

// A tag made anew from the little that is allowed; empty for any other.
QString cleanTag(const QString &name, const QString &attributes, bool closing)
{
    static const QStringList allowed = {QStringLiteral("a"),  QStringLiteral("b"),    QStringLiteral("i"),
                                        QStringLiteral("u"),  QStringLiteral("font"), QStringLiteral("p"),
                                        QStringLiteral("br"), QStringLiteral("span"), QStringLiteral("strong"),
                                        QStringLiteral("em")};
    if (!allowed.contains(name))
        return QString();
    if (closing)
        return QStringLiteral("</%1>").arg(name);
    QString tag = QLatin1Char('<') + name;
    const QString link = name == QLatin1String("a") ? attribute(attributes, QStringLiteral("href")) : QString();
    if (!link.isEmpty())
        tag += QStringLiteral(" href=\"") + QString(link).replace(QLatin1Char('"'), QStringLiteral("&quot;")) +
               QLatin1Char('"');
    const QString colour = colourOf(attributes);
    if (!colour.isEmpty())
        tag += QStringLiteral(" style=\"color:") + colour + QLatin1Char('"');
    return tag + QLatin1Char('>');
}

// Breakable, with line ends as tags; entities stay whole.
QString cleanRun(const QString &run, int *unbroken)
{
    QString out;
    int entity = 0; // characters since an ampersand that may begin one
    for (const QChar c : run) {
        if (c == QLatin1Char('&'))
            entity = LongEntity;
        else if (entity > 0)
            entity = c == QLatin1Char(';') ? 0 : entity - 1;
        *unbroken = c.isSpace() || c.unicode() >= 0x2E80 ? 0 : *unbroken + 1;
        out += c;
        if (*unbroken >= LongWord && entity == 0 && !c.isHighSurrogate()) {
            *unbroken = 0;
            out += BreakHere;
        }
    }
    return out;
}

// Only a tag that we would keep makes a text rich: "a < b && c > d" is none.
bool isRich(const QString &text)
{
    static const QRegularExpression kept(QStringLiteral("<(a|b|i|u|font|p|br|span|strong|em)(\\s[^<>]*)?/?>"),
                                         QRegularExpression::CaseInsensitiveOption);
    return text.contains(kept);
}

Shown shownRich(const QString &text)
{
    static const QRegularExpression tag(QStringLiteral("<(/?)([A-Za-z][A-Za-z0-9]*)((?:\\s[^<>]*)?)/?>"));
    Shown result;
    result.rich = true;
    int unbroken = 0;
    int from = 0;
    const auto addRun = [&](int to) {
        QString run = text.mid(from, to - from);
        run.replace(QLatin1Char('<'), QStringLiteral("&lt;"));
        result.text += cleanRun(run, &unbroken).replace(LineEnd, QStringLiteral("<br>"));
    };
    auto matches = tag.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        addRun(match.capturedStart());
        const QString clean = cleanTag(match.captured(2).toLower(), match.captured(3), !match.captured(1).isEmpty());
        result.hasLink = result.hasLink || clean.startsWith(QLatin1String("<a href"));
        result.text += clean;
        from = match.capturedEnd();
    }
    addRun(text.size());
    return result;
}

} // namespace

int measuredHeight(const QString &text, const QFontMetrics &metrics)
{
    const QStringList sections = text.split(LineEnd);
    const int n = sections.size() - 1;
    qint64 lines = n + 2;
    for (int i = 0; i < n; i++) {
        const int width = metrics.boundingRect(sections.at(i)).width();
        if (width > 225)
            lines += width / 220;
    }
    return int(qMin<qint64>(lines * metrics.lineSpacing(), std::numeric_limits<int>::max()));
}

Shown shown(const QString &text)
{
    QString part = text;
    if (part.size() > MaxShown)
        part = part.left(MaxShown) + QStringLiteral("……");
    if (isRich(part))
        return shownRich(part);
    Shown result;
    int unbroken = 0;
    result.text = cleanRun(part, &unbroken).replace(LineEnd, QStringLiteral("\n"));
    return result;
}

QString brief(const QString &text)
{
    constexpr int MaxBrief = 1000;
    return text.size() > MaxBrief ? text.left(MaxBrief) + QChar(0x2026) : text;
}

QString literal(const QString &words)
{
    QString result = words; // not escaped: a text without any other markup stays plain
    for (const char begin : {'<', '&'})
        result.replace(QLatin1Char(begin), QLatin1Char(begin) + QString(BreakHere));
    return result;
}

QString spoken(const QString &text)
{
    const Shown part = shown(text);
    QString words = part.rich ? QTextDocumentFragment::fromHtml(part.text).toPlainText() : part.text;
    return words.remove(BreakHere);
}

} // namespace messagetext
