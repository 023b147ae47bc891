#include "services/Database.h"
#include "services/Files.h"
#include "services/Log.h"
#include <QFile>
#include <QSqlError>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::services {

namespace {

constexpr int SchemaVersion = 1;

// Commits reach the disk before they are answered, and no writer waits for readers.
const char *const Pragmas[] = {"PRAGMA busy_timeout = 5000", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
                               "PRAGMA foreign_keys = ON"};

bool meansBroken(const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    return code == QLatin1String("11") || code == QLatin1String("26"); // corrupt, not a database
}

} // namespace

Database::Database(const QString &file, const QStringList &schema)
    : m_file(file)
    , m_schema(schema)
{
}

Database::~Database()
{
    closeFile();
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
        QString error = control(pragma);
        if (!error.isEmpty())
            return error;
    }
    QString error = checkFile();
    return error.isEmpty() ? prepareSchema() : error;
}

// Its companions get the file's own mode. What fails here shows again when the file is opened as a database.
void Database::makePrivate() const
{
    constexpr mode_t OwnersAlone = 0600;
    const int descriptor = ::open(QFile::encodeName(m_file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, OwnersAlone);
    if (descriptor < 0)
        return;
    if (::fchmod(descriptor, OwnersAlone) != 0)
        qCWarning(servicesLog).noquote() << QStringLiteral("%1 may be open to other users").arg(m_file);
    ::close(descriptor);
}

QString Database::checkFile()
{
    QSqlQuery check = query();
    if (!check.exec(QStringLiteral("PRAGMA quick_check(1)")) || !check.next())
        return failed(check);
    const QString verdict = check.value(0).toString();
    m_broken = verdict != QLatin1String("ok");
    return m_broken ? verdict : QString();
}

QString Database::prepareSchema()
{
    int version = 0;
    {
        QSqlQuery versionQuery = query();
        if (!versionQuery.exec(QStringLiteral("PRAGMA user_version")) || !versionQuery.next())
            return failed(versionQuery);
        version = versionQuery.value(0).toInt();
    }
    if (version == SchemaVersion)
        return {};
    if (version != 0)
        return QStringLiteral("it was made by another version of this program (schema %1)").arg(version);
    return inTransaction([this] {
        QString error;
        QSqlQuery make = query();
        for (const QString &statement : m_schema) {
            if (!make.exec(statement))
                return failed(make);
        }
        if (!make.exec(QStringLiteral("PRAGMA user_version = %1").arg(SchemaVersion)))
            error = failed(make);
        return error;
    });
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

QString Database::control(const char *statement)
{
    QSqlQuery control = query();
    return control.exec(QString::fromLatin1(statement)) ? QString() : failed(control);
}

QString Database::run(QSqlQuery &query)
{
    return query.exec() ? QString() : failed(query);
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
