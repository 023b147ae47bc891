#include "MessageService.h"
#include "tarn/link/MessageWire.h"
#include "tarn/message/MessageKeys.h"
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <atomic>

using namespace tarn;
using rpc::Bag;
using rpc::CallResult;
using services::MessageService;
namespace key = tarn::message::key;
namespace wire = tarn::link::wire;

namespace {

class Context final : public rpc::ICallContext
{
public:
    bool isCancelled() const override { return false; }
};

QString large()
{
    return QString(1024 * 1024, QChar(0x5b57));
} // three bytes of UTF-8 each

} // namespace

// What remote callers get to see, hostile ones included; the visualized service is played by m_present.
class TestMessageService final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void pushStoresAndShows();
    void pushIsStoredWhenNobodyShowsIt();
    void anIgnoredMessageIsNotShownAgain();
    void refusesWhatIsWrong_data();
    void refusesWhatIsWrong();
    void marksWhatItKnows();
    void importNamesTheRecordAndStoresNone();
    void manyCallersAtOnce();
    void answersWhenTheDataCannotBeKept();

private:
    CallResult call(const QString &method, const QVariantMap &values = {}, const QVariantList &list = {})
    {
        return m_service->invoke(method, {values, list}, Context());
    }
    CallResult pushed(const QString &id)
    {
        return call(wire::method::Push, {{key::MsgId, id}, {key::MsgTitle, QStringLiteral("标题")}});
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<MessageService> m_service;
    QList<Bag> m_shown;
    std::function<CallResult()> m_present;
};

void TestMessageService::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_shown.clear();
    m_present = [] {
        CallResult result;
        result.accepted = true;
        return result;
    };
    m_service = std::make_unique<MessageService>(m_dir->path(), [this](const Bag &bag) {
        m_shown.append(bag);
        return m_present();
    });
}

void TestMessageService::cleanup()
{
    m_service.reset();
}

void TestMessageService::pushStoresAndShows()
{
    const auto madeUpId = [this] { // of a message that brings none
        const auto result = call(wire::method::Push, {{key::MsgContent, QStringLiteral("x")}});
        return result.output.values.value(key::MsgId).toString();
    };
    const QString first = madeUpId();
    QVERIFY(!first.isEmpty() && first != madeUpId());
    const QVariantMap message{{key::MsgId, QStringLiteral("m")},
                              {key::MsgTitle, QStringLiteral("标题")},
                              {key::MsgContent, QStringLiteral("正文")},
                              {key::LinkText, QStringLiteral("查看")},
                              {key::LinkAdress, QStringLiteral("https://example.org/")},
                              {key::PicFilePath, QStringLiteral("/tmp/p.png")}};
    const auto result = call(wire::method::Push, message);
    QCOMPARE(result.retCode, 2000);
    QCOMPARE(result.output.values.value(wire::Shown), QVariant(true));
    QCOMPARE(result.output.values.value(key::unReadNum), QVariant(3));
    QVariantMap shown = message;
    shown.insert(key::unReadNum, QStringLiteral("3"));
    QCOMPARE(m_shown.size(), 3);
    QCOMPARE(m_shown.at(2).values, shown);

    const auto record = call(QStringLiteral("GetMessageRecord"), {{key::MsgId, QStringLiteral("m")}});
    QCOMPARE(record.output.list.size(), 1);
    const QVariantMap stored = record.output.list.at(0).toMap();
    QCOMPARE(stored.value(key::LinkAdress), message.value(key::LinkAdress));
    QCOMPARE(stored.value(key::unRead), QVariant(true));
    QVERIFY(!stored.value(key::MsgDateTime).toString().isEmpty());
    QCOMPARE(stored.size(), 14);
}

void TestMessageService::pushIsStoredWhenNobodyShowsIt()
{
    m_present = [] {
        CallResult result;
        result.error = {rpc::RpcError::NotFound, "nobody there"};
        return result;
    };
    auto result = pushed(QStringLiteral("m"));
    QCOMPARE(result.retCode, 2000);
    QCOMPARE(result.output.values.value(wire::Shown), QVariant(false));
    QCOMPARE(result.output.values.value(wire::ShowError), QVariant(QStringLiteral("nobody there")));
    m_present = [] { return CallResult(); }; // arrived, and was refused
    result = pushed(QStringLiteral("m2"));
    QCOMPARE(result.output.values.value(wire::Shown), QVariant(false));
    QVERIFY(!result.output.values.value(wire::ShowError).toString().isEmpty());
    QCOMPARE(call(wire::method::UnreadCount).output.values.value(key::unReadNum), QVariant(2));
}

void TestMessageService::anIgnoredMessageIsNotShownAgain()
{
    pushed(QStringLiteral("m"));
    QCOMPARE(
        call(QStringLiteral("IgnoreMessage"), {{key::SoftName, QString()}, {key::MsgId, QStringLiteral("m")}}).retCode,
        2000);
    const auto again = pushed(QStringLiteral("m"));
    QVERIFY(again.accepted);
    QCOMPARE(again.output.values.value(wire::Shown), QVariant(false));
    QCOMPARE(m_shown.size(), 1);
}

void TestMessageService::refusesWhatIsWrong_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantMap>("values");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("names"); // what the error text has to name
    const auto row = [](const char *name, const char *method, const QVariantMap &values, int code, const char *names) {
        QTest::newRow(name) << QString::fromLatin1(method) << values << code << QString::fromUtf8(names);
    };
    const QString known = QStringLiteral("known");
    const QString unknown = QStringLiteral("x' OR '1'='1");
    const QString state = QStringLiteral("MsgState");
    const QVariantList ids{known};
    row("receipt: id is a list", "AddMessageReceipt", {{key::MsgId, ids}, {key::MessageReceipt, 2}}, 2003, "MsgId");
    row("receipt: huge id", "AddMessageReceipt", {{key::MsgId, large()}, {key::MessageReceipt, 2}}, 2003, "MsgId");
    row("receipt: 64 bits", "AddMessageReceipt", {{key::MsgId, known}, {key::MessageReceipt, 4294967298LL}}, 2003,
        "MessageReceipt");
    row("status: under the wrong key", "UpdateMessageStatus",
        {{key::MsgIdList, ids}, {key::OperateType, QStringLiteral("MessageStatu")}, {state, 3}}, 2003, "MessageStatu");
    row("status: 3 as read", "UpdateMessageStatus", {{key::MsgIdList, ids}, {key::OperateType, state}, {state, 3}},
        2003, "MsgState");
    row("status: ids are a string", "UpdateMessageStatus",
        {{key::MsgIdList, known}, {key::OperateType, state}, {state, 2}}, 2003, "MsgId_list");
    row("status: one id is a number", "UpdateMessageStatus",
        {{key::MsgIdList, QVariantList{known, 5}}, {key::OperateType, state}, {state, 2}}, 2003, "entry 1");
    row("status: unknown message", "UpdateMessageStatus",
        {{key::MsgIdList, QVariantList{unknown}}, {key::OperateType, state}, {state, 2}}, 2002, "OR '1'");
    row("push: nothing to show", "PushMessage", {{key::LinkText, QStringLiteral("x")}}, 2003, "MsgTitle");
    row("push: content too large", "PushMessage", {{key::MsgContent, large()}}, 2003, "MsgContent");
    row("push: id with a line break", "PushMessage", {{key::MsgTitle, known}, {key::MsgId, QStringLiteral("a\nb")}},
        2003, "MsgId");
    row("list: made-up place", "ListMessages", {{wire::Cursor, QStringLiteral("x")}}, 2002, "place");
}

void TestMessageService::refusesWhatIsWrong()
{
    QFETCH(const QString, method);
    QFETCH(const QVariantMap, values);
    QFETCH(const int, code);
    QFETCH(const QString, names);
    pushed(QStringLiteral("known"));
    const auto result = call(method, values);
    QVERIFY(result.arrived());
    QVERIFY(!result.accepted);
    QCOMPARE(result.retCode, code);
    QVERIFY2(result.errorText.contains(names), qPrintable(result.errorText));
    QVERIFY(result.errorText.size() < 1000);
    const auto all = call(wire::method::List, {{wire::All, true}});
    QCOMPARE(all.output.list.size(), 1);
    QCOMPARE(all.output.list.at(0).toMap().value(key::unRead), QVariant(true));
    QCOMPARE(m_shown.size(), 1);
    QCOMPARE(call(QStringLiteral("NoSuchMethod")).error.code, int(rpc::RpcError::NotFound));
}

void TestMessageService::marksWhatItKnows()
{
    QVariantList ids;
    for (int i = 0; i < 100000; ++i)
        ids.append(QString::number(i));
    pushed(QStringLiteral("500"));
    pushed(QStringLiteral("99999"));
    const auto result =
        call(QStringLiteral("UpdateMessageStatus"),
             {{key::MsgIdList, ids}, {key::OperateType, QStringLiteral("MsgState")}, {QStringLiteral("MsgState"), 2}});
    QCOMPARE(result.retCode, 2000);
    QCOMPARE(result.output.values.value(wire::Updated), QVariant(2));
    QCOMPARE(result.output.values.value(wire::Unknown), QVariant(99998));
    QCOMPARE(call(wire::method::UnreadCount).output.values.value(key::unReadNum), QVariant(0));
}

void TestMessageService::importNamesTheRecordAndStoresNone()
{
    const QVariantMap good{{key::MsgTitle, QStringLiteral("t")}};
    auto result = call(wire::method::Import, {{wire::First, 500}}, {good, good, QVariantMap{{key::MsgTitle, 7}}});
    QCOMPARE(result.retCode, 2003);
    QVERIFY2(result.errorText.startsWith(QStringLiteral("record 502: MsgTitle")), qPrintable(result.errorText));
    QVERIFY(call(wire::method::List).output.list.isEmpty());
    QCOMPARE(call(wire::method::Import, {}, {good, 5}).retCode, 2003);
    result = call(wire::method::Import, {}, {good, good});
    QCOMPARE(result.output.values.value(wire::Imported), QVariant(2));
    QCOMPARE(call(wire::method::List).output.list.size(), 2);
    QVERIFY(m_shown.isEmpty());
}

void TestMessageService::manyCallersAtOnce()
{
    constexpr int Callers = 8;
    constexpr int Each = 50;
    std::atomic<int> accepted{0};
    QThreadPool pool;
    pool.setMaxThreadCount(Callers);
    const QVariantMap message{{key::MsgTitle, QStringLiteral("t")}};
    for (int i = 0; i < Callers; ++i) {
        pool.start([&] {
            for (int n = 0; n < Each; ++n)
                accepted += call(wire::method::Import, {}, {message}).accepted ? 1 : 0;
        });
    }
    pool.waitForDone();
    QCOMPARE(accepted.load(), Callers * Each);
    QCOMPARE(call(wire::method::UnreadCount).output.values.value(key::unReadNum), QVariant(Callers * Each));
}

void TestMessageService::answersWhenTheDataCannotBeKept()
{
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("database .*messages.db:")));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("messages.db")));
    const auto result = pushed(QStringLiteral("m"));
    QCOMPARE(result.retCode, 2002);
    QVERIFY2(result.errorText.startsWith(QStringLiteral("the database cannot be used")), qPrintable(result.errorText));
    QVERIFY(m_shown.isEmpty());
    QVERIFY(QDir(m_dir->path()).rmdir(QStringLiteral("messages.db")));
    QCOMPARE(pushed(QStringLiteral("m")).retCode, 2000);
}

QTEST_GUILESS_MAIN(TestMessageService)
#include "tst_MessageService.moc"
