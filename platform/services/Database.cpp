#include "services/Database.h"
#include "services/Files.h"
#include <QDateTime>
#include <QFile>
#include <QScopeGuard>
#include <QSqlError>

namespace tarn::services {

namespace {

// Commits reach the disk before they are answered, and no writer waits for readers.
const char *const Pragmas[] = {"PRAGMA busy_timeout = 5000", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
                               "PRAGMA foreign_keys = ON"};

bool isNullText(const QVariant &value)
{
    return value.userType() == QMetaType::QString && value.isNull();
}

} // namespace

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString timeText(const QVariant &ms)
{
    if (ms.isNull())
        return {};
    return QDateTime::fromMSecsSinceEpoch(ms.toLongLong()).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

Database::Database(const QString &file, const QStringList &schema, int version)
    : m_file(file)
    , m_connection(QStringLiteral("%1#%2").arg(file, QString::number(reinterpret_cast<quintptr>(this))))
    , m_schema(schema)
    , m_version(version)
{
}

Database::~Database()
{
    m_thread.run([this] { closeFile(); });
}

int Database::run(const QString &statement, const QVariantList &values, const OnRow &onRow)
{
    return m_thread.run([&] {
        if (!m_inTransaction)
            ensureOpen();
        return execute(statement, values, onRow);
    });
}

QVariant Database::value(const QString &statement, const QVariantList &values)
{
    return rows(statement, values, [](const QSqlQuery &row) { return row.value(0); }).value(0);
}

void Database::inTransaction(const std::function<void()> &work)
{
    m_thread.run([&] {
        run(QStringLiteral("BEGIN IMMEDIATE"));
        m_inTransaction = true;
        const auto leave = qScopeGuard([this] { m_inTransaction = false; });
        try {
            work();
            execute(QStringLiteral("COMMIT"));
        } catch (...) {
            errorOf([this] { execute(QStringLiteral("ROLLBACK")); });
            throw;
        }
    });
}

int Database::execute(const QString &statement, const QVariantList &values, const OnRow &onRow)
{
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        fail(query.lastError());
    for (const QVariant &value : values)
        query.addBindValue(isNullText(value) ? QVariant(QLatin1String("")) : value);
    if (!query.exec())
        fail(query.lastError());
    const int changed = query.numRowsAffected();
    while (onRow && query.next()) {
        if (!onRow(query))
            return changed;
    }
    if (query.lastError().isValid())
        fail(query.lastError());
    return changed;
}

void Database::ensureOpen()
{
    if (m_db.isOpen() && !m_broken)
        return;
    const auto open = [this] { openFile(); };
    QString error = errorOf(open);
    if (!error.isEmpty() && m_broken && moveAside(error))
        error = errorOf(open);
    if (error.isEmpty())
        return;
    qCCritical(servicesLog).noquote() << QStringLiteral("database %1: %2").arg(m_file, error);
    closeFile();
    throw Failure(QStringLiteral("the database cannot be used: %1").arg(error));
}

void Database::openFile()
{
    closeFile();
    m_broken = false;
    QFile file(m_file); // SQLite gives its companion files the same mode
    if (file.open(QIODevice::ReadWrite) && !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        qCWarning(servicesLog).noquote() << QStringLiteral("%1 may be open to other users").arg(m_file);
    file.close();
    m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    m_db.setDatabaseName(m_file);
    if (!m_db.open())
        fail(m_db.lastError());
    for (const char *pragma : Pragmas)
        execute(QLatin1String(pragma));
    const QString verdict = value(QStringLiteral("PRAGMA quick_check(1)")).toString();
    m_broken = verdict != QLatin1String("ok");
    failIf(m_broken, verdict);
    prepareSchema();
}

void Database::prepareSchema()
{
    const int version = value(QStringLiteral("PRAGMA user_version")).toInt();
    if (version == m_version)
        return;
    failIf(version > m_version,
           QStringLiteral("it was made by another version of this program (schema %1)").arg(version));
    execute(QStringLiteral("BEGIN IMMEDIATE")); // an open transaction ends with the connection
    for (const QString &statement : m_schema)
        execute(statement);
    execute(QStringLiteral("PRAGMA user_version = %1").arg(m_version));
    execute(QStringLiteral("COMMIT"));
}

bool Database::moveAside(const QString &reason)
{
    closeFile();
    const QString target = services::moveAside(m_file, reason);
    for (const char *suffix : {"-wal", "-shm"}) {
        if (!target.isEmpty())
            QFile::rename(m_file + QLatin1String(suffix), target + QLatin1String(suffix));
    }
    return !target.isEmpty();
}

void Database::closeFile()
{
    if (!m_db.isValid())
        return;
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connection);
}

void Database::fail(const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    m_broken = m_broken || code == QLatin1String("11") || code == QLatin1String("26"); // corrupt, not a database
    throw Failure(error.text().trimmed());
}

} // namespace tarn::services
