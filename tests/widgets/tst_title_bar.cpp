#include "support/SavedPicture.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/ToolDialog.h"
#include <QtTest>
#include <QtWidgets>

namespace {

class Window final : public tarn::visualized::ToolDialog
{
public:
    explicit Window(Qt::MouseButtons bodyButtons = Qt::LeftButton)
        : ToolDialog(nullptr, Qt::Tool, bodyButtons)
    {
        prepare("窗口");
        setFixedSize(300, 200);
        QVBoxLayout *column = addBody("body");
        edit = new QLineEdit(this);
        column->addWidget(edit);
        bar = addTitleBar(column, 40);
        connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &QDialog::reject);
    }
    using ToolDialog::expectUnasked;

    QLineEdit *edit = nullptr;
    CustomTitleBar *bar = nullptr;
};

} // namespace

class TestTitleBar : public QObject
{
    Q_OBJECT
private slots:
    // On a worker: its file system may not answer.
    void logoFromOutside()
    {
        const QTemporaryDir folder;
        CustomTitleBar bar(nullptr);
        bar.SetTitleLogo(savedPicture(folder.filePath("logo.png"), QSize(64, 32)));
        const auto *logo = bar.findChild<QLabel *>("titleLogo");
        const auto shown = [logo] { return logo->pixmap(Qt::ReturnByValue).size(); };
        QCOMPARE(shown(), QSize(0, 0));
        QTRY_COMPARE(shown(), QSize(16, 8));
        QVERIFY(!logo->isHidden());
    }

    void buttons()
    {
        CustomTitleBar bar(nullptr);
        bar.AddMinumButton();
        bar.AddMaxumButton();
        bar.AddCloseButton();
        QSignalSpy minimise(&bar, &CustomTitleBar::CustomTitleBarMinum);
        QSignalSpy maximise(&bar, &CustomTitleBar::CustomTitleBarMaxum);
        QSignalSpy close(&bar, &CustomTitleBar::CustomTitleBarClose);
        QSignalSpy pressed(&bar, &CustomTitleBar::CustomTitleBarPressed);
        bar.show();
        const QStringList names{"最小化", "最大化", "关闭"};
        const QList<QPushButton *> found = bar.findChildren<QPushButton *>();
        QCOMPARE(found.size(), names.size());
        for (int i = 0; i < found.size(); i++) {
            QCOMPARE(QAccessible::queryAccessibleInterface(found.at(i))->text(QAccessible::Name), names.at(i));
            QTest::mouseClick(found.at(i), Qt::LeftButton);
            QTest::keyClick(found.at(i), Qt::Key_Return);
        }
        QVERIFY(minimise.count() == 2 && maximise.count() == 2 && close.count() == 2);
        QCOMPARE(pressed.count(), 0); // a press on a button drags nothing
    }

    void drag()
    {
        const struct
        {
            bool byBar;
            Qt::MouseButtons bodyButtons;
            Qt::MouseButton button;
            bool drags;
            bool enabled = true;
        } rows[] = {
            {true, Qt::LeftButton, Qt::LeftButton, true},         {true, Qt::LeftButton, Qt::RightButton, false},
            {false, Qt::LeftButton, Qt::LeftButton, true},        {false, Qt::LeftButton, Qt::RightButton, false},
            {false, Qt::AllButtons, Qt::MiddleButton, true},      {true, Qt::LeftButton, Qt::LeftButton, false, false},
            {false, Qt::LeftButton, Qt::LeftButton, false, false}};
        for (const auto &row : rows) {
            dragOnce(row.byBar, row.bodyButtons, row.button, row.drags, row.enabled);
            QVERIFY2(!QTest::currentTestFailed(), qPrintable(QString::number(&row - rows)));
        }
    }

    void namesAndEscape()
    {
        const QPointer<Window> window = new Window;
        QCOMPARE(window->objectName(), QString("ToolDialog")); // the class, without its namespaces
        QCOMPARE(window->windowRole(), QString("ToolDialog"));
        window->setAttribute(Qt::WA_DeleteOnClose);
        QSignalSpy rejected(window, &QDialog::rejected);
        QSignalSpy lastClosed(qApp, &QGuiApplication::lastWindowClosed);
        window->show();
        QTest::keyClick(window, Qt::Key_Escape);
        QCOMPARE(rejected.count(), 1);
        QTRY_VERIFY(!window);
        QCOMPARE(lastClosed.count(), 0); // the host's event loop continues
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
            QTest::keyClick(&window, Qt::Key_Tab); // the close button comes last
            QCOMPARE(window.focusWidget()->objectName(), QString("closeButton"));
            window.hide();
        }
    }

private:
    static void dragOnce(bool byBar, Qt::MouseButtons bodyButtons, Qt::MouseButton button, bool drags, bool enabled)
    {
        Window window(bodyButtons);
        window.move(100, 120);
        window.setEnabled(enabled);
        window.show();
        QWidget *target = byBar ? static_cast<QWidget *>(window.bar) : &window;
        const QPoint global = target->mapToGlobal(QPoint(30, 10));
        // QTest computes global positions from the window, which moves during a drag; these are given.
        const auto send = [&](QEvent::Type type, const QPoint &by, Qt::MouseButton one, Qt::MouseButtons held) {
            const QPoint local(30, 10);
            QMouseEvent event(type, local, target->mapTo(&window, local), global + by, one, held, Qt::NoModifier);
            QCoreApplication::sendEvent(target, &event);
        };
        const QPoint moved = drags ? QPoint(140, 100) : QPoint(100, 120);
        send(QEvent::MouseMove, {50, 50}, Qt::NoButton, button);
        QCOMPARE(window.pos(), QPoint(100, 120)); // not pressed yet
        send(QEvent::MouseButtonPress, {}, button, button);
        send(QEvent::MouseMove, {7, 9}, Qt::NoButton, button);
        send(QEvent::MouseMove, {40, -20}, Qt::NoButton, button);
        QCOMPARE(window.pos(), moved);
        send(QEvent::MouseButtonRelease, {40, -20}, button, Qt::NoButton);
        // Left to the window by a button in it; the bar takes its release from the window.
        QMouseEvent slide(QEvent::MouseMove, {90, 90}, {90, 90}, global + QPoint(90, 90), Qt::NoButton, button, {});
        QCoreApplication::sendEvent(&window, &slide);
        QCOMPARE(window.pos(), moved);
    }
};

QTEST_MAIN(TestTitleBar)
#include "tst_title_bar.moc"
