#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <csignal>

using namespace tarn;
using test::Platform;
using test::ServedObject;

namespace {

rpc::CallResult accept(const QString &, const rpc::Bag &)
{
    rpc::CallResult answer;
    answer.accepted = true;
    return answer;
}

} // namespace

// The view of a user and a script: exit codes, standard output for answers, standard error for the rest.
class TestTarnctl final : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_platform = std::make_unique<Platform>(); }
    void cleanup() { m_platform.reset(); }

    void helpAndDocuments();
    void wrongUsage();
    void withoutAPlatform();
    void statusTellsTheTruth();
    void stopEndsEverything();
    void messages();
    void imports();
    void calls();
    void warnsOfMistypedInput();
    void cloudAccounts();

private:
    Platform::Result run(const QString &line, const QByteArray &input = {})
    {
        return m_platform->tarnctl(line.split(' ', Qt::SkipEmptyParts), input);
    }
    QJsonArray array(const QString &line) { return QJsonDocument::fromJson(run(line).out).array(); }

    std::unique_ptr<Platform> m_platform;
};

void TestTarnctl::helpAndDocuments()
{
    for (const QString &command : QStringList{"", "status ", "call ", "message ", "cloud account lock "}) {
        const auto result = run(command + "--help");
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.out.startsWith("Usage: tarnctl " + command.toUtf8() + "[options]"), result.out.constData());
        QCOMPARE(result.err, QByteArray());
    }
    // Every command is in each of the documents, and the shell takes its completion.
    for (const QString &kind : QStringList{"man", "bash", "zsh", "fish"}) {
        const auto result = run("document " + kind);
        QCOMPARE(result.exitCode, 0);
        for (const char *word : {"account lock", "message push", "outbox", "kill"})
            QVERIFY2(result.out.contains(word), word);
    }
    QProcess bash;
    bash.start("bash", {"-c", QString("eval \"$(%1 document bash)\"; COMP_WORDS=(tarnctl cloud account l); "
                                      "COMP_CWORD=3; _tarnctl; echo ${COMPREPLY[@]}")
                                  .arg(Platform::program("tarnctl"))});
    QVERIFY(bash.waitForFinished());
    QCOMPARE(bash.readAllStandardOutput(), QByteArray("list lock\n"));
}

void TestTarnctl::wrongUsage()
{
    const QVector<QPair<QString, const char *>> lines{
        {"", "COMMAND is missing"},
        {"message show", "ID is missing"},
        {"message sing", "\"sing\""},
        {"message push --colour red", "colour"},
        {"message push --title a --unread many", "--unread"},
        {"message push --unread -1", "--unread"},
        {"message push --time tomorrow", "--time"},
        {"message push --picture /nope", "/nope"},
        {"message push stray", "\"stray\""},
        {"message clear", "--yes"}, // the standard input is no terminal
        {"message import /no/such/file", "/no/such/file"},
        {"message import /", "/: "},
        {"call ShowMessageCenter --wait", "--wait"},
        {"call ShowCloudLogin --wait --timeout soon", "--timeout"},
        {"call ShowCloudLogin --timeout 5", "--wait"},
        {"cloud account add a", "password is required"}, // the standard input is empty
        {"cloud account lock a maybe", "\"maybe\""},
        {"document tea", "\"tea\""},
        {"call Op {\"a\":1,}", "line 1, column 8"},
        {"call Op {\"题\":1x}", "line 1, column 7"},
        {"call Op {\"r\":{\"$rect\":[1,2,3,4294967296]}}", "/r/$rect/3:"},
        {"call Op {\"l\":[0,{\"$u64\":\"-1\"}]}", "/l/1/$u64:"},
        {"call Op {\"l\":{\"$date\":\"x\"}}", "/l/$date:"},
        {"call Op {\"$list\":[1,{\"a\":{\"$rect\":0}}]}", "/$list/1/a/$rect:"},
    };
    for (const auto &[line, says] : lines) {
        const auto result = run(line);
        QVERIFY2(result.exitCode == 2, qPrintable(line));
        QVERIFY2(result.err.startsWith("tarnctl: ") && result.err.contains(says), result.err.constData());
        QCOMPARE(result.out, QByteArray());
    }
}

void TestTarnctl::withoutAPlatform()
{
    for (const QString &line :
         QStringList{"status", "call ShowMessageCenter", "message list", "call ShowCloudLogin --wait", "cloud state"}) {
        const auto result = run(line);
        QVERIFY2(result.exitCode == 3, qPrintable(line));
        QVERIFY2(result.err.contains("visualized-host"), result.err.constData());
    }
}

void TestTarnctl::statusTellsTheTruth()
{
    QVERIFY(m_platform->startHubAlone());
    ServedObject message(link::wire::MessageTag, [](const QString &, const rpc::Bag &) {
        rpc::CallResult answer;
        answer.errorText = "database or disk is full";
        return answer;
    });
    ServedObject upgrade(link::wire::UpgradeTag, accept);
    ServedObject cloud(link::wire::CloudTag, accept);
    auto result = run("status");
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains("start \"visualized-host\""), result.err.constData());
    ServedObject host(visualized::DefaultTag, accept);
    QVERIFY(message.isServed() && upgrade.isServed() && cloud.isServed() && host.isServed());
    result = run("status");
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.out.contains("database or disk is full"), result.out.constData());
    const QJsonArray states = array("status --json");
    QCOMPARE(states.at(0).toObject().value("ok"), QJsonValue(true));
    QCOMPARE(states.at(1).toObject().value("ok"), QJsonValue(false));
}

void TestTarnctl::stopEndsEverything()
{
    QVERIFY(m_platform->startHub());
    const auto services = static_cast<pid_t>(m_platform->servicesOfHub());
    // The second host waits for the first one's tag and would start a new hub.
    const QString program = m_platform->path("visualized-host");
    QVERIFY(QFile::link(qEnvironmentVariable("TARN_PEER"), program)); // known by its name: hosts hide their file
    QProcess hosts[2];
    for (QProcess &host : hosts) {
        host.start(program, {QString::number(rpc::hubPort()), QString("host %1").arg(&host - hosts)});
        QVERIFY(host.waitForReadyRead());
    }
    const auto result = run("stop");
    for (QProcess &host : hosts)
        QVERIFY(host.state() == QProcess::NotRunning || host.waitForFinished(5000));
    QVERIFY2(result.exitCode == 0 && result.out.contains("stopped: ServiceHub"), (result.out + result.err).constData());
    QTRY_VERIFY(m_platform->hub()->state() == QProcess::NotRunning);
    QVERIFY(::kill(services, 0) != 0);
    QCOMPARE(run("stop").out, QByteArray());
}

void TestTarnctl::messages()
{
    QVERIFY(m_platform->startHub());
    auto result = run("message push --id 第一 --title 标题 --time 2026-01-02 --unread 7 --picture /etc/hostname");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QByteArray("第一\n"));
    QVERIFY2(result.err.contains("not shown"), result.err.constData());
    QCOMPARE(run("message push --title evil\x1b]0;title\x07").exitCode, 0);
    QCOMPARE(array("message list --json").size(), 2);
    result = run("message list");
    QVERIFY(result.out.contains("第一 "));
    QVERIFY(!result.out.contains('\x1b') && !result.out.contains('\x07'));
    QCOMPARE(run("message show 第一").exitCode, 0);
    QCOMPARE(run("message show 第二").exitCode, 1);
    QVERIFY(run("status").out.contains("2 unread"));
    QCOMPARE(run("message clear --yes").out, QByteArray("removed: 2 messages\n"));
    QCOMPARE(run("message list --json").out, QByteArray("[]\n"));
}

void TestTarnctl::imports()
{
    QVERIFY(m_platform->startHub());
    const QString import = "message import -";
    QVERIFY(run(import, R"([{"MsgTitle":"a"},{"MsgTitle":{"$rect":[1]}}])").err.contains("/1/MsgTitle/$rect"));
    auto result = run(import, R"([{"MsgTitle":"a"},{"MsgTitle":1}])");
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("record 1: MsgTitle"), result.err.constData());
    QCOMPARE(run(import, R"({"a":1})").exitCode, 2);
    QCOMPARE(run(import, "[1]").exitCode, 2);
    QCOMPARE(run("message list --json").out, QByteArray("[]\n"));
    // More than one call can carry; a list can be imported again.
    QByteArray many = "{\"messages\":[{\"MsgId\":\"large\",\"MsgContent\":\"" + QByteArray(1024 * 1024, 'x') + "\"}";
    for (int i = 0; i < 1200; ++i)
        many += ",{\"MsgTitle\":\"" + QByteArray::number(i) + "\"}";
    QCOMPARE(run(import, many + "]}").out, QByteArray("stored: 1201 messages\n"));
    const QByteArray list = run("message list --json").out;
    run("message clear --yes");
    result = run(import, list);
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(array("message list --json").size(), 1201);
}

void TestTarnctl::calls()
{
    QVERIFY(m_platform->startHubAlone());
    ServedObject host(visualized::DefaultTag, [](const QString &method, const rpc::Bag &input) {
        rpc::CallResult answer;
        answer.output = input;
        answer.accepted = method == "Accept";
        answer.retCode = answer.accepted ? 2000 : 0;
        answer.errorText = answer.accepted ? QString() : "\"不\"";
        if (method == "Nothing")
            answer.error = {rpc::RpcError::NotFound, "no such method"};
        return answer;
    });
    QVERIFY(host.isServed());
    const QByteArray json = R"({"r":{"$rect":[1,2,3,4]},"w":{"$u64":"18446744073709551615"},"字":[null,1.5]})";
    auto result = run("call Accept -", json);
    QVERIFY2(result.exitCode == 0, result.err.constData());
    QCOMPARE(result.out, R"({"accepted":true,"retCode":2000,"error":"","values":)" + json + "}\n");
    result = run("call Refuse -", R"({"$list":[1,{}]})");
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(result.out,
             QByteArray(R"({"accepted":false,"retCode":0,"error":"\"不\"","values":{},"list":[1,{}]})") + '\n');
    result = run("call Nothing");
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains("Nothing"), result.err.constData());
    // Deeper than the RPC layer carries, and no text.
    QCOMPARE(run("call Accept -", "{\"a\":" + QByteArray(100, '[') + QByteArray(100, ']') + '}').exitCode, 2);
    QCOMPARE(run("call Accept -", R"({"a":"\ud800"})").exitCode, 2);
}

void TestTarnctl::warnsOfMistypedInput()
{
    QVERIFY(m_platform->startHubAlone());
    ServedObject host(visualized::DefaultTag, accept);
    QVERIFY(host.isServed());
    const QVector<QPair<QString, const char *>> lines{
        {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "unknown key \"MsgID\""},
        {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "\"MsgId\" is missing"},
        {R"(showAutoCheckUpdateDialog {"list":[]})", "\"$list\" is missing"},
        {R"(ShowMessageCenter {"msg_center_rect":"1,2,3,4"})", "type rect"},
        {"Show", "unknown operation"},
    };
    for (const auto &[line, says] : lines) {
        const auto result = run("call " + line);
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.contains(says), result.err.constData());
    }
    QCOMPARE(run(R"(call ShowNotifyMessage {"MsgId":"1","MsgContent":"x","unReadNum":3})").err, QByteArray());
    QVERIFY(run("call ShowNotifyMessage --help").out.contains("unReadNum (string)"));
    QVERIFY(run("call --list").out.contains("ShowMessageCenter"));
}

void TestTarnctl::cloudAccounts()
{
    QVERIFY(m_platform->startHub());
    QCOMPARE(run("cloud account add 张三 --phone 13800000001 --weixin w", "密码 1\nrest").exitCode, 0);
    QCOMPARE(run("cloud account add 李四", "\xff\n").exitCode, 2);
    QCOMPARE(run("cloud account add 王五", "密码\r\n").exitCode, 0);
    const auto signsIn = [](const QString &name, const QString &password) {
        link::ServiceConnection connection;
        return connection.call(link::wire::CloudTag, "LoginByAccount", {{{"user", name}, {"pwd", password}}, {}})
            .accepted;
    };
    QVERIFY(signsIn("张三", "密码 1"));
    QVERIFY(signsIn("王五", "密码"));
    QVERIFY(run("cloud state").out.startsWith("signed in: 王五, by account"));
    QCOMPARE(run("cloud account remove 王五").exitCode, 0);
    QCOMPARE(run("cloud account remove 王五").exitCode, 1);
    QCOMPARE(run("cloud account lock 张三 on").exitCode, 0);
    QCOMPARE(run("cloud account list").out, QByteArray("张三, phone 13800000001, weixin w, locked\n"));
    QCOMPARE(run("cloud outbox --json").out, QByteArray("[]\n"));
}

QTEST_GUILESS_MAIN(TestTarnctl)
#include "tst_Tarnctl.moc"
