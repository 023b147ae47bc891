#include "services/UpgradeStore.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QJsonDocument>
#include <QJsonObject>

namespace tarn::services {

namespace {

QStringList schema()
{
    return {
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS ignores(product TEXT NOT NULL, bits TEXT NOT NULL, kind TEXT NOT NULL, "
            "item TEXT NOT NULL, version TEXT NOT NULL, ignored_at INTEGER NOT NULL, "
            "PRIMARY KEY(product, bits, kind, item, version)) WITHOUT ROWID"),
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS tasks(seq INTEGER PRIMARY KEY AUTOINCREMENT, product TEXT NOT NULL UNIQUE, "
            "state INTEGER NOT NULL, error TEXT NOT NULL, current_version TEXT NOT NULL, "
            "exe TEXT NOT NULL, sections TEXT NOT NULL, started_at INTEGER NOT NULL, "
            "changed_at INTEGER NOT NULL)"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS items(seq INTEGER NOT NULL REFERENCES tasks(seq) ON DELETE CASCADE, "
                       "position INTEGER NOT NULL, type INTEGER NOT NULL, name TEXT NOT NULL, "
                       "version TEXT NOT NULL, url TEXT NOT NULL, sha256 TEXT NOT NULL, size INTEGER NOT NULL, "
                       "received INTEGER NOT NULL, PRIMARY KEY(seq, position)) WITHOUT ROWID"),
    };
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
    return m_db.inTransaction([&] {
        QString error;
        for (auto it = offers.cbegin(); it != offers.cend() && error.isEmpty(); ++it)
            error = m_db.run(QStringLiteral("INSERT OR REPLACE INTO ignores VALUES(?, ?, ?, ?, ?, ?)"),
                             {it->product, it->bits, it->kind, it->item, it->version, now()});
        return error;
    });
}

QString UpgradeStore::ignores(QList<Ignored> *list)
{
    return m_db.run(QStringLiteral("SELECT product, bits, kind, item, version, ignored_at FROM ignores "
                                   "ORDER BY ignored_at, product, kind, item"),
                    {}, [list](const QSqlQuery &row) {
                        *list << Ignored{{row.value(0).toString(), row.value(1).toString(), row.value(2).toString(),
                                          row.value(3).toString(), row.value(4).toString()},
                                         row.value(5).toLongLong()};
                        return true;
                    });
}

QString UpgradeStore::forgetIgnores(const QString &product, int *removed)
{
    QString error =
        m_db.run(QStringLiteral("DELETE FROM ignores WHERE ? OR product = ?"), {product.isEmpty(), product});
    *removed = error.isEmpty() ? m_db.changed() : 0;
    return error;
}

QString UpgradeStore::start(const UpgradeTask &task)
{
    return m_db.inTransaction([&] {
        UpgradeTask before;
        QString error = m_db.run(QStringLiteral("SELECT state FROM tasks WHERE product = ?"), {task.product},
                                 [&](const QSqlQuery &row) {
                                     before.state = row.value(0).toInt();
                                     return false;
                                 });
        return before.isActive() || !error.isEmpty() ? error : insertTask(task);
    });
}

QString UpgradeStore::insertTask(const UpgradeTask &task)
{
    QString error = m_db.run(QStringLiteral("DELETE FROM tasks WHERE product = ?"), {task.product});
    const qint64 time = now();
    if (error.isEmpty())
        error = m_db.run(QStringLiteral("INSERT INTO tasks(product, state, error, current_version, exe, sections, "
                                        "started_at, changed_at) VALUES(?, ?, ?, ?, ?, ?, ?, ?)"),
                         {task.product, task.state, task.error, task.currentVersion, task.exePath,
                          QString::fromUtf8(toJson(task.sections)), time, time});
    const qint64 seq = m_db.lastId();
    for (int i = 0; i < task.items.size() && error.isEmpty(); ++i) {
        const UpgradeItem &entry = task.items.at(i);
        error = m_db.run(QStringLiteral("INSERT INTO items VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0)"),
                         {seq, i, entry.type, entry.name, entry.version, entry.url, entry.sha256, entry.size});
    }
    return error;
}

QString UpgradeStore::tasks(QList<UpgradeTask> *list)
{
    return readTasks(QString(), list);
}

QString UpgradeStore::task(const QString &product, UpgradeTask *task)
{
    QList<UpgradeTask> list;
    QString error = product.isEmpty() ? QString() : readTasks(product, &list);
    *task = list.isEmpty() ? UpgradeTask() : list.constFirst();
    return error;
}

// Reads the task of one product, or all tasks without a name.
QString UpgradeStore::readTasks(const QString &product, QList<UpgradeTask> *list)
{
    QString error = m_db.run(QStringLiteral("SELECT product, state, error, current_version, exe, sections, seq "
                                            "FROM tasks WHERE ? = '' OR product = ? ORDER BY seq"),
                             {product, product}, [list](const QSqlQuery &row) {
                                 UpgradeTask task;
                                 task.product = row.value(0).toString();
                                 task.state = row.value(1).toInt();
                                 task.error = row.value(2).toString();
                                 task.currentVersion = row.value(3).toString();
                                 task.exePath = row.value(4).toString();
                                 task.sections =
                                     QJsonDocument::fromJson(row.value(5).toString().toUtf8()).object().toVariantMap();
                                 task.id = row.value(6).toLongLong();
                                 *list << task;
                                 return true;
                             });
    for (auto it = list->begin(); it != list->end() && error.isEmpty(); ++it)
        error = readItems(&*it);
    return error;
}

QString UpgradeStore::readItems(UpgradeTask *task)
{
    return m_db.run(QStringLiteral("SELECT type, name, version, url, sha256, size, received FROM items "
                                   "WHERE seq = ? ORDER BY position"),
                    {task->id}, [task](const QSqlQuery &row) {
                        task->items << UpgradeItem{row.value(0).toInt(),     row.value(1).toString(),
                                                   row.value(2).toString(),  row.value(3).toString(),
                                                   row.value(4).toString(),  row.value(5).toLongLong(),
                                                   row.value(6).toLongLong()};
                        return true;
                    });
}

QString UpgradeStore::setState(const QString &product, int state, const QString &reason, bool *known)
{
    QString error = m_db.run(QStringLiteral("UPDATE tasks SET state = ?, error = ?, changed_at = ? WHERE product = ?"),
                             {state, reason, now(), product});
    *known = error.isEmpty() && m_db.changed() > 0;
    return error;
}

} // namespace tarn::services
