// The online upgrade below its window: the polls of the service, their merging into the table, reports, cancelling, cells.
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "upgrade/Tasks.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QElapsedTimer>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <limits>

using namespace upgrade::controls;
using tasks::answer;
using tasks::callsOf;
using tasks::picture;
using tasks::stops;
using tasks::task;
using upgrade::operate::CUpgradeDataRefresher;
using upgrade::operate::queryDataInfos;

namespace {

// Counts the paint events of a window.
class PaintCounter final : public QObject
{
public:
    explicit PaintCounter(QWidget *window)
    {
        for (QWidget *widget : window->findChildren<QWidget *>())
            widget->installEventFilter(this);
    }
    int paints = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

QString download(const QVariantMap &task, const QString &key)
{
    return tasks::row(task).toMap().value("downloadCtrl").toMap().value(key).toString();
}

} // namespace

class tst_upgrade_table : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        FakeClient::fake().reset();
        m_window = new QWidget;
        m_window->resize(740, 450);
        m_table = new CUpgradeTableWidget(m_window);
        m_table->setGeometry(m_window->rect());
        m_table->FillTableHeader({{"软件", 360}, {"下载进度", 100}});
        m_table->setParentDlg(m_window);
    }

    void cleanup() { delete m_window; }

    void textsOfATask()
    {
        const LogCatcher log;
        QStringList tips;
        for (int type = 1; type <= 5; ++type) {
            QVariantMap working = task("设计", 1).value("WorkingItem").toMap();
            working["Type"] = type;
            working["UpdateName"] = "%2"; // is no placeholder
            QVariantMap one = task("设计", 1);
            one["WorkingItem"] = working;
            tips << download(one, "downloadTip").section("，", 0, 0);
        }
        QCOMPARE(tips, (QStringList{"正在下载主程序", "正在下载%2", "正在下载补丁", "正在下载补丁", "正在下载"}));
        QCOMPARE(log.texts(), QStringList{"下载类型未标识，类型为5"});
        QCOMPARE(log.find("下载类型未标识，类型为5").function, QString("queryDataInfos"));
        constexpr qint64 GiB = qint64(1) << 30;
        const auto percent = [](qint64 current, qint64 total) {
            return download(task("设计", 1, current, total), "downloadPercent");
        };
        QCOMPARE(percent(999, 1000), QString("100%")); // rounded
        QCOMPARE(percent(0, 0), QString("nan%"));
        QCOMPARE(percent(5, 0), QString("inf%"));
        QCOMPARE(percent(GiB, 5 * GiB), QString("20%"));
        QVERIFY(queryDataInfos(QVariantMap{{"SoftName", 1}}).isEmpty());
        const QList<QVariant> rows = queryDataInfos(QVariantList{7, "text", QVariant(), QVariantList{1}});
        QCOMPARE(rows.size(), 4); // one row per element, whatever it is
        QCOMPARE(rows.constFirst().toMap().value("taskStatus"), QVariant(0));
    }

    void failedPollsGiveAnEmptyList()
    {
        const QVariantMap values{{"taskInfoList", QVariantList{task("设计", 1)}}};
        CUpgradeDataRefresher refresher;
        QSignalSpy spy(&refresher, &CUpgradeDataRefresher::refreshUpgradeDtats);
        const LogCatcher log;
        for (int code : {1001, 1002}) {
            FakeClient::fake().queue("QueryTaskInfos", answer(code, "a%2b", values));
            refresher.updateUpgradeTasks();
            QVERIFY(spy.takeFirst().at(0).value<QVariant>().toList().isEmpty());
        }
        QCOMPARE(log.texts(QtCriticalMsg),
                 (QStringList{"【检测升级窗口】调用忽略升级接口rpc通信失败，返回错误码为：1001，错误信息为：a%2b。",
                              "【检测升级窗口】调用忽略升级接口失败。返回错误码为：1002，错误信息为：a%2b。"}));
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
        m_table->deleteRow(tasks::row(task("unknown", 1)));
        m_table->updateRow(tasks::row(task("unknown", 1)));
        show({task("E", 4), task("B", 1)}); // one task begins as the last one ends
        QCOMPARE(names(), QStringList{"B"});
        QCOMPARE(closing.count(), 0);
        show({task("B", 13)});
        show({});
        show({task("A", 4), task("B", 13)});
        QCOMPARE(m_table->rowCount(), 0);
        QCOMPARE(closing.count(), 1);
    }

    void pollsDuringAReport()
    {
        show({task("A", 1), task("B", 1), task("C", 1), task("D", 1), task("%1", 1)});
        QStringList during;
        BoxScript boxes(
            {[&](QDialog *box) {
                 show({task("A", 11), task("B", 11), task("C", 13), task("D", 4), task("E", 1), task("%1", 1)});
                 during = names();
                 BoxScript::press(box, "确定");
             },
             BoxScript::pressing("确定"),
             [&](QDialog *box) {
                 show({task("E", 1, 5)}); // the user has started it again elsewhere
                 BoxScript::press(box, "确定");
             }});
        show({task("A", 11)});
        QCOMPARE(during, (QStringList{"A", "B", "C", "%1", "E"})); // only a cancelled row is removed at once
        QCOMPARE(names(), (QStringList{"B", "C", "%1", "E"}));
        show({task("B", 11), task("%1", 11), task("C", 12)});
        QCOMPARE(names(), QStringList{"E"});
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        show({task("E", 12)});
        QCOMPARE(names(), QStringList{"E"});
        QCOMPARE(closing.count(), 0);
        QCOMPARE(boxes.texts,
                 (QStringList{"A下载出错。", "B、%1下载出错；C用户取消安装或安装出错。", "E用户取消安装或安装出错。"}));
        QVERIFY(boxes.isDone());
    }

    void reportedNamesAreTextOfBoundedLength()
    {
        const QString markup = "<a href='http://x'>A</a>";
        const QString huge(20000, QLatin1Char('x'));
        show({task(markup, 1), task(huge, 1)});
        BoxScript boxes({[](QDialog *box) {
            const auto *text = box->findChild<QLabel *>("messageText");
            QVERIFY(text->textFormat() == Qt::PlainText || !text->text().contains("<a"));
            BoxScript::press(box, "确定");
        }});
        show({task(huge, 11), task(markup, 11)});
        QVERIFY(boxes.isDone() && boxes.texts.value(0).endsWith("下载出错。"));
        QVERIFY(boxes.texts.value(0).remove(QChar(0x200B)).contains(markup));
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
        } rows[] = {{250, 1000, 250, 1000, "25%"},     {GiB, 2 * GiB, -1, 0, "50%"},
                    {GiB, 5 * GiB, GiB, GiB, "20%"},   {3 * GiB, 100, 0, 100, "3221225472%"},
                    {Most, -Most - 1, -1, 0, "-100%"}, {30, 60, 30, 60, "50%"}};
        m_window->show();
        FakeClient::fake().setAvailable(false); // prevents an installation
        for (const auto &row : rows) {
            show({task("A", 1, row.current, row.total)});
            const auto *bar = inner<QProgressBar>(0, "downloadBar");
            const auto *cancel = inner<QPushButton>(0, "cancelDownload");
            const auto *percent = inner<QLabel>(0, "downloadPercent");
            const auto *tip = inner<QLabel>(0, "downloadTip");
            QCOMPARE(tip->text(), QString("正在下载主程序，版本号：2.0"));
            QCOMPARE(percent->text(), row.percent);
            QCOMPARE(bar->maximum(), row.maximum);
            QVERIFY(bar->value() == row.value || row.maximum == 0);
            QVERIFY(cancel->isVisible() && !cancel->icon().isNull());
            show({task("A", 2)});
            QCOMPARE(percent->text(), QString("100%"));
            QVERIFY(!cancel->isVisible() && bar->maximum() > 0 && bar->value() == bar->maximum());
            show({task("A", 1, 1, 0)});
            show({task("A", 3)});
            QCOMPARE(tip->text() + percent->text(), QString("下载完成安装中..."));
            QVERIFY(!cancel->isVisible() && bar->maximum() > 0 && bar->value() == bar->maximum());
        }
    }

    // White also in a highlighted row under the cursor.
    void softwareCell()
    {
        QVariantMap known = task("<b>A & B</b>", 1);
        known["ExeFilePath"] = QCoreApplication::applicationFilePath();
        show({known, task(QString(5000, QLatin1Char('x')), 1)});
        m_window->show();
        m_table->selectRow(0);
        const QRect cell = m_table->visualItemRect(m_table->item(0, 0));
        QSignalSpy left(m_table, &CUpgradeTableWidget::sigCellLeave);
        QTest::mouseMove(m_table->viewport(), cell.center());
        QCOMPARE(left.takeFirst(), (QVariantList{-1, -1}));
        const auto grabbed = [&] { return m_table->viewport()->grab().toImage(); };
        QCOMPARE(grabbed().pixelColor(cell.left() + 2, cell.top() + 5), QColor(Qt::white));
        QVERIFY(grabbed().pixelColor(cell.right() + 3, cell.top() + 5) != QColor(Qt::white));
        QCOMPARE(grabbed().pixelColor(cell.right() + 3, cell.top()), QColor("gainsboro")); // only of a hovered row
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(m_table->viewport(), &leave);
        QCOMPARE(left.takeFirst(), (QVariantList{0, 0}));
        QVERIFY(grabbed().pixelColor(cell.right() + 3, cell.top()) != QColor("gainsboro"));

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

    void installsWhatWasDownloaded()
    {
        QVariantMap done = task("A", 2);
        done["插件"] = QVariantList{QVariantMap{{"软件名称", "族库"}}};
        const LogCatcher log;
        show({done, task("B", 1)});
        QCOMPARE(callsOf("InstallSoftware").size(), 1);
        const QVariantMap expected{{"软件名称", "A"},
                                   {"WaitForFinished", true},
                                   {"是否重启软件", true},
                                   {"软件", done.value("软件")},
                                   {"插件", done.value("插件")}};
        QCOMPARE(callsOf("InstallSoftware").constFirst().values, expected);
        QCOMPARE(log.texts(QtInfoMsg), QStringList{"调用软件安装接口成功。"});
        FakeClient::fake().queue("InstallSoftware", answer(1001, "磁盘%1已满"));
        show({done}); // still downloaded: requested again
        const QString refused =
            "【安装岚川软件】调用安装软件接口失败。返回错误码为：1001，错误信息为：磁盘%1已满。"; // a failed transport too
        QCOMPARE(log.find(refused).function, QString("dealWithDownloadFinished"));
        FakeClient::fake().setAvailable(false);
        show({done});
        QCOMPARE(log.texts(QtCriticalMsg),
                 (QStringList{refused, "【安装岚川软件】：获取在线升级服务客户端接口对象失败"}));
    }

    void cancelAsksFirst()
    {
        show({task("A", 1), task("B", 1), task("", 1)});
        m_window->show();
        const LogCatcher log;
        const BoxScript::Step yes = BoxScript::pressing("是");
        BoxScript boxes({[](QDialog *box) {
                             QCOMPARE(box->accessibleDescription(), QString("B"));
                             BoxScript::press(box, "否");
                         },
                         yes, yes, yes});
        auto *cancel = inner<QPushButton>(1, "cancelDownload");
        m_window->hide();
        cancel->click();
        QVERIFY(m_window->isVisible());
        QVERIFY(stops().isEmpty());
        QTest::mouseClick(cancel, Qt::LeftButton);
        QCOMPARE(stops(), QStringList{"B"});
        QCOMPARE(names().size(), 3); // the row stays until the service reports its end
        FakeClient::fake().queue("StopUpgrade", answer(1002, "没有任务"));
        inner<QPushButton>(0, "cancelDownload")->click();
        inner<QPushButton>(2, "cancelDownload")->click();
        QCOMPARE(log.texts(QtCriticalMsg),
                 (QStringList{"【取消下载】调用停止升级接口失败。返回错误码为：1002，错误信息为：没有任务。",
                              "【取消下载】：获取软件名称失败。"}));
        QCOMPARE(log.find("【取消下载】：获取软件名称失败。").function, QString("onCancelDownload"));
        QVERIFY(log.texts(QtInfoMsg).isEmpty());
        QVERIFY(boxes.isDone() && boxes.texts.count("确定要取消升级吗？") == 4);
    }

    void stopAll()
    {
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        show({task("B", 1), task("A", 3), task("", 1)});
        FakeClient::fake().queue("StopUpgrade", answer(1002, "x"));
        const LogCatcher log;
        m_table->stopAllTask();
        QStringList stopped = stops();
        stopped.sort();
        QCOMPARE(stopped, (QStringList{"A", "B"}));
        QCOMPARE(log.find("【取消下载】：获取软件名称失败。").function, QString("cancelDownloadTask"));
        QCOMPARE(log.texts(QtInfoMsg), QStringList{"调用忽略升级接口成功。"});
        QCOMPARE(m_table->rowCount() + closing.count(), 0);
        show({task("A", 1)});
        QCOMPARE(names(), QStringList{"A"});
    }

    void thousandsOfRows()
    {
        QVariantList list;
        for (int i = 0; i < 5000; ++i)
            list.append(task(QString::number(i), 1, i, 5000));
        m_window->show();
        show(list);
        QVERIFY(inner<QLabel>(0, "downloadPercent"));
        QVERIFY(!inner<QLabel>(2500, "downloadPercent"));                 // never in sight
        QTRY_VERIFY(m_table->verticalScrollBar()->maximum() > 4990 * 65); // laid out
        QCoreApplication::processEvents();
        const PaintCounter counter(m_window);
        list[2500] = task("2500", 3);
        show(list);
        QCoreApplication::processEvents();
        QCOMPARE(counter.paints, 0); // nothing changed that is in sight
        m_table->verticalScrollBar()->setValue(m_table->verticalScrollBar()->maximum());
        QCOMPARE(inner<QLabel>(4999, "downloadPercent")->text(), QString("100%"));
        list[0] = task("0", 3);
        list[4999] = task("4999", 4);
        show(list);
        QCOMPARE(m_table->rowCount(), 4999);
        m_table->verticalScrollBar()->setValue(0);
        QCOMPARE(inner<QLabel>(0, "downloadPercent")->text(), QString("安装中...")); // up to date when in sight again
        QVERIFY(counter.paints > 0);                                                 // the counter does count
    }

private:
    void show(const QVariantList &list) { m_table->onRefreshUpgradeDtats(picture(list)); }

    QStringList names() const
    {
        QStringList result;
        for (int row = 0; row < m_table->rowCount(); ++row) {
            const auto *item = qobject_cast<CSoftInfoItem *>(m_table->cellWidget(row, 0));
            result.append(item ? item->GetOnlineInfo().value("softName").toString() : "?");
        }
        return result;
    }

    template <class T>
    T *inner(int row, const char *name) const
    {
        m_window->grab(); // cells in sight are built when they are painted
        return m_table->cellWidget(row, 1)->findChild<T *>(QLatin1String(name));
    }

    QWidget *m_window = nullptr;
    CUpgradeTableWidget *m_table = nullptr;
};

QTEST_MAIN(tst_upgrade_table)
#include "tst_upgrade_table.moc"
