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
#include <QProcess>
#include <QTest>
#include <atomic>
#include <csignal>

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
    void documents();
    void wrongUsage();
    void withoutAPlatform();
    void statusTellsTheTruth();
    void stopEndsEverything();
    void messages();
    void imports();
    void calls();
    void warnsOfMistypedInput();
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

// Every command is in each of the documents, and the shell takes its completion.
void TestTarnctl::documents()
{
    Platform platform;
    for (const char *kind : {"man", "bash", "zsh", "fish"}) {
        const auto result = platform.tarnctl(words("document") << QLatin1String(kind));
        QCOMPARE(result.exitCode, 0);
        for (const char *word : {"account lock", "message push", "outbox", "kill"})
            QVERIFY2(result.out.contains(word), word);
    }
    QCOMPARE(platform.tarnctl(words("document tea")).exitCode, 2);
    QProcess bash;
    bash.setProgram(QStringLiteral("bash"));
    bash.setArguments(
        {QStringLiteral("-c"), QStringLiteral("eval \"$(%1 document bash)\"; COMP_WORDS=(tarnctl cloud account l); "
                                              "COMP_CWORD=3; _tarnctl; echo ${COMPREPLY[@]}")
                                   .arg(Platform::program(QStringLiteral("tarnctl")))});
    bash.start();
    QVERIFY(bash.waitForFinished());
    QCOMPARE(bash.readAllStandardOutput(), QByteArray("list lock\n"));
}

void TestTarnctl::wrongUsage()
{
    Platform platform;
    const QVector<QPair<const char *, const char *>> lines{
        {"", "COMMAND is missing"},
        {"message show", "ID is missing"},
        {"frobnicate", "\"frobnicate\""},
        {"message sing", "\"sing\""},
        {"message push --colour red", "colour"},
        {"message push --title", "--title"},
        {"message push --title a --unread many", "--unread"},
        {"message push --unread -1", "--unread"},
        {"message push --time tomorrow", "--time"},
        {"message push --picture /nope", "/nope"},
        {"message push stray", "\"stray\""},
        {"message clear", "--yes"}, // the standard input is no terminal
        {"message import /no/such/file", "/no/such/file"},
        {"message import /", "/: "},
        {"call Op {} {}", "too many"},
        {"call ShowMessageCenter --wait", "--wait"},
        {"call ShowCloudLogin --wait --timeout soon", "--timeout"},
        {"call ShowCloudLogin --timeout 5", "--wait"},
        {"cloud account add a", "password is required"}, // the standard input is empty
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

void TestTarnctl::statusTellsTheTruth()
{
    Platform platform;
    QVERIFY(platform.startHubAlone());
    const auto works = [](const QString &, const rpc::Bag &) {
        rpc::CallResult answer;
        answer.accepted = true;
        return answer;
    };
    const auto full = [](const QString &, const rpc::Bag &) {
        rpc::CallResult answer;
        answer.errorText = QStringLiteral("database or disk is full");
        return answer;
    };
    ServedObject message(link::wire::MessageTag, full);
    ServedObject upgrade(link::wire::UpgradeTag, works);
    ServedObject cloud(link::wire::CloudTag, works);
    auto result = platform.tarnctl(words("status"));
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("start \"visualized-host\""), result.err.constData());
    ServedObject host(visualized::DefaultTag, works);
    QVERIFY(message.isServed() && upgrade.isServed() && cloud.isServed() && host.isServed());
    result = platform.tarnctl(words("status"));
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.out.contains("database or disk is full"), result.out.constData());
    const QJsonArray states = array(platform.tarnctl(words("status --json")).out);
    QCOMPARE(states.at(0).toObject().value(QStringLiteral("ok")), QJsonValue(true));
    QCOMPARE(states.at(1).toObject().value(QStringLiteral("ok")), QJsonValue(false));
}

void TestTarnctl::stopEndsEverything()
{
    Platform platform;
    QVERIFY(platform.startHub());
    const auto services = static_cast<pid_t>(platform.servicesOfHub());
    const auto result = platform.tarnctl(words("stop"));
    QVERIFY2(result.exitCode == 0 && result.out.contains("stopped: ServiceHub"), (result.out + result.err).constData());
    QTRY_VERIFY(platform.hub()->state() == QProcess::NotRunning);
    QVERIFY(::kill(services, 0) != 0);
    QCOMPARE(platform.tarnctl(words("stop")).out, QByteArray());
}

void TestTarnctl::messages()
{
    Platform platform;
    QVERIFY(platform.startHub());
    QFile picture(platform.directory() + QStringLiteral("/pic.png"));
    QVERIFY(picture.open(QIODevice::WriteOnly));
    auto result = platform.tarnctl(words("message push --id 第一 --title 标题 --time 2026-01-02 --unread 7 --picture")
                                   << picture.fileName());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QString::fromUtf8(result.out), QStringLiteral("第一\n"));
    QVERIFY2(result.err.contains("not shown"), result.err.constData());
    result = platform.tarnctl(words("message push --json --title") << QStringLiteral("evil \x1b]0;title\x07"));
    QCOMPARE(QJsonDocument::fromJson(result.out).object().value(QStringLiteral("unReadNum")), QJsonValue(2));
    QCOMPARE(array(platform.tarnctl(words("message list --json")).out).size(), 2);
    result = platform.tarnctl(words("message list"));
    QVERIFY(QString::fromUtf8(result.out).contains(QStringLiteral("第一 ")));
    QVERIFY(!result.out.contains('\x1b') && !result.out.contains('\x07'));
    QCOMPARE(platform.tarnctl(words("message show 第一")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("message show 第二")).exitCode, 1);
    QVERIFY(platform.tarnctl(words("status")).out.contains("2 unread"));
    QCOMPARE(platform.tarnctl(words("message clear --yes")).out, QByteArray("removed: 2 messages\n"));
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
    platform.tarnctl(words("message clear --yes"));
    result = platform.tarnctl(import, list); // what was listed can be taken back
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(array(platform.tarnctl(words("message list --json")).out).size(), 2);
    platform.tarnctl(words("message clear --yes"));

    result = platform.tarnctl(import, R"([{"MsgTitle":"a"},{"MsgTitle":{"$rect":[1]}}])");
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains("/1/MsgTitle/$rect"), result.err.constData());
    result = platform.tarnctl(import, R"([{"MsgTitle":"a"},{"MsgTitle":1}])");
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("record 1: MsgTitle"), result.err.constData());
    QCOMPARE(platform.tarnctl(import, R"({"a":1})").exitCode, 2);
    QCOMPARE(platform.tarnctl(import, "[1]").exitCode, 2);
    QCOMPARE(platform.tarnctl(words("message list --json")).out, QByteArray("[]\n"));
    // More than one call can carry.
    QByteArray many = "{\"messages\":[{\"MsgId\":\"large\",\"MsgContent\":\"" + QByteArray(1024 * 1024, 'x') + "\"}";
    for (int i = 0; i < 1200; ++i)
        many += ",{\"MsgTitle\":\"" + QByteArray::number(i) + "\"}";
    result = platform.tarnctl(import, many + "]}");
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(result.out, QByteArray("stored: 1201 messages\n"));
    QCOMPARE(array(platform.tarnctl(words("message list --json")).out).size(), 1201);
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
}

void TestTarnctl::warnsOfMistypedInput()
{
    Platform platform;
    QVERIFY(platform.startHubAlone());
    ServedObject host(visualized::DefaultTag, [](const QString &, const rpc::Bag &) {
        rpc::CallResult answer;
        answer.accepted = true;
        return answer;
    });
    QVERIFY(host.isServed());
    const QVector<QPair<const char *, const char *>> calls{
        {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "unknown key \"MsgID\""},
        {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "\"MsgId\" is missing"},
        {R"(showAutoCheckUpdateDialog {"list":[]})", "\"$list\" is missing"},
        {R"(ShowMessageCenter {"msg_center_rect":"1,2,3,4"})", "type rect"},
        {"Show", "unknown operation"},
    };
    for (const auto &[line, says] : calls) {
        const auto result = platform.tarnctl(words("call") + words(line));
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.contains(says), result.err.constData());
    }
    const auto right =
        platform.tarnctl(words(R"(call ShowNotifyMessage {"MsgId":"1","MsgContent":"x","unReadNum":3})"));
    QCOMPARE(right.err, QByteArray());
    QVERIFY(platform.tarnctl(words("call ShowNotifyMessage --help")).out.contains("unReadNum (string)"));
    QVERIFY(platform.tarnctl(words("call --list")).out.contains("ShowMessageCenter"));
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
    QCOMPARE(platform.tarnctl(words("cloud account add 李四"), "\xff\n").exitCode, 2);
    QCOMPARE(platform.tarnctl(words("cloud account add 王五"), "密码\r\n").exitCode, 0);
    const auto signsIn = [](const QString &name, const QString &password) {
        link::ServiceConnection connection;
        return connection
            .call(link::wire::CloudTag, QStringLiteral("LoginByAccount"),
                  {{{QStringLiteral("user"), name}, {QStringLiteral("pwd"), password}}, {}})
            .accepted;
    };
    QVERIFY(signsIn(QStringLiteral("张三"), QStringLiteral("密码 1")));
    QVERIFY(signsIn(QStringLiteral("王五"), QStringLiteral("密码")));
    QVERIFY(platform.tarnctl(words("cloud state")).out.startsWith("signed in: 王五, by account"));
    QCOMPARE(platform.tarnctl(words("cloud account remove 王五")).exitCode, 0);
    QCOMPARE(platform.tarnctl(words("cloud account remove 王五")).exitCode, 1);
    QCOMPARE(platform.tarnctl(words("cloud account lock 张三 on")).exitCode, 0);
    QCOMPARE(QString::fromUtf8(platform.tarnctl(words("cloud account list")).out),
             QStringLiteral("张三, phone 13800000001, weixin w, locked\n"));
    QCOMPARE(platform.tarnctl(words("cloud outbox --json")).out, QByteArray("[]\n"));
}

QTEST_GUILESS_MAIN(TestTarnctl)
#include "tst_Tarnctl.moc"
