#include "upgrade/NotesFile.h"
#include "base/Log.h"
#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCodec>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextStream>
#include <QThread>
#include <QUrl>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int MaxTableDepth = 20; // the layout recurses into every nested table
constexpr int MaxParagraph =
    2000; // characters; a paragraph is laid out in one go, and in quadratic time without spaces

// Fetches nothing. An image gets one transparent pixel, since without any the layout tries the name as a file itself.
class NotesDocument final : public QTextDocument
{
public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int type, const QUrl &name) override
    {
        Q_UNUSED(name)
        if (type != ImageResource)
            return QByteArray();
        QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
        pixel.fill(Qt::transparent);
        return pixel;
    }
};

void dropDocument(QTextDocument *document)
{
    if (document->thread() == QThread::currentThread())
        delete document;
    else
        document->deleteLater();
}

// Open without waiting, so that a pipe without a writer does not block; what it was is looked at afterwards.
bool openRegular(const QString &path, QFile &file)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        VT_LOG(warning) << QStringLiteral("更新说明文件无法打开：%1，原因：%2")
                               .arg(path.left(200), QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    struct stat info = {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(descriptor);
        VT_LOG(warning) << QStringLiteral("更新说明文件不是普通文件：%1").arg(path.left(200));
        return false;
    }
    if (file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return true;
    ::close(descriptor);
    return false;
}

int tableDepth(const QString &html)
{
    static const QRegularExpression table(QStringLiteral("<(/?)table\\b"), QRegularExpression::CaseInsensitiveOption);
    int depth = 0;
    int deepest = 0;
    for (auto it = table.globalMatch(html); it.hasNext();) {
        depth = it.next().capturedLength(1) > 0 ? qMax(0, depth - 1) : depth + 1;
        deepest = qMax(deepest, depth);
    }
    return deepest;
}

// Cells that span a thousand columns or tables in tables in tables are not what release notes are made of.
bool isReasonable(const QString &html)
{
    static const QRegularExpression hugeSpan(QStringLiteral("(col|row)span\\s*=\\s*[\"']?[^\"'\\s>]{4,}"),
                                             QRegularExpression::CaseInsensitiveOption);
    return !html.contains(hugeSpan) && tableDepth(html) <= MaxTableDepth;
}

// Paragraphs of a sane length, so that the layout can go on in small steps.
void splitParagraphs(QTextDocument *document)
{
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        if (block.length() <= MaxParagraph)
            continue;
        const int space = block.text().lastIndexOf(QLatin1Char(' '), MaxParagraph);
        cursor.setPosition(block.position() + (space > 0 ? space + 1 : MaxParagraph));
        cursor.insertBlock();
    }
    cursor.endEditBlock();
}

} // namespace

QByteArray GetCorrectUnicode(const QByteArray &bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars > 0 ? QByteArrayLiteral("GBK") : QByteArrayLiteral("UTF8");
}

namespace notes {

std::optional<QString> readFile(const QString &path)
{
    QFile file;
    if (path.isEmpty() || !openRegular(path, file))
        return std::nullopt;
    const QByteArray bytes = file.read(MaxFileSize);
    if (file.error() != QFileDevice::NoError) {
        VT_LOG(warning) << QStringLiteral("更新说明文件读取失败：%1，原因：%2").arg(path.left(200), file.errorString());
        return std::nullopt;
    }
    if (!file.atEnd())
        VT_LOG(warning)
            << QStringLiteral("更新说明文件过大，只显示前%1字节：%2").arg(QString::number(MaxFileSize), path.left(200));
    QTextStream stream(bytes);
    stream.setCodec(GetCorrectUnicode(bytes).constData());
    return stream.readAll().remove(QChar(0));
}

std::shared_ptr<QTextDocument> makeDocument(const QString &text, const QFont &font)
{
    std::shared_ptr<QTextDocument> document(new NotesDocument, dropDocument);
    document->setUndoRedoEnabled(false);
    document->setDefaultFont(font);
    if (isReasonable(text))
        document->setHtml(text);
    else
        document->setPlainText(text);
    splitParagraphs(document.get());
    document->moveToThread(QCoreApplication::instance()->thread());
    return document;
}

std::shared_ptr<QTextDocument> load(const QString &path, const QFont &font)
{
    const std::optional<QString> text = readFile(path);
    return text ? makeDocument(*text, font) : nullptr;
}

} // namespace notes
