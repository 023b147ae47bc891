#pragma once
#include <QWidget>

/// The background of a row: an event filter on the row gives it a blue border while the row is the one clicked last. It
/// lies under the row's contents instead of around them, so that its sheets, which have no selector, reach nothing else.
class CSelectWidget final : public QWidget
{
    Q_OBJECT
public:
    explicit CSelectWidget(QWidget *row);

    /// The look of a row that is not selected, for the sheet of the window that holds the rows.
    static QString sheet();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};
