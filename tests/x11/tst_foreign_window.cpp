#include "support/LogCatcher.h"
#include "support/XClients.h"
#include "widgets/Toolkit.h"
#include <QDialog>
#include <QDir>
#include <QTest>
#include <limits>

#include <X11/Xlib.h>
#undef None
#undef Bool

using ServiceVisualized::CToolkit;

namespace {

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
        XServer client;
        QDialog dialog;
        dialog.setGeometry(5, 6, 400, 300);
        const auto placed = [&](const QRect &parent, int offset) {
            const LogCatcher logs;
            CToolkit::MoveToParentCenter(&dialog, handle(client.open(parent, false)), offset);
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
        XServer client;
        const quint32 frame = client.open(QRect(300, 200, 820, 640), false);
        const quint32 inner = client.open(QRect(10, 30, 800, 600), false, frame);
        QDialog dialog;
        dialog.setGeometry(0, 0, 400, 300);
        CToolkit::MoveToParentCenter(&dialog, handle(inner), 0);
        QCOMPARE(dialog.pos(), QPoint(300 + 10 + 200, 200 + 30 + 150));
    }

    void unreadable_data()
    {
        QTest::addColumn<quint64>("id");
        XServer client;
        const quint32 stale = client.open(QRect(10, 10, 100, 100), false);
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
        XServer client;
        CToolkit::MoveToParentCenter(&dialog, handle(0xffffffff), 0);
        CToolkit::MoveToParentCenter(&dialog, handle(client.open(QRect(0, 0, 10, 10), false)), 0);
        QVERIFY(XSetErrorHandler(before) == &ourHandler);
    }

    void nothingLeaks()
    {
        XServer client;
        const quint32 window = client.open(QRect(0, 0, 10, 10), false);
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
