#pragma once
#include <QLayout>
#include <QWidget>

namespace upgrade::controls {

/// A cell that creates its inner widgets when it is first painted: of thousands of rows a handful is seen. GUI thread.
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
        layout()->activate();
        for (auto *child : findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly))
            child->show(); // at once: Qt would show them after this paint event
    }

protected:
    /// Sets the layout.
    virtual void build() = 0;
    void paintEvent(QPaintEvent *event) override
    {
        ensureBuilt();
        QWidget::paintEvent(event);
    }
};

} // namespace upgrade::controls
