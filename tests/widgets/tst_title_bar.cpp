#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/WindowDrag.h"
#include <QAccessible>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

namespace {

// A window dragged by its body with any button, as some dialogs are.
class BodyDragged final : public QWidget
{
public:
    BodyDragged()
        : m_drag(this)
    {
        setGeometry(50, 60, 200, 100);
    }

protected:
    void mousePressEvent(QMouseEvent *event) override { m_drag.handle(event, Qt::AllButtons); }
    void mouseMoveEvent(QMouseEvent *event) override { m_drag.handle(event, Qt::AllButtons); }
    void mouseReleaseEvent(QMouseEvent *event) override { m_drag.handle(event, Qt::AllButtons); }

private:
    WindowDrag m_drag;
};

void sendMouse(QWidget *target, QEvent::Type type, const QPoint &global, Qt::MouseButton button, Qt::MouseButtons held)
{
    QMouseEvent event(type, target->mapFromGlobal(global), global, button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
}

} // namespace

class TestTitleBar : public QObject
{
    Q_OBJECT
private slots:
    void positions();
    void buttons();
    void partsInTheirOrder();
    void longTitle();
    void boxFollowsItsBar();
    void bodyDrag();
    void movesWithoutPress();
};

void TestTitleBar::positions()
{
    QWidget window;
    window.setGeometry(100, 100, 300, 100);
    CustomTitleBar bar(&window);
    bar.setGeometry(0, 0, 300, 35);
    QSignalSpy pressed(&bar, &CustomTitleBar::CustomTitleBarPressed);
    QSignalSpy moved(&bar, &CustomTitleBar::CustomTitleBarmoved);
    window.show();

    sendMouse(&bar, QEvent::MouseButtonPress, QPoint(120, 110), Qt::LeftButton, Qt::LeftButton);
    sendMouse(&bar, QEvent::MouseMove, QPoint(90, 250), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(pressed, QList<QVariantList>{(QVariantList{120, 110})});
    QCOMPARE(moved, QList<QVariantList>{(QVariantList{90, 250})});
    sendMouse(&bar, QEvent::MouseButtonRelease, QPoint(90, 250), Qt::LeftButton, Qt::NoButton);
    sendMouse(&bar, QEvent::MouseMove, QPoint(95, 250), Qt::NoButton, Qt::LeftButton); // held, but pressed elsewhere
    sendMouse(&bar, QEvent::MouseButtonPress, QPoint(120, 110), Qt::RightButton, Qt::RightButton);
    sendMouse(&bar, QEvent::MouseMove, QPoint(96, 250), Qt::NoButton, Qt::RightButton);
    QCOMPARE(pressed.count(), 1);
    QCOMPARE(moved.count(), 1);
}

void TestTitleBar::buttons()
{
    CustomTitleBar bar(nullptr);
    bar.AddMinumButton();
    bar.AddMaxumButton();
    bar.AddCloseButton();
    QSignalSpy close(&bar, &CustomTitleBar::CustomTitleBarClose);
    QSignalSpy minimise(&bar, &CustomTitleBar::CustomTitleBarMinum);
    QSignalSpy maximise(&bar, &CustomTitleBar::CustomTitleBarMaxum);
    QSignalSpy pressed(&bar, &CustomTitleBar::CustomTitleBarPressed);
    bar.show();
    const QList<QPair<QSignalSpy *, QString>> all = {
        {&minimise, QStringLiteral("最小化")}, {&maximise, QStringLiteral("最大化")}, {&close, QStringLiteral("关闭")}};
    const QList<QPushButton *> found = bar.findChildren<QPushButton *>();
    QCOMPARE(found.size(), all.size());
    for (int i = 0; i < all.size(); i++) {
        QPushButton *button = found.at(i);
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(button);
        QCOMPARE(accessible->text(QAccessible::Name), all.at(i).second);
        QCOMPARE(accessible->role(), QAccessible::PushButton);
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::keyClick(button, Qt::Key_Return);
        QTest::keyClick(button, Qt::Key_Space);
        QCOMPARE(all.at(i).first->count(), 3);
        QVERIFY(!button->icon().isNull());
    }
    QCOMPARE(pressed.count(), 0); // a press on a button drags nothing
}

void TestTitleBar::partsInTheirOrder()
{
    CustomTitleBar bar(nullptr);
    bar.SetMarginH(20);
    bar.SetCtrlElpase(6);
    bar.SetTitleText(QStringLiteral("在线升级"));
    bar.SetTitleLogo(QStringLiteral(":/images/images/upgrade_logo.svg"));
    bar.addStretch(1);
    bar.AddCloseButton();
    bar.resize(400, 35);
    bar.show();
    auto *logo = bar.findChild<QLabel *>(QStringLiteral("titleLogo"));
    auto *text = bar.findChild<QLabel *>(QStringLiteral("titleText"));
    QCOMPARE(logo->geometry().left(), 20);
    QCOMPARE(logo->size(), QSize(16, 16));
    QCOMPARE(logo->pixmap(Qt::ReturnByValue).size(), QSize(16, 16));
    QCOMPARE(text->geometry().left(), 20 + 16 + 6);
    QCOMPARE(bar.findChild<QPushButton *>()->geometry().right(), 399); // in the corner
    bar.SetLoginTitleLogo(QStringLiteral(":/images/images/logo3.ico"));
    QCOMPARE(logo->size(), QSize(24, 24));
}

void TestTitleBar::longTitle()
{
    CustomTitleBar bar(nullptr);
    const QString name = QStringLiteral("名").repeated(500);
    bar.SetTitleText(name);
    bar.AddCloseButton();
    bar.resize(300, 35);
    bar.show();
    auto *text = bar.findChild<QLabel *>(QStringLiteral("titleText"));
    QVERIFY(text->text().endsWith(QChar(0x2026)));
    QVERIFY(text->toolTip().contains(name));
    QCOMPARE(text->accessibleName(), name);
    QCOMPARE(bar.width(), 300);
    QVERIFY(text->height() >= text->fontMetrics().height());
    bar.SetTitleText(QStringLiteral("短"));
    QCOMPARE(text->text(), QStringLiteral("短"));
    QVERIFY(text->toolTip().isEmpty());
}

void TestTitleBar::boxFollowsItsBar()
{
    CustomMessageBox box(QStringLiteral("提示"), QStringLiteral("甲"), eTipNormal, nullptr);
    box.move(100, 100);
    box.show();
    auto *bar = box.findChild<CustomTitleBar *>();
    sendMouse(bar, QEvent::MouseButtonPress, QPoint(150, 110), Qt::LeftButton, Qt::LeftButton);
    for (int step = 1; step <= 10; step++) // every move is the whole way from the press: no drift
        sendMouse(bar, QEvent::MouseMove, QPoint(150 + 7 * step, 110 - 3 * step), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(box.pos(), QPoint(170, 70));
}

void TestTitleBar::bodyDrag()
{
    BodyDragged window;
    window.show();
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton}) {
        window.move(50, 60);
        sendMouse(&window, QEvent::MouseButtonPress, QPoint(60, 70), button, button);
        sendMouse(&window, QEvent::MouseMove, QPoint(75, 65), Qt::NoButton, button);
        QCOMPARE(window.pos(), QPoint(65, 55));
        sendMouse(&window, QEvent::MouseButtonRelease, QPoint(75, 65), button, Qt::NoButton);
        sendMouse(&window, QEvent::MouseMove, QPoint(200, 200), Qt::NoButton, Qt::NoButton);
        QCOMPARE(window.pos(), QPoint(65, 55));
    }
}

void TestTitleBar::movesWithoutPress()
{
    auto *window = new QWidget;
    window->move(50, 60);
    WindowDrag drag(window);
    drag.move(QPoint(300, 300));
    QCOMPARE(window->pos(), QPoint(50, 60));
    drag.press(QPoint(60, 70));
    delete window;
    drag.move(QPoint(300, 300)); // the window has gone in the middle of a drag
    QVERIFY(drag.isActive());
}

QTEST_MAIN(TestTitleBar)
#include "tst_title_bar.moc"
