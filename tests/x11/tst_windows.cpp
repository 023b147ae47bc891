#include "support/XClients.h"
#include "support/XInput.h"
#include "support/XReply.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/QuestionMessageBox.h"
#include "widgets/TimingMessageBox.h"
#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QWindow>
#include <xcb/xcb.h>

using namespace tarn::visualized;

namespace {

constexpr uint32_t KeyReturn = 0xff0d;
constexpr uint32_t KeyTab = 0xff09;
constexpr uint32_t KeyEscape = 0xff1b;
constexpr uint32_t KeySpace = 0x20;

// A frameless window, like those of the service.
class Plain : public QDialog
{
public:
    explicit Plain(const QRect &where)
    {
        look::prepareWindow(this, QStringLiteral("窗口"));
        setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
        setGeometry(where);
    }
};

// Properties of windows and of the root, as the window manager sees them.
class Desktop final
{
public:
    Desktop()
        : m_connection(xcb_connect(nullptr, nullptr))
        , m_root(xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root)
    {
    }
    ~Desktop() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(Desktop)

    // Whether one window, in its frame if it has one, is stacked over another.
    bool isOver(const QWidget &upper, const QWidget &lower) const
    {
        const XReply<xcb_query_tree_reply_t> tree(queryTree(m_root));
        const QVector<quint32> stack(xcb_query_tree_children(tree.get()),
                                     xcb_query_tree_children(tree.get()) + tree->children_len);
        const int lowerIndex = stack.indexOf(outermost(lower));
        return lowerIndex >= 0 && stack.indexOf(outermost(upper)) > lowerIndex;
    }
    // Takes the part of a compositing manager, or gives it up. @return whether there was no other one
    bool ownCompositing(bool own)
    {
        const xcb_atom_t selection = atom("_NET_WM_CM_S0");
        const XReply<xcb_get_selection_owner_reply_t> owner(
            xcb_get_selection_owner_reply(m_connection, xcb_get_selection_owner(m_connection, selection), nullptr));
        if (own && owner && owner->owner != 0)
            return false;
        if (own && !m_window) {
            m_window = xcb_generate_id(m_connection);
            xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, m_root, 0, 0, 1, 1, 0,
                              XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        }
        xcb_set_selection_owner(m_connection, own ? m_window : 0, selection, XCB_CURRENT_TIME);
        return xcb_flush(m_connection) > 0;
    }
    bool isAbove(quint32 window) const { return values(window, "_NET_WM_STATE").contains(atom("_NET_WM_STATE_ABOVE")); }

private:
    xcb_query_tree_reply_t *queryTree(quint32 window) const
    {
        return xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr);
    }
    quint32 outermost(const QWidget &window) const
    {
        quint32 id = quint32(window.windowHandle()->winId());
        for (XReply<xcb_query_tree_reply_t> tree(queryTree(id)); tree && tree->parent != m_root;) {
            id = tree->parent;
            tree.reset(queryTree(id));
        }
        return id;
    }
    xcb_atom_t atom(const QByteArray &name) const
    {
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, 0, uint16_t(name.size()), name.constData()), nullptr));
        return reply ? reply->atom : 0;
    }
    QVector<quint32> values(quint32 window, const QByteArray &property) const
    {
        const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, atom(property), XCB_ATOM_ANY, 0, 1024), nullptr));
        QVector<quint32> result;
        const auto *data = reply ? static_cast<const quint32 *>(xcb_get_property_value(reply.get())) : nullptr;
        for (int i = 0; reply && i < xcb_get_property_value_length(reply.get()) / 4; i++)
            result.append(data[i]);
        return result;
    }
    xcb_connection_t *m_connection;
    quint32 m_root;
    quint32 m_window = 0;
};

quint32 idOf(const QWidget &window)
{
    return quint32(window.windowHandle()->winId()); // QWidget::winId() is stale after flags have changed
}

// Until it is active: an activation on its way would come after whatever the test does next.
void comeUp(QWidget *window)
{
    window->show();
    window->raise();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
}

// Where it really is: Qt can be left with a position from before the window manager framed the window.
QRect placeOf(const QWidget &window)
{
    return xclients::byRole(window.windowRole()).geometry;
}

QPoint inRoot(const QWidget &window, const QWidget &child)
{
    return placeOf(window).topLeft() + child.mapTo(&window, child.rect().center());
}

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QVERIFY(m_input.isValid());
        m_input.move(1900, 1060); // the cursor marks nothing
    }

    void dragByTheTitleBar()
    {
        CustomMessageBox box(QStringLiteral("提示"), QStringLiteral("甲"), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowActive(&box));
        const auto *bar = box.findChild<CustomTitleBar *>();
        const QPoint start = placeOf(box).topLeft();
        const QPoint grip = inRoot(box, *bar);
        m_input.move(grip.x(), grip.y());
        m_input.press();
        for (int step = 1; step <= 8; step++)
            m_input.move(grip.x() + 20 * step, grip.y() - 9 * step);
        QTRY_COMPARE(placeOf(box).topLeft(), start + QPoint(160, -72));
        QTRY_COMPARE(box.pos(), start + QPoint(160, -72));
        m_input.release();
        m_input.move(grip.x(), grip.y());
        QTRY_COMPARE(QCursor::pos(), grip);
        QCOMPARE(placeOf(box).topLeft(), start + QPoint(160, -72)); // released: it stays

        // A press on the close button closes, and drags nothing.
        const QPoint corner = inRoot(box, *box.findChild<QPushButton *>(QStringLiteral("closeButton")));
        m_input.click(corner.x(), corner.y());
        QTRY_VERIFY(!box.isVisible());
    }

    void frontAboveOthers()
    {
        Plain other(QRect(200, 200, 600, 400));
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        auto *window = new Plain(QRect(300, 300, 300, 200));
        const QPointer<QWidget> alive(window);
        front::bringToFront(window);
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTRY_VERIFY(m_desktop.isOver(*window, other));
        QTRY_VERIFY(!m_desktop.isAbove(idOf(*window)));
        // Not pinned: another one can come above it.
        const quint32 id = idOf(*window);
        comeUp(&other);
        QTRY_VERIFY(m_desktop.isOver(other, *window));
        front::raiseOnce(window);
        QVERIFY(QTest::qWaitForWindowActive(window)); // the last step: before it the stacking changes three times
        QTRY_VERIFY(m_desktop.isOver(*window, other));
        QCOMPARE(idOf(*window), id); // the same X window
        window->close();
        QTRY_VERIFY(!alive);
    }

    // The margin of the shadow would be black without a compositor, which may start and end under the window.
    void maskFollowsTheCompositor()
    {
        CTimingMessageBox box(QStringLiteral("已复制"), 60000, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        if (!m_desktop.ownCompositing(true))
            QSKIP("this desktop has a compositing manager");
        QTRY_VERIFY(box.mask().isEmpty());
        m_desktop.ownCompositing(false);
        QTRY_VERIFY(!box.mask().isEmpty());
    }

    void boxByKeyboard()
    {
        QuestionMessageBox box(QStringLiteral("提示"), QStringLiteral("确定要取消升级吗？"), nullptr);
        QSignalSpy finished(&box, &QDialog::finished);
        box.show();
        QVERIFY(QTest::qWaitForWindowActive(&box));
        m_input.key(KeyReturn);
        m_input.key(KeySpace);
        m_input.key(KeyTab);
        QTRY_COMPARE(QApplication::focusWidget(), box.findChild<QPushButton *>(QStringLiteral("okButton")));
        QCOMPARE(finished.count(), 0);
        m_input.key(KeyTab);
        QTRY_COMPARE(QApplication::focusWidget(), box.findChild<QPushButton *>(QStringLiteral("cancelButton")));
        m_input.key(KeyReturn);
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(box.result(), 0);

        CustomMessageBox notice(QStringLiteral("提示"), QStringLiteral("甲"), eTipNormal, nullptr);
        notice.show();
        QVERIFY(QTest::qWaitForWindowActive(&notice));
        m_input.key(KeyEscape);
        QTRY_VERIFY(!notice.isVisible());
    }

    void boxesAreNotTheHostsLast()
    {
        QVERIFY(QGuiApplication::quitOnLastWindowClosed());
        const QSignalSpy ended(qApp, &QGuiApplication::lastWindowClosed);
        const auto closeTheBox = [] { QApplication::activeModalWidget()->close(); };
        const auto all = [&] {
            CstmTimingMessageBox(QStringLiteral("甲"), 50, nullptr);
            QTimer::singleShot(0, closeTheBox);
            CstmMessageBox(QStringLiteral("提示"), QStringLiteral("甲"), eTipNormal, nullptr, nullptr);
            QTimer::singleShot(0, closeTheBox);
            CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("甲"), nullptr);
            const QPointer<QWidget> front(new Plain(QRect(300, 300, 300, 200)));
            front::bringToFront(front);
            QVERIFY(QTest::qWaitForWindowExposed(front));
            front->close();
            QTRY_VERIFY(!front);
        };
        // Qt tells of the last window while the host's own loop runs only.
        QTimer::singleShot(0, [&] {
            all();
            QCoreApplication::exit();
        });
        QApplication::exec();
        QCOMPARE(ended.count(), 0);
    }

    void middleButtonSelection()
    {
        Plain page(QRect(300, 300, 300, 200));
        CCustomLineEdit edit(&page);
        edit.setGeometry(10, 10, 200, 30);
        edit.setText(QStringLiteral("geheim"));
        edit.setPasswordField(true);
        page.show();
        QVERIFY(QTest::qWaitForWindowActive(&page));
        const auto selection = [] { return QGuiApplication::clipboard()->mimeData(QClipboard::Selection); };
        const auto doubleClick = [&edit] { // selects
            QTest::mouseDClick(&edit, Qt::LeftButton, Qt::NoModifier, QPoint(20, 15));
            QTest::mouseRelease(&edit, Qt::LeftButton, Qt::NoModifier, QPoint(20, 15));
        };
        doubleClick();
        QCOMPARE(edit.selectedText().size(), 6);
        QVERIFY(!selection() || !selection()->text().contains(QStringLiteral("geheim")));
        edit.deselect();
        edit.setEchoMode(QLineEdit::Normal);
        doubleClick();
        QCOMPARE(edit.selectedText(), QStringLiteral("geheim"));
        QTRY_COMPARE(selection()->data(QStringLiteral("x-kde-passwordManagerHint")), QByteArray("secret"));
        QCOMPARE(selection()->text(), QStringLiteral("geheim"));
    }

private:
    XInput m_input;
    Desktop m_desktop;
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
