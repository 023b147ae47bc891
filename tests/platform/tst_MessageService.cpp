#include "services/Database.h"
#include "services/Files.h"
#include "services/Services.h"
#include "support/CallContext.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <future>
#include <sys/stat.h>
#include <vector>

using namespace tarn;
using namespace tarn::services;
using rpc::Bag;
using rpc::CallResult;
namespace key = tarn::message::key;
namespace wire = tarn::link::wire;

namespace {

QVariantMap made(const QString &id, const QString &time = "2026-01-01 10:00:00", const QString &content = {})
{
    return {{key::MsgId, id}, {key::MsgTitle, "标题"}, {key::MsgDateTime, time}, {key::MsgContent, content}};
}

QVariantMap status(const QVariant &ids, const QString &type, const QString &under, int state)
{
    return {{key::MsgIdList, ids}, {key::OperateType, type}, {under, state}};
}

} // namespace

// What remote callers get to see; the visualized service is a recorder.
class TestMessageService final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_service.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        m_shown.clear();
        start();
    }

    void anotherDeliveryKeepsTheIgnoreButIsUnreadAgain()
    {
        pushed("m");
        const QVariantMap receipt{{key::MsgId, "m"}, {key::MessageReceipt, 3}, {key::SoftName, "软件"}};
        QVERIFY(call("AddMessageReceipt", receipt).accepted && call("AddMessageReceipt", receipt).accepted);
        QVERIFY(call("IgnoreMessage", {{key::SoftName, QString()}, {key::MsgId, "m"}}).accepted);
        QCOMPARE(call("IgnoreMessage", {{key::SoftName, QString()}, {key::MsgId, "unknown"}}).retCode, 2002);
        QCOMPARE(
            call("UpdateMessageStatus", status(QStringList{"m", "unknown"}, "MsgState", "MsgState", 2)).output.values,
            (QVariantMap{{wire::Updated, 1}, {wire::Unknown, 1}}));
        start(); // all of it is on the disk
        const auto record = [this] { return call(wire::method::List).output.list.value(0).toMap(); };
        QCOMPARE(record().value(key::unRead), QVariant(false));
        QVERIFY(!record().value(wire::detail::IgnoredTime).toString().isEmpty());
        const auto again = pushed("m", "新标题");
        QCOMPARE(again.output.values.value(wire::Shown), QVariant(false));
        QCOMPARE(again.output.values.value(key::unReadNum), QVariant(1));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(record().value(key::MsgTitle), QVariant("新标题"));
        const QVariantList receipts = record().value(wire::detail::Receipts).toList();
        QCOMPARE(receipts.size(), 1);
        QCOMPARE(receipts.at(0).toMap().value(key::SoftName), QVariant("软件"));
        QCOMPARE(receipts.at(0).toMap().value(wire::detail::Count), QVariant(2));
    }

    // Changes between two pages neither repeat nor lose a message that stays.
    void pagesGoOnWhereTheyStopped()
    {
        fill(3000);
        QStringList expected = rest();
        QCOMPARE(expected.size(), 3000);
        const CallResult first = call("GetAllMessageRecords");
        QVERIFY(first.output.values.contains(wire::Cursor));
        QVERIFY(call(wire::method::Import, {}, {made("newcomer", "2030-01-01 00:00:00")}).accepted);
        const QStringList deleted{expected.first(), expected.last()};
        QVERIFY(call("UpdateMessageStatus", status(deleted, "MessageStatu", "MessageStatu", 3)).accepted);
        expected.removeLast();
        QCOMPARE(rest(first.output.values), expected.mid(first.output.list.size()));
        for (const QString &place : QStringList{"x", ":", "1:", "1:x", "99999999999999999999:1", "1:1:1"})
            QVERIFY(rest({{wire::Cursor, place}}).first().contains("no such place"));
    }

    // The file is damaged under a running service: one request is refused, the next ones use a new file.
    void breaksInTheMiddle()
    {
        fill(2000, QString(4000, u'x')); // more than SQLite caches
        start();
        pushed("opens");
        QFile damaged(m_dir->filePath("messages.db"));
        const qint64 size = damaged.size();
        QVERIFY(size > 40960 && damaged.open(QIODevice::ReadWrite) && damaged.seek(4096));
        damaged.write(QByteArray(int(size) - 4096, '\x5a'));
        damaged.close();
        QVERIFY(!call("GetAllMessageRecords").accepted || rest().size() < 2000);
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("is moved to"));
        QVERIFY(pushed("m").accepted);
        QCOMPARE(rest(), QStringList{"m"});
        QCOMPARE(movedAside().size(), 1);
        QCOMPARE(QFileInfo(m_dir->filePath(movedAside().at(0))).size(), size);
    }

    void leavesOthersDataAlone()
    {
        pushed("m");
        Database database(m_dir->filePath("messages.db"), {});
        const auto broken = [&] {
            database.run("DELETE FROM messages");
            throw Failure("broken off");
        };
        QVERIFY_EXCEPTION_THROWN(database.inTransaction(broken), Failure);
        QCOMPARE(rest(), QStringList{"m"});
        database.run("PRAGMA user_version = 99");
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("schema 99"));
        start();
        QVERIFY(rest().first().contains("schema 99"));
        QVERIFY(movedAside().isEmpty());
    }

    void theDirectoryIsPrivate()
    {
        const QByteArray outer = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir->filePath("a/b")));
        const QString directory = m_dir->filePath("a/b/tarn");
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(dataDirectory(), directory);
            QVERIFY(!(QFile::permissions(directory) & QFile::Permissions(0x77)));
            ::chmod(qPrintable(directory), 0755);
        }
        QVERIFY(QDir().rename(directory, directory + "-elsewhere"));
        QVERIFY(QFile::link(directory + "-elsewhere", directory));
        QVERIFY(errorOf([] { dataDirectory(); }).contains(directory));
        qputenv("XDG_DATA_HOME", outer);
    }

    void refusesWhatIsWrong()
    {
        const QString large(1024 * 1024, QChar(0x5b57)); // three bytes of UTF-8 each
        const QVariantList ids{"known"};
        const std::tuple<QString, QVariantMap, QString> requests[] = {
            // with a word of the error text
            {"AddMessageReceipt", {{key::MsgId, ids}, {key::MessageReceipt, 2}}, "MsgId"},
            {"AddMessageReceipt", {{key::MsgId, "known"}, {key::MessageReceipt, 4294967298LL}}, "MessageReceipt"},
            {"UpdateMessageStatus", status(ids, "MessageStatu", "MsgState", 3), "MessageStatu"},
            {"UpdateMessageStatus", status("known", "MsgState", "MsgState", 2), "MsgId_list"},
            {"UpdateMessageStatus", status(QVariantList{"known", 5}, "MsgState", "MsgState", 2), "entry 1"},
            {"PushMessage", {{key::LinkText, "x"}}, "MsgTitle"},
            {"PushMessage", {{key::MsgContent, large}}, "MsgContent"},
            {"PushMessage", {{key::MsgTitle, "x"}, {key::MsgId, "a\nb"}}, "MsgId"},
        };
        pushed("known");
        for (const auto &[method, values, named] : requests) {
            const auto result = call(method, values);
            QVERIFY2(result.retCode == 2003 && result.errorText.size() < 1000, qPrintable(result.errorText));
            QVERIFY2(result.errorText.contains(named), qPrintable(result.errorText));
        }
        const QVariantList second{made("x", "2030-01-01 00:00:00"), 5};
        QVERIFY(
            call(wire::method::Import, {{wire::First, 2147483647}}, second).errorText.contains("record 2147483648:"));
        const auto all = call(wire::method::List, {{wire::All, true}});
        QCOMPARE(all.output.list.size(), 1);
        QCOMPARE(all.output.list.at(0).toMap().value(key::unRead), QVariant(true));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(call("NoSuchMethod").error.code, int(rpc::RpcError::NotFound));
    }

    void manyCallersAtOnce()
    {
        constexpr int Callers = 8, Each = 50;
        std::vector<std::future<void>> callers;
        for (int i = 0; i < Callers; ++i)
            callers.push_back(std::async(std::launch::async, [this] {
                for (int n = 0; n < Each; ++n)
                    call(wire::method::Import, {}, {QVariantMap{{key::MsgTitle, "t"}}});
            }));
        callers.clear();
        QCOMPARE(call(wire::method::UnreadCount).output.values.value(key::unReadNum), QVariant(Callers * Each));
    }

    void answersWhenTheDataCannotBeKept()
    {
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("database .*messages.db:"));
        QVERIFY(QDir(m_dir->path()).mkdir("messages.db"));
        const auto result = pushed("m");
        QCOMPARE(result.retCode, 2002);
        QVERIFY2(result.errorText.startsWith("the database cannot be used"), qPrintable(result.errorText));
        QVERIFY(m_shown.isEmpty());
        QVERIFY(QDir(m_dir->path()).rmdir("messages.db"));
        QCOMPARE(pushed("m").retCode, 2000);
    }

private:
    CallResult call(const QString &method, const QVariantMap &values = {}, const QVariantList &list = {})
    {
        return m_service->invoke(method, {values, list}, CallContext());
    }

    CallResult pushed(const QString &id, const QString &title = "标题")
    {
        return call(wire::method::Push, {{key::MsgId, id}, {key::MsgTitle, title}});
    }

    void start()
    {
        m_service = makeMessageService(m_dir->path(), [this](const QString &operation, const Bag &bag) {
            if (operation == "ShowNotifyMessage")
                m_shown.append(bag);
            return ok();
        });
    }

    void fill(int count, const QString &content = {})
    {
        QVariantList messages;
        for (int i = 0; i < count; ++i)
            messages << made(QString::number(i), "2026-01-01 10:00:00", content);
        QVERIFY(call(wire::method::Import, {}, messages).accepted);
    }

    // The ids that follow a place in the list, or the error.
    QStringList rest(QVariantMap place = {})
    {
        QStringList ids;
        do {
            const CallResult page = call("GetAllMessageRecords", place);
            if (!page.accepted)
                return {page.errorText};
            for (const QVariant &record : page.output.list)
                ids << record.toMap().value(key::MsgId).toString();
            place = page.output.values;
        } while (place.contains(wire::Cursor));
        return ids;
    }

    QStringList movedAside() const
    {
        return QDir(m_dir->path()).entryList({"messages.db.broken-*"}).filter(QRegularExpression("[0-9]$"));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QSharedPointer<rpc::IInvocable> m_service;
    QList<Bag> m_shown;
};

QTEST_GUILESS_MAIN(TestMessageService)
#include "tst_MessageService.moc"
