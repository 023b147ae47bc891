#include "widgets/SafeHtml.h"

#include "widgets/ShownText.h"
#include "widgets/WebLink.h"

#include <QHash>
#include <QRegularExpression>
#include <QTextDocumentFragment>
#include <QUrl>
#include <QVector>

namespace tarn::visualized::safehtml {
namespace {

constexpr int MaxAttributes = 4096; // characters of one tag; more is no text's
constexpr int MaxEntity = 32;       // characters, "&CounterClockwiseContourIntegral;" is the longest
constexpr int MaxSpan = 100;        // columns or rows of a cell
constexpr int MaxPictures = 16;
constexpr int MaxStyles = 65536; // characters of all style sheets
// Every rule is matched against every element, and may look at all of its ancestors.
constexpr qint64 MaxStyledTags = 30 * 1000 * 1000; // characters of the style sheets times tags
constexpr qint64 MaxMatches = 2 * 1000 * 1000;     // selectors times the tags around each tag
constexpr int SmallestFont = 8;                    // pixels
constexpr int LargestFont = 32;
constexpr QChar BreakHere(0x200B);

enum class Kind {
    Inline,
    Block,    // breaks the line
    Item,     // a block that closes the open one of its name
    Void,     // has no content
    Boundary, // a block; an Item inside closes no element outside of it
    Hidden    // is removed with its content
};

struct Element
{
    Kind kind;
    bool Policy::*needs; // null: always kept
};

const QHash<QString, Element> &elements()
{
    static const QHash<QString, Element> table = [] {
        QHash<QString, Element> all;
        const auto add = [&all](Kind kind, bool Policy::*needs, const char *names) {
            for (const QString &name : QString::fromLatin1(names).split(QLatin1Char(' ')))
                all.insert(name, {kind, needs});
        };
        add(Kind::Inline, nullptr, "b strong i em u font span a");
        add(Kind::Inline, &Policy::blocks, "s sub sup small big code tt");
        add(Kind::Inline, &Policy::documents, "cite var dfn kbd samp del nobr");
        add(Kind::Void, nullptr, "br");
        add(Kind::Void, &Policy::blocks, "img");
        add(Kind::Void, &Policy::documents, "hr");
        add(Kind::Block, &Policy::blocks, "div center h1 h2 h3 h4 h5 h6");
        add(Kind::Block, &Policy::documents, "pre blockquote address thead tbody tfoot caption");
        add(Kind::Item, nullptr, "p");
        add(Kind::Item, &Policy::blocks, "li");
        add(Kind::Item, &Policy::documents, "tr td th dt dd");
        add(Kind::Boundary, &Policy::blocks, "ul ol");
        add(Kind::Boundary, &Policy::documents, "table dl");
        add(Kind::Hidden, nullptr, "script title style head"); // the last two stay in documents
        return all;
    }();
    return table;
}

bool isNameChar(QChar c)
{
    return c.unicode() < 128 && c.isLetterOrNumber();
}

// Ideographs and Hangul, between which a line may break anywhere.
bool isIdeograph(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 0x3400 && u <= 0x9FFF) || (u >= 0xAC00 && u <= 0xD7A3);
}

// Entities stay as they are.
QString escaped(const QString &value)
{
    return value.toHtmlEscaped().replace(QLatin1String("&amp;"), QLatin1String("&"));
}

QHash<QString, QString> attributesOf(const QString &source)
{
    static const QRegularExpression attribute(
        QStringLiteral("([\\w-]++)\\s*+(?:=\\s*+(?:\"([^\"]*+)\"?|'([^']*+)'?|([^\\s\"']++)))?"));
    QHash<QString, QString> result;
    if (source.size() > MaxAttributes)
        return result;
    for (auto it = attribute.globalMatch(source); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString name = match.captured(1).toLower();
        if (!result.contains(name))
            result.insert(name, match.captured(2) + match.captured(3) + match.captured(4));
    }
    return result;
}

// A colour or a keyword; else empty.
QString judgedWord(const QString &value)
{
    static const QRegularExpression word(QStringLiteral("^#?[a-zA-Z0-9-]{1,24}$"));
    return word.match(value).hasMatch() ? value : QString();
}

// "12px", "9pt" or "large"; empty when the size is none.
QString boundedFontSize(const QString &value)
{
    static const QRegularExpression size(
        QStringLiteral("^(?:([0-9.]{1,8})(px|pt)|(?:x{0,2}-)?(?:small|large|smaller|larger|medium))$"));
    const QRegularExpressionMatch match = size.match(value);
    if (!match.hasMatch() || match.capturedLength(2) == 0)
        return match.captured();
    const double unit = match.captured(2) == QLatin1String("px") ? 1 : 0.75; // of a pixel at 96 DPI
    const double bounded = qBound(SmallestFont * unit, match.captured(1).toDouble(), LargestFont * unit);
    return QString::number(bounded, 'f', 0) + match.captured(2);
}

// The declarations of a style attribute that stay, each in its judged form.
QString judgedStyle(const QString &style, bool blocks)
{
    static const QStringList words =
        QStringLiteral("font-weight font-style text-decoration color").split(QLatin1Char(' '));
    static const QStringList blockWords = QStringLiteral("background-color text-align").split(QLatin1Char(' '));
    QString result;
    for (const QString &declaration : style.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString name = declaration.section(QLatin1Char(':'), 0, 0).trimmed().toLower();
        QString value = declaration.section(QLatin1Char(':'), 1).trimmed().toLower();
        if (blocks && name == QLatin1String("font-size"))
            value = boundedFontSize(value);
        else
            value = words.contains(name) || (blocks && blockWords.contains(name)) ? judgedWord(value) : QString();
        if (!value.isEmpty())
            result += name + QLatin1Char(':') + value + QLatin1Char(';');
    }
    return result;
}

bool isLocalFile(const QString &source)
{
    const QUrl url(source);
    return source.startsWith(QLatin1Char('/')) ? !source.startsWith(QLatin1String("//"))
                                               : url.isLocalFile() && url.host().isEmpty();
}

// Whether the text from a "&" on begins with an entity. @return its length, 0 if it does not
int entityLength(const QString &text, int at)
{
    for (int i = at + 1; i < text.size() && i - at < MaxEntity; ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char(';'))
            return i - at > 1 ? i - at + 1 : 0;
        if (!isNameChar(c) && c != QLatin1Char('#'))
            return 0;
    }
    return 0;
}

int endOfShown(const QString &text, const Policy &policy)
{
    int taken = 0;
    int end = 0;
    while (end < text.size() && taken < policy.maxChars)
        taken += text.at(end++) == QLatin1Char('\n') ? policy.lineEnd : 1;
    return text::beginning(text, end).size();
}

class Reducer
{
public:
    Reducer(const QString &source, const Policy &policy)
        : m_source(source)
        , m_end(endOfShown(source, policy))
        , m_policy(policy)
    {
        m_result.text.reserve(m_end + m_end / 16);
    }

    // @param mark is appended to a cut text
    Reduced run(const QString &mark)
    {
        int from = 0;
        for (int at = nextTag(from); at < m_end; at = nextTag(from)) {
            addWords(from, at);
            from = readMarkup(at);
        }
        addWords(from, m_end);
        if (!m_policy.blocks && !m_result.isRich)
            addPlainText();
        if (m_end < m_source.size())
            m_result.text += mark;
        while (!m_open.isEmpty())
            closeTop();
        addStyles();
        return m_result;
    }

private:
    bool startsWith(int at, const char *text) const
    {
        return m_source.midRef(at).startsWith(QLatin1String(text), Qt::CaseInsensitive);
    }

    int nextTag(int from) const { return after(m_source.indexOf(QLatin1Char('<'), from), 0); }

    int after(int found, int length) const { return found < 0 ? m_source.size() : found + length; }

    // Reads a tag or a comment. @return the position after it
    int readMarkup(int at)
    {
        if (startsWith(at, "<!--"))
            return after(m_source.indexOf(QLatin1String("-->"), at + 4), 3);
        if (startsWith(at, "<!doctype") || startsWith(at, "<?")) {
            const int end = endOfTag(at + 2);
            if (end >= 0)
                return end + 1;
        }
        const bool closes = startsWith(at, "</");
        const int nameStart = at + (closes ? 2 : 1);
        int nameEnd = nameStart;
        while (nameEnd < m_source.size() && nameEnd - nameStart < MaxEntity && isNameChar(m_source.at(nameEnd)))
            ++nameEnd;
        const bool isName = nameEnd > nameStart && !m_source.at(nameStart).isDigit() && nameEnd < m_source.size() &&
                            (m_source.at(nameEnd).isSpace() || m_source.at(nameEnd) == QLatin1Char('>') ||
                             m_source.at(nameEnd) == QLatin1Char('/'));
        const int end = isName ? endOfTag(nameEnd) : -1;
        if (end < 0) {
            m_result.text += QLatin1String("&lt;");
            return at + 1;
        }
        const QString name = m_source.mid(nameStart, nameEnd - nameStart).toLower();
        if (!closes)
            return openTag(name, m_source.mid(nameEnd, end - nameEnd), end + 1);
        closeTag(name);
        return end + 1;
    }

    // The ">" outside of quotes; a quote that nothing closes is none. -1 when another "<" comes first. Looks at the text
    // up to the next "<" only, so that all searches together read the text twice at most.
    int endOfTag(int from) const
    {
        int firstEnd = -1;
        QChar quote;
        for (int i = from; i < m_source.size(); ++i) {
            const QChar c = m_source.at(i);
            if (c == QLatin1Char('<'))
                break;
            if (c == QLatin1Char('>') && quote.isNull())
                return i;
            if (c == QLatin1Char('>') && firstEnd < 0)
                firstEnd = i;
            if (quote.isNull() && (c == QLatin1Char('"') || c == QLatin1Char('\'')))
                quote = c;
            else if (c == quote)
                quote = QChar();
        }
        return firstEnd;
    }

    // @return the position after the tag, and after its content when that is not shown
    int openTag(const QString &name, const QString &attributes, int end)
    {
        const auto found = elements().constFind(name);
        if (found == elements().constEnd())
            return end;
        const Element element = *found;
        if (element.kind == Kind::Hidden)
            return skipHidden(name, end);
        const bool isKept =
            name == QLatin1String("a") ? m_policy.links != Links::None : !element.needs || m_policy.*element.needs;
        if (!isKept) {
            if (name == QLatin1String("tr"))
                m_result.text += QLatin1String("<br>");
            else if (name == QLatin1String("td") || name == QLatin1String("th"))
                m_result.text += QLatin1Char(' ');
            return end;
        }
        if (element.kind == Kind::Item)
            closeOpen(name);
        else if (element.kind == Kind::Block || element.kind == Kind::Boundary)
            closeOpen(QStringLiteral("p"));
        if (element.kind != Kind::Inline)
            m_unbroken = 0;
        if (++m_tags > m_policy.maxTags || m_open.size() >= m_policy.maxOpen) {
            m_result.isFlattened = true;
            if (element.kind != Kind::Inline)
                m_result.text += QLatin1Char('\n');
            return end;
        }
        if (name == QLatin1String("img")) {
            const QString source = attributesOf(attributes).value(QStringLiteral("src"));
            if ((!m_policy.documents && !isLocalFile(source)) || ++m_pictures > MaxPictures)
                return end;
        }
        m_result.isRich = true;
        m_depths += m_open.size() + 1;
        m_result.text += QLatin1Char('<') + name + judgedAttributes(name, attributes) + QLatin1Char('>');
        if (element.kind != Kind::Void)
            m_open.append(name);
        return end;
    }

    void closeTag(const QString &name)
    {
        const int found = m_open.lastIndexOf(name);
        if (found < 0)
            return;
        if (elements().value(name).kind != Kind::Inline)
            m_unbroken = 0;
        while (m_open.size() > found)
            closeTop();
    }

    void closeTop() { m_result.text += QLatin1String("</") + m_open.takeLast() + QLatin1Char('>'); }

    // An item that its successor ends: "<li>a<li>b".
    void closeOpen(const QString &name)
    {
        for (int i = m_open.size() - 1; i >= 0; --i) {
            const Kind kind = elements().value(m_open.at(i)).kind;
            if (m_open.at(i) == name)
                return closeTag(name);
            if (kind == Kind::Boundary || kind == Kind::Block)
                return;
        }
    }

    int skipHidden(const QString &name, int from)
    {
        if (m_policy.documents && name == QLatin1String("head"))
            return from;
        const int found = m_source.indexOf(QLatin1String("</") + name, from, Qt::CaseInsensitive);
        if (m_policy.documents && name == QLatin1String("style") &&
            found >= 0) // without "<": Qt takes "<!--" for a comment
            m_styles += QLatin1String("<style>") + m_source.mid(from, found - from).remove(QLatin1Char('<')) +
                        QLatin1String("</style>");
        return found < 0 ? m_source.size() : after(m_source.indexOf(QLatin1Char('>'), found), 1);
    }

    void addStyles()
    {
        const qint64 selectors = m_styles.count(QLatin1Char('{')) + m_styles.count(QLatin1Char(','));
        m_result.isUnstyled = m_styles.size() > MaxStyles || m_styles.size() * qint64{m_tags} > MaxStyledTags ||
                              selectors * m_depths > MaxMatches;
        if (!m_result.isUnstyled)
            m_result.text.prepend(m_styles);
    }

    QString judgedAttributes(const QString &name, const QString &source)
    {
        QString result;
        if (source.size() < 2)
            return result;
        const QHash<QString, QString> given = attributesOf(source);
        const auto add = [&result](const QString &key, const QString &value) {
            if (!value.isEmpty())
                result += QLatin1Char(' ') + key + QLatin1String("=\"") + escaped(value) + QLatin1Char('"');
        };
        if (name == QLatin1String("a"))
            add(QStringLiteral("href"), judgedLink(given.value(QStringLiteral("href"))));
        if (m_policy.documents) {
            static const QStringList whole =
                QStringLiteral(
                    "style class id name align valign width height bgcolor color face size border type start "
                    "cellspacing cellpadding src")
                    .split(QLatin1Char(' '));
            for (const QString &key : whole)
                add(key, given.value(key));
            for (const QString &key : {QStringLiteral("colspan"), QStringLiteral("rowspan")}) {
                if (const int span = given.value(key).toInt())
                    add(key, QString::number(qBound(0, span, MaxSpan)));
            }
            return result;
        }
        if (name == QLatin1String("img"))
            add(QStringLiteral("src"), given.value(QStringLiteral("src")));
        QString style = judgedStyle(given.value(QStringLiteral("style")), m_policy.blocks);
        const QString colour = judgedWord(given.value(QStringLiteral("color")));
        if (!colour.isEmpty() && !(QLatin1Char(';') + style).contains(QLatin1String(";color:")))
            style.prepend(QLatin1String("color:") + colour + QLatin1Char(';'));
        add(QStringLiteral("style"), style);
        if (m_policy.blocks)
            add(QStringLiteral("align"), judgedWord(given.value(QStringLiteral("align"))));
        if (m_policy.blocks && name == QLatin1String("font"))
            add(QStringLiteral("size"), given.value(QStringLiteral("size")).left(2));
        return result;
    }

    QString judgedLink(const QString &address)
    {
        const QString plain = QString(address).replace(QLatin1String("&amp;"), QLatin1String("&"));
        const bool isGood = m_policy.links == Links::Any || !weblink::target(plain).isEmpty();
        m_result.hasLink = m_result.hasLink || (isGood && !address.isEmpty());
        return isGood ? address : QString();
    }

    void addWords(int from, int to)
    {
        int i = from;
        const auto copy = [&](int end) {
            m_result.text += m_source.midRef(from, end - from);
            from = end;
        };
        for (; i < to; ++i) {
            const QChar c = m_source.at(i);
            if (!m_policy.blocks && c == QLatin1Char('\r') && startsWith(i, "\r\n")) {
                copy(i);
                m_result.text += QLatin1String("<br>");
                m_unbroken = 0;
                from = ++i + 1;
                continue;
            }
            if (c == QLatin1Char('&'))
                i += qMax(0, entityLength(m_source, i) - 1);
            if (needsBreakAfter(c)) {
                copy(i + 1);
                m_result.text += BreakHere;
            }
        }
        copy(i);
    }

    void addPlainText()
    {
        m_result.text.clear();
        m_unbroken = 0;
        for (const QChar c : m_source.left(m_end)) {
            m_result.text += c;
            if (needsBreakAfter(c))
                m_result.text += BreakHere;
        }
        m_result.text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    }

    // The layout takes quadratic time over a run that it cannot break, and a box grows as wide as its longest one.
    bool needsBreakAfter(QChar c)
    {
        m_unbroken = isIdeograph(c) || c.isSpace() ? 0 : m_unbroken + 1;
        if (m_unbroken < m_policy.longWord || c.isHighSurrogate())
            return false;
        m_unbroken = 0;
        return true;
    }

    const QString &m_source;
    const int m_end; // a tag or an entity that begins before it is read as a whole
    const Policy &m_policy;
    Reduced m_result;
    QVector<QString> m_open;
    QString m_styles;
    qint64 m_depths = 0; // of all tags together
    int m_tags = 0;
    int m_pictures = 0;
    int m_unbroken = 0; // characters since the last place where a line may break
};

} // namespace

Reduced reduce(const QString &text, const Policy &policy)
{
    return Reducer(text, policy).run(QStringLiteral("……"));
}

QString words(const QString &text, int length)
{
    // Text may begin with markup; more than this is not looked at.
    constexpr int FirstLook = 4096;
    constexpr int SecondLook = 65536;
    Policy policy = card();
    policy.maxTags = 1000;
    policy.lineEnd = 1;
    for (const int look : {FirstLook, SecondLook}) {
        policy.maxChars = qMax(look, length);
        const Reduced reduced = Reducer(text, policy).run(QString());
        QString plain = reduced.isRich || reduced.text.contains(QLatin1Char('&'))
                            ? QTextDocumentFragment::fromHtml(reduced.text).toPlainText()
                            : reduced.text;
        plain = plain.remove(BreakHere).remove(QChar::ObjectReplacementCharacter).simplified();
        if (!plain.isEmpty() || text.size() <= look)
            return text::beginning(plain, length);
    }
    return QString();
}

} // namespace tarn::visualized::safehtml
