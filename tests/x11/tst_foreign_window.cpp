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
    void init() { m_dialog.setGeometry(5, 6, 400, 300); }

    void centres()
    {
        const auto placed = [&](const QRect &parent, int offset) {
            const LogCatcher logs;
            centre(m_client.open(parent, false), offset);
            const QString line = QStringLiteral("DPI:1 L:%1 T:%2").arg(parent.x()).arg(parent.y());
            return logs.texts(QtInfoMsg) == QStringList(line) ? m_dialog.geometry() : QRect();
        };
        QCOMPARE(placed(QRect(300, 200, 800, 600), 20), QRect(480, 330, 400, 300));
        QCOMPARE(placed(QRect(301, 203, 801, 601), 0), QRect(501, 353, 400, 300));
        QCOMPARE(placed(QRect(-500, -100, 800, 600), 0), QRect(-300, 50, 400, 300));
        // As below a window manager's frame: the origin counts from the root, not from the frame.
        const quint32 frame = m_client.open(QRect(300, 200, 820, 640), false);
        centre(m_client.open(QRect(10, 30, 800, 600), false, frame));
        QCOMPARE(m_dialog.pos(), QPoint(300 + 10 + 200, 200 + 30 + 150));
    }

    // Also Xlib's error handler, which ends the process, is the host's again, and nothing leaks.
    void unreadable()
    {
        const quint32 stale = m_client.open(QRect(10, 10, 100, 100), false);
        m_client.destroy(stale);
        const XErrorHandler before = XSetErrorHandler(ourHandler);
        const int files = openFiles();
        for (const quintptr id : {quintptr(stale), quintptr(0xffffffff), (quintptr(1) << 32) | m_client.root(),
                                  std::numeric_limits<quintptr>::max()}) {
            const LogCatcher logs;
            centre(id);
            QCOMPARE(logs.texts(QtWarningMsg), QStringList(QStringLiteral("XGetWindowAttributes error")));
            QCOMPARE(m_dialog.geometry(), QRect(5, 6, 400, 300));
        }
        centre(m_client.open(QRect(0, 0, 10, 10), false));
        QCOMPARE(openFiles(), files);
        QVERIFY(XSetErrorHandler(before) == &ourHandler);
    }

private:
    void centre(quintptr id, int offset = 0)
    {
        CToolkit::MoveToParentCenter(&m_dialog, reinterpret_cast<void *>(id), offset);
    }

    const XServer m_client;
    QDialog m_dialog;
};

QTEST_MAIN(TestForeignWindow)
#include "tst_foreign_window.moc"
