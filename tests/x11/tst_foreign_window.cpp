#include "support/LogCatcher.h"
#include "support/XReply.h"
#include "widgets/Toolkit.h"
#include <QDialog>
#include <QDir>
#include <QTest>
#include <limits>
#include <xcb/xcb.h>

#include <X11/Xlib.h>
#undef None
#undef Bool

using ServiceVisualized::CToolkit;

namespace {

// Windows of another client of the X server, unmanaged so that they stay where they are put.
class ForeignClient final
{
public:
    ForeignClient()
        : m_connection(xcb_connect(nullptr, nullptr))
        , m_root(xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root)
    {
    }
    ~ForeignClient() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(ForeignClient)

    quint32 root() const { return m_root; }
    quint32 make(const QRect &where, quint32 parent = 0)
    {
        const quint32 id = xcb_generate_id(m_connection);
        const uint32_t unmanaged = 1;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, id, parent ? parent : m_root, int16_t(where.x()),
                          int16_t(where.y()), uint16_t(where.width()), uint16_t(where.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
        xcb_map_window(m_connection, id);
        sync();
        return id;
    }
    void destroy(quint32 id)
    {
        xcb_destroy_window(m_connection, id);
        sync();
    }

private:
    void sync()
    {
        const XReply<xcb_get_input_focus_reply_t> done(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    xcb_connection_t *m_connection;
    quint32 m_root;
};

void *handle(quintptr id)
{
    return reinterpret_cast<void *>(id);
}

int openFiles()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
}

int ourHandler(Display *, XErrorEvent *)
{
    return 0;
}

} // namespace

// Runs under Qt's X plug-in and under the offscreen one.
class TestForeignWindow : public QObject
{
    Q_OBJECT
private slots:

    void centres()
    {
        ForeignClient client;
        QDialog dialog;
        dialog.setGeometry(5, 6, 400, 300);
        const auto placed = [&](const QRect &parent, int offset) {
            const LogCatcher logs;
            CToolkit::MoveToParentCenter(&dialog, handle(client.make(parent)), offset);
            const QString line = QStringLiteral("DPI:1 L:%1 T:%2").arg(parent.x()).arg(parent.y());
            return logs.texts(QtInfoMsg) == QStringList(line) ? dialog.geometry() : QRect();
        };
        QCOMPARE(placed(QRect(300, 200, 800, 600), 20), QRect(480, 330, 400, 300));
        QCOMPARE(placed(QRect(301, 203, 801, 601), 0), QRect(501, 353, 400, 300));
        QCOMPARE(placed(QRect(-500, -100, 800, 600), 0), QRect(-300, 50, 400, 300));
    }

    void nestedWindow()
    {
        // As below a window manager's frame: the origin counts from the root, not from the frame.
        ForeignClient client;
        const quint32 frame = client.make(QRect(300, 200, 820, 640));
        const quint32 inner = client.make(QRect(10, 30, 800, 600), frame);
        QDialog dialog;
        dialog.setGeometry(0, 0, 400, 300);
        CToolkit::MoveToParentCenter(&dialog, handle(inner), 0);
        QCOMPARE(dialog.pos(), QPoint(300 + 10 + 200, 200 + 30 + 150));
    }

    void unreadable_data()
    {
        QTest::addColumn<quint64>("id");
        ForeignClient client;
        const quint32 stale = client.make(QRect(10, 10, 100, 100));
        client.destroy(stale);
        QTest::newRow("stale") << quint64(stale);
        QTest::newRow("never an id") << quint64(0xffffffff);
        QTest::newRow("beyond 32 bits, with the root's number below") << ((quint64(1) << 32) | client.root());
        QTest::newRow("largest") << std::numeric_limits<quint64>::max();
    }

    void unreadable()
    {
        QFETCH(quint64, id);
        QDialog dialog;
        dialog.setGeometry(5, 6, 400, 300);
        const LogCatcher logs;
        CToolkit::MoveToParentCenter(&dialog, handle(id), 0);
        QCOMPARE(logs.texts(QtWarningMsg), QStringList(QStringLiteral("XGetWindowAttributes error")));
        QCOMPARE(dialog.geometry(), QRect(5, 6, 400, 300));
    }

    void handlerComesBack()
    {
        const XErrorHandler before = XSetErrorHandler(ourHandler);
        QDialog dialog;
        ForeignClient client;
        CToolkit::MoveToParentCenter(&dialog, handle(0xffffffff), 0);
        CToolkit::MoveToParentCenter(&dialog, handle(client.make(QRect(0, 0, 10, 10))), 0);
        QVERIFY(XSetErrorHandler(before) == &ourHandler);
    }

    void nothingLeaks()
    {
        ForeignClient client;
        const quint32 window = client.make(QRect(0, 0, 10, 10));
        QDialog dialog;
        const int before = openFiles();
        for (int i = 0; i < 10; i++) {
            CToolkit::MoveToParentCenter(&dialog, handle(window), 0);
            CToolkit::MoveToParentCenter(&dialog, handle(0xffffffff), 0);
        }
        QCOMPARE(openFiles(), before);
    }
};

QTEST_MAIN(TestForeignWindow)
#include "tst_foreign_window.moc"
