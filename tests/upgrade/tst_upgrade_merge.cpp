// The table against a small model of the merge, under random schedules of polls, cancels, answers and closing windows,
// nested into each other by the event loops of the boxes.
#include "support/FakeClient.h"
#include "upgrade/RunningPrograms.h"
#include "upgrade/Tasks.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QPointer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <algorithm>

using namespace upgrade::controls;

namespace {

struct Task
{
    QString name;
    int status;
};
using Picture = QVector<Task>;

// What the rows must be. A poll that shows boxes is in progress between begin() and end().
class Model
{
public:
    struct Poll
    {
        quint64 number = 0;
        bool reports = false;
        QStringList download, install, ended;
    };

    QStringList rows;
    int closings = 0;

    Poll begin(const Picture &picture)
    {
        Poll poll;
        if (picture.isEmpty())
            return poll;
        poll.number = ++m_newest;
        poll.reports = !m_reporting;
        bool removed = false;
        for (const Task &task : picture) {
            const bool exists = rows.contains(task.name);
            if (task.status >= 1 && task.status <= 3) {
                if (!exists)
                    rows.append(task.name);
                m_live[task.name] = poll.number;
            } else if (exists && task.status == 4) {
                removed = rows.removeAll(task.name) > 0;
            } else if (exists && (task.status == 11 || task.status == 12 || task.status == 13)) {
                poll.ended.append(task.name);
                if (task.status == 11)
                    poll.download.append(task.name);
                if (task.status == 12)
                    poll.install.append(task.name);
            }
        }
        if (removed && rows.isEmpty())
            close();
        return poll;
    }

    QString report(const Poll &poll) const
    {
        const QString download = part(still(poll.download, poll), QStringLiteral("下载出错"));
        const QString install = part(still(poll.install, poll), QStringLiteral("用户取消安装或安装出错"));
        if (download.isEmpty() && install.isEmpty())
            return QString();
        return download + (download.isEmpty() || install.isEmpty() ? QString() : QStringLiteral("；")) + install +
               QStringLiteral("。");
    }

    void end(const Poll &poll)
    {
        if (!poll.reports)
            return;
        const QStringList gone = still(poll.ended, poll);
        const int before = rows.size();
        for (const QString &name : gone)
            rows.removeAll(name);
        if (before > 0 && rows.size() < before && rows.isEmpty())
            close();
    }

    void setReporting(bool reporting) { m_reporting = reporting; }
    void stopAll()
    {
        ++m_newest;
        rows.clear();
    }

private:
    void close()
    {
        ++closings;
        stopAll(); // the window closes
    }
    QStringList still(QStringList names, const Poll &poll) const
    {
        const auto overtaken = [&](const QString &name) {
            return m_newest != poll.number && (!rows.contains(name) || m_live.value(name) > poll.number);
        };
        names.erase(std::remove_if(names.begin(), names.end(), overtaken), names.end());
        return names;
    }
    static QString part(const QStringList &names, const QString &what)
    {
        return names.isEmpty() ? QString() : names.join(QStringLiteral("、")) + what;
    }

    quint64 m_newest = 0;
    bool m_reporting = false;
    QHash<QString, quint64> m_live;
};

// One schedule: does random things at the table and at the model, also from inside the boxes.
class Schedule : public QObject
{
public:
    explicit Schedule(quint32 seed)
        : m_random(seed)
    {
        m_table.FillTableHeader({{QStringLiteral("软件"), 360}, {QStringLiteral("下载进度"), 100}});
        connect(&m_table, &CUpgradeTableWidget::sigCloseDialog, this, [this] {
            ++m_closings;
            m_table.stopAllTask();
        });
        runningprograms::check() = [this](const QString &) { return chance(4); };
    }
    ~Schedule() override { runningprograms::check() = nullptr; }

    QString run() // empty, or what went wrong
    {
        for (int step = 0; step < 12 && m_fault.isEmpty(); ++step) {
            act();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            compare(QStringLiteral("after step %1").arg(step));
        }
        if (m_fault.isEmpty() && m_cancelsConfirmed != stopsAsked())
            m_fault =
                QStringLiteral("%1 confirmed cancels, %2 stop requests").arg(m_cancelsConfirmed).arg(stopsAsked());
        return m_fault;
    }

private:
    bool chance(int one) { return m_random.bounded(one) == 0; }

    void act()
    {
        const int what = m_random.bounded(10);
        if (what == 0) {
            m_closedStops += m_table.getTaskInfoCount();
            m_model.stopAll();
            m_table.stopAllTask();
        } else if (what == 1 && !m_model.rows.isEmpty()) {
            cancel(m_model.rows.at(m_random.bounded(m_model.rows.size())));
        } else {
            poll(randomPicture());
        }
    }

    Picture randomPicture()
    {
        static const int states[] = {1, 1, 1, 1, 2, 3, 4, 11, 12, 13, 7};
        Picture picture;
        for (int count = m_random.bounded(6); count > 0; --count)
            picture.append({QString(QLatin1Char(char('A' + m_random.bounded(5)))), states[m_random.bounded(11)]});
        return picture;
    }

    void poll(const Picture &picture)
    {
        QVariantList list;
        for (const Task &task : picture)
            list.append(tasks::task(task.name, task.status));
        const Model::Poll poll = m_model.begin(picture);
        m_polls.append(poll);
        inBoxes([&] { m_table.onRefreshUpgradeDtats(tasks::picture(list)); });
        m_polls.removeLast();
        m_model.end(poll);
        compare(QStringLiteral("after a poll"));
    }

    void cancel(const QString &name)
    {
        inBoxes([&] { m_table.onCancelDownload(QVariantMap{{QStringLiteral("softName"), name}}); });
    }

    // Runs what may show boxes, and plays the user in front of them.
    template <class Call>
    void inBoxes(Call call)
    {
        QTimer::singleShot(0, this, &Schedule::lookForBox);
        call();
    }

    void lookForBox()
    {
        auto *box = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!box || box->property("seen").toBool())
            return;
        box->setProperty("seen", true);
        ++boxes;
        const QString text = box->findChild<QLabel *>(QStringLiteral("messageText"))->text();
        const bool isReport = text.endsWith(QStringLiteral("。"));
        if (isReport && !m_polls.isEmpty() && text != m_model.report(m_polls.constLast()))
            m_fault = QStringLiteral("report %1 instead of %2").arg(text, m_model.report(m_polls.constLast()));
        if (isReport)
            m_model.setReporting(true);
        QTimer::singleShot(0, box, [this, box, isReport] { live(box, isReport); });
    }

    // Does more from inside the box, then answers it in a later event, as a user would.
    void live(QPointer<QDialog> box, bool isReport)
    {
        ++m_depth;
        for (int more = m_depth < 3 ? m_random.bounded(3) : 0; more > 0 && m_fault.isEmpty(); --more)
            act();
        --m_depth;
        const bool first = chance(2);
        QTimer::singleShot(0, this, [this, box, isReport, first] { answer(box, isReport, first); });
    }

    void answer(QDialog *box, bool isReport, bool first)
    {
        if (isReport)
            m_model.setReporting(false);
        // The question or report below this one is to be answered next.
        QTimer::singleShot(0, this, &Schedule::lookForBox);
        if (!box)
            return; // it went with its row
        const QString name = isReport || first ? QStringLiteral("okButton") : QStringLiteral("cancelButton");
        const QString text = box->findChild<QLabel *>(QStringLiteral("messageText"))->text();
        const bool isCancel = text == QStringLiteral("确定要取消升级吗？");
        m_cancelsConfirmed += (isCancel && first) || (!isCancel && !isReport && !first) ? 1 : 0;
        box->findChild<QAbstractButton *>(name)->click();
    }

    int stopsAsked() const
    {
        return FakeClient::fake().operations().count(QStringLiteral("StopUpgrade")) - m_closedStops;
    }

    void compare(const QString &when)
    {
        QStringList shown;
        for (int row = 0; row < m_table.rowCount(); ++row) {
            auto *item = qobject_cast<CSoftInfoItem *>(m_table.cellWidget(row, 0));
            shown.append(item->GetOnlineInfo().value(QStringLiteral("softName")).toString());
        }
        if (!m_fault.isEmpty())
            return;
        if (shown != m_model.rows)
            m_fault = QStringLiteral("%1: rows %2 instead of %3")
                          .arg(when, shown.join(QLatin1Char(' ')), m_model.rows.join(QLatin1Char(' ')));
        else if (m_closings != m_model.closings)
            m_fault = QStringLiteral("%1: %2 closings instead of %3").arg(when).arg(m_closings).arg(m_model.closings);
    }

public:
    int boxes = 0;

private:
    QRandomGenerator m_random;
    CUpgradeTableWidget m_table{nullptr};
    Model m_model;
    QVector<Model::Poll> m_polls; // in progress, outermost first
    int m_depth = 0;
    int m_closings = 0;
    int m_closedStops = 0;
    int m_cancelsConfirmed = 0;
    QString m_fault;
};

} // namespace

class tst_upgrade_merge : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void equalsTheModel();
};

void tst_upgrade_merge::equalsTheModel()
{
    bool given = false;
    quint32 seed = qEnvironmentVariable("TARN_SEED").toUInt(&given); // repeats one schedule
#ifdef TARN_SANITIZED
    constexpr int All = 400;
#else
    constexpr int All = 2000;
#endif
    const int schedules = given ? 1 : All;
    if (!given)
        seed = QRandomGenerator::global()->generate();
    qInfo("schedules %u to %u", seed, seed + quint32(schedules) - 1);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    int boxes = 0;
    QString fault;
    for (int i = 0; i < schedules && fault.isEmpty(); ++i, ++seed) {
        FakeClient::fake().reset();
        Schedule schedule(seed);
        fault = schedule.run();
        if (!fault.isEmpty())
            fault.prepend(QStringLiteral("TARN_SEED=%1: ").arg(seed));
        boxes += schedule.boxes;
    }
    qInstallMessageHandler(nullptr);
    qInfo("%d boxes", boxes);
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
    QVERIFY(given || boxes > schedules / 2);
}

QTEST_MAIN(tst_upgrade_merge)
#include "tst_upgrade_merge.moc"
