#include "message/NoticeQueue.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include <QTest>
#include <memory>
#include <thread>
#include <vector>

using tarn::visualized::NoticeQueue;
using Values = NoticeQueue::Values;

namespace {
Values numbered(int number, int size = 1)
{
    return {{"MsgId", QString::number(number)}, {"MsgContent", QString(size, 'x')}};
}
} // namespace

// Notices that come faster than they can be shown: what waits is bounded, and the newest are kept in their order.
class TestNoticeQueue final : public QObject
{
    Q_OBJECT
private slots:
    void keepsTheNewest_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("kept");
        QTest::newRow("many") << 1 << 32;
        QTest::newRow("large") << (1 << 20) << 7; // 2 MiB and a little each
        QTest::newRow("one too large") << (20 << 20) << 1;
    }

    void keepsTheNewest()
    {
        QFETCH(int, size);
        QFETCH(int, kept);
        constexpr int Count = 40;
        for (const bool delivered : {false, true}) {
            NoticeQueue queue;
            const LogCatcher log;
            std::vector<Values> events(Count);
            for (int i = 0; i < Count; ++i) {
                events[size_t(i)] = numbered(i, size);
                queue.posted(&events[size_t(i)]);
                if (delivered)
                    QVERIFY(queue.arrived(&events[size_t(i)]));
            }
            QVERIFY(events.front().isEmpty()); // its memory is free at once
            if (!delivered) {
                for (int i = 0; i < Count; ++i)
                    QCOMPARE(queue.arrived(&events[size_t(i)]), i >= Count - kept);
            }
            for (int i = Count - kept; i < Count; ++i)
                QCOMPARE(queue.take().value("MsgId").toInt(), i);
            QVERIFY(queue.isEmpty() && queue.take().isEmpty());
            QCOMPARE(log.count(QtWarningMsg, "通知栏消息过多，丢弃最早的消息。消息ID:0"), 1);
        }
    }

    void eventsThatAreNeverDelivered()
    {
        NoticeQueue queue;
        Values first = numbered(1);
        Values second = numbered(2);
        queue.posted(&first);
        queue.posted(&second);
        queue.forget(&first);
        queue.forget(&first);
        QVERIFY(!queue.arrived(&first) && queue.isEmpty());
        QVERIFY(queue.arrived(&second) && !queue.isEmpty());
        queue.forget(&second); // delivered: it waits on
        QCOMPARE(queue.take().value("MsgId").toInt(), 2);
    }

    void callersOnManyThreads()
    {
        NoticeQueue queue;
        std::vector<std::thread> callers;
        for (int caller = 0; caller < 4; ++caller) {
            callers.emplace_back([&queue] {
                for (int i = 0; i < 200; ++i) {
                    auto values = std::make_unique<Values>(numbered(i));
                    queue.posted(values.get());
                    if (i % 2)
                        queue.arrived(values.get());
                    queue.forget(values.get());
                }
            });
        }
        for (std::thread &caller : callers)
            caller.join();
        int left = 0;
        while (!queue.isEmpty()) {
            QVERIFY(!queue.take().isEmpty());
            ++left;
        }
        QVERIFY(left <= NoticeQueue::MaxCount);
    }

    void boundedValues()
    {
        const auto bounded = [](const Values &changes) { return NoticeQueue::bounded(notice::values(changes)); };
        const QString huge(3 << 20, 'x');
        const LogCatcher log;
        QCOMPARE(bounded({{"MsgContent", huge}}).value("MsgContent").toString().size(), 1 << 20);
        QCOMPARE(bounded({{"MsgTitle", huge}}).value("MsgTitle").toString().size(), 4096);
        QCOMPARE(bounded({{"LinkAdress", huge}, {"PicFilePath", huge}}).value("LinkAdress").toString(), QString());
        QCOMPARE(bounded({{"MsgContent", QVariantList{huge}}, {"Other", huge}}).value("MsgContent").toString(),
                 QString());
        QVERIFY(!bounded({{"Other", huge}}).contains("Other"));
        QVERIFY(bounded({{"MsgId", huge}}).isEmpty());
        QCOMPARE(log.texts(QtWarningMsg).size(), 5);
        QCOMPARE(bounded({{"unReadNum", "7"}}).value("unReadNum").toInt(), 7);
    }
};

QTEST_GUILESS_MAIN(TestNoticeQueue)
#include "tst_notice_queue.moc"
