#include "frame/VtServiceClient.h"
#include "message/MsgDataUpdTask.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include <QTest>
#include <QThreadPool>

namespace {
CMsgUpdTaskData task(qint32 receipt, qint32 status, const QString &operateType = {}, bool ignore = false)
{
    CMsgUpdTaskData data;
    data.receipt = receipt;
    data.status = status;
    data.operateType = operateType;
    data.ignore = ignore;
    data.msgIds = QStringList{"m%1", "m2"};
    data.softwareName = "软件";
    return data;
}

void run(const CMsgUpdTaskData &data)
{
    QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data));
    QThreadPool::globalInstance()->waitForDone();
}

QList<FakeCall> calls()
{
    QList<FakeCall> result;
    const QList<FakeCall> all = FakeClient::fake().calls();
    for (const FakeCall &call : all) {
        if (!call.operation.startsWith("Initialize"))
            result.append(call);
    }
    return result;
}
} // namespace

// Reports to the message service: what is sent, in which order, and which lines tell how it ended.
class TestMsgDataUpdTask final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }
    void cleanup() { CVtServiceClient::ReleaseInstance(); }

    void nothingToReport();
    void readSendsReceiptThenStatus();
    void statusKeyFollowsOperateType_data();
    void statusKeyFollowsOperateType();
    void emptyIdList();
    void outcomeIsLogged_data();
    void outcomeIsLogged();
    void stepsAreIndependent();
    void noAssistant();
};

void TestMsgDataUpdTask::nothingToReport()
{
    run(task(-1, -1));
    QVERIFY(calls().isEmpty());
}

void TestMsgDataUpdTask::readSendsReceiptThenStatus()
{
    run(task(2, 2, "MsgState"));
    const QList<FakeCall> all = calls();
    QCOMPARE(all.size(), 2);
    QCOMPARE(all.at(0).operation, QString("AddMessageReceipt"));
    QCOMPARE(all.at(0).values, (QVariantMap{{"MsgId", "m%1"}, {"MessageReceipt", 2}, {"SoftName", "软件"}}));
    QCOMPARE(all.at(1).operation, QString("UpdateMessageStatus"));
    QCOMPARE(all.at(1).values,
             (QVariantMap{{"MsgId_list", QStringList{"m%1", "m2"}}, {"Operate_type", "MsgState"}, {"MsgState", 2}}));
    QVERIFY(!all.at(0).onGuiThread && !all.at(1).onGuiThread);
}

void TestMsgDataUpdTask::statusKeyFollowsOperateType_data()
{
    QTest::addColumn<QString>("operateType");
    QTest::addColumn<QString>("key");
    QTest::newRow("state") << "MsgState"
                           << "MsgState";
    QTest::newRow("statu") << "MessageStatu"
                           << "MessageStatu";
    QTest::newRow("empty") << QString() << "MessageStatu";
    QTest::newRow("unknown") << "msgstate"
                             << "MessageStatu";
}

void TestMsgDataUpdTask::statusKeyFollowsOperateType()
{
    QFETCH(QString, operateType);
    QFETCH(QString, key);
    run(task(-1, 3, operateType));
    QCOMPARE(calls().size(), 1);
    const QVariantMap values = calls().first().values;
    QCOMPARE(values.value(key), QVariant(3));
    QCOMPARE(values.value("Operate_type").toString(), operateType);
    QCOMPARE(values.size(), 3);
}

void TestMsgDataUpdTask::emptyIdList()
{
    CMsgUpdTaskData data = task(3, -1);
    data.msgIds.clear();
    run(data);
    QCOMPARE(calls().first().values.value("MsgId").toString(), QString());
}

void TestMsgDataUpdTask::outcomeIsLogged_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("lines"); // one is an information, two are critical
    const auto add = [](const char *operation, const QString &ok, const QString &failed, const QString &where) {
        const auto row = [operation](int code) -> QTestData & {
            return QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(operation)).arg(code)))
                   << QString::fromLatin1(operation) << code;
        };
        row(2000) << QStringList(ok);
        row(2001) << QStringList{failed, where + "rpc通信失败，返回错误码为：2001，错误信息为：断 %1。"};
        row(2012) << QStringList{failed, where + "rpc通信失败，返回错误码为：2012，错误信息为：断 %1。"};
        row(2002) << QStringList{failed, where + "失败。返回错误码为：2002，错误信息为：断 %1。"};
        row(0) << QStringList{failed, where + "失败。返回错误码为：0，错误信息为：断 %1。"};
    };
    add("AddMessageReceipt", "添加回执信息成功，消息id为：m%1， 回执类型为：3。",
        "添加回执信息失败，消息id为：m%1， 回执类型为：3。", "【添加回执信息】调用添加回执信息接口");
    add("UpdateMessageStatus", "更新消息状态成功，消息id为：m%1。",
        "更新消息状态失败，消息id为：m%1， 操作类型为：MsgState，消息状态为：2。",
        "【更新消息状态】调用更新消息状态接口");
    add("IgnoreMessage", "下次不再提示消息成功，消息id为：m%1。", "下次不再提示消息失败，消息id为：m%1",
        "【下次不再提示消息】调用下次不再提示消息接口");
}

void TestMsgDataUpdTask::outcomeIsLogged()
{
    QFETCH(QString, operation);
    QFETCH(int, code);
    QFETCH(QStringList, lines);
    FakeAnswer answer;
    answer.code = code;
    answer.error = "断 %1";
    FakeClient::fake().queue(operation, answer);
    const LogCatcher log;
    run(task(operation == "AddMessageReceipt" ? 3 : -1, operation == "UpdateMessageStatus" ? 2 : -1, "MsgState",
             operation == "IgnoreMessage"));
    QCOMPARE(log.texts(lines.size() == 1 ? QtInfoMsg : QtCriticalMsg), lines);
    QCOMPARE(log.lines().size(), lines.size());
}

void TestMsgDataUpdTask::stepsAreIndependent()
{
    FakeAnswer failure;
    failure.code = 2001;
    FakeClient::fake().queue("AddMessageReceipt", failure);
    FakeClient::fake().queue("UpdateMessageStatus", failure);
    run(task(2, 2, "MsgState", true));
    QStringList operations;
    const QList<FakeCall> all = calls();
    for (const FakeCall &call : all)
        operations.append(call.operation);
    QCOMPARE(operations, (QStringList{"AddMessageReceipt", "UpdateMessageStatus", "IgnoreMessage"}));
}

void TestMsgDataUpdTask::noAssistant()
{
    FakeClient::fake().setAvailable(false);
    const LogCatcher log;
    run(task(3, 2, "MsgState", true));
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(TestMsgDataUpdTask)
#include "tst_msgdataupdtask.moc"
