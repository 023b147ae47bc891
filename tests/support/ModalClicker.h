#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

class QAbstractButton;
class QWidget;

// Answers modal boxes from inside a test: made before the blocking call, it clicks the named buttons one box after the
// other. A box that comes after the last answer, or has no such button, is rejected (so that the test goes on) and
// counted in unexpected(). GUI thread.
class ModalClicker final : public QObject
{
    Q_OBJECT
public:
    // Each answer is a button's text (without &) or its object name.
    explicit ModalClicker(const QStringList &answers, QObject *parent = nullptr);

    QStringList titles() const { return m_titles; } // of all boxes that were up, in order
    QStringList texts() const { return m_texts; }   // label texts of each box, joined by newlines
    int unexpected() const { return m_unexpected; }
    bool isDone() const { return m_answers.isEmpty() && m_unexpected == 0; }

private slots:
    void look();

private:
    void answer(QWidget *box);
    static QAbstractButton *findButton(const QWidget *box, const QString &name);

    QTimer m_timer;
    QStringList m_answers;
    QStringList m_titles;
    QStringList m_texts;
    QPointer<QWidget> m_last; // the box answered last, which may still be closing
    int m_unexpected = 0;
};
