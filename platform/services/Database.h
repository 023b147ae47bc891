#pragma once
#include "services/Failure.h"
#include "services/WorkThread.h"
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QVariantList>
#include <functional>

namespace tarn::services {

/// One SQLite file of a service. Committed changes are on the disk. Any thread; the work is done by one thread of the
/// object. The functions throw Failure.
///
/// The file is opened by the first statement, readable for its owner alone. A file that is no sound database is moved
/// aside ("<file>.broken-<time>") with a log line and replaced by a new one; a file of a newer schema is left alone.
class Database
{
public:
    /// @param schema statements that create the tables: each "IF NOT EXISTS", to complete an older schema too
    /// @param version of this schema, to be raised with every addition
    Database(const QString &file, const QStringList &schema, int version = 1);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    /// False ends the reading of rows.
    using OnRow = std::function<bool(const QSqlQuery &)>;

    /// Executes one statement. A null text is stored as an empty one, an invalid value as NULL.
    /// @return the number of changed rows
    int run(const QString &statement, const QVariantList &values = {}, const OnRow &onRow = {});

    /// One column of the first row; invalid when there is none.
    QVariant value(const QString &statement, const QVariantList &values = {});

    /// All rows as read() returns them.
    template <class Read>
    auto rows(const QString &statement, const QVariantList &values, Read read)
    {
        QList<decltype(read(std::declval<const QSqlQuery &>()))> list;
        run(statement, values, [&](const QSqlQuery &row) {
            list << read(row);
            return true;
        });
        return list;
    }

    /// Runs work in one transaction, between which and its end no other caller has a turn; an exception undoes it.
    void inTransaction(const std::function<void()> &work);

private:
    void ensureOpen();
    void openFile();
    void prepareSchema();
    int execute(const QString &statement, const QVariantList &values = {}, const OnRow &onRow = {});
    [[noreturn]] void fail(const QSqlError &error);
    void closeFile();
    bool moveAside(const QString &reason);

    const QString m_file;
    const QString m_connection; ///< its name
    const QStringList m_schema;
    const int m_version;
    QSqlDatabase m_db;
    bool m_inTransaction = false;
    bool m_broken = false; ///< an error says that the file is no sound database: the next statement checks it first
    WorkThread m_thread;   ///< uses the other members
};

using Clock = std::function<qint64()>; ///< milliseconds since 1970; any thread
qint64 now();                          ///< likewise

/// A stored time as the services report it, "yyyy-MM-dd hh:mm:ss"; empty for none.
QString timeText(const QVariant &ms);

} // namespace tarn::services
