#include "message/NoticeQueue.h"
#include "support/LogCatcher.h"
#include <QTest>

using tarn::visualized::NoticeQueue;
using Values = NoticeQueue::Values;

namespace {

Values numbered(int number, int size = 1)
{
    return {{"MsgId", QString::number(number)}, {"MsgContent", QString(size, 'x')}};
}

// The numbers of the notices that are left, claimed ones first.
QStringList left(NoticeQueue &queue, const std::vector<Values> &events = {})
{
    QStringList ids;
    for (Values values = queue.take(); !values.isEmpty(); values = queue.take())
        ids.append(values.value("MsgId").toString());
    for (const Values &event : events) {
        const Values values = queue.claim(&event);
        if (!values.isEmpty())
            ids.append(values.value("MsgId").toString());
    }
    return ids;
}

} // namespace

// Notices that come faster than they can be shown: their number is bounded, and the newest are kept in order.
class TestNoticeQueue final : public QObject
{
    Q_OBJECT
private slots:
    void keepsTheNewest()
    {
        const QMap<int, int> keptOfSize{{1, 32}, {1 << 20, 7}, {10 << 20, 1}}; // characters of two bytes
        for (auto it = keptOfSize.cbegin(); it != keptOfSize.cend(); ++it) {
            const int count = it.value() + 2;
            for (const int claimed : {0, count / 2, count}) { // the others still wait in their events
                NoticeQueue queue;
                const LogCatcher log;
                std::vector<Values> events;
                events.resize(size_t(count));
                QStringList newest;
                for (int i = 0; i < count; ++i) {
                    Values &event = events[size_t(i)] = numbered(i, it.key());
                    queue.posted(&event);
                    if (i < claimed)
                        queue.add(queue.claim(&event));
                    if (i >= 2)
                        newest.append(QString::number(i));
                }
                QVERIFY(events.front().isEmpty()); // its memory is free at once
                QCOMPARE(left(queue, events), newest);
                QCOMPARE(log.count(QtWarningMsg, "通知栏消息过多，丢弃最早的消息。消息ID:0"), 1);
            }
        }
    }

    void eventsThatAreNeverDelivered()
    {
        NoticeQueue queue;
        std::vector<Values> events{numbered(1), numbered(2), numbered(3)};
        for (Values &event : events)
            queue.posted(&event);
        queue.forget(&events[0]);
        queue.forget(&events[0]);
        queue.add(queue.claim(&events[1]));
        queue.forget(&events[1]);
        QCOMPARE(left(queue, events), QStringList({"2", "3"}));
        queue.add(numbered(4));
        queue.clear();
        QCOMPARE(left(queue), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestNoticeQueue)
#include "tst_notice_queue.moc"
