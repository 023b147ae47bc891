#include "upgrade/NotesFile.h"
#include "base/Log.h"
#include "base/RegularFile.h"
#include "upgrade/NotesPage.h"
#include "widgets/SafeDocument.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include <QFile>
#include <QRegularExpression>
#include <QTextCodec>
#include <QTextDocumentFragment>
#include <QTextOption>
#include <QTextStream>
#include <QThread>

namespace tarn::visualized::notes {
namespace {

constexpr int PageMargin = 4;
constexpr int ShownPath = 200; // characters of a path in the log

void dropDocument(QTextDocument *document)
{
    if (document->thread() == QThread::currentThread())
        delete document;
    else
        document->deleteLater();
}

// The words of a page, its tables' rows and its lists' items as lines.
QString words(const QString &text)
{
    static const QRegularExpression items(QStringLiteral("<(/?)li\\b"));
    static const QRegularExpression emptyLines(QStringLiteral("\n{3,}"));
    safehtml::Policy policy = safehtml::notes();
    policy.documents = false;
    const QString html = safehtml::reduce(text, policy).text.replace(items, QStringLiteral("<\\1p"));
    return QTextDocumentFragment::fromHtml(html).toPlainText().replace(emptyLines, QStringLiteral("\n\n")).trimmed();
}

// The page as HTML, or as plain text where that would hold the GUI thread.
void fill(QTextDocument *document, const QString &text)
{
    const safehtml::Policy policy = safehtml::notes();
    if (text.size() > policy.maxChars) {
        VT_LOG(warning) << QStringLiteral("更新说明过长，按纯文本显示");
        return document->setPlainText(notespage::bounded(text));
    }
    const safehtml::Reduced page = safehtml::reduce(text, policy);
    if (page.isUnstyled)
        VT_LOG(warning) << QStringLiteral("更新说明的样式过多，不使用样式表");
    const bool canBeBuilt = !page.isFlattened && notespage::canBeBuilt(page.text);
    if (canBeBuilt)
        document->setHtml(page.text);
    if (canBeBuilt && notespage::canBeShown(*document))
        return;
    VT_LOG(warning) << QStringLiteral("更新说明的格式过于复杂，按纯文本显示");
    document->setPlainText(notespage::bounded(words(text)));
}

} // namespace

std::optional<QString> readFile(const QString &path)
{
    QFile file;
    QString error;
    const QString shown = text::brief(path, ShownPath);
    if (!openRegular(file, path, &error)) {
        VT_LOG(warning) << QStringLiteral("更新说明文件无法打开：%1，原因：%2").arg(shown, error);
        return std::nullopt;
    }
    const QByteArray bytes = file.read(MaxFileSize);
    if (file.error() != QFileDevice::NoError) {
        VT_LOG(warning) << QStringLiteral("更新说明文件读取失败：%1，原因：%2").arg(shown, file.errorString());
        return std::nullopt;
    }
    if (!file.atEnd())
        VT_LOG(warning)
            << QStringLiteral("更新说明文件过大，只显示前%1字节：%2").arg(QString::number(MaxFileSize), shown);
    QTextStream stream(bytes);
    stream.setCodec(GetCorrectUnicode(bytes).constData());
    return stream.readAll().remove(QChar(0));
}

std::shared_ptr<QTextDocument> makeDocument(const QString &text, const QFont &font, QThread *owner)
{
    std::shared_ptr<QTextDocument> document(new SafeDocument, dropDocument);
    document->setPageSize(QSizeF(0, 0)); // lays nothing out before the width is known
    document->setDocumentMargin(PageMargin);
    document->setDefaultTextOption(QTextOption());
    document->setDefaultFont(font);
    fill(document.get(), text);
    notespage::divideLongParagraphs(document.get());
    document->moveToThread(owner);
    return document;
}

std::shared_ptr<QTextDocument> load(const QString &path, const QFont &font, QThread *owner)
{
    const std::optional<QString> text = readFile(path);
    return text ? makeDocument(*text, font, owner) : nullptr;
}

} // namespace tarn::visualized::notes

QByteArray GetCorrectUnicode(const QByteArray &bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars > 0 ? QByteArrayLiteral("GBK") : QByteArrayLiteral("UTF8");
}
