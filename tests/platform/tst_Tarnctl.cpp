#include "support/Sandbox.h"
#include "support/ServedObject.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <atomic>
#include <csignal>

using namespace tarn;
using test::ServedObject;

namespace {

rpc::CallResult accept(const QString &, const rpc::Bag &)
{
    rpc::CallResult answer;
    answer.accepted = true;
    return answer;
}

/// The arguments of tarnctl, the expected exit code, and a part of the expected output (standard error when the code is not
/// 0). An expected text that ends with a line end is the whole output.
struct Step
{
    QString line;
    int exitCode;
    QByteArray says;
    QByteArray input = {};
};

} // namespace

// The view of a user and a script: exit codes, standard output for answers, standard error for the rest.
class TestTarnctl final : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_platform = std::make_unique<Sandbox>(); }
    void cleanup() { m_platform.reset(); }

    void helpAndDocuments()
    {
        QVector<Step> steps;
        for (const QString &command : QStringList{"", "status ", "call ", "message ", "cloud account lock "})
            steps.append({command + "--help", 0, "Usage: tarnctl " + command.toUtf8() + "[options]"});
        for (const QString &kind : QStringList{"man", "bash", "zsh", "fish"}) { // every command is in each of them
            for (const char *word : {"account lock", "message push", "outbox", "kill"})
                steps.append({"document " + kind, 0, word});
        }
        steps.append({"call ShowNotifyMessage --help", 0, "unReadNum (string)"});
        steps.append({"call --list", 0, "ShowMessageCenter"});
        QCOMPARE(wrong(steps), QString());
        for (const QString &output : QStringList{">/dev/full", ">&-"}) {
            QProcess shell;
            shell.start("sh", {"-c", "\"$0\" call --list " + output, Sandbox::program("tarnctl")});
            QVERIFY(shell.waitForFinished(10000));
            QCOMPARE(shell.exitCode(), 1);
            QVERIFY(shell.readAllStandardError().contains("cannot be written"));
        }
        for (const auto &[words, expected] :
             {std::pair("cloud account l", "list lock\n"), std::pair("sing a l", "\n")}) {
            QProcess bash;
            bash.start("bash", {"-c", QString("eval \"$(%1 document bash)\"; COMP_WORDS=(tarnctl %2); COMP_CWORD=3; "
                                              "_tarnctl; echo ${COMPREPLY[@]}")
                                          .arg(Sandbox::program("tarnctl"), QLatin1String(words))});
            QVERIFY2(bash.waitForFinished(10000), words);
            QCOMPARE(bash.readAllStandardOutput(), QByteArray(expected));
        }
    }

    void wrongUsage()
    {
        QCOMPARE(run("status").exitCode, 3);
        const QVector<Step> steps{
            {"call ShowMessageCenter", 3, "visualized-host"}, // without a platform
            {"call ShowCloudLogin --wait", 3, "visualized-host"},
            {"", 2, "COMMAND is missing"},
            {"message show", 2, "ID is missing"},
            {"message sing", 2, "\"sing\""},
            {"message push --colour red", 2, "colour"},
            {"message push --title a --unread many", 2, "--unread: expected a number of 0 or more, not \"many\""},
            {"message push --unread -1", 2, "--unread"},
            {"message push --time tomorrow", 2, "not \"tomorrow\""},
            {"message push --picture /nope", 2, "/nope"},
            {"message push stray", 2, "\"stray\""},
            {"message clear", 2, "--yes"}, // the standard input is no terminal
            {"message import /no/such/file", 2, "/no/such/file"},
            {"message import /", 2, "/: "},
            {"call ShowMessageCenter --wait", 2, "--wait"},
            {"call ShowCloudLogin --wait --timeout soon", 2, "--timeout: expected a number of seconds, not \"soon\""},
            {"call ShowCloudLogin --timeout 5", 2, "--wait"},
            {"cloud account add a", 2, "password is required"}, // the standard input is empty
            {"cloud account lock a maybe", 2, "\"maybe\""},
            {"document tea", 2, "\"tea\""},
            {"call Op {\"a\":1,}", 2, "line 1, column 8"},
            {"call Op {\"题\":1x}", 2, "line 1, column 7"},
            {"call Op {\"r\":{\"$rect\":[1,2,3,4294967296]}}", 2, "/r/$rect/3:"},
            {"call Op {\"l\":[0,{\"$u64\":\"-1\"}]}", 2, "/l/1/$u64: expected a string with an unsigned"},
            {"call Op {\"l\":{\"$date\":\"x\"}}", 2, "/l/$date:"},
            {"call Op {\"$list\":1}", 2, "/$list: expected an array"},
            {"call Op {\"$list\":[1,{\"a\":{\"$rect\":0}}]}", 2, "/$list/1/a/$rect:"},
        };
        QCOMPARE(wrong(steps), QString());
    }

    void statusTellsTheTruth()
    {
        QVERIFY(m_platform->startHubAlone());
        ServedObject message(link::wire::MessageTag, [](const QString &, const rpc::Bag &) {
            rpc::CallResult answer;
            answer.errorText = "database or disk is full";
            return answer;
        });
        ServedObject upgrade(link::wire::UpgradeTag, accept);
        ServedObject cloud(link::wire::CloudTag, accept);
        QVERIFY(run("status").err.contains("start \"visualized-host\""));
        ServedObject host(visualized::DefaultTag, accept);
        QVERIFY(message.isServed() && upgrade.isServed() && cloud.isServed() && host.isServed());
        const auto result = run("status");
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(result.out.contains("database or disk is full"), result.out.constData());
        const QJsonArray states = QJsonDocument::fromJson(run("status --json").out).array();
        QCOMPARE(states.at(0).toObject().value("ok"), QJsonValue(true));
        QCOMPARE(states.at(1).toObject().value("ok"), QJsonValue(false));
    }

    void stopEndsEverything()
    {
        QVERIFY(m_platform->startHub());
        const auto services = m_platform->services();
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
        QVERIFY2(result.exitCode == 0 && result.out.contains("stopped: ServiceHub"),
                 (result.out + result.err).constData());
        QTRY_VERIFY(m_platform->hub()->state() == QProcess::NotRunning);
        QVERIFY(::kill(services, 0) != 0);
        QCOMPARE(run("stop").out, QByteArray());
    }

    void messages()
    {
        QVERIFY(m_platform->startHub());
        const auto pushed = run("message push --id 第一 --title 标题 --time 2026-01-02 --picture /etc/hostname");
        QCOMPARE(pushed.out, QByteArray("第一\n"));
        QVERIFY2(pushed.err.contains("not shown"), pushed.err.constData());
        QCOMPARE(run("message push --title evil\x1b]0;title\x07").exitCode, 0);
        QVERIFY(run("status").out.contains("2 unread"));
        const QString import = "message import -";
        // More than one call can carry; a list can be imported again.
        QByteArray many = "{\"messages\":[{\"MsgTitle\":\"first\"}";
        for (int i = 0; i < 4; ++i)
            many += ",{\"MsgContent\":\"" + QByteArray(1024 * 1024, 'x') + "\"}";
        for (int i = 0; i < 1200; ++i)
            many += ",{\"MsgTitle\":\"" + QByteArray::number(i) + "\"}";
        QCOMPARE(wrong({{"message list", 0, "evil ]0;title"},
                        {"message show 第一", 0, "title:     标题"},
                        {"message show 第二", 1, "第二"},
                        {"message clear --yes", 0, "removed: 2 messages\n"},
                        {import, 2, "/1/MsgTitle/$rect", R"([{"MsgTitle":"a"},{"MsgTitle":{"$rect":[1]}}])"},
                        {import, 1, "record 1: MsgTitle", R"([{"MsgTitle":"a"},{"MsgTitle":1}])"},
                        {import, 2, "/: ", R"({"a":1})"},
                        {import, 2, "/0: ", "[1]"},
                        {"message list --json", 0, "[]\n"},
                        {import, 0, "stored: 1205 messages\n", many + "]}"}}),
                 QString());
        const QByteArray list = run("message list --json").out;
        QCOMPARE(wrong({{"message clear --yes", 0, "1205"}, {import, 0, "stored: 1205 messages\n", list}}), QString());
    }

    void messageColumns()
    {
        QVERIFY(m_platform->startHubAlone());
        ServedObject service(link::wire::MessageTag, [](const QString &method, const rpc::Bag &input) {
            rpc::CallResult answer = accept(method, input);
            const QByteArray records =
                R"([{"MsgId":"第一","MsgDateTime":"2026-01-02 03:04:05","MsgTitle":"标题","deleted":"d","ignored":"i",
                     "receipts":[{"MessageReceipt":2,"first":"f"},{"MessageReceipt":3,"first":"f"},
                                 {"MessageReceipt":2,"first":"f","last":"l","count":2,"SoftName":"软件"}]},
                    {"MsgContent":"内容","unRead":true,"MsgId":")" +
                QByteArray(70, 'x') + R"("}])";
            answer.output.list = QJsonDocument::fromJson(records).array().toVariantList();
            return answer;
        });
        QVERIFY(service.isServed());
        const QString cut = QString(59, 'x') + QChar(0x2026);
        const QString list = "ID" + QString(60, ' ') +
                             "TIME                 STATE                 RECEIPTS      TITLE\n" + "第一" +
                             QString(58, ' ') + "2026-01-02 03:04:05  read,deleted,ignored  read,clicked  标题\n" +
                             cut + QString(23, ' ') + "unread                -             内容\n";
        QCOMPARE(wrong({{"message list", 0, list.toUtf8()},
                        {"message show 第一", 0,
                         "id:        第一\ntitle:     标题\ntime:      2026-01-02 03:04:05\n"
                         "state:     read,deleted,ignored\ndeleted:   d\nignored:   i\n"
                         "receipt:   read f\nreceipt:   clicked f\nreceipt:   read f, last l, 2 times, 软件\n"},
                        {"message show 第二", 1, "第二"}}), // of a service that answers every question with its list
                 QString());
    }

    void calls()
    {
        QVERIFY(m_platform->startHubAlone());
        std::atomic_int looks = 0; // at the dialog, which opens late and closes
        ServedObject host(visualized::DefaultTag, [&](const QString &method, const rpc::Bag &input) {
            rpc::CallResult answer;
            answer.output = input;
            if (method == "QueryYunLoginDialogState")
                answer.output.values.insert("queryYunDiaResult", looks++ == 1);
            answer.accepted = method != "Refuse";
            answer.retCode = answer.accepted ? 2000 : 0;
            answer.errorText = answer.accepted ? QString() : "\"不\"";
            if (method == "Nothing")
                answer.error = {rpc::RpcError::NotFound, "no such method"};
            return answer;
        });
        QVERIFY(host.isServed());
        const QByteArray json =
            R"({"Cursor":"1","r":{"$rect":[1,2,3,4]},"w":{"$u64":"18446744073709551615"},"字":[null,1.5]})";
        const QVector<Step> steps{
            {"call Accept -", 0, R"({"accepted":true,"retCode":2000,"error":"","values":)" + json + "}\n", json},
            {"call Nothing", 2, "Nothing"},
            {"call ShowCloudLogin --wait", 1, "closed without a sign-in"},
            {"call Accept -", 2, "", "{\"a\":" + QByteArray(100, '[') + QByteArray(100, ']') + '}'}, // too deep to send
            {"call Accept -", 2, "", R"({"a":"\ud800"})"},
        };
        QCOMPARE(wrong(steps), QString());
        const auto result = run("call Refuse -", R"({"$list":[1,{}]})");
        QCOMPARE(result.exitCode, 1);
        const QByteArray refusal =
            "{\"accepted\":false,\"retCode\":0,\"error\":\"\\\"不\\\"\",\"values\":{},\"list\":[1,{}]}";
        QCOMPARE(result.out, refusal + '\n');

        // What is accepted all the same may be mistyped.
        const QVector<QPair<QString, const char *>> warnings{
            {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "unknown key \"MsgID\""},
            {R"(ShowNotifyMessage {"MsgID":"1","MsgContent":"x"})", "\"MsgId\" is missing"},
            {R"(showAutoCheckUpdateDialog {"list":[]})", "\"$list\" is missing"},
            {R"(ShowMessageCenter {"msg_center_rect":"1,2,3,4"})", "type rect"},
            {R"(ShowCloudLogin {"父级窗口句柄":-1})", "type u64"},
            {"Show", "unknown operation"},
        };
        for (const auto &[line, says] : warnings) {
            const auto mistyped = run("call " + line);
            QCOMPARE(mistyped.exitCode, 0);
            QVERIFY2(mistyped.err.contains(says), mistyped.err.constData());
        }
        QCOMPARE(run(R"(call ShowNotifyMessage {"MsgId":"1","MsgContent":"x","unReadNum":3})").err, QByteArray());
    }

    void cloudAccounts()
    {
        QVERIFY(m_platform->startHub());
        QCOMPARE(wrong({{"cloud account add 张三 --phone 13800000001 --weixin w", 0, "", "密码 1\nrest"},
                        {"cloud account add 李四", 2, "UTF-8", "\xff\n"},
                        {"cloud account add 王五", 0, "", "密码\r\n"}}),
                 QString());
        link::ServiceConnection connection;
        const auto signsIn = [&](const QString &name, const QString &password) {
            return connection.call(link::wire::CloudTag, "LoginByAccount", {{{"user", name}, {"pwd", password}}, {}})
                .accepted;
        };
        QVERIFY(signsIn("张三", "密码 1") && signsIn("王五", "密码"));
        QCOMPARE(wrong({{"cloud state", 0, "signed in: 王五, by account"},
                        {"cloud account remove 王五", 0, ""},
                        {"cloud account remove 王五", 1, "4"},
                        {"cloud account lock 张三 on", 0, ""},
                        {"cloud account list", 0, "张三, phone 13800000001, weixin w, locked\n"},
                        {"cloud account lock 张三 off", 0, ""},
                        {"cloud account list", 0, "张三, phone 13800000001, weixin w\n"},
                        {"cloud outbox --json", 0, "[]\n"}}),
                 QString());
    }

private:
    static Sandbox::Result run(const QString &line, const QByteArray &input = {})
    {
        return Sandbox::tarnctl(line.split(' ', Qt::SkipEmptyParts), input);
    }
    /// Runs the lines in their order. @return the first that is wrong; empty when all are right
    QString wrong(const QVector<Step> &steps)
    {
        for (const Step &step : steps) {
            const auto result = run(step.line, step.input);
            const QByteArray &text = step.exitCode == 0 ? result.out : result.err;
            const bool fits = step.says.endsWith('\n') ? text == step.says : text.contains(step.says);
            const bool named = step.exitCode < 2 || (text.startsWith("tarnctl: ") && result.out.isEmpty());
            if (result.exitCode != step.exitCode || !fits || !named)
                return QString("%1: %2 %3")
                    .arg(step.line)
                    .arg(result.exitCode)
                    .arg(QString::fromUtf8(result.out + result.err));
        }
        return {};
    }

    std::unique_ptr<Sandbox> m_platform;
};

QTEST_GUILESS_MAIN(TestTarnctl)
#include "tst_Tarnctl.moc"
