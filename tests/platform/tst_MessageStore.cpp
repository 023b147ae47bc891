#include "services/DataDirectory.h"
#include "services/MessageStore.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

using namespace tarn;
using services::Message;
using services::MessageStore;
namespace key = tarn::message::key;
namespace detail = tarn::link::wire::detail;

namespace {

Message made(const QString &id, const QString &time = QStringLiteral("2026-01-01 10:00:00"))
{
    Message m;
    m.id = id;
    m.title = QStringLiteral("标题 ") + id;
    m.dateTime = time;
    return m;
}

QVariantList allOf(MessageStore &store, MessageStore::Kind kind)
{
    QVariantList all;
    QString cursor;
    do {
        QVariantList page;
        const QString error = store.page(kind, &cursor, &page);
        if (!error.isEmpty())
            qFatal("%s", qPrintable(error));
        all += page;
    } while (!cursor.isEmpty());
    return all;
}

QStringList idsOf(const QVariantList &records)
{
    QStringList ids;
    for (const QVariant &record : records)
        ids.append(record.toMap().value(key::MsgId).toString());
    return ids;
}

} // namespace

class TestMessageStore final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void anotherDeliveryKeepsTheIgnoreButIsUnreadAgain();
    void pagesGoOnWhereTheyStopped();
    void breaksInTheMiddle();
    void leavesANewerSchemaAlone();
    void theDirectoryIsPrivate();

private:
    QString file() const { return m_dir->filePath(QStringLiteral("messages.db")); }
    QStringList movedAside() const
    {
        return QDir(m_dir->path())
            .entryList({QStringLiteral("messages.db.broken-*")})
            .filter(QRegularExpression(QStringLiteral("[0-9]$")));
    }
    static void fill(MessageStore &store, int count, const QString &content = {})
    {
        QList<Message> messages;
        for (int i = 0; i < count; ++i) {
            messages.append(made(QStringLiteral("%1").arg(i, 5, 10, QLatin1Char('0'))));
            messages.last().content = content;
        }
        QCOMPARE(store.import(messages), QString());
    }
    void put(MessageStore &store, const Message &message)
    {
        MessageStore::Delivery delivery;
        QCOMPARE(store.put(message, &delivery), QString());
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestMessageStore::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

void TestMessageStore::anotherDeliveryKeepsTheIgnoreButIsUnreadAgain()
{
    Message message = made(QStringLiteral("m"));
    MessageStore::Delivery delivery;
    {
        MessageStore store(m_dir->path());
        QCOMPARE(store.put(message, &delivery), QString());
        QVERIFY(!delivery.ignored);
        bool known = false;
        int marked = 0;
        QCOMPARE(store.addReceipt(message.id, 3, QStringLiteral("软件"), &known), QString());
        QCOMPARE(store.addReceipt(message.id, 3, QStringLiteral("软件"), &known), QString());
        QCOMPARE(store.ignore(message.id, QString(), &known), QString());
        QVERIFY(known);
        QCOMPARE(store.setStatus({message.id, QStringLiteral("nobody")}, 2, &marked), QString());
        QCOMPARE(marked, 1);
        QCOMPARE(store.ignore(QStringLiteral("nobody"), QString(), &known), QString());
        QVERIFY(!known);
    }
    MessageStore store(m_dir->path()); // all of it is on the disk
    QVariantMap record = allOf(store, MessageStore::Kind::Details).at(0).toMap();
    QCOMPARE(record.value(key::unRead), QVariant(false));
    QVERIFY(!record.value(detail::IgnoredTime).toString().isEmpty());
    const QVariantList receipts = record.value(detail::Receipts).toList();
    QCOMPARE(receipts.size(), 1);
    QCOMPARE(receipts.at(0).toMap().value(key::SoftName), QVariant(QStringLiteral("软件")));
    QCOMPARE(receipts.at(0).toMap().value(detail::Count), QVariant(2));
    message.title = QStringLiteral("新标题");
    QCOMPARE(store.put(message, &delivery), QString());
    QVERIFY(delivery.ignored);
    QCOMPARE(delivery.unread, 1);
    record = allOf(store, MessageStore::Kind::Details).at(0).toMap();
    QCOMPARE(record.value(key::MsgTitle), QVariant(QStringLiteral("新标题")));
    QCOMPARE(record.value(detail::Receipts).toList().size(), 1);
}

// Changes between two pages neither repeat nor lose a message that stays.
void TestMessageStore::pagesGoOnWhereTheyStopped()
{
    MessageStore store(m_dir->path());
    fill(store, 3000);
    QStringList expected = idsOf(allOf(store, MessageStore::Kind::Records));
    QCOMPARE(expected.size(), 3000);
    QString cursor;
    QVariantList all;
    QCOMPARE(store.page(MessageStore::Kind::Records, &cursor, &all), QString());
    QVERIFY(!cursor.isEmpty());
    int count = 0;
    put(store, made(QStringLiteral("newcomer"), QStringLiteral("2030-01-01 00:00:00")));
    QCOMPARE(store.setStatus({expected.first(), expected.last()}, 3, &count), QString());
    while (!cursor.isEmpty()) {
        QVariantList page;
        QCOMPARE(store.page(MessageStore::Kind::Records, &cursor, &page), QString());
        all += page;
    }
    expected.removeLast();
    QCOMPARE(idsOf(all), expected);
    for (const char *place : {"x", ":", "1:", "1:x", "99999999999999999999:1", "1:1:1"}) {
        cursor = QString::fromLatin1(place);
        QVERIFY(store.page(MessageStore::Kind::Records, &cursor, &all).contains(QStringLiteral("no such place")));
    }
}

// The file goes bad under a running service: one request is refused, then all goes on with a new file.
void TestMessageStore::breaksInTheMiddle()
{
    {
        MessageStore store(m_dir->path());
        fill(store, 2000, QString(4000, u'x')); // more than SQLite caches
    }
    MessageStore store(m_dir->path());
    int unread = 0;
    QCOMPARE(store.unreadCount(&unread), QString());
    QFile damaged(file());
    QVERIFY(damaged.open(QIODevice::ReadWrite));
    const qint64 size = damaged.size();
    QVERIFY(size > 40960);
    damaged.seek(4096);
    damaged.write(QByteArray(int(damaged.size()) - 4096, '\x5a'));
    damaged.close();
    QString cursor;
    QVariantList page;
    QString error;
    do
        error = store.page(MessageStore::Kind::Records, &cursor, &page);
    while (error.isEmpty() && !cursor.isEmpty());
    QVERIFY(!error.isEmpty());
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("is moved to")));
    put(store, made(QStringLiteral("m")));
    QCOMPARE(allOf(store, MessageStore::Kind::Records).size(), 1);
    QCOMPARE(movedAside().size(), 1);
    QCOMPARE(QFileInfo(m_dir->filePath(movedAside().at(0))).size(), size);
}

void TestMessageStore::leavesANewerSchemaAlone()
{
    {
        MessageStore store(m_dir->path());
        put(store, made(QStringLiteral("m")));
    }
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("newer"));
        db.setDatabaseName(file());
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("PRAGMA user_version = 99")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("newer"));
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("schema 99")));
    MessageStore store(m_dir->path());
    int count = 0;
    QVERIFY(store.unreadCount(&count).contains(QStringLiteral("schema 99")));
    QVERIFY(movedAside().isEmpty());
}

void TestMessageStore::theDirectoryIsPrivate()
{
    const QByteArray outer = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir->path() + QStringLiteral("/a/b")));
    QString error;
    const QString directory = services::dataDirectory(&error);
    QCOMPARE(directory, m_dir->path() + QStringLiteral("/a/b/tarn"));
    const auto mode = [&] {
        struct stat info = {};
        ::stat(QFile::encodeName(directory).constData(), &info);
        return info.st_mode & 0777;
    };
    QCOMPARE(mode(), mode_t(0700));
    ::chmod(QFile::encodeName(directory).constData(), 0755);
    QCOMPARE(services::dataDirectory(&error), directory);
    QCOMPARE(mode(), mode_t(0700));
    QVERIFY(QDir().rename(directory, directory + QStringLiteral("-elsewhere")));
    QVERIFY(QFile::link(directory + QStringLiteral("-elsewhere"), directory));
    QVERIFY(services::dataDirectory(&error).isEmpty());
    QVERIFY2(error.contains(directory), qPrintable(error));
    qputenv("XDG_DATA_HOME", outer);
}

QTEST_GUILESS_MAIN(TestMessageStore)
#include "tst_MessageStore.moc"
