#include "support/ModalClicker.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QTest>

ModalClicker::ModalClicker(const QStringList &answers, QObject *parent)
    : QObject(parent)
    , m_answers(answers)
{
    connect(&m_timer, &QTimer::timeout, this, &ModalClicker::look);
    m_timer.start(5);
}

void ModalClicker::look()
{
    if (m_last && !m_last->isVisible())
        m_last = nullptr; // the same box object may be shown again
    QWidget *box = QApplication::activeModalWidget();
    if (!box || !box->isVisible() || box == m_last)
        return;
    m_last = box;
    answer(box);
}

void ModalClicker::answer(QWidget *box)
{
    QStringList labels;
    for (const QLabel *label : box->findChildren<QLabel *>()) {
        if (!label->text().isEmpty())
            labels.append(label->text());
    }
    m_titles.append(box->windowTitle());
    m_texts.append(labels.join(QLatin1Char('\n')));

    QAbstractButton *button = m_answers.isEmpty() ? nullptr : findButton(box, m_answers.takeFirst());
    if (button) {
        QTest::mouseClick(button, Qt::LeftButton);
        return;
    }
    ++m_unexpected;
    if (auto *dialog = qobject_cast<QDialog *>(box))
        dialog->reject();
    else
        box->close();
}

QAbstractButton *ModalClicker::findButton(const QWidget *box, const QString &name)
{
    for (QAbstractButton *button : box->findChildren<QAbstractButton *>()) {
        const QString text = button->text().remove(QLatin1Char('&'));
        if (text == name || button->objectName() == name)
            return button;
    }
    return nullptr;
}
