#include "upgrade/UpdateRecords.h"
#include <QTest>
#include <algorithm>
#include <random>

// What the prompt derives from the records of the upgrade service.
class TestUpdateRecords final : public QObject
{
    Q_OBJECT
private slots:
    void latestDate_data();
    void latestDate();
    void updateTimeOfRecords();
    void newestFirst();
    void sortingEqualsComparison();
    void notesCopy();
    void installedVersion();
};

void TestUpdateRecords::latestDate_data()
{
    QTest::addColumn<QStringList>("dates");
    QTest::addColumn<QString>("latest");
    const QString may = "2026-05-01 10:00:00";
    const QString june = "2026-06-01 09:59:59";
    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("one") << QStringList{may} << may;
    QTest::newRow("later one last") << QStringList{may, june} << june;
    QTest::newRow("later one first") << QStringList{june, may} << june;
    QTest::newRow("equal") << QStringList{may, may} << may;
    QTest::newRow("slashes") << QStringList{may, "2027/01/01 10:00:00"} << may;
    QTest::newRow("no time") << QStringList{"2027-01-01", may} << may;
    QTest::newRow("one digit") << QStringList{"2027-1-1 10:00:00", may} << may;
    QTest::newRow("no such day") << QStringList{"2027-02-30 10:00:00", may} << may;
    QTest::newRow("trailing text") << QStringList{"2027-02-03 10:00:00Z", may} << may;
    QTest::newRow("rubbish") << QStringList{"", "%1", QString(5000, '9')} << QString();
}

void TestUpdateRecords::latestDate()
{
    QFETCH(QStringList, dates);
    QTEST(getLatestDate(dates), "latest");
}

void TestUpdateRecords::updateTimeOfRecords()
{
    const auto dated = [](const QString &date) { return QVariantMap{{"发布日期", date}}; };
    const QVariantMap all{{"软件", dated("2026-01-01 00:00:00")},
                          {"补丁包", dated("2026-03-01 00:00:00")},
                          {"插件", QVariantList{5, QVariantMap{{"升级版本", "1"}}, dated("2026-02-01 00:00:00")}},
                          {"其他", "bleibt"}};
    const QVariantMap plugin{{"插件", QVariantList{dated("2026-04-01 00:00:00")}}};
    // An old patch is no news, and whatever was under the key before is replaced.
    const QVariantMap nothing{{"旧版本补丁包", dated("2026-04-01 00:00:00")}, {"UPDATE_TIME", "2026-04-01 00:00:00"}};
    QList<QVariant> records{all, plugin, nothing, QVariant("no map"), QVariant()};
    GetNewestDateTime(records);
    QStringList times;
    for (const QVariant &record : qAsConst(records)) {
        QVERIFY(record.toMap().contains("UPDATE_TIME"));
        times << record.toMap().value("UPDATE_TIME").toString();
    }
    QCOMPARE(times, (QStringList{"2026-03-01 00:00:00", "2026-04-01 00:00:00", "", "", ""}));
    QCOMPARE(records.first().toMap().value("其他"), QVariant("bleibt"));
}

void TestUpdateRecords::newestFirst()
{
    QList<QVariant> records;
    for (const char *date : {"", "2025-01-01 00:00:00", "1950-01-01 00:00:00", "2026-01-01 00:00:00", "bad"})
        records << QVariantMap{{"软件名称", date}, {"软件", QVariantMap{{"发布日期", date}}}};
    SortByUpdateTime(records);
    QStringList times;
    for (const QVariant &record : qAsConst(records))
        times << record.toMap().value("UPDATE_TIME").toString();
    // Without a date a record is earlier than any, also than dates before 1970.
    QCOMPARE(times, (QStringList{"2026-01-01 00:00:00", "2025-01-01 00:00:00", "1950-01-01 00:00:00", "", ""}));
}

// The sort must order as the comparison says, which is a strict weak order also for missing times.
void TestUpdateRecords::sortingEqualsComparison()
{
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        QList<QVariant> records;
        for (int i = 0; i < 60; ++i) {
            const unsigned day = random() % 31; // 0 is no date
            records << QVariantMap{
                {"i", i},
                {"软件", QVariantMap{{"发布日期", QString("2026-01-%1 00:00:00").arg(day, 2, 10, QChar('0'))}}}};
        }
        QList<QVariant> expected = records;
        GetNewestDateTime(expected);
        std::sort(expected.begin(), expected.end(), compareByUpdateTime);
        SortByUpdateTime(records);
        QCOMPARE(records, expected);
        QVERIFY(std::is_sorted(records.cbegin(), records.cend(), compareByUpdateTime));
    }
}

void TestUpdateRecords::notesCopy()
{
    const QVariantMap plugin{{"软件名称", "P"}, {"CurrentVersion", "3"}};
    const QVariantMap record{{"软件名称", "产品"},
                             {"软件", QVariantMap{{"CurrentVersion", "1"}, {"更多", 9}}},
                             {"补丁包", QVariantMap{{"CurrentVersion", "2"}, {"本地已安装版本", "0"}}},
                             {"插件", QVariantList{plugin}},
                             {"更多", 8}};
    const QVariantMap copy = records::notesCopy(record);
    QCOMPARE(copy.value("软件").toMap().value("本地已安装版本"), QVariant("1"));
    QCOMPARE(copy.value("软件").toMap().value("更多"), QVariant(9));
    QCOMPARE(copy.value("补丁包").toMap().value("本地已安装版本"), QVariant("2"));
    QCOMPARE(copy.value("插件"), QVariant(QVariantList{plugin}));
    QCOMPARE(copy.value("visualized"), QVariant(true));
    QCOMPARE(copy.value("更多"), QVariant(8));
    // A section that the record lacks would otherwise become a tab without a name.
    QVERIFY(!records::notesCopy({{"软件名称", "产品"}}).contains("软件"));
}

void TestUpdateRecords::installedVersion()
{
    QCOMPARE(records::installedVersion({}), QString());
    QCOMPARE(records::installedVersion({{"插件", QVariantList{QVariantMap{{"CurrentVersion", "3"}}}}}), QString("3"));
    QVariantMap record{{"旧版本补丁包", QVariantMap{{"本地已安装版本", "1.1"}}}};
    QCOMPARE(records::installedVersion(record), QString("1.1"));
    record.insert("CurrentVersion", "1.0");
    QCOMPARE(records::installedVersion(record), QString("1.0"));
}

QTEST_GUILESS_MAIN(TestUpdateRecords)
#include "tst_update_records.moc"
