// Rows, table and window die while a box of theirs is open. Meant for the address sanitizer.
#include "support/FakeClient.h"
#include "upgrade/BoxScript.h"
#include "upgrade/RunningPrograms.h"
#include "upgrade/Tasks.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QPushButton>
#include <QTest>

using namespace upgrade::controls;
using tasks::picture;
using tasks::task;

namespace {
constexpr char Yes[] = "是";

void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
} // namespace

// Each death is tried under each box.
enum class Box { Cancel, ProgramRunning, Report, Close };
enum class Death { RowCancelled, RowInstalled, WindowCloses, WindowDies };
Q_DECLARE_METATYPE(Box)
Q_DECLARE_METATYPE(Death)

class tst_upgrade_lifetimes : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init();
    void cleanup();
    void deathsUnderBoxes_data();
    void deathsUnderBoxes();
    void nestedQuestions();

private:
    void show(const QVariantList &list) { m_table->onRefreshUpgradeDtats(picture(list)); }
    void openBox(Box box);
    void die(Death death);
    int stops(const QString &name) const;

    QPointer<CUpgradeDialog> m_dialog;
    QPointer<CUpgradeTableWidget> m_table;
    bool m_programRuns = false;
};

void tst_upgrade_lifetimes::init()
{
    FakeClient::fake().reset();
    m_programRuns = false;
    runningprograms::check() = [this](const QString &) { return m_programRuns; };
    m_dialog = new CUpgradeDialog;
    m_table = m_dialog->findChild<CUpgradeTableWidget *>();
    m_dialog->showUpgradeDialog();
    show({task("A", 1), task("B", 1)});
}

void tst_upgrade_lifetimes::cleanup()
{
    runningprograms::check() = nullptr;
    delete m_dialog;
}

int tst_upgrade_lifetimes::stops(const QString &name) const
{
    int count = 0;
    for (const FakeCall &call : FakeClient::fake().calls()) {
        if (call.operation == QStringLiteral("StopUpgrade"))
            count += call.values.value(QStringLiteral("软件名称")).toString() == name ? 1 : 0;
    }
    return count;
}

void tst_upgrade_lifetimes::openBox(Box box)
{
    switch (box) {
    case Box::Cancel:
        // As the user does it, so that the button is on the stack as well.
        QTest::mouseClick(m_table->cellWidget(0, 1)->findChild<QPushButton *>("cancelDownload"), Qt::LeftButton);
        break;
    case Box::ProgramRunning:
        m_programRuns = true;
        show({task("A", 2)});
        break;
    case Box::Report:
        show({task("A", 11)});
        break;
    case Box::Close:
        QTest::mouseClick(m_dialog->findChild<QPushButton *>("closeButton"), Qt::LeftButton);
        break;
    }
}

void tst_upgrade_lifetimes::die(Death death)
{
    switch (death) {
    case Death::RowCancelled:
        show({task("A", 4)});
        break;
    case Death::RowInstalled:
        show({task("A", 13)});
        break;
    case Death::WindowCloses:
        m_dialog->onClose();
        break;
    case Death::WindowDies:
        delete m_dialog;
        break;
    }
}

void tst_upgrade_lifetimes::deathsUnderBoxes_data()
{
    QTest::addColumn<Box>("box");
    QTest::addColumn<Death>("death");
    QTest::addColumn<QString>("answer"); // to a box that has outlived the death
    QTest::addColumn<int>("stopsOfA");
    const auto yes = QString::fromUtf8(Yes);
    QTest::newRow("cancel question, row cancelled") << Box::Cancel << Death::RowCancelled << yes << 1;
    QTest::newRow("cancel question, window closes") << Box::Cancel << Death::WindowCloses << QString() << 1;
    QTest::newRow("cancel question, window dies") << Box::Cancel << Death::WindowDies << QString() << 0;
    QTest::newRow("program question, row installed") << Box::ProgramRunning << Death::RowInstalled << QString() << 0;
    QTest::newRow("program question, window closes") << Box::ProgramRunning << Death::WindowCloses << QString() << 1;
    QTest::newRow("program question, window dies") << Box::ProgramRunning << Death::WindowDies << QString() << 0;
    QTest::newRow("report, row cancelled") << Box::Report << Death::RowCancelled << QStringLiteral("确定") << 0;
    QTest::newRow("report, window dies") << Box::Report << Death::WindowDies << QString() << 0;
    QTest::newRow("close question, row cancelled") << Box::Close << Death::RowCancelled << yes << 0;
    QTest::newRow("close question, window dies") << Box::Close << Death::WindowDies << QString() << 0;
}

void tst_upgrade_lifetimes::deathsUnderBoxes()
{
    QFETCH(Box, box);
    QFETCH(Death, death);
    QFETCH(QString, answer);
    BoxScript boxes({[&](QDialog *opened) {
        const QPointer<QDialog> alive(opened);
        die(death);
        if (!answer.isEmpty())
            BoxScript::press(alive, answer);
        else if (alive) // it must go by itself, with its row or its window
            QTRY_VERIFY(!alive || !alive->isVisible());
    }});
    openBox(box);
    processDeletions();
    QVERIFY(boxes.isDone());
    QTEST(stops(QStringLiteral("A")), "stopsOfA");
    if (m_dialog && m_dialog->isVisible())
        QCOMPARE(m_table->rowCount(), 1);
    QVERIFY(!QApplication::activeModalWidget());
}

// A picture that is older than what came while a question was open brings nothing back.
void tst_upgrade_lifetimes::nestedQuestions()
{
    m_programRuns = true;
    const QVariantList older{task("A", 2), task("B", 2), task("C", 1)};
    BoxScript boxes({[&](QDialog *) {
                         // B's question opens over A's and in it everything ends.
                         show(older);
                     },
                     [&](QDialog *) {
                         show({task("A", 13), task("B", 4), task("C", 13)});
                     }});
    show(older);
    processDeletions();
    QCOMPARE(m_table->rowCount(), 0);
    QVERIFY(!m_dialog->isVisible());
    QVERIFY(boxes.isDone());
}

QTEST_MAIN(tst_upgrade_lifetimes)
#include "tst_upgrade_lifetimes.moc"
