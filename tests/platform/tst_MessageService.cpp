#include "services/MessageService.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
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

// What remote callers get to see, hostile ones included; the visualized service is a recorder here.
class TestMessageService final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void anIgnoredMessageIsNotShownAgain();
    void refusesWhatIsWrong_data();
    void refusesWhatIsWrong();
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
};

void TestMessageService::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_shown.clear();
    m_service = std::make_unique<MessageService>(m_dir->path(), [this](const Bag &bag) {
        m_shown.append(bag);
        CallResult result;
        result.accepted = true;
        return result;
    });
}

void TestMessageService::cleanup()
{
    m_service.reset();
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
