// message_center FORM: the message center's window with $BENCH_MESSAGES messages ("ours"), or a list view with a delegate
// to compare with ("view"). Both fetch the records when they are created, and draw titles and texts in the same faces:
// both load the same font files, so that the ratio does not count them. One line of figures, then it ends:
//   FETCH FIRST_PAINT ALL LONGEST SCROLL_P95 EXPAND_P50 EXPAND_P95 READ_ALL KIB SECOND_PAINT
// times in milliseconds; EXPAND and READ_ALL are 0 for the view. FIRST_PAINT counts from the order to the first
// painted screen without the fetching, ALL to the last message being there, LONGEST is the longest event on the GUI thread
// after the first paint, KIB the growth of the process. SECOND_PAINT is the first paint of the next window.

#include "TimedApplication.h"
#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDlg.h"
#include "widgets/Look.h"

#include <QAbstractListModel>
#include <QFile>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStyledItemDelegate>

#include <algorithm>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <memory>

using namespace tarn::visualized;

namespace {

constexpr QSize WindowSize(760, 600);
constexpr int Pages = 100;
constexpr int Expansions = 200;
constexpr int Fetches = 7;

/// Notices the painting of a scroll area.
class PaintWatch final : public QObject
{
public:
    explicit PaintWatch(QObject *watched) { watched->installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        painted = painted || event->type() == QEvent::Paint;
        return false;
    }

    bool painted = false;
};

double milliseconds(qint64 ns)
{
    return double(ns) / 1e6;
}

double percentile(std::vector<double> times, size_t percent)
{
    if (times.empty())
        return 0;
    std::sort(times.begin(), times.end());
    return times[times.size() * percent / 100];
}

long ownKib()
{
    QFile file(QStringLiteral("/proc/self/smaps_rollup"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    long kib = 0;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("Private_"))
            kib += line.simplified().split(' ').value(1).toLong();
    }
    return kib;
}

void processUntil(const std::function<bool()> &done)
{
    while (!done())
        QCoreApplication::processEvents(
            QEventLoop::WaitForMoreEvents); // once: with a time it would go on after the end
}

/// The measured window, its scroll area, and the widget that paints there.
struct Form
{
    std::unique_ptr<QWidget> window;
    QAbstractScrollArea *area = nullptr;
    QWidget *painter = nullptr;
    std::function<bool()> isComplete = [] { return true; };
};

// Ours

Form makeOurs()
{
    Form form;
    form.window = std::make_unique<CMsgCenterDlg>(nullptr);
    auto *list = form.window->findChild<MessageList *>();
    form.area = list;
    form.painter = list->items().empty() ? form.window.get() : list->widget();
    const size_t count = size_t(qEnvironmentVariableIntValue("BENCH_MESSAGES"));
    form.isComplete = [list, count] { return list->items().size() == count; };
    return form;
}

// View

class Model final : public QAbstractListModel
{
public:
    explicit Model(QObject *parent)
        : QAbstractListModel(parent)
    {
        CMsgCenterDataMgr::GetMsgDataMgrInstance()->GetMessageRecords(m_messages);
    }
    int rowCount(const QModelIndex &) const override { return int(m_messages.size()); }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const sMsgData &message = m_messages[size_t(index.row())];
        return role == Qt::DisplayRole ? message.MsgTitle : role == Qt::UserRole ? message.MsgContent : QVariant();
    }

private:
    std::vector<sMsgData> m_messages;
};

class Delegate final : public QStyledItemDelegate
{
public:
    explicit Delegate(QWidget *parent)
        : QStyledItemDelegate(parent)
        , m_titleFont(look::yaHei(14, QFont::DemiBold, parent))
        , m_textFont(look::yaHei(13, QFont::Normal, parent))
    {
    }

    QSize sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const override { return {700, 98}; }
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QRect card = option.rect.adjusted(16, 4, -16, -4);
        painter->setRenderHint(QPainter::Antialiasing);
        painter->drawRoundedRect(card, 8, 8);
        painter->setFont(m_titleFont);
        painter->drawText(card.adjusted(28, 8, -60, -60), index.data(Qt::DisplayRole).toString());
        painter->setFont(m_textFont);
        painter->drawText(card.adjusted(28, 36, -60, -8), Qt::TextWordWrap, index.data(Qt::UserRole).toString());
    }

private:
    const QFont m_titleFont;
    const QFont m_textFont;
};

Form makeView()
{
    Form form;
    auto view = std::make_unique<QListView>();
    view->setFixedSize(WindowSize);
    view->setUniformItemSizes(true);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setItemDelegate(new Delegate(view.get()));
    view->setModel(new Model(view.get()));
    form.area = view.get();
    form.painter = view->viewport();
    form.window = std::move(view);
    return form;
}

double scrollP95(const Form &form)
{
    std::vector<double> times;
    QScrollBar *bar = form.area->verticalScrollBar();
    PaintWatch watch(form.painter);
    for (int i = 0; i < Pages && bar->value() < bar->maximum(); ++i) {
        watch.painted = false;
        QElapsedTimer timer;
        timer.start();
        bar->setValue(bar->value() + bar->pageStep());
        processUntil([&] { return watch.painted; });
        times.push_back(milliseconds(timer.nsecsElapsed()));
    }
    bar->setValue(0);
    QCoreApplication::processEvents();
    return percentile(times, 95);
}

std::vector<double> expandTimes(const Form &form)
{
    std::vector<double> times;
    auto *list = static_cast<MessageList *>(form.area);
    const size_t count = std::min<size_t>(Expansions + 1, list->items().size());
    for (size_t i = 0; i < count; ++i) {
        CMessageListItem *item = list->items()[i];
        list->ensureWidgetVisible(item);
        QCoreApplication::processEvents();
        PaintWatch watch(item);
        QElapsedTimer timer;
        timer.start();
        item->OnArrowBtnClicked();
        processUntil([&] { return watch.painted; });
        if (i > 0) // the first row also loads the shared resources
            times.push_back(milliseconds(timer.nsecsElapsed()));
    }
    return times;
}

double readAllTime(const Form &form)
{
    QElapsedTimer timer;
    timer.start();
    form.window->findChild<QPushButton *>(QStringLiteral("readAllButton"))->click();
    QCoreApplication::processEvents();
    return milliseconds(timer.nsecsElapsed());
}

// The median of several, measured beside the opening that it is taken off; each gets its memory from the system, as there.
double fetchTime()
{
    std::vector<double> times;
    for (int i = 0; i < Fetches; ++i) {
        malloc_trim(0);
        std::vector<sMsgData> messages;
        QElapsedTimer timer;
        timer.start();
        CMsgCenterDataMgr::GetMsgDataMgrInstance()->GetMessageRecords(messages);
        times.push_back(milliseconds(timer.nsecsElapsed()));
    }
    return percentile(times, 50);
}

void measure(TimedApplication &application, const QString &name)
{
    const bool isOurs = name == QLatin1String("ours");
    fetchTime();    // loads the library
    QWidget warmUp; // the first window of a process pays for fonts and the connection
    warmUp.show();
    processUntil([&] { return warmUp.isVisible(); });
    warmUp.hide();
    const long before = ownKib();

    double fetch = 0;
    const auto open = [&](Form *form) {
        fetch = fetchTime();
        malloc_trim(0);
        QElapsedTimer timer;
        timer.start();
        *form = isOurs ? makeOurs() : makeView();
        const PaintWatch watch(form->painter);
        form->window->show();
        processUntil([&] { return watch.painted; });
        return milliseconds(timer.nsecsElapsed()) - fetch;
    };
    Form form;
    const double firstPaint = open(&form);
    application.longestNs = 0;
    QElapsedTimer rest;
    rest.start();
    processUntil(form.isComplete);
    const double all = firstPaint + milliseconds(rest.nsecsElapsed());
    const double longest = milliseconds(application.longestNs);
    const long grown = ownKib() - before;

    const double scroll = scrollP95(form);
    const std::vector<double> expand = isOurs ? expandTimes(form) : std::vector<double>();
    const double readAll = isOurs ? readAllTime(form) : 0;
    form.window.reset();
    const double secondPaint = open(&form);
    std::cout << fetch << ' ' << firstPaint << ' ' << all << ' ' << longest << ' ' << scroll << ' '
              << percentile(expand, 50) << ' ' << percentile(expand, 95) << ' ' << readAll << ' ' << grown << ' '
              << secondPaint << std::endl;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_XCB_GL_INTEGRATION", "none"); // as the host does
    TimedApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    measure(application, application.arguments().value(1));
    return 0;
}
