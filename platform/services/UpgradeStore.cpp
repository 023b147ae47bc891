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

void UpgradeStore::ignore(const QList<Offer> &offers)
{
    m_db.inTransaction([&] {
        for (const Offer &offer : offers)
            m_db.run(QStringLiteral("INSERT OR REPLACE INTO ignores VALUES(?, ?, ?, ?, ?, ?)"),
                     {offer.product, offer.bits, offer.kind, offer.item, offer.version, now()});
    });
}

QList<UpgradeStore::Ignored> UpgradeStore::ignores()
{
    return m_db.rows(QStringLiteral("SELECT product, bits, kind, item, version, ignored_at FROM ignores "
                                    "ORDER BY ignored_at, product, kind, item"),
                     {}, [](const QSqlQuery &row) {
                         return Ignored{{row.value(0).toString(), row.value(1).toString(), row.value(2).toString(),
                                         row.value(3).toString(), row.value(4).toString()},
                                        row.value(5).toLongLong()};
                     });
}

int UpgradeStore::forgetIgnores(const QString &product)
{
    return m_db.run(QStringLiteral("DELETE FROM ignores WHERE ? OR product = ?"), {product.isEmpty(), product});
}

void UpgradeStore::start(const UpgradeTask &task)
{
    m_db.inTransaction([&] {
        UpgradeTask before;
        before.state = m_db.value(QStringLiteral("SELECT state FROM tasks WHERE product = ?"), {task.product}).toInt();
        if (!before.isActive())
            insertTask(task);
    });
}

void UpgradeStore::insertTask(const UpgradeTask &task)
{
    const qint64 time = now();
    m_db.run(QStringLiteral("DELETE FROM tasks WHERE product = ?"), {task.product});
    m_db.run(QStringLiteral("INSERT INTO tasks(product, state, error, current_version, exe, sections, started_at, "
                            "changed_at) VALUES(?, ?, ?, ?, ?, ?, ?, ?)"),
             {task.product, task.state, task.error, task.currentVersion, task.exePath,
              QString::fromUtf8(toJson(task.sections)), time, time});
    const qint64 seq = m_db.lastId();
    int position = 0;
    for (const UpgradeItem &entry : task.items)
        m_db.run(QStringLiteral("INSERT INTO items VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0)"),
                 {seq, position++, entry.type, entry.name, entry.version, entry.url, entry.sha256, entry.size});
}

QList<UpgradeTask> UpgradeStore::tasks()
{
    return readTasks(QString());
}

UpgradeTask UpgradeStore::task(const QString &product)
{
    return product.isEmpty() ? UpgradeTask() : readTasks(product).value(0);
}

// The task of one product, or all tasks without a name.
QList<UpgradeTask> UpgradeStore::readTasks(const QString &product)
{
    auto list = m_db.rows(QStringLiteral("SELECT seq, product, state, error, current_version, exe, sections FROM tasks "
                                         "WHERE ? = '' OR product = ? ORDER BY seq"),
                          {product, product}, [](const QSqlQuery &row) {
                              const auto sections = QJsonDocument::fromJson(row.value(6).toString().toUtf8());
                              return UpgradeTask{row.value(0).toLongLong(),
                                                 row.value(1).toString(),
                                                 row.value(2).toInt(),
                                                 row.value(3).toString(),
                                                 row.value(4).toString(),
                                                 row.value(5).toString(),
                                                 sections.object().toVariantMap(),
                                                 {}};
                          });
    for (UpgradeTask &task : list)
        task.items = m_db.rows(QStringLiteral("SELECT type, name, version, url, sha256, size FROM items WHERE seq = ? "
                                              "ORDER BY position"),
                               {task.id}, [](const QSqlQuery &row) {
                                   return UpgradeItem{row.value(0).toInt(),
                                                      row.value(1).toString(),
                                                      row.value(2).toString(),
                                                      row.value(3).toString(),
                                                      row.value(4).toString(),
                                                      row.value(5).toLongLong(),
                                                      0};
                               });
    return list;
}

void UpgradeStore::setState(const QString &product, int state, const QString &reason)
{
    m_db.run(QStringLiteral("UPDATE tasks SET state = ?, error = ?, changed_at = ? WHERE product = ?"),
             {state, reason, now(), product});
}

} // namespace tarn::services
