#pragma once

#include <QWidget>

/// One row "label: value". GUI thread.
class CAlignLabel : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

    /// Shows this pair, instead of an earlier one. A text that is too long is elided, with a tool tip.
    void CreateWidget(QString label, QString value);
};
