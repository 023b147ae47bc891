// The upgrade table: merging the polls, reports, cancelling, the cells.
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "upgrade/BoxScript.h"
#include "upgrade/Tasks.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <limits>

using namespace upgrade::controls;
using tasks::callsOf;
using tasks::picture;
using tasks::stops;
using tasks::task;

namespace {

// Counts the paint events of a window.
class PaintCounter final : public QObject
{
public:
    explicit PaintCounter(QWidget *window)
    {
        for (QWidget *widget : window->findChildren<QWidget *>())
            widget->installEventFilter(this);
        window->installEventFilter(this);
    }
    int paints = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

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
        m_table->FillTableHeader({{QStringLiteral("软件"), 360}, {QStringLiteral("下载进度"), 100}});
        m_table->setParentDlg(m_window);
    }

    void cleanup() { delete m_window; }

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
        show({task("E", 4), task("E", 1), task("A", 13)});
        QCOMPARE(names(), QStringList{"E"});
        m_table->deleteRow(tasks::row(task("unknown", 1)));
        m_table->updateRow(tasks::row(task("unknown", 1)));
        show({task("E", 4), task("B", 1)}); // one task begins as the last one ends
        QCOMPARE(names(), QStringList{"B"});
        QCOMPARE(closing.count(), 0);
        show({task("B", 13)});
        QCOMPARE(m_table->rowCount(), 0);
        show({});
        show({task("A", 4), task("B", 13)});
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
                 BoxScript::press(box, QStringLiteral("确定"));
             },
             BoxScript::pressing(QStringLiteral("确定"))});
        show({task("A", 11)});
        QCOMPARE(during, (QStringList{"A", "B", "C", "%1", "E"})); // only a cancelled row is removed at once
        QCOMPARE(names(), (QStringList{"B", "C", "%1", "E"}));
        show({task("B", 11), task("%1", 11), task("C", 12)});
        QCOMPARE(names(), QStringList{"E"});
        QCOMPARE(boxes.texts, (QStringList{QStringLiteral("A下载出错。"),
                                           QStringLiteral("B、%1下载出错；C用户取消安装或安装出错。")}));
        QVERIFY(boxes.isDone());
    }

    void restartedDuringAReport()
    {
        show({task("A", 1), task("B", 1)});
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        BoxScript boxes({[&](QDialog *box) {
            show({task("A", 1, 5), task("B", 13)}); // the user has started A again elsewhere
            BoxScript::press(box, QStringLiteral("确定"));
        }});
        show({task("A", 11), task("B", 12)});
        QCOMPARE(names(), QStringList{"A"});
        QCOMPARE(closing.count(), 0);
    }

    void reportedNamesAreTextOfBoundedLength()
    {
        const QString markup = "<a href='http://x'>A</a>";
        const QString huge(20000, QLatin1Char('x'));
        show({task(markup, 1), task(huge, 1)});
        BoxScript boxes({[](QDialog *box) {
            const auto *text = box->findChild<QLabel *>("messageText");
            QVERIFY(text->textFormat() == Qt::PlainText || !text->text().contains("<a"));
            BoxScript::press(box, QStringLiteral("确定"));
        }});
        show({task(huge, 11), task(markup, 11)});
        QVERIFY(boxes.isDone());
        QVERIFY(boxes.texts.value(0).endsWith(QStringLiteral("下载出错。")));
        QVERIFY(boxes.texts.value(0).remove(QChar(0x200B)).contains(markup));
    }

    void cellShowsTheStates()
    {
        show({task("A", 1, 250, 1000)});
        auto *bar = inner<QProgressBar>(0, "downloadBar");
        auto *cancel = inner<QPushButton>(0, "cancelDownload");
        auto *percent = inner<QLabel>(0, "downloadPercent");
        auto *tip = inner<QLabel>(0, "downloadTip");
        m_window->show();
        QCOMPARE(tip->text(), QStringLiteral("正在下载主程序，版本号：2.0"));
        QCOMPARE(percent->text(), QStringLiteral("25%"));
        QVERIFY(cancel->isVisible());
        FakeClient::fake().setAvailable(false); // prevents an installation
        show({task("A", 2)});
        QCOMPARE(percent->text(), QStringLiteral("100%"));
        QVERIFY(!cancel->isVisible());
        show({task("A", 3)});
        QCOMPARE(tip->text(), QStringLiteral("下载完成"));
        QCOMPARE(percent->text(), QStringLiteral("安装中..."));
        QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(!cancel->isVisible());
        show({task("A", 1, 30, 60)}); // restarted
        QCOMPARE(bar->maximum(), 60);
        QCOMPARE(bar->value(), 30);
    }

    // The bar counts in int; sizes that it cannot hold show as busy.
    void barOfAnySize()
    {
        constexpr qint64 GiB = qint64(1) << 30;
        constexpr qint64 Most = std::numeric_limits<qint64>::max();
        constexpr qint64 Least = std::numeric_limits<qint64>::min();
        struct Row
        {
            qint64 current, total;
            int maximum;
        };
        m_window->show();
        for (const Row &row : {Row{5, 0, 0}, Row{GiB, 2 * GiB, 0}, Row{GiB, 5 * GiB, int(GiB)}, Row{3 * GiB, 100, 100},
                               Row{Most, Least, 0}}) {
            show({task("A", 1, row.current, row.total)});
            const auto *bar = inner<QProgressBar>(0, "downloadBar");
            QCOMPARE(bar->maximum(), row.maximum);
            QVERIFY(bar->value() >= bar->minimum() - 1 && bar->value() <= bar->maximum());
            show({task("A", 3)});
            QVERIFY(bar->maximum() > 0 && bar->value() == bar->maximum());
        }
    }

    void softwareIcon()
    {
        QVariantMap known = task("A", 1);
        known["ExeFilePath"] = QCoreApplication::applicationFilePath();
        show({known, task("none", 1)});
        m_window->grab();
        const auto hasIcon = [this](int row) {
            const auto *icon = m_table->cellWidget(row, 0)->findChild<QLabel *>("softIcon");
            return !icon->pixmap(Qt::ReturnByValue).isNull();
        };
        QTRY_VERIFY(hasIcon(0));
        QVERIFY(!hasIcon(1));
    }

    void softwareCellIsWhite() // also in a highlighted row under the cursor
    {
        show({task("A", 1)});
        m_window->show();
        m_table->selectRow(0);
        m_table->onCellEntered(0, 0);
        const QRect cell = m_table->visualItemRect(m_table->item(0, 0));
        const QImage picture = m_table->viewport()->grab().toImage();
        QCOMPARE(picture.pixelColor(cell.left() + 2, cell.top() + 5), QColor(Qt::white));
        QVERIFY(picture.pixelColor(cell.right() + 3, cell.top() + 5) != QColor(Qt::white));
    }

    void longNamesAndMarkup()
    {
        show({task("<b>A & B</b>", 1), task(QString(5000, QLatin1Char('x')), 1)});
        m_window->grab();
        const auto name = [this](int row) { return m_table->cellWidget(row, 0)->findChild<QPushButton *>("softName"); };
        QCOMPARE(name(0)->text(), QStringLiteral("<b>A && B</b>"));
        QVERIFY(name(0)->toolTip().contains(QStringLiteral("&lt;b&gt;A &amp; B")));
        QVERIFY(name(1)->text().endsWith(QChar(0x2026)) && name(1)->width() <= m_table->columnWidth(0));
    }

    void installsWhatWasDownloaded()
    {
        QVariantMap done = task("A", 2);
        done[QStringLiteral("插件")] = QVariantList{QVariantMap{{QStringLiteral("软件名称"), QStringLiteral("族库")}}};
        LogCatcher log;
        show({done, task("B", 1)});
        const QList<FakeCall> installs = callsOf(QStringLiteral("InstallSoftware"));
        QCOMPARE(installs.size(), 1);
        const QVariantMap request = installs.constFirst().values;
        QCOMPARE(request.value(QStringLiteral("软件名称")).toString(), QStringLiteral("A"));
        QCOMPARE(request.value(QStringLiteral("WaitForFinished")), QVariant(true));
        QCOMPARE(request.value(QStringLiteral("是否重启软件")), QVariant(true));
        QCOMPARE(request.value(QStringLiteral("软件")), done.value(QStringLiteral("软件")));
        QCOMPARE(request.value(QStringLiteral("插件")), done.value(QStringLiteral("插件")));
        QVERIFY(!request.contains(QStringLiteral("补丁包")));
        QVERIFY(log.has(QtInfoMsg, QStringLiteral("调用软件安装接口成功。")));
        show({done}); // still downloaded: requested again
        QCOMPARE(callsOf(QStringLiteral("InstallSoftware")).size(), 2);
    }

    void refusedInstallationIsLogged()
    {
        FakeClient::fake().queue(QStringLiteral("InstallSoftware"), tasks::answer(1001, QStringLiteral("磁盘%1已满")));
        LogCatcher log;
        show({task("A", 2)}); // a failed transport is worded as a refusal
        const QString text =
            QStringLiteral("【安装岚川软件】调用安装软件接口失败。返回错误码为：1001，错误信息为：磁盘%1已满。");
        QCOMPARE(log.find(text).function, QStringLiteral("dealWithDownloadFinished"));
        FakeClient::fake().setAvailable(false);
        show({task("A", 2)});
        QVERIFY(log.has(QtCriticalMsg, QStringLiteral("【安装岚川软件】：获取在线升级服务客户端接口对象失败")));
    }

    void cancelAsksFirst()
    {
        show({task("A", 1), task("B", 1)});
        m_window->show();
        BoxScript boxes({BoxScript::pressing(QStringLiteral("否")), BoxScript::pressing(QStringLiteral("是"))});
        auto *cancel = inner<QPushButton>(1, "cancelDownload");
        m_window->hide();
        cancel->click();
        QVERIFY(m_window->isVisible());
        QVERIFY(stops().isEmpty());
        QTest::mouseClick(cancel, Qt::LeftButton);
        QCOMPARE(stops(), QStringList{"B"});
        QCOMPARE(boxes.texts,
                 (QStringList{QStringLiteral("确定要取消升级吗？"), QStringLiteral("确定要取消升级吗？")}));
        QCOMPARE(names(), (QStringList{"A", "B"})); // the row stays until the service reports its end
        QVERIFY(boxes.isDone());
    }

    void cancelFailures()
    {
        show({task("A", 1), task("", 1)});
        BoxScript boxes({BoxScript::pressing(QStringLiteral("是")), BoxScript::pressing(QStringLiteral("是"))});
        LogCatcher log;
        FakeClient::fake().queue(QStringLiteral("StopUpgrade"), tasks::answer(1002, QStringLiteral("没有任务")));
        inner<QPushButton>(0, "cancelDownload")->click();
        const auto refused =
            log.find(QStringLiteral("【取消下载】调用停止升级接口失败。返回错误码为：1002，错误信息为：没有任务。"));
        QCOMPARE(refused.function, QStringLiteral("onCancelDownload"));
        QCOMPARE(refused.type, QtCriticalMsg);
        inner<QPushButton>(1, "cancelDownload")->click();
        QVERIFY(log.has(QtCriticalMsg, QStringLiteral("【取消下载】：获取软件名称失败。")));
        QVERIFY(boxes.isDone());
    }

    void stopAll()
    {
        QSignalSpy closing(m_table, &CUpgradeTableWidget::sigCloseDialog);
        show({task("B", 1), task("A", 3), task("", 1)});
        FakeClient::fake().queue(QStringLiteral("StopUpgrade"), tasks::answer(1002, QStringLiteral("x")));
        LogCatcher log;
        m_table->stopAllTask();
        QStringList stopped = stops();
        stopped.sort();
        QCOMPARE(stopped, (QStringList{"A", "B"}));
        QCOMPARE(log.count(QtCriticalMsg, QStringLiteral("【取消下载】：获取软件名称失败。")), 1);
        QCOMPARE(log.count(QtInfoMsg, QStringLiteral("调用忽略升级接口成功。")), 1);
        QCOMPARE(m_table->rowCount(), 0);
        QCOMPARE(closing.count(), 0);
        show({task("A", 1)});
        QCOMPARE(names(), QStringList{"A"});
    }

    void unchangedPollPaintsNothing()
    {
        QVariantList list;
        for (int i = 0; i < 20; ++i)
            list.append(task(QString::number(i), i % 2 ? 1 : 3, i, 100));
        show(list);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        QCoreApplication::processEvents();
        PaintCounter counter(m_window);
        show(list);
        QCoreApplication::processEvents();
        QCOMPARE(counter.paints, 0);
        list[19] = task("19", 1, 55, 100); // out of view
        show(list);
        QCoreApplication::processEvents();
        QCOMPARE(counter.paints, 0);
        list[1] = task("1", 1, 55, 100);
        show(list);
        QTRY_VERIFY(counter.paints > 0); // the counter does count
    }

    void thousandsOfRows()
    {
        QVariantList list;
        for (int i = 0; i < 5000; ++i)
            list.append(task(QString::number(i), 1, i, 5000));
        m_window->show();
        show(list);
        QCOMPARE(m_table->rowCount(), 5000);
        QVERIFY(inner<QLabel>(0, "downloadPercent"));
        QVERIFY(!inner<QLabel>(2500, "downloadPercent"));                 // never in sight
        QTRY_VERIFY(m_table->verticalScrollBar()->maximum() > 4990 * 65); // laid out
        m_table->verticalScrollBar()->setValue(m_table->verticalScrollBar()->maximum());
        QCOMPARE(inner<QLabel>(4999, "downloadPercent")->text(), QStringLiteral("100%"));
        list[0] = task("0", 3);
        list[4999] = task("4999", 4);
        show(list);
        QCOMPARE(m_table->rowCount(), 4999);
        m_table->verticalScrollBar()->setValue(0);
        QCOMPARE(inner<QLabel>(0, "downloadPercent")->text(),
                 QStringLiteral("安装中...")); // up to date when it is in sight again
    }

private:
    void show(const QVariantList &list) { m_table->onRefreshUpgradeDtats(picture(list)); }

    QStringList names() const
    {
        QStringList result;
        for (int row = 0; row < m_table->rowCount(); ++row) {
            const auto *item = qobject_cast<CSoftInfoItem *>(m_table->cellWidget(row, 0));
            result.append(item ? item->GetOnlineInfo().value(QStringLiteral("softName")).toString()
                               : QStringLiteral("?"));
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
