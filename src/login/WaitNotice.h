#pragma once
#include "widgets/ToolDialog.h"

namespace tarn::visualized {

/// A small window with the button "取消" for as long as a sign-in waits. GUI thread.
class WaitNotice final : public ToolDialog
{
    Q_OBJECT
public:
    WaitNotice(const QString &text, QWidget *parent);

    /// Shows it in the middle of its parent.
    void showOverParent();
    /// Shows it above all windows at the lower edge of a screen without taking the keyboard, which another program uses.
    /// @param beside a widget of the screen
    void showOnScreenOf(const QWidget *beside);

signals:
    void cancelled(); // by the button, Escape or the window manager

protected:
    void closeEvent(QCloseEvent *event) override;
};

} // namespace tarn::visualized
