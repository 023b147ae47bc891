#pragma once
#include "services/Database.h"
#include "services/Message.h"
#include <QStringList>

namespace tarn::services {

/// The messages of the user in the database "messages.db". One thread. The functions return what went wrong, empty when
/// all is well: the change is on the disk then.
class MessageStore
{
public:
    explicit MessageStore(const QString &directory);

    struct Delivery
    {
        int unread = 0;       ///< number of unread messages with this one
        bool ignored = false; ///< the user does not want to see it again
    };

    /// A new delivery of a known id replaces its texts and is unread again; its receipts stay, and so does the user's
    /// wish not to see it.
    QString put(const Message &message, Delivery *delivery);
    QString import(const QList<Message> &messages); ///< all or none
    /// @param known false when there is no such message; nothing is stored then
    QString addReceipt(const QString &id, int kind, const QString &softName, bool *known);
    QString ignore(const QString &id, const QString &softName, bool *known);
    /// Marks messages read or deleted, in one transaction.
    /// @param known number of ids that name a message
    QString setStatus(const QStringList &ids, int status, int *known);
    QString record(const QString &id, QVariantList *records);
    QString unreadCount(int *count);
    QString clear(int *removed);

    enum class Kind {
        Records, ///< messages that are not deleted, with the keys of a record
        Details, ///< the same with states and receipts
        All      ///< details of deleted messages too
    };
    /// One page of a list, newest first, small enough for one message of the RPC layer. Nothing is kept between two
    /// pages: a message that stays unchanged meanwhile is in exactly one of them.
    /// @param cursor in: empty for the first page, else the cursor of the last page; out: empty after the last page
    QString page(Kind kind, QString *cursor, QVariantList *records);

private:
    QString upsert(const Message &message, qint64 time);
    QVariantMap recordOf(const QSqlQuery &row, Kind kind, QString *error);

    Database m_db;
};

} // namespace tarn::services
