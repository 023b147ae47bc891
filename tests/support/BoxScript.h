#pragma once
#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>

// Plays the user in front of modal boxes: every new box runs the next step, from its own event loop. GUI thread.
class BoxScript final : public QObject
{
public:
    using Step = std::function<void(QDialog *)>;

    explicit BoxScript(const QList<Step> &steps = {})
        : m_steps(steps)
    {
        connect(&m_timer, &QTimer::timeout, this, &BoxScript::look);
        m_timer.start(1);
    }

    // Presses one button in each box.
    explicit BoxScript(const QStringList &buttons)
        : BoxScript(QList<Step>())
    {
        for (const QString &button : buttons)
            m_steps.append(pressing(button));
    }

    QStringList texts;      // of the boxes, in order
    QStringList keyButtons; // of the boxes: the buttons that a key would have pressed
    bool isDone() const { return m_steps.isEmpty() && unexpected == 0; }
    int unexpected = 0; // boxes without a step; they are rejected

    // A button of a window, by its text or object name.
    static void press(const QWidget *box, const QString &button)
    {
        for (auto *one : box->findChildren<QAbstractButton *>()) {
            if (one->text() == button || one->objectName() == button)
                return QTest::mouseClick(one, Qt::LeftButton);
        }
        QFAIL(qPrintable(QStringLiteral("no button ") + button));
    }
    static Step pressing(const QString &button)
    {
        return [button](QDialog *box) { press(box, button); };
    }

private:
    void look()
    {
        auto *box = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!box || box == m_last)
            return;
        m_last = box;
        const auto *text = box->findChild<QLabel *>(QStringLiteral("messageText"));
        texts.append(text ? text->text() : QString());
        for (const auto *button : box->findChildren<QPushButton *>()) { // before a click gives the focus to one
            if (button->isDefault() || box->focusWidget() == button)
                keyButtons.append(button->text());
        }
        // By another timer: this one does not fire in the nested loops of the answer.
        QTimer::singleShot(0, this, &BoxScript::answer);
    }
    void answer()
    {
        if (!m_last)
            return;
        if (m_steps.isEmpty()) {
            ++unexpected;
            m_last->reject();
            return;
        }
        m_steps.takeFirst()(m_last);
        if (QTest::currentTestFailed() && m_last)
            m_last->reject(); // so that the test ends
    }

    QTimer m_timer;
    QList<Step> m_steps;
    QPointer<QDialog> m_last;
};
