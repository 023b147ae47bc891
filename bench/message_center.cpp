// message_center FORM: the message center's window with $BENCH_MESSAGES messages, or a form of the same list to compare
// with: "ours", "composite" (eight widgets a message in one layout) or "view" (a list view with a delegate). One line of
// figures, then it ends:
//   FETCH FIRST_PAINT ALL LONGEST SCROLL_P95 EXPAND_P95 READ_ALL KIB
// times in milliseconds; FETCH, EXPAND_P95 and READ_ALL are 0 for the other forms. FIRST_PAINT counts from the order to
// the first painted screen without the fetching, ALL to the last message being there, LONGEST is the longest event on
// the GUI thread after the first paint, KIB what the process has grown by.

#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDlg.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>

namespace {

constexpr QSize WindowSize(760, 600);
constexpr int Pages = 100;
constexpr int Expansions = 40;

/// Remembers the longest event that it delivered.
class TimedApplication final : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (m_depth++ > 0) {
            const bool done = QApplication::notify(receiver, event);
            --m_depth;
            return done;
        }
        QElapsedTimer timer;
        timer.start();
        const bool done = QApplication::notify(receiver, event);
        longestNs = std::max(longestNs, timer.nsecsElapsed());
        --m_depth;
        return done;
    }

    qint64 longestNs = 0;

private:
    int m_depth = 0;
};

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

double p95(std::vector<double> times)
{
    if (times.empty())
        return 0;
    std::sort(times.begin(), times.end());
    return times[times.size() * 95 / 100];
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
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 5);
}

/// What is measured: a window, its scroll area, and what paints there.
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

// Composite

QString cardSheet()
{
    return QStringLiteral("#card{border:1px solid #dfe1e3;border-radius:8px;background-color:#fdfcfc;}");
}

QWidget *makeCard(const sMsgData &message, QWidget *parent)
{
    auto *card = new QWidget(parent);
    card->setObjectName(QStringLiteral("card"));
    card->setAttribute(Qt::WA_StyledBackground);
    card->setStyleSheet(cardSheet());
    auto *dot = new QLabel(card);
    dot->setPixmap(QIcon(QStringLiteral(":/images/images/Unread.svg")).pixmap(8, 8));
    auto *title = new QLabel(message.MsgTitle, card);
    auto *time = new QLabel(message.MsgDateTime, card);
    auto *arrow = new QToolButton(card);
    arrow->setIcon(QIcon(QStringLiteral(":/images/images/gather.svg")));
    auto *body = new QLabel(message.MsgContent, card);
    body->setWordWrap(true);
    auto *link = new QLabel(message.LinkText, card);
    auto *bin = new QToolButton(card);
    bin->setIcon(QIcon(QStringLiteral(":/images/images/delete.svg")));
    auto *column = new QVBoxLayout(card);
    auto *head = new QHBoxLayout;
    head->addWidget(dot);
    head->addWidget(title, 1);
    head->addWidget(time);
    head->addWidget(arrow);
    column->addLayout(head);
    column->addWidget(body);
    auto *foot = new QHBoxLayout;
    foot->addWidget(link, 1);
    foot->addWidget(bin);
    column->addLayout(foot);
    return card;
}

Form makeComposite(const std::vector<sMsgData> &messages)
{
    Form form;
    auto area = std::make_unique<QScrollArea>();
    area->setFixedSize(WindowSize);
    area->setWidgetResizable(true);
    auto *content = new QWidget;
    auto *column = new QVBoxLayout(content);
    for (const sMsgData &message : messages)
        column->addWidget(makeCard(message, content));
    area->setWidget(content);
    form.area = area.get();
    form.painter = content;
    form.window = std::move(area);
    return form;
}

// View

class Model final : public QAbstractListModel
{
public:
    explicit Model(const std::vector<sMsgData> &messages, QObject *parent)
        : QAbstractListModel(parent)
        , m_messages(messages)
    {
    }
    int rowCount(const QModelIndex &) const override { return int(m_messages.size()); }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const sMsgData &message = m_messages[size_t(index.row())];
        return role == Qt::DisplayRole ? message.MsgTitle : role == Qt::UserRole ? message.MsgContent : QVariant();
    }

private:
    const std::vector<sMsgData> &m_messages;
};

class Delegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const override { return {700, 98}; }
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QRect card = option.rect.adjusted(16, 4, -16, -4);
        painter->setRenderHint(QPainter::Antialiasing);
        painter->drawRoundedRect(card, 8, 8);
        painter->drawText(card.adjusted(28, 8, -60, -60), index.data(Qt::DisplayRole).toString());
        painter->drawText(card.adjusted(28, 36, -60, -8), Qt::TextWordWrap, index.data(Qt::UserRole).toString());
    }
};

Form makeView(const std::vector<sMsgData> &messages)
{
    Form form;
    auto view = std::make_unique<QListView>();
    view->setFixedSize(WindowSize);
    view->setUniformItemSizes(true);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setItemDelegate(new Delegate(view.get()));
    view->setModel(new Model(messages, view.get()));
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
    return p95(times);
}

double expandP95(const Form &form)
{
    std::vector<double> times;
    auto *list = static_cast<MessageList *>(form.area);
    const size_t count = std::min<size_t>(Expansions, list->items().size());
    for (size_t i = 0; i < count; ++i) {
        CMessageListItem *item = list->items()[i];
        list->ensureWidgetVisible(item);
        QCoreApplication::processEvents();
        PaintWatch watch(item);
        QElapsedTimer timer;
        timer.start();
        item->OnArrowBtnClicked();
        processUntil([&] { return watch.painted; });
        times.push_back(milliseconds(timer.nsecsElapsed()));
    }
    return p95(times);
}

double readAllTime(const Form &form)
{
    QElapsedTimer timer;
    timer.start();
    form.window->findChild<QPushButton *>(QStringLiteral("readAllButton"))->click();
    QCoreApplication::processEvents();
    return milliseconds(timer.nsecsElapsed());
}

double fetchTime(std::vector<sMsgData> &messages)
{
    CMsgCenterDataMgr::GetMsgDataMgrInstance()->GetMessageRecords(messages); // loads the library
    messages.clear();
    QElapsedTimer timer;
    timer.start();
    CMsgCenterDataMgr::GetMsgDataMgrInstance()->GetMessageRecords(messages);
    return milliseconds(timer.nsecsElapsed());
}

void measure(TimedApplication &application, const QString &name)
{
    std::vector<sMsgData> messages;
    const bool isOurs = name == QLatin1String("ours");
    const double fetch = fetchTime(messages);
    if (isOurs) {
        messages.clear();
        messages.shrink_to_fit();
    }
    QWidget warmUp; // the first window of a process pays for fonts and the connection
    warmUp.show();
    processUntil([&] { return warmUp.isVisible(); });
    warmUp.hide();
    const long before = ownKib();

    QElapsedTimer timer;
    timer.start();
    const Form form = isOurs                               ? makeOurs()
                      : name == QLatin1String("composite") ? makeComposite(messages)
                                                           : makeView(messages);
    PaintWatch watch(form.painter);
    form.window->show();
    processUntil([&] { return watch.painted; });
    const double firstPaint = milliseconds(timer.nsecsElapsed()) - (isOurs ? fetch : 0);
    application.longestNs = 0;
    processUntil(form.isComplete);
    const double all = milliseconds(timer.nsecsElapsed()) - (isOurs ? fetch : 0);
    const double longest = milliseconds(application.longestNs);
    const long grown = ownKib() - before;

    const double scroll = scrollP95(form);
    const double expand = isOurs ? expandP95(form) : 0;
    const double readAll = isOurs ? readAllTime(form) : 0;
    std::cout << (isOurs ? fetch : 0) << ' ' << firstPaint << ' ' << all << ' ' << longest << ' ' << scroll << ' '
              << expand << ' ' << readAll << ' ' << grown << std::endl;
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
