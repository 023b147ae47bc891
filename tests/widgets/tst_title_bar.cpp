#include "widgets/CustomTitleBar.h"
#include "widgets/ToolDialog.h"
#include <QAccessible>
#include <QBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

class Window final : public tarn::visualized::ToolDialog
{
public:
    explicit Window(Qt::MouseButtons bodyButtons = Qt::LeftButton)
        : ToolDialog(nullptr, Qt::Tool, bodyButtons)
    {
        prepare(QStringLiteral("窗口"));
        setFixedSize(300, 200);
        QVBoxLayout *column = addBody(QStringLiteral("body"));
        edit = new QLineEdit(this);
        column->addWidget(edit);
        bar = addTitleBar(column, 40);
        bar->addStretch(1);
        bar->AddCloseButton();
        connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QDialog::reject);
    }
    using ToolDialog::expectUnasked;

    QLineEdit *edit = nullptr;
    CustomTitleBar *bar = nullptr;
};

// QTest computes global positions from the window, which moves during a drag; these are given.
void send(QWidget *widget, QEvent::Type type, const QPoint &local, const QPoint &global, Qt::MouseButton button,
          Qt::MouseButtons held)
{
    const QPoint inWindow = widget->mapTo(widget->window(), local);
    QMouseEvent event(type, local, inWindow, global, button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}

} // namespace

class TestTitleBar : public QObject
{
    Q_OBJECT
private slots:
    // On a worker: its file system may not answer.
    void logoFromOutside()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("logo.png");
        QImage picture(64, 32, QImage::Format_RGB32);
        picture.fill(Qt::red);
        QVERIFY(picture.save(path));
        CustomTitleBar bar(nullptr);
        bar.SetTitleLogo(path);
        const auto *logo = bar.findChild<QLabel *>("titleLogo");
        const auto shown = [logo] { return logo->pixmap(Qt::ReturnByValue).size(); };
        QCOMPARE(shown(), QSize(0, 0));
        QTRY_COMPARE(shown(), QSize(16, 8));
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

    void drag_data()
    {
        QTest::addColumn<bool>("byBar");
        QTest::addColumn<bool>("left");
        QTest::addColumn<bool>("drags");
        QTest::newRow("bar") << true << true << true;
        QTest::newRow("bar, right button") << true << false << false;
        QTest::newRow("body") << false << true << true;
        QTest::newRow("body, right button") << false << false << false;
    }

    void drag()
    {
        QFETCH(bool, byBar);
        QFETCH(bool, left);
        QFETCH(bool, drags);
        const Qt::MouseButton button = left ? Qt::LeftButton : Qt::RightButton;
        Window window;
        window.move(100, 120);
        window.show();
        QWidget *target = byBar ? static_cast<QWidget *>(window.bar) : &window;
        const QPoint start(30, 10);
        const QPoint global = target->mapToGlobal(start);
        send(target, QEvent::MouseMove, start, global + QPoint(50, 50), Qt::NoButton, Qt::NoButton);
        QCOMPARE(window.pos(), QPoint(100, 120)); // not pressed yet
        send(target, QEvent::MouseButtonPress, start, global, button, button);
        send(target, QEvent::MouseMove, start, global + QPoint(7, 9), Qt::NoButton, button);
        send(target, QEvent::MouseMove, start, global + QPoint(40, -20), Qt::NoButton, button);
        const QPoint moved = drags ? QPoint(140, 100) : QPoint(100, 120);
        QCOMPARE(window.pos(), moved);
        send(target, QEvent::MouseButtonRelease, start, global + QPoint(40, -20), button, Qt::NoButton);
        send(target, QEvent::MouseMove, start, global + QPoint(90, 90), Qt::NoButton, Qt::NoButton);
        QCOMPARE(window.pos(), moved);
    }

    void anyButtonDragsTheBody()
    {
        Window window(Qt::AllButtons);
        window.move(100, 120);
        window.show();
        const QPoint global = window.mapToGlobal(QPoint(5, 5));
        send(&window, QEvent::MouseButtonPress, {5, 5}, global, Qt::MiddleButton, Qt::MiddleButton);
        send(&window, QEvent::MouseMove, {5, 5}, global + QPoint(10, 10), Qt::NoButton, Qt::MiddleButton);
        QCOMPARE(window.pos(), QPoint(110, 130));
    }

    void escapeCloses()
    {
        const QPointer<Window> window = new Window;
        window->setAttribute(Qt::WA_DeleteOnClose);
        QSignalSpy rejected(window, &QDialog::rejected);
        QSignalSpy lastClosed(qApp, &QGuiApplication::lastWindowClosed);
        window->show();
        QTest::keyClick(window, Qt::Key_Escape);
        QCOMPARE(rejected.count(), 1);
        QTRY_VERIFY(!window);
        QCOMPARE(lastClosed.count(), 0); // the host's event loop continues
    }

    void tabOrderEndsAtTheCloseButton()
    {
        Window window;
        window.show();
        window.setFocus();
        QTest::keyClick(&window, Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), window.edit);
        QTest::keyClick(&window, Qt::Key_Tab);
        QCOMPARE(window.focusWidget()->objectName(), QStringLiteral("closeButton"));
    }

    void comesUpOnTheScreen()
    {
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        Window window;
        window.move(-250, -90);
        window.show();
        QCOMPARE(window.pos(), screen.topLeft());
        window.hide();
        window.move(screen.right() - 20, screen.bottom() + 500);
        window.show();
        QCOMPARE(window.geometry().bottomRight(), screen.bottomRight());
    }

    // Keys that are meant for another program do nothing, each time the window appears.
    void unasked()
    {
        Window window;
        window.expectUnasked();
        for (int appearance = 0; appearance < 2; ++appearance) {
            window.edit->setFocus();
            window.show();
            QTest::keyClick(&window, Qt::Key_Tab);
            QTest::keyClick(&window, Qt::Key_Escape);
            QVERIFY(window.isVisible());
            QCOMPARE(window.focusWidget(), &window);
            QTest::mouseClick(&window, Qt::LeftButton);
            QTest::keyClick(&window, Qt::Key_Tab);
            QCOMPARE(window.focusWidget(), window.edit);
            window.hide();
        }
    }

    void windowDiesInADrag()
    {
        auto *window = new QWidget;
        WindowDrag drag(window);
        drag.press(QPoint(60, 70));
        delete window;
        drag.move(QPoint(300, 300));
    }
};

QTEST_MAIN(TestTitleBar)
#include "tst_title_bar.moc"
