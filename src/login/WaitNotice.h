#pragma once
#include "widgets/ToolDialog.h"

namespace tarn::visualized {

/// A small window with the button "取消" for as long as a sign-in waits. Emits rejected() when the user cancels: by the
/// button, Escape or the window manager. GUI thread.
class WaitNotice final : public ToolDialog
{
    Q_OBJECT
public:
    WaitNotice(const QString &text, QWidget *parent);

    /// Shows it in the middle of its parent, the dialog. Without a parent it is shown at the lower edge of the dialog's
    /// screen, above all windows and without taking the keyboard, which another program uses.
    void showFor(const QWidget *dialog);
};

} // namespace tarn::visualized
