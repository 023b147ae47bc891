#include "support/LogCatcher.h"
#include "support/SavedPicture.h"
#include "widgets/CustomBtn.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/TextMenu.h"
#include "widgets/Toolkit.h"
#include <QtTest>
#include <QtWidgets>
#include <algorithm>
#include <sys/stat.h>

using namespace tarn::visualized;

class TestLooks : public QObject
{
    Q_OBJECT
private slots:
    void elision()
    {
        const QString text = QString("<img src='file:///x'>").repeated(20);
        for (const int lines : {1, 3}) {
            ElideLabel label(text, nullptr);
            label.setMaximumLines(lines);
            label.resize(100, 80);
            label.show();
            QVERIFY(label.text().endsWith(QChar(0x2026)));
            QCOMPARE(label.text().count('\n'), lines - 1);
            QVERIFY(fits(label) && label.textFormat() == Qt::PlainText);
            QCOMPARE(label.accessibleName(), text);
            QVERIFY(label.toolTip().contains("&lt;img")); // a tool tip reads mark-up
            label.resize(9000, 80);                       // room enough after all
            QCOMPARE(label.text(), text);
            QVERIFY(label.toolTip().isEmpty());
        }
        QCOMPARE(ElideLabel("一\n二\r\n三", nullptr).sizeHint(), ElideLabel("一 二 三", nullptr).sizeHint());
    }

    void elisionOfTheBeginning()
    {
        const QString end("正在安装更新");
        ElideLabel label(QString("甲𠀀").repeated(500) + end, nullptr);
        label.setMaximumLines(2);
        label.setKeptEnd(end);
        label.resize(300, 80);
        label.show();
        QVERIFY(label.text().startsWith("甲") && label.text().count('\n') == 1);
        QVERIFY(label.text().remove('\n').endsWith(QChar(0x2026) + end) && fits(label));
        label.resize(5, 80); // no room even for the end
        QVERIFY(label.text().count('\n') <= 1);
    }

    void hugeText()
    {
        const QString text = "0" + QString("\U00020000").repeated(1 << 20);
        ElideLabel label(text, nullptr);
        QVERIFY(label.sizeHint().width() < 1100 * label.fontMetrics().horizontalAdvance("甲"));
        label.resize(label.sizeHint());
        for (const QString &cut : {label.text(), label.accessibleName()}) {
            QVERIFY(cut.size() <= 1001 && cut.endsWith(QChar(0x2026)));
            QVERIFY(!cut.at(cut.size() - 2).isHighSurrogate()); // no half of a character
        }
        QVERIFY(label.toolTip().size() < 1100);
    }

    void textMenu()
    {
        QTextBrowser view;
        addTextMenu(&view);
        view.setHtml("<p>" + QString("甲<br>").repeated(50) + "</p>");
        view.resize(200, 100);
        view.show();
        const auto openedOn = [&](QWidget *target) {
            QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(4, 8), target->mapToGlobal(QPoint(4, 8)));
            QCoreApplication::sendEvent(target, &event);
            return qobject_cast<QMenu *>(QApplication::activePopupWidget());
        };
        for (const int entry : {1, 0}) {
            QMenu *menu = openedOn(view.viewport());
            QVERIFY(menu && menu->actions().size() == 2);
            QCOMPARE(menu->actions().at(0)->text(), QString("复制"));
            QCOMPARE(menu->actions().at(1)->text(), QString("全选"));
            QCOMPARE(menu->actions().at(0)->isEnabled(), entry == 0); // at first nothing is selected
            menu->actions().at(entry)->trigger();
            menu->close();
        }
        QCOMPARE(QGuiApplication::clipboard()->text(), view.toPlainText());
        QVERIFY(!openedOn(view.verticalScrollBar()));
        view.setHtml("<a href='http://x/'>链接链接</a>");
        QVERIFY(!openedOn(view.viewport()));
    }

    void toolTipsHaveNoSheet()
    {
        QWidget page;
        page.setStyleSheet("background-color:red;");
        ElideLabel label(QString("long text ").repeated(20), &page);
        label.resize(100, 20);
        page.show();
        QHelpEvent event(QEvent::ToolTip, {5, 5}, label.mapToGlobal({5, 5}));
        QVERIFY(QApplication::sendEvent(&label, &event));
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto tip = std::find_if(windows.cbegin(), windows.cend(), [](const QWidget *window) {
            return window->inherits("QTipLabel") && window->isVisible();
        });
        QVERIFY(tip != windows.cend());
        const QColor ground = (*tip)->grab().toImage().pixelColor(3, 3);
        QVERIFY(ground != QColor(Qt::red) && ground.alpha() == 255);
    }

    void buttons()
    {
        QDialog page;
        QLineEdit first(&page); // takes the focus when the window opens
        page.setStyleSheet(look::greyButton() + look::blueButton() + look::whiteButton() + look::linkButton());
        QList<CCustomBtn *> all;
        for (const auto tone : {CCustomBtn::Grey, CCustomBtn::Blue, CCustomBtn::White, CCustomBtn::Link})
            all.append(new CCustomBtn("全部忽略", tone, "button", {120, 40}, &page));
        page.show();
        QVERIFY(QTest::qWaitForWindowActive(&page));
        for (CCustomBtn *button : all) {
            QSignalSpy clicked(button, &CCustomBtn::clicked);
            const QImage plain = button->grab().toImage();
            QTest::keyClick(&page, Qt::Key_Return); // not focused: not pressed
            QCOMPARE(clicked.count(), 0);
            button->setFocus(Qt::TabFocusReason);
            const QImage focused = button->grab().toImage();
            const QRect inside = plain.rect().adjusted(3, 3, -3, -3);
            QVERIFY(focused != plain);
            QVERIFY2(focused.copy(inside) == plain.copy(inside), "only an edge shows the focus");
            for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
                QTest::keyClick(button, key);
            QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, {}, {}, true);
            QCoreApplication::sendEvent(button, &held);
            QCOMPARE(clicked.count(), 3);
        }
        all.last()->setEnabled(false); // a link stays a text
        QCOMPARE(all.last()->grab(QRect(1, 8, 1, 1)).toImage().pixelColor(0, 0).alpha(), 0);
    }

    // Every ":/image..." in the sources exists, and each is used: a misspelt path would show at run time only.
    void everyPathIsAPicture()
    {
        QSet<QString> used;
        const QRegularExpression pattern("[\"(](:/image[^\")]*[^/\")])[\")]");
        QDirIterator files(TARN_SOURCE_DIR "/src", {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            for (auto it = pattern.globalMatch(QString::fromUtf8(file.readAll())); it.hasNext();)
                used.insert(it.next().captured(1));
        }
        QVERIFY(used.size() > 20);
        for (const QString &path : qAsConst(used)) {
            const LogCatcher log;
            for (const int side : {16, 32, 96})
                QVERIFY2(!QIcon(path).pixmap(side, side).isNull(), qPrintable(path));
            QCOMPARE(log.texts(), QStringList()); // of the SVG parser
        }
        QDirIterator compiled(":/images", QDir::Files, QDirIterator::Subdirectories);
        while (compiled.hasNext())
            QVERIFY2(used.contains(compiled.next()) || compiled.filePath().contains("@2x"),
                     qPrintable(compiled.filePath() + " is not used"));
    }

    void pictures()
    {
        QTemporaryDir folder;
        const QString path = savedPicture(folder.filePath("wide.png"), QSize(400, 200));
        const QPixmap sharp = picture::load(path, QSize(100, 100), 2.0);
        QCOMPARE(sharp.size(), QSize(200, 100));
        QCOMPARE(sharp.devicePixelRatio(), 2.0);
        QCOMPARE(picture::load(path, QSize(900, 900)).size(), QSize(400, 200)); // not enlarged
        QCOMPARE(picture::load(look::icon::Delete, QSize(20, 20)).size(), QSize(20, 20));
        QLabel label;
        ServiceVisualized::CToolkit::SetLabelIconPicture(&label, path, QSize(40, 40));
        QCOMPARE(label.pixmap(Qt::ReturnByValue).size(), QSize(40, 20));

        const QString pipe = folder.filePath("pipe.png");
        QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
        const QString huge = folder.filePath("huge.png");
        QImage bomb(6000, 6000, QImage::Format_Mono); // a few KB in the file
        bomb.fill(0);
        QVERIFY(bomb.save(huge));
        const QString long64MiB = savedPicture(folder.filePath("long.png"), QSize(8, 8));
        QVERIFY(QFile::resize(long64MiB, 64 * 1024 * 1024 + 1));
        for (const QString &hostile :
             {QString(), path + QChar(0) + "x", pipe, huge, long64MiB, folder.path(), QString("/dev/zero")})
            QVERIFY2(picture::load(hostile, QSize(16, 16)).isNull(), qPrintable(hostile));
    }

private:
    static bool fits(const ElideLabel &label)
    {
        const QStringList lines = label.text().split('\n');
        return std::all_of(lines.cbegin(), lines.cend(), [&](const QString &line) {
            return label.fontMetrics().horizontalAdvance(line) <= label.width();
        });
    }
};

QTEST_MAIN(TestLooks)
#include "tst_looks.moc"
