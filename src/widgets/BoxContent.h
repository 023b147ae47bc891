#pragma once

#include "widgets/WindowDrag.h"
#include <QObject>
#include <QPair>

class CCustomBtn;
class CustomTitleBar;
class QDialog;
class QFontMetrics;

/// Icon and tone of a message box. 0 is the plain notice.
enum eTipStatus { eTipNormal = 0, eTipError = 1, eTipWarning = 2, eTipSuccess = 3 };

/// Whether the user waits for a message box. An unasked one may take the keyboard while the user types elsewhere, so none
/// of its buttons is the default; Tab and Space or Return work in both.
enum class eBoxOrigin { Unasked, AskedFor };

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
    /// Fills the box, which becomes frameless.
    /// @param icon its path, and its name for screen readers
    /// @param buttons one text, or two; the first button is blue
    BoxContent(QDialog *box, const QString &title, const QPair<QString, QString> &icon, const QString &text,
               const QStringList &buttons);

    const CustomTitleBar *titleBar() const { return m_titleBar; }
    CCustomBtn *button(int index) const { return m_buttons.at(index); }
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
    QWidget *buttonBand(const QStringList &texts);
    void openLink(const QString &link);

    QDialog *const m_box;
    WindowDrag m_drag;
    QList<CCustomBtn *> m_buttons;
    CustomTitleBar *m_titleBar = nullptr;
};

/// Moves a box exactly over the middle of its parent's window (without a parent: of the active window, else of the primary
/// screen), then into the screen.
void centreOverParent(QDialog *box);

} // namespace tarn::visualized
