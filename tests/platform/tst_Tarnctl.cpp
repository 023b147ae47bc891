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
    void helpAtEveryLevel_data();
    void helpAtEveryLevel();
    void wrongUsage_data();
    void wrongUsage();
    void withoutAPlatform_data();
    void withoutAPlatform();
    void messages();
    void imports();
    void importsALargeFile();
    void calls();
    void cloudAccounts();
    void completesWords();

private:
    static QJsonArray array(const QByteArray &text) { return QJsonDocument::fromJson(text).array(); }
};

void TestTarnctl::helpAtEveryLevel_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("says");
    const auto row = [](const char *line, const char *says) {
        QTest::newRow(line) << QByteArray(line) << QByteArray(says);
    };
    row("--help", "Usage: tarnctl [options] COMMAND\n");
    row("status --help", "Usage: tarnctl status [options]\n");
    row("call --help", "Usage: tarnctl call [options] OPERATION [JSON | @file | -]\n");
    row("cloud --help", "Usage: tarnctl cloud [options] COMMAND\n");
    row("cloud account --help", "Usage: tarnctl cloud account [options] COMMAND\n");
    row("cloud account lock --help", "Usage: tarnctl cloud account lock [options] NAME on|off\n");
    row("cloud outbox --help", "Usage: tarnctl cloud outbox [options]\n");
    row("message --help", "Usage: tarnctl message [options] COMMAND\n");
    row("message push -h", "Usage: tarnctl message push [options]\n");
    row("message list --help", "Usage: tarnctl message list [options]\n");
    row("message show --help", "Usage: tarnctl message show [options] ID\n");
    row("message import --help", "Usage: tarnctl message import [options] FILE | -\n");
    row("message clear --help", "Usage: tarnctl message clear [options]\n");
}

void TestTarnctl::helpAtEveryLevel()
{
    QFETCH(const QByteArray, line);
    QFETCH(const QByteArray, says);
    Platform platform;
    const auto result = platform.tarnctl(words(line));
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.startsWith(says), result.out.constData());
    QCOMPARE(result.err, QByteArray());
}

void TestTarnctl::wrongUsage_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("says");
    const auto row = [](const char *line, const char *says) {
        QTest::newRow(line) << QByteArray(line) << QByteArray(says);
    };
    row("", "argument is missing");
    row("frobnicate", "\"frobnicate\"");
    row("message", "argument is missing");
    row("message sing", "\"sing\"");
    row("message push --colour red", "colour");
    row("message push --title", "--title");
    row("message push --title a --unread many", "--unread");
    row("message push stray", "\"stray\"");
    row("message show", "argument is missing");
    row("message import", "argument is missing");
    row("message import /no/such/file", "/no/such/file");
    row("message import /", "/: ");
    row("call", "argument is missing");
    row("call Op {} {}", "too many");
    row("call Op {\"a\":1,}", "line 1, column 8");
    row("call Op {\"a\":{\"$rect\":[1]}}", "/a/$rect");
    row("call Op @/no/such/file", "/no/such/file");
    row("call ShowMessageCenter --wait", "--wait");
    row("call ShowCloudLogin --wait --timeout soon", "--timeout");
    row("call ShowCloudLogin --parent here", "--parent");
    row("cloud", "argument is missing");
    row("cloud fly", "\"fly\"");
    row("cloud account add", "argument is missing");
    row("cloud account add a", "password is wanted"); // the standard input is empty
    row("cloud account lock a maybe", "\"maybe\"");
    row("status now", "\"now\"");
}

void TestTarnctl::wrongUsage()
{
    QFETCH(const QByteArray, line);
    QFETCH(const QByteArray, says);
    Platform platform;
    const auto result = platform.tarnctl(words(line));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.startsWith("tarnctl: ") && result.err.contains(says), result.err.constData());
    QCOMPARE(result.out, QByteArray());
}

void TestTarnctl::withoutAPlatform_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char *line : {"status", "call ShowMessageCenter", "message list", "message push --title a",
                             "message show 1", "message clear", "call ShowCloudLogin --wait", "cloud state"})
        QTest::newRow(line) << QByteArray(line);
}

void TestTarnctl::withoutAPlatform()
{
    QFETCH(const QByteArray, line);
    Platform platform;
    const auto result = platform.tarnctl(words(line));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("visualized-host"), result.err.constData());
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
    result = platform.tarnctl({QStringLiteral("message"), QStringLiteral("push"), QStringLiteral("--title"),
                               QStringLiteral("evil \x1b]0;title\x07"), QStringLiteral("--json")});
    const QJsonObject pushed = QJsonDocument::fromJson(result.out).object();
    QCOMPARE(pushed.value(QStringLiteral("Shown")), QJsonValue(false));
    QCOMPARE(pushed.value(QStringLiteral("unReadNum")), QJsonValue(2));

    result = platform.tarnctl(words("message list --json"));
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out.count('\n'), 1);
    const QJsonArray records = array(result.out);
    QCOMPARE(records.size(), 2);
    const QJsonObject record = records.at(1).toObject();
    QCOMPARE(record.value(QStringLiteral("LinkAdress")).toString(), QStringLiteral("https://example.org"));
    QCOMPARE(record.value(QStringLiteral("PicFilePath")).toString(),
             QDir::current().filePath(QStringLiteral("pic.png")));
    QCOMPARE(record.value(QStringLiteral("receipts")), QJsonValue(QJsonArray()));
    result = platform.tarnctl(words("message list"));
    QVERIFY(QString::fromUtf8(result.out).contains(QStringLiteral("第一 ")));
    QVERIFY(!result.out.contains('\x1b') && !result.out.contains('\x07'));
    result = platform.tarnctl(words("message show 第一"));
    QVERIFY2(QString::fromUtf8(result.out).contains(QStringLiteral("正文")), result.out.constData());
    QCOMPARE(platform.tarnctl(words("message show 第二")).exitCode, 1);
    result = platform.tarnctl(words("status"));
    QCOMPARE(result.exitCode, 3); // nobody is there to draw windows
    QVERIFY2(result.out.contains("2 unread"), result.out.constData());
    for (const char *line : {"hub: ", "message service: ", "visualized service: "})
        QVERIFY2(result.out.contains(line), result.out.constData());
    result = platform.tarnctl(words("message clear"));
    QCOMPARE(result.out, QByteArray("removed: 2 messages\n"));
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
    auto result = platform.tarnctl(words("call ShowMessageCenter"));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("visualized-host"), result.err.constData());

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
    result = platform.tarnctl({QStringLiteral("call"), QStringLiteral("Accept"), json});
    QVERIFY2(result.exitCode == 0, result.err.constData());
    QCOMPARE(QString::fromUtf8(result.out),
             QStringLiteral(R"({"accepted":true,"retCode":2000,"error":"","values":%1})").arg(json) +
                 QLatin1Char('\n'));
    QCOMPARE(platform.tarnctl(words("call Accept")).out,
             QByteArray("{\"accepted\":true,\"retCode\":2000,\"error\":\"\",\"values\":{}}\n"));
    result = platform.tarnctl(words("call Refuse -"), R"({"$list":[1,{}]})");
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(QString::fromUtf8(result.out),
             QStringLiteral(R"({"accepted":false,"retCode":0,"error":"\"不\"","values":{},"list":[1,{}]})") +
                 QLatin1Char('\n'));
    QFile file(platform.directory() + QStringLiteral("/input.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"a\":\n1}");
    file.close();
    result = platform.tarnctl({QStringLiteral("call"), QStringLiteral("Accept"), QLatin1Char('@') + file.fileName()});
    QVERIFY2(result.out.contains("\"values\":{\"a\":1}"), result.out.constData());
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

void TestTarnctl::completesWords()
{
    QProcess bash;
    bash.start(QStringLiteral("bash"),
               {QStringLiteral("-c"),
                QStringLiteral("_init_completion() { words=(\"${COMP_WORDS[@]}\"); cword=$COMP_CWORD; "
                               "cur=${words[cword]}; prev=${words[cword-1]}; }; _filedir() { :; }; . \"$0\"; "
                               "COMP_WORDS=(tarnctl message pu); COMP_CWORD=2; _tarnctl; echo \"${COMPREPLY[@]}\"; "
                               "COMP_WORDS=(tarnctl call ShowNo); COMP_CWORD=2; _tarnctl; echo \"${COMPREPLY[@]}\"; "
                               "COMP_WORDS=(tarnctl message push --link); COMP_CWORD=3; _tarnctl; "
                               "echo \"${COMPREPLY[@]}\""),
                QStringLiteral(TARN_COMPLETION)});
    QVERIFY(bash.waitForFinished());
    QCOMPARE(bash.readAllStandardError(), QByteArray());
    QCOMPARE(bash.readAllStandardOutput(), QByteArray("push\nShowNotifyMessage\n--link --link-text\n"));
}

QTEST_GUILESS_MAIN(TestTarnctl)
#include "tst_Tarnctl.moc"
