#include "support/LogCatcher.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include "widgets/dpitoolkit.h"
#include <QtTest>
#include <QtWidgets>
#include <climits>

using namespace tarn::visualized;
using ServiceVisualized::CToolkit;
using Utils::DpiToolkit;

class CNamedDialog final : public QDialog
{
    Q_OBJECT
};

// Run once per DPI and pixel ratio (see CMakeLists.txt), in a host that differs from ours in style and attributes.
class TestPlacement : public QObject
{
    Q_OBJECT
private slots:
    void arithmetic()
    {
        QCOMPARE(placement::scaled(35, 120), 44); // 43.75
        QCOMPARE(placement::scaled(35, 144), 53); // 52.5: halves are rounded up,
        QCOMPARE(placement::scaled(-1, 144), -1); // also below zero
        QCOMPARE(placement::scaled(INT_MAX, 192), INT_MAX);
        // In the middle of the room that panels leave; the origin of that room is not added.
        const QRect dialog(-77, 900, 400, 300);
        QCOMPARE(placement::screenCentre(QRect(-1280, 0, 1280, 1024), dialog), QPoint(440, 362));
        QCOMPARE(placement::screenCentre(QRect(0, 40, 1001, 801), dialog), QPoint(300, 250));
        QCOMPARE(placement::screenCentre(QRect(0, 0, 800, 600), QRect(0, 0, 1003, 701)), QPoint(-101, -50));
        // The parent is given in device pixels.
        const auto place = [](const QRect &parent, double ratio, int offset) {
            return placement::overForeign(parent, ratio, QSize(400, 300), offset);
        };
        const QSize same(400, 300);
        QCOMPARE(place(QRect(100, 50, 800, 600), 1.0, 15), QRect(QPoint(285, 185), same));  // less the offset
        QCOMPARE(place(QRect(101, 51, 1600, 1200), 2.0, 0), QRect(QPoint(251, 176), same)); // halves are rounded up,
        QCOMPARE(place(QRect(-3, -5, 1600, 1200), 2.0, 0), QRect(QPoint(199, 148), same));  // also below zero
        QCOMPARE(place(QRect(101, 51, 1000, 801), 1.25, 0), QRect(QPoint(281, 211), same));
    }

    void screen()
    {
        const int dpi = qEnvironmentVariableIntValue("QT_FONT_DPI");
        QWidget widget;
        QWidget child(&widget);
        QCOMPARE(DpiToolkit::getDPI(nullptr), dpi);
        QCOMPARE(DpiToolkit::getDPI(&child), dpi); // no native window yet
        widget.show();
        QCOMPARE(DpiToolkit::dpiScaled(96, &child), dpi);
        const double scale = qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble();
        QCOMPARE(CToolkit::GetDpiRate(nullptr), qMax(1.0, scale));

        const QSize available = QGuiApplication::primaryScreen()->availableGeometry().size();
        int width = 96;
        int height = 100000;
        CToolkit::UpdateWidthAndHeight(nullptr, width, height);
        QCOMPARE(QSize(width, height), QSize(dpi, available.height()));
        width = 100000;
        CToolkit::UpdateWidthAndHeight(nullptr, width, height);
        QCOMPARE(width, available.width());

        CNamedDialog dialog;
        dialog.setGeometry(7, 9, 200, 100);
        const QPoint expected((available.width() - 200) / 2, (available.height() - 100) / 2);
        const LogCatcher logs;
        CToolkit::SetDlgToScreenCenter(&dialog);
        QCOMPARE(dialog.pos(), expected);
        QCOMPARE(
            logs.texts(QtDebugMsg),
            QStringList(QString("移动窗口(CNamedDialog)位置到：QPoint(%1,%2)").arg(expected.x()).arg(expected.y())));
        QCOMPARE(logs.lines().constLast().function, QString("SetDlgToScreenCenter"));
    }

    // Qt multiplies sizes of icons by the pixel ratio here; pictures keep the size that they are asked for.
    void picturesKeepTheirSize()
    {
        const QSize size(24, 24);
        for (const QString &path :
             {QString(look::icon::Delete), QString(look::icon::Window), QString(look::icon::Normal)}) {
            const auto shown = [&](const auto &picture) {
                QLabel label;
                CToolkit::SetLabelIconPicture(&label, picture, size);
                const QPixmap pixmap = label.pixmap(Qt::ReturnByValue);
                return pixmap.size() / pixmap.devicePixelRatio();
            };
            QCOMPARE(shown(path), size);
            QCOMPARE(shown(QIcon(path)), size);
        }
        QPixmap large(96, 96);
        large.fill(Qt::red);
        QIcon icon; // as of a theme, with a size for each ratio
        icon.addPixmap(large);
        icon.addPixmap(large.scaled(48, 48));
        QCOMPARE(picture::ofIcon(icon, size * 2).size(), size * 2);
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
        QCOMPARE(logs.texts(QtCriticalMsg), QStringList("XOpenDisplay error."));
        QCOMPARE(dialog.geometry(), QRect(7, 9, 200, 100));
    }
};

// Not QTEST_MAIN, which fixes the DPI at 96.
int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("windows"));
    application.setStyleSheet(QStringLiteral("QWidget{color:red;background-color:yellow;padding:9px;}"));
    TestPlacement test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_placement.moc"
