#include "message/MsgCenterDataMgr.h"
#include "message/MsgDataUpdTask.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include <QTest>
#include <QThreadPool>

using FakeClient::fake;

class TestMessageStore : public QObject
{
    Q_OBJECT
    CMsgCenterDataMgr &m_store = *CMsgCenterDataMgr::GetMsgDataMgrInstance();

private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { fake().reset(); }

    void recordsAreTakenInOrderAndAsTheyAre()
    {
        const QVariantMap full = {{"MsgId", "b"},         {"MsgTitle", "标题"},      {"MsgDateTime", "昨天"},
                                  {"MsgContent", "正文"}, {"PicFilePath", "/p.png"}, {"LinkText", "查看"},
                                  {"LinkAdress", "x:y"},  {"BegTime", "今天"},       {"WndWidth", 1},
                                  {"WndStay", 2},         {"PhotoHight", 3},         {"PhotoWidth", "4"},
                                  {"WndHeight", 5},       {"unRead", true}};
        fake().queue("GetAllMessageRecords", {2000, {}, {}, {full, QVariantMap{{"MsgId", 7}}, "no map"}});
        std::vector<sMsgData> records(1);
        m_store.GetMessageRecords(records);
        QCOMPARE(records.size(), size_t(4)); // appended
        const sMsgData &first = records[1];
        QCOMPARE(QStringList({first.MsgId, first.MsgTitle, first.MsgDateTime, first.MsgContent, first.PicFilePath,
                              first.LinkText, first.LinkAdress, first.BegTime}),
                 QStringList({"b", "标题", "昨天", "正文", "/p.png", "查看", "x:y", "今天"}));
        QCOMPARE(QList<int>({first.WndWidth, first.WndStay, first.PhotoHight, first.PhotoWidth, first.WndHeight}),
                 QList<int>({1, 2, 3, 4, 5}));
        QVERIFY(first.unRead && !records[2].unRead); // a missing key is not "unread"
        QCOMPARE(records[2].MsgId + records[3].MsgId, QString("7"));
    }

    void failedFetchLeavesTheListAlone()
    {
        const QString call = "【获取所有消息数据】调用获取所有消息数据接口";
        const LogCatcher log;
        std::vector<sMsgData> records(2);
        for (const int code : {2001, 2003}) {
            fake().queue("GetAllMessageRecords", {code, "坏%1", {}, {QVariantMap{{"MsgId", "x"}}}});
            m_store.GetMessageRecords(records);
        }
        QCOMPARE(log.texts(QtCriticalMsg), QStringList({call + "rpc通信失败，返回错误码为：2001，错误信息为：坏%1。",
                                                        call + "失败。返回错误码为：2003，错误信息为：坏%1。"}));
        fake().setAvailable(false);
        m_store.GetMessageRecords(records);
        m_store.MessageHasBeenRead("1", {}, {});
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY(log.has(QtInfoMsg, "GetAllMessageRecords：获取消息服务失败"));
        QCOMPARE(records.size(), size_t(2));
    }

    // A report waits for the service on its own thread only, and a step that fails does not stop the next.
    void reports()
    {
        const LogCatcher log;
        FakeAnswer hanging{2012, "断 %1", {}, {}};
        hanging.hang = true;
        fake().queue("AddMessageReceipt", hanging);
        fake().queue("UpdateMessageStatus", {2002, "断", {}, {}});
        CMsgUpdTaskData data{true, 3, 2, {"m%1", "m2"}, "MsgState", {}};
        QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data));
        QTRY_COMPARE(fake().hanging(), 1);
        fake().queue("IgnoreMessage", {2001, "断", {}, {}});
        fake().releaseHangs();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(
            log.texts(QtCriticalMsg),
            QStringList(
                {"添加回执信息失败，消息id为：m%1， 回执类型为：3。",
                 "【添加回执信息】调用添加回执信息接口rpc通信失败，返回错误码为：2012，错误信息为：断 %1。",
                 "更新消息状态失败，消息id为：m%1， 操作类型为：MsgState，消息状态为：2。",
                 "【更新消息状态】调用更新消息状态接口失败。返回错误码为：2002，错误信息为：断。",
                 "下次不再提示消息失败，消息id为：m%1",
                 "【下次不再提示消息】调用下次不再提示消息接口rpc通信失败，返回错误码为：2001，错误信息为：断。"}));
        QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data));
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(log.texts(QtInfoMsg),
                 QStringList({"添加回执信息成功，消息id为：m%1， 回执类型为：3。", "更新消息状态成功，消息id为：m%1。",
                              "下次不再提示消息成功，消息id为：m%1。"}));
        QCOMPARE(log.texts(QtCriticalMsg).size(), 6); // none for a success
    }
};

QTEST_MAIN(TestMessageStore)
#include "tst_message_store.moc"
