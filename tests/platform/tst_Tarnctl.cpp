#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <atomic>

using namespace tarn;
using test::Platform;
using test::ServedObject;

namespace {

QStringList words(const char *line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

// What a user and a script get to see: exit codes, standard output for answers, standard error for the rest.
class TestTarnctl final : public QObject
{
    Q_OBJECT
private slots:
    void helpAtEveryLevel();
    void wrongUsage();
    void withoutAPlatform();
    void messages();
    void imports();
    void importsALargeFile();
    void calls();
    void noDialogToWaitFor();
    void cloudAccounts();

private:
    static QJsonArray array(const QByteArray &text) { return QJsonDocument::fromJson(text).array(); }
};

void TestTarnctl::helpAtEveryLevel()
{
    Platform platform;
    for (const char *command :
         {"", "status ", "call ", "message ", "message push ", "message import ", "cloud account lock "}) {
        const auto result = platform.tarnctl(words(command) + words("--help"));
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.out.startsWith(QByteArray("Usage: tarnctl ") + command + "[options]"), result.out.constData());
        QCOMPARE(result.err, QByteArray());
    }
}

void TestTarnctl::wrongUsage()
{
    Platform platform;
    const QVector<QPair<const char *, const char *>> lines{
        {"", "argument is missing"},
        {"frobnicate", "\"frobnicate\""},
        {"message sing", "\"sing\""},
        {"message push --colour red", "colour"},
        {"message push --title", "--title"},
        {"message push --title a --unread many", "--unread"},
        {"message push stray", "\"stray\""},
        {"message import /no/such/file", "/no/such/file"},
        {"message import /", "/: "},
        {"call Op {} {}", "too many"},
        {"call ShowMessageCenter --wait", "--wait"},
        {"call ShowCloudLogin --wait --timeout soon", "--timeout"},
        {"call ShowCloudLogin --timeout 5", "--wait"},
        {"cloud account add a", "password is wanted"}, // the standard input is empty
        {"cloud account lock a maybe", "\"maybe\""},
        {"call Op {\"a\":1,}", "line 1, column 8"},
        {"call Op {\"题\":1x}", "line 1, column 7"},
        {"call Op {\"r\":{\"$rect\":[1,2,3,4294967296]}}", "/r/$rect/3:"},
        {"call Op {\"l\":[0,{\"$u64\":\"-1\"}]}", "/l/1/$u64:"},
        {"call Op {\"l\":{\"$date\":\"x\"}}", "/l/$date:"},
        {"call Op {\"$list\":[1,{\"a\":{\"$rect\":0}}]}", "/$list/1/a/$rect:"},
    };
    for (const auto &[line, says] : lines) {
        const auto result = platform.tarnctl(words(line));
        QVERIFY2(result.exitCode == 2, line);
        QVERIFY2(result.err.startsWith("tarnctl: ") && result.err.contains(says), result.err.constData());
        QCOMPARE(result.out, QByteArray());
    }
}

void TestTarnctl::withoutAPlatform()
{
    Platform platform;
    for (const char *line : {"status", "call ShowMessageCenter", "message list", "message push --title a",
                             "call ShowCloudLogin --wait", "cloud state"}) {
        const auto result = platform.tarnctl(words(line));
        QVERIFY2(result.exitCode == 3, line);
        QVERIFY2(result.err.contains("visualized-host"), result.err.constData());
    }
}

void TestTarnctl::messages()
{
    Platform platform;
    QVERIFY(platform.startHub());
    auto result =
        platform.tarnctl(words("message push --id 第一 --title 标题 --content 正文 --link https://example.org "
                               "--link-text 查看 --picture pic.png --time 2026-01-02 --unread 7"));
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QString::fromUtf8(result.out), QStringLiteral("第一\n"));
    QVERIFY2(result.err.contains("not shown"), result.err.constData());
    QCOMPARE(platform.tarnctl(words("message push --link-text x")).exitCode, 1);
    result = platform.tarnctl(words("message push --json --title") << QStringLiteral("evil \x1b]0;title\x07"));
    QCOMPARE(QJsonDocument::fromJson(result.out).object().value(QStringLiteral("unReadNum")), QJsonValue(2));

    const QJsonArray records = array(platform.tarnctl(words("message list --json")).out);
    QCOMPARE(records.size(), 2);
    const QJsonObject record = records.at(1).toObject();
    QCOMPARE(record.value(QStringLiteral("LinkAdress")).toString(), QStringLiteral("https://example.org"));
    QCOMPARE(record.value(QStringLiteral("PicFilePath")).toString(),
             QDir::current().filePath(QStringLiteral("pic.png")));
    result = platform.tarnctl(words("message list"));
    QVERIFY(QString::fromUtf8(result.out).contains(QStringLiteral("第一 ")));
    QVERIFY(!result.out.contains('\x1b') && !result.out.contains('\x07'));
    QCOMPARE(platform.tarnctl(words("message show 第一")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("message show 第二")).exitCode, 1);
    result = platform.tarnctl(words("status"));
    QCOMPARE(result.exitCode, 3); // nobody is there to draw windows
    QVERIFY2(result.out.contains("2 unread"), result.out.constData());
    QCOMPARE(platform.tarnctl(words("message clear")).out, QByteArray("removed: 2 messages\n"));
    QCOMPARE(platform.tarnctl(words("message list --json")).out, QByteArray("[]\n"));
}

void TestTarnctl::imports()
{
    Platform platform;
    QVERIFY(platform.startHub());
    const QStringList import = words("message import -");
    auto result = platform.tarnctl(import, R"([{"MsgId":"1","MsgTitle":"a","unRead":false},{"MsgTitle":"b"}])");
    QCOMPARE(result.out, QByteArray("stored: 2 messages\n"));
    const QByteArray list = platform.tarnctl(words("message list --json")).out;
    platform.tarnctl(words("message clear"));
    result = platform.tarnctl(import, list); // what was listed can be taken back
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(array(platform.tarnctl(words("message list --json")).out).size(), 2);
    platform.tarnctl(words("message clear"));

    result = platform.tarnctl(import, R"([{"MsgTitle":"a"},{"MsgTitle":{"$rect":[1]}}])");
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains("/1/MsgTitle/$rect"), result.err.constData());
    result = platform.tarnctl(import, R"([{"MsgTitle":"a"},{"MsgTitle":1}])");
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("record 1: MsgTitle"), result.err.constData());
    QCOMPARE(platform.tarnctl(import, R"({"a":1})").exitCode, 2);
    QCOMPARE(platform.tarnctl(import, "[1]").exitCode, 2);
    QCOMPARE(platform.tarnctl(words("message list --json")).out, QByteArray("[]\n"));
}

void TestTarnctl::importsALargeFile()
{
    Platform platform;
    QVERIFY(platform.startHub());
    QFile file(platform.directory() + QStringLiteral("/many.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"messages\":[");
    const QByteArray content = QByteArray("字").repeated(200);
    for (int i = 0; i < 10000; ++i)
        file.write((i ? ",{\"MsgId\":\"" : "{\"MsgId\":\"") + QByteArray::number(i) + "\",\"MsgContent\":\"" + content +
                   "\",\"MsgDateTime\":\"2026-01-01 00:00:00\"}");
    // One that needs a call of its own.
    file.write(",{\"MsgId\":\"large\",\"MsgContent\":\"" + QByteArray(1024 * 1024, 'x') + "\"}");
    file.write("]}");
    file.close();
    auto result = platform.tarnctl({QStringLiteral("message"), QStringLiteral("import"), file.fileName()});
    QVERIFY2(result.exitCode == 0, result.err.constData());
    QCOMPARE(result.out, QByteArray("stored: 10001 messages\n"));
    result = platform.tarnctl(words("message list --json"));
    QVERIFY2(result.exitCode == 0, result.err.constData());
    const QJsonArray records = array(result.out);
    QCOMPARE(records.size(), 10001);
    QCOMPARE(records.at(0).toObject().value(QStringLiteral("MsgId")).toString(), QStringLiteral("large"));
    QCOMPARE(records.at(10000).toObject().value(QStringLiteral("MsgId")).toString(), QStringLiteral("0"));
}

void TestTarnctl::calls()
{
    Platform platform;
    QVERIFY(platform.startHub());
    ServedObject host(visualized::DefaultTag, [](const QString &method, const rpc::Bag &input) {
        rpc::CallResult answer;
        answer.output = input;
        answer.accepted = method == QLatin1String("Accept");
        answer.retCode = answer.accepted ? 2000 : 0;
        answer.errorText = answer.accepted ? QString() : QStringLiteral("\"不\"");
        if (method == QLatin1String("Nothing"))
            answer.error = {rpc::RpcError::NotFound, "no such method"};
        return answer;
    });
    QVERIFY(host.isServed());
    const QString json =
        QStringLiteral(R"({"r":{"$rect":[1,2,3,4]},"w":{"$u64":"18446744073709551615"},"字":[null,1.5]})");
    auto result = platform.tarnctl({QStringLiteral("call"), QStringLiteral("Accept"), json});
    QVERIFY2(result.exitCode == 0, result.err.constData());
    QCOMPARE(QString::fromUtf8(result.out),
             QStringLiteral(R"({"accepted":true,"retCode":2000,"error":"","values":%1})").arg(json) +
                 QLatin1Char('\n'));
    result = platform.tarnctl(words("call Refuse -"), R"({"$list":[1,{}]})");
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(QString::fromUtf8(result.out),
             QStringLiteral(R"({"accepted":false,"retCode":0,"error":"\"不\"","values":{},"list":[1,{}]})") +
                 QLatin1Char('\n'));
    result = platform.tarnctl(words("call Nothing"));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains("Nothing"), result.err.constData());
    // Deeper than the RPC layer carries.
    result = platform.tarnctl(words("call Accept -"), "{\"a\":" + QByteArray(100, '[') + QByteArray(100, ']') + '}');
    QCOMPARE(result.exitCode, 2);
    result = platform.tarnctl(words("call Accept -"), R"({"a":"\ud800"})");
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(platform.tarnctl(words("status")).exitCode, 0);
}

void TestTarnctl::noDialogToWaitFor()
{
    Platform platform;
    QVERIFY(platform.startHubAlone());
    std::atomic<int> looks{0};
    ServedObject host(visualized::DefaultTag, [&](const QString &method, const rpc::Bag &) {
        rpc::CallResult answer;
        answer.accepted = true;
        if (method == QLatin1String("QueryYunLoginDialogState")) {
            ++looks;
            answer.output.values.insert(QStringLiteral("queryYunDiaResult"), false);
        }
        return answer;
    });
    QVERIFY(host.isServed());
    const auto result = platform.tarnctl(words("call ShowCloudLogin --wait")); // for ten minutes, if there were one
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("no dialog was shown"), result.err.constData());
    QVERIFY(looks > 1);
}

void TestTarnctl::cloudAccounts()
{
    Platform platform;
    QVERIFY(platform.startHub());
    auto result = platform.tarnctl(words("cloud account add 张三 --phone 13800000001 --weixin w"), "密码 1\nrest");
    QVERIFY2(result.exitCode == 0, result.err.constData());
    QCOMPARE(platform.tarnctl(words("cloud account add 张三"), "x\n").exitCode, 1);
    QCOMPARE(platform.tarnctl(words("cloud account add 李四"), "\xff\n").exitCode, 2);
    result = platform.tarnctl(words("cloud account add 李四 --phone 1380000000"), "x\n");
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("11 digits"), result.err.constData());
    QCOMPARE(platform.tarnctl(words("cloud account add 王五"), "密码\r\n").exitCode, 0);
    const auto signIn = [](const QString &password) {
        link::ServiceConnection connection;
        return connection
            .call(link::wire::CloudTag, QStringLiteral("LoginByAccount"),
                  {{{QStringLiteral("user"), QStringLiteral("王五")}, {QStringLiteral("pwd"), password}}, {}})
            .accepted;
    };
    QVERIFY(signIn(QStringLiteral("密码")));
    QCOMPARE(platform.tarnctl(words("cloud account remove 王五")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("cloud account lock 张三 on")).exitCode, 0);
    QCOMPARE(QString::fromUtf8(platform.tarnctl(words("cloud account list")).out),
             QStringLiteral("张三, phone 13800000001, weixin w, locked\n"));
    link::ServiceConnection connection;
    const auto send = QStringLiteral("SendVerificationCode");
    QVERIFY(
        connection.call(link::wire::CloudTag, send, {{{QStringLiteral("phone"), QStringLiteral("13800000001")}}, {}})
            .accepted);
    const QJsonObject sent = array(platform.tarnctl(words("cloud outbox --json")).out).at(0).toObject();
    QCOMPARE(sent.value(QStringLiteral("phone")).toString(), QStringLiteral("13800000001"));
    QCOMPARE(sent.value(QStringLiteral("code")).toString().size(), 6);
    QCOMPARE(platform.tarnctl(words("cloud state")).out, QByteArray("signed out\n"));
    QCOMPARE(platform.tarnctl(words("cloud logout")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("cloud account remove 张三")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("cloud account remove 张三")).exitCode, 1);
}

QTEST_GUILESS_MAIN(TestTarnctl)
#include "tst_Tarnctl.moc"
