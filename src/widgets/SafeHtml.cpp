#include "widgets/SafeHtml.h"

#include "widgets/WebLink.h"

#include <QHash>
#include <QTextDocumentFragment>
#include <QUrl>
#include <QVector>

#include <algorithm>

namespace tarn::visualized::safehtml {
namespace {

constexpr int MaxAttributes = 4096; // characters of one tag; more is no text's
constexpr int MaxEntity = 32;       // characters, "&CounterClockwiseContourIntegral;" is the longest
constexpr int MaxSpan = 100;        // columns or rows of a cell
constexpr int MaxPictures = 16;
constexpr int MaxStyleSheet = 65536; // characters
constexpr int SmallestFont = 8;      // pixels
constexpr int LargestFont = 32;
constexpr QChar BreakHere(0x200B);

enum class Kind {
    Inline,
    Block,    // breaks the line
    Item,     // a block that closes the open one of its name
    Void,     // has no content
    Boundary, // a block in which Items start afresh
    Hidden    // goes with its content
};

enum class Needs { Nothing, Blocks, Pictures, Links, Documents };

struct Element
{
    Kind kind;
    Needs needs;
};

const QHash<QString, Element> &elements()
{
    static const QHash<QString, Element> table = [] {
        QHash<QString, Element> t;
        const auto add = [&t](std::initializer_list<const char *> names, Kind kind, Needs needs) {
            for (const char *name : names)
                t.insert(QString::fromLatin1(name), {kind, needs});
        };
        add({"b", "strong", "i", "em", "u", "font", "span"}, Kind::Inline, Needs::Nothing);
        add({"s", "sub", "sup", "small", "big", "code", "tt"}, Kind::Inline, Needs::Blocks);
        add({"cite", "var", "dfn", "kbd", "samp", "del", "nobr"}, Kind::Inline, Needs::Documents);
        add({"a"}, Kind::Inline, Needs::Links);
        add({"p"}, Kind::Item, Needs::Nothing);
        add({"br"}, Kind::Void, Needs::Nothing);
        add({"img"}, Kind::Void, Needs::Pictures);
        add({"hr"}, Kind::Void, Needs::Documents);
        add({"div", "center", "h1", "h2", "h3", "h4", "h5", "h6"}, Kind::Block, Needs::Blocks);
        add({"pre", "blockquote", "address"}, Kind::Block, Needs::Documents);
        add({"li"}, Kind::Item, Needs::Blocks);
        add({"ul", "ol"}, Kind::Boundary, Needs::Blocks);
        add({"tr", "td", "th", "dt", "dd"}, Kind::Item, Needs::Documents);
        add({"table", "dl"}, Kind::Boundary, Needs::Documents);
        add({"thead", "tbody", "tfoot", "caption"}, Kind::Block, Needs::Documents);
        add({"script", "title"}, Kind::Hidden, Needs::Nothing);
        add({"style", "head"}, Kind::Hidden, Needs::Documents); // stay in documents
        return t;
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

QString escaped(const QString &value)
{
    return QString(value)
        .replace(QLatin1Char('"'), QLatin1String("&quot;"))
        .replace(QLatin1Char('<'), QLatin1String("&lt;"))
        .replace(QLatin1Char('>'), QLatin1String("&gt;"));
}

// Name, "=" and value; the value with or without quotes.
QHash<QString, QString> attributesOf(const QString &source)
{
    QHash<QString, QString> result;
    const int size = source.size();
    if (size > MaxAttributes)
        return result;
    const auto skipSpace = [&](int &i) {
        while (i < size && source.at(i).isSpace())
            ++i;
    };
    for (int i = 0; i < size;) {
        const int start = i;
        while (i < size && (isNameChar(source.at(i)) || source.at(i) == QLatin1Char('-')))
            ++i;
        const QString name = source.mid(start, i - start).toLower();
        skipSpace(i);
        QString value;
        if (i < size && source.at(i) == QLatin1Char('=')) {
            skipSpace(++i);
            const QChar quote = i < size ? source.at(i) : QChar();
            int end = i;
            if (quote == QLatin1Char('"') || quote == QLatin1Char('\'')) {
                end = source.indexOf(quote, ++i);
                end = end < 0 ? size : end;
                value = source.mid(i, end - i);
                ++end;
            } else {
                while (end < size && !source.at(end).isSpace())
                    ++end;
                value = source.mid(i, end - i);
            }
            i = end;
        }
        if (!name.isEmpty() && !result.contains(name))
            result.insert(name, value);
        i = qMax(i, start + 1);
    }
    return result;
}

bool isPlainColour(const QString &value)
{
    const int hash = value.startsWith(QLatin1Char('#')) ? 1 : 0;
    return value.size() > hash && value.size() <= 24 && std::all_of(value.begin() + hash, value.end(), isNameChar);
}

bool isPlainWord(const QString &value)
{
    return !value.isEmpty() && value.size() <= 20 &&
           std::all_of(value.begin(), value.end(), [](QChar c) { return isNameChar(c) || c == QLatin1Char('-'); });
}

// "12px", "9pt" or "large"; empty when the size is none.
QString boundedFontSize(const QString &value)
{
    for (const auto &[unit, perPixel] : {std::pair("px", 1.0), std::pair("pt", 0.75)}) {
        if (!value.endsWith(QLatin1String(unit)))
            continue;
        bool isNumber = false;
        const double size = value.leftRef(value.size() - 2).toDouble(&isNumber);
        if (!isNumber)
            return QString();
        return QString::number(qBound(SmallestFont * perPixel, size, LargestFont * perPixel), 'f', 0) +
               QLatin1String(unit);
    }
    static const QStringList words{QStringLiteral("small"),    QStringLiteral("medium"),  QStringLiteral("large"),
                                   QStringLiteral("x-large"),  QStringLiteral("x-small"), QStringLiteral("xx-small"),
                                   QStringLiteral("xx-large"), QStringLiteral("smaller"), QStringLiteral("larger")};
    return words.contains(value) ? value : QString();
}

// The declarations of a style attribute that stay, each in its judged form.
QString judgedStyle(const QString &style, bool blocks)
{
    QString result;
    for (const QString &declaration : style.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const int colon = declaration.indexOf(QLatin1Char(':'));
        const QString name = declaration.left(colon).trimmed().toLower();
        QString value = colon < 0 ? QString() : declaration.mid(colon + 1).trimmed().toLower();
        bool stays = false;
        if (name == QLatin1String("color"))
            stays = isPlainColour(value);
        else if (name == QLatin1String("font-weight") || name == QLatin1String("font-style") ||
                 name == QLatin1String("text-decoration"))
            stays = isPlainWord(value);
        else if (name == QLatin1String("background-color"))
            stays = blocks && isPlainColour(value);
        else if (name == QLatin1String("text-align"))
            stays = blocks && isPlainWord(value);
        else if (name == QLatin1String("font-size"))
            stays = blocks && !(value = boundedFontSize(value)).isEmpty();
        if (stays)
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

QString boundedNumber(const QString &value, int most)
{
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    return isNumber ? QString::number(qBound(0, number, most)) : QString();
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

// Not within a surrogate pair, an entity or a tag.
QString cut(const QString &text, int length)
{
    if (text.size() <= length)
        return text;
    int end = head(text, length).size();
    const int ampersand = text.lastIndexOf(QLatin1Char('&'), end - 1);
    if (ampersand > end - MaxEntity && ampersand >= 0 && ampersand + entityLength(text, ampersand) > end)
        end = ampersand;
    const int opened = end > 0 ? text.lastIndexOf(QLatin1Char('<'), end - 1) : -1;
    const bool isInTag = opened > end - MaxAttributes && opened >= 0 && opened + 1 < text.size() &&
                         (isNameChar(text.at(opened + 1)) || text.at(opened + 1) == QLatin1Char('/')) &&
                         text.midRef(opened, end - opened).indexOf(QLatin1Char('>')) < 0;
    return text.left(isInTag ? opened : end);
}

class Reducer
{
public:
    Reducer(const QString &source, const Policy &policy)
        : m_source(source)
        , m_policy(policy)
    {
        m_result.text.reserve(source.size() + source.size() / 16);
    }

    Reduced run()
    {
        int from = 0;
        for (int at = m_source.indexOf(QLatin1Char('<')); at >= 0; at = m_source.indexOf(QLatin1Char('<'), from)) {
            addWords(from, at);
            from = readMarkup(at);
        }
        addWords(from, m_source.size());
        while (!m_open.isEmpty())
            closeTop();
        if (m_policy.plain && !m_result.isRich)
            addPlainText();
        return m_result;
    }

private:
    bool startsWith(int at, const char *text) const
    {
        return m_source.midRef(at).startsWith(QLatin1String(text), Qt::CaseInsensitive);
    }

    int after(int found, int length) const { return found < 0 ? m_source.size() : found + length; }

    // Reads what a "<" opens. @return the position after it
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
        if (closes)
            closeTag(name);
        else
            return openTag(name, m_source.mid(nameEnd, end - nameEnd), end + 1);
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

    bool keeps(const Element &element) const
    {
        switch (element.needs) {
        case Needs::Nothing:
            return true;
        case Needs::Blocks:
            return m_policy.blocks;
        case Needs::Pictures:
            return m_policy.pictures && m_pictures < MaxPictures;
        case Needs::Links:
            return m_policy.links != Links::None;
        case Needs::Documents:
            return m_policy.documents;
        }
        return false;
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
        if (!keeps(element)) {
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
            if (!m_policy.documents && !isLocalFile(source))
                return end;
            ++m_pictures;
        }
        m_result.isRich = true;
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
        const QString closing = QLatin1String("</") + name;
        if (m_policy.documents && name == QLatin1String("head"))
            return from;
        const int found = m_source.indexOf(closing, from, Qt::CaseInsensitive);
        const int end = found < 0 ? m_source.size() : after(m_source.indexOf(QLatin1Char('>'), found), 1);
        if (m_policy.documents && name == QLatin1String("style") && found >= 0 && found - from <= MaxStyleSheet)
            m_result.text += QLatin1String("<style>") + m_source.mid(from, found - from).remove(QLatin1Char('<')) +
                             QLatin1String("</style>"); // "<!--" would hide tags from the parser
        return end;
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
            addLink(given.value(QStringLiteral("href")), add);
        if (m_policy.documents) {
            static const QStringList whole{
                QStringLiteral("style"),       QStringLiteral("class"),       QStringLiteral("id"),
                QStringLiteral("name"),        QStringLiteral("align"),       QStringLiteral("valign"),
                QStringLiteral("width"),       QStringLiteral("height"),      QStringLiteral("bgcolor"),
                QStringLiteral("color"),       QStringLiteral("face"),        QStringLiteral("size"),
                QStringLiteral("border"),      QStringLiteral("type"),        QStringLiteral("start"),
                QStringLiteral("cellspacing"), QStringLiteral("cellpadding"), QStringLiteral("src"),
            };
            for (const QString &key : whole)
                add(key, given.value(key));
            for (const char *key : {"colspan", "rowspan"})
                add(QLatin1String(key), boundedNumber(given.value(QLatin1String(key)), MaxSpan));
            return result;
        }
        if (name == QLatin1String("img"))
            add(QStringLiteral("src"), given.value(QStringLiteral("src")));
        QString style = judgedStyle(given.value(QStringLiteral("style")), m_policy.blocks);
        const QString colour = given.value(QStringLiteral("color"));
        if (isPlainColour(colour) && !(QLatin1Char(';') + style).contains(QLatin1String(";color:")))
            style.prepend(QLatin1String("color:") + colour + QLatin1Char(';'));
        add(QStringLiteral("style"), style);
        if (m_policy.blocks) {
            const QString align = given.value(QStringLiteral("align"));
            add(QStringLiteral("align"), isPlainWord(align) ? align : QString());
            const QString size = name == QLatin1String("font") ? given.value(QStringLiteral("size")) : QString();
            add(QStringLiteral("size"), size.size() <= 2 ? size : QString());
        }
        return result;
    }

    template <class Add>
    void addLink(const QString &address, Add add)
    {
        const QString plain = QString(address).replace(QLatin1String("&amp;"), QLatin1String("&"));
        if (address.isEmpty() || (m_policy.links == Links::Web && weblink::target(plain).isEmpty()))
            return;
        add(QStringLiteral("href"), address);
        m_result.hasLink = true;
    }

    void addWords(int from, int to)
    {
        for (int i = from; i < to; ++i) {
            const QChar c = m_source.at(i);
            if (m_policy.lineEnds && c == QLatin1Char('\r') && startsWith(i, "\r\n") && i + 1 < to) {
                m_result.text += QLatin1String("<br>");
                m_unbroken = 0;
                ++i;
                continue;
            }
            const int entity = c == QLatin1Char('&') ? entityLength(m_source, i) : 0;
            if (entity > 0) {
                m_result.text += m_source.midRef(i, entity);
                i += entity - 1;
            } else {
                m_result.text += c;
            }
            countUnbroken(c);
        }
    }

    void addPlainText()
    {
        m_result.text.clear();
        m_unbroken = 0;
        for (const QChar c : m_source) {
            m_result.text += c;
            countUnbroken(c);
        }
        if (m_policy.lineEnds)
            m_result.text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    }

    // The layout takes quadratic time over a run that it cannot break, and a box grows as wide as its longest one.
    void countUnbroken(QChar c)
    {
        m_unbroken = c.isSpace() || isIdeograph(c) ? 0 : m_unbroken + 1;
        if (m_policy.longWord > 0 && m_unbroken >= m_policy.longWord && !c.isHighSurrogate()) {
            m_result.text += BreakHere;
            m_unbroken = 0;
        }
    }

    const QString &m_source;
    const Policy &m_policy;
    Reduced m_result;
    QVector<QString> m_open;
    int m_tags = 0;
    int m_pictures = 0;
    int m_unbroken = 0; // characters since the last place where a line may break
};

} // namespace

Policy box()
{
    Policy policy;
    policy.maxChars = 10000;
    policy.longWord = 24;
    policy.plain = true;
    policy.lineEnds = true;
    policy.links = Links::Web;
    return policy;
}

Policy notice()
{
    Policy policy = card();
    policy.maxChars = 20000;
    return policy;
}

Policy card()
{
    Policy policy;
    policy.maxChars = 1 << 20;
    policy.blocks = true;
    policy.pictures = true;
    return policy;
}

Policy notes()
{
    Policy policy = card();
    policy.maxChars = 2 << 20;
    policy.maxOpen = 200;
    policy.documents = true;
    policy.links = Links::Any;
    return policy;
}

Reduced reduce(const QString &text, const Policy &policy)
{
    QString source = cut(text, policy.maxChars);
    if (source.size() < text.size())
        source += QStringLiteral("……");
    return Reducer(source, policy).run();
}

QString words(const QString &text, int length)
{
    // Text may begin with markup; more than this is not looked at.
    constexpr int FirstLook = 4096;
    constexpr int SecondLook = 65536;
    Policy policy;
    policy.maxTags = 1000;
    policy.blocks = true;
    for (const int look : {FirstLook, SecondLook}) {
        const QString source = cut(text, qMax(look, length));
        policy.maxChars = source.size();
        const Reduced reduced = reduce(source, policy);
        QString plain = reduced.isRich || reduced.text.contains(QLatin1Char('&'))
                            ? QTextDocumentFragment::fromHtml(reduced.text).toPlainText()
                            : reduced.text;
        plain = plain.remove(BreakHere).simplified();
        if (!plain.isEmpty() || text.size() <= look)
            return head(plain, length);
    }
    return QString();
}

QString head(const QString &text, int length)
{
    const bool splitsPair = length > 0 && length < text.size() && text.at(length - 1).isHighSurrogate();
    return text.left(splitsPair ? length - 1 : length);
}

} // namespace tarn::visualized::safehtml
