#include "services/UpgradeStore.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlQuery>

namespace tarn::services {

namespace {

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE ignores(product TEXT NOT NULL, bits TEXT NOT NULL, kind TEXT NOT NULL, "
                       "item TEXT NOT NULL, version TEXT NOT NULL, ignored_at INTEGER NOT NULL, "
                       "PRIMARY KEY(product, bits, kind, item, version)) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE tasks(seq INTEGER PRIMARY KEY AUTOINCREMENT, product TEXT NOT NULL UNIQUE, "
                       "state INTEGER NOT NULL, error TEXT NOT NULL, current_version TEXT NOT NULL, "
                       "exe TEXT NOT NULL, sections TEXT NOT NULL, started_at INTEGER NOT NULL, "
                       "changed_at INTEGER NOT NULL)"),
        QStringLiteral("CREATE TABLE items(seq INTEGER NOT NULL REFERENCES tasks(seq) ON DELETE CASCADE, "
                       "position INTEGER NOT NULL, type INTEGER NOT NULL, name TEXT NOT NULL, "
                       "version TEXT NOT NULL, url TEXT NOT NULL, sha256 TEXT NOT NULL, size INTEGER NOT NULL, "
                       "received INTEGER NOT NULL, PRIMARY KEY(seq, position)) WITHOUT ROWID"),
    };
}

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// A null string would be stored as NULL.
QString text(const QString &s)
{
    return s.isNull() ? QString::fromLatin1("") : s;
}

QByteArray toJson(const QVariantMap &map)
{
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact);
}

} // namespace

UpgradeStore::UpgradeStore(const QString &directory)
    : m_db(directory + QStringLiteral("/upgrade.db"), schema())
{
}

QString UpgradeStore::ignore(const QList<Offer> &offers)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    return m_db.inTransaction([&] {
        QSqlQuery query = m_db.query();
        query.prepare(QStringLiteral("INSERT OR REPLACE INTO ignores VALUES(?, ?, ?, ?, ?, ?)"));
        const qint64 time = now();
        QString failure;
        for (auto it = offers.cbegin(); it != offers.cend() && failure.isEmpty(); ++it) {
            int position = 0;
            for (const QString &value : {it->product, it->bits, it->kind, it->item, it->version})
                query.bindValue(position++, text(value));
            query.bindValue(position, time);
            failure = m_db.run(query);
        }
        return failure;
    });
}

QString UpgradeStore::ignores(QList<Ignored> *list)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT product, bits, kind, item, version, ignored_at FROM ignores "
                                 "ORDER BY ignored_at, product, kind, item"));
    const QString failure = m_db.run(query);
    while (failure.isEmpty() && query.next())
        *list << Ignored{{query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                          query.value(3).toString(), query.value(4).toString()},
                         query.value(5).toLongLong()};
    return failure;
}

QString UpgradeStore::forgetIgnores(const QString &product, int *removed)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("DELETE FROM ignores WHERE :all OR product = :product"));
    query.bindValue(QStringLiteral(":all"), product.isEmpty());
    query.bindValue(QStringLiteral(":product"), text(product));
    const QString failure = m_db.run(query);
    *removed = failure.isEmpty() ? query.numRowsAffected() : 0;
    return failure;
}

QString UpgradeStore::isActive(const QString &product, bool *active)
{
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT state FROM tasks WHERE product = ?"));
    query.addBindValue(product);
    const QString failure = m_db.run(query);
    UpgradeTask task;
    if (failure.isEmpty() && query.next())
        task.state = query.value(0).toInt();
    *active = task.isActive();
    return failure;
}

QString UpgradeStore::start(const UpgradeTask &task)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    return m_db.inTransaction([&] {
        bool active = false;
        const QString failure = isActive(task.product, &active);
        return active || !failure.isEmpty() ? failure : insertTask(task);
    });
}

QString UpgradeStore::insertTask(const UpgradeTask &task)
{
    QSqlQuery drop = m_db.query();
    drop.prepare(QStringLiteral("DELETE FROM tasks WHERE product = ?"));
    drop.addBindValue(task.product);
    QString failure = m_db.run(drop);
    QSqlQuery insert = m_db.query();
    insert.prepare(QStringLiteral("INSERT INTO tasks(product, state, error, current_version, exe, sections, "
                                  "started_at, changed_at) VALUES(?, ?, ?, ?, ?, ?, ?, ?)"));
    const qint64 time = now();
    for (const QVariant &value : {QVariant(task.product), QVariant(task.state), QVariant(text(task.error)),
                                  QVariant(text(task.currentVersion)), QVariant(text(task.exePath)),
                                  QVariant(QString::fromUtf8(toJson(task.sections))), QVariant(time), QVariant(time)})
        insert.addBindValue(value);
    if (failure.isEmpty())
        failure = m_db.run(insert);
    const QVariant seq = insert.lastInsertId();
    QSqlQuery item = m_db.query();
    item.prepare(QStringLiteral("INSERT INTO items VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0)"));
    for (int i = 0; i < task.items.size() && failure.isEmpty(); ++i) {
        const UpgradeItem &entry = task.items.at(i);
        int position = 0;
        for (const QVariant &value :
             {seq, QVariant(i), QVariant(entry.type), QVariant(entry.name), QVariant(entry.version),
              QVariant(entry.url), QVariant(entry.sha256), QVariant(entry.size)})
            item.bindValue(position++, value);
        failure = m_db.run(item);
    }
    return failure;
}

QString UpgradeStore::tasks(QList<UpgradeTask> *list)
{
    return readTasks(QString(), list);
}

QString UpgradeStore::task(const QString &product, UpgradeTask *task)
{
    QList<UpgradeTask> list;
    const QString error = product.isEmpty() ? QString() : readTasks(product, &list);
    *task = list.isEmpty() ? UpgradeTask() : list.constFirst();
    return error;
}

// Of all products without a name.
QString UpgradeStore::readTasks(const QString &product, QList<UpgradeTask> *list)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT product, state, error, current_version, exe, sections, seq FROM tasks "
                                 "WHERE :product = '' OR product = :product ORDER BY seq"));
    query.bindValue(QStringLiteral(":product"), text(product));
    QString failure = m_db.run(query);
    while (failure.isEmpty() && query.next()) {
        UpgradeTask task;
        task.product = query.value(0).toString();
        task.state = query.value(1).toInt();
        task.error = query.value(2).toString();
        task.currentVersion = query.value(3).toString();
        task.exePath = query.value(4).toString();
        task.sections = QJsonDocument::fromJson(query.value(5).toString().toUtf8()).object().toVariantMap();
        task.id = query.value(6).toLongLong();
        failure = readItems(&task);
        *list << task;
    }
    return failure;
}

QString UpgradeStore::readItems(UpgradeTask *task)
{
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT type, name, version, url, sha256, size, received FROM items "
                                 "JOIN tasks USING(seq) WHERE product = ? ORDER BY position"));
    query.addBindValue(task->product);
    const QString failure = m_db.run(query);
    while (failure.isEmpty() && query.next())
        task->items << UpgradeItem{query.value(0).toInt(),     query.value(1).toString(), query.value(2).toString(),
                                   query.value(3).toString(),  query.value(4).toString(), query.value(5).toLongLong(),
                                   query.value(6).toLongLong()};
    return failure;
}

QString UpgradeStore::setState(const QString &product, int state, const QString &reason, bool *known)
{
    const QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("UPDATE tasks SET state = ?, error = ?, changed_at = ? WHERE product = ?"));
    query.addBindValue(state);
    query.addBindValue(text(reason));
    query.addBindValue(now());
    query.addBindValue(product);
    const QString failure = m_db.run(query);
    *known = failure.isEmpty() && query.numRowsAffected() > 0;
    return failure;
}

} // namespace tarn::services
