// The online upgrade: polls of the service, their merging into the table, reports, cells, cancelling; the window from its
// request to its end, by mouse and keyboard, and what dies while a box is open.
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "upgrade/Requests.h"
#include "upgrade/UpgradeDialog.h"
#include "upgrade/controls/CustomScrollarea.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QAccessible>
#include <QElapsedTimer>
#include <QProgressBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <limits>

using namespace upgrade::controls;
using request::task;
using upgrade::operate::CUpgradeDataRefresher;
using upgrade::operate::queryDataInfos;

namespace {

FakeAnswer taskList(const QVariantList &tasks, int code = 1000, const QString &error = {})
{
    return {code, error, {{"taskInfoList", tasks}}};
}

int count(const QString &operation)
{
    return FakeClient::callsOf(operation).size();
}

// The names in the stop requests, in order.
QStringList stops()
{
    QStringList names;
    for (const QVariantMap &values : FakeClient::callsOf("StopUpgrade"))
        names.append(values.value("软件名称").toString());
    return names;
}

QString focusName()
{
    const QWidget *focus = QApplication::focusWidget();
    return focus ? focus->accessibleName() + focus->accessibleDescription() : QString();
}

} // namespace

class tst_online_upgrade : public QObject
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

    void textsOfATask()
    {
        const auto download = [](const QVariantMap &one, const QString &key) {
            return queryDataInfos(QVariantList{one}).constFirst().toMap().value("downloadCtrl").toMap().value(key);
        };
        const LogCatcher log;
        QStringList tips;
        for (int type = 1; type <= 5; ++type) {
            QVariantMap one = task("设计", 1);
            QVariantMap working = one.value("WorkingItem").toMap();
            working["Type"] = type;
            working["UpdateName"] = "%2"; // is no placeholder
            one["WorkingItem"] = working;
            tips << download(one, "downloadTip").toString().section("，", 0, 0);
        }
        QCOMPARE(tips, (QStringList{"正在下载主程序", "正在下载%2", "正在下载补丁", "正在下载补丁", "正在下载"}));
        QCOMPARE(log.texts(), QStringList{"下载类型未标识，类型为5"});
        QVERIFY(queryDataInfos(QVariantMap{{"SoftName", 1}}).isEmpty());
        const QList<QVariant> rows = queryDataInfos(QVariantList{7, "text", QVariant(), QVariantList{1}});
        QCOMPARE(rows.size(), 4); // one row per element, whatever it is
        QCOMPARE(rows.constFirst().toMap().value("taskStatus"), QVariant(0));
    }

    void failedPollsGiveAnEmptyList()
    {
        CUpgradeDataRefresher refresher;
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        const LogCatcher log;
        FakeClient::fake().queue("QueryTaskInfos", taskList({task("设计", 1)}, 1002, "a%2b"));
        refresher.updateUpgradeTasks();
        QVERIFY(spy.takeFirst().at(0).value<QVariant>().toList().isEmpty());
        QCOMPARE(log.texts(QtCriticalMsg),
                 QStringList{"【检测升级窗口】调用忽略升级接口失败。返回错误码为：1002，错误信息为：a%2b。"});
        FakeClient::fake().setAvailable(false);
        QVERIFY(refresher.getUpgradeTasksInfos().toList().isEmpty());
        QCOMPARE(log.texts(QtInfoMsg), QStringList{"getUpgradeTasksInfos：获取在线升级服务失败"});
    }

    void pollsOnceASecondUntilStopped()
    {
        CUpgradeDataRefresher refresher;
        refresher.startWork();
        refresher.startWork();
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        QElapsedTimer timer;
        timer.start();
        connect(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats, [&] { // as a message box does
            QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 2, 5000);
        });
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 2, 5000);
        QVERIFY2(timer.elapsed() >= 1900, "two timers were running");
        connect(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats, &refresher, &CUpgradeDataRefresher::stopWork);
        QTRY_VERIFY_WITH_TIMEOUT(refresher.findChildren<QTimer *>().isEmpty(), 5000); // stopped within its own poll
        refresher.stopWork();
    }

    void rowsFollowThePolls()
    {
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        show({});
        show({task("A", 4), task("B", 11), task("C", 12), task("D", 13), task("E", 0), task("F", 5), task("G", 99)});
        QCOMPARE(m_table->getTaskInfoCount(), 0);
        show({task("A", 1), task("B", 2), task("C", 3)});
        QCOMPARE(names(), (QStringList{"A", "B", "C"}));
        show({task("D", 1), task("C", 1), task("A", 77)});
        show({task("B", 4), task("X", 4), task("E", 1)});
        QCOMPARE(names(), (QStringList{"A", "C", "D", "E"}));
        show({});
        show({task("A", 13), task("D", 13), task("F", 1), task("F", 4)}); // both removals find their rows
        QCOMPARE(names(), (QStringList{"C", "E"}));
        show({task("A", 1), task("C", 4), task("C", 11)});
        QCOMPARE(names(), (QStringList{"E", "A"})); // a new task of an earlier product is the last row
        QCOMPARE(m_table->selectionModel()->selectedRows().size(), 1);
        show({task("E", 4), task("E", 1), task("A", 13)});
        QCOMPARE(names(), QStringList{"E"});
        show({task("E", 4), task("B", 1)}); // one task begins as the last one ends
        QCOMPARE(names(), QStringList{"B"});
        QCOMPARE(closing.count(), 0);
        show({task("A", 1)});
        show({task("A", 13), task("A", 1)}); // removed all the same, until the next poll
        QCOMPARE(names(), QStringList{"B"});
        show({task("B", 13)});
        show({});
        show({task("A", 4), task("B", 13)});
        QCOMPARE(m_table->rowCount(), 0);
        QCOMPARE(closing.count(), 1);
    }

    void pollsDuringAReport()
    {
        const QString markup("<b>%1</b>");
        show({task("A", 1), task("B", 1), task("C", 1), task("D", 1), task(markup, 1)});
        QStringList during;
        BoxScript boxes(
            {[&](QDialog *box) {
                 show({task("A", 11), task("B", 11), task("C", 13), task("D", 4), task("E", 1), task(markup, 1)});
                 during = names();
                 BoxScript::press(box, "确定");
             },
             [](QDialog *box) {
                 QCOMPARE(box->findChild<QLabel *>("messageText")->textFormat(), Qt::PlainText);
                 BoxScript::press(box, "确定");
             },
             [&](QDialog *box) {
                 show({task("E", 1, 5)}); // the user has started it again elsewhere
                 BoxScript::press(box, "确定");
             }});
        show({task("A", 11)});
        QCOMPARE(during, (QStringList{"A", "B", "C", markup, "E"})); // only a cancelled row is removed at once
        QCOMPARE(names(), (QStringList{"B", "C", markup, "E"}));
        show({task("B", 11), task(markup, 11), task("C", 12)});
        QCOMPARE(names(), QStringList{"E"});
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        show({task("E", 12)});
        QCOMPARE(names(), QStringList{"E"});
        QCOMPARE(closing.count(), 0);
        QCOMPARE(boxes.texts.replaceInStrings(QString(QChar(0x200B)), QString()), // where lines may break
                 (QStringList{"A下载出错。", "B、<b>%1</b>下载出错；C用户取消安装或安装出错。",
                              "E用户取消安装或安装出错。"}));
        QVERIFY(boxes.isDone());
    }

    // The bar counts in int; sizes that it cannot hold show as busy.
    void cellShowsTheStates()
    {
        constexpr qint64 GiB = qint64(1) << 30;
        constexpr qint64 Most = std::numeric_limits<qint64>::max();
        const struct
        {
            qint64 current, total;
            int value, maximum;
            QString percent;
        } rows[] = {{250, 1000, 250, 1000, "25%"},
                    {GiB, 2 * GiB, -1, 0, "50%"},
                    {GiB, 5 * GiB, GiB, GiB, "20%"},
                    {3 * GiB, 100, 0, 100, "3221225472%"},
                    {Most, -Most - 1, -1, 0, "-100%"},
                    {0, 0, -1, 0, "nan%"},
                    {5, 0, -1, 0, "inf%"},
                    {999, 1000, 999, 1000, "100%"}};
        m_dialog->show();
        FakeClient::fake().setAvailable(false); // prevents an installation
        for (const auto &row : rows) {
            show({task("A", 1, row.current, row.total)});
            const auto *bar = inner<QProgressBar>(0, "downloadBar");
            const auto *cancel = cancelButton(0);
            const auto *percent = inner<QLabel>(0, "downloadPercent");
            const auto *tip = inner<QLabel>(0, "downloadTip");
            const auto isFull = [&] {
                return !cancel->isVisible() && bar->maximum() > 0 && bar->value() == bar->maximum();
            };
            QCOMPARE(tip->text() + percent->text(), "正在下载主程序，版本号：2.0" + row.percent);
            QCOMPARE(bar->maximum(), row.maximum);
            QVERIFY(bar->value() == row.value || row.maximum == 0);
            QVERIFY(cancel->isVisible() && !cancel->icon().isNull() && !cancel->autoDefault());
            show({task("A", 2)});
            QVERIFY(percent->text() == "100%" && isFull());
            show({task("A", 1, 1, 0)});
            show({task("A", 3)});
            QCOMPARE(tip->text() + percent->text(), QString("下载完成安装中..."));
            QVERIFY(isFull());
        }
        show({task("B", 2)}); // before it is painted
        QCOMPARE(inner<QLabel>(1, "downloadPercent")->text(), QString("100%"));
    }

    void softwareCell()
    {
        QVariantMap known = task("<b>A & B</b>", 1);
        known["ExeFilePath"] = QCoreApplication::applicationFilePath();
        show({known, task(QString(5000, QLatin1Char('x')), 1)});
        m_dialog->show();
        m_table->selectRow(0);
        const QRect cell = m_table->visualItemRect(m_table->item(0, 0));
        QSignalSpy left(m_table, &CUpgradeTableWidget::sigCellLeave);
        const auto color = [&](const QPoint &place) {
            return m_table->viewport()->grab().toImage().pixelColor(cell.topLeft() + place);
        };
        const QPoint inside(2, 5), beside(cell.width() + 2, 5), upperLine(cell.width() + 2, 0);
        QTest::mouseMove(m_table->viewport(), cell.center());
        QCOMPARE(left.takeFirst(), (QVariantList{-1, -1}));
        // The cell is white also in a selected row; only a hovered one has an upper line.
        QVERIFY(color(inside) == QColor(Qt::white) && color(beside) != QColor(Qt::white));
        QCOMPARE(color(upperLine), QColor("gainsboro"));
        m_table->clearSelection();
        QCOMPARE(color(beside), QColor(0xF7, 0xFA, 0xFD)); // as hovered
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(m_table->viewport(), &leave);
        QCOMPARE(left.takeFirst(), (QVariantList{0, 0}));
        QVERIFY(color(upperLine) != QColor("gainsboro"));

        const auto name = [this](int row) { return m_table->cellWidget(row, 0)->findChild<QPushButton *>("softName"); };
        QCOMPARE(name(0)->text(), QString("<b>A && B</b>"));
        QVERIFY(name(0)->toolTip().contains("&lt;b&gt;A &amp; B"));
        QVERIFY(name(1)->text().endsWith(QChar(0x2026)) && name(1)->width() <= m_table->columnWidth(0) - 60);
        const auto hasIcon = [this](int row) {
            const auto *icon = m_table->cellWidget(row, 0)->findChild<QLabel *>("softIcon");
            return !icon->pixmap(Qt::ReturnByValue).isNull();
        };
        QTRY_VERIFY(hasIcon(0));
        QVERIFY(!hasIcon(1));
    }

    // There it belongs to the edge of the window.
    void pressUnderAResizeCursor()
    {
        auto *content = new QWidget;
        content->setMinimumSize(1000, 1000);
        CCustomScrollArea area(nullptr, content);
        area.show();
        const QPair<QScrollBar *, Qt::CursorShape> bars[] = {{area.verticalScrollBar(), Qt::SizeVerCursor},
                                                             {area.horizontalScrollBar(), Qt::SizeHorCursor}};
        for (const auto &[bar, edge] : bars) {
            const QSignalSpy moved(bar, &QScrollBar::valueChanged);
            for (const Qt::CursorShape shape : {edge, Qt::ArrowCursor}) {
                bar->setCursor(shape);
                QTest::mouseClick(bar, Qt::LeftButton, {}, bar->rect().bottomRight() - QPoint(3, 3));
                QCOMPARE(moved.count(), shape == edge ? 0 : 1);
            }
        }
    }

    void installsWhatWasDownloaded()
    {
        QVariantMap done = task("A", 2);
        done["插件"] = QVariantList{QVariantMap{{"软件名称", "族库"}}};
        const LogCatcher log;
        show({done, task("B", 1)});
        QCOMPARE(FakeClient::callsOf("InstallSoftware"),
                 QList<QVariantMap>{(QVariantMap{{"软件名称", "A"},
                                                 {"WaitForFinished", true},
                                                 {"是否重启软件", true},
                                                 {"软件", done.value("软件")},
                                                 {"插件", done.value("插件")}})});
        FakeClient::fake().queue("InstallSoftware", {1001, "磁盘%1已满"}); // a failed transport reads as a refusal
        show({done});                                                      // still downloaded: requested again
        FakeClient::fake().setAvailable(false);
        show({done});
        QCOMPARE(log.texts(QtInfoMsg) + log.texts(QtCriticalMsg),
                 (QStringList{"调用软件安装接口成功。",
                              "【安装岚川软件】调用安装软件接口失败。返回错误码为：1001，错误信息为：磁盘%1已满。",
                              "【安装岚川软件】：获取在线升级服务客户端接口对象失败"}));
    }

    void cancelAsksFirst()
    {
        show({task("A", 1), task("B", 1), task("", 1)});
        m_dialog->show();
        const LogCatcher log;
        const BoxScript::Step yes = BoxScript::pressing("是");
        BoxScript boxes({[](QDialog *box) {
                             QCOMPARE(box->accessibleDescription(), QString("B"));
                             BoxScript::press(box, "否");
                         },
                         yes, yes, yes});
        auto *cancel = cancelButton(1);
        m_dialog->hide();
        cancel->click();
        QVERIFY(m_dialog->isVisible() && stops().isEmpty());
        QTest::mouseClick(cancel, Qt::LeftButton);
        QCOMPARE(stops(), QStringList{"B"});
        QCOMPARE(names().size(), 3); // the row stays until the service reports its end
        FakeClient::fake().queue("StopUpgrade", {1002, "没有任务"});
        cancelButton(0)->click();
        cancelButton(2)->click();
        QCOMPARE(log.texts(QtCriticalMsg),
                 (QStringList{"【取消下载】调用停止升级接口失败。返回错误码为：1002，错误信息为：没有任务。",
                              "【取消下载】：获取软件名称失败。"}));
        QCOMPARE(log.find("【取消下载】：获取软件名称失败。").function, QString("onCancelDownload"));
        QVERIFY(log.texts(QtInfoMsg).isEmpty());
        QVERIFY(boxes.isDone() && boxes.texts.count("确定要取消升级吗？") == 4);
    }

    void stopAll()
    {
        show({task("A", 3), task("B", 1), task("", 1)}); // the stop of an installation takes its time
        FakeClient::fake().queue("StopUpgrade", {1002, "x"});
        const LogCatcher log;
        m_table->stopAllTask();
        QCOMPARE(stops(), (QStringList{"B", "A"}));
        QCOMPARE(log.find("【取消下载】：获取软件名称失败。").function, QString("cancelDownloadTask"));
        QCOMPARE(log.texts(QtInfoMsg), QStringList{"调用忽略升级接口成功。"});
        QCOMPARE(m_table->rowCount(), 0);
        show({task("A", 1)});
        QCOMPARE(names(), QStringList{"A"});
    }

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
        const auto *percent = inner<QLabel>(0, "downloadPercent");
        QCOMPARE(percent->text(), QString("10%"));
        QTRY_COMPARE(percent->text(), QString("55%"));
        QTRY_COMPARE(count("QueryTaskInfos"), 4);
        QCOMPARE(m_table->rowCount(), 1); // an empty list changes nothing
        reports({task("A", 13)});
        QTRY_VERIFY(!m_dialog->isVisible());
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
                         [](QDialog *box) { // by Escape, which may have been meant for another program
                             for (const auto *button : box->findChildren<QPushButton *>())
                                 QVERIFY(!button->isDefault() && !button->hasFocus());
                             QTest::keyClick(box, Qt::Key_Return);
                             QVERIFY(box->isVisible());
                             BoxScript::press(box, "是");
                         }});
        auto *close = m_dialog->findChild<QPushButton *>("closeButton");
        QTest::mouseClick(close, Qt::LeftButton);
        QVERIFY(m_dialog->isVisible() && count("StopUpgrade") == 0);
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
        m_dialog->windowHandle()->close(); // as the window manager does; the empty window asks nothing
        QTRY_VERIFY(!m_dialog->isVisible() && !m_tray->isVisible());
    }

    void requestWhosePollEndsTheOldTasks()
    {
        reports({task("A", 1)});
        m_dialog->showUpgradeDialog();
        reports({task("A", 13)});
        m_dialog->showUpgradeDialog();
        QVERIFY(m_dialog->isVisible() && m_tray->isVisible());
        QTRY_VERIFY(count("QueryTaskInfos") >= 3);
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
        QStringList expected{"最小化", "关闭", "取消升级A"};
        for (int i = 0; i < 12; ++i) { // beyond the window's lower edge
            list.append(task(QString::number(i), 1));
            expected.append("取消升级" + QString::number(i));
        }
        show(list);
        QCOMPARE(m_table->cellWidget(13, 1)->y(), m_table->rowViewportPosition(13) + 1); // before it is painted
        QVERIFY(QTest::qWaitForWindowActive(m_dialog));
        QVERIFY(!inner<QLabel>(13, "downloadPercent")); // never in sight
        show({task("11", 1, 55)});
        QTest::mouseClick(m_dialog, Qt::LeftButton, {}, QPoint(200, 20));
        for (int round = 0; round < 2; ++round) {
            for (const QString &stop : qAsConst(expected)) {
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
                QCOMPARE(focusName(), stop);
                if (stop.startsWith("取消升级"))
                    checkFocusedRow(stop.mid(4));
            }
        }
        QCOMPARE(inner<QLabel>(13, "downloadPercent")->text(), QString("55%"));
        for (int i = expected.size() - 2; i >= -1; --i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
            QCOMPARE(focusName(), i < 0 ? expected.constLast() : expected.at(i));
        }
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up);
        checkFocusedRow("10");
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {}, m_table->viewport()->rect().center());
        checkFocusedRow(QApplication::focusWidget()->accessibleDescription());
        auto *close = m_dialog->findChild<QPushButton *>("closeButton");
        close->setFocus();
        m_table->selectRow(0); // takes no focus that is elsewhere
        QVERIFY(close->hasFocus());
    }

    // A key that was meant for the button of an ended task must not press the next row's.
    void focusLeavesAnEndedRow()
    {
        m_dialog->showUpgradeDialog();
        for (int status : {3, 4}) {
            show({task("A", 1), task("B", 1)});
            QVERIFY(QTest::qWaitForWindowActive(m_dialog));
            cancelButton(0)->setFocus();
            QVERIFY(cancelButton(0)->hasFocus());
            show({task("A", status), task("B", 1)});
            QCOMPARE(m_dialog->focusWidget(), static_cast<QWidget *>(m_dialog));
        }
    }

    void cellsForScreenReaders()
    {
        show({task("A", 1, 5, 100), task("B", 3)});
        QAccessibleInterface *table = QAccessible::queryAccessibleInterface(m_table);
        QStringList texts;
        for (const auto &[row, column] : {std::pair(0, 0), {0, 1}, {1, 1}})
            texts << table->tableInterface()->cellAt(row, column)->text(QAccessible::Name);
        QCOMPARE(texts, (QStringList{"A，当前版本：1.0", "正在下载主程序，版本号：2.0，5%", "下载完成，安装中..."}));
    }

    void deathsUnderBoxes()
    {
        using Step = std::function<void()>;
        // As the user does it, so that the button is on the stack as well.
        const Step cancelQuestion = [this] { QTest::mouseClick(cancelButton(0), Qt::LeftButton); };
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
            request::processDeletions();
            QVERIFY(boxes.isDone() && !QApplication::activeModalWidget());
            QCOMPARE(stops().count("A"), row.stopsOfA);
            QVERIFY(!m_dialog || !m_dialog->isVisible() || m_table->rowCount() == 1);
        }
        cleanup();
        init();
        show({task("A", 1)});
        const QSignalSpy rejected(new QDialog(m_table->cellWidget(0, 1)), &QDialog::rejected); // as a row's question
        m_dialog->onClose();
        QVERIFY(rejected.isEmpty()); // it would cancel the task again
    }

private:
    static void reports(const QVariantList &tasks) { FakeClient::fake().queue("QueryTaskInfos", taskList(tasks)); }
    void show(const QVariantList &tasks) { m_table->onRefreshUpgradeDtats(queryDataInfos(tasks)); }

    QStringList names() const
    {
        QStringList result;
        for (int row = 0; row < m_table->rowCount(); ++row)
            result
                << qobject_cast<CSoftInfoItem *>(m_table->cellWidget(row, 0))->GetOnlineInfo()["softName"].toString();
        return result;
    }

    template <class T>
    T *inner(int row, const char *name) const
    {
        m_dialog->grab(); // cells in sight are built when they are painted
        return m_table->cellWidget(row, 1)->findChild<T *>(QLatin1String(name));
    }
    QPushButton *cancelButton(int row) const { return inner<QPushButton>(row, "cancelDownload"); }

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

QTEST_MAIN(tst_online_upgrade)
#include "tst_online_upgrade.moc"
