#include "message/SafeHtml.h"
#include <QRegularExpression>
#include <QSet>

namespace {

bool isKept(const QString &tag)
{
    static const QSet<QString> tags{
        QStringLiteral("b"),    QStringLiteral("strong"), QStringLiteral("i"),      QStringLiteral("em"),
        QStringLiteral("u"),    QStringLiteral("s"),      QStringLiteral("span"),   QStringLiteral("font"),
        QStringLiteral("p"),    QStringLiteral("div"),    QStringLiteral("br"),     QStringLiteral("ul"),
        QStringLiteral("ol"),   QStringLiteral("li"),     QStringLiteral("h1"),     QStringLiteral("h2"),
        QStringLiteral("h3"),   QStringLiteral("h4"),     QStringLiteral("h5"),     QStringLiteral("h6"),
        QStringLiteral("sub"),  QStringLiteral("sup"),    QStringLiteral("center"), QStringLiteral("small"),
        QStringLiteral("code"), QStringLiteral("big"),
    };
    return tags.contains(tag);
}

/// The colour that a tag's attributes ask for, as a style attribute; empty if there is none.
QString colourStyle(const QString &attributes)
{
    static const QRegularExpression colour(QStringLiteral("(?<![-\\w])color\\s*[:=]\\s*[\"']?\\s*(#?\\w{1,20})"),
                                           QRegularExpression::CaseInsensitiveOption);
    const QString name = colour.match(attributes).captured(1);
    return name.isEmpty() ? QString() : QStringLiteral(" style=\"color:%1\"").arg(name);
}

QString rewritten(bool closing, const QString &tag, const QString &attributes)
{
    if (isKept(tag))
        return closing ? QStringLiteral("</%1>").arg(tag) : QStringLiteral("<%1%2>").arg(tag, colourStyle(attributes));
    if (!closing && tag == QLatin1String("tr"))
        return QStringLiteral("<br>");
    if (!closing && (tag == QLatin1String("td") || tag == QLatin1String("th")))
        return QStringLiteral(" ");
    return QString();
}

/// Everything that is not shown as text, together with its content.
QString withoutHiddenParts(QString html)
{
    static const QRegularExpression hidden(QStringLiteral("<!--.*?(?:-->|$)|<!doctype[^>]*>|<\\?[^>]*>|"
                                                          "<(style|script|head|title)\\b.*?(?:</\\1\\s*>|$)"),
                                           QRegularExpression::CaseInsensitiveOption |
                                               QRegularExpression::DotMatchesEverythingOption);
    return html.remove(hidden);
}

} // namespace

QString safehtml::sanitized(const QString &content, int maxChars)
{
    static const QRegularExpression tagOrBracket(QStringLiteral("<(/?)([a-zA-Z][a-zA-Z0-9]*)(\\s[^<>]*|/)?>|<"));
    const QString source = withoutHiddenParts(content.left(maxChars));
    QString result;
    int copied = 0;
    auto it = tagOrBracket.globalMatch(source);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        result += QStringView(source).mid(copied, match.capturedStart() - copied);
        copied = match.capturedEnd();
        result += match.captured(2).isEmpty()
                      ? QStringLiteral("&lt;")
                      : rewritten(!match.captured(1).isEmpty(), match.captured(2).toLower(), match.captured(3));
    }
    result += QStringView(source).mid(copied);
    if (content.size() > maxChars)
        result += QStringLiteral("……");
    return result;
}
