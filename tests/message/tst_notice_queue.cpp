#include "message/NoticeQueue.h"
#include "support/LogCatcher.h"
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

// Notices that come faster than they can be shown: their number is bounded, and the newest are kept in order.
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
        QTest::newRow("one too large") << (10 << 20) << 1;
    }

    void keepsTheNewest()
    {
        QFETCH(int, size);
        QFETCH(int, kept);
        const int count = kept + 2;
        for (const int claimed : {0, count / 2, count}) { // the others still wait in their events
            NoticeQueue queue;
            const LogCatcher log;
            std::vector<Values> events;
            events.resize(size_t(count));
            for (int i = 0; i < count; ++i) {
                events[size_t(i)] = numbered(i, size);
                queue.posted(&events[size_t(i)]);
                if (i < claimed)
                    queue.add(queue.claim(&events[size_t(i)]));
            }
            QVERIFY(events.front().isEmpty()); // its memory is free at once
            QStringList left;
            for (Values values = queue.take(); !values.isEmpty(); values = queue.take())
                left.append(values.value("MsgId").toString());
            for (int i = claimed; i < count; ++i) {
                const Values values = queue.claim(&events[size_t(i)]);
                if (!values.isEmpty())
                    left.append(values.value("MsgId").toString());
            }
            QStringList newest;
            for (int i = count - kept; i < count; ++i)
                newest.append(QString::number(i));
            QCOMPARE(left, newest);
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
        QVERIFY(queue.claim(&first).isEmpty() && queue.take().isEmpty());
        queue.add(queue.claim(&second));
        queue.forget(&second);
        queue.clear();
        QVERIFY(queue.take().isEmpty());
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
                        queue.add(queue.claim(values.get()));
                    queue.forget(values.get());
                }
            });
        }
        for (std::thread &caller : callers)
            caller.join();
        int left = 0;
        while (!queue.take().isEmpty())
            ++left;
        QVERIFY(left > 0 && left <= NoticeQueue::MaxCount);
    }
};

QTEST_GUILESS_MAIN(TestNoticeQueue)
#include "tst_notice_queue.moc"
