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
    explicit CAlignLabel(QWidget *parent);

    /// Shows this pair, instead of an earlier one. A value that is too long is elided, with a tool tip.
    void CreateWidget(QString label, QString value);
    /// Gives the labels of these rows one width, so that the values begin under each other.
    static void align(const QList<CAlignLabel *> &rows);

private:
    QLabel *m_label = nullptr;
    ElideLabel *m_value = nullptr;
};
