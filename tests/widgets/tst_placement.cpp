#include "support/LogCatcher.h"
#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include "widgets/dpitoolkit.h"
#include <QApplication>
#include <QDialog>
#include <QScreen>
#include <QTest>
#include <climits>

using namespace tarn::visualized;

using ServiceVisualized::CToolkit;
using Utils::DpiToolkit;

class CNamedDialog final : public QDialog
{
    Q_OBJECT
};

// Run once per DPI and pixel ratio (see CMakeLists.txt): the tools must report the values that the environment sets.
class TestPlacement : public QObject
{
    Q_OBJECT
    const int m_dpi = qEnvironmentVariableIntValue("QT_FONT_DPI");
    const double m_scale = qMax(1.0, qEnvironmentVariable("QT_SCALE_FACTOR", QStringLiteral("1")).toDouble());

private slots:
    void scaling()
    {
        QCOMPARE(placement::scaled(35, 120), 44); // 43.75
        QCOMPARE(placement::scaled(35, 144), 53); // 52.5: halves are rounded up,
        QCOMPARE(placement::scaled(-1, 144), -1); // also below zero
        QCOMPARE(placement::scaled(100, 72), 75);
        QCOMPARE(placement::scaled(INT_MAX, 192), INT_MAX);
    }

    // In the middle of the room that panels leave; the origin of that room is not added.
    void screenCentre()
    {
        const QRect dialog(-77, 900, 400, 300);
        QCOMPARE(placement::screenCentre(QRect(0, 0, 1920, 1040), dialog), QPoint(760, 370));
        QCOMPARE(placement::screenCentre(QRect(-1280, 0, 1280, 1024), dialog), QPoint(440, 362));
        QCOMPARE(placement::screenCentre(QRect(0, 40, 1001, 801), dialog), QPoint(300, 250));
        QCOMPARE(placement::screenCentre(QRect(0, 0, 800, 600), QRect(0, 0, 1003, 701)), QPoint(-101, -50));
    }

    // The parent is given in device pixels.
    void overForeign()
    {
        const auto place = [](const placement::ForeignGeometry &parent, double ratio, int offset) {
            return placement::overForeign(parent, ratio, QSize(400, 300), offset);
        };
        const QSize same(400, 300);
        QCOMPARE(place({100, 50, 800, 600}, 1.0, 15), QRect(QPoint(285, 185), same));  // less the offset
        QCOMPARE(place({101, 51, 1600, 1200}, 2.0, 0), QRect(QPoint(251, 176), same)); // halves are rounded up,
        QCOMPARE(place({-3, -5, 1600, 1200}, 2.0, 0), QRect(QPoint(199, 148), same));  // also below zero
        QCOMPARE(place({101, 51, 1000, 801}, 1.25, 0), QRect(QPoint(281, 211), same));
        QCOMPARE(place({500, 500, 101, 101}, 1.0, 0), QRect(QPoint(351, 401), same));
    }

    void dpiOfTheScreen()
    {
        QWidget widget;
        QWidget child(&widget);
        QCOMPARE(DpiToolkit::getDPI(nullptr), m_dpi);
        QCOMPARE(DpiToolkit::getDPI(&child), m_dpi); // no native window yet
        widget.show();
        QCOMPARE(DpiToolkit::getDPI(&child), m_dpi);
        QCOMPARE(DpiToolkit::dpiScaled(96, &child), m_dpi);
        QCOMPARE(CToolkit::GetDpiRate(nullptr), m_scale); // never below 1
    }

    void sizesAreClamped()
    {
        const QSize available = QGuiApplication::primaryScreen()->availableGeometry().size();
        int width = 96;
        int height = 100000;
        CToolkit::UpdateWidthAndHeight(nullptr, width, height);
        QCOMPARE(width, m_dpi);
        QCOMPARE(height, available.height());
        width = 100000;
        height = 10;
        CToolkit::UpdateWidthAndHeight(nullptr, width, height);
        QCOMPARE(width, available.width());
    }

    void dialogGoesToTheCentre()
    {
        CNamedDialog dialog;
        dialog.setGeometry(7, 9, 200, 100);
        const QSize available = QGuiApplication::primaryScreen()->availableGeometry().size();
        const QPoint expected((available.width() - 200) / 2, (available.height() - 100) / 2);
        const LogCatcher logs;
        CToolkit::SetDlgToScreenCenter(&dialog);
        QCOMPARE(dialog.pos(), expected);
        QCOMPARE(
            logs.texts(QtDebugMsg),
            QStringList(
                QStringLiteral("移动窗口(CNamedDialog)位置到：QPoint(%1,%2)").arg(expected.x()).arg(expected.y())));
        QCOMPARE(logs.lines().constLast().function, QStringLiteral("SetDlgToScreenCenter"));
    }

    void noDisplay()
    {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":4711");
        QDialog dialog;
        dialog.setGeometry(7, 9, 200, 100);
        const LogCatcher logs;
        CToolkit::MoveToParentCenter(&dialog, reinterpret_cast<void *>(0x400001), 0);
        qputenv("DISPLAY", display);
        QCOMPARE(logs.texts(QtCriticalMsg), QStringList(QStringLiteral("XOpenDisplay error.")));
        QCOMPARE(dialog.geometry(), QRect(7, 9, 200, 100));
    }
};

// Not QTEST_MAIN, which fixes the DPI at 96.
int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    TestPlacement test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_placement.moc"
