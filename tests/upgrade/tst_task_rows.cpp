// The display rows that the refresher makes of the service's task list, and its polling.
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "upgrade/Tasks.h"
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using upgrade::operate::CUpgradeDataRefresher;
using upgrade::operate::queryDataInfos;

class tst_task_rows : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }

    void downloadText()
    {
        LogCatcher log;
        const auto tip = [](int type) {
            QVariantMap task = tasks::task("设计", 1);
            QVariantMap working = task.value("WorkingItem").toMap();
            working["Type"] = type;
            working["UpdateName"] = "%2"; // is no placeholder
            task["WorkingItem"] = working;
            return download(task).value("downloadTip").toString();
        };
        QCOMPARE(tip(1), QString("正在下载主程序，版本号：2.0"));
        QCOMPARE(tip(2), QString("正在下载%2，版本号：2.0"));
        QCOMPARE(tip(3), QString("正在下载补丁，版本号：2.0"));
        QCOMPARE(tip(4), QString("正在下载补丁，版本号：2.0"));
        QVERIFY(log.lines().isEmpty());
        QCOMPARE(tip(5), QString("正在下载，版本号：2.0"));
        QCOMPARE(log.find("下载类型未标识，类型为5").function, QString("queryDataInfos"));
    }

    void percent()
    {
        constexpr qint64 GiB = qint64(1) << 30;
        const auto percent = [](qint64 current, qint64 total) {
            const QVariantMap ctrl = download(tasks::task(QStringLiteral("设计"), 1, current, total));
            return ctrl.value(QStringLiteral("downloadPercent")).toString();
        };
        QCOMPARE(percent(333, 1000), QStringLiteral("33%"));
        QCOMPARE(percent(999, 1000), QStringLiteral("100%")); // rounded
        QCOMPARE(percent(0, 0), QStringLiteral("nan%"));
        QCOMPARE(percent(5, 0), QStringLiteral("inf%"));
        QCOMPARE(percent(GiB, 5 * GiB), QStringLiteral("20%"));
    }

    void hostileLists()
    {
        QVERIFY(queryDataInfos(QVariant()).isEmpty());
        QVERIFY(queryDataInfos(QVariantMap{{QStringLiteral("SoftName"), 1}}).isEmpty());
        const QList<QVariant> rows =
            queryDataInfos(QVariantList{7, QStringLiteral("text"), QVariant(), QVariantList{1}});
        QCOMPARE(rows.size(), 4); // one row per element, whatever it is
        for (const QVariant &row : rows) {
            QCOMPARE(row.toMap().value(QStringLiteral("SoftName")).toString(), QString());
            QCOMPARE(row.toMap().value(QStringLiteral("taskStatus")).toInt(), 0);
        }
        QVariantMap odd = tasks::task(QStringLiteral("设计"), 1);
        odd[QStringLiteral("WorkingItem")] = QStringLiteral("not a map");
        LogCatcher log;
        QCOMPARE(download(odd).value(QStringLiteral("downloadPercent")).toString(), QStringLiteral("nan%"));
    }

    void failedPollsGiveAnEmptyList()
    {
        const QVariantMap values{
            {QStringLiteral("taskInfoList"), QVariantList{tasks::task(QStringLiteral("设计"), 1)}}};
        const QString call = QStringLiteral("【检测升级窗口】调用忽略升级接口");
        const QMap<int, QString> lines{
            {1001, call + QStringLiteral("rpc通信失败，返回错误码为：1001，错误信息为：a%2b。")},
            {1002, call + QStringLiteral("失败。返回错误码为：1002，错误信息为：a%2b。")}};
        CUpgradeDataRefresher refresher;
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        LogCatcher log;
        for (auto it = lines.cbegin(); it != lines.cend(); ++it) {
            FakeClient::fake().queue(QStringLiteral("QueryTaskInfos"),
                                     tasks::answer(it.key(), QStringLiteral("a%2b"), values));
            refresher.updateUpgradeTasks();
            QVERIFY(spy.takeFirst().at(0).value<QVariant>().toList().isEmpty());
            QVERIFY(log.has(QtCriticalMsg, it.value()));
        }
        FakeClient::fake().setAvailable(false);
        QVERIFY(refresher.getUpgradeTasksInfos().toList().isEmpty());
        QVERIFY(log.has(QtInfoMsg, QStringLiteral("getUpgradeTasksInfos：获取在线升级服务失败")));
    }

    void pollsOnceASecondUntilStopped()
    {
        CUpgradeDataRefresher refresher;
        refresher.startWork();
        refresher.startWork();
        QCOMPARE(refresher.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly).size(),
                 2); // the replaced one is to be deleted
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        QElapsedTimer timer;
        timer.start();
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 2, 5000);
        QVERIFY2(timer.elapsed() >= 1900, "two timers were running");
        refresher.stopWork();
        refresher.stopWork();
        QTRY_VERIFY(refresher.findChildren<QTimer *>().isEmpty());
    }

    void stopsFromInsideItsOwnPoll()
    {
        CUpgradeDataRefresher refresher;
        connect(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats, &refresher, &CUpgradeDataRefresher::stopWork);
        refresher.startWork();
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 1, 5000);
        QTRY_VERIFY(refresher.findChildren<QTimer *>().isEmpty());
    }

private:
    static QVariantMap download(const QVariantMap &task)
    {
        return tasks::row(task).toMap().value(QStringLiteral("downloadCtrl")).toMap();
    }
};

QTEST_MAIN(tst_task_rows)
#include "tst_task_rows.moc"
