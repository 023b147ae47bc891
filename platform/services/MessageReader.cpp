#include "services/MessageReader.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDateTime>
#include <QSqlError>
#include <QUuid>

namespace tarn::services {

namespace detail = link::wire::detail;

namespace {

// Well under the 4 MiB and the number of values that the RPC layer carries in one message. A single message may be
// larger than a page and then is a page of its own.
constexpr int PageBytes = 1536 * 1024;
constexpr int PageRecords = 1000;
constexpr int KeyBytes = 300; // the keys and numbers of a record

enum Column {
    Seq,
    Id,
    Title,
    Content,
    DateTime,
    BegTime,
    Picture,
    LinkText,
    Link,
    WndWidth,
    WndHeight,
    WndStay,
    PhotoHeight,
    PhotoWidth,
    ReadAt,
    StoredAt,
    DeletedAt,
    IgnoredAt
};

QString timeText(const QVariant &ms)
{
    if (ms.isNull())
        return {};
    return QDateTime::fromMSecsSinceEpoch(ms.toLongLong()).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

// An upper estimate: at most three bytes of UTF-8 a character.
int bytesOf(const QVariantMap &record)
{
    int bytes = KeyBytes;
    for (const QVariant &value : record) {
        if (value.userType() == QMetaType::QString)
            bytes += 3 * value.toString().size();
        else if (value.userType() == QMetaType::QVariantList)
            bytes += KeyBytes * value.toList().size();
    }
    return bytes;
}

} // namespace

QString messageColumns()
{
    return QStringLiteral("seq, id, title, content, date_time, beg_time, picture, link_text, link, wnd_width, "
                          "wnd_height, wnd_stay, photo_height, photo_width, read_at, stored_at, deleted_at, "
                          "ignored_at");
}

Message messageOf(const QSqlQuery &row)
{
    Message m;
    m.id = row.value(Id).toString();
    m.title = row.value(Title).toString();
    m.content = row.value(Content).toString();
    m.dateTime = row.value(DateTime).toString();
    m.begTime = row.value(BegTime).toString();
    m.picture = row.value(Picture).toString();
    m.linkText = row.value(LinkText).toString();
    m.link = row.value(Link).toString();
    m.wndWidth = row.value(WndWidth).toInt();
    m.wndHeight = row.value(WndHeight).toInt();
    m.wndStay = row.value(WndStay).toInt();
    m.photoHeight = row.value(PhotoHeight).toInt();
    m.photoWidth = row.value(PhotoWidth).toInt();
    m.unread = row.value(ReadAt).isNull();
    return m;
}

MessageReader::MessageReader(const QString &file, Kind kind)
    : m_name(QStringLiteral("reader ") + QUuid::createUuid().toString())
    , m_kind(kind)
{
    m_lastUse.start();
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    db.setDatabaseName(file);
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
    if (!db.open() || !db.transaction()) {
        m_error = db.lastError().text();
        return;
    }
    m_rows = std::make_unique<QSqlQuery>(db);
    m_rows->setForwardOnly(true);
    const QString filter = kind == Kind::All ? QString() : QStringLiteral("WHERE deleted_at IS NULL ");
    if (!m_rows->exec(QStringLiteral("SELECT %1 FROM messages %2ORDER BY sort_time DESC, seq DESC")
                          .arg(messageColumns(), filter)))
        m_error = m_rows->lastError().text();
    else
        step();
}

MessageReader::~MessageReader()
{
    m_rows.reset();
    QSqlDatabase::database(m_name, false).close();
    QSqlDatabase::removeDatabase(m_name);
}

void MessageReader::step()
{
    m_atEnd = !m_rows->next();
    if (m_atEnd && m_rows->lastError().isValid())
        m_error = m_rows->lastError().text();
    m_pending = m_atEnd ? QVariantMap() : currentRecord();
}

QVariantMap MessageReader::currentRecord()
{
    QVariantMap record = toRecord(messageOf(*m_rows));
    if (m_kind == Kind::Records)
        return record;
    record.insert(detail::StoredTime, timeText(m_rows->value(StoredAt)));
    record.insert(detail::ReadTime, timeText(m_rows->value(ReadAt)));
    record.insert(detail::DeletedTime, timeText(m_rows->value(DeletedAt)));
    record.insert(detail::IgnoredTime, timeText(m_rows->value(IgnoredAt)));
    record.insert(detail::Receipts, receiptsOf(m_rows->value(Seq).toLongLong()));
    return record;
}

QVariantList MessageReader::receiptsOf(qint64 seq)
{
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT kind, soft_name, first_at, last_at, count FROM receipts WHERE seq = ? "
                                 "ORDER BY first_at, kind LIMIT 100"));
    query.addBindValue(seq);
    if (!query.exec())
        m_error = query.lastError().text();
    QVariantList receipts;
    while (query.next())
        receipts.append(QVariantMap{{message::key::MessageReceipt, query.value(0).toInt()},
                                    {message::key::SoftName, query.value(1).toString()},
                                    {detail::FirstTime, timeText(query.value(2))},
                                    {detail::LastTime, timeText(query.value(3))},
                                    {detail::Count, query.value(4).toInt()}});
    return receipts;
}

QVariantList MessageReader::nextPage()
{
    m_lastUse.start();
    QVariantList page;
    int bytes = 0;
    while (!m_atEnd && page.size() < PageRecords) {
        const int size = bytesOf(m_pending);
        if (!page.isEmpty() && bytes + size > PageBytes)
            break;
        bytes += size;
        page.append(m_pending);
        step();
    }
    return page;
}

} // namespace tarn::services
