#include "message/MsgCenterDataMgr.h"
#include "message/MsgDataUpdTask.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include <QTest>
#include <QThreadPool>

namespace {
using FakeClient::fake;

CMsgCenterDataMgr &store()
{
    return *CMsgCenterDataMgr::GetMsgDataMgrInstance();
}

// The reports that reached the service, without the calls that open the connection.
QList<FakeCall> reports()
{
    QThreadPool::globalInstance()->waitForDone();
    QList<FakeCall> result;
    for (const FakeCall &call : fake().calls()) {
        if (!call.operation.startsWith("Initialize"))
            result.append(call);
    }
    return result;
}
} // namespace

class TestMessageStore : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init()
    {
        QThreadPool::globalInstance()->waitForDone();
        fake().reset();
    }

    void recordsAreTakenInOrderAndAsTheyAre()
    {
        const QVariantMap full = {{"MsgId", "b"},         {"MsgTitle", "标题"},      {"MsgDateTime", "昨天"},
                                  {"MsgContent", "正文"}, {"PicFilePath", "/p.png"}, {"LinkText", "查看"},
                                  {"LinkAdress", "x:y"},  {"BegTime", "今天"},       {"WndWidth", 1},
                                  {"WndStay", 2},         {"PhotoHight", 3},         {"PhotoWidth", "4"},
                                  {"WndHeight", 5},       {"unRead", true}};
        fake().queue("GetAllMessageRecords", {2000, {}, {}, {full, QVariantMap{{"MsgId", 7}}, "no map"}});
        std::vector<sMsgData> records(1);
        store().GetMessageRecords(records);
        QCOMPARE(records.size(), size_t(4)); // appended
        const sMsgData &first = records[1];
        QCOMPARE(QStringList({first.MsgId, first.MsgTitle, first.MsgDateTime, first.MsgContent, first.PicFilePath,
                              first.LinkText, first.LinkAdress, first.BegTime}),
                 QStringList({"b", "标题", "昨天", "正文", "/p.png", "查看", "x:y", "今天"}));
        QCOMPARE(QList<int>({first.WndWidth, first.WndStay, first.PhotoHight, first.PhotoWidth, first.WndHeight}),
                 QList<int>({1, 2, 3, 4, 5}));
        QVERIFY(first.unRead);
        QCOMPARE(records[2].MsgId, QString("7"));
        QVERIFY(!records[2].unRead); // a missing key is not "unread"
        QVERIFY(records[3].MsgId.isEmpty());
    }

    void failedFetchLeavesTheListAlone()
    {
        const QString call = "【获取所有消息数据】调用获取所有消息数据接口";
        const LogCatcher log;
        std::vector<sMsgData> records(2);
        for (const int code : {2001, 2003}) {
            fake().queue("GetAllMessageRecords", {code, "坏%1", {}, {QVariantMap{{"MsgId", "x"}}}});
            store().GetMessageRecords(records);
        }
        QCOMPARE(log.texts(QtCriticalMsg), QStringList({call + "rpc通信失败，返回错误码为：2001，错误信息为：坏%1。",
                                                        call + "失败。返回错误码为：2003，错误信息为：坏%1。"}));
        fake().setAvailable(false);
        store().GetMessageRecords(records);
        store().MessageHasBeenRead("1", {}, {});
        QVERIFY(log.has(QtInfoMsg, "GetAllMessageRecords：获取消息服务失败"));
        QCOMPARE(records.size(), size_t(2));
    }

    // A report waits for the service on its own thread only, and a step that fails does not stop the next.
    void aHangingServiceHoldsNoWindow()
    {
        FakeAnswer hanging{2012, "断开", {}, {}};
        hanging.hang = true;
        fake().queue("AddMessageReceipt", hanging);
        store().MessageHasBeenRead("7", {}, {});
        QTRY_COMPARE(fake().hanging(), 1);
        fake().releaseHangs();
        QCOMPARE(reports().size(), 2);
    }

    void outcomesAreLogged_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("succeeded");
        QTest::addColumn<QString>("failed");
        QTest::addColumn<QString>("where");
        QTest::newRow("receipt") << "AddMessageReceipt"
                                 << "添加回执信息成功，消息id为：m%1， 回执类型为：3。"
                                 << "添加回执信息失败，消息id为：m%1， 回执类型为：3。"
                                 << "【添加回执信息】调用添加回执信息接口";
        QTest::newRow("status") << "UpdateMessageStatus"
                                << "更新消息状态成功，消息id为：m%1。"
                                << "更新消息状态失败，消息id为：m%1， 操作类型为：MsgState，消息状态为：2。"
                                << "【更新消息状态】调用更新消息状态接口";
        QTest::newRow("ignore") << "IgnoreMessage"
                                << "下次不再提示消息成功，消息id为：m%1。"
                                << "下次不再提示消息失败，消息id为：m%1"
                                << "【下次不再提示消息】调用下次不再提示消息接口";
    }

    void outcomesAreLogged()
    {
        QFETCH(QString, operation);
        QFETCH(QString, failed);
        QFETCH(QString, where);
        CMsgUpdTaskData data;
        data.msgIds = QStringList{"m%1", "m2"};
        data.operateType = "MsgState";
        data.receipt = operation == "AddMessageReceipt" ? 3 : -1;
        data.status = operation == "UpdateMessageStatus" ? 2 : -1;
        data.ignore = operation == "IgnoreMessage";
        const LogCatcher log;
        for (const int code : {2000, 2012, 2002}) {
            fake().queue(operation, {code, "断 %1", {}, {}});
            QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data));
            QThreadPool::globalInstance()->waitForDone();
        }
        QTEST(log.texts(QtInfoMsg).join('|'), "succeeded");
        QCOMPARE(log.texts(QtCriticalMsg),
                 QStringList({failed, where + "rpc通信失败，返回错误码为：2012，错误信息为：断 %1。", failed,
                              where + "失败。返回错误码为：2002，错误信息为：断 %1。"}));
    }
};

QTEST_MAIN(TestMessageStore)
#include "tst_message_store.moc"
