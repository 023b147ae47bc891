#pragma once

#include <QWidget>

class ElideLabel;
class QLabel;

/// One row "label: value". GUI thread.
class CAlignLabel : public QWidget
{
    Q_OBJECT
public:
    explicit CAlignLabel(QWidget *parent);

    /// Shows this pair, instead of an earlier one. A value that is too long is elided, with a tool tip.
    void CreateWidget(QString label, QString value);

private:
    QLabel *m_label = nullptr;
    ElideLabel *m_value = nullptr;
};
