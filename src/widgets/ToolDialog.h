#pragma once

#include "widgets/Look.h"
#include "widgets/WindowDrag.h"
#include <QDialog>
#include <QElapsedTimer>

class CustomTitleBar;
class QVBoxLayout;

namespace tarn::visualized {

/// Base of the frameless windows: a title bar over a body, moved with the mouse. Escape and reject() close the window (so
/// that WA_DeleteOnClose and closeEvent() apply) instead of hiding it. A window that has been given a place is moved into
/// the available area of its screen when it comes up. GUI thread.
class ToolDialog : public QDialog
{
    Q_OBJECT
public:
    void reject() override { close(); }
    void setVisible(bool visible) override;

protected slots:
    // Of the title bar; positions are global.
    void OnCustomTitleBarPressed(int nPosX, int nPosY) { m_drag.press({nPosX, nPosY}); }
    void OnCustomTitleBarmoved(int nPosX, int nPosY) { m_drag.move({nPosX, nPosY}); }

protected:
    /// @param type Qt::Tool or Qt::Dialog
    /// @param bodyButtons the mouse buttons that drag the window where no child takes the press
    explicit ToolDialog(QWidget *parent, Qt::WindowType type = Qt::Tool, Qt::MouseButtons bodyButtons = Qt::LeftButton);

    /// look::prepareWindow(). Called first in the most derived class.
    void prepare(const QString &title) { look::prepareWindow(this, title); }
    /// Fills the window with a frame of this object name. @return its column, one pixel inside, for the bands
    QVBoxLayout *addBody(const QString &objectName);
    /// CustomTitleBar::addOnTop(); the bar drags the window, and CustomTitleBarClose is the caller's to connect.
    CustomTitleBar *addTitleBar(QVBoxLayout *column, int height);
    /// For a window that can appear, and take the keyboard, while the user types in another program: whenever it appears,
    /// the focus is neutral and keys are dropped until the user pauses for a second or clicks.
    void expectUnasked() { m_unasked = true; }

    bool event(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void keepFixedSize();
    bool dropsForeignKey(QEvent *event);

    WindowDrag m_drag{this};
    const Qt::MouseButtons m_bodyButtons;
    bool m_unasked = false;
    bool m_guarded = false;   ///< no key or click has been meant for this appearance of an unasked window yet
    QElapsedTimer m_sinceKey; ///< since the last dropped key, or since the window appeared
};

} // namespace tarn::visualized
