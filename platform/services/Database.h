#pragma once
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

namespace tarn::services {

/// One SQLite file of a service. What was committed is on the disk, whatever happens to the process afterwards.
/// Everything on one thread. The functions return what went wrong, empty when all is well.
///
/// A file that is no sound database is moved aside ("<file>.broken-<time>") with a log line and a new one is made.
/// The file is made readable for its owner alone.
class Database
{
public:
    /// @param schema statements that make version 1 of the schema
    Database(const QString &file, const QStringList &schema);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    QString file() const { return m_file; }
    /// To be called before a piece of work; opens the file on first use and after an error that questions it.
    QString ensureOpen();
    QSqlQuery query() const { return QSqlQuery(m_db); }
    QString run(QSqlQuery &query);           ///< executes what was prepared
    QString failed(const QSqlQuery &query);  ///< the query's error as a text
    void distrust() { m_questioned = true; } ///< the file is checked before the next piece of work

    /// Runs work, a function that returns an error text, in one transaction; an error undoes it.
    template <class Work>
    QString inTransaction(Work work)
    {
        QString error = control("BEGIN IMMEDIATE");
        if (!error.isEmpty())
            return error;
        error = work();
        if (error.isEmpty())
            error = control("COMMIT");
        if (!error.isEmpty())
            control("ROLLBACK");
        return error;
    }

private:
    QString openFile();
    void makePrivate() const;
    QString checkFile();
    QString prepareSchema();
    QString control(const char *statement);
    void closeFile();
    bool moveAside(const QString &reason);

    const QString m_file;
    const QStringList m_schema;
    QSqlDatabase m_db;
    bool m_questioned = false;
    bool m_broken = false; ///< the last error says that the file is no sound database
};

} // namespace tarn::services
