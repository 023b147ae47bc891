#pragma once

#include <QPushButton>

/// Flat picture button of a title bar: white under the cursor, a blue frame when focused. Painted without a style sheet,
/// since most windows have two of them and a sheet costs more than the rest of the bar.
class TitleButton final : public QPushButton
{
    Q_OBJECT
public:
    /// @param name for screen readers and the tool tip
    /// @param path of a picture among the resources
    TitleButton(const QString &name, const QString &path, QWidget *parent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
};
