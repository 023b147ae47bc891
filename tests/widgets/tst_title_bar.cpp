#include "widgets/CustomTitleBar.h"
#include "widgets/WindowDrag.h"
#include <QAccessible>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestTitleBar : public QObject
{
    Q_OBJECT
private slots:
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
