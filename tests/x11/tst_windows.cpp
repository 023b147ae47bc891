#include "message/NotifyWnd.h"
#include "support/XClients.h"
#include "support/Xdotool.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include <QApplication>
#include <QProcess>
#include <QScreen>
#include <QTest>
#include <QWindow>

using namespace tarn::visualized;

namespace {

// A frameless window, like those of the service.
class Plain : public QDialog
{
public:
    explicit Plain(const QRect &where)
    {
        look::prepareWindow(this, "窗口");
        setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
        setGeometry(where);
    }
};

quint32 idOf(const QWidget &window)
{
    return quint32(window.windowHandle()->winId()); // QWidget::winId() is stale after flags have changed
}

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT
private slots:
    void init() { QVERIFY(xdotoolAt(QPoint(1900, 1060))); } // the cursor marks nothing

    void boxesAreDraggedByTheTitleBar()
    {
        CustomMessageBox notice("提示", "甲", eTipNormal, nullptr);
        QuestionMessageBox question("提示", "甲", nullptr);
        for (QDialog *box : {static_cast<QDialog *>(&notice), static_cast<QDialog *>(&question)}) {
            box->show();
            QVERIFY(QTest::qWaitForWindowActive(box));
            const QPoint start = placeOf(*box).topLeft();
            const QPoint grip = start + box->findChild<CustomTitleBar *>()->geometry().center();
            xdotoolAt(grip, {"mousedown", "1"});
            for (int step = 1; step <= 8; step++)
                xdotoolAt(grip + QPoint(20, -9) * step);
            QTRY_COMPARE(placeOf(*box).topLeft(), start + QPoint(160, -72));
            QTRY_COMPARE(box->pos(), start + QPoint(160, -72));
            xdotool({"mouseup", "1"});
            box->close();
        }
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
        other.raise();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other)); // else the activation comes after the next step
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
        CTimingMessageBox box("已复制", 60000, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QVERIFY(!box.mask().isEmpty());
        QProcess compositor;
        compositor.start("xcompmgr", QStringList());
        QTRY_VERIFY(box.mask().isEmpty());
        compositor.kill();
        QVERIFY(compositor.waitForFinished());
        QTRY_VERIFY(!box.mask().isEmpty());
    }

    // A panel takes its room on one axis of the screen.
    void noticeStaysBesideThePanel()
    {
        NotifyWnd notice(nullptr);
        notice.setAttribute(Qt::WA_DeleteOnClose, false);
        notice.show();
        const QScreen *screen = QGuiApplication::primaryScreen();
        const QRect whole = screen->geometry();
        const QPair<QPoint, QVector<quint32>> panels[] = {
            {{0, 40}, {0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 1919}}, // at the lower edge
            {{60, 0}, {60, 0, 0, 0, 0, 1079}}};                  // at the left one
        for (const auto &[taken, strut] : panels) {
            const xcb_window_t panel = m_server.open(QRect(0, 0, 10, 10), true);
            xcb_change_property(m_server.connection(), XCB_PROP_MODE_REPLACE, panel,
                                m_server.atom("_NET_WM_STRUT_PARTIAL"), XCB_ATOM_CARDINAL, 32, 12,
                                QVector<quint32>(strut + QVector<quint32>(6)).constData());
            m_server.focus(); // all of it is sent
            QTRY_COMPARE(screen->availableGeometry().width(), whole.width() - taken.x());
            QTRY_COMPARE(screen->availableGeometry().height(), whole.height() - taken.y());
            notice.DpiChanged(120);
            QTRY_COMPARE(placeOf(notice).bottomRight(), whole.bottomRight() - taken - QPoint(10, 10));
            m_server.destroy(panel);
            QTRY_COMPARE(screen->availableGeometry(), whole);
        }
    }

private:
    // Where it really is: Qt can be left with a position from before the window manager framed the window.
    QRect placeOf(const QWidget &window) const { return m_server.place(idOf(window)); }
    // The place of a number in a property; -1 if it is not there.
    int indexIn(xcb_window_t window, const QByteArray &property, quint32 number) const
    {
        return m_server.property(window, property)
            .indexOf(QByteArray(reinterpret_cast<char *>(&number), sizeof number));
    }
    bool isOver(const QWidget &upper, const QWidget &lower) const
    {
        const auto height = [this](const QWidget &window) {
            return indexIn(m_server.root(), "_NET_CLIENT_LIST_STACKING", idOf(window));
        };
        return height(lower) >= 0 && height(upper) > height(lower);
    }
    bool isAbove(const QWidget &window) const
    {
        return indexIn(idOf(window), "_NET_WM_STATE", m_server.atom("_NET_WM_STATE_ABOVE")) >= 0;
    }

    const XServer m_server;
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
