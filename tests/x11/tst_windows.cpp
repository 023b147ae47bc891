#include "support/XClients.h"
#include "support/XInput.h"
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
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QWindow>

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

quint32 idOf(const QWidget &window)
{
    return quint32(window.windowHandle()->winId()); // QWidget::winId() is stale after flags have changed
}

// The window or the frame around it, a child of the root.
xcb_window_t outermost(const XServer &server, const QWidget &window)
{
    xcb_window_t id = idOf(window);
    for (xcb_window_t parent = server.parent(id); parent && parent != server.root(); parent = server.parent(id))
        id = parent;
    return id;
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
        QTRY_VERIFY(isOver(*window, other));
        QTRY_VERIFY(!isAbove(*window));
        // Not pinned: another one can come above it.
        const quint32 id = idOf(*window);
        comeUp(&other);
        QTRY_VERIFY(isOver(other, *window));
        front::raiseOnce(window);
        QVERIFY(QTest::qWaitForWindowActive(window)); // the last step: before it the stacking changes three times
        QTRY_VERIFY(isOver(*window, other));
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
        QVERIFY(!box.mask().isEmpty());
        QProcess compositor;
        compositor.start(QStringLiteral("xcompmgr"), QStringList());
        QTRY_VERIFY(box.mask().isEmpty());
        compositor.kill();
        QVERIFY(compositor.waitForFinished());
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
    bool isOver(const QWidget &upper, const QWidget &lower) const
    {
        const QVector<xcb_window_t> stack = m_server.children(m_server.root());
        const int lowerIndex = stack.indexOf(outermost(m_server, lower));
        return lowerIndex >= 0 && stack.indexOf(outermost(m_server, upper)) > lowerIndex;
    }
    bool isAbove(const QWidget &window) const
    {
        const xcb_atom_t above = m_server.atom("_NET_WM_STATE_ABOVE");
        return m_server.property(idOf(window), "_NET_WM_STATE")
            .contains(QByteArray(reinterpret_cast<const char *>(&above), sizeof above));
    }

    XInput m_input;
    XServer m_server;
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
