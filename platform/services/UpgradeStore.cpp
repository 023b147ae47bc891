#include "services/UpgradeStore.h"
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

QList<Offer> UpgradeStore::ignores()
{
    return m_db.rows(QStringLiteral("SELECT product, bits, kind, item, version, ignored_at FROM ignores "
                                    "ORDER BY ignored_at, product, kind, item"),
                     {}, [](const QSqlQuery &row) {
                         return Offer{row.value(0).toString(), row.value(1).toString(), row.value(2).toString(),
                                      row.value(3).toString(), row.value(4).toString(), row.value(5).toLongLong()};
                     });
}

int UpgradeStore::forgetIgnores(const QString &product)
{
    return m_db.run(QStringLiteral("DELETE FROM ignores WHERE ? OR product = ?"), {product.isEmpty(), product});
}

QList<UpgradeTask> UpgradeStore::tasks()
{
    QMap<qint64, QList<UpgradeItem>> items;
    m_db.run(QStringLiteral("SELECT seq, type, name, version, url, sha256, size FROM items ORDER BY seq, position"), {},
             [&items](const QSqlQuery &row) {
                 items[row.value(0).toLongLong()]
                     << UpgradeItem{row.value(1).toInt(),    row.value(2).toString(), row.value(3).toString(),
                                    row.value(4).toString(), row.value(5).toString(), row.value(6).toLongLong()};
                 return true;
             });
    return m_db.rows(
        QStringLiteral("SELECT seq, product, state, error, current_version, exe, sections FROM tasks ORDER BY seq"), {},
        [&items](const QSqlQuery &row) {
            const qint64 id = row.value(0).toLongLong();
            return UpgradeTask{id,
                               row.value(1).toString(),
                               row.value(2).toInt(),
                               row.value(3).toString(),
                               row.value(4).toString(),
                               row.value(5).toString(),
                               QJsonDocument::fromJson(row.value(6).toByteArray()).object().toVariantMap(),
                               items.value(id)};
        });
}

qint64 UpgradeStore::save(const UpgradeTask &task)
{
    qint64 id = task.id;
    m_db.inTransaction([&] {
        const QByteArray sections =
            QJsonDocument(QJsonObject::fromVariantMap(task.sections)).toJson(QJsonDocument::Compact);
        m_db.run(QStringLiteral("DELETE FROM tasks WHERE product = ?"), {task.product});
        m_db.run(QStringLiteral("INSERT INTO tasks VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                 {id == 0 ? QVariant() : id, task.product, task.state, task.error, task.currentVersion, task.exePath,
                  QString::fromUtf8(sections), now(), now()});
        id = m_db.value(QStringLiteral("SELECT last_insert_rowid()")).toLongLong();
        int position = 0;
        for (const UpgradeItem &item : task.items)
            m_db.run(QStringLiteral("INSERT INTO items VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0)"),
                     {id, position++, item.type, item.name, item.version, item.url, item.sha256, item.size});
    });
    return id;
}

} // namespace tarn::services
