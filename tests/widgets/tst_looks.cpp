#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/TextMenu.h"
#include "widgets/Toolkit.h"
#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QHelpEvent>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <algorithm>
#include <sys/stat.h>

using namespace tarn::visualized;

using tarn::visualized::addTextMenu;

namespace upgrade {
namespace controls {
class CSpaced final : public QDialog
{
    Q_OBJECT
};
} // namespace controls
} // namespace upgrade

class TestLooks : public QObject
{
    Q_OBJECT
private slots:
    void elision()
    {
        const QString text = QStringLiteral("<img src='file:///x'>").repeated(20);
        for (const int lines : {1, 3}) {
            ElideLabel label(text, nullptr);
            label.setMaximumLines(lines);
            label.resize(100, 80);
            label.show();
            QVERIFY(label.isElided() && label.text().endsWith(QChar(0x2026)));
            QCOMPARE(label.text().count(QLatin1Char('\n')), lines - 1);
            for (const QString &line : label.text().split(QLatin1Char('\n')))
                QVERIFY(label.fontMetrics().horizontalAdvance(line) <= label.width());
            QCOMPARE(label.accessibleName(), text);
            QCOMPARE(label.textFormat(), Qt::PlainText);
            QVERIFY(label.toolTip().contains(QStringLiteral("&lt;img"))); // a tool tip reads mark-up
            label.resize(9000, 80);                                       // room enough after all
            QCOMPARE(label.text(), text);
        }
    }

    void elisionOfTheBeginning()
    {
        const QString end = QStringLiteral("正在安装更新");
        ElideLabel label(QStringLiteral("甲𠀀").repeated(500) + end, nullptr);
        label.setMaximumLines(2);
        label.setKeptEnd(end);
        label.resize(300, 80);
        label.show();
        const QString shown = label.text();
        QVERIFY(label.isElided() && shown.startsWith(QStringLiteral("甲")) && shown.count(QLatin1Char('\n')) == 1);
        QVERIFY(QString(shown).remove(QLatin1Char('\n')).endsWith(QChar(0x2026) + end));
        for (const QString &line : shown.split(QLatin1Char('\n')))
            QVERIFY(label.fontMetrics().horizontalAdvance(line) <= label.width());
        label.resize(5, 80); // no room even for the end
        QVERIFY(label.text().count(QLatin1Char('\n')) <= 1);
    }

    void hugeText()
    {
        const QString text = QStringLiteral("0") + QStringLiteral("\U00020000").repeated(1 << 20);
        ElideLabel label(text, nullptr);
        QVERIFY(label.sizeHint().width() < 1100 * label.fontMetrics().horizontalAdvance(QStringLiteral("甲")));
        label.resize(label.sizeHint());
        QVERIFY(label.isElided());
        for (const QString &cut : {label.text(), label.accessibleName()}) {
            QVERIFY(cut.size() <= 1001 && cut.endsWith(QChar(0x2026)));
            QVERIFY(!cut.at(cut.size() - 2).isHighSurrogate()); // no half of a character
        }
        QVERIFY(label.toolTip().size() < 1100);
        QCOMPARE(label.fullText().size(), text.size());
    }

    void textMenu()
    {
        QTextBrowser view;
        addTextMenu(&view);
        view.setHtml(QStringLiteral("<p>") + QStringLiteral("甲<br>").repeated(50) + QStringLiteral("</p>"));
        view.resize(200, 100);
        view.show();
        const auto openedOn = [&](QWidget *target) {
            QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(4, 8), target->mapToGlobal(QPoint(4, 8)));
            QCoreApplication::sendEvent(target, &event);
            return qobject_cast<QMenu *>(QApplication::activePopupWidget());
        };
        QMenu *menu = openedOn(view.viewport());
        QVERIFY(menu);
        QCOMPARE(menu->actions().size(), 2);
        QCOMPARE(menu->actions().at(0)->text(), QStringLiteral("复制"));
        QVERIFY(!menu->actions().at(0)->isEnabled()); // nothing is selected
        QCOMPARE(menu->actions().at(1)->text(), QStringLiteral("全选"));
        menu->actions().at(1)->trigger();
        menu->close();
        menu = openedOn(view.viewport());
        QVERIFY(menu);
        menu->actions().at(0)->trigger();
        menu->close();
        QCOMPARE(QGuiApplication::clipboard()->text(), view.toPlainText());
        QVERIFY(!openedOn(view.verticalScrollBar()));
        view.setHtml(QStringLiteral("<a href='http://x/'>链接链接</a>"));
        QVERIFY(!openedOn(view.viewport()));
    }

    void toolTipsHaveNoSheet()
    {
        QWidget page;
        page.setStyleSheet(QStringLiteral("background-color:red;"));
        ElideLabel label(QStringLiteral("long text ").repeated(20), &page);
        label.resize(100, 20);
        page.show();
        QHelpEvent event(QEvent::ToolTip, {5, 5}, label.mapToGlobal({5, 5}));
        QVERIFY(QApplication::sendEvent(&label, &event));
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto tip = std::find_if(windows.cbegin(), windows.cend(), [](const QWidget *window) {
            return window->inherits("QTipLabel") && window->isVisible();
        });
        QVERIFY(tip != windows.cend());
        const QImage image = (*tip)->grab().toImage();
        QVERIFY(image.pixelColor(3, 3) != QColor(Qt::red) && image.pixelColor(3, 3).alpha() == 255);
    }

    void buttonFocusIsSeen()
    {
        QWidget page;
        QLineEdit first(&page); // takes the focus when the window opens
        page.setStyleSheet(look::greyButton() + look::blueButton() + look::whiteButton() + look::linkButton());
        QList<CCustomBtn *> all;
        for (const auto tone : {CCustomBtn::Grey, CCustomBtn::Blue, CCustomBtn::White, CCustomBtn::Link})
            all.append(new CCustomBtn(QStringLiteral("全部忽略"), tone, &page));
        page.show();
        QVERIFY(QTest::qWaitForWindowActive(&page));
        for (CCustomBtn *button : all) {
            const QImage plain = button->grab().toImage();
            button->setFocus(Qt::TabFocusReason);
            QVERIFY(button->grab().toImage() != plain);
        }
    }

    void buttonKeys()
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

    void windowsOfOurs()
    {
        upgrade::controls::CSpaced window;
        look::prepareWindow(&window, QStringLiteral("在线升级"));
        QCOMPARE(window.objectName(), QStringLiteral("CSpaced"));
        QCOMPARE(window.windowRole(), QStringLiteral("CSpaced"));
        QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
        window.setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint); // does not bring it back
        QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
    }

    void frontOfAWindowThatGoes()
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

    void pictures()
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

    void hostilePictures()
    {
        QTemporaryDir folder;
        const QString pipe = folder.filePath(QStringLiteral("pipe.png"));
        QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
        const QString huge = folder.filePath(QStringLiteral("huge.png"));
        QImage bomb(6000, 6000, QImage::Format_Mono); // a few KB in the file
        bomb.fill(0);
        QVERIFY(bomb.save(huge));
        for (const QString &path : {pipe, huge, folder.path(), QStringLiteral("/dev/zero")})
            QVERIFY2(picture::load(path, QSize(16, 16)).isNull(), qPrintable(path));
    }
};

QTEST_MAIN(TestLooks)
#include "tst_looks.moc"
