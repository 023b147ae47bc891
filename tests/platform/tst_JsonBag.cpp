#include "JsonBag.h"
#include <QJsonArray>
#include <QJsonDocument>
#include <QRect>
#include <QTest>

using namespace tarn;

class TestJsonBag final : public QObject
{
    Q_OBJECT
private slots:
    void takesTheTypesThatAnOperationReads();
    void whatWasPrintedIsReadAgain();
    void errorsNameThePlace_data();
    void errorsNameThePlace();
};

void TestJsonBag::takesTheTypesThatAnOperationReads()
{
    rpc::Bag bag;
    QString error;
    const QByteArray json = R"({"名":"值","n":7,"big":9007199254740993,"half":0.5,"yes":true,"nothing":null,
        "rect":{"$rect":[-1,2,300,400]},"window":{"$u64":"18446744073709551615"},"map":{"a":[1,{"b":"c"}]},
        "$list":[{"MsgId":"1"}]})";
    QVERIFY2(cli::parseBag(json, &bag, &error), qPrintable(error));
    QCOMPARE(bag.values.value(QStringLiteral("名")), QVariant(QStringLiteral("值")));
    QCOMPARE(bag.values.value(QStringLiteral("n")), QVariant(7));
    QCOMPARE(bag.values.value(QStringLiteral("n")).userType(), int(QMetaType::Int));
    QCOMPARE(bag.values.value(QStringLiteral("big")), QVariant(Q_INT64_C(9007199254740993)));
    QCOMPARE(bag.values.value(QStringLiteral("half")), QVariant(0.5));
    QCOMPARE(bag.values.value(QStringLiteral("yes")), QVariant(true));
    QVERIFY(bag.values.contains(QStringLiteral("nothing")));
    QVERIFY(!bag.values.value(QStringLiteral("nothing")).isValid());
    QCOMPARE(bag.values.value(QStringLiteral("rect")), QVariant(QRect(-1, 2, 300, 400)));
    QCOMPARE(bag.values.value(QStringLiteral("window")), QVariant(std::numeric_limits<qulonglong>::max()));
    const QVariantList inner = bag.values.value(QStringLiteral("map")).toMap().value(QStringLiteral("a")).toList();
    QCOMPARE(inner.size(), 2);
    QCOMPARE(inner.at(1).toMap().value(QStringLiteral("b")), QVariant(QStringLiteral("c")));
    QCOMPARE(bag.list.size(), 1);
    QVERIFY(!bag.values.contains(QStringLiteral("$list")));
}

void TestJsonBag::whatWasPrintedIsReadAgain()
{
    const QVariantMap values{{QStringLiteral("text"), QStringLiteral("引号\" \n 换行")},
                             {QStringLiteral("int"), -5},
                             {QStringLiteral("long"), std::numeric_limits<qlonglong>::min()},
                             {QStringLiteral("unsigned"), qulonglong(3)},
                             {QStringLiteral("bytes"), QByteArray("\x00\xff", 2)},
                             {QStringLiteral("rect"), QRect(1, 2, 3, 4)},
                             {QStringLiteral("list"), QVariantList{1, QStringLiteral("a"), false}},
                             {QStringLiteral("empty"), QVariantMap()}};
    const QByteArray line = cli::compact(cli::toJson(values));
    QVERIFY(!line.contains('\n'));
    rpc::Bag again;
    QString error;
    QVERIFY2(cli::parseBag(line, &again, &error), qPrintable(error));
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        QCOMPARE(again.values.value(it.key()), it.value());
        QCOMPARE(again.values.value(it.key()).userType(), it.value().userType());
    }
}

void TestJsonBag::errorsNameThePlace_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("place");
    QTest::newRow("syntax, with line and column") << QByteArray("{\"a\":1,\n \"b\" 2}") << "line 2, column 6:";
    QTest::newRow("column in characters") << QByteArray("{\"题\":1 x}") << "line 1, column 8:";
    QTest::newRow("nothing") << QByteArray() << "line 1, column 1:";
    QTest::newRow("no object") << QByteArray("[1]") << "/:";
    QTest::newRow("rect too short") << QByteArray(R"({"a":{"b":{"$rect":[1,2,3]}}})") << "/a/b/$rect:";
    QTest::newRow("rect number") << QByteArray(R"({"r":{"$rect":[1,2,"3",4]}})") << "/r/$rect/2:";
    QTest::newRow("rect beyond 32 bits") << QByteArray(R"({"r":{"$rect":[1,2,3,4294967296]}})") << "/r/$rect/3:";
    QTest::newRow("u64 negative") << QByteArray(R"({"l":[0,{"$u64":"-1"}]})") << "/l/1/$u64:";
    QTest::newRow("u64 number") << QByteArray(R"({"l":{"$u64":5}})") << "/l/$u64:";
    QTest::newRow("unknown tag") << QByteArray(R"({"l":{"$date":"x"}})") << "/l/$date:";
    QTest::newRow("base64") << QByteArray(R"({"l":{"$bytes":"?"}})") << "/l/$bytes:";
    QTest::newRow("list") << QByteArray(R"({"$list":{"a":1}})") << "/$list:";
    QTest::newRow("inside the list") << QByteArray(R"({"$list":[1,{"a":{"$rect":0}}]})") << "/$list/1/a/$rect:";
    QTest::newRow("too deep") << QByteArray("{\"a\":") + QByteArray(10000, '[') << "line 1, column";
    QTest::newRow("bytes that are no UTF-8") << QByteArray("{\"a\":\"\xff\"}") << "line 1, column";
}

void TestJsonBag::errorsNameThePlace()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, place);
    rpc::Bag bag;
    QString error;
    QVERIFY(!cli::parseBag(json, &bag, &error));
    QVERIFY2(error.startsWith(place), qPrintable(error));
    QVERIFY(error.size() > place.size() + 5 || place.endsWith(QLatin1String("column")));
}

QTEST_GUILESS_MAIN(TestJsonBag)
#include "tst_JsonBag.moc"
