// upgrade_table: the online-upgrade window's table in this process, beside a plain table whose cells are built at once and
// row by row. Orders, one a line; N is a number of rows:
//   show N, plain N          first list to painted: ms, bytes allocated a row
//   same N                   refresh with an unchanged picture: ms, paint events
//   changed N, plainchanged N  refresh with every row changed, painted: ms
//   poll N ROUNDS            conversion, refresh and painting of N changed rows: CPU ms a poll, growth of the heap in KiB

#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "upgrade/operate/UpgradeDataRefresh.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>

#include <ctime>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <sstream>
#include <string>

using namespace upgrade::controls;

namespace {

constexpr QSize WindowSize(740, 450);

QVariantList tasks(int count, qint64 received)
{
    namespace key = tarn::upgrade::key;
    QVariantList list;
    for (int i = 0; i < count; ++i) {
        const QVariantMap section{{key::NewVersion, QStringLiteral("3.3.0.1120")},
                                  {key::SoftwareName, QString::number(i)}};
        list.append(QVariantMap{{key::SoftName, QStringLiteral("云杉绘图企业版第%1号").arg(i)},
                                {key::CurrentVersion, QStringLiteral("3.2.0.1045")},
                                {key::ExeFilePath, QStringLiteral("/opt/apps/%1/bin/program").arg(i)},
                                {key::Status, 1},
                                {key::Software, section},
                                {key::WorkingItem, QVariantMap{{key::ItemType, 1},
                                                               {key::UpdateVersion, QStringLiteral("3.3.0.1120")},
                                                               {key::CurrentSize, received + i % 7},
                                                               {key::TotalSize, qint64(1000000)}}}});
    }
    return list;
}

QVariant picture(int count, qint64 received)
{
    return upgrade::operate::queryDataInfos(tasks(count, received));
}

void settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

size_t heap()
{
    return mallinfo2().uordblks;
}

double milliseconds(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

QList<QPair<QString, int>> columns()
{
    return {{QStringLiteral("软件"), 360}, {QStringLiteral("下载进度"), 100}};
}

class PaintCounter final : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

std::unique_ptr<CUpgradeTableWidget> ours()
{
    auto table = std::make_unique<CUpgradeTableWidget>(nullptr);
    table->FillTableHeader(columns());
    table->resize(WindowSize);
    table->show();
    settle();
    return table;
}

// The obvious form.
struct Plain
{
    QTableWidget table{0, 2};
    QList<CUpgradeProgress *> cells;

    Plain()
    {
        table.setColumnWidth(0, 360);
        table.verticalHeader()->setDefaultSectionSize(65);
        table.resize(WindowSize);
        table.show();
        settle();
    }
    void add(const QList<QVariant> &rows)
    {
        for (const QVariant &row : rows) {
            const int at = table.rowCount();
            table.insertRow(at);
            cells.append(new CUpgradeProgress(row));
            cells.constLast()->ensureBuilt();
            auto *info = new CSoftInfoItem(row);
            info->ensureBuilt();
            table.setCellWidget(at, 0, info);
            table.setCellWidget(at, 1, cells.constLast());
        }
    }
    void refresh(const QList<QVariant> &rows)
    {
        for (int i = 0; i < rows.size(); ++i)
            cells.at(i)->setUpgradeInfo(rows.at(i));
    }
};

void show(int count)
{
    const auto table = ours();
    QVariant rows = picture(count, 0);
    const size_t before = heap();
    const double ms = milliseconds([&] {
        table->onRefreshUpgradeDtats(rows);
        settle();
    });
    rows.clear(); // the table keeps what it needs of it
    std::cout << ms << ' ' << double(heap() - before) / count << std::endl;
}

void plain(int count)
{
    Plain plain;
    const QVariant rows = picture(count, 0);
    const size_t before = heap();
    const double ms = milliseconds([&] {
        plain.add(rows.toList());
        settle();
    });
    std::cout << ms << ' ' << double(heap() - before) / count << std::endl;
}

void same(int count)
{
    const auto table = ours();
    table->onRefreshUpgradeDtats(picture(count, 0));
    settle();
    PaintCounter counter;
    for (QWidget *widget : table->findChildren<QWidget *>())
        widget->installEventFilter(&counter);
    const QVariant rows = picture(count, 0); // equal, and not shared
    double ms = milliseconds([&] { table->onRefreshUpgradeDtats(rows); });
    settle();
    std::cout << ms << ' ' << counter.paints << std::endl;
}

void changed(int count)
{
    const auto table = ours();
    table->onRefreshUpgradeDtats(picture(count, 0));
    settle();
    const QVariant rows = picture(count, 500000);
    const double ms = milliseconds([&] {
        table->onRefreshUpgradeDtats(rows);
        settle();
    });
    std::cout << ms << std::endl;
}

void plainChanged(int count)
{
    Plain plain;
    plain.add(picture(count, 0).toList());
    settle();
    const QVariant rows = picture(count, 500000);
    const double ms = milliseconds([&] {
        plain.refresh(rows.toList());
        settle();
    });
    std::cout << ms << std::endl;
}

void poll(int count, int rounds)
{
    const auto table = ours();
    const auto once = [&](int round) {
        table->onRefreshUpgradeDtats(picture(count, round * 90));
        settle();
    };
    for (int round = 0; round < 100; ++round) // everything that is kept is there
        once(round);
    const size_t before = heap();
    const clock_t start = clock();
    for (int round = 0; round < rounds; ++round)
        once(round);
    const double cpu = double(clock() - start) * 1000 / CLOCKS_PER_SEC / rounds;
    std::cout << cpu << ' ' << (double(heap()) - double(before)) / 1024 << std::endl;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string order;
        int count = 0;
        int rounds = 0;
        words >> order >> count >> rounds;
        if (order == "show")
            show(count);
        else if (order == "plain")
            plain(count);
        else if (order == "same")
            same(count);
        else if (order == "changed")
            changed(count);
        else if (order == "plainchanged")
            plainChanged(count);
        else if (order == "poll")
            poll(count, rounds);
        else
            std::cout << "error" << std::endl;
    }
    return 0;
}
