#pragma once

#include <QDialog>

/// A short notice that closes itself: 90 px high, as wide as its text up to 860 px, with a drop shadow. It has no
/// button; Escape closes it early. GUI thread.
class CTimingMessageBox final : public QDialog
{
    Q_OBJECT
public:
    /// @param msecs milliseconds until it closes; 0 or less closes it at the next turn of the event loop
    CTimingMessageBox(const QString &text, int msecs, QWidget *parent);

public slots:
    void CloseDialog() { close(); }

protected:
    void showEvent(QShowEvent *event) override;

private:
    void updateShape();
    QWidget *textPanel(const QString &text);
};

/// Shows such a notice, modal to the parent's window, and returns when it has closed or its parent has died.
void CstmTimingMessageBox(const QString &text, int msecs, QWidget *parent);
