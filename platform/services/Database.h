#pragma once
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <functional>

namespace tarn::services {

/// One SQLite file of a service. Committed changes are on the disk. One thread. Functions with a text as their result
/// return the error, empty on success.
///
/// The file is opened by the first statement, readable for its owner alone. A file that is no sound database is moved
/// aside ("<file>.broken-<time>") with a log line and replaced by a new one; a file of a newer schema is left alone.
class Database
{
public:
    /// @param schema statements that create the tables: each "IF NOT EXISTS", so that they also complete an older schema
    /// @param version of this schema, to be raised with every addition
    Database(const QString &file, const QStringList &schema, int version = 1);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    /// False ends the reading of rows.
    using OnRow = std::function<bool(const QSqlQuery &)>;

    /// Executes one statement. A null text is stored as an empty one, an invalid value as NULL.
    QString run(const QString &statement, const QVariantList &values = {}, const OnRow &onRow = {});
    int changed() const { return m_changed; }  ///< rows that the last statement changed
    qint64 lastId() const { return m_lastId; } ///< of the row that the last statement inserted

    /// Runs work, a function that returns an error text, in one transaction; an error undoes it.
    QString inTransaction(const std::function<QString()> &work);

private:
    QString ensureOpen();
    QString openFile();
    void makePrivate() const;
    QString checkFile();
    QString prepareSchema();
    QString execute(const QString &statement, const QVariantList &values, const OnRow &onRow);
    QString failed(const QSqlQuery &query);
    void closeFile();
    bool moveAside(const QString &reason);

    const QString m_file;
    const QStringList m_schema;
    const int m_version;
    QSqlDatabase m_db;
    int m_changed = 0;
    qint64 m_lastId = 0;
    bool m_inTransaction = false;
    bool m_questioned = false; ///< the file is checked before the next statement
    bool m_broken = false;     ///< the last error says that the file is no sound database
};

/// Milliseconds since 1970.
qint64 now();

} // namespace tarn::services
