#include "services/Database.h"
#include "services/Files.h"
#include "services/Log.h"
#include <QDateTime>
#include <QFile>
#include <QSqlError>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::services {

namespace {

// Commits reach the disk before they are answered, and no writer waits for readers.
const char *const Pragmas[] = {"PRAGMA busy_timeout = 5000", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
                               "PRAGMA foreign_keys = ON"};

bool meansBroken(const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    return code == QLatin1String("11") || code == QLatin1String("26"); // corrupt, not a database
}

bool isNullText(const QVariant &value)
{
    return value.userType() == QMetaType::QString && value.isNull();
}

} // namespace

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

Database::Database(const QString &file, const QStringList &schema, int version)
    : m_file(file)
    , m_schema(schema)
    , m_version(version)
{
}

Database::~Database()
{
    closeFile();
}

QString Database::run(const QString &statement, const QVariantList &values, const OnRow &onRow)
{
    QString error = m_inTransaction ? QString() : ensureOpen();
    return error.isEmpty() ? execute(statement, values, onRow) : error;
}

QString Database::inTransaction(const std::function<QString()> &work)
{
    QString error = run(QStringLiteral("BEGIN IMMEDIATE"));
    if (!error.isEmpty())
        return error;
    m_inTransaction = true;
    error = work();
    if (error.isEmpty())
        error = execute(QStringLiteral("COMMIT"), {}, {});
    if (!error.isEmpty())
        execute(QStringLiteral("ROLLBACK"), {}, {});
    m_inTransaction = false;
    return error;
}

QString Database::execute(const QString &statement, const QVariantList &values, const OnRow &onRow)
{
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        return failed(query);
    for (const QVariant &value : values)
        query.addBindValue(isNullText(value) ? QVariant(QLatin1String("")) : value);
    if (!query.exec())
        return failed(query);
    m_changed = query.numRowsAffected();
    m_lastId = query.lastInsertId().toLongLong();
    while (onRow && query.next()) {
        if (!onRow(query))
            return {};
    }
    return query.lastError().isValid() ? failed(query) : QString();
}

QString Database::ensureOpen()
{
    if (m_db.isOpen() && !m_questioned)
        return {};
    QString error = openFile();
    if (!error.isEmpty() && m_broken && moveAside(error))
        error = openFile();
    if (error.isEmpty())
        return {};
    qCCritical(servicesLog).noquote() << QStringLiteral("database %1: %2").arg(m_file, error);
    closeFile();
    return QStringLiteral("the database cannot be used: %1").arg(error);
}

QString Database::openFile()
{
    closeFile();
    m_questioned = false;
    m_broken = false;
    makePrivate();
    m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_file);
    m_db.setDatabaseName(m_file);
    if (!m_db.open()) {
        m_broken = meansBroken(m_db.lastError());
        return m_db.lastError().text();
    }
    for (const char *pragma : Pragmas) {
        QString error = execute(QLatin1String(pragma), {}, {});
        if (!error.isEmpty())
            return error;
    }
    QString error = checkFile();
    return error.isEmpty() ? prepareSchema() : error;
}

// SQLite gives its companion files the same mode. A failure here shows again when the file is opened as a database.
void Database::makePrivate() const
{
    constexpr mode_t OwnerOnly = 0600;
    const int descriptor = ::open(QFile::encodeName(m_file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, OwnerOnly);
    if (descriptor < 0)
        return;
    if (::fchmod(descriptor, OwnerOnly) != 0)
        qCWarning(servicesLog).noquote() << QStringLiteral("%1 may be open to other users").arg(m_file);
    ::close(descriptor);
}

QString Database::checkFile()
{
    QString verdict;
    QString error = execute(QStringLiteral("PRAGMA quick_check(1)"), {}, [&](const QSqlQuery &row) {
        verdict = row.value(0).toString();
        return false;
    });
    if (!error.isEmpty())
        return error;
    m_broken = verdict != QLatin1String("ok");
    return m_broken ? verdict : QString();
}

QString Database::prepareSchema()
{
    int version = 0;
    QString error = execute(QStringLiteral("PRAGMA user_version"), {}, [&](const QSqlQuery &row) {
        version = row.value(0).toInt();
        return false;
    });
    if (!error.isEmpty() || version == m_version)
        return error;
    if (version > m_version)
        return QStringLiteral("it was made by another version of this program (schema %1)").arg(version);
    const QStringList statements =
        QStringList{QStringLiteral("BEGIN IMMEDIATE")} + m_schema +
        QStringList{QStringLiteral("PRAGMA user_version = %1").arg(m_version), QStringLiteral("COMMIT")};
    for (auto it = statements.cbegin(); it != statements.cend() && error.isEmpty(); ++it)
        error = execute(*it, {}, {});
    return error; // an open transaction ends with the connection
}

bool Database::moveAside(const QString &reason)
{
    closeFile();
    QString target;
    if (!services::moveAside(m_file, reason, &target).isEmpty())
        return false;
    for (const QString &suffix : {QStringLiteral("-wal"), QStringLiteral("-shm")})
        QFile::rename(m_file + suffix, target + suffix);
    return true;
}

void Database::closeFile()
{
    if (!m_db.isValid())
        return;
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_file);
}

QString Database::failed(const QSqlQuery &query)
{
    if (meansBroken(query.lastError())) {
        m_broken = true;
        m_questioned = true;
    }
    const QString error = query.lastError().text().trimmed();
    return error.isEmpty() ? QStringLiteral("the database gave no answer") : error;
}

} // namespace tarn::services
