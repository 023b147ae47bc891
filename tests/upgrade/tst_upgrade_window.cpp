// The online-upgrade window: from request to close, by mouse and keyboard, and
// what dies while a box is open.
#include "frame/VisualizedManager.h"
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "upgrade/Records.h"
#include "upgrade/Tasks.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QAccessible>
#include <QLabel>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QTest>

using namespace upgrade::controls;
using tasks::picture;
using tasks::task;

namespace {
QString focusName()
{
    const QWidget *focus = QApplication::focusWidget();
    return focus ? focus->accessibleName() + focus->accessibleDescription() : QString();
}
} // namespace

class tst_upgrade_window : public QObject
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

    void pollsUntilTheLastTaskEnds()
    {
        const auto *empty = m_dialog->findChild<QLabel *>("noDataText");
        m_dialog->showUpgradeDialog();
        QVERIFY(empty->isVisible() && m_tray->isVisible());
        reports({task("A", 1, 10, 100)});
        reports({task("A", 1, 55, 100)});
        reports({});
        m_dialog->showUpgradeDialog();
        QVERIFY(!empty->isVisible());
        const auto *percent = cell(0)->findChild<QLabel *>("downloadPercent");
        QCOMPARE(percent->text(), QString("10%"));
        QTRY_COMPARE_WITH_TIMEOUT(percent->text(), QString("55%"), 3000);
        QTRY_COMPARE_WITH_TIMEOUT(count("QueryTaskInfos"), 4, 3000);
        QCOMPARE(m_table->rowCount(), 1); // an empty list changes nothing
        reports({task("A", 13)});
        QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->isVisible(), 3000);
        QVERIFY(!m_tray->isVisible());
        QCOMPARE(count("StopUpgrade"), 0);
        const int polls = count("QueryTaskInfos");
        QTimer quiet;
        quiet.setSingleShot(true);
        quiet.start(1300); // longer than a polling interval
        QTRY_VERIFY(!quiet.isActive());
        QCOMPARE(count("QueryTaskInfos"), polls);
    }

    void closingAsksWhileTasksRun()
    {
        m_dialog->showUpgradeDialog();
        show({task("A", 1), task("B", 3)});
        BoxScript boxes({[this](QDialog *box) {
                             m_dialog->onCloseBtnClicked(); // the tray's menu: no second question
                             BoxScript::press(box, "否");
                         },
                         [](QDialog *box) { // by Escape, which may have been meant for another
                                            // program
                             for (const auto *button : box->findChildren<QPushButton *>())
                                 QVERIFY(!button->isDefault() && !button->hasFocus());
                             QTest::keyClick(box, Qt::Key_Return);
                             QVERIFY(box->isVisible());
                             BoxScript::press(box, "是");
                         }});
        QTest::mouseClick(m_dialog->findChild<QPushButton *>("closeButton"), Qt::LeftButton);
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(count("StopUpgrade"), 0);
        QTest::keyClick(m_dialog, Qt::Key_Escape);
        QVERIFY2(boxes.texts.size() == 1, "an Escape right after the window has come asks nothing");
        QTest::mouseClick(m_dialog, Qt::LeftButton, {}, QPoint(200, 20));
        QTest::keyClick(m_dialog, Qt::Key_Escape);
        QVERIFY(!m_dialog->isVisible() && !m_tray->isVisible());
        QCOMPARE(count("StopUpgrade"), 2);
        QCOMPARE(boxes.texts.value(1), QString("关闭窗口将取消正在执行的升级，是否确定要关闭？"));
        QVERIFY(boxes.isDone());
        m_dialog->showUpgradeDialog();
        QVERIFY(m_dialog->findChild<QLabel *>("noDataText")->isVisible());
        m_dialog->findChild<QPushButton *>("closeButton")->click(); // the empty window asks nothing
        QVERIFY(!m_dialog->isVisible());
    }

    void requestWhosePollEndsTheOldTasks()
    {
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        reports({task("A", 13)});
        m_dialog->showUpgradeDialog();
        QVERIFY(m_dialog->isVisible() && m_tray->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(count("QueryTaskInfos") >= 3, 3000);
    }

    void requestDuringWhichTheUserCloses()
    {
        reports({task("A", 1), task("B", 1)});
        m_dialog->showUpgradeDialog();
        BoxScript boxes({[this](QDialog *) { m_dialog->onCloseBtnClicked(); }, BoxScript::pressing("是")});
        reports({task("A", 1), task("B", 11)}); // the report opens within the request
        m_dialog->showUpgradeDialog();
        QVERIFY(!m_dialog->isVisible() && !m_tray->isVisible());
        QVERIFY(boxes.isDone());
    }

    void tabReachesEveryButton()
    {
        m_dialog->showUpgradeDialog();
        QVariantList list{task("A", 1), task("B", 3)};
        for (int i = 0; i < 12; ++i) // beyond the window's lower edge
            list.append(task(QString::number(i), 1));
        show(list);
        QVERIFY(QTest::qWaitForWindowActive(m_dialog));
        QTest::mouseClick(m_dialog, Qt::LeftButton, {}, QPoint(200, 20));
        QStringList expected{"最小化", "关闭", "取消升级A"};
        for (int i = 0; i < 12; ++i)
            expected.append("取消升级" + QString::number(i));
        for (int round = 0; round < 2; ++round) {
            for (const QString &stop : qAsConst(expected)) {
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
                QCOMPARE(focusName(), stop);
                if (stop.startsWith("取消升级"))
                    checkFocusedRow(stop.mid(4));
            }
        }
        for (int i = expected.size() - 2; i >= -1; --i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
            QCOMPARE(focusName(), i < 0 ? expected.constLast() : expected.at(i));
        }
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up);
        checkFocusedRow("10");
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {}, m_table->viewport()->rect().center());
        checkFocusedRow(QApplication::focusWidget()->accessibleDescription());
    }

    // A key that was meant for the button of an ended task must not press the
    // next row's.
    void focusLeavesAnEndedRow()
    {
        m_dialog->showUpgradeDialog();
        for (int status : {3, 4}) {
            show({task("A", 1), task("B", 1)});
            QVERIFY(QTest::qWaitForWindowActive(m_dialog));
            auto *cancel = cell(0)->findChild<QPushButton *>("cancelDownload");
            cancel->setFocus();
            QVERIFY(cancel->hasFocus());
            show({task("A", status), task("B", 1)});
            QCOMPARE(m_dialog->focusWidget(), static_cast<QWidget *>(m_dialog));
        }
    }

    void cellsForScreenReaders()
    {
        m_dialog->showUpgradeDialog();
        show({task("A", 1, 5, 100), task("B", 3)});
        QAccessibleInterface *table = QAccessible::queryAccessibleInterface(m_table);
        const auto text = [&](int row, int column) {
            return table->tableInterface()->cellAt(row, column)->text(QAccessible::Name);
        };
        QCOMPARE(text(0, 0), QString("A，当前版本：1.0"));
        QCOMPARE(text(0, 1), QString("正在下载主程序，版本号：2.0，5%"));
        QCOMPARE(text(1, 1), QString("下载完成，安装中..."));
    }

    void deathsUnderBoxes()
    {
        using Step = std::function<void()>;
        const Step cancelQuestion = [this] { // as the user does it, so that the
                                             // button is on the stack as well
            QTest::mouseClick(cell(0)->findChild<QPushButton *>("cancelDownload"), Qt::LeftButton);
        };
        const Step report = [this] { show({task("A", 11)}); };
        const Step closeQuestion = [this] { m_dialog->onCloseBtnClicked(); };
        const Step rowCancelled = [this] { show({task("A", 4)}); };
        const Step windowCloses = [this] { m_dialog->onClose(); };
        const Step windowDies = [this] { delete m_dialog; };
        const struct
        {
            Step open, die;
            QString answer; // to a box that outlives the death; else the death closes it
            int stopsOfA;
        } rows[] = {{cancelQuestion, rowCancelled, "是", 1},
                    {cancelQuestion, windowCloses, {}, 1},
                    {cancelQuestion, windowDies, {}, 0},
                    {report, rowCancelled, "确定", 0},
                    {report, windowDies, {}, 0},
                    {closeQuestion, rowCancelled, "是", 0},
                    {closeQuestion, windowDies, {}, 0}};
        for (const auto &row : rows) {
            cleanup();
            init();
            m_dialog->showUpgradeDialog();
            show({task("A", 1), task("B", 1)});
            BoxScript boxes({[&](QDialog *opened) {
                const QPointer<QDialog> box(opened);
                row.die();
                if (!row.answer.isEmpty())
                    BoxScript::press(box, row.answer);
                QTRY_VERIFY(!box || !box->isVisible());
            }});
            row.open();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QVERIFY(boxes.isDone() && !QApplication::activeModalWidget());
            QCOMPARE(tasks::stops().count("A"), row.stopsOfA);
            QVERIFY(!m_dialog || !m_dialog->isVisible() || m_table->rowCount() == 1);
        }
    }

private:
    static void reports(const QVariantList &list)
    {
        FakeClient::fake().queue("QueryTaskInfos", tasks::answer(1000, QString(), {{"taskInfoList", list}}));
    }
    static int count(const QString &operation) { return FakeClient::fake().operations().count(operation); }
    void show(const QVariantList &list) { m_table->onRefreshUpgradeDtats(picture(list)); }

    QWidget *cell(int row) const
    {
        m_dialog->grab(); // cells in sight are built when they are painted
        return m_table->cellWidget(row, 1);
    }

    // The row of the focused button is the highlighted one, and in sight.
    void checkFocusedRow(const QString &name)
    {
        const QModelIndexList selected = m_table->selectionModel()->selectedRows();
        QCOMPARE(selected.size(), 1);
        const QRect row = m_table->visualRect(selected.constFirst());
        const QWidget *focus = QApplication::focusWidget();
        QVERIFY(row.contains(QPoint(row.left(), focus->mapTo(m_table->viewport(), focus->rect().center()).y())));
        QVERIFY(m_table->viewport()->rect().contains(row.center()));
        QCOMPARE(focus->accessibleDescription(), name);
    }

    QPointer<CUpgradeDialog> m_dialog;
    QPointer<CUpgradeTableWidget> m_table;
    QSystemTrayIcon *m_tray = nullptr;
};

QTEST_MAIN(tst_upgrade_window)
#include "tst_upgrade_window.moc"
