#include "widgets/AlignLabel.h"
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
#include <QtEndian>
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

quint32 crc(const QByteArray &bytes)
{
    quint32 value = 0xffffffff;
    for (const char c : bytes) {
        value ^= quint8(c);
        for (int bit = 0; bit < 8; bit++)
            value = (value & 1) ? 0xedb88320 ^ (value >> 1) : value >> 1;
    }
    return ~value;
}

// A PNG whose header promises a size and that holds nothing else.
QByteArray pngHeader(quint32 side)
{
    QByteArray body("IHDR");
    const quint32 size = qToBigEndian(side);
    body.append(reinterpret_cast<const char *>(&size), 4).append(reinterpret_cast<const char *>(&size), 4);
    body.append("\x08\x06\x00\x00\x00", 5);
    const quint32 length = qToBigEndian(quint32(13));
    const quint32 sum = qToBigEndian(crc(body));
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + QByteArray(reinterpret_cast<const char *>(&length), 4) + body +
           QByteArray(reinterpret_cast<const char *>(&sum), 4);
}

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
    void bringToFront();
    void frontOfAWindowThatGoes();
    void pictures();
    void hostilePictures();
    void alignedRows();
};

void TestLooks::elision_data()
{
    QTest::addColumn<int>("characters");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("elided");
    QTest::newRow("empty") << 0 << 1 << false;
    QTest::newRow("fits") << 10 << 1 << false;
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
    QVERIFY(label.minimumSizeHint().height() >= label.fontMetrics().height());
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
    QCOMPARE(pictureOf(all.at(1)).pixelColor(6, 6), QColor(55, 154, 245));
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
    QCOMPARE(window.windowTitle(), QStringLiteral("在线升级"));
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
    window.setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint); // does not bring it back
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
}

void TestLooks::bringToFront()
{
    auto *window = new QDialog;
    window->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    auto *button = new QPushButton(window);
    const Qt::WindowFlags flags = window->windowFlags();
    QSignalSpy pressed(button, &QPushButton::clicked);
    const QPointer<QDialog> alive(window);
    front::bringToFront(window);
    QVERIFY(QTest::qWaitForWindowActive(window));
    QCOMPARE(window->windowFlags(), flags);
    QCOMPARE(window->windowHandle()->flags() & Qt::WindowStaysOnTopHint, 0);
    QCOMPARE(QApplication::focusWidget(), window);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_A);
    QCOMPARE(pressed.count(), 0);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), button);
    front::bringToFront(window); // a second request, while the user is in it
    window->close();
    QTRY_VERIFY(!alive);
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
    QPixmap green(64, 64);
    green.fill(Qt::green);
    ServiceVisualized::CToolkit::SetLabelIconPicture(&label, QIcon(green), QSize(16, 16));
    QCOMPARE(label.pixmap(Qt::ReturnByValue).size(), QSize(16, 16));
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
    file.write(pngHeader(20000)); // 1.6 GB decoded
    file.close();
    const QString text = folder.filePath(QStringLiteral("text.png"));
    QFile other(text);
    QVERIFY(other.open(QIODevice::WriteOnly));
    other.write("no picture");
    other.close();
    for (const QString &path :
         {pipe, huge, text, folder.path(), QStringLiteral("/dev/zero"), folder.filePath(QStringLiteral("none"))})
        QVERIFY2(picture::load(path, QSize(16, 16)).isNull(), qPrintable(path));
}

void TestLooks::alignedRows()
{
    QWidget page;
    QVBoxLayout column(&page);
    auto *first = new CAlignLabel(QStringLiteral("名称："), QStringLiteral("岚川设计"), &page);
    auto *second = new CAlignLabel(QStringLiteral("安装位置："), QStringLiteral("目录/").repeated(100), &page);
    column.addWidget(first);
    column.addWidget(second);
    CAlignLabel::align({first, second});
    page.resize(240, 80);
    page.show();
    QCOMPARE(first->value()->x(), second->value()->x());
    QVERIFY(second->value()->isElided());
    QCOMPARE(page.width(), 240);
    QCOMPARE(first->styleSheet(), QStringLiteral("QLabel{border:none;background-color:transparent;color:#454d5a;}"));
}

QTEST_MAIN(TestLooks)
#include "tst_looks.moc"
