#pragma once
#include "services/Message.h"
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantList>
#include <memory>

namespace tarn::services {

/// Reads a list of messages page by page out of one state of the database, whatever is written meanwhile: a connection
/// of its own whose read transaction stays open. The store's thread.
class MessageReader
{
public:
    enum class Kind {
        Records, ///< what is not deleted, with the keys of a record
        Details, ///< the same with states and receipts
        All      ///< details of deleted ones too
    };

    /// Check lastError() afterwards.
    MessageReader(const QString &file, Kind kind);
    ~MessageReader();
    MessageReader(const MessageReader &) = delete;
    MessageReader &operator=(const MessageReader &) = delete;

    QString lastError() const { return m_error; }
    Kind kind() const { return m_kind; }
    bool atEnd() const { return m_atEnd; } ///< no further page
    qint64 idleMs() const { return m_lastUse.elapsed(); }

    /// The next records, newest first; fewer than one message of the RPC layer may carry.
    QVariantList nextPage();

private:
    void step();
    QVariantMap currentRecord();
    QVariantList receiptsOf(qint64 seq);

    const QString m_name; ///< of the connection
    const Kind m_kind;
    QString m_error;
    std::unique_ptr<QSqlQuery> m_rows;
    QVariantMap m_pending; ///< read, and not handed out yet
    bool m_atEnd = false;
    QElapsedTimer m_lastUse;
};

/// The columns that messageOf() reads, for a SELECT.
QString messageColumns();
Message messageOf(const QSqlQuery &row);

} // namespace tarn::services
