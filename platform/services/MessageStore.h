#pragma once
#include "services/Database.h"
#include "services/Message.h"
#include "services/MessageReader.h"
#include <QHash>
#include <QStringList>
#include <memory>

namespace tarn::services {

/// The messages of the user in the database "messages.db". Everything on one thread. The functions return what went
/// wrong, empty when all is well; a change that was answered so is on the disk.
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

    /// One page of a list.
    /// @param cursor in: empty for the first page, else what the last page gave; out: empty after the last page
    QString page(MessageReader::Kind kind, QString *cursor, QVariantList *records);

private:
    QString ensureOpen();
    QString upsert(const Message &message, qint64 now);
    void dropOldReaders();

    Database m_db;
    QHash<QString, std::shared_ptr<MessageReader>> m_readers; ///< by cursor
};

} // namespace tarn::services
