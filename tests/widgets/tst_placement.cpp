#include "support/LogCatcher.h"
#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include "widgets/dpitoolkit.h"
#include <QApplication>
#include <QDialog>
#include <QScreen>
#include <QTest>
#include <climits>

using ServiceVisualized::CToolkit;
using Utils::DpiToolkit;

class CNamedDialog final : public QDialog
{
    Q_OBJECT
};

// Run once per DPI and pixel ratio (see CMakeLists.txt): what the environment sets is what the tools must report.
class TestPlacement : public QObject
{
    Q_OBJECT
    const int m_dpi = qEnvironmentVariableIntValue("QT_FONT_DPI");
    const double m_scale = qMax(1.0, qEnvironmentVariable("QT_SCALE_FACTOR", QStringLiteral("1")).toDouble());

private slots:
    void scaling_data();
    void scaling();
    void screenCentre_data();
    void screenCentre();
    void overForeign_data();
    void overForeign();
    void dpiOfTheScreen();
    void sizesAreClamped();
    void dialogGoesToTheCentre();
    void noDisplay();
};

void TestPlacement::scaling_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("dpi");
    QTest::addColumn<int>("expected");
    QTest::newRow("120") << 35 << 120 << 44;          // 43.75
    QTest::newRow("144, half up") << 35 << 144 << 53; // 52.5
    QTest::newRow("144, negative half up") << -1 << 144 << -1;
    QTest::newRow("below the design") << 100 << 72 << 75;
    QTest::newRow("beyond int") << INT_MAX << 192 << INT_MAX;
}

void TestPlacement::scaling()
{
    QFETCH(int, value);
    QFETCH(int, dpi);
    QTEST(placement::scaled(value, dpi), "expected");
}

void TestPlacement::screenCentre_data()
{
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QRect>("dialog");
    QTest::addColumn<QPoint>("expected");
    const QRect dialog(0, 0, 400, 300);
    QTest::newRow("panel at the bottom") << QRect(0, 0, 1920, 1040) << dialog << QPoint(760, 370);
    QTest::newRow("screen to the left: origin not added") << QRect(-1280, 0, 1280, 1024) << dialog << QPoint(440, 362);
    QTest::newRow("dialog elsewhere") << QRect(0, 0, 1001, 801) << QRect(-77, 900, 400, 300) << QPoint(300, 250);
    QTest::newRow("dialog larger than the screen")
        << QRect(0, 0, 800, 600) << QRect(0, 0, 1003, 701) << QPoint(-101, -50);
}

void TestPlacement::screenCentre()
{
    QFETCH(QRect, available);
    QFETCH(QRect, dialog);
    QTEST(placement::screenCentre(available, dialog), "expected");
}

void TestPlacement::overForeign_data()
{
    QTest::addColumn<QRect>("parent"); // device pixels
    QTest::addColumn<double>("ratio");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QPoint>("expected");
    QTest::newRow("offset goes off both") << QRect(100, 50, 800, 600) << 1.0 << 15 << QPoint(285, 185);
    QTest::newRow("ratio 2, half up") << QRect(101, 51, 1600, 1200) << 2.0 << 0 << QPoint(251, 176);
    QTest::newRow("ratio 1.25") << QRect(101, 51, 1000, 801) << 1.25 << 0 << QPoint(281, 211);
    QTest::newRow("left of the origin, half up") << QRect(-3, -5, 1600, 1200) << 2.0 << 0 << QPoint(199, 148);
    QTest::newRow("parent smaller than the dialog") << QRect(500, 500, 101, 101) << 1.0 << 0 << QPoint(351, 401);
}

void TestPlacement::overForeign()
{
    QFETCH(QRect, parent);
    QFETCH(double, ratio);
    QFETCH(int, offset);
    QFETCH(QPoint, expected);
    const QSize dialog(400, 300);
    const placement::ForeignGeometry foreign{parent.x(), parent.y(), parent.width(), parent.height()};
    QCOMPARE(placement::overForeign(foreign, ratio, dialog, offset), QRect(expected, dialog));
}

void TestPlacement::dpiOfTheScreen()
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

void TestPlacement::sizesAreClamped()
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

void TestPlacement::dialogGoesToTheCentre()
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
        QStringList(QStringLiteral("移动窗口(CNamedDialog)位置到：QPoint(%1,%2)").arg(expected.x()).arg(expected.y())));
    QCOMPARE(logs.lines().constLast().function, QStringLiteral("SetDlgToScreenCenter"));
}

void TestPlacement::noDisplay()
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

// Not QTEST_MAIN, which fixes the DPI at 96.
int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    TestPlacement test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_placement.moc"
