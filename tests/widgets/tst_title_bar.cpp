#include "widgets/CustomTitleBar.h"
#include "widgets/WindowDrag.h"
#include <QAccessible>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

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
    void positions()
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
        sendMouse(&bar, QEvent::MouseMove, QPoint(95, 250), Qt::NoButton,
                  Qt::LeftButton); // held, but pressed elsewhere
        sendMouse(&bar, QEvent::MouseButtonPress, QPoint(120, 110), Qt::RightButton, Qt::RightButton);
        sendMouse(&bar, QEvent::MouseMove, QPoint(96, 250), Qt::NoButton, Qt::RightButton);
        QCOMPARE(pressed.count(), 1);
        QCOMPARE(moved.count(), 1);
    }

    void buttons()
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
        const QList<QPair<QSignalSpy *, QString>> all = {{&minimise, QStringLiteral("最小化")},
                                                         {&maximise, QStringLiteral("最大化")},
                                                         {&close, QStringLiteral("关闭")}};
        const QList<QPushButton *> found = bar.findChildren<QPushButton *>();
        QCOMPARE(found.size(), all.size());
        for (int i = 0; i < all.size(); i++) {
            QPushButton *button = found.at(i);
            QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(button);
            QCOMPARE(accessible->text(QAccessible::Name), all.at(i).second);
            QTest::mouseClick(button, Qt::LeftButton);
            QTest::keyClick(button, Qt::Key_Return);
            QCOMPARE(all.at(i).first->count(), 2);
        }
        QCOMPARE(pressed.count(), 0); // a press on a button drags nothing
    }

    void movesWithoutPress()
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
};

QTEST_MAIN(TestTitleBar)
#include "tst_title_bar.moc"
