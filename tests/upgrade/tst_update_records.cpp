#include "upgrade/UpdateRecords.h"
#include <QTest>

// What the prompt derives from the records of the upgrade service.
class TestUpdateRecords final : public QObject
{
    Q_OBJECT
private slots:
    void latestDate_data();
    void latestDate();
    void updateTimeOfRecords();
    void newestFirst();
};

void TestUpdateRecords::latestDate_data()
{
    QTest::addColumn<QStringList>("dates");
    QTest::addColumn<QString>("latest");
    const QString may = "2026-05-01 10:00:00";
    const QString june = "2026-06-01 09:59:59";
    QTest::newRow("later one last") << QStringList{may, june} << june;
    QTest::newRow("later one first") << QStringList{june, may} << june;
    QTest::newRow("slashes") << QStringList{may, "2027/01/01 10:00:00"} << may;
    QTest::newRow("no time") << QStringList{"2027-01-01", may} << may;
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

QTEST_GUILESS_MAIN(TestUpdateRecords)
#include "tst_update_records.moc"
