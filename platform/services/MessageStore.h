#pragma once
#include "services/Database.h"

namespace tarn::services {

/// The messages of the user, as readMessage() returns them, in the database "messages.db". One thread. The functions throw Failure; without it the
/// change is on the disk.
class MessageStore
{
public:
    explicit MessageStore(const QString &directory);

    /// A new delivery of a known id replaces its texts and is unread again; its receipts stay, and so does the user's
    /// wish not to see it.
    /// @return whether the user does not want to see it again
    bool put(const QVariantMap &message);
    void import(const QList<QVariantMap> &messages); ///< all or none
    /// @return false when there is no such message; nothing is stored then
    bool addReceipt(const QString &id, int kind, const QString &softName);
    bool ignore(const QString &id, const QString &softName);
    /// Marks messages read or deleted, in one transaction.
    /// @return the number of ids that name a message
    int setStatus(const QStringList &ids, int status);
    QVariantList record(const QString &id); ///< one or none
    int unreadCount();
    int clear(); ///< the number of deleted messages

    enum class Kind {
        Records, ///< messages that are not deleted, with the keys of a record
        Details, ///< the same with states and receipts
        All      ///< details of deleted messages too
    };
    /// One page of a list, newest first, small enough for one message of the RPC layer. Nothing is kept between two
    /// pages: a message that stays unchanged meanwhile is in exactly one of them.
    /// @param cursor in: empty for the first page, else the cursor of the last page; out: empty after the last page
    QVariantList page(Kind kind, QString *cursor);

private:
    void upsert(const QVariantMap &message, qint64 time);
    QVariantMap recordOf(const QSqlQuery &row, Kind kind);

    Database m_db;
};

} // namespace tarn::services
