#pragma once

#include <QList>
#include <QWidget>

class ElideLabel;
class QLabel;

/// One row "label: value". Rows under each other are brought into columns with align(). GUI thread.
class CAlignLabel : public QWidget
{
    Q_OBJECT
public:
    CAlignLabel(const QString &label, const QString &value, QWidget *parent);

    QLabel *label() const { return m_label; }
    ElideLabel *value() const { return m_value; } // a value that is too long is elided, with a tool tip
    /// Gives the labels of these rows one width, so that the values begin under each other.
    static void align(const QList<CAlignLabel *> &rows);

private:
    void CreateWidget(QString label, QString value);

    QLabel *m_label = nullptr;
    ElideLabel *m_value = nullptr;
};
