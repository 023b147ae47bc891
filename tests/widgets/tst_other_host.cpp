#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/Toolkit.h"
#include <QApplication>
#include <QLabel>
#include <QTest>

using namespace tarn::visualized;

// The widgets in a host that differs from ours: attributes, style, an application-wide style sheet.
class TestOtherHost : public QObject
{
    Q_OBJECT
private slots:
    // Qt multiplies sizes of icons by the pixel ratio there; pictures keep the size that they are asked for.
    void picturesKeepTheirSize()
    {
        const QSize size(24, 24);
        for (const QString &path :
             {QString(look::icon::Delete), QString(look::icon::Window), QString(look::icon::Normal)}) {
            const auto shown = [&](const auto &picture) {
                QLabel label;
                ServiceVisualized::CToolkit::SetLabelIconPicture(&label, picture, size);
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
};

int main(int argc, char **argv)
{
    qputenv("QT_SCALE_FACTOR", "2");
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("windows"));
    application.setStyleSheet(QStringLiteral("QWidget{color:red;background-color:yellow;padding:9px;}"));
    TestOtherHost test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_other_host.moc"
