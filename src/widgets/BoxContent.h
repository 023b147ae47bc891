#pragma once

#include "widgets/TipStatus.h"
#include "widgets/WindowDrag.h"
#include <QObject>

class CCustomBtn;
class CustomTitleBar;
class QDialog;
class QFontMetrics;
class QHBoxLayout;
class QVBoxLayout;

namespace tarn::visualized {

/// Height of a box's text area in pixels of the font: the lines that end in "\r\n", plus a line for every 220 pixels of
/// such a line that is wider than 225, plus two; deliberately without the part after the last "\r\n". Counting ends once
/// the height has passed the limit.
int measuredBoxHeight(const QString &text, const QFontMetrics &metrics, int limit);

/// The common part of the message boxes: title bar, icon, text and buttons; an edge that is visible over a white window;
/// the place over the middle of the parent's window; role and announcement as an alert. Links open in the browser. A child
/// of the box; GUI thread.
class BoxContent final : public QObject
{
    Q_OBJECT
public:
    /// Makes the box a frameless dialog with icon and text.
    /// @param iconName of the icon for screen readers
    BoxContent(QDialog *box, const QString &title, const QString &icon, const QString &iconName, const QString &text);

    /// Adds a button to the right of the others; a confirming one is blue.
    CCustomBtn *addButton(const QString &text, const QString &objectName, bool confirming);
    /// Puts the title bar on top, sets the sheet and the size. Called after the buttons exist: Tab follows the order of
    /// creation, and the close button comes last.
    /// @return the title bar, for the box to connect
    const CustomTitleBar *finish();

    /// The first button of a box that the user asked for is its default and has the focus; otherwise none has.
    void setOrigin(eBoxOrigin origin);

    // Of the title bar; positions are global.
    void press(int x, int y) { m_drag.press({x, y}); }
    void move(int x, int y) { m_drag.move({x, y}); }

signals:
    void linkFollowed(const QString &link);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void addText(const QString &icon, const QString &iconName, const QString &text);
    void applyHeight(const QString &text);
    void openLink(const QString &link);

    class TextArea;

    QDialog *const m_box;
    QVBoxLayout *m_column = nullptr;
    TextArea *m_area = nullptr;
    QHBoxLayout *m_buttons = nullptr;
    CCustomBtn *m_first = nullptr;
    WindowDrag m_drag;
};

/// Moves a box exactly over the middle of its parent's window (without a parent: of the active window, else of the primary
/// screen), then into the screen.
void centreOverParent(QDialog *box);

} // namespace tarn::visualized
