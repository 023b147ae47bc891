// The online-upgrade window: from request to close, with what the service reports in between.
#include "frame/VisualizedManager.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "upgrade/BoxScript.h"
#include "upgrade/Records.h"
#include "upgrade/Tasks.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QTest>

using namespace upgrade::controls;
using tasks::task;

class tst_upgrade_dialog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        FakeClient::fake().reset();
        m_dialog = new CUpgradeDialog;
        m_table = m_dialog->findChild<CUpgradeTableWidget *>();
        m_tray = m_dialog->findChild<QSystemTrayIcon *>();
    }

    void cleanup() { delete m_dialog; }

    void pollsWhileItWorks()
    {
        reports({task("A", 1, 10, 100)});
        reports({task("A", 1, 55, 100)});
        m_dialog->showUpgradeDialog();
        QVERIFY(m_dialog->isVisible());
        const auto *percent = m_table->cellWidget(0, 1)->findChild<QLabel *>("downloadPercent");
        QCOMPARE(percent->text(), QStringLiteral("10%"));
        QTRY_COMPARE_WITH_TIMEOUT(percent->text(), QStringLiteral("55%"), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(count(QStringLiteral("QueryTaskInfos")) >= 3, 3000);
        QCOMPARE(m_table->rowCount(), 1); // an empty list changes nothing
    }

    void emptyTable()
    {
        m_dialog->showUpgradeDialog();
        QVERIFY(noDataShown());
        QCOMPARE(m_dialog->findChild<QLabel *>("noDataText")->text(), QStringLiteral("暂无数据"));
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        QVERIFY(!noDataShown());
        m_dialog->onClose();
        m_dialog->showUpgradeDialog();
        QVERIFY(noDataShown());
        m_dialog->findChild<QPushButton *>("closeButton")->click(); // asks nothing
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(count(QStringLiteral("StopUpgrade")), 1); // of the first close
    }

    void closesItselfAfterTheLastTask()
    {
        reports({task("A", 1)});
        reports({task("A", 13)});
        m_dialog->showUpgradeDialog();
        QVERIFY(m_tray->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->isVisible(), 3000);
        QVERIFY(!m_tray->isVisible());
        QCOMPARE(count(QStringLiteral("StopUpgrade")), 0);
        const int polls = count(QStringLiteral("QueryTaskInfos"));
        QTimer quiet;
        quiet.setSingleShot(true);
        quiet.start(1300); // longer than a polling interval
        QTRY_VERIFY(!quiet.isActive());
        QCOMPARE(count(QStringLiteral("QueryTaskInfos")), polls);
    }

    void closingAsksWhileTasksRun()
    {
        reports({task("A", 1), task("B", 3)});
        m_dialog->showUpgradeDialog();
        BoxScript boxes({[this](QDialog *box) {
                             m_dialog->onCloseBtnClicked(); // the tray's menu: no second question
                             BoxScript::press(box, QStringLiteral("否"));
                         },
                         BoxScript::pressing(QStringLiteral("是"))});
        auto *close = m_dialog->findChild<QPushButton *>("closeButton");
        QTest::mouseClick(close, Qt::LeftButton);
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(count(QStringLiteral("StopUpgrade")), 0);
        QTest::keyClick(m_dialog, Qt::Key_Escape); // the same way
        QVERIFY(!m_dialog->isVisible());
        QVERIFY(!m_tray->isVisible());
        QCOMPARE(count(QStringLiteral("StopUpgrade")), 2);
        QCOMPARE(boxes.texts.value(1), QStringLiteral("关闭窗口将取消正在执行的升级，是否确定要关闭？"));
        QVERIFY(boxes.isDone());
    }

    void requestWhoseFirstPollEndsTheOldTasks()
    {
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        reports({task("A", 13)});
        m_dialog->showUpgradeDialog();
        QVERIFY(m_dialog->isVisible());
        QVERIFY(m_tray->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(count(QStringLiteral("QueryTaskInfos")) >= 3, 3000);
    }

    void minimisedWithoutATray()
    {
        QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable()); // on this platform plug-in
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        auto *minimise = m_dialog->findChild<QPushButton *>("minButton");
        LogCatcher log;
        QTest::mouseClick(minimise, Qt::LeftButton);
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);

        bool visible = false;
        BoxScript boxes({[&](QDialog *box) {
            visible = m_dialog->isVisible();
            box->reject();
        }});
        reports({task("A", 11)});
        QTRY_VERIFY_WITH_TIMEOUT(boxes.isDone(), 3000); // polling goes on while it is minimised
        QVERIFY2(visible, "a report brings the window back");
    }

    void tray()
    {
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        QCOMPARE(m_tray->toolTip(), QStringLiteral("在线升级"));
        QVERIFY(!m_tray->icon().isNull());
        const QList<QAction *> actions = m_tray->contextMenu()->actions();
        QCOMPARE(actions.at(0)->text(), QStringLiteral("打开"));
        QCOMPARE(actions.at(1)->text(), QStringLiteral("退出"));

        m_dialog->onMinumBtnClicked();
        emit m_tray->activated(QSystemTrayIcon::Context);
        QVERIFY(!m_dialog->isVisible());
        emit m_tray->activated(QSystemTrayIcon::Trigger);
        QVERIFY(m_dialog->isVisible());
        m_dialog->onMinumBtnClicked();
        actions.at(0)->trigger();
        QVERIFY(m_dialog->isVisible());
        BoxScript boxes({BoxScript::pressing(QStringLiteral("是"))});
        actions.at(1)->trigger();
        QVERIFY(!m_dialog->isVisible());
        QVERIFY(boxes.isDone());
    }

    void managerKeepsOneWindow()
    {
        delete m_dialog;
        m_dialog = nullptr;
        CVisualizedManager *manager = CVisualizedManager::GetInstance();
        manager->showUpgradeDialog();
        const QPointer<CUpgradeDialog> first = records_test::onlyWindow<CUpgradeDialog>();
        QVERIFY(first && first->isVisible());
        first->onClose();
        manager->showUpgradeDialog();
        QCOMPARE(records_test::onlyWindow<CUpgradeDialog>(), first.data());
        QVERIFY(first && first->isVisible());
        CVisualizedManager::FreeInstance();
        QVERIFY(!first);
    }

private:
    static void reports(const QVariantList &list)
    {
        FakeClient::fake().queue(QStringLiteral("QueryTaskInfos"),
                                 tasks::answer(1000, QString(), {{QStringLiteral("taskInfoList"), list}}));
    }

    static int count(const QString &operation) { return FakeClient::fake().operations().count(operation); }
    bool noDataShown() const { return m_dialog->findChild<QLabel *>("noDataText")->isVisible(); }

    CUpgradeDialog *m_dialog = nullptr;
    CUpgradeTableWidget *m_table = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
};

QTEST_MAIN(tst_upgrade_dialog)
#include "tst_upgrade_dialog.moc"
