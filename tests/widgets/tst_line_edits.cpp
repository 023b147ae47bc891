#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

const QMimeData *clipboard()
{
    return QGuiApplication::clipboard()->mimeData();
}

QByteArray hint()
{
    return clipboard()->data(QStringLiteral("x-kde-passwordManagerHint"));
}

} // namespace

class TestLineEdits : public QObject
{
    Q_OBJECT
private slots:
    void init() { QGuiApplication::clipboard()->setText(QStringLiteral("vorher")); }

    void menuEntries()
    {
        CCustomLineEdit edit;
        edit.setText(QStringLiteral("岚川"));
        edit.selectAll();
        const std::unique_ptr<QMenu> menu(edit.CreateRightClickMenu());
        QStringList texts;
        for (const QAction *action : menu->actions()) {
            texts << action->text();
            QVERIFY(action->isEnabled());
        }
        QCOMPARE(texts, QStringList({QStringLiteral("复制(&C)"), QStringLiteral("剪切(&T)"), QStringLiteral("粘贴(&P)"),
                                     QStringLiteral("全选(&A)")}));

        // Actions that cannot be done are grey: nothing selected, nothing to paste, masked.
        edit.deselect();
        QGuiApplication::clipboard()->clear();
        const std::unique_ptr<QMenu> unselected(edit.CreateRightClickMenu());
        for (int i = 0; i < 3; ++i)
            QVERIFY(!unselected->actions().at(i)->isEnabled());
        edit.setPasswordField(true);
        edit.selectAll();
        const std::unique_ptr<QMenu> masked(edit.CreateRightClickMenu());
        QVERIFY(!masked->actions().at(0)->isEnabled() && !masked->actions().at(1)->isEnabled());
    }

    void menuOnTheScreen()
    {
        CCustomLineEdit edit;
        edit.setText(QStringLiteral("abc"));
        edit.selectAll();
        edit.show();
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), edit.mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(&edit, &event);
        QMenu *menu = edit.findChild<QMenu *>();
        QVERIFY(menu && menu->isVisible());
        QSignalSpy gone(menu, &QObject::destroyed);
        QTest::keyClick(menu, Qt::Key_T); // the mnemonic of "剪切(&T)"
        QTRY_COMPARE(gone.count(), 1);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(clipboard()->text(), QStringLiteral("abc"));
    }

    void menuOfADyingEdit()
    {
        auto *edit = new CCustomLineEdit;
        edit->show();
        edit->OnShowContextMenu(QPoint(1, 1));
        QVERIFY(QApplication::activePopupWidget());
        delete edit;
        QVERIFY(!QApplication::activePopupWidget());
    }

    void plainCopyAndCut()
    {
        CCustomLineEdit edit;
        edit.setText(QStringLiteral("岚川设计"));
        edit.setSelection(0, 2);
        edit.OnCopyClicked(false);
        QCOMPARE(clipboard()->text(), QStringLiteral("岚川"));
        QVERIFY(hint().isEmpty());
        edit.OnCutClicked(false);
        QCOMPARE(edit.text(), QStringLiteral("设计"));
        edit.OnPasteClicked(false);
        QCOMPARE(edit.text(), QStringLiteral("岚川设计"));
        edit.OnSelAllClicked(false);
        QTest::keyClick(&edit, Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(clipboard()->text(), QStringLiteral("岚川设计"));
    }

    void maskedTextStays()
    {
        CCustomLineEdit edit;
        edit.setPasswordField(true);
        edit.setText(QStringLiteral("geheim"));
        edit.show();
        edit.selectAll();
        edit.OnCopyClicked(false);
        edit.OnCutClicked(false);
        for (const int key : {Qt::Key_C, Qt::Key_X}) {
            QTest::keyClick(&edit, Qt::Key(key), Qt::ControlModifier);
            edit.selectAll();
        }
        QTest::keyClick(&edit, Qt::Key_Delete, Qt::ShiftModifier);
        edit.selectAll();
        QTest::keyClick(&edit, Qt::Key_Insert, Qt::ControlModifier);
        QCOMPARE(edit.text(), QStringLiteral("geheim"));
        QCOMPARE(clipboard()->text(), QStringLiteral("vorher"));
    }

    void shownPasswordIsMarked()
    {
        CCustomLineEdit edit;
        edit.setPasswordField(true);
        edit.setText(QStringLiteral("geheim"));
        edit.setEchoMode(QLineEdit::Normal); // the eye button
        edit.show();
        edit.selectAll();
        QTest::keyClick(&edit, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(clipboard()->text(), QStringLiteral("geheim"));
        QCOMPARE(hint(), QByteArray("secret"));

        init();
        edit.OnCutClicked(false);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(clipboard()->text(), QStringLiteral("geheim"));
        QCOMPARE(hint(), QByteArray("secret"));

        // The editing keys that delete a line put it on the clipboard elsewhere.
        init();
        edit.setText(QStringLiteral("geheim"));
        edit.setCursorPosition(2);
        QTest::keyClick(&edit, Qt::Key_K, Qt::ControlModifier);
        QCOMPARE(edit.text(), QStringLiteral("ge"));
        QTest::keyClick(&edit, Qt::Key_U, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(clipboard()->text(), QStringLiteral("vorher"));
    }

    void iconEdit()
    {
        CIconEditWidget widget;
        widget.setSuffixIconPath(QStringLiteral(":/images/images/openEye.svg"));
        widget.resize(200, widget.height());
        widget.show();
        QSignalSpy clicked(&widget, &CIconEditWidget::SuffixBtnClickedSignal);
        auto *suffix = widget.findChild<QPushButton *>(QStringLiteral("suffixButton"));
        QVERIFY(suffix->isVisible());
        QTest::mouseClick(suffix, Qt::LeftButton);
        QTest::keyClick(suffix, Qt::Key_Return);
        QCOMPARE(clicked.count(), 2);

        CCustomLineEdit *edit = widget.lineEdit();
        widget.setLineEditMaxLength(4);
        widget.setLineEditRegExp(QRegExp(QStringLiteral("\\d+")));
        QTest::keyClicks(edit, QStringLiteral("1a2b3c4d5"));
        QCOMPARE(edit->text(), QStringLiteral("1234"));
        widget.setLineEditRegExp(QRegExp(QStringLiteral("(["))); // invalid: no restriction rather than no input
        edit->clear();
        QTest::keyClicks(edit, QStringLiteral("ab"));
        QCOMPARE(edit->text(), QStringLiteral("ab"));
    }
};

QTEST_MAIN(TestLineEdits)
#include "tst_line_edits.moc"
