#include "e2e/Popup.h"
#include "e2e/Session.h"
#include "support/XInput.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

const QString Prompt = QStringLiteral("CCheckUpdateDial");
const QString Notes = QStringLiteral("CUpdateExplainDial");
const QString PatchNotes = QStringLiteral("CUpdateCurExplainDialog");
const QString Question = QStringLiteral("QuestionMessageBox");
const QString Product = QStringLiteral("云杉绘图"); // second in the prompt by its date

// Places in the windows, at 96 dpi.
constexpr QPoint SecondRowNotes(362, 165);
constexpr QPoint IgnoreAll(257, 298);
constexpr QPoint UpdateNow(733, 465);

XClient waitFor(const QString &role)
{
    XClient client;
    const bool up = QTest::qWaitFor(
        [&] {
            client = xclients::byRole(role);
            return !client.isNull();
        },
        20000);
    return up ? client : XClient();
}

} // namespace

// From the check to the decision, with real processes and a real mouse: every decision arrives at the upgrade service.
class TestUpgrade final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void closingTheNotesLeadsToThePatch();
    void updateFromThePromptBecomesATask(); // then nothing is new for the product
    void ignoreAllKeepsThePromptAway();
    void wrongUsage();
    void cleanupTestCase();

private:
    QString run(const QStringList &arguments, int expected = 0);
    QJsonObject status();
    void click(const XClient &client, const QPoint &place);

    Session m_session;
    XInput m_input;
};

void TestUpgrade::initTestCase()
{
    QVERIFY(m_input.isValid());
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
}

QString TestUpgrade::run(const QStringList &arguments, int expected)
{
    const Session::Result result = m_session.tarnctl(QStringList{QStringLiteral("upgrade")} + arguments);
    if (result.exitCode != expected)
        qWarning("tarnctl ended with %d: %s", result.exitCode, result.errors.constData());
    return result.exitCode == expected ? QString::fromUtf8(result.output + result.errors) : QString();
}

QJsonObject TestUpgrade::status()
{
    return m_session.tarnctl({QStringLiteral("upgrade"), QStringLiteral("status"), QStringLiteral("--json")})
        .json()
        .toObject();
}

void TestUpgrade::click(const XClient &client, const QPoint &place)
{
    const QPoint at = client.geometry.topLeft() + place;
    m_input.click(at.x(), at.y());
}

void TestUpgrade::updateFromThePromptBecomesATask()
{
    QVERIFY(run({QStringLiteral("check")}).contains(QStringLiteral("shown: yes")));
    const XClient prompt = waitFor(Prompt);
    QVERIFY(!prompt.isNull());
    QCOMPARE(prompt.geometry.bottomRight(), xclients::workArea().bottomRight() - QPoint(10, 10));
    click(prompt, SecondRowNotes);
    const XClient notes = waitFor(Notes);
    QVERIFY(!notes.isNull());
    QVERIFY(xclients::byRole(Prompt).id == prompt.id); // stays
    click(notes, UpdateNow);
    QVERIFY(popup::waitGone(notes.id));
    QVERIFY(xclients::byRole(Question).isNull());
    QTRY_COMPARE(status().value(QStringLiteral("Tasks")).toArray().size(), 1);
    const QJsonObject task = status().value(QStringLiteral("Tasks")).toArray().first().toObject();
    QCOMPARE(task.value(QStringLiteral("SoftName")).toString(), Product);
    QCOMPARE(task.value(QStringLiteral("CurrentVersion")).toString(), QStringLiteral("5.1.0"));
    xclients::requestClose(prompt.id);
    QVERIFY(popup::waitGone(prompt.id));
}

void TestUpgrade::closingTheNotesLeadsToThePatch()
{
    QVERIFY(run({QStringLiteral("notes"), Product}).contains(QStringLiteral("shown: yes")));
    const XClient notes = waitFor(Notes);
    QVERIFY(!notes.isNull());
    xclients::requestClose(notes.id); // as the window manager does
    const XClient question = waitFor(Question);
    QVERIFY(!question.isNull());
    click(question, QPoint(question.geometry.width() - 160, question.geometry.height() - 39)); // "是"
    const XClient patch = waitFor(PatchNotes);
    QVERIFY(!patch.isNull());
    QVERIFY(popup::waitGone(notes.id));
    xclients::requestClose(patch.id); // asks nothing
    QVERIFY(popup::waitGone(patch.id));
    QVERIFY(m_session.hostRuns());
}

void TestUpgrade::ignoreAllKeepsThePromptAway()
{
    QVERIFY(!run({QStringLiteral("check")}).isEmpty());
    const XClient prompt = waitFor(Prompt);
    QVERIFY(!prompt.isNull());
    click(prompt, IgnoreAll);
    QVERIFY(popup::waitGone(prompt.id));
    QVERIFY(status().value(QStringLiteral("Ignores")).toArray().size() >= 12);
    // What is left is the platform's own assistant, which the prompt never lists.
    QVERIFY(!run({QStringLiteral("check")}).isEmpty());
    QVERIFY(run({QStringLiteral("check"), QStringLiteral("--list")})
                .contains(QStringLiteral("products with something new: 1\n岚川软件助手\n")));
    QVERIFY(m_session.hostRuns());
    QVERIFY(xclients::byRole(Prompt).isNull());
    QVERIFY(!run({QStringLiteral("forget")}).isEmpty());
    QVERIFY(!run({QStringLiteral("check")}).isEmpty());
    const XClient again = waitFor(Prompt);
    QVERIFY(!again.isNull());
    xclients::requestClose(again.id);
    QVERIFY(popup::waitGone(again.id));
}

void TestUpgrade::wrongUsage()
{
    QVERIFY(run({QStringLiteral("notes"), QStringLiteral("无此产品")}, 1).contains(QStringLiteral("nothing is new")));
    QVERIFY(!run({QStringLiteral("notes")}, 2).isEmpty());
    QVERIFY(!run({QStringLiteral("nonsense")}, 2).isEmpty());
}

void TestUpgrade::cleanupTestCase()
{
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_MAIN(TestUpgrade)
#include "tst_upgrade.moc"
