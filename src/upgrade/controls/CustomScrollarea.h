#pragma once
#include <QScrollArea>

namespace upgrade::controls {

/// The scroll container of the online-upgrade window. Its own scroll bars stay hidden there: the table inside fills it and
/// scrolls itself. GUI thread.
class CCustomScrollArea final : public QScrollArea
{
    Q_OBJECT
public:
    /// @param content the scrolled widget, becomes a child; may be null
    explicit CCustomScrollArea(QWidget *parent, QWidget *content = nullptr);

    /// A press on a scroll bar while the cursor has the bar's resize shape belongs to the window's edge, not to the bar.
    /// The base class filters the events of its scroll bars.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void InitScrollArea();
};

} // namespace upgrade::controls
