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
void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
} // namespace

class tst_upgrade_lifetimes : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        FakeClient::fake().reset();
        m_programRuns = false;
        runningprograms::check() = [this](const QString &) { return m_programRuns; };
        m_dialog = new CUpgradeDialog;
        m_table = m_dialog->findChild<CUpgradeTableWidget *>();
        m_dialog->showUpgradeDialog();
        show({task("A", 1), task("B", 1)});
    }

    void cleanup()
    {
        runningprograms::check() = nullptr;
        delete m_dialog;
    }

    void deathsUnderBoxes_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("death");
        QTest::addColumn<QString>("answer"); // to a box that outlives the death; else it must go by itself
        QTest::addColumn<int>("stopsOfA");
        const auto add = [](const char *box, const char *death, const char *answer, int stops) {
            QTest::addRow("%s, %s", box, death)
                << QString::fromUtf8(box) << QString::fromUtf8(death) << QString::fromUtf8(answer) << stops;
        };
        add("cancel question", "row cancelled", "是", 1);
        add("cancel question", "window closes", "", 1);
        add("cancel question", "window dies", "", 0);
        add("program question", "row installed", "", 0);
        add("program question", "window closes", "", 1);
        add("program question", "window dies", "", 0);
        add("report", "row cancelled", "确定", 0);
        add("report", "window dies", "", 0);
        add("close question", "row cancelled", "是", 0);
        add("close question", "window dies", "", 0);
    }

    void deathsUnderBoxes()
    {
        QFETCH(QString, box);
        QFETCH(QString, death);
        QFETCH(QString, answer);
        BoxScript boxes({[&](QDialog *opened) {
            const QPointer<QDialog> alive(opened);
            m_deaths.value(death)();
            if (!answer.isEmpty())
                BoxScript::press(alive, answer);
            else if (alive) // it must go by itself, with its row or its window
                QTRY_VERIFY(!alive || !alive->isVisible());
        }});
        m_boxes.value(box)();
        processDeletions();
        QVERIFY(boxes.isDone());
        QTEST(tasks::stops().count("A"), "stopsOfA");
        if (m_dialog && m_dialog->isVisible())
            QCOMPARE(m_table->rowCount(), 1);
        QVERIFY(!QApplication::activeModalWidget());
    }

    // A picture that is older than what came while a question was open brings nothing back.
    void nestedQuestions()
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

private:
    void show(const QVariantList &list) { m_table->onRefreshUpgradeDtats(picture(list)); }

    QPointer<CUpgradeDialog> m_dialog;
    QPointer<CUpgradeTableWidget> m_table;
    bool m_programRuns = false;

    // Each death is tried under each box.
    const QMap<QString, std::function<void()>> m_boxes{
        {"cancel question", // as the user does it, so that the button is on the stack as well
         [this] {
             QTest::mouseClick(m_table->cellWidget(0, 1)->findChild<QPushButton *>("cancelDownload"), Qt::LeftButton);
         }},
        {"program question",
         [this] {
             m_programRuns = true;
             show({task("A", 2)});
         }},
        {"report", [this] { show({task("A", 11)}); }},
        {"close question",
         [this] { QTest::mouseClick(m_dialog->findChild<QPushButton *>("closeButton"), Qt::LeftButton); }}};
    const QMap<QString, std::function<void()>> m_deaths{{"row cancelled", [this] { show({task("A", 4)}); }},
                                                        {"row installed", [this] { show({task("A", 13)}); }},
                                                        {"window closes", [this] { m_dialog->onClose(); }},
                                                        {"window dies", [this] { delete m_dialog; }}};
};

QTEST_MAIN(tst_upgrade_lifetimes)
#include "tst_upgrade_lifetimes.moc"
