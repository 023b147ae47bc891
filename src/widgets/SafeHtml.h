#pragma once

#include <QString>

/// Rich text from outside, reduced before a text document reads it: documents crash or take minutes over nested and
/// padded tables, over deep markup and over words without end, and they load any file or address that is named.
/// The reduced text has newly written tags; only words and judged attribute values of the source pass.
/// Takes time in proportion to the text. Pure functions, any thread.
namespace tarn::visualized::safehtml {

enum class Links {
    None, ///< only the words stay
    Web,  ///< those that weblink::target() accepts
    Any   ///< all; the reader judges a link when it is followed
};

/// The markup that a kind of text may keep. Bold, italic, underlined, sub- and superscript and colours always stay;
/// scripts, titles and comments are removed with their content; a "<" that opens no tag is shown.
struct Policy
{
    int maxChars = 0;    ///< longer texts are cut and end in "……"
    int lineEnd = 1;     ///< characters that a line end counts as: it takes as long to lay out as several
    int longWord = 200;  ///< characters without a place to break, after which U+200B makes one
    int maxOpen = 100;   ///< elements inside one another; deeper tags are removed
    int maxTags = 20000; ///< further tags are removed; those of blocks become line ends
    bool blocks = true;  ///< headings, lists, alignment, font sizes of 8 to 32 pixels, and <img> of local files: an
                         ///< absolute path or a file: address. Without: "\r\n" breaks the line, and a text in which no
                         ///< tag stays is plain text
    bool documents = false; ///< tables, style sheets and the attributes of whole pages
    Links links = Links::None;
};

// The members in their order: characters, line end, long word, open elements, tags, blocks, documents, links.
/// Message boxes: a line of emphasis, colours and links.
constexpr Policy box()
{
    return {10000, 8, 24, 100, 1000, false, false, Links::Web};
}
/// Pop-up notices: blocks and local pictures; the message center has the whole text.
constexpr Policy notice()
{
    return {20000, 8, 200, 100, 20000, true, false, Links::None};
}
/// Opened messages: as many characters of blocks and local pictures as are laid out without a noticeable pause.
constexpr Policy card()
{
    return {65536, 8, 200, 100, 20000, true, false, Links::None};
}
/// Release notes: whole pages with tables. Spans of cells are limited to 100.
constexpr Policy notes()
{
    return {2 << 20, 1, 200, 200, 20000, true, true, Links::Any};
}

struct Reduced
{
    QString text;
    bool isRich = false;      ///< text is HTML; else plain text (only without Policy::blocks)
    bool hasLink = false;     ///< there is a link to be followed
    bool isFlattened = false; ///< tags went because they were too many or too deep
    bool isUnstyled = false;  ///< style sheets went because they were too large for the number of tags
};
Reduced reduce(const QString &text, const Policy &policy);

/// The words alone, white space simplified, for previews and screen readers: at most `length` characters, made from the
/// beginning of the text.
QString words(const QString &text, int length);

} // namespace tarn::visualized::safehtml
