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
    void rounding_data();
    void rounding();
    void scaling_data();
    void scaling();
    void screenCentre_data();
    void screenCentre();
    void overForeign_data();
    void overForeign();
    void dpiOfTheScreen();
    void designBaseWins();
    void sizesAreClamped();
    void dialogGoesToTheCentre();
    void nothingToPlace();
    void noDisplay();
};

void TestPlacement::rounding_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("expected");
    QTest::newRow("below half") << 2.49 << 2;
    QTest::newRow("half goes up") << 2.5 << 3;
    QTest::newRow("negative half goes up") << -2.5 << -2;
    QTest::newRow("negative beyond half") << -2.51 << -3;
    QTest::newRow("too large") << 1e300 << INT_MAX;
    QTest::newRow("too small") << -1e300 << INT_MIN;
}

void TestPlacement::rounding()
{
    QFETCH(double, value);
    QTEST(placement::roundHalfUp(value), "expected");
}

void TestPlacement::scaling_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("dpi");
    QTest::addColumn<int>("expected");
    QTest::newRow("96") << 100 << 96 << 100;
    QTest::newRow("120") << 100 << 120 << 125;
    QTest::newRow("120, half up") << 2 << 120 << 3;
    QTest::newRow("120, 35") << 35 << 120 << 44; // 43.75
    QTest::newRow("144") << 100 << 144 << 150;
    QTest::newRow("144, half up") << 35 << 144 << 53; // 52.5
    QTest::newRow("144, negative half up") << -1 << 144 << -1;
    QTest::newRow("192") << 35 << 192 << 70;
    QTest::newRow("below the design") << 100 << 72 << 75;
    QTest::newRow("zero") << 0 << 192 << 0;
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
    QTest::newRow("whole screen") << QRect(0, 0, 1920, 1080) << dialog << QPoint(760, 390);
    QTest::newRow("panel at the bottom") << QRect(0, 0, 1920, 1040) << dialog << QPoint(760, 370);
    QTest::newRow("panel at the right") << QRect(0, 0, 1860, 1080) << dialog << QPoint(730, 390);
    QTest::newRow("panel at the left: origin not added") << QRect(60, 0, 1860, 1080) << dialog << QPoint(730, 390);
    QTest::newRow("panel at the top: origin not added") << QRect(0, 40, 1920, 1040) << dialog << QPoint(760, 370);
    QTest::newRow("screen to the left: origin not added") << QRect(-1280, 0, 1280, 1024) << dialog << QPoint(440, 362);
    QTest::newRow("screen above: origin not added") << QRect(0, -1024, 1280, 1024) << dialog << QPoint(440, 362);
    QTest::newRow("dialog elsewhere") << QRect(0, 0, 1920, 1080) << QRect(-77, 900, 400, 300) << QPoint(760, 390);
    QTest::newRow("odd difference") << QRect(0, 0, 1001, 801) << QRect(0, 0, 400, 300) << QPoint(300, 250);
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
    QTest::addColumn<QSize>("dialog");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QRect>("expected");
    const QSize dialog(400, 300);
    QTest::newRow("plain") << QRect(100, 50, 800, 600) << 1.0 << dialog << 0 << QRect(300, 200, 400, 300);
    QTest::newRow("offset goes off both")
        << QRect(100, 50, 800, 600) << 1.0 << dialog << 15 << QRect(285, 185, 400, 300);
    QTest::newRow("negative offset") << QRect(100, 50, 800, 600) << 1.0 << dialog << -15 << QRect(315, 215, 400, 300);
    QTest::newRow("ratio 2") << QRect(100, 50, 1600, 1200) << 2.0 << dialog << 0 << QRect(250, 175, 400, 300);
    QTest::newRow("ratio 2, half up") << QRect(101, 51, 1600, 1200) << 2.0 << dialog << 0 << QRect(251, 176, 400, 300);
    QTest::newRow("ratio 1.25") << QRect(101, 51, 1000, 801) << 1.25 << dialog << 0 << QRect(281, 211, 400, 300);
    QTest::newRow("left of the origin, half up")
        << QRect(-3, -5, 1600, 1200) << 2.0 << dialog << 0 << QRect(199, 148, 400, 300);
    QTest::newRow("parent smaller than the dialog")
        << QRect(500, 500, 101, 101) << 1.0 << dialog << 0 << QRect(351, 401, 400, 300);
    QTest::newRow("screen to the left") << QRect(-1280, 20, 1280, 1000) << 1.0 << dialog << 0
                                        << QRect(-840, 370, 400, 300);
}

void TestPlacement::overForeign()
{
    QFETCH(QRect, parent);
    QFETCH(double, ratio);
    QFETCH(QSize, dialog);
    QFETCH(int, offset);
    const placement::ForeignGeometry foreign{parent.x(), parent.y(), parent.width(), parent.height()};
    QTEST(placement::overForeign(foreign, ratio, dialog, offset), "expected");
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

void TestPlacement::designBaseWins()
{
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi, true);
    const int dpi = DpiToolkit::getDPI(nullptr);
    const int scaled = DpiToolkit::dpiScaled(100, nullptr);
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi, false);
    QCOMPARE(dpi, 96);
    QCOMPARE(scaled, 100);
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

void TestPlacement::nothingToPlace()
{
    QDialog dialog;
    dialog.setGeometry(7, 9, 200, 100);
    const LogCatcher logs;
    CToolkit::SetDlgToScreenCenter(nullptr);
    CToolkit::MoveToParentCenter(nullptr, reinterpret_cast<void *>(1), 0);
    CToolkit::MoveToParentCenter(&dialog, nullptr, 0);
    CToolkit::SetLabelIconPicture(nullptr, QStringLiteral("/nowhere"), QSize(16, 16));
    QCOMPARE(dialog.geometry(), QRect(7, 9, 200, 100));
    QVERIFY(logs.lines().isEmpty());
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
