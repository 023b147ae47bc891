#pragma once
#include <QEvent>
#include <QLayout>
#include <QWidget>

namespace upgrade::controls {

/// A cell that creates its inner widgets when the table first paints its place: of thousands of rows a handful is seen.
/// It is hidden until then, because Qt's work grows with the square of the number of shown children. GUI thread.
class LazyCell : public QWidget
{
public:
    using QWidget::QWidget;

    virtual QString spokenText() const = 0; ///< the contents for screen readers, built or not

    void ensureBuilt()
    {
        if (layout())
            return;
        build();
        setVisible(parentWidget());
    }
    void setVisible(bool visible) override
    {
        if (layout() || !visible)
            QWidget::setVisible(visible);
    }

protected:
    bool event(QEvent *event) override
    {
        const bool isEarly = event->type() == QEvent::PolishRequest && !layout(); // show() polishes it
        return isEarly || QWidget::event(event);
    }
    virtual void build() = 0; ///< sets the layout
};

} // namespace upgrade::controls
