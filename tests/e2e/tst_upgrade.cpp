#include "e2e/Popup.h"
#include "e2e/Session.h"
#include "support/XInput.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

const QString Prompt = QStringLiteral("CCheckUpdateDial");
const QString Notes = QStringLiteral("CUpdateExplainDial");
const QString Question = QStringLiteral("QuestionMessageBox");
const QString Product = QStringLiteral("云杉绘图"); // second in the prompt by its date

// Places in the windows, at 96 dpi.
constexpr QPoint SecondRowNotes(362, 165);
constexpr QPoint UpdateNow(733, 465);

} // namespace

// From the check to the decision, with real processes and a real mouse: every decision arrives at the upgrade service.
class TestUpgrade final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void updateFromThePromptBecomesATask(); // then nothing is new for the product
    void cleanupTestCase();

private:
    QString run(const QStringList &arguments, int expected = 0);
    QJsonObject status();

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

void TestUpgrade::updateFromThePromptBecomesATask()
{
    QVERIFY(run({QStringLiteral("check")}).contains(QStringLiteral("shown: yes")));
    const XClient prompt = popup::waitForWindow(Prompt);
    QVERIFY(!prompt.isNull());
    QCOMPARE(prompt.geometry.bottomRight(), xclients::workArea().bottomRight() - QPoint(10, 10));
    popup::click(&m_input, prompt, SecondRowNotes);
    const XClient notes = popup::waitForWindow(Notes);
    QVERIFY(!notes.isNull());
    QVERIFY(xclients::byRole(Prompt).id == prompt.id); // stays
    popup::click(&m_input, notes, UpdateNow);
    QVERIFY(popup::waitGone(notes.id));
    QVERIFY(xclients::byRole(Question).isNull());
    QTRY_COMPARE(status().value(QStringLiteral("Tasks")).toArray().size(), 1);
    const QJsonObject task = status().value(QStringLiteral("Tasks")).toArray().first().toObject();
    QCOMPARE(task.value(QStringLiteral("SoftName")).toString(), Product);
    QCOMPARE(task.value(QStringLiteral("CurrentVersion")).toString(), QStringLiteral("5.1.0"));
    xclients::requestClose(prompt.id);
    QVERIFY(popup::waitGone(prompt.id));
}

void TestUpgrade::cleanupTestCase()
{
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_MAIN(TestUpgrade)
#include "tst_upgrade.moc"
