#include "cli/MessageText.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QStringList>
#include <QVector>
#include <algorithm>

namespace tarn::cli {

using namespace message;
namespace detail = link::wire::detail;

namespace {

constexpr int MaxCell = 60; // columns of the terminal

bool isWide(uint c)
{
    return (c >= 0x1100 && c <= 0x115f) || (c >= 0x2e80 && c <= 0xa4cf) || (c >= 0xac00 && c <= 0xd7a3) ||
           (c >= 0xf900 && c <= 0xfaff) || (c >= 0xfe30 && c <= 0xfe6f) || (c >= 0xff00 && c <= 0xff60) ||
           (c >= 0xffe0 && c <= 0xffe6) || (c >= 0x1f300 && c <= 0x1faff) || (c >= 0x20000 && c <= 0x3fffd);
}

int width(const QString &text)
{
    int columns = 0;
    for (const uint c : text.toUcs4())
        columns += isWide(c) ? 2 : 1;
    return columns;
}

QString shortened(const QString &text)
{
    if (width(text) <= MaxCell)
        return text;
    QString head;
    int columns = 0;
    for (const uint c : text.toUcs4()) {
        columns += isWide(c) ? 2 : 1;
        if (columns >= MaxCell)
            break;
        head += QString::fromUcs4(&c, 1);
    }
    return head + QChar(0x2026);
}

QString stateOf(const QVariantMap &record)
{
    QStringList states{record.value(key::unRead).toBool() ? QStringLiteral("unread") : QStringLiteral("read")};
    if (!record.value(detail::DeletedTime).toString().isEmpty())
        states.append(QStringLiteral("deleted"));
    if (!record.value(detail::IgnoredTime).toString().isEmpty())
        states.append(QStringLiteral("ignored"));
    return states.join(QLatin1Char(','));
}

QString receiptName(const QVariantMap &receipt)
{
    const int kind = receipt.value(key::MessageReceipt).toInt();
    return kind == receipt::Read      ? QStringLiteral("read")
           : kind == receipt::Clicked ? QStringLiteral("clicked")
                                      : QString::number(kind);
}

QString receiptsOf(const QVariantMap &record)
{
    QStringList names;
    for (const QVariant &receipt : record.value(detail::Receipts).toList())
        names.append(receiptName(receipt.toMap()));
    names.removeDuplicates();
    return names.isEmpty() ? QStringLiteral("-") : names.join(QLatin1Char(','));
}

QStringList rowOf(const QVariantMap &record)
{
    const QString title = record.value(key::MsgTitle).toString();
    QStringList row{record.value(key::MsgId).toString(), record.value(key::MsgDateTime).toString(), stateOf(record),
                    receiptsOf(record),
                    title.isEmpty() ? record.value(key::MsgContent).toString().left(MaxCell) : title};
    for (QString &cell : row)
        cell = shortened(printable(cell));
    return row;
}

} // namespace

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

QString messageTable(const QVariantList &records)
{
    QVector<QStringList> rows{{QStringLiteral("ID"), QStringLiteral("TIME"), QStringLiteral("STATE"),
                               QStringLiteral("RECEIPTS"), QStringLiteral("TITLE")}};
    for (const QVariant &record : records)
        rows.append(rowOf(record.toMap()));
    QVector<int> widths(rows.first().size());
    for (const QStringList &row : qAsConst(rows)) {
        for (int i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], width(row.at(i)));
    }
    QStringList lines;
    for (const QStringList &row : qAsConst(rows)) {
        QString line;
        for (int i = 0; i + 1 < row.size(); ++i)
            line += row.at(i) + QString(widths.at(i) - width(row.at(i)) + 2, QLatin1Char(' '));
        lines.append(line + row.last());
    }
    return lines.join(QLatin1Char('\n'));
}

QString messageDetails(const QVariantMap &record)
{
    QStringList lines;
    const auto add = [&lines](const QString &name, const QString &value) {
        if (!value.isEmpty())
            lines.append(QStringLiteral("%1 %2").arg(name + QLatin1Char(':'), -10).arg(printable(value)));
    };
    add(QStringLiteral("id"), record.value(key::MsgId).toString());
    add(QStringLiteral("title"), record.value(key::MsgTitle).toString());
    add(QStringLiteral("time"), record.value(key::MsgDateTime).toString());
    add(QStringLiteral("content"), record.value(key::MsgContent).toString());
    add(QStringLiteral("link text"), record.value(key::LinkText).toString());
    add(QStringLiteral("link"), record.value(key::LinkAdress).toString());
    add(QStringLiteral("picture"), record.value(key::PicFilePath).toString());
    add(QStringLiteral("state"), stateOf(record));
    add(QStringLiteral("stored"), record.value(detail::StoredTime).toString());
    add(QStringLiteral("read"), record.value(detail::ReadTime).toString());
    add(QStringLiteral("deleted"), record.value(detail::DeletedTime).toString());
    add(QStringLiteral("ignored"), record.value(detail::IgnoredTime).toString());
    for (const QVariant &entry : record.value(detail::Receipts).toList()) {
        const QVariantMap receipt = entry.toMap();
        const QString times = receipt.value(detail::Count).toInt() > 1
                                  ? QStringLiteral(", last %1, %2 times")
                                        .arg(receipt.value(detail::LastTime).toString())
                                        .arg(receipt.value(detail::Count).toInt())
                                  : QString();
        const QString softName = receipt.value(key::SoftName).toString();
        add(QStringLiteral("receipt"), receiptName(receipt) + QLatin1Char(' ') +
                                           receipt.value(detail::FirstTime).toString() + times +
                                           (softName.isEmpty() ? softName : QStringLiteral(", ") + softName));
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace tarn::cli
