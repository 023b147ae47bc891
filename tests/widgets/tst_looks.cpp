#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/Toolkit.h"
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>
#include <sys/stat.h>

namespace upgrade {
namespace controls {
class CSpaced final : public QDialog
{
    Q_OBJECT
};
} // namespace controls
} // namespace upgrade

namespace {

QImage pictureOf(QWidget *widget)
{
    return widget->grab().toImage();
}

} // namespace

class TestLooks : public QObject
{
    Q_OBJECT
private slots:
    void elision_data();
    void elision();
    void elidedMarkupIsText();
    void buttonTones();
    void buttonKeys();
    void windowsOfOurs();
    void frontOfAWindowThatGoes();
    void pictures();
    void hostilePictures();
};

void TestLooks::elision_data()
{
    QTest::addColumn<int>("characters");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("elided");
    QTest::newRow("one line") << 500 << 1 << true;
    QTest::newRow("fits on three") << 30 << 3 << false;
    QTest::newRow("three lines") << 500 << 3 << true;
}

void TestLooks::elision()
{
    QFETCH(int, characters);
    QFETCH(int, lines);
    QFETCH(bool, elided);
    const QString name = QStringLiteral("名").repeated(characters);
    ElideLabel label(name, nullptr);
    label.setFont(look::yaHei(12));
    label.setMaximumLines(lines);
    label.resize(label.fontMetrics().horizontalAdvance(QStringLiteral("名").repeated(12)), 80);
    label.show();
    QCOMPARE(label.isElided(), elided);
    QCOMPARE(!label.toolTip().isEmpty(), elided);
    QCOMPARE(label.text().endsWith(QChar(0x2026)), elided);
    QCOMPARE(label.fullText(), name);
    QCOMPARE(label.accessibleName(), name);
    for (const QString &line : label.text().split(QLatin1Char('\n')))
        QVERIFY(label.fontMetrics().horizontalAdvance(line) <= label.width());
    QVERIFY(label.text().count(QLatin1Char('\n')) < lines);
    QVERIFY(label.minimumSizeHint().width() < 60);
    label.resize(9000, 80); // room enough after all
    QVERIFY(!label.isElided());
    QCOMPARE(label.text(), name);
}

void TestLooks::elidedMarkupIsText()
{
    ElideLabel label(QStringLiteral("<img src='file:///x'>").repeated(20), nullptr);
    label.resize(100, 20);
    label.show();
    QCOMPARE(label.textFormat(), Qt::PlainText);
    QVERIFY(label.toolTip().contains(QStringLiteral("&lt;img")));
    QVERIFY(!label.toolTip().contains(QStringLiteral("<img")));
}

void TestLooks::buttonTones()
{
    QWidget page;
    QVBoxLayout column(&page);
    QLineEdit first(&page); // takes the focus when the window opens
    column.addWidget(&first);
    QList<CCustomBtn *> all;
    for (const auto tone : {CCustomBtn::Grey, CCustomBtn::Blue, CCustomBtn::White, CCustomBtn::Link}) {
        all.append(new CCustomBtn(QStringLiteral("全部忽略"), tone, &page));
        all.constLast()->setFixedSize(100, 30);
        column.addWidget(all.constLast());
    }
    page.setStyleSheet(look::buttons());
    page.show();
    QVERIFY(QTest::qWaitForWindowActive(&page));
    QList<QImage> seen;
    for (CCustomBtn *button : all) {
        const QImage plain = pictureOf(button);
        QVERIFY(!seen.contains(plain)); // four different looks
        seen.append(plain);
        button->setFocus(Qt::TabFocusReason);
        QVERIFY2(pictureOf(button) != plain, "the focus cannot be seen");
        first.setFocus();
        button->setEnabled(false);
        QVERIFY(pictureOf(button) != plain);
    }
}

void TestLooks::buttonKeys()
{
    QDialog dialog;
    CCustomBtn button(QStringLiteral("立即升级"), CCustomBtn::Blue, &dialog);
    QSignalSpy clicked(&button, &CCustomBtn::clicked);
    dialog.show();
    QVERIFY(!button.isDefault() && !button.autoDefault());
    QTest::keyClick(&dialog, Qt::Key_Return); // not focused: not pressed
    QCOMPARE(clicked.count(), 0);
    for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
        QTest::keyClick(&button, Qt::Key(key));
    QCOMPARE(clicked.count(), 3);
}

void TestLooks::windowsOfOurs()
{
    upgrade::controls::CSpaced window;
    look::prepareWindow(&window, QStringLiteral("在线升级"));
    QCOMPARE(window.objectName(), QStringLiteral("CSpaced"));
    QCOMPARE(window.windowRole(), QStringLiteral("CSpaced"));
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
    window.setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint); // does not bring it back
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
}

void TestLooks::frontOfAWindowThatGoes()
{
    class Fleeting final : public QDialog
    {
    protected:
        void showEvent(QShowEvent *) override { close(); }
    };
    const QPointer<QDialog> window = new Fleeting;
    front::bringToFront(window);
    QTRY_VERIFY(!window);
}

void TestLooks::pictures()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("wide.png"));
    QImage wide(400, 200, QImage::Format_RGB32);
    wide.fill(Qt::red);
    QVERIFY(wide.save(path));
    QCOMPARE(picture::load(path, QSize(100, 100)).size(), QSize(100, 50));
    const QPixmap sharp = picture::load(path, QSize(100, 100), 2.0);
    QCOMPARE(sharp.size(), QSize(200, 100));
    QCOMPARE(sharp.devicePixelRatio(), 2.0);
    QCOMPARE(picture::load(path, QSize(900, 900)).size(), QSize(400, 200)); // not enlarged
    QCOMPARE(picture::load(QStringLiteral(":/images/images/delete.svg"), QSize(20, 20)).size(), QSize(20, 20));

    QLabel label;
    ServiceVisualized::CToolkit::SetLabelIconPicture(&label, path, QSize(40, 40));
    QCOMPARE(label.pixmap(Qt::ReturnByValue).size(), QSize(40, 20));
    ServiceVisualized::CToolkit::SetLabelIconPicture(&label, QString(), QSize(16, 16));
    QVERIFY(label.pixmap(Qt::ReturnByValue).isNull());
}

void TestLooks::hostilePictures()
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe.png"));
    QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
    const QString huge = folder.filePath(QStringLiteral("huge.png"));
    QFile file(huge);
    QVERIFY(file.open(QIODevice::WriteOnly));
    // The head of a PNG of 20000 x 20000 pixels: 1.6 GB decoded.
    file.write(QByteArray::fromHex("89504e470d0a1a0a0000000d4948445200004e2000004e20080600000042f32bf3"));
    file.close();
    for (const QString &path : {pipe, huge, folder.path(), QStringLiteral("/dev/zero")})
        QVERIFY2(picture::load(path, QSize(16, 16)).isNull(), qPrintable(path));
}

QTEST_MAIN(TestLooks)
#include "tst_looks.moc"
