#include "widgets/IconEditWidget.h"
#include <QtTest>
#include <QtWidgets>

class TestLineEdits : public QObject
{
    Q_OBJECT
private slots:
    void init() { QGuiApplication::clipboard()->setText("vorher"); }

    void menu()
    {
        CCustomLineEdit edit;
        const auto entries = [&edit] {
            const std::unique_ptr<QMenu> menu(edit.CreateRightClickMenu());
            QStringList texts;
            for (const QAction *action : menu->actions())
                texts << (action->isEnabled() ? action->text() : "-" + action->text());
            return texts.join(' ');
        };
        edit.setText("岚川");
        edit.selectAll();
        QCOMPARE(entries(), QString("复制(&C) 剪切(&T) 粘贴(&P) 全选(&A)"));
        // Actions that cannot be done are grey: nothing selected, nothing to paste, masked, read-only.
        edit.deselect();
        QGuiApplication::clipboard()->clear();
        QCOMPARE(entries(), QString("-复制(&C) -剪切(&T) -粘贴(&P) 全选(&A)"));
        init();
        edit.selectAll();
        edit.setReadOnly(true);
        QCOMPARE(entries(), QString("复制(&C) -剪切(&T) -粘贴(&P) 全选(&A)"));
        edit.OnCutClicked(false);
        edit.OnPasteClicked(false);
        QCOMPARE(edit.text(), QString("岚川"));
        edit.setReadOnly(false);
        edit.setPasswordField(true);
        QCOMPARE(entries(), QString("-复制(&C) -剪切(&T) 粘贴(&P) 全选(&A)"));
    }

    void menuOnTheScreen()
    {
        auto *edit = new CCustomLineEdit;
        edit->setText("abc");
        edit->selectAll();
        edit->show();
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), edit->mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(edit, &event);
        const QPointer<QMenu> menu = edit->findChild<QMenu *>();
        QVERIFY(menu && menu->isVisible());
        QTest::keyClick(menu.data(), Qt::Key_T); // the mnemonic of "剪切(&T)"
        QTRY_VERIFY(!menu);
        QCOMPARE(edit->text(), QString());
        QCOMPARE(QGuiApplication::clipboard()->text(), QString("abc"));
        edit->OnShowContextMenu(QPoint(1, 1));
        QVERIFY(QApplication::activePopupWidget());
        delete edit;
        QVERIFY(!QApplication::activePopupWidget());
    }

    void plainCopyAndCut()
    {
        CCustomLineEdit edit;
        edit.setText("岚川设计");
        edit.setSelection(0, 2);
        edit.OnCutClicked(false);
        QCOMPARE(edit.text(), QString("设计"));
        QCOMPARE(copied(), qMakePair(QString("岚川"), QByteArray()));
        edit.OnPasteClicked(false);
        edit.OnSelAllClicked(false);
        QTest::keyClick(&edit, Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(copied().first, QString("岚川设计"));
    }

    void maskedTextStays()
    {
        CCustomLineEdit edit;
        edit.setPasswordField(true);
        edit.setText("geheim");
        edit.show();
        edit.selectAll();
        edit.OnCopyClicked(false);
        edit.OnCutClicked(false);
        for (const auto &keys : {QKeySequence(QKeySequence::Copy), QKeySequence(QKeySequence::Cut)}) {
            QTest::keySequence(&edit, keys);
            edit.selectAll();
        }
        QTest::keyClick(&edit, Qt::Key_Delete, Qt::ShiftModifier);
        QTest::keyClick(&edit, Qt::Key_Insert, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString("geheim"));
        QCOMPARE(copied().first, QString("vorher"));
        selectByMouse(edit);
        QVERIFY(!copied(QClipboard::Selection).first.contains("geheim"));
    }

    void shownPasswordIsMarked()
    {
        CCustomLineEdit edit;
        edit.setPasswordField(true);
        edit.setText("geheim");
        edit.setEchoMode(QLineEdit::Normal); // the eye button
        edit.show();
        edit.selectAll();
        const auto secret = qMakePair(QString("geheim"), QByteArray("secret"));
        QTest::keyClick(&edit, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(copied(), secret);
        edit.deselect();
        selectByMouse(edit);
        QTRY_COMPARE(copied(QClipboard::Selection), secret);
        init();
        edit.OnCutClicked(false);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(copied(), secret);
        // The editing keys that delete a line put it on the clipboard elsewhere.
        init();
        edit.setText("geheim");
        edit.setCursorPosition(2);
        QTest::keyClick(&edit, Qt::Key_K, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString("ge"));
        QTest::keyClick(&edit, Qt::Key_U, Qt::ControlModifier);
        QCOMPARE(edit.text(), QString());
        QCOMPARE(copied().first, QString("vorher"));
    }

    void iconEdit()
    {
        CIconEditWidget widget;
        widget.setSuffixIconPath(":/images/images/openEye.svg");
        widget.show();
        QSignalSpy clicked(&widget, &CIconEditWidget::SuffixBtnClickedSignal);
        QTest::mouseClick(widget.findChild<QPushButton *>("suffixButton"), Qt::LeftButton);
        QTest::keyClick(widget.findChild<QPushButton *>("suffixButton"), Qt::Key_Return);
        QCOMPARE(clicked.count(), 2);

        CCustomLineEdit *edit = widget.lineEdit();
        widget.setLineEditMaxLength(4);
        widget.setLineEditRegExp(QRegExp("\\d+"));
        QTest::keyClicks(edit, "1a2b3c4d5");
        QCOMPARE(edit->text(), QString("1234"));
        widget.setLineEditRegExp(QRegExp("([")); // invalid: no restriction rather than no input
        edit->clear();
        QTest::keyClicks(edit, "ab");
        QCOMPARE(edit->text(), QString("ab"));
    }

private:
    // The text on the clipboard, and the hint for clipboard managers.
    static QPair<QString, QByteArray> copied(QClipboard::Mode mode = QClipboard::Clipboard)
    {
        const QMimeData *data = QGuiApplication::clipboard()->mimeData(mode);
        return data ? qMakePair(data->text(), data->data("x-kde-passwordManagerHint")) : QPair<QString, QByteArray>();
    }
    // X then has the selection, which the middle button pastes.
    static void selectByMouse(QLineEdit &edit)
    {
        QTest::mouseDClick(&edit, Qt::LeftButton, {}, QPoint(20, 10));
        QTest::mouseRelease(&edit, Qt::LeftButton, {}, QPoint(20, 10));
        QCOMPARE(edit.selectedText().size(), 6);
    }
};

QTEST_MAIN(TestLineEdits)
#include "tst_line_edits.moc"
