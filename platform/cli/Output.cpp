#include "cli/Output.h"
#include "cli/Command.h"
#include <QFile>
#include <QTextStream>
#include <algorithm>
#include <array>
#include <bsd/readpassphrase.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <unistd.h>

namespace tarn::cli {

namespace {

constexpr qint64 MaxInput = Q_INT64_C(64) * 1024 * 1024;
constexpr size_t MaxPassword = 4096; // bytes
constexpr int MaxCell = 60;          // columns of the terminal

void write(FILE *stream, const QByteArray &text)
{
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

int columns(uint c)
{
    return std::max(0, ::wcwidth(static_cast<wchar_t>(c)));
}

int width(const QString &text)
{
    int sum = 0;
    for (const uint c : text.toUcs4())
        sum += columns(c);
    return sum;
}

QString shortened(const QString &text)
{
    QString head;
    int used = 0;
    for (const uint c : text.toUcs4()) {
        used += columns(c);
        if (used < MaxCell)
            head += QString::fromUcs4(&c, 1);
    }
    return used <= MaxCell ? text : head + QChar(0x2026);
}

/// A password's bytes, overwritten at the end of the scope.
struct Secret
{
    std::array<char, MaxPassword + 2> bytes{}; // one more than allowed, to notice a longer one, and the NUL
    Secret() = default;
    ~Secret() { ::explicit_bzero(bytes.data(), bytes.size()); }
    Q_DISABLE_COPY(Secret)
};

// One line from the terminal, or from the standard input where that is no terminal. A line ends with CR or LF.
void readSecret(const char *prompt, bool terminal, Secret *secret)
{
    const int flags = terminal ? RPP_ECHO_OFF : RPP_STDIN;
    if (!::readpassphrase(prompt, secret->bytes.data(), secret->bytes.size(), flags))
        throw wrongUsage(QStringLiteral("the password cannot be read: %1").arg(qt_error_string(errno)));
    if (std::strlen(secret->bytes.data()) > MaxPassword)
        throw wrongUsage(QStringLiteral("the password is longer than %1 bytes").arg(MaxPassword));
    if (secret->bytes[0] == '\0')
        throw wrongUsage(QStringLiteral("a password is required, on a terminal or as a line of the standard input"));
}

} // namespace

void print(const QString &line)
{
    write(stdout, line.toUtf8());
}

void print(const QByteArray &line)
{
    write(stdout, line);
}

void complain(const QString &line)
{
    write(stderr, "tarnctl: " + line.toUtf8());
}

QString printable(const QString &text)
{
    QString clean = text;
    for (QChar &c : clean) {
        const auto category = c.category();
        if (category == QChar::Other_Control || category == QChar::Other_Format || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            c = QLatin1Char(' ');
    }
    return clean;
}

QString printable(const QVariantMap &map, const QString &key)
{
    return printable(map.value(key).toString());
}

QString table(const QList<QStringList> &rows)
{
    QList<QStringList> cells;
    QVector<int> widths(rows.isEmpty() ? 0 : rows.first().size());
    for (QStringList row : rows) {
        for (int i = 0; i < row.size(); ++i) {
            row[i] = shortened(printable(row.at(i)));
            widths[i] = std::max(widths.at(i), width(row.at(i)));
        }
        cells.append(row);
    }
    QStringList lines;
    for (const QStringList &row : qAsConst(cells)) {
        QString line;
        for (int i = 0; i + 1 < row.size(); ++i)
            line += row.at(i) + QString(widths.at(i) - width(row.at(i)) + 2, QLatin1Char(' '));
        lines.append(line + row.last());
    }
    return lines.join(QLatin1Char('\n'));
}

bool confirm(const QString &question)
{
    if (!::isatty(STDIN_FILENO))
        return false;
    QTextStream(stderr) << question << " [y/N] ";
    return QTextStream(stdin).readLine().trimmed().compare(QLatin1String("y"), Qt::CaseInsensitive) == 0;
}

QByteArray readArgument(const QString &argument)
{
    QFile file(argument.mid(1));
    const bool isInput = argument == QLatin1String("-");
    const QString name = isInput ? QStringLiteral("the standard input") : file.fileName();
    bool opened = false;
    if (isInput)
        opened = file.open(stdin, QIODevice::ReadOnly);
    else if (argument.startsWith(QLatin1Char('@')))
        opened = file.open(QIODevice::ReadOnly);
    else
        return argument.toUtf8();
    QByteArray text;
    QByteArray part; // a pipe is read in pieces
    while (opened && text.size() <= MaxInput && !(part = file.read(MaxInput + 1 - text.size())).isEmpty())
        text += part;
    if (!opened || file.error() != QFileDevice::NoError)
        throw wrongUsage(QStringLiteral("%1: %2").arg(name, file.errorString()));
    if (text.size() > MaxInput)
        throw wrongUsage(QStringLiteral("%1 is larger than %2 bytes").arg(name, QString::number(MaxInput)));
    return text;
}

QString readPassword()
{
    Secret first;
    Secret second;
    const bool terminal = ::isatty(STDIN_FILENO) != 0;
    readSecret("password: ", terminal, &first);
    if (terminal) {
        readSecret("once more: ", terminal, &second);
        if (first.bytes != second.bytes)
            throw wrongUsage(QStringLiteral("the two passwords differ"));
    }
    QString password = QString::fromUtf8(first.bytes.data());
    if (password.contains(QChar(QChar::ReplacementCharacter))) {
        wipe(&password);
        throw wrongUsage(QStringLiteral("the password is not valid UTF-8"));
    }
    return password;
}

void wipe(QString *text)
{
    if (!text->isEmpty())
        ::explicit_bzero(text->data(), static_cast<size_t>(text->size()) * sizeof(QChar));
    text->clear();
}

} // namespace tarn::cli
